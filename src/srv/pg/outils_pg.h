// What the tools and tests of the database store share: a store opened on a root schema of its
// own, its schemas removed, and its state written as the workload writes a folder's
// (isam::Workload::State), so that the same operations give the same text on both stores.
// Functions only; one thread.
#ifndef VESK_SRV_PG_OUTILS_PG_H_
#define VESK_SRV_PG_OUTILS_PG_H_

#include <cstdint>
#include <memory>
#include <string>

#include "srv/isam/workload.h"
#include "srv/pg/base_pg.h"

namespace vesk::pg {

// The store of root schema `schema` on the server of uri (a libpq URI). Throws ErreurService.
std::shared_ptr<BasePg> OuvreBase(const std::string& uri, const std::string& schema,
                                  bool synchro_full);
// Drops the root schema `schema` and its companies' schemas (nothing when absent).
void EffaceSchemas(const std::string& uri, const std::string& schema);
// The workload of isam::Workload over the services of base.
std::unique_ptr<isam::Workload> WorkloadBase(const std::shared_ptr<BasePg>& base, uint64_t seed,
                                             char prefixe = 'C');
// Every record of the open data files and every entry of the open B-trees, in handle order,
// as isam::Workload::State writes them; read in one transaction under the store's lock, so
// that a writer still committing (its program killed meanwhile) is waited for.
std::string EtatBase(BasePg& b);

}  // namespace vesk::pg

#endif  // VESK_SRV_PG_OUTILS_PG_H_
