// LotDictionnaire: a batch of the thread's data-file service, for the component's writes that
// must land together (a file specification and its field lines, a whole imported dictionary).
// Valide commits the batch; a batch left without Valide (an error on its way) is undone. Used on
// the session it is given.
#ifndef VESK_CORE_LOT_H_
#define VESK_CORE_LOT_H_

#include "srv/migration.h"
#include "srv/suivi_progression.h"

namespace vesk {

class Session;

class LotDictionnaire {
 public:
  explicit LotDictionnaire(Session& s);
  ~LotDictionnaire();
  LotDictionnaire(const LotDictionnaire&) = delete;
  LotDictionnaire& operator=(const LotDictionnaire&) = delete;

  // Commits every operation of the batch (all or nothing); an error when the commit fails.
  void Valide();
  // Ends the batch by a layout migration (SrvDonnee::Migre): the batch's changes and the
  // migrated files are put in place together, or (a refusal in bilan, an error) undone.
  void Migre(const PlanMigration& plan, SuiviProgression& suivi, BilanMigration& bilan);

 private:
  Session& s_;
  bool fini_ = false;
};

}  // namespace vesk

#endif  // VESK_CORE_LOT_H_
