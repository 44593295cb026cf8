// The terminal interface behind the screens: its size, painting a grid, reading a key. Back ends:
// ncursesw (terminal_posix.cpp), the Win32 console (terminal_win32.cpp) and a simulated terminal
// for tests (terminal_simule.h). A terminal is used by one thread.
#ifndef VESK_SRV_TUI_TERMINAL_H_
#define VESK_SRV_TUI_TERMINAL_H_

#include <memory>

#include "srv/tui/grille.h"
#include "srv/tui/touches.h"

namespace vesk::tui {

struct Taille {
  int colonnes = 80;
  int lignes = 24;
};

class Terminal {
 public:
  virtual ~Terminal() = default;

  virtual Taille Dimensions() = 0;
  // Shows the grid (only what changed since the last paint, where the back end can tell).
  virtual void Peint(const Grille& grille) = 0;
  // Reads one key, waiting up to attente_ms (negative: until a key comes). kAucune when none
  // came in time; kRedimension after the terminal changed size. Alt+1 to Alt+7 come as F1 to F7
  // where the back end can tell them from Esc then a digit.
  virtual Touche LitTouche(int attente_ms) = 0;
};

// Opens the process's terminal (the console on Windows) in full-screen mode; the terminal is
// given back when the object is destroyed. ErreurService when there is no terminal.
std::unique_ptr<Terminal> OuvreTerminal();

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_TERMINAL_H_
