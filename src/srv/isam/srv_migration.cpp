// The layout migration as the data-file service offers it: the engine's migration run, its
// refusals told apart from its failures.
#include <exception>

#include "srv/erreur_service.h"
#include "srv/isam/migrate.h"
#include "srv/isam/service_util.h"
#include "srv/isam/srv_donnee_impl.h"

namespace vesk {

void SrvDonneeImpl::Migre(const PlanMigration& plan, SuiviProgression& suivi,
                          BilanMigration& bilan) {
  constexpr std::string_view kOp = "Migre";
  isam::MigrateResult r;
  const isam::Status s = isam::Migrate(*dossier_, plan, &suivi, &bilan, &r);
  if (r.error) std::rethrow_exception(r.error);
  if (s.ok() || (r.refused && !bilan.en_place)) return;
  isam::Verifie(s, kOp, dossier_->Dossier());
}

}  // namespace vesk
