#include "srv/isam/fault_env.h"

#include <algorithm>
#include <cerrno>
#include <random>

namespace vesk::isam {

using platform::Code;
using platform::IoStatus;

namespace {

constexpr size_t kSector = 512;

class FaultFile : public platform::File {
 public:
  FaultFile(FaultEnv* env, std::unique_ptr<platform::File> base)
      : env_(env), base_(std::move(base)) {}

  IoStatus ReadAt(uint64_t offset, std::span<char> out, size_t* read) override {
    *read = 0;
    IoStatus s = env_->Before(FaultEnv::Op::kRead, Path());
    return s.ok() ? base_->ReadAt(offset, out, read) : s;
  }
  IoStatus WriteAt(uint64_t offset, std::span<const char> data) override {
    IoStatus s = env_->Before(FaultEnv::Op::kWrite, Path());
    if (!s.ok()) return s;
    s = base_->WriteAt(offset, data);
    if (s.ok()) {
      env_->Tracked(Path()).pending.push_back(
          {false, offset, std::string(data.data(), data.size())});
    }
    return s;
  }
  IoStatus Sync() override {
    IoStatus s = env_->Before(FaultEnv::Op::kSync, Path());
    if (!s.ok()) return s;
    FaultEnv::Track& t = env_->Tracked(Path());
    uint64_t size = 0;
    s = base_->Size(&size);
    std::string now(size, '\0');
    size_t got = 0;
    if (s.ok()) s = base_->ReadAt(0, now, &got);
    if (s.ok()) {
      t.durable = std::move(now);
      t.pending.clear();
    }
    return s;
  }
  IoStatus Size(uint64_t* size) override { return base_->Size(size); }
  IoStatus Truncate(uint64_t size) override {
    IoStatus s = env_->Before(FaultEnv::Op::kWrite, Path());
    if (!s.ok()) return s;
    s = base_->Truncate(size);
    if (s.ok()) env_->Tracked(Path()).pending.push_back({true, size, {}});
    return s;
  }
  IoStatus Lock(platform::LockKind kind, int timeout_ms) override {
    return base_->Lock(kind, timeout_ms);
  }
  IoStatus Unlock() override { return base_->Unlock(); }
  IoStatus LockAside(int timeout_ms) override { return base_->LockAside(timeout_ms); }
  IoStatus UnlockAside() override { return base_->UnlockAside(); }
  IoStatus WaitAside() override { return base_->WaitAside(); }
  const std::string& Path() const override { return base_->Path(); }

