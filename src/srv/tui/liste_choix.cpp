#include "srv/tui/liste_choix.h"

#include <algorithm>

#include "srv/tui/texte.h"

namespace vesk::tui {

namespace {

// texte fitted to largeur with the column's alignment (cut when longer, its last character
// then "…": display only).
std::u32string Aligne(std::u32string texte, int largeur, char alignement) {
  size_t l = static_cast<size_t>(largeur);
  if (texte.size() > l) return texte.substr(0, l - 1) + U"…";
  if (texte.size() == l) return texte;
  size_t reste = l - texte.size();
  size_t gauche = alignement == 'D' ? reste : alignement == 'C' ? reste / 2 : 0;
  return std::u32string(gauche, U' ') + texte + std::u32string(reste - gauche, U' ');
}

bool CommencePar(std::u32string_view texte, std::u32string_view prefixe) {
  if (texte.size() < prefixe.size()) return false;
  for (size_t i = 0; i < prefixe.size(); ++i) {
    if (Minuscule(texte[i]) != Minuscule(prefixe[i])) return false;
  }
  return true;
}

}  // namespace

ListeChoix::ListeChoix(std::vector<Colonne> colonnes, std::string titre,
                       std::vector<std::string> elements, bool multiple, std::string_view operation)
    : colonnes_(std::move(colonnes)),
      titre_(std::move(titre)),
      elements_(std::move(elements)),
      marques_(elements_.size(), false),
      multiple_(multiple) {
  cellules_.reserve(elements_.size());
  for (const std::string& e : elements_) {
    if (!e.empty() && e.front() == '[') {
      cellules_.push_back(ElementsDeListe(e, operation));
    } else {
      cellules_.push_back({e});
    }
  }
}

std::u32string ListeChoix::Cellule(size_t ligne, size_t colonne) const {
  const std::vector<std::string>& c = cellules_[ligne];
  return colonne < c.size() ? VersPoints(c[colonne]) : std::u32string();
}

int ListeChoix::Largeur(const Grille& g) const {
  int largeur = multiple_ ? 2 : 0;
  for (const Colonne& c : colonnes_) largeur += c.largeur + 1;
  return std::clamp(std::max(largeur + 1, static_cast<int>(Longueur(titre_)) + 4), 20, g.Largeur());
}

std::vector<std::u32string> ListeChoix::LignesBas(const Grille& g) const {
  std::string bas = message_;
  if (bas.empty() && !recherche_.empty()) bas = "Recherche : " + VersUtf8(recherche_);
  if (bas.empty()) {
    bas = multiple_ ? "↑↓ PgUp PgDn Début Fin - Espace Marquer - Entrée Choisir - Échap Abandon"
                    : "↑↓ PgUp PgDn Début Fin - Entrée Choisir - Échap Abandon - Lettres : "
                      "Recherche";
  }
  return Plie(bas, Largeur(g) - 2);
}

int ListeChoix::Hauteur(const Grille& g) const {
  // Box: top border, headings, lines, bottom lines, bottom border; one line above and below.
  int max = std::max(g.Hauteur() - 5 - static_cast<int>(LignesBas(g).size()), 1);
  return std::clamp(static_cast<int>(elements_.size()), 1, max);
}

void ListeChoix::Dessine(Grille& g) {
  const int largeur = Largeur(g);
  const int hauteur = Hauteur(g);
  const std::vector<std::u32string> bas = LignesBas(g);
  const int pied = static_cast<int>(bas.size());
  int gauche = (g.Largeur() - largeur) / 2;
  int haut = 1;
  if (courant_ < haut_) haut_ = courant_;
  if (courant_ >= haut_ + hauteur) haut_ = courant_ - hauteur + 1;
  for (int l = haut; l < haut + hauteur + 3 + pied; ++l) g.Remplit(l, gauche, largeur, U' ');
  g.Remplit(haut, gauche, largeur, U'─');
  g.Remplit(haut + hauteur + 2 + pied, gauche, largeur, U'─');
  g.EcritUtf8(haut, gauche + 2, " " + titre_ + " ", kGras);
  int x = gauche + 1 + (multiple_ ? 2 : 0);
  for (const Colonne& c : colonnes_) {
    g.Ecrit(haut + 1, x, Aligne(VersPoints(c.titre), c.largeur, c.alignement), kSouligne);
    x += c.largeur + 1;
  }
  if (elements_.empty()) g.EcritUtf8(haut + 2, gauche + 1, "(liste vide)");
  for (int i = 0; i < hauteur && haut_ + i < elements_.size(); ++i) {
    size_t n = haut_ + static_cast<size_t>(i);
    int y = haut + 2 + i;
    x = gauche + 1;
    if (multiple_) x = g.Ecrit(y, x, marques_[n] ? U"* " : U"  ");
    for (size_t c = 0; c < colonnes_.size(); ++c) {
      x = g.Ecrit(y, x, Aligne(Cellule(n, c), colonnes_[c].largeur, colonnes_[c].alignement)) + 1;
    }
    if (n == courant_) g.Marque(y, gauche + 1, largeur - 2, kInverse);
  }
  for (int i = 0; i < pied; ++i) g.Ecrit(haut + hauteur + 2 + i, gauche + 1, bas[i]);
  g.CacheCurseur();
}

void ListeChoix::Deplace(long delta) {
  if (elements_.empty()) return;
  long n = static_cast<long>(courant_) + delta;
  courant_ = static_cast<size_t>(std::clamp(n, 0L, static_cast<long>(elements_.size()) - 1));
  recherche_.clear();
}

void ListeChoix::Cherche(char32_t c) {
  std::u32string prefixe = recherche_ + c;
  for (size_t k = 0; k < elements_.size(); ++k) {
    size_t n = (courant_ + k) % elements_.size();
    if (CommencePar(Cellule(n, 0), prefixe)) {
      courant_ = n;
      recherche_ = std::move(prefixe);
      return;
    }
  }
  message_ = "« " + VersUtf8(prefixe) + " » introuvable";
}

std::vector<size_t> ListeChoix::Choisis() const {
  std::vector<size_t> choisis;
  for (size_t i = 0; i < marques_.size(); ++i) {
    if (marques_[i]) choisis.push_back(i);
  }
  if (choisis.empty()) choisis.push_back(courant_);
  return choisis;
}

void ListeChoix::Tape(char32_t c) {
  if (elements_.empty()) return;
  if (multiple_ && c == U' ') {
    marques_[courant_] = !marques_[courant_];
    recherche_.clear();
  } else {
    Cherche(c);
  }
}

bool ListeChoix::Applique(const Touche& t, int hauteur_visible) {
  message_.clear();
  const long tout = static_cast<long>(elements_.size());
  if (std::optional<long> delta = Deplacement(t.code, std::max(hauteur_visible, 1), tout)) {
    Deplace(*delta);
    return false;
  }
  switch (t.code) {
    case kRetourArriere:
      if (!recherche_.empty()) recherche_.pop_back();
      return false;
    case kEchap:
      resultat_.reset();
      return true;
    case kEntree:
      if (!elements_.empty()) resultat_ = Choisis();
      return true;
    case kCaractere:
      Tape(t.caractere);
      return false;
    default:
      return false;
  }
}

std::optional<std::vector<size_t>> ListeChoix::Execute(Console& console) {
  for (;;) {
    console.DessineFond();
    Dessine(console.Ecran());
    console.Peint();
    Touche t = console.LitTouche();
    if (t.code == kRedimension || t.code == kAucune) continue;
    if (Applique(t, Hauteur(console.Ecran()))) return resultat_;
  }
}

}  // namespace vesk::tui
