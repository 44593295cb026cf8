#include "srv/tui/srv_message_impl.h"

#include <algorithm>

#include "srv/tui/texte.h"
#include "srv/tui/visionneuse.h"

namespace vesk::tui {

std::vector<std::u32string> Coupe(std::u32string_view texte, size_t largeur) {
  largeur = std::max<size_t>(largeur, 1);
  std::vector<std::u32string> lignes;
  size_t debut = 0;
  while (debut <= texte.size()) {
    size_t fin = texte.find(U'\n', debut);
    if (fin == std::u32string_view::npos) fin = texte.size();
    std::u32string_view ligne = texte.substr(debut, fin - debut);
    if (!ligne.empty() && ligne.back() == U'\r') ligne.remove_suffix(1);
    while (ligne.size() > largeur) {
      size_t coupe = ligne.rfind(U' ', largeur);
      if (coupe == std::u32string_view::npos || coupe == 0) coupe = largeur;
      lignes.emplace_back(ligne.substr(0, coupe));
      ligne.remove_prefix(coupe);
      if (!ligne.empty() && ligne.front() == U' ') ligne.remove_prefix(1);
    }
    lignes.emplace_back(ligne);
    debut = fin + 1;
  }
  return lignes;
}

void DessineBoite(Grille& g, std::string_view titre, const std::vector<std::u32string>& lignes) {
  size_t large = Longueur(titre) + 4;
  for (const std::u32string& l : lignes) large = std::max(large, l.size() + 4);
  int largeur = std::min(static_cast<int>(large), g.Largeur());
  int hauteur = std::min(static_cast<int>(lignes.size()) + 4, g.Hauteur());
  int x = (g.Largeur() - largeur) / 2;
  int y = std::max(0, (g.Hauteur() - hauteur) / 2);
  for (int l = y; l < y + hauteur; ++l) g.Remplit(l, x, largeur, U' ', kInverse);
  g.Remplit(y, x, largeur, U'─', kInverse);
  g.Remplit(y + hauteur - 1, x, largeur, U'─', kInverse);
  g.EcritUtf8(y, x + 2, " " + std::string(titre) + " ", kInverse | kGras);
  for (size_t i = 0; i < lignes.size() && static_cast<int>(i) + 2 < hauteur - 1; ++i) {
    g.Ecrit(y + 2 + static_cast<int>(i), x + 2, lignes[i], kInverse);
  }
  g.CacheCurseur();
}

void SrvMessageImpl::Affiche(std::string_view message, std::string_view titre) {
  std::u32string texte = VersPointsStrict(message, "Affiche", titre);
  for (;;) {
    Grille& g = console_->Ecran();
    std::vector<std::u32string> lignes = Coupe(texte, std::max(g.Largeur() - 6, 10));
    lignes.push_back(U"");
    lignes.push_back(U"(une touche pour continuer)");
    console_->DessineFond();
    DessineBoite(g, titre, lignes);
    console_->Peint();
    Touche t = console_->LitTouche();
    if (t.code != kRedimension && t.code != kAucune) break;
  }
  console_->DessineFond();
  console_->Peint();
}

void SrvMessageImpl::Visionne(std::string_view texte, std::string_view titre) {
  MontreTexte(*console_, titre, texte);
}

}  // namespace vesk::tui
