#include "fic/boite_ecran.h"

#include "srv/srv_message.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

std::string Coupee(const std::string& ligne) {
  if (text::CountChars(ligne) <= kLargeurBoite) return ligne;
  return std::string(text::Left(ligne, kLargeurBoite - 1)) + "…";
}

}  // namespace

std::string TexteBoite(const std::vector<std::string>& lignes, std::string_view suite,
                       bool garde_derniere) {
  const bool coupe = lignes.size() > kLignesBoite;
  const size_t montrees = coupe ? kLignesBoite - (garde_derniere ? 2 : 1) : lignes.size();
  std::string texte;
  for (size_t i = 0; i < montrees; ++i) texte += Coupee(lignes[i]) + "\n";
  if (coupe) {
    const size_t autres = lignes.size() - montrees - (garde_derniere ? 1 : 0);
    texte += "… et " + std::to_string(autres) + " autres lignes" + std::string(suite) + "\n";
    if (garde_derniere) texte += Coupee(lignes.back()) + "\n";
  }
  if (!texte.empty()) texte.pop_back();
  return texte;
}

std::string TexteBoiteUsages(const Usages& u, std::string_view nom) {
  return TexteBoite(u.Lignes(), nom.empty() ? "" : " : vesk usages " + std::string(nom));
}

void MontreUsages(Session& s, const Usages& u, std::string_view titre, std::string_view nom) {
  s.Message().Affiche(TexteBoiteUsages(u, nom), titre);
}

}  // namespace vesk::fic
