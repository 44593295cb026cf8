// `vesk genpe [NOM]`: the report and CSV program generator. Without NOM, its screen (in a
// terminal or through --script), then the code in the viewer; with NOM, no screen: the program
// of the file NOM (--csv, the default, or --edition) written to the output.
#include <ostream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "gencode/etat_gencode.h"
#include "gencode/gen_pe.h"
#include "srv/erreur_service.h"

namespace vesk::cli {

int CommandeGenPE(Contexte& contexte) {
  const OptionsLigne& o = contexte.Options();
  if (o.arguments.size() > 1) {
    throw ErreurService("Ligne de commande", o.commande,
                        "un nom de fichier au plus : vesk genpe [NOM]");
  }
  if (o.csv && o.edition) {
    throw ErreurService("Ligne de commande", "--csv --edition", "l'un ou l'autre, pas les deux");
  }
  if (o.arguments.empty() && (o.csv || o.edition)) {
    throw ErreurService("Ligne de commande", o.csv ? "--csv" : "--edition",
                        "avec un nom de fichier seulement : l'écran demande la sortie");
  }
  std::string texte;
  size_t anomalies = 0;
  int32_t generations = 0;
  {
    std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
    generations = EtatGen().Generations();
    if (o.arguments.empty()) {
      composant->Ass().GenPE();
    } else {
      GenereEdition({o.arguments.front(), "", !o.edition});
    }
    generations = EtatGen().Generations() - generations;
    texte = EtatGen().Texte();
    anomalies = EtatGen().Anomalies().size();
    composant->Termine();
  }
  if (generations == 0) {
    contexte.SortieStandard() << "Rien n'a été généré.\n";
    return 0;
  }
  return SortieCode(contexte, std::move(texte), anomalies);
}

}  // namespace vesk::cli
