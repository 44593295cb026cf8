// `vesk demo [DIR]`: creates (or completes) a demo data folder holding a sample dictionary, then
// shows what can be done with it.
#include <ostream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "cli/demo.h"
#include "core/etat_module.h"

namespace vesk::cli {

int CommandeDemo(Contexte& contexte) {
  Configuration config = DossierCible(contexte);
  std::unique_ptr<Composant> composant = OuvreComposant(contexte, config);
  RemplitDemo(config.dossier);
  composant->Termine();
  contexte.Sortie() << "Dictionnaire de démonstration prêt dans " << config.dossier << "\n\n"
                    << Menu();
  return 0;
}

}  // namespace vesk::cli
