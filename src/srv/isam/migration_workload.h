// The layout migration that ends a crash run of the workload (workload.h) with --migrate, and
// the state of a folder read from its files alone, whatever their layout. The customers' file
// CLI (40 bytes) becomes a file of 48 bytes: its key widened from 8 to 10, a country field
// added, the town and name moved, the first and last line pointers moved from 31 and 34 to 35
// and 38; its two trees rebuilt. In the same batch the folder's stand-in for a dictionary,
// DIC.DAT, has its record "VERSION 1" rewritten "VERSION 2": after a crash the folder must hold
// the old CLI with version 1 or the new CLI with version 2, never a mix. For the crash loop and
// the fault-injection tests; one thread; throws ErreurService when a service fails.
#ifndef VESK_SRV_ISAM_MIGRATION_WORKLOAD_H_
#define VESK_SRV_ISAM_MIGRATION_WORKLOAD_H_

#include <string>

#include "srv/isam/dossier.h"
#include "srv/isam/verify.h"
#include "srv/migration.h"

namespace vesk::isam {

class MigrationWorkload {
 public:
  // Creates DIC.DAT with its record "VERSION 1" when it has none (a commit of its own).
  static void Prepare(DossierDonnees& d);
  // The plan that converts CLI.
  static PlanMigration Plan();
  // In one batch, DIC's record rewritten "VERSION 2", then the migration, which ends the batch.
  // No file of the workload may be open in d (open it afresh).
  static void Run(DossierDonnees& d);
  // Every data file (records with their state) and B-tree (entries) at the folder's root, in
  // name order, read from the files as they are; the backup folder and company folders left
  // out. Two folders hold the same data exactly when their states are equal.
  static std::string State(Env* env, const std::string& dir);
  // The chaining of LIG under CLI as the folder's files hold it: before (false) or after (true)
  // the migration.
  static ChainToCheck Chaining(const std::string& dir, bool after);
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_MIGRATION_WORKLOAD_H_
