#include "fic/cle_enregistrement.h"

#include <algorithm>

#include "srv/text/utf8.h"

namespace vesk::fic {

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
