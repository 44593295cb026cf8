// Loading the configuration of one run of `vesk`: the data folder (--data, else VESK_DATA, else
// the current folder), its vesk.ini read with inih, then the command-line overrides.
// Functions only, called from main's thread.
#ifndef VESK_CLI_CHARGEMENT_H_
#define VESK_CLI_CHARGEMENT_H_

#include <string>
#include <string_view>

#include "cli/options.h"
#include "srv/config/configuration.h"

namespace vesk::cli {

// The configuration of this run. Throws ErreurService naming the folder when the data folder
// is missing or unreadable, naming the file and the line when vesk.ini is bad, naming the
// option when an override is bad. A missing vesk.ini gives the defaults.
Configuration ChargeConfiguration(const OptionsLigne& options);

// Reads the vesk.ini text `texte` (from the file named `fichier`) with inih into config.
void LitIni(std::string_view texte, const std::string& fichier, Configuration& config);

}  // namespace vesk::cli

#endif  // VESK_CLI_CHARGEMENT_H_
