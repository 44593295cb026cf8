#include "fic/boite_usages.h"

#include "srv/srv_message.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

std::string TexteBoiteUsages(const Usages& u, std::string_view nom) {
  const std::vector<std::string> lignes = u.Lignes();
  const size_t montrees =
      lignes.size() <= kLignesBoiteUsages ? lignes.size() : kLignesBoiteUsages - 1;
  std::string texte;
  for (size_t i = 0; i < montrees; ++i) {
    const std::string& l = lignes[i];
    if (text::CountChars(l) <= kLargeurBoiteUsages) {
      texte += l;
    } else {
      texte += std::string(text::Left(l, kLargeurBoiteUsages - 1)) + "…";
    }
    texte += "\n";
  }
  if (montrees < lignes.size()) {
    texte += "… et " + std::to_string(lignes.size() - montrees) + " autres lignes";
    if (!nom.empty()) texte += " : vesk usages " + std::string(nom);
    texte += "\n";
  }
  if (!texte.empty()) texte.pop_back();
  return texte;
}

void MontreUsages(Session& s, const Usages& u, std::string_view titre, std::string_view nom) {
  s.Message().Affiche(TexteBoiteUsages(u, nom), titre);
}

}  // namespace vesk::fic
