// The character grid that screens draw into: lines of cells, each a code point and attributes,
// plus the cursor. A terminal back end paints a grid; tests read its text. One thread at a time.
#ifndef VESK_SRV_TUI_GRILLE_H_
#define VESK_SRV_TUI_GRILLE_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::tui {

enum Attribut : uint8_t {
  kNormal = 0,
  kGras = 1,
  kInverse = 2,
  kSouligne = 4,
};

struct Cellule {
  char32_t car = U' ';
  uint8_t attr = kNormal;
  bool operator==(const Cellule&) const = default;
};

// Every character takes one column. Writing outside the grid is clipped, never an error.
class Grille {
 public:
  Grille(int largeur, int hauteur);

  int Largeur() const { return largeur_; }
  int Hauteur() const { return hauteur_; }
  // Resizes and clears.
  void Redimensionne(int largeur, int hauteur);
  void Efface();
  void EffaceLigne(int ligne);

  // Writes texte from (ligne, colonne), 0-based; returns the column after the last written.
  int Ecrit(int ligne, int colonne, std::u32string_view texte, uint8_t attr = kNormal);
  int EcritUtf8(int ligne, int colonne, std::string_view texte, uint8_t attr = kNormal);
  void Remplit(int ligne, int colonne, int nombre, char32_t car, uint8_t attr = kNormal);
  // Adds attr to the attributes of nombre cells.
  void Marque(int ligne, int colonne, int nombre, uint8_t attr);

  const Cellule& At(int ligne, int colonne) const;
  // Text of one line in UTF-8, without its trailing spaces.
  std::string Ligne(int ligne) const;
  // All lines joined with "\n", each without trailing spaces.
  std::string Texte() const;

  void PlaceCurseur(int ligne, int colonne) {
    curseur_ligne_ = ligne;
    curseur_colonne_ = colonne;
    curseur_visible_ = true;
  }
  void CacheCurseur() { curseur_visible_ = false; }
  int CurseurLigne() const { return curseur_ligne_; }
  int CurseurColonne() const { return curseur_colonne_; }
  bool CurseurVisible() const { return curseur_visible_; }

 private:
  bool Dedans(int ligne, int colonne) const {
    return ligne >= 0 && ligne < hauteur_ && colonne >= 0 && colonne < largeur_;
  }

  int largeur_;
  int hauteur_;
  std::vector<Cellule> cellules_;
  int curseur_ligne_ = 0;
  int curseur_colonne_ = 0;
  bool curseur_visible_ = false;
};

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_GRILLE_H_
