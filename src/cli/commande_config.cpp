// `vesk config`: prints the effective configuration, in the format of vesk.ini, followed by the
// options that shape the output of the other commands, as comments.
#include <ostream>

#include "cli/commandes.h"

namespace vesk::cli {

int CommandeConfig(Contexte& contexte) {
  contexte.SansArgument();
  const OptionsLigne& o = contexte.Options();
  std::ostream& sortie = contexte.Sortie();
  sortie << DecritConfiguration(contexte.Config());
  sortie << "; encodage du code généré = " << NomEncodage(o.encodage) << "\n";
  sortie << "; fins de ligne du code généré = " << NomFinDeLigne(o.fin_de_ligne) << "\n";
  if (o.script) sortie << "; --script = " << *o.script << "\n";
  return 0;
}

}  // namespace vesk::cli
