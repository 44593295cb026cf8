// PendingEnv: the files of a data folder as its users must see them while commits are pending,
// that is committed in the redo log but not yet written to the files (redo_log.h). A file that
// a pending transaction names shows its pending blocks over its own bytes, and its size after
// them; everything else goes to the Env beneath, writes included. The folder (DossierDonnees)
// sets the pending blocks each time it takes its lock, from the redo log.
// Thread rules: those of the folder that owns it.
#ifndef VESK_SRV_ISAM_PENDING_ENV_H_
#define VESK_SRV_ISAM_PENDING_ENV_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "srv/isam/env.h"

namespace vesk::isam {

class PendingEnv : public Env {
 public:
  // The bytes that pending transactions give one file.
  struct Blocks {
    uint64_t size = 0;  // the file's size after them
    uint32_t block_size = 0;
    std::map<uint64_t, std::string> bytes;  // by block number: from the block's start, latest
  };

  // dossier: the folder, without a final separator (files are named relative to it).
  PendingEnv(Env* base, std::string dossier);
  ~PendingEnv() override;

  // Every pending block forgotten: the files show their own bytes.
  void Clear() { files_.clear(); }
  bool Empty() const { return files_.empty(); }
  // A pending block of file (relative to the folder): its bytes from the block's start up to the
  // file's end, replacing those given before; and the file's size after the transaction.
  void AddBlock(const std::string& file, uint32_t block_size, uint64_t no, std::string_view bytes);
  void SetSize(const std::string& file, uint64_t size);
  // The pending bytes of a file (relative to the folder), null when none.
  const Blocks* Find(const std::string& relative) const;
  Env* base() const { return base_; }

  platform::IoStatus OpenFile(const std::string& path, platform::OpenMode mode,
                              std::unique_ptr<platform::File>* out) override;
  platform::IoStatus FileExists(const std::string& path, bool* exists) override;
  platform::IoStatus IsLink(const std::string& path, bool* link) override;
  platform::IoStatus RemoveFile(const std::string& path) override;
  platform::IoStatus RenameFile(const std::string& from, const std::string& to) override;
  platform::IoStatus CreateDirectories(const std::string& path) override;
  platform::IoStatus ListDirectory(const std::string& path,
                                   std::vector<std::string>* names) override;
  platform::IoStatus SyncDirectory(const std::string& path) override;

 private:
  Env* base_;
  std::string dossier_;
  std::map<std::string, Blocks> files_;
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_PENDING_ENV_H_
