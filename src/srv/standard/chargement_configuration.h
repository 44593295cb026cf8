// Loading a host's configuration from its data folder: the folder checked, then its vesk.ini
// read by the host's ini reader (inih for `vesk` on POSIX, the portable reader elsewhere).
// Functions only, for any thread.
#ifndef VESK_SRV_STANDARD_CHARGEMENT_CONFIGURATION_H_
#define VESK_SRV_STANDARD_CHARGEMENT_CONFIGURATION_H_

#include <string>
#include <string_view>

#include "srv/config/configuration.h"

namespace vesk {

// Reads the vesk.ini text `texte` (of the file named `fichier`) into config.
using LecteurIni = void (*)(std::string_view texte, const std::string& fichier,
                            Configuration& config);

// The portable reader (LitConfiguration) as a LecteurIni.
void LitIniPortable(std::string_view texte, const std::string& fichier, Configuration& config);

// The configuration of the data folder `dossier` (`origine` says where its name came from:
// "variable VESK_DATA", "dossier courant"...). Throws ErreurService naming the folder when it is
// missing, not a folder or unreadable, naming the file and the line when vesk.ini is bad. A
// missing vesk.ini gives the defaults.
Configuration ChargeConfigurationDossier(const std::string& dossier, const std::string& origine,
                                         LecteurIni lecteur);

}  // namespace vesk

#endif  // VESK_SRV_STANDARD_CHARGEMENT_CONFIGURATION_H_
