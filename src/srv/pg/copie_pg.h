// The copy of an application's data between a data folder and a database store, both ways
// (`vesk copie`): every data file with its records (deleted ones included, their numbers
// kept), every B-tree with its keys, at the root and in every company, and the text files
// (.DOM) of the root. Into a database, one transaction; into a folder, new files written aside
// and put in place together (the replacement record, srv/isam/replace_set.h). The destination
// must hold no data yet. Thread rules: one thread; the folder is locked for the time of the copy.
#ifndef VESK_SRV_PG_COPIE_PG_H_
#define VESK_SRV_PG_COPIE_PG_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "srv/pg/base_pg.h"
#include "srv/suivi_progression.h"

namespace vesk::pg {

struct BilanCopie {
  uint32_t fichiers = 0, arbres = 0, textes = 0;
  uint64_t enregistrements = 0, cles = 0;
};

// Copies the data folder `dossier` into the store of base, which must be empty. Throws
// ErreurService on any failure, the database left as it was found: nothing copied, and the
// root schema and catalog tables the opening of base made dropped again. suivi is told of each
// object copied (a phase named "Copie 01/CLIENT.DAT", its records or keys as units).
void CopieVersBase(const std::string& dossier, BasePg& base, SuiviProgression& suivi,
                   BilanCopie* bilan);
// Copies the store of base into the data folder `dossier` (made when absent), which must hold
// no data file, B-tree or .DOM text. Throws ErreurService (nothing put in place) on any failure.
void CopieVersDossier(BasePg& base, const std::string& dossier, SuiviProgression& suivi,
                      BilanCopie* bilan);

}  // namespace vesk::pg

#endif  // VESK_SRV_PG_COPIE_PG_H_