 private:
  FaultEnv* env_;
  std::unique_ptr<platform::File> base_;
};

}  // namespace

FaultEnv::FaultEnv(MemEnv* base) : base_(base) {}
FaultEnv::~FaultEnv() = default;

void FaultEnv::FailAt(Op kind, uint64_t n, Code code) {
  fail_kind_ = kind;
  fail_at_ = n == 0 ? 0 : Count(kind) + n;
  fail_code_ = code;
  fail_on_ = false;
}

void FaultEnv::PowerLossAt(uint64_t n, Loss loss, uint64_t seed) {
  loss_at_ =
      n == 0 ? 0 : counts_[static_cast<int>(Op::kWrite)] + counts_[static_cast<int>(Op::kSync)] + n;
  loss_ = loss;
  seed_ = seed;
}

uint64_t FaultEnv::Count(Op kind) const {
  if (kind == Op::kAny) return counts_[0] + counts_[1] + counts_[2];
  return counts_[static_cast<int>(kind)];
}

IoStatus FaultEnv::Before(Op kind, const std::string& path) {
  if (off_) return IoStatus{Code::kIoError, EIO, "panne de courant simulée : " + path};
  ++counts_[static_cast<int>(kind)];
  if (kind != Op::kRead && loss_at_ != 0 && Count(Op::kWrite) + Count(Op::kSync) == loss_at_) {
    off_ = true;
    return IoStatus{Code::kIoError, EIO, "panne de courant simulée : " + path};
  }
  if (fail_at_ != 0 && (fail_kind_ == Op::kAny || fail_kind_ == kind) &&
      (fail_on_ ? Count(fail_kind_) >= fail_at_ : Count(fail_kind_) == fail_at_)) {
    if (!fail_on_) fail_at_ = 0;
    bool full = fail_code_ == Code::kNoSpace;
    return IoStatus{
        fail_code_, full ? ENOSPC : EIO,
        std::string(full ? "disque plein (simulé)" : "erreur d'entrée-sortie (simulée)") + " : " +
            path};
  }
  return IoStatus::Ok();
}

FaultEnv::Track& FaultEnv::Tracked(const std::string& path) {
  auto it = tracks_.find(path);
  if (it != tracks_.end()) return it->second;
  Track t;
  if (std::string* bytes = base_->Contents(path)) t.durable = *bytes;
  return tracks_.emplace(path, std::move(t)).first->second;
}

std::string FaultEnv::Image(const std::string& path, const Track& t) {
  std::mt19937_64 rng(seed_ ^ std::hash<std::string>{}(path));
  std::string image = t.durable;
  for (const Pending& p : t.pending) {
    if (p.truncate) {
      if (rng() % 2 == 0) image.resize(p.offset, '\0');
      continue;
    }
    if (loss_ == Loss::kDrop && rng() % 2 == 0) continue;
    // Sector by sector (sectors of the file, so a write may begin inside one).
    for (uint64_t at = p.offset; at < p.offset + p.bytes.size();) {
      uint64_t end = std::min<uint64_t>((at / kSector + 1) * kSector, p.offset + p.bytes.size());
      std::string piece = p.bytes.substr(at - p.offset, end - at);
      int fate =
          loss_ == Loss::kDrop ? 0 : static_cast<int>(rng() % (loss_ == Loss::kTear ? 2 : 3));
      if (fate == 2) {
        for (char& c : piece) c = static_cast<char>(rng());
      }
      if (fate != 1) {
        if (image.size() < end) image.resize(end, '\0');
        image.replace(at, piece.size(), piece);
      }
      at = end;
    }
  }
  return image;
}

void FaultEnv::Reboot() {
  for (auto& [path, t] : tracks_) {
    if (std::string* bytes = base_->Contents(path)) *bytes = Image(path, t);
    t.durable = *base_->Contents(path);
    t.pending.clear();
  }
  off_ = false;
  loss_at_ = 0;
  fail_at_ = 0;
}

IoStatus FaultEnv::OpenFile(const std::string& path, platform::OpenMode mode,
                            std::unique_ptr<platform::File>* out) {
  if (off_) return IoStatus{Code::kIoError, EIO, "panne de courant simulée : " + path};
  bool existed = base_->Contents(path) != nullptr;
  std::unique_ptr<platform::File> file;
  IoStatus s = base_->OpenFile(path, mode, &file);
  if (!s.ok()) return s;
  Track& t = Tracked(path);
  if (!existed) t.durable.clear();  // a new file exists, empty, from now on
  if (mode == platform::OpenMode::kCreateAlways) t.pending.push_back({true, 0, {}});
  *out = std::make_unique<FaultFile>(this, std::move(file));
  return IoStatus::Ok();
}

IoStatus FaultEnv::FileExists(const std::string& path, bool* exists) {
  return base_->FileExists(path, exists);
}

// Removals and renames count as writes (a power loss or a failure can strike them); once done
// they are durable, as on a file system that orders its metadata.
IoStatus FaultEnv::RemoveFile(const std::string& path) {
  IoStatus s = Before(Op::kWrite, path);
  if (!s.ok()) return s;
  tracks_.erase(path);
  return base_->RemoveFile(path);
}

IoStatus FaultEnv::RenameFile(const std::string& from, const std::string& to) {
  if (++renames_ == rename_fail_at_) {
    return {platform::Code::kIoError, 5, "renommage de " + from + " en " + to + " : échec simulé"};
  }
  IoStatus s = Before(Op::kWrite, from);
  if (!s.ok()) return s;
  auto node = tracks_.extract(from);
  tracks_.erase(to);
  if (!node.empty()) {
    node.key() = to;
    tracks_.insert(std::move(node));
  }
  return base_->RenameFile(from, to);
}

IoStatus FaultEnv::CreateDirectories(const std::string& path) {
  return base_->CreateDirectories(path);
}

IoStatus FaultEnv::ListDirectory(const std::string& path, std::vector<std::string>* names) {
  return base_->ListDirectory(path, names);
}

}  // namespace vesk::isam
