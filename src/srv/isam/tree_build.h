// What the rebuild and the migration share to write new files from old ones: the slots of a data
// file read in order, in large chunks, and TreeBuild, the entries of one B-tree gathered from
// records (key and record number), sorted in the tree's order and loaded bottom up into a new
// file. Thread rules: one thread.
#ifndef VESK_SRV_ISAM_TREE_BUILD_H_
#define VESK_SRV_ISAM_TREE_BUILD_H_

#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "srv/isam/data_file.h"
#include "srv/isam/env.h"
#include "srv/isam/status.h"
#include "srv/reconstruction.h"

namespace vesk::isam {

// The header of the data file path, which must hold all the records it counts.
Status ReadDataHeader(Env* env, const std::string& path, DataHeader* h);

// Calls visit(no, slot) for each slot of the data file path (header h), in record order, the
// slots read a chunk at a time. A slot whose state byte is neither live nor deleted is damage.
Status ForEachSlot(Env* env, const std::string& path, const DataHeader& h,
                   const std::function<Status(uint32_t no, const char* slot)>& visit);

// A slot of the current version appended to out: its state byte and the record's bytes; gives
// where the record's copy begins.
char* NewSlot(std::string* out, bool deleted, const char* record, uint32_t length);

class TreeBuild {
 public:
  // def: the tree and its key builder (which takes a record as text); expected: the entries to
  // make room for.
  TreeBuild(const BArbreAReconstruire& def, size_t expected);

  const BArbreAReconstruire& def() const { return *def_; }
  size_t count() const { return count_; }
  // The entry of record no, its key built from the record's bytes. What the key builder throws
  // is kept (error()) and the status fails.
  Status Add(std::string_view record, uint32_t no);
  std::exception_ptr error() const { return error_; }
  // Sorts the entries in the tree's order; a primary key met twice is refused (Duplicate) with
  // both records, numbered through shown (the numbers the user knows) when it is not null.
  Status Sort(const std::vector<uint32_t>* shown);
  // Writes the sorted entries into the new B-tree file path (the indexed data file named in its
  // header), synced; the entries are freed.
  Status Write(Env* env, const std::string& path, const std::string& indexed);
  // Each sorted entry in the tree's order (a store that loads its trees otherwise), then the
  // entries are freed.
  void Drain(const std::function<void(std::string_view key, uint32_t record)>& visit);

 private:
  const BArbreAReconstruire* def_;
  uint16_t key_length_;
  char nature_;
  std::string packed_;  // keys and records (key, then record, little-endian)
  size_t count_ = 0;
  std::vector<std::pair<uint64_t, uint32_t>> order_;  // (8 key bytes, big-endian; entry)
  std::string key_, text_, key_text_;
  std::exception_ptr error_;
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_TREE_BUILD_H_
