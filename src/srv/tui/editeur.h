// The line editor of one field: its text in code points, the cursor, insert or overwrite, and
// the checks of every typed character against the field's type and width. A value the entry
// starts from is "fresh": the first printable key replaces it, a movement or deletion key goes
// into it first. One thread.
#ifndef VESK_SRV_TUI_EDITEUR_H_
#define VESK_SRV_TUI_EDITEUR_H_

#include <optional>
#include <string>

#include "srv/tui/descripteur.h"
#include "srv/tui/touches.h"

namespace vesk::tui {

class Editeur {
 public:
  // The cursor starts after the text, in insert mode; a text that is not empty is fresh.
  Editeur(Champ champ, std::u32string texte);

  // Applies an editing key (character, arrows, Home, End, Backspace, Delete, Insert, Ctrl+U).
  // A refused key leaves the text as it was and gives the reason; other keys are ignored.
  std::optional<std::string> Applique(const Touche& t);
  void Remplace(std::u32string texte);

  const std::u32string& Texte() const { return texte_; }
  size_t Curseur() const { return curseur_; }
  bool Insertion() const { return insertion_; }
  // The text is the one the entry started from, untouched: the next printable key replaces it.
  bool Neuf() const { return neuf_; }
  // First character shown in a one-line box of visible columns, moved just enough to keep the
  // cursor in (the viewer's prompts).
  size_t Debut(int visible);

 private:
  std::optional<std::string> Tape(char32_t c);

  Champ champ_;
  std::u32string texte_;
  size_t curseur_ = 0;
  bool insertion_ = true;
  bool neuf_ = false;
  size_t debut_ = 0;
};

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_EDITEUR_H_
