// `vesk entdom` (the entry screen of the definition domains) and `vesk edtdom` (their listing).
#include <ostream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "srv/erreur_service.h"

namespace vesk::cli {

int CommandeEntDom(Contexte& contexte) {
  contexte.SansArgument();
  if (contexte.Options().sortie) {
    throw ErreurService("Ligne de commande", "--output",
                        "entdom est un écran de saisie : il n'écrit aucun résultat");
  }
  std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config());
  composant->Ass().EntDom();
  composant->Termine();
  return 0;
}

int CommandeEdtDom(Contexte& contexte) {
  contexte.SansArgument();
  return Edite(
      contexte, [](Composant& c) { c.Ass().EdtDom(); },
      "Aucun domaine de définition : rien à éditer.");
}

}  // namespace vesk::cli
