#include "srv/isam/folder_lock.h"

#include <cstring>

#include "srv/isam/coding.h"
#include "srv/isam/redo_log.h"

namespace vesk::isam {

namespace {

constexpr char kMagic[8] = {'V', 'E', 'S', 'K', 'L', 'C', 'K', '\x1A'};
// 24, then 40, 48 and 56 bytes before the redo log's end, the replacements, the replacement key
// and `applied`.
constexpr size_t kStateSize = 64;
// The sync word: nonce, end and their checksum.
constexpr uint64_t kSyncedAt = 64;
constexpr size_t kSyncedSize = 24;
constexpr uint64_t kSyncedSeed = 0x5359'4E43'5645'534BULL;
// The flag byte: a commit writes the redo log, or commits wait to be written to the files.
constexpr char kWriting = 1, kPending = 2;
// The state word's checksum (4 bytes at 20), so that a user may read it without the lock.
constexpr size_t kStateSumAt = 20;
constexpr uint64_t kStateSeed = 0x5354'4154'5645'534BULL;

}  // namespace

Status FolderLock::Open(Env* env, const std::string& dossier, std::unique_ptr<FolderLock>* out) {
  std::unique_ptr<platform::File> file;
  const std::string path = platform::JoinPath(dossier, kLockName);
  platform::IoStatus io = env->OpenFile(path, platform::OpenMode::kCreate, &file);
  if (io.code == platform::Code::kAccess) {
    bool exists = false;
    platform::IoStatus lu = env->FileExists(path, &exists);
    if (lu.ok() && exists) lu = env->OpenFile(path, platform::OpenMode::kRead, &file);
    if (lu.ok()) {
      out->reset(new FolderLock(dossier, std::move(file), io.message));
      return Status::Ok();
    }
  }
  if (!io.ok()) {
    return Status::IOError("fichier de verrouillage du dossier " + dossier +
                           " impossible à ouvrir : " + io.message);
  }
  out->reset(new FolderLock(dossier, std::move(file), ""));
  return Status::Ok();
}

Status FolderLock::RefusEcriture() const {
  return Status::InvalidArgument(
      "le dossier " + dossier_ +
      " ne peut être écrit (dossier en lecture seule : " + lecture_seule_ +
      ") : seules les commandes qui lisent y sont "
      "possibles");
}

Status FolderLock::Lock(Held kind, int timeout_ms) {
  if (kind == held_) return Status::Ok();
  if (kind == Held::kNone) return Unlock();
  if (kind == Held::kExclusive && LectureSeule()) return RefusEcriture();
  if (!file_) {  // nothing to lock: no writer ever used this folder, and none can write it
    held_ = kind;
    return Status::Ok();
  }
  platform::IoStatus io = file_->Lock(
      kind == Held::kShared ? platform::LockKind::kShared : platform::LockKind::kExclusive,
      timeout_ms);
  if (io.code == platform::Code::kLocked) {
    return Status::Locked("fichier verrouillé : le dossier " + dossier_ +
                          " est utilisé par un autre programme (attente de " +
                          std::to_string(timeout_ms) + " ms dépassée)");
  }
  if (!io.ok()) return Status::FromIo(io);
  held_ = kind;
  return Status::Ok();
}

Status FolderLock::Unlock() {
  if (held_ == Held::kNone) return Status::Ok();
  held_ = Held::kNone;
  if (!file_) return Status::Ok();
  return Status::FromIo(file_->Unlock());
}

namespace {

// The state word from its bytes (got of them read).
void Decode(const char* b, size_t got, FolderLock::State* state) {
  *state = FolderLock::State{};
  if (got < 24 || std::memcmp(b, kMagic, 8) != 0) return;
  state->counter = GetLe(b + 8, 8);
  state->writing = b[16] != 0 && b[16] != kPending;
  state->replacing = b[17] != 0;
  state->durable = (b[18] & 1) != 0;
  state->unsynced = (b[18] & 2) != 0;
  if (got < 40) return;
  state->redo_log_end = GetLe(b + 24, 8);
  state->redo_log_nonce = GetLe(b + 32, 8);
  state->applied = state->redo_log_end;
  if (got < 48) return;
  state->replacements = GetLe(b + 40, 8);
  if (got < 56) return;
  state->replace_nonce = GetLe(b + 48, 8);
  if (got < kStateSize) return;
  state->applied = GetLe(b + 56, 8);
}

// The checksum of a state word, its own bytes counted as zeros.
uint32_t StateSum(const char* b) {
  char copy[kStateSize];
  std::memcpy(copy, b, kStateSize);
  std::memset(copy + kStateSumAt, 0, 4);
  return static_cast<uint32_t>(Hash64(std::span<const char>(copy, kStateSize), kStateSeed));
}

}  // namespace

Status FolderLock::Read(State* state) {
  char b[kStateSize] = {};
  size_t got = 0;
  *state = State{};
  if (!file_) return Status::Ok();
  VESK_RETURN_IF_ERROR(Status::FromIo(file_->ReadAt(0, b, &got)));
  Decode(b, got, state);
  return Status::Ok();
}

Status FolderLock::Peek(State* state, bool* whole) {
  char b[kStateSize] = {};
  size_t got = 0;
  *state = State{};
  *whole = false;
  if (!file_) return Status::Ok();
  VESK_RETURN_IF_ERROR(Status::FromIo(file_->ReadAt(0, b, &got)));
  if (got < kStateSize || GetLe(b + kStateSumAt, 4) != StateSum(b)) return Status::Ok();
  Decode(b, got, state);
  *whole = true;
  return Status::Ok();
}

Status FolderLock::Write(const State& state) {
  if (LectureSeule()) return RefusEcriture();
  char b[kStateSize] = {};
  std::memcpy(b, kMagic, 8);
  PutLe(b + 8, state.counter, 8);
  b[16] = state.writing ? kWriting : state.Pending() ? kPending : 0;
  b[17] = state.replacing ? 1 : 0;
  b[18] = static_cast<char>((state.durable ? 1 : 0) | (state.unsynced ? 2 : 0));
  PutLe(b + 24, state.redo_log_end, 8);
  PutLe(b + 32, state.redo_log_nonce, 8);
  PutLe(b + 40, state.replacements, 8);
  PutLe(b + 48, state.replace_nonce, 8);
  PutLe(b + 56, state.applied, 8);
  PutLe(b + kStateSumAt, StateSum(b), 4);
  return Status::FromIo(file_->WriteAt(0, std::span<const char>(b, kStateSize)));
}

Status FolderLock::LockSync() {
  if (!file_) return Status::Ok();
  platform::IoStatus io = file_->LockAside(-1);
  if (!io.ok()) {
    return Status::IOError("verrou de synchronisation du dossier " + dossier_ + " : " + io.message);
  }
  return Status::Ok();
}

Status FolderLock::TryLockSync(bool* taken) {
  *taken = true;
  if (!file_) return Status::Ok();
  platform::IoStatus io = file_->LockAside(0);
  if (io.code == platform::Code::kLocked) {
    *taken = false;
    return Status::Ok();
  }
  if (!io.ok()) {
    *taken = false;
    return Status::IOError("verrou de synchronisation du dossier " + dossier_ + " : " + io.message);
  }
  return Status::Ok();
}

Status FolderLock::WaitSync() {
  if (!file_) return Status::Ok();
  platform::IoStatus io = file_->WaitAside();
  if (!io.ok()) {
    return Status::IOError("verrou de synchronisation du dossier " + dossier_ + " : " + io.message);
  }
  return Status::Ok();
}

Status FolderLock::UnlockSync() {
  return file_ ? Status::FromIo(file_->UnlockAside()) : Status::Ok();
}

Status FolderLock::ReadSynced(Synced* synced) {
  *synced = Synced{};
  if (!file_) return Status::Ok();
  char b[kSyncedSize] = {};
  size_t got = 0;
  VESK_RETURN_IF_ERROR(Status::FromIo(file_->ReadAt(kSyncedAt, b, &got)));
  *synced = Synced{};
  if (got == kSyncedSize && GetLe(b + 16, 8) == Hash64(std::span<const char>(b, 16), kSyncedSeed)) {
    synced->nonce = GetLe(b, 8);
    synced->end = GetLe(b + 8, 8);
  }
  return Status::Ok();
}

Status FolderLock::WriteSynced(const Synced& synced) {
  if (LectureSeule()) return RefusEcriture();
  char b[kSyncedSize] = {};
  PutLe(b, synced.nonce, 8);
  PutLe(b + 8, synced.end, 8);
  PutLe(b + 16, Hash64(std::span<const char>(b, 16), kSyncedSeed), 8);
  return Status::FromIo(file_->WriteAt(kSyncedAt, std::span<const char>(b, kSyncedSize)));
}

Status FolderLock::Sync() {
  if (LectureSeule()) return RefusEcriture();
  return Status::FromIo(file_->Sync());
}

}  // namespace vesk::isam
