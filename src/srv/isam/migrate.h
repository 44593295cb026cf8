// Migrate: a layout migration of data files (the plan of srv/migration.h). Each data file of
// the plan is found where it has data (the root, or every company folder for a file that
// depends on the company), its records rewritten by the plan's pieces under their own numbers
// (a deleted record stays deleted, its bytes blank), its B-trees built from the new records,
// and the file moved between the root and the company folders when its dependence changes.
// The new files are written aside and put in place through the replacement record together
// with the open batch's changes (the new dictionary), which the migration ends: after a crash
// at any instant the next user of the folder finds the old files with the old batch undone,
// or the new ones with the batch's changes, never a mix. The old files go into a backup folder
// of the data folder, SAUVEGARDE-AAAAMMJJ-HHMMSS, a name no company can have. A dry run reads
// only, under the shared lock, and reports what the migration would do.
// Thread rules: the thread that owns the DossierDonnees.
#ifndef VESK_SRV_ISAM_MIGRATE_H_
#define VESK_SRV_ISAM_MIGRATE_H_

#include <exception>
#include <string>

#include "srv/isam/dossier.h"
#include "srv/isam/status.h"
#include "srv/migration.h"
#include "srv/suivi_progression.h"

namespace vesk::isam {

// The prefix of backup folders; the rest is the date and time of the migration.
inline constexpr std::string_view kBackupPrefix = "SAUVEGARDE-";

struct MigrateResult {
  // What the files hold refused the migration (values that do not fit, a key twice, damage):
  // the message is bilan->refus, nothing changed, the batch undone.
  bool refused = false;
  // What a conversion or key builder of the plan threw: the migration stopped there.
  std::exception_ptr error;
};

// Runs plan on dossier, filling bilan. A failing status (with refused or not) leaves the files
// as they were and, outside a dry run, the batch undone; unless bilan->en_place, when only the
// cleaning failed (finished by the next user of the folder).
Status Migrate(DossierDonnees& dossier, const PlanMigration& plan, SuiviProgression* progress,
               BilanMigration* bilan, MigrateResult* result);

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_MIGRATE_H_
