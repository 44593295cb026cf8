// `vesk copie SOURCE DESTINATION`: an application's data between a data folder and a database
// store, either way (docs/postgresql.md); a progress bar on the error output when it is a
// terminal. Built with the database store only.
#ifdef VESK_AVEC_PG
#include <ostream>

#include "cli/commandes.h"
#include "srv/config/stockage.h"
#include "srv/erreur_service.h"
#include "srv/pg/copie_pg.h"
#include "srv/tui/barre_progression.h"

namespace vesk::cli {

namespace {

std::shared_ptr<pg::BasePg> Base(const std::string& uri) {
  AdresseBase adresse;
  const std::string pourquoi = AnalyseAdresseBase(uri, adresse);
  if (!pourquoi.empty()) throw ErreurService("Ligne de commande", uri, pourquoi);
  return std::make_shared<pg::BasePg>(adresse, "");
}

}  // namespace

int CommandeCopie(Contexte& contexte) {
  const auto& arguments = contexte.Options().arguments;
  if (arguments.size() != 2 || EstAdresseBase(arguments[0]) == EstAdresseBase(arguments[1])) {
    throw ErreurService("Ligne de commande", "copie",
                        "vesk copie DOSSIER postgresql://... ou vesk copie postgresql://... "
                        "DOSSIER : un dossier de données et une base");
  }
  pg::BilanCopie bilan;
  const std::unique_ptr<SuiviProgression> barre = tui::BarreSurErreurs();
  if (EstAdresseBase(arguments[1])) {
    pg::CopieVersBase(arguments[0], *Base(arguments[1]), *barre, &bilan);
  } else {
    pg::CopieVersDossier(*Base(arguments[0]), arguments[1], *barre, &bilan);
  }
  contexte.Sortie() << "Copie faite : " << bilan.fichiers << " fichier(s) de données ("
                    << bilan.enregistrements << " enregistrement(s)), " << bilan.arbres
                    << " B-arbre(s) (" << bilan.cles << " clé(s)), " << bilan.textes
                    << " texte(s)\n";
  return 0;
}

}  // namespace vesk::cli
#endif
