// The layout migration a change of the dictionary asks for: the old dictionary and the new one
// compared file by file, and for each specified file whose data must follow (fields added,
// removed, moved, resized or retyped, the record length, its B-tree tables, the pointers of its
// chainings, its dependence on the company, its specification removed) the plan the data-file
// service runs (srv/migration.h). Fields are matched by their variable; a value moves by the
// field rules (fic/valeur_rubrique.h). The plan's text is what `import --dry-run --migrate`
// prints and the screens show (docs/migration.md). Pure functions over models; any thread.
#ifndef VESK_FIC_PLAN_MIGRATION_H_
#define VESK_FIC_PLAN_MIGRATION_H_

#include <cstdint>
#include <string>
#include <vector>

#include "fic/modele_dictionnaire.h"
#include "srv/migration.h"

namespace vesk::fic {

// What changes for one specified file, in words, beside its part of the service's plan.
struct ChangementFichier {
  std::string nom;
  std::vector<std::string> lignes;  // one per field added, removed, changed; trees; move
  bool supprime = false;
};

struct PlanDictionnaire {
  PlanMigration plan;                          // the files whose data must follow
  std::vector<ChangementFichier> changements;  // in the order of plan.fichiers
  // Changes no migration can make (a retype other than between M and N, a variable twice):
  // each refuses the migration of its file when that file has data.
  std::vector<std::vector<std::string>> refus;  // per file of the plan
};

// Compares the two dictionaries. tronque: texts are cut and decimals rounded where they do not
// fit (--truncate).
PlanDictionnaire PlanifieMigration(const ModeleDictionnaire& ancien,
                                   const ModeleDictionnaire& nouveau, bool tronque);

// The files of the plan that hold records (after a dry run of the service, bilan), and whether
// any change refused for them (PlanDictionnaire::refus) or the service refused (bilan.refus).
bool DonneesTouchees(const PlanDictionnaire& p, const BilanMigration& bilan);
bool MigrationRefusee(const PlanDictionnaire& p, const BilanMigration& bilan);

// The plan as text, after a dry run of the service: per file with data, its folders and
// records, what changes, the values that do not fit (record, field, value; the first premiers
// of each folder, then how many others), then the refusal if any. Files without data are left
// out. Lines end with "\n".
std::string TextePlan(const PlanDictionnaire& p, const BilanMigration& bilan,
                      size_t premiers = SIZE_MAX);
// One line: the files with data whose layout changes ("CLIENT (01 : 291 enregistrements)").
std::string FichiersTouches(const PlanDictionnaire& p, const BilanMigration& bilan);

}  // namespace vesk::fic

#endif  // VESK_FIC_PLAN_MIGRATION_H_
