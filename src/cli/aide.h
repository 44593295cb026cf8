// The help of `vesk`, written from one description of its command line: the commands' table
// (commandes.cpp), the options' table (options.cpp) and, here, the files of a data folder, the
// environment and the exit statuses. The same description gives `vesk --help`, `vesk help CMD`
// (and `vesk CMD --help`), the manual page vesk(1) and the bash completion, so that a command
// added to the table appears in all four. Functions only; any thread.
#ifndef VESK_CLI_AIDE_H_
#define VESK_CLI_AIDE_H_

#include <string>
#include <string_view>

#include "cli/commandes.h"

namespace vesk::cli {

// Exit statuses of vesk.
inline constexpr int kStatutFait = 0;
inline constexpr int kStatutEchec = 1;  // refused or failed: the message says why
inline constexpr int kStatutUsage = 2;  // a mistake in the command line
inline constexpr int kStatutInterruption = 130;  // Ctrl+C on a screen, as a shell gives SIGINT

// `vesk --help`: usage, commands, options, environment, exit statuses.
std::string AideGenerale();
// `vesk help CMD`: its usage, what it does, its arguments and options, an example.
std::string AideCommande(const Commande& commande);
// The manual page vesk(1), in the man macros of roff (UTF-8).
std::string PageManuel(std::string_view version, std::string_view date);
// The bash completion script (commands, options, values; the files of the dictionary read from
// the data folder through `vesk export` for the commands that take NOM).
std::string CompletionBash();

}  // namespace vesk::cli

#endif  // VESK_CLI_AIDE_H_
