#include "fic/dictionnaire_texte.h"

#include "fic/etape_migration.h"
#include "fic/lecture_dictionnaire.h"
#include "fic/plan_migration.h"
#include "srv/erreur_service.h"

namespace vesk::fic {

// The text is read back as the import reads it before it is given: a dictionary whose records
// hold what no entry screen accepts (a damaged byte, a NUL in a definition file) is refused
// here, naming each fault, rather than written as a text the import would refuse.
std::string ExporteDictionnaire(Session& s) {
  ModeleDictionnaire m = LitDictionnaire(s);
  LitDefinitions(s, m);
  std::string texte = EcritToml(m);
  constexpr std::string_view kNom = "texte exporté";
  std::vector<std::string> fautes;
  try {
    fautes = ControleModele(s, LitToml(texte, kNom), kNom);
  } catch (const ErreurService& e) {
    fautes = {e.Message()};
  }
  if (fautes.empty()) return texte;
  std::string message = "le dictionnaire est endommagé, son texte serait refusé à l'import :";
  for (const std::string& f : fautes) message += "\n  " + f;
  throw ErreurService("export", "", message, true);
}

namespace {

// The import's migration: none when no file with records changes; otherwise refused unless
// asked for (then its plan); with essai, the plan only.
void PrepareMigration(Session& s, const ModeleDictionnaire& m, std::string_view nom,
                      const OptionsImport& o, SuiviProgression* suivi, PlanDictionnaire* p,
                      BilanImport* bilan) {
  ModeleDictionnaire ancien;
  try {
    ancien = LitDictionnaire(s);
  } catch (const ErreurService&) {
    // A damaged dictionary is replaced as it always was (the way to repair it): the layout in
    // place is unknown, so no data is converted (docs/migration.md).
    return;
  }
  SuiviMuet muet;
  BilanMigration essai;
  if (!EssaieMigration(s, ancien, m, o.tronque, suivi != nullptr ? *suivi : muet, *p, essai)) {
    return;
  }
  bilan->plan = TextePlan(*p, essai);
  if (!o.migre) {
    throw ErreurService(
        "import", nom,
        "la disposition de fichiers qui ont des données change : " + FichiersTouches(*p, essai) +
            " ; --migrate convertit leurs données (--dry-run --migrate montre le "
            "plan)");
  }
  if (MigrationRefusee(*p, essai)) {
    throw ErreurService("import", nom, "migration refusée, rien n'est écrit :\n" + bilan->plan);
  }
}

}  // namespace

BilanImport ImporteDictionnaire(Session& s, std::string_view texte, std::string_view nom,
                                const OptionsImport& o, SuiviProgression* suivi) {
  ModeleDictionnaire m = LitToml(texte, nom);
  const std::vector<std::string> fautes = ControleModele(s, m, nom);
  if (!fautes.empty()) RefuseTexte(nom, fautes);
  Complete(s, m);
  BilanImport bilan;
  PlanDictionnaire p;
  PrepareMigration(s, m, nom, o, suivi, &p, &bilan);
  if (!o.essai) {
    BilanMigration migration;
    try {
      RemplaceDictionnaire(s, m, suivi, p.plan.fichiers.empty() ? nullptr : &p.plan, &migration);
    } catch (const ErreurApresValidation& e) {
      bilan.ecriture_differee = e.Message();  // the import is made: its commit holds
    }
    if (!migration.refus.empty()) {
      throw ErreurService("import", nom,
                          "migration refusée, rien n'est écrit : " + migration.refus);
    }
    bilan.sauvegarde = migration.sauvegarde;
  }
  bilan.domaines = m.domaines.size();
  bilan.fichiers = m.fichiers.size();
  for (const auto& [n, f] : m.fichiers) bilan.rubriques += f.rubriques.size();
  bilan.barbres = m.barbres.size();
  bilan.chainages = m.chainages.size();
  return bilan;
}

}  // namespace vesk::fic
