// Test helper: a console on a simulated terminal, with the terminal kept at hand to queue keys
// and read what was painted.
#ifndef VESK_SRV_TUI_TESTING_ECRAN_H_
#define VESK_SRV_TUI_TESTING_ECRAN_H_

#include <memory>

#include "srv/tui/console.h"
#include "srv/tui/terminal_simule.h"

namespace vesk::tui {

struct EcranDeTest {
  explicit EcranDeTest(int colonnes = 80, int lignes = 24) {
    auto t = std::make_unique<TerminalSimule>(colonnes, lignes);
    terminal = t.get();
    console = std::make_shared<Console>(std::move(t));
  }
  std::string Ligne(int n) const { return terminal->Peinte().Ligne(n); }
  std::string Texte() const { return terminal->Peinte().Texte(); }

  TerminalSimule* terminal;
  std::shared_ptr<Console> console;
};

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_TEST_ECRAN_H_
