// The component as `vesk` runs it: the standard services installed for main's thread from the
// run's configuration, and an AsS object with its dictionary open. Used from main's thread.
#ifndef VESK_CLI_COMPOSANT_H_
#define VESK_CLI_COMPOSANT_H_

#include <memory>

#include "cli/commandes.h"
#include "core/ass.h"
#include "srv/configuration.h"

namespace vesk::cli {

// Installs the services over config's data folder and opens the dictionary (OuvS creates its
// files when they are absent).
std::shared_ptr<AsS> OuvreComposant(Contexte& contexte, const Configuration& config);

// Creates the folder named by the command's only argument (or takes the configured data folder
// when there is none) and gives the configuration of that folder.
Configuration DossierCible(Contexte& contexte);

}  // namespace vesk::cli

#endif  // VESK_CLI_COMPOSANT_H_
