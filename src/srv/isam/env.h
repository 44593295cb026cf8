// Env: the file seam under the storage engine. Every file the engine touches is opened through
// an Env: the default one is the platform layer; tests use an in-memory Env and a
// fault-injecting one. An Env is used by one thread at a time unless its class says otherwise.
#ifndef VESK_SRV_ISAM_ENV_H_
#define VESK_SRV_ISAM_ENV_H_

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace vesk::isam {

class Env {
 public:
  virtual ~Env() = default;

  virtual platform::IoStatus OpenFile(const std::string& path, platform::OpenMode mode,
                                      std::unique_ptr<platform::File>* out) = 0;
  virtual platform::IoStatus FileExists(const std::string& path, bool* exists) = 0;
  // Whether path is a symbolic link (false when absent). In memory there are none.
  virtual platform::IoStatus IsLink(const std::string& path, bool* link) {
    (void)path;
    *link = false;
    return platform::IoStatus::Ok();
  }
  virtual platform::IoStatus RemoveFile(const std::string& path) = 0;
  virtual platform::IoStatus RenameFile(const std::string& from, const std::string& to) = 0;
  virtual platform::IoStatus CreateDirectories(const std::string& path) = 0;
  virtual platform::IoStatus ListDirectory(const std::string& path,
                                           std::vector<std::string>* names) = 0;
  // Makes the creations, renames and removals in a folder durable. In memory they always are.
  virtual platform::IoStatus SyncDirectory(const std::string& path) {
    (void)path;
    return platform::IoStatus::Ok();
  }

  // The platform's files; a process-wide object that lives for the program.
  static Env* Default();
};

// An Env whose files live in memory, for tests. Files survive their File objects (a reopen sees
// what was written); locks are not enforced. Paths are taken as given.
class MemEnv : public Env {
 public:
  MemEnv();
  ~MemEnv() override;

  platform::IoStatus OpenFile(const std::string& path, platform::OpenMode mode,
                              std::unique_ptr<platform::File>* out) override;
  platform::IoStatus FileExists(const std::string& path, bool* exists) override;
  platform::IoStatus RemoveFile(const std::string& path) override;
  platform::IoStatus RenameFile(const std::string& from, const std::string& to) override;
  platform::IoStatus CreateDirectories(const std::string& path) override;
  platform::IoStatus ListDirectory(const std::string& path,
                                   std::vector<std::string>* names) override;

  // The bytes of a file, for checks and for damaging it on purpose.
  std::string* Contents(const std::string& path);

 private:
  struct Data;
  std::unique_ptr<Data> data_;
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_ENV_H_
