// BTree: one B-tree file (.DAB) of fixed-length keys and 32-bit record numbers, over a Pager.
// Nature 'P' keeps keys unique; nature 'S' allows duplicate keys, entries being ordered by
// (key, record number). Keys are compared byte by byte, unsigned (Windows-1252 bytes).
// Thread rules: one thread at a time; the upper levels stay cached in the pager.
#ifndef VESK_SRV_ISAM_BTREE_H_
#define VESK_SRV_ISAM_BTREE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "srv/isam/env.h"
#include "srv/isam/pager.h"
#include "srv/isam/status.h"

namespace vesk::isam {

// The header values of a B-tree file.
struct BTreeHeader {
  uint32_t node_length = 0;
  uint16_t key_length = 0;
  uint16_t pointer_length = 4;
  char nature = 'P';
  uint32_t order = 0;  // most entries a node holds (a leaf; see inner_order)
  uint32_t levels = 0;
  uint64_t keys = 0;
  uint32_t nodes = 0;  // nodes of the tree (free nodes not counted)
  uint32_t root = 0;
  uint32_t free_head = 0;
  std::string indexed_file;
  uint64_t change_counter = 0;
  uint32_t inner_order = 0;  // most entries an inner node holds
  uint32_t allocated = 0;    // node numbers in use in the file: tree and free nodes
  uint32_t free_count = 0;   // nodes on the free list
};

// How a B-tree is opened.
struct BTreeOptions {
  size_t cache_bytes = 32u << 20;   // clean nodes kept in memory (dirty ones stay until Flush)
  std::shared_ptr<CachePool> pool;  // when set, a budget shared with other files instead
  // At creation only: most entries per node, 4 up to what a node holds (0: what a node holds).
  // Small orders give deep trees from few keys, for tests; the file records the order.
  uint32_t max_entries = 0;
};

// Figures that help a person judge a tree.
struct BTreeStats {
  std::vector<uint64_t> keys_per_level;   // from the root down
  std::vector<uint32_t> nodes_per_level;  // from the root down
  double fill_ratio = 0;                  // entries held / entries the nodes could hold
  uint32_t free_nodes = 0;
  uint64_t file_bytes = 0;
};

class BTree {
 public:
  // Opens the B-tree file path. When it is absent and create is true, creates it with
  // key_length (1 to 1024) and nature; an existing file must have the same key length and
  // nature (InvalidArgument naming both otherwise). indexed_file is recorded when not empty.
  static Status Open(Env* env, const std::string& path, uint16_t key_length, char nature,
                     std::string_view indexed_file, bool create, std::unique_ptr<BTree>* out);
  static Status Open(Env* env, const std::string& path, uint16_t key_length, char nature,
                     std::string_view indexed_file, bool create, const BTreeOptions& options,
                     std::unique_ptr<BTree>* out);
  // Opens an existing B-tree file with the key length and nature its own header gives (a
  // tree a rebuild replaced, whose key length may have changed with its table's; a tree found
  // on disk by the verifier). Corruption when the file is not a B-tree.
  static Status OpenAsMade(Env* env, const std::string& path, const BTreeOptions& options,
                           std::unique_ptr<BTree>* out);
  ~BTree();

  // key is exactly key_length bytes and record is 1 or more (InvalidArgument otherwise).
  // 'P': Duplicate when the key exists; 'S': Duplicate when the pair exists. Nothing is changed
  // on failure: every node an operation will need (free list included) is checked before the
  // first change, so a damaged file gives Corruption untouched. Only an I/O error in the middle
  // (a node that cannot be read) may leave the cached tree half changed; undoing the
  // operation (the redo log drops its cached changes) puts it back.
  Status Insert(std::string_view key, uint32_t record);
  // Removes the pair; NotFound when absent.
  Status Erase(std::string_view key, uint32_t record);
  // The first record of key; NotFound when absent.
  Status Find(std::string_view key, uint32_t* record);
  // The first entry strictly after (key, record) in (key, record) order; an empty key with
  // record 0 gives the first entry. NotFound past the last entry.
  Status SeekAfter(std::string_view key, uint32_t record, std::string* found_key,
                   uint32_t* found_record);
  // The record of the entry distance places after the last one SeekAfter gave, when it lies in
  // the same leaf or the next one (if that one is cached) and the tree has not changed since;
  // 0 otherwise. Reads nothing from the file. A walk reads that record ahead.
  uint32_t RecordAhead(uint32_t distance);
  // The entries of a bulk load: entry i (from 0) gives a key of key_length bytes and its record.
  using Entree = std::function<void(size_t i, const char** key, uint32_t* record)>;
  // Fills a new, empty tree with count entries given in ascending order ((key, record) order on
  // a secondary tree), bottom up, every node filled to 7/8 of what it holds. Duplicate naming
  // both records when a primary tree would get a key twice; InvalidArgument when the tree is
  // not empty or the entries are out of order. Meant for a file written aside (rebuild): its
  // blocks are written as it goes, outside any redo log.
  Status Load(size_t count, const Entree& entree);
  // Calls visit for every entry in order until it returns false. visit must not change the tree.
  Status ForEach(const std::function<bool(std::string_view key, uint32_t record)>& visit);

  Status Header(BTreeHeader* header);
  Status FreeNodes(std::vector<uint32_t>* nodes);
  Status Stats(BTreeStats* stats);
  // Checks every invariant (keys in order, leaves at one depth, header counts, free list
  // without cycles and disjoint from the tree); problems lists what is wrong, empty when sound.
  Status Verify(std::vector<std::string>* problems);

  // Rereads the header and forgets the cached nodes, after another process changed the file.
  // InvalidArgument when changes of this handle are not flushed yet.
  Status Reload();
  const std::string& Path() const;
  // Opens the file again by its path (a rebuild replaced it) and reads its header, whose key
  // length and nature may have changed with its table's. Refused, the handle left on its old
  // file, when the new file's node length differs (a key length in another size class).
  Status Reopen(Env* env);

  // The header's values live in memory while operations change the tree; they reach node 0
  // (with its checksum) when the pager is flushed or prepared for a flush, so that a batch of
  // operations copies and redo logs the header once. Mark saves those values at the start of
  // an operation and RestoreMark puts them back when the operation is undone (its nodes being
  // put back by the redo log).
  void Mark();
  void RestoreMark();

  // Writes the cached changes to the file; Sync also forces them to stable storage. (Flushing
  // the pager directly is the same: the header is completed by a flush hook.)
  Status Flush();
  Status Sync();
  uint16_t KeyLength() const;
  char Nature() const;
  Pager* pager();

  // The implementation (btree_impl.h), named here for the implementation files only.
  struct Impl;

 private:
  explicit BTree(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_BTREE_H_
