// `vesk usages NOM`: where a name of the dictionary is used. NOM may be a field's variable, a
// domain's code, a file or a B-tree table; each use is listed under its kind (files, fields, key
// lists, chainings, domains, and the programs recorded in the data folder's PROGRAMMES).
#include <ostream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "cli/programmes.h"
#include "fic/lecture_dictionnaire.h"
#include "fic/usages.h"
#include "platform/platform.h"

namespace vesk::cli {

int CommandeUsages(Contexte& contexte) {
  const std::string nom = contexte.Options().arguments.front();
  const std::string dossier = platform::JoinPath(contexte.Config().dossier, kDossierProgrammes);
  const std::vector<fic::ProgrammeUtilise> programmes = ProgrammesUtilises(LitRegistre(dossier));
  fic::ModeleDictionnaire modele;
  {
    std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
    modele = fic::LitDictionnaire(composant->Session());
    composant->Termine();
  }
  const fic::Usages usages = fic::UsagesNom(modele, nom, programmes);
  std::ostream& sortie = contexte.Sortie();
  if (usages.Vide()) {
    sortie << "« " << nom << " » : ni fichier, ni rubrique, ni domaine, ni table du dictionnaire\n";
    return 1;
  }
  for (const std::string& ligne : usages.Lignes()) sortie << ligne << "\n";
  return 0;
}

}  // namespace vesk::cli
