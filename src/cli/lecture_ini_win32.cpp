// Reading vesk.ini on Windows, where inih is not packaged for the cross-build: the portable
// reader of srv/config, which follows the same rules (chargement_test compares the two).
#include "cli/chargement.h"
#include "srv/standard/chargement_configuration.h"

namespace vesk::cli {

void LitIni(std::string_view texte, const std::string& fichier, Configuration& config) {
  LitIniPortable(texte, fichier, config);
}

}  // namespace vesk::cli
