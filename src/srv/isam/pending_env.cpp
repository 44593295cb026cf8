#include "srv/isam/pending_env.h"

#include <algorithm>
#include <cstring>

#include "srv/isam/redo_log.h"

namespace vesk::isam {

using platform::IoStatus;

namespace {

// A file of the folder seen through the pending blocks of its PendingEnv, looked up at each
// read (they change each time the folder takes its lock).
class PendingFile : public platform::File {
 public:
  PendingFile(const PendingEnv* env, std::string relative, std::unique_ptr<platform::File> base)
      : env_(env), relative_(std::move(relative)), base_(std::move(base)) {}

  IoStatus ReadAt(uint64_t offset, std::span<char> out, size_t* read) override {
    const PendingEnv::Blocks* p = env_->Find(relative_);
    if (p == nullptr) return base_->ReadAt(offset, out, read);
    size_t got = 0;
    IoStatus s = base_->ReadAt(offset, out, &got);
    *read = got;
    if (!s.ok()) return s;
    const size_t n = offset >= p->size
                         ? 0
                         : static_cast<size_t>(std::min<uint64_t>(out.size(), p->size - offset));
    if (got < n) std::memset(out.data() + got, 0, n - got);
    Overlay(*p, offset, out.first(n));
    *read = n;
    return IoStatus::Ok();
  }
  IoStatus WriteAt(uint64_t offset, std::span<const char> data) override {
    return base_->WriteAt(offset, data);
  }
  IoStatus WriteAtV(uint64_t offset, std::span<const std::span<const char>> pieces) override {
    return base_->WriteAtV(offset, pieces);
  }
  IoStatus Sync() override { return base_->Sync(); }
  IoStatus Size(uint64_t* size) override {
    const PendingEnv::Blocks* p = env_->Find(relative_);
    if (p == nullptr) return base_->Size(size);
    *size = p->size;
    return IoStatus::Ok();
  }
  IoStatus Truncate(uint64_t size) override { return base_->Truncate(size); }
  IoStatus Lock(platform::LockKind kind, int timeout_ms) override {
    return base_->Lock(kind, timeout_ms);
  }
  IoStatus Unlock() override { return base_->Unlock(); }
  IoStatus LockAside(int timeout_ms) override { return base_->LockAside(timeout_ms); }
  IoStatus UnlockAside() override { return base_->UnlockAside(); }
  IoStatus WaitAside() override { return base_->WaitAside(); }
  const std::string& Path() const override { return base_->Path(); }

 private:
  // The pending bytes that fall in [offset, offset + out.size()) copied over out.
  static void Overlay(const PendingEnv::Blocks& p, uint64_t offset, std::span<char> out) {
    if (out.empty() || p.block_size == 0) return;
    const uint64_t end = offset + out.size();
    auto it = p.bytes.upper_bound(offset / p.block_size);
    if (it != p.bytes.begin()) --it;
    for (; it != p.bytes.end() && it->first * p.block_size < end; ++it) {
      const uint64_t from = std::max(offset, it->first * p.block_size);
      const uint64_t to = std::min(end, it->first * p.block_size + it->second.size());
      if (from >= to) continue;
      std::memcpy(out.data() + (from - offset),
                  it->second.data() + (from - it->first * p.block_size), to - from);
    }
  }

  const PendingEnv* env_;
  std::string relative_;
  std::unique_ptr<platform::File> base_;
};

}  // namespace

PendingEnv::PendingEnv(Env* base, std::string dossier)
    : base_(base), dossier_(std::move(dossier)) {}

PendingEnv::~PendingEnv() = default;

void PendingEnv::AddBlock(const std::string& file, uint32_t block_size, uint64_t no,
                          std::string_view bytes) {
  Blocks& b = files_[file];
  b.block_size = block_size;
  b.bytes[no].assign(bytes);
}

void PendingEnv::SetSize(const std::string& file, uint64_t size) { files_[file].size = size; }

const PendingEnv::Blocks* PendingEnv::Find(const std::string& relative) const {
  if (files_.empty()) return nullptr;
  auto it = files_.find(relative);
  return it == files_.end() ? nullptr : &it->second;
}

IoStatus PendingEnv::OpenFile(const std::string& path, platform::OpenMode mode,
                              std::unique_ptr<platform::File>* out) {
  std::unique_ptr<platform::File> file;
  IoStatus s = base_->OpenFile(path, mode, &file);
  if (!s.ok()) return s;
  if (!InsideFolder(dossier_, path)) {
    *out = std::move(file);
    return s;
  }
  *out = std::make_unique<PendingFile>(this, path.substr(dossier_.size() + 1), std::move(file));
  return s;
}

IoStatus PendingEnv::FileExists(const std::string& path, bool* exists) {
  return base_->FileExists(path, exists);
}
IoStatus PendingEnv::IsLink(const std::string& path, bool* link) {
  return base_->IsLink(path, link);
}
IoStatus PendingEnv::RemoveFile(const std::string& path) { return base_->RemoveFile(path); }
IoStatus PendingEnv::RenameFile(const std::string& from, const std::string& to) {
  return base_->RenameFile(from, to);
}
IoStatus PendingEnv::CreateDirectories(const std::string& path) {
  return base_->CreateDirectories(path);
}
IoStatus PendingEnv::ListDirectory(const std::string& path, std::vector<std::string>* names) {
  return base_->ListDirectory(path, names);
}
IoStatus PendingEnv::SyncDirectory(const std::string& path) { return base_->SyncDirectory(path); }

}  // namespace vesk::isam
