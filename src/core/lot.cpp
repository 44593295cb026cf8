#include "core/lot.h"

#include "core/session.h"
#include "srv/erreur_service.h"

namespace vesk {

LotDictionnaire::LotDictionnaire(Session& s) : s_(s) { s_.Donnee().DebutLot(); }

LotDictionnaire::~LotDictionnaire() {
  if (fini_) return;
  try {
    s_.Donnee().AnnuleLot();
  } catch (const ErreurService&) {
    // The error that left the batch is on its way to the host. A failed undo leaves the
    // folder refusing every use until it is reopened, which rolls the batch back from disk.
  }
}

void LotDictionnaire::Migre(const PlanMigration& plan, SuiviProgression& suivi,
                            BilanMigration& bilan) {
  fini_ = true;  // the migration ends the batch, whatever its outcome
  s_.Donnee().Migre(plan, suivi, bilan);
}

void LotDictionnaire::Valide() {
  fini_ = true;
  s_.Donnee().FinLot();
}

}  // namespace vesk
