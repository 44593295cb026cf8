// The whole run of `vesk`: parse the command line, load the configuration, run one command
// (or show the menu, or the help). Every error ends here with a French message on the error
// stream. Called once, from main's thread.
#ifndef VESK_CLI_APPLICATION_H_
#define VESK_CLI_APPLICATION_H_

#include <iosfwd>

namespace vesk::cli {

// Returns the process exit status (cli/aide.h): 0 done (help and version included), 1 refused or
// failed, 2 a mistake in the command line.
int Execute(int argc, char** argv, std::ostream& sortie, std::ostream& erreurs);

}  // namespace vesk::cli

#endif  // VESK_CLI_APPLICATION_H_
