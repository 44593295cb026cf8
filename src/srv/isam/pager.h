// Pager: a cache of fixed-size blocks over one file, through which the data files and B-trees
// read and write every byte. Writes stay in the cache (dirty) until Flush; Sync also forces
// them to stable storage. The redo log hooks in here: it learns which files and blocks a
// transaction changes, and writes their new bytes to the redo log before Flush writes them.
// Thread rules: one thread at a time.
#ifndef VESK_SRV_ISAM_PAGER_H_
#define VESK_SRV_ISAM_PAGER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "srv/isam/env.h"
#include "srv/isam/status.h"

namespace vesk::isam {

// One cache budget shared by the pagers of a folder: the blocks of all of them, changed ones
// included, stay within budget bytes as long as the changed blocks alone fit (changed blocks
// stay until flushed: then clean ones give way down to the last few fetched of each file). A
// pager that needs room takes it from the pager whose last miss is the oldest. Block buffers go
// back to the pool, so memory follows the active files. Thread rules: those of its pagers.
class CachePool {
 public:
  explicit CachePool(size_t budget_bytes);
  ~CachePool();
  CachePool(const CachePool&) = delete;
  CachePool& operator=(const CachePool&) = delete;
  size_t budget() const { return budget_; }
  size_t clean_bytes() const { return clean_bytes_; }
  size_t held_bytes() const { return held_bytes_; }  // clean and changed

 private:
  friend class Pager;
  struct Member;
  char* Buffer(uint32_t block_size);
  char* NewChunk(size_t size);  // a new chunk of the pool's memory; throws bad_alloc
  void Give(char* buffer, uint32_t block_size);
  bool Full(uint32_t more) const { return held_bytes_ + more > budget_; }
  // Drops one clean block of the coldest member that has one (not of keep when avoidable);
  // false when none may go.
  bool EvictOne();
  size_t budget_;
  size_t clean_bytes_ = 0;
  size_t held_bytes_ = 0;
  uint64_t tick_ = 0;
  std::vector<Member*> members_;
  std::vector<std::unique_ptr<platform::MemoireCache>> chunks_;
  bool grandes_pages_ = false;  // the pool has gone to large pages
  // The next chunk, made ahead once the pool grows; after chunks_, so that a preparation
  // moving them is over before they go.
  platform::MemoireAvance avance_;
  std::vector<std::pair<uint32_t, std::vector<char*>>> spare_;  // by block size
};

class Pager {
 public:
  // Opens path through env; block_size is a power of two (4096 and up); the cache keeps at most
  // cache_blocks clean blocks (dirty blocks stay until flushed), or, with a pool, shares the
  // pool's budget with the pool's other pagers (the pool must outlive the pager).
  static Status Open(Env* env, const std::string& path, platform::OpenMode mode,
                     uint32_t block_size, size_t cache_blocks, std::unique_ptr<Pager>* out,
                     std::shared_ptr<CachePool> pool = nullptr);
  ~Pager();

  // Reads out.size() bytes at offset. Bytes past the logical end read as zero; *read (when not
  // null) receives how many bytes lay before the end.
  Status Read(uint64_t offset, std::span<char> out, size_t* read = nullptr);
  // Writes data at offset into the cache, growing the logical size as needed.
  Status Write(uint64_t offset, std::span<const char> data);
  // A block's bytes for reading in place, valid until the next call on this pager. In fact a
  // block stays in memory until kRecentBlocks further fetches (BlockForRead, BlockForWrite) have
  // been made, so several pointers may be held at once (DropCache ends them all).
  // A block past the logical end reads as zeros and does not grow the file.
  Status BlockForRead(uint64_t block_no, const char** data);
  // Asks the processor for the bytes [offset, offset + size) when their blocks are cached, so
  // that a later read finds them near; nothing is read from the file. For reading ahead.
  void Prefetch(uint64_t offset, size_t size) const;
  // Asks only for where the block holding offset sits in the cache: a Prefetch of it a few
  // steps later then finds at once where the bytes are.
  void PrefetchLocation(uint64_t offset) const;
  // The bytes of block_no when it is cached (as BlockForRead, valid until the next call), else
  // false; nothing is read from the file, and the block does not count as used.
  bool Cached(uint64_t block_no, const char** data) const;
  // Changes whenever a block leaves the cache: a pointer that BlockForRead gave stays valid (on
  // the block's current bytes) as long as this has not changed.
  uint64_t Generation() const;
  // A block's bytes for changing in place (marked dirty), valid until the next call. A dirty
  // block is never evicted: its pointer stays valid until the next Flush or Sync.
  // The file grows to cover the block.
  Status BlockForWrite(uint64_t block_no, char** data);
  // The same, for a change of bytes [from, to) of the block alone: the redo log hook sees those
  // bytes only (so that an operation's undo keeps the few bytes it changes, not the block).
  Status RangeForWrite(uint64_t block_no, uint32_t from, uint32_t to, char** data);
  // The same, for a move of the bytes [from, to) of the block by `by` bytes (not 0) that the
  // caller then makes, writing afterwards, when moving right, the `by` bytes left at from. The
  // shift hook sees only the bytes the move covers, which the block keeps nowhere else: [to,
  // to + by) moving right, [from + by, from) moving left; without a shift hook, the change hook
  // sees all the bytes the move touches.
  Status ShiftForWrite(uint64_t block_no, uint32_t from, uint32_t to, int32_t by, char** data);
  // Writes every dirty block to the file, in block order.
  Status Flush();
  // Flush, then force the file to stable storage.
  Status Sync();
  // Size of the file as written through this pager, flushed or not.
  uint64_t Size() const;
  // Forgets every clean block (another process changed the file).
  void DropCache();
  // Opens the file by its path again, as the file now bearing that name (a rebuild put a new one
  // in place), and forgets every cached block. No change may be pending (InvalidArgument). A
  // write failure of the former handle goes with it.
  Status Reattach();
  // Once a write or sync of the file failed, every further write, flush and sync fails too:
  // a failed sync is never tried again (the kernel may have dropped the unwritten pages).
  bool Failed() const;
  // Whether writes are taken: false for a file opened for reading, or opened so because it
  // could not be opened for writing (a folder the user may not write).
  bool Writable() const;
  // Why a file asked for writing was opened for reading only ("" otherwise).
  const std::string& ReadOnlyReason() const;

