#include "cli/composant.h"

#include "cli/affichage.h"
#include "core/etat_module.h"
#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "srv/standard/fabrique_standard.h"

namespace vesk::cli {

std::shared_ptr<AsS> OuvreComposant(Contexte& contexte, const Configuration& config) {
  OptionsServices options;
  options.config = config;
  options.affichage_anomalie = AfficheurAnomalies(contexte.Erreurs());
  OublieEtat();
  InstalleServicesThread(CreateurStandard(std::move(options)));
  std::shared_ptr<AsS> ass = AsS::Cree();
  ass->OuvS();
  return ass;
}

Configuration DossierCible(Contexte& contexte) {
  const auto& arguments = contexte.Options().arguments;
  if (arguments.size() > 1) {
    throw ErreurService("Ligne de commande", contexte.Options().commande,
                        "un seul dossier attendu, « " + arguments[1] + " » en trop");
  }
  Configuration config = contexte.Config();
  if (arguments.empty()) return config;
  config = Configuration{};
  config.dossier = arguments.front();
  platform::IoStatus st = platform::CreateDirectories(config.dossier);
  if (!st.ok()) throw ErreurService("Création du dossier", config.dossier, st.message);
  return config;
}

}  // namespace vesk::cli
