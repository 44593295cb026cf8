// `vesk entdom` (the entry screen of the definition domains) and `vesk edtdom` (their listing).
#include <ostream>

#include "cli/commandes.h"
#include "cli/composant.h"

namespace vesk::cli {

int CommandeEntDom(Contexte& contexte) {
  std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config());
  composant->Ass().EntDom();
  composant->Termine();
  return 0;
}

int CommandeEdtDom(Contexte& contexte) {
  return Edite(
      contexte, [](Composant& c) { c.Ass().EdtDom(); },
      "Aucun domaine de définition : rien à éditer.");
}

}  // namespace vesk::cli
