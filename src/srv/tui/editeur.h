// The line editor of one field: its text in code points, the cursor, insert or overwrite, the
// scrolling of a box narrower than the field, and the checks of every typed character against
// the field's type and width. One thread.
#ifndef VESK_SRV_TUI_EDITEUR_H_
#define VESK_SRV_TUI_EDITEUR_H_

#include <optional>
#include <string>

#include "srv/tui/descripteur.h"
#include "srv/tui/touches.h"

namespace vesk::tui {

class Editeur {
 public:
  // The cursor starts after the text, in insert mode.
  Editeur(Champ champ, std::u32string texte);

  // Applies an editing key (character, arrows, Home, End, Backspace, Delete, Insert). A refused
  // key leaves the text as it was and gives the reason; other keys are ignored.
  std::optional<std::string> Applique(const Touche& t);
  void Remplace(std::u32string texte);

  const std::u32string& Texte() const { return texte_; }
  size_t Curseur() const { return curseur_; }
  bool Insertion() const { return insertion_; }
  // First character shown in a box of visible columns, moved just enough to keep the cursor in.
  size_t Debut(int visible);

 private:
  std::optional<std::string> Tape(char32_t c);

  Champ champ_;
  std::u32string texte_;
  size_t curseur_ = 0;
  bool insertion_ = true;
  size_t debut_ = 0;
};

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_EDITEUR_H_
