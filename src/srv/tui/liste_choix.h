// The choice list drawn in a box over the current screen: columns, a current line, paging,
// type-to-search and, in a multiple choice, marks. Only the visible window is drawn, so long
// lists stay instant. One thread.
#ifndef VESK_SRV_TUI_LISTE_CHOIX_H_
#define VESK_SRV_TUI_LISTE_CHOIX_H_

#include <optional>
#include <string>
#include <vector>

#include "srv/tui/console.h"
#include "srv/tui/descripteur.h"

namespace vesk::tui {

class ListeChoix {
 public:
  // elements: the elements of the list as they stand; an element that is a list fills the
  // columns, any other fills the first.
  ListeChoix(std::vector<Colonne> colonnes, std::string titre, std::vector<std::string> elements,
             bool multiple, std::string_view operation);

  // Runs until Enter (the indexes chosen, in list order) or Esc (nothing).
  std::optional<std::vector<size_t>> Execute(Console& console);

  // For tests and the entry screen: draws the box into g.
  void Dessine(Grille& g);
  // Applies a key; true when the choice is over (see Resultat).
  bool Applique(const Touche& t, int hauteur_visible);
  const std::optional<std::vector<size_t>>& Resultat() const { return resultat_; }
  size_t Courant() const { return courant_; }

 private:
  int Largeur(const Grille& g) const;
  // The keys of the list (or its message), folded to the box.
  std::vector<std::u32string> LignesBas(const Grille& g) const;
  int Hauteur(const Grille& g) const;
  void Cherche(char32_t c);
  void Deplace(long delta);
  // The indexes marked, or the current one when none is.
  std::vector<size_t> Choisis() const;
  // A typed character: Space marks in a multiple choice, any other searches.
  void Tape(char32_t c);
  std::u32string Cellule(size_t ligne, size_t colonne) const;

  std::vector<Colonne> colonnes_;
  std::string titre_;
  std::vector<std::string> elements_;
  std::vector<std::vector<std::string>> cellules_;
  std::vector<bool> marques_;
  bool multiple_;
  size_t courant_ = 0;
  size_t haut_ = 0;
  std::u32string recherche_;
  std::string message_;
  std::optional<std::vector<size_t>> resultat_;
};

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_LISTE_CHOIX_H_
