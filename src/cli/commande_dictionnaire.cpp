// `vesk export [FICHIER]` and `vesk import FICHIER`: the whole dictionary as a TOML text, and
// back (docs/dictionary-text.md).
#include <fstream>
#include <ostream>
#include <sstream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "fic/dictionnaire_texte.h"
#include "platform/platform.h"
#include "srv/config/stockage.h"
#include "srv/erreur_service.h"
#include "srv/tui/barre_progression.h"

namespace vesk::cli {

namespace {

std::string LitFichier(const std::string& chemin) {
  std::ifstream in(chemin, std::ios::binary);
  if (!in) throw ErreurService("import", chemin, "fichier illisible ou absent");
  std::stringstream tout;
  tout << in.rdbuf();
  if (in.bad()) throw ErreurService("import", chemin, "lecture interrompue");
  return tout.str();
}

void EcritFichier(const std::string& chemin, const std::string& texte) {
  std::ofstream out(chemin, std::ios::binary | std::ios::trunc);
  out << texte;
  out.close();
  if (!out) throw ErreurService("export", chemin, "écriture impossible");
}

}  // namespace

int CommandeExport(Contexte& contexte) {
  const OptionsLigne& o = contexte.Options();
  std::string texte;
  {
    std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
    texte = fic::ExporteDictionnaire(composant->Session());
    composant->Termine();
  }
  if (o.arguments.empty()) {
    contexte.Sortie() << texte;
  } else {
    EcritFichier(o.arguments.front(), texte);
  }
  return 0;
}

int CommandeImport(Contexte& contexte) {
  const OptionsLigne& o = contexte.Options();
  if (o.tronque && !o.migre) throw ErreurUsage("--truncate", "avec --migrate seulement");
  const std::string& chemin = o.arguments.front();
  const std::string texte = LitFichier(chemin);
  std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config());
  const std::unique_ptr<SuiviProgression> barre = tui::BarreSurErreurs();
  const fic::BilanImport b = fic::ImporteDictionnaire(composant->Session(), texte, chemin,
                                                      {o.essai, o.migre, o.tronque}, barre.get());
  barre->Fin();
  std::ostream& sortie = contexte.Sortie();
  if (!b.plan.empty()) {
    sortie << (o.essai ? "Plan de migration, rien n'est écrit :\n" : "Migration :\n") << b.plan;
  }
  // Past its commit point the import is made, even when its files could not all be written now:
  // status 0, with the write error.
  const std::string importe =
      b.ecriture_differee.empty()
          ? "Dictionnaire importé : "
          : "Dictionnaire importé ; les fichiers seront mis à jour à la prochaine ouverture (" +
                b.ecriture_differee + ") : ";
  sortie << (o.essai ? "Texte correct, rien n'est écrit : " : importe) << b.domaines
         << " domaine(s), " << b.fichiers << " fichier(s), " << b.rubriques << " rubrique(s), "
         << b.barbres << " B-arbre(s), " << b.chainages << " chaînage(s)\n";
  if (!b.sauvegarde.empty()) {
    // On a database, the old tables went into a backup schema of the store.
    sortie << "Anciens fichiers gardés dans "
           << (EstAdresseBase(contexte.Config().stockage)
                   ? "le schéma " + b.sauvegarde
                   : platform::JoinPath(contexte.Config().dossier, b.sauvegarde))
           << "\n";
  }
#ifdef VESK_AVEC_PG
  // The typed views of a database follow the new layouts.
  if (!o.essai && EstAdresseBase(contexte.Config().stockage)) {
    RafraichitVues(contexte, composant->Session(), nullptr);
  }
#endif
  composant->Termine();
  return 0;
}

}  // namespace vesk::cli
