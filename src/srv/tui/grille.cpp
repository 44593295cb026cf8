#include "srv/tui/grille.h"

#include <algorithm>

#include "srv/tui/texte.h"

namespace vesk::tui {

Grille::Grille(int largeur, int hauteur) { Redimensionne(largeur, hauteur); }

void Grille::Redimensionne(int largeur, int hauteur) {
  largeur_ = std::max(largeur, 1);
  hauteur_ = std::max(hauteur, 1);
  cellules_.assign(static_cast<size_t>(largeur_) * hauteur_, Cellule{});
  curseur_visible_ = false;
}

void Grille::Efface() {
  std::fill(cellules_.begin(), cellules_.end(), Cellule{});
  curseur_visible_ = false;
}

void Grille::EffaceLigne(int ligne) { Remplit(ligne, 0, largeur_, U' '); }

int Grille::Ecrit(int ligne, int colonne, std::u32string_view texte, uint8_t attr) {
  for (char32_t c : texte) {
    if (Dedans(ligne, colonne)) {
      // Control characters would move a real terminal's cursor: they show as a middle dot.
      if (c < 0x20 || (c >= 0x7F && c < 0xA0)) c = U'\u00B7';
      cellules_[static_cast<size_t>(ligne) * largeur_ + colonne] = Cellule{c, attr};
    }
    ++colonne;
  }
  return colonne;
}

int Grille::EcritUtf8(int ligne, int colonne, std::string_view texte, uint8_t attr) {
  return Ecrit(ligne, colonne, VersPoints(texte), attr);
}

void Grille::Remplit(int ligne, int colonne, int nombre, char32_t car, uint8_t attr) {
  for (int i = 0; i < nombre; ++i) {
    if (Dedans(ligne, colonne + i)) {
      cellules_[static_cast<size_t>(ligne) * largeur_ + colonne + i] = Cellule{car, attr};
    }
  }
}

void Grille::Marque(int ligne, int colonne, int nombre, uint8_t attr) {
  for (int i = 0; i < nombre; ++i) {
    if (Dedans(ligne, colonne + i)) {
      cellules_[static_cast<size_t>(ligne) * largeur_ + colonne + i].attr |= attr;
    }
  }
}

const Cellule& Grille::At(int ligne, int colonne) const {
  static const Cellule kVide;
  if (!Dedans(ligne, colonne)) return kVide;
  return cellules_[static_cast<size_t>(ligne) * largeur_ + colonne];
}

std::string Grille::Ligne(int ligne) const {
  if (ligne < 0 || ligne >= hauteur_) return {};
  std::u32string points;
  for (int c = 0; c < largeur_; ++c) points.push_back(At(ligne, c).car);
  while (!points.empty() && points.back() == U' ') points.pop_back();
  return VersUtf8(points);
}

std::string Grille::Texte() const {
  std::string out;
  for (int l = 0; l < hauteur_; ++l) {
    if (l > 0) out += '\n';
    out += Ligne(l);
  }
  return out;
}

}  // namespace vesk::tui