  uint32_t BlockSize() const;
  const std::string& Path() const;

  // How many of the last blocks fetched stay in memory whatever the cache size.
  static constexpr int kRecentBlocks = 8;

  // Redo log hook. Before bytes of a block change, the pager calls the hook with the block
  // number, the offset of the bytes in the block and the bytes as they are then (zeros past the
  // end of the file): the whole block the first time BlockForWrite changes it since the last
  // StartChangeEpoch (and never again in that epoch), the bytes of each range changed by Write
  // or RangeForWrite otherwise (at every change, until the whole block was reported). A failing
  // hook refuses the change and the block stays untouched. How the redo log plugs in: it installs
  // the hook once
  // and starts an epoch per operation (the hook tells it the file joined the transaction, and
  // inside a batch keeps the original bytes to undo the operation alone); at commit it appends
  // the changed blocks' bytes (ForEachDirty) to the redo log before Flush writes them. Dirty
  // blocks are never written before Flush/Sync, so nothing reaches the file ahead of its
  // redo log entry. Without a hook nothing is called.
  using BeforeChangeHook =
      std::function<Status(uint64_t block_no, uint32_t from, std::span<const char> original)>;
  void SetBeforeChangeHook(BeforeChangeHook hook);
  // Shift hook (see ShiftForWrite), called under the change hook's rules.
  using BeforeShiftHook = std::function<Status(uint64_t block_no, uint32_t from, uint32_t to,
                                               int32_t by, std::span<const char> covered)>;
  void SetBeforeShiftHook(BeforeShiftHook hook);
  // Starts a new epoch: every block will be reported again before its next change.
  void StartChangeEpoch();

  // Called at the start of each Flush, before any block is written, so that the owner can
  // complete the blocks it keeps up to date lazily (a header checksum, say).
  void SetBeforeFlushHook(std::function<Status()> hook);

  // Block hooks of the owner's format: seal completes a changed block just before it is written
  // (a node checksum), once per change; check judges a block read from the file, once when it is
  // loaded (never on cached accesses): a failing check refuses the block.
  using SealHook = std::function<void(uint64_t block_no, char* data)>;
  using CheckHook = std::function<Status(uint64_t block_no, const char* data)>;
  void SetBlockHooks(SealHook seal, CheckHook check);

  // ---- For the redo log (redo_log.h) ----
  // Runs the before-flush hook and (when seal is true) seals every changed block, without
  // writing anything: the changed blocks then hold exactly the bytes Flush will write.
  Status PrepareFlush(bool seal);
  // Calls visit with each changed block and the bytes of it that Flush writes (the part before
  // the logical end), in block order.
  void ForEachDirty(const std::function<void(uint64_t block_no, std::span<const char>)>& visit);
  // Puts back bytes a block had at offset from (a cached block changed since the file was last
  // flushed); it stays changed. Calls no hook.
  Status RestoreRange(uint64_t block_no, uint32_t from, std::span<const char> bytes);
  // Undoes a move reported by the shift hook: the bytes moved go back to [from, to) and the
  // bytes the move covered are put back. Calls no hook.
  Status RestoreShift(uint64_t block_no, uint32_t from, uint32_t to, int32_t by,
                      std::span<const char> covered);
  // Sets the logical size back to size (at most the current one), forgetting blocks past it.
  void RestoreSize(uint64_t size);
  // Forgets every change not yet flushed: the pager is back to the file's bytes and size.
  void DiscardChanges();
  // The changed blocks are committed without being written here: the redo log holds their bytes
  // and writes them to the file later. They become clean, and the file's size is taken to be
  // the logical one; a block evicted meanwhile must read back through a file that shows them
  // (the folder's PendingEnv). With keep, their bytes (as Flush would write them) and the sizes
  // are copied there first, for WriteCommitted.
  struct Committed {
    uint64_t disk_size = 0;                                // the file's size before them
    uint64_t size = 0;                                     // and after
    std::vector<std::pair<uint64_t, std::string>> blocks;  // by block number
  };
  void MarkCommitted(Committed* keep = nullptr);
  // Writes blocks that MarkCommitted kept, as Flush would have: to be called only while the file
  // holds every commit before theirs and none after. A failure refuses every later write.
  Status WriteCommitted(const Committed& c);
  // Size of the file itself (what the last flush left).
  uint64_t DiskSize() const;

  // Counters, for tests and benchmarks.
  struct Counters {
    uint64_t block_reads = 0;   // blocks read from the file
    uint64_t block_writes = 0;  // blocks written to the file
    uint64_t evictions = 0;     // clean blocks dropped to make room
  };
  const Counters& counters() const;

 private:
  friend class CachePool;
  struct Impl;
  explicit Pager(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_PAGER_H_
