// FaultEnv: an Env over a MemEnv that counts every read, write (truncations, renames and
// removals included) and sync of its files and can fail the n-th one (EIO, ENOSPC), or cut the
// power at the n-th write or sync: the bytes written since each file's last sync are then dropped,
// torn at 512 bytes or garbled, as a disk may leave them. For the storage engine's tests. Thread
// rules: one thread.
#ifndef VESK_SRV_ISAM_FAULT_ENV_H_
#define VESK_SRV_ISAM_FAULT_ENV_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "srv/isam/env.h"

namespace vesk::isam {

class FaultEnv : public Env {
 public:
  enum class Op { kRead, kWrite, kSync, kAny };
  // What a power loss does to each write not yet synced.
  enum class Loss {
    kDrop,    // each is kept or lost whole
    kTear,    // each 512-byte sector of it is kept or lost
    kGarble,  // each sector is kept, lost or replaced by random bytes
  };

  explicit FaultEnv(MemEnv* base);
  ~FaultEnv() override;

  // The n-th operation of kind from now on (1 = the next one) fails with code (kIoError or
  // kNoSpace) and does nothing; the others succeed.
  void FailAt(Op kind, uint64_t n, platform::Code code);
  // The same, and every later operation of kind fails too (a disk that filled stays full).
  void FailFrom(Op kind, uint64_t n, platform::Code code) {
    FailAt(kind, n, code);
    fail_on_ = true;
  }
  // The n-th rename from now on (1 = the next one) fails with kIoError and renames nothing.
  void FailRenameAt(uint64_t n) { rename_fail_at_ = n == 0 ? 0 : renames_ + n; }
  // At the n-th write or sync from now on, the power goes: that operation and every later one
  // fail until Reboot.
  void PowerLossAt(uint64_t n, Loss loss, uint64_t seed);
  bool PoweredOff() const { return off_; }
  // What the disk holds after the power loss (or now): every file takes its synced bytes plus
  // what the loss kept of the later writes; the power comes back.
  void Reboot();
  // Operations counted since construction.
  uint64_t Count(Op kind) const;

  platform::IoStatus OpenFile(const std::string& path, platform::OpenMode mode,
                              std::unique_ptr<platform::File>* out) override;
  platform::IoStatus FileExists(const std::string& path, bool* exists) override;
  platform::IoStatus RemoveFile(const std::string& path) override;
  platform::IoStatus RenameFile(const std::string& from, const std::string& to) override;
  platform::IoStatus CreateDirectories(const std::string& path) override;
  platform::IoStatus ListDirectory(const std::string& path,
                                   std::vector<std::string>* names) override;

  // For the files: counts op and says whether it must fail (null when it goes ahead).
  platform::IoStatus Before(Op kind, const std::string& path);
  struct Pending {
    bool truncate = false;
    uint64_t offset = 0;  // or the new size
    std::string bytes;
  };
  struct Track {
    std::string durable;
    std::vector<Pending> pending;
  };
  Track& Tracked(const std::string& path);

 private:
  std::string Image(const std::string& path, const Track& t);

  MemEnv* base_;
  std::map<std::string, Track> tracks_;
  uint64_t counts_[4] = {0, 0, 0, 0};
  Op fail_kind_ = Op::kAny;
  uint64_t fail_at_ = 0;  // 0: none
  platform::Code fail_code_ = platform::Code::kIoError;
  bool fail_on_ = false;  // the failure stays once it came
  uint64_t loss_at_ = 0;  // in writes + syncs; 0: none
  Loss loss_ = Loss::kDrop;
  uint64_t seed_ = 0;
  bool off_ = false;
  uint64_t renames_ = 0;
  uint64_t rename_fail_at_ = 0;  // 0: none
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_FAULT_ENV_H_
