// Rebuild: compacts a data file, renumbers the chaining pointers that held its moved records,
// and rebuilds every B-tree of the files it rewrote, from their records; the new files are
// written aside and put in place all together (replace_set.h) under the folder's exclusive
// lock, after a checkpoint, so that every reader sees the old set or the new one, never a mix.
// The plan (which files, chainings and trees, how a key is built) is the caller's, in the terms of
// the data-file service (srv/reconstruction.h): the engine reads it in one place, where record
// bytes become the text a key is built from and positions from 1 become byte offsets. The
// engine reads and writes the bytes. Thread rules: the thread that owns the DossierDonnees.
#ifndef VESK_SRV_ISAM_REBUILD_H_
#define VESK_SRV_ISAM_REBUILD_H_

#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "srv/isam/dossier.h"
#include "srv/isam/status.h"
#include "srv/reconstruction.h"

namespace vesk::isam {

// What the rebuild tells as it goes, in this order for each file: kRecord for every live record
// of a chosen file (its old and new numbers; count: the file's records, live or deleted, so
// that old_no out of count is how far the scan is), kCompacted (count: the deleted records
// removed), kWritten once a new file is complete (moved: its records were renumbered), then kTree
// before each B-tree is built.
struct RebuildEvent {
  enum class Kind { kRecord, kCompacted, kWritten, kTree } kind;
  size_t file = 0;
  size_t tree = 0;
  uint32_t old_no = 0, new_no = 0;
  uint64_t count = 0;
  bool moved = false;
};
// A failure it returns ends the rebuild there, nothing put in place.
using RebuildObserver = std::function<Status(const RebuildEvent&)>;

struct RebuildResult {
  struct File {
    bool rewritten = false;
    uint32_t kept = 0;           // live records
    uint32_t removed = 0;        // deleted records removed
    std::vector<uint64_t> keys;  // per tree of the plan; all 0 for trees not rebuilt
    bool trees_rebuilt = false;
  };
  std::vector<File> files;
  bool in_place = false;     // the new set is the folder's
  bool copy_failed = false;  // new files could not be written or put in place: the old stay
  // What the files hold refused the rebuild (damage, a pointer to a record not live, a primary
  // key twice, a pointer outside the record): nothing changed.
  bool refused = false;
  std::string chosen_path;  // the data file of the (first) chosen file
  // What a key builder of the plan threw: the rebuild stopped there, nothing put in place.
  std::exception_ptr key_error;
};

// Runs the plan on dossier. A failure leaves the folder's files as they were (unless
// result->in_place: then only the cleaning failed, finished by the next user); the status names
// the file and what is wrong (a pointer to a deleted record, a primary key twice with both
// record numbers, a key longer than its tree's, an I/O error).
Status Rebuild(DossierDonnees& dossier, const PlanReconstruction& plan,
               const RebuildObserver& observer, RebuildResult* result);

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_REBUILD_H_
