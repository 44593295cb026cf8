// The menu of `vesk` without a command: in a terminal, a choice list of the commands that need
// no argument, run one after another until Esc; elsewhere, the plain list. Main's thread.
#ifndef VESK_CLI_MENU_H_
#define VESK_CLI_MENU_H_

#include "cli/commandes.h"

namespace vesk::cli {

// True when both standard input and output are terminals and nothing asks for plain output
// (--output, --script).
bool MenuInteractif(const Contexte& contexte);

// Shows the terminal menu until the user leaves it (Esc); runs each command chosen. An error
// of a command is shown and the menu comes back. Returns the exit status (0).
int MenuTerminal(Contexte& contexte);

}  // namespace vesk::cli

#endif  // VESK_CLI_MENU_H_
