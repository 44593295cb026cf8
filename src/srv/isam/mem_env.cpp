#include <algorithm>
#include <cstring>

#include "srv/isam/env.h"

namespace vesk::isam {

using platform::Code;
using platform::IoStatus;

namespace {

IoStatus Fail(Code code, const std::string& what, const std::string& path) {
  return IoStatus{code, 0, what + " : " + path};
}

class MemFile : public platform::File {
 public:
  MemFile(std::string path, std::shared_ptr<std::string> bytes, bool writable)
      : path_(std::move(path)), bytes_(std::move(bytes)), writable_(writable) {}

  IoStatus ReadAt(uint64_t offset, std::span<char> out, size_t* read) override {
    *read = 0;
    if (offset >= bytes_->size()) return IoStatus::Ok();
    size_t n = std::min<uint64_t>(out.size(), bytes_->size() - offset);
    std::memcpy(out.data(), bytes_->data() + offset, n);
    *read = n;
    return IoStatus::Ok();
  }
  IoStatus WriteAt(uint64_t offset, std::span<const char> data) override {
    if (!writable_) return Fail(Code::kAccess, "fichier ouvert en lecture seule", path_);
    if (bytes_->size() < offset + data.size()) bytes_->resize(offset + data.size(), '\0');
    std::memcpy(bytes_->data() + offset, data.data(), data.size());
    return IoStatus::Ok();
  }
  IoStatus Sync() override { return IoStatus::Ok(); }
  IoStatus Size(uint64_t* size) override {
    *size = bytes_->size();
    return IoStatus::Ok();
  }
  IoStatus Truncate(uint64_t size) override {
    if (!writable_) return Fail(Code::kAccess, "fichier ouvert en lecture seule", path_);
    bytes_->resize(size, '\0');
    return IoStatus::Ok();
  }
  IoStatus Lock(platform::LockKind, int) override { return IoStatus::Ok(); }
  IoStatus Unlock() override { return IoStatus::Ok(); }
  const std::string& Path() const override { return path_; }

 private:
  std::string path_;
  std::shared_ptr<std::string> bytes_;
  bool writable_;
};

}  // namespace

struct MemEnv::Data {
  std::map<std::string, std::shared_ptr<std::string>> files;
};

MemEnv::MemEnv() : data_(std::make_unique<Data>()) {}
MemEnv::~MemEnv() = default;

IoStatus MemEnv::OpenFile(const std::string& path, platform::OpenMode mode,
                          std::unique_ptr<platform::File>* out) {
  auto it = data_->files.find(path);
  if (it == data_->files.end()) {
    if (mode == platform::OpenMode::kRead || mode == platform::OpenMode::kReadWrite) {
      return Fail(Code::kNotFound, "fichier introuvable", path);
    }
    it = data_->files.emplace(path, std::make_shared<std::string>()).first;
  } else if (mode == platform::OpenMode::kCreateAlways) {
    it->second->clear();
  }
  *out = std::make_unique<MemFile>(path, it->second, mode != platform::OpenMode::kRead);
  return IoStatus::Ok();
}

IoStatus MemEnv::FileExists(const std::string& path, bool* exists) {
  *exists = data_->files.count(path) != 0;
  return IoStatus::Ok();
}

IoStatus MemEnv::RemoveFile(const std::string& path) {
  if (data_->files.erase(path) == 0) return Fail(Code::kNotFound, "fichier introuvable", path);
  return IoStatus::Ok();
}

IoStatus MemEnv::RenameFile(const std::string& from, const std::string& to) {
  auto it = data_->files.find(from);
  if (it == data_->files.end()) return Fail(Code::kNotFound, "fichier introuvable", from);
  auto bytes = it->second;
  data_->files.erase(it);
  data_->files[to] = std::move(bytes);
  return IoStatus::Ok();
}

IoStatus MemEnv::CreateDirectories(const std::string&) { return IoStatus::Ok(); }

IoStatus MemEnv::ListDirectory(const std::string& path, std::vector<std::string>* names) {
  names->clear();
  // Either separator: paths are joined with the platform's.
  auto is_sep = [](char c) { return c == '/' || c == '\\'; };
  size_t base = path.empty() || is_sep(path.back()) ? path.size() : path.size() + 1;
  for (const auto& [name, bytes] : data_->files) {
    if (name.size() <= base || name.compare(0, path.size(), path) != 0) continue;
    if (base > path.size() && !is_sep(name[path.size()])) continue;
    std::string rest = name.substr(base);
    if (std::none_of(rest.begin(), rest.end(), is_sep)) names->push_back(rest);
  }
  return IoStatus::Ok();
}

std::string* MemEnv::Contents(const std::string& path) {
  auto it = data_->files.find(path);
  return it == data_->files.end() ? nullptr : it->second.get();
}

}  // namespace vesk::isam
