// The migration step of a change of the dictionary made on a screen or by the import: the plan
// of the files whose data must follow (fic/plan_migration.h) run dry by the data service, and on
// the file entry, between the entry and the writing, the plan shown and the user asked
// (docs/decisions.md, "A change that alters the layout of a file with data"). Works on the
// session it is given.
#ifndef VESK_FIC_ETAPE_MIGRATION_H_
#define VESK_FIC_ETAPE_MIGRATION_H_

#include <functional>
#include <string>

#include "core/cycle_saisie.h"
#include "core/lot.h"
#include "core/session.h"
#include "fic/modele_dictionnaire.h"
#include "fic/plan_migration.h"

namespace vesk::fic {

// Plans the migration from ancien to nouveau and runs it dry (outside any batch): essai tells
// what the files hold. False, the plan emptied, when no file with records must follow.
bool EssaieMigration(Session& s, const ModeleDictionnaire& ancien,
                     const ModeleDictionnaire& nouveau, bool tronque, SuiviProgression& suivi,
                     PlanDictionnaire& plan, BilanMigration& essai);

// What the screen decided.
struct MigrationEcran {
  PlanDictionnaire plan;  // plan.plan.fichiers empty: nothing to convert
  bool ecrit = true;      // false: declined, or refused; nothing is to be written
  std::string message;    // when nothing is written: for line "B" of the next screen
};

// What a screen writes, named in its messages.
struct SujetMigration {
  std::string fichier;   // the data file the box is titled after ("CLIENT")
  std::string ecrit;     // what is written ("CLIENT", "CLI1", "FACLIG")
  std::string inchange;  // what stays ("Spécification de CLIENT inchangée", "Table CLI1
                         // inchangée", "Chaînage FACLIG inchangé")
};

// The step of a screen about to write sujet: when the change from ancien to nouveau alters the
// layout of files that hold records, the plan in a box, then the confirmation on line "B" (a
// migration that cannot be made: the box only, and nothing written).
MigrationEcran DemandeMigration(Session& s, const ModeleDictionnaire& ancien,
                                const ModeleDictionnaire& nouveau, const SujetMigration& sujet);

// Ends lot: committed, or ended by the migration the user accepted (its batch's changes and the
// converted files put in place together; its progress on line "B"). Gives the message of the next
// screen ("" none).
std::string TermineLot(Session& s, LotDictionnaire& lot, const MigrationEcran& m,
                       const SujetMigration& sujet);

// Writes a screen's record as EcritEnregistrement does, after the step above for the change
// that modifie makes to the dictionary in place: declined or refused, nothing is written. Gives
// the message of the next screen ("" none).
std::string EcritSelonDonnees(Session& s, const FichierCle& f, int32_t e,
                              const std::function<void()>& supprime,
                              const std::function<std::string()>& remplit,
                              const std::function<void(ModeleDictionnaire&)>& modifie,
                              const SujetMigration& sujet);

}  // namespace vesk::fic

#endif  // VESK_FIC_ETAPE_MIGRATION_H_
