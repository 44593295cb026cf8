#include "cli/chargement.h"

#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "srv/standard/chargement_configuration.h"

namespace vesk::cli {

namespace {

// The data folder and where its name came from, for the error messages.
std::pair<std::string, std::string> DossierDonnees(const OptionsLigne& options) {
  if (options.data) return {*options.data, "option --data"};
  std::string env = platform::Environnement("VESK_DATA");
  if (!env.empty()) return {env, "variable VESK_DATA"};
  return {".", "dossier courant"};
}

}  // namespace

Configuration ChargeConfiguration(const OptionsLigne& options) {
  auto [dossier, origine] = DossierDonnees(options);
  Configuration config = ChargeConfigurationDossier(dossier, origine, LitIni);
  if (options.entreprise) {
    AppliqueOption(config, "--entreprise", "entreprise", *options.entreprise);
  }
  return config;
}

}  // namespace vesk::cli
