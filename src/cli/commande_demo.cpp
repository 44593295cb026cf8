// `vesk demo [DIR]`: creates (or completes) a demo data folder holding a sample dictionary and
// its application's data, then shows what can be done with it.
#include <ostream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "cli/demo.h"
#include "core/session.h"

namespace vesk::cli {

int CommandeDemo(Contexte& contexte) {
  Configuration config = DossierCible(contexte);
  // The demo's application files belong to a company: its own, unless one is configured.
  if (config.entreprise.empty()) config.entreprise = kEntrepriseDemo;
  std::unique_ptr<Composant> composant = OuvreComposant(contexte, config);
  RemplitDemo(composant->Session(), config.dossier);
  RemplitDonneesDemo(composant->Session());
  composant->Termine();
  contexte.Sortie() << "Dictionnaire et données de démonstration prêts dans " << config.dossier
                    << " (entreprise " << config.entreprise << ")\n\n"
                    << Menu();
  return 0;
}

}  // namespace vesk::cli
