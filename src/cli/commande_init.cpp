// `vesk init [DIR]`: creates an empty dictionary in DIR (or the data folder): the five
// dictionary files and their B-trees, as OuvS creates them.
#include <ostream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "core/etat_module.h"

namespace vesk::cli {

int CommandeInit(Contexte& contexte) {
  Configuration config = DossierCible(contexte);
  OuvreComposant(contexte, config)->Termine();
  contexte.Sortie() << "Dictionnaire prêt dans " << config.dossier << "\n";
  return 0;
}

}  // namespace vesk::cli
