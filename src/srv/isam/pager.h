// Pager: a cache of fixed-size blocks over one file, through which the data files and B-trees
// read and write every byte. Writes stay in the cache (dirty) until Flush; Sync also forces
// them to stable storage. The rollback journal hooks in here: a block's original bytes are
// saved before its first change in a transaction.
// Thread rules: one thread at a time.
#ifndef VESK_SRV_ISAM_PAGER_H_
#define VESK_SRV_ISAM_PAGER_H_

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "srv/isam/env.h"
#include "srv/isam/status.h"

namespace vesk::isam {

class Pager {
 public:
  // Opens path through env; block_size is a power of two (4096 and up); the cache keeps at most
  // cache_blocks clean blocks (dirty blocks stay until flushed).
  static Status Open(Env* env, const std::string& path, platform::OpenMode mode,
                     uint32_t block_size, size_t cache_blocks, std::unique_ptr<Pager>* out);
  ~Pager();

  // Reads out.size() bytes at offset. Bytes past the logical end read as zero; *read (when not
  // null) receives how many bytes lay before the end.
  Status Read(uint64_t offset, std::span<char> out, size_t* read = nullptr);
  // Writes data at offset into the cache, growing the logical size as needed.
  Status Write(uint64_t offset, std::span<const char> data);
  // A block's bytes for reading in place, valid until the next call on this pager.
  Status BlockForRead(uint64_t block_no, const char** data);
  // A block's bytes for changing in place (marked dirty), valid until the next call.
  Status BlockForWrite(uint64_t block_no, char** data);
  // Writes every dirty block to the file, in block order.
  Status Flush();
  // Flush, then force the file to stable storage.
  Status Sync();
  // Size of the file as written through this pager, flushed or not.
  uint64_t Size() const;
  Status Truncate(uint64_t size);
  // Forgets every clean block (another process changed the file).
  void DropCache();
  // Once a write to the file failed, every further write and flush fails too.
  bool Failed() const;

  uint32_t BlockSize() const;
  const std::string& Path() const;

 private:
  struct Impl;
  explicit Pager(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_PAGER_H_
