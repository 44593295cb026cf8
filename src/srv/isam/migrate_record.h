// What every store's layout migration shares (the plan of srv/migration.h): a file of the plan
// checked and its pieces put in bytes, the places its data goes to from the places that hold
// it, each record converted by the pieces (the values that do not fit noted in the outcome),
// and the refusals' texts. Plain functions; the thread that migrates.
#ifndef VESK_SRV_ISAM_MIGRATE_RECORD_H_
#define VESK_SRV_ISAM_MIGRATE_RECORD_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "srv/isam/status.h"
#include "srv/migration.h"

namespace vesk::isam {

// A piece of the plan in bytes: offsets from 0, the given text encoded once.
struct PieceWork {
  const PieceMigration* def = nullptr;
  uint32_t to = 0, length = 0, from = 0, old_length = 0;
  std::string bytes;
};

// Checks the file of the plan as the stores take it (names, lengths, trees, pieces inside the
// records) and gives its pieces in bytes.
Status CheckMigratedFile(const FichierMigre& f, std::vector<PieceWork>* pieces);

// Where the data of f goes, from the places that hold it (companies, "" for the root; for a
// file that depends on the company, the companies only): pairs (from, to); current is the
// current company (upper case, "" when none). A move that cannot be made gives its refusal's
// text (places left empty); "" otherwise.
std::string PlacesOfFile(const FichierMigre& f, const std::vector<std::string>& holders,
                         const std::string& current,
                         std::vector<std::pair<std::string, std::string>>* places);

// The new record of old record no into out (f.longueur bytes), by the pieces of f; each value
// that does not fit is counted in lieu and in *problems, and listed in lieu up to the plan's
// limit.
void ConvertRecord(const PlanMigration& plan, const FichierMigre& f,
                   const std::vector<PieceWork>& pieces, uint32_t no, const char* old, char* out,
                   BilanMigration::Lieu& lieu, int64_t* problems);

// The refusal for problems values that do not fit.
std::string ProblemsRefusal(int64_t problems, bool tronque);
// The refusal for a data file whose records are not of the dictionary's old length.
std::string LengthRefusal(const std::string& where, uint32_t length, int32_t expected);
// The refusal for a file moved where one of its name exists.
std::string MoveRefusal(const std::string& where, const std::string& nom);

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_MIGRATE_RECORD_H_
