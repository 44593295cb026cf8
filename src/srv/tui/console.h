// The terminal session shared by the four screen services of a thread: the terminal, the grid
// that is painted on it, the keyboard rules common to every screen (Esc then a digit as F1..F7,
// resizing) and the screen a box is drawn over. One thread.
#ifndef VESK_SRV_TUI_CONSOLE_H_
#define VESK_SRV_TUI_CONSOLE_H_

#include <functional>
#include <memory>
#include <optional>

#include "srv/tui/grille.h"
#include "srv/tui/terminal.h"

namespace vesk::tui {

class Console {
 public:
  explicit Console(std::unique_ptr<Terminal> terminal);

  // The grid, at the terminal's size.
  Grille& Ecran() { return grille_; }
  void Peint();
  // Reads a key (attente_ms as Terminal::LitTouche). Esc followed within the Esc delay by a
  // digit 1 to 7 gives F1 to F7. On kRedimension the grid has taken the new size: the caller
  // redraws. Ctrl+C throws Interruption: every screen is left at once.
  Touche LitTouche(int attente_ms = -1);
  // How long a digit after Esc is awaited (milliseconds).
  void DelaiEchap(int ms) { delai_echap_ = ms; }

  // The screen under boxes and choices (the entry screen registers itself); DessineFond clears
  // the grid and draws it.
  void DefinitFond(std::function<void(Grille&)> fond) { fond_ = std::move(fond); }
  void DessineFond();

 private:
  std::unique_ptr<Terminal> terminal_;
  Grille grille_;
  std::optional<Touche> en_attente_;
  int delai_echap_ = 500;
  std::function<void(Grille&)> fond_;
};

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_CONSOLE_H_
