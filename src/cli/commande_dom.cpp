// `vesk entdom` (the entry screen of the definition domains) and `vesk edtdom` (their listing).
#include <ostream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk::cli {

namespace {

// The listing's file from --output: a .pdf or .txt file ("" when not given).
std::string FichierEdition(const Contexte& contexte) {
  const std::optional<std::string>& sortie = contexte.Options().sortie;
  if (!sortie) return "";
  auto finit = [&](std::string_view fin) {
    return sortie->size() > fin.size() &&
           text::EqualNoCase(std::string_view(*sortie).substr(sortie->size() - fin.size()), fin);
  };
  if (!finit(".pdf") && !finit(".txt")) {
    throw ErreurService("Ligne de commande", "--output",
                        "« " + *sortie + " » : une édition s'écrit dans un fichier .pdf ou .txt");
  }
  return *sortie;
}

}  // namespace

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
  std::unique_ptr<Composant> composant =
      OuvreComposant(contexte, contexte.Config(), FichierEdition(contexte));
  composant->Ass().EdtDom();
  std::vector<std::string> ecrits = composant->EditionsEcrites();
  composant->Termine();  // the terminal is given back before anything is printed
  std::ostream& sortie = contexte.SortieStandard();
  if (ecrits.empty()) sortie << "Aucun domaine de définition : rien à éditer.\n";
  for (const std::string& chemin : ecrits) sortie << "Édition écrite dans " << chemin << "\n";
  return 0;
}

}  // namespace vesk::cli
