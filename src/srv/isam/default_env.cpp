#include "srv/isam/env.h"

namespace vesk::isam {

namespace {

// The platform's own files. A file of the engine is never opened through a symbolic link
// (docs/file-formats.md): nothing is ever read or written where a link of the folder points.
class PlatformEnv : public Env {
 public:
  platform::IoStatus OpenFile(const std::string& path, platform::OpenMode mode,
                              std::unique_ptr<platform::File>* out) override {
    return platform::OpenFile(path, mode, out, platform::Links::kRefuse);
  }
  platform::IoStatus FileExists(const std::string& path, bool* exists) override {
    return platform::FileExists(path, exists);
  }
  platform::IoStatus IsLink(const std::string& path, bool* link) override {
    return platform::IsLink(path, link);
  }
  platform::IoStatus RemoveFile(const std::string& path) override {
    return platform::RemoveFile(path);
  }
  platform::IoStatus RenameFile(const std::string& from, const std::string& to) override {
    return platform::RenameFile(from, to);
  }
  platform::IoStatus CreateDirectories(const std::string& path) override {
    return platform::CreateDirectories(path);
  }
  platform::IoStatus ListDirectory(const std::string& path,
                                   std::vector<std::string>* names) override {
    return platform::ListDirectory(path, names);
  }
  platform::IoStatus SyncDirectory(const std::string& path) override {
    return platform::SyncDirectory(path);
  }
};

}  // namespace

Env* Env::Default() {
  static PlatformEnv env;
  return &env;
}

}  // namespace vesk::isam
