#include "fic/cle_enregistrement.h"

#include <algorithm>

#include "core/arithmetique.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

std::vector<TrancheCle> TranchesCle(const ResultatCle& cle, const TableChamps& champs) {
  const std::vector<int32_t> debuts = champs.Debuts();
  std::vector<TrancheCle> tranches;
  for (const PartieCle& p : cle.parties) {
    const int32_t interne = champs.LongueurInterne(p.ligne);
    const int32_t debut = debuts.at(static_cast<size_t>(p.ligne - 1)) - 1;
    const int32_t fin = std::min<int32_t>(p.fin, interne);
    const int32_t longueur = std::max<int32_t>(0, fin - p.debut + 1);
    tranches.push_back({Somme<int32_t>(debut, p.debut - 1), longueur});
  }
  return tranches;
}

std::string CleEnregistrement(const std::vector<TrancheCle>& tranches,
                              std::string_view enregistrement) {
  const bool ascii = std::all_of(enregistrement.begin(), enregistrement.end(),
                                 [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  std::string cle;
  for (const TrancheCle& t : tranches) {
    const size_t debut = static_cast<size_t>(t.debut), n = static_cast<size_t>(t.longueur);
    if (ascii) {
      if (debut < enregistrement.size()) cle += enregistrement.substr(debut, n);
    } else {
      cle += text::Mid(enregistrement, debut + 1, n);
    }
  }
  return cle;
}

}  // namespace vesk::fic
