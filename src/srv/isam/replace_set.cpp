#include "srv/isam/replace_set.h"

#include <set>

#include "srv/isam/coding.h"
#include "srv/isam/redo_log.h"
#include "srv/isam/redo_log_internal.h"

namespace vesk::isam {

namespace {

constexpr char kMagic[8] = {'V', 'E', 'S', 'K', 'R', 'E', 'C', '\x1A'};
// Version 2 adds, per target, whether it is removed, and the backup folder after the targets;
// a record of version 1 (no removal, no backup) is still read.
constexpr uint16_t kVersion = 2;
constexpr char kExisted = 1, kRemoved = 2;
constexpr size_t kStateAt = 10;
constexpr size_t kHead = 16;
constexpr char kWriting = 'W', kDone = 'D';

using Targets = std::vector<ReplaceSet::Target>;

std::string Path(const std::string& dossier) {
  return platform::JoinPath(dossier, std::string(kReplaceName));
}

// The record's bytes, its state byte left out of the checksum (it alone changes afterwards),
// the checksum keyed with cle.
std::string Encode(const Targets& targets, const std::string& backup, char state, uint64_t cle) {
  std::string b(kMagic, sizeof kMagic);
  AppendLe(b, kVersion, 2);
  b.push_back(state);
  b.push_back('\0');
  AppendLe(b, targets.size(), 4);
  for (const ReplaceSet::Target& t : targets) {
    b.push_back(static_cast<char>((t.existed ? kExisted : 0) | (t.removed ? kRemoved : 0)));
    AppendLe(b, t.relative.size(), 2);
    b += t.relative;
  }
  AppendLe(b, backup.size(), 2);
  b += backup;
  std::string hashed = b;
  hashed[kStateAt] = '\0';
  AppendLe(b, Hash64(hashed, cle), 8);
  return b;
}

// A length-prefixed text at *at of the record's body (which ends at end); false past the end.
bool Text(const std::string& b, size_t end, size_t* at, std::string* out) {
  if (*at + 2 > end) return false;
  const size_t len = GetLe(b.data() + *at, 2);
  *at += 2;
  if (*at + len > end) return false;
  *out = b.substr(*at, len);
  *at += len;
  return true;
}

// The targets, backup and state of a record; false when it does not check with cle (cut while
// written, or not written by this folder's replacement).
bool Decode(const std::string& b, uint64_t cle, Targets* targets, std::string* backup,
            char* state) {
  if (b.size() < kHead + 8 || b.compare(0, 8, std::string(kMagic, 8)) != 0) return false;
  std::string hashed = b.substr(0, b.size() - 8);
  hashed[kStateAt] = '\0';
  if (GetLe(b.data() + b.size() - 8, 8) != Hash64(hashed, cle)) return false;
  const uint64_t version = GetLe(b.data() + 8, 2);
  if (version != 1 && version != kVersion) return false;
  *state = b[kStateAt];
  const uint64_t count = GetLe(b.data() + 12, 4);
  const size_t end = b.size() - 8;
  size_t at = kHead;
  for (uint64_t i = 0; i < count; ++i) {
    if (at + 1 > end) return false;
    ReplaceSet::Target t;
    const char flags = b[at++];
    t.existed = (flags & kExisted) != 0;
    t.removed = version >= 2 && (flags & kRemoved) != 0;
    if (!Text(b, end, &at, &t.relative)) return false;
    targets->push_back(std::move(t));
  }
  backup->clear();
  if (version >= 2 && !Text(b, end, &at, backup)) return false;
  return at == end;
}

std::string Folder(const std::string& path) {
  const size_t cut = path.find_last_of("/\\");
  return cut == std::string::npos ? std::string(".") : path.substr(0, cut);
}

Status Io(const platform::IoStatus& io) { return Status::FromIo(io); }

bool Exists(Env* env, const std::string& path, Status* s) {
  bool exists = false;
  if (s->ok()) *s = Io(env->FileExists(path, &exists));
  return exists;
}

Status SyncFolders(Env* env, const std::string& dossier, const Targets& targets) {
  std::set<std::string> folders{dossier};
  for (const auto& t : targets) folders.insert(Folder(platform::JoinPath(dossier, t.relative)));
  for (const std::string& f : folders) VESK_RETURN_IF_ERROR(Io(env->SyncDirectory(f)));
  return Status::Ok();
}

Status RemoveRecord(Env* env, const std::string& dossier) {
  VESK_RETURN_IF_ERROR(Io(env->RemoveFile(Path(dossier))));
  return Io(env->SyncDirectory(dossier));
}

// Every target back to its old file (R2); the aside files removed, then the record. A target
// that did not exist and exists now was put in place by the set (no one else writes in the
// folder under its exclusive lock): it goes.
Status Undo(Env* env, const std::string& dossier, const Targets& targets) {
  for (const auto& t : targets) {
    const std::string full = platform::JoinPath(dossier, t.relative);
    const std::string old = full + std::string(kOldSuffix);
    const std::string aside = ReplaceSet::AsidePath(full);
    Status s;
    if (Exists(env, old, &s)) {
      s = Io(env->RenameFile(old, full));
    } else if (!t.existed && !t.removed && Exists(env, full, &s)) {
      s = Io(env->RemoveFile(full));  // put in place, but the target did not exist before
    }
    if (Exists(env, aside, &s)) s = Io(env->RemoveFile(aside));
    VESK_RETURN_IF_ERROR(s);
  }
  VESK_RETURN_IF_ERROR(SyncFolders(env, dossier, targets));
  return RemoveRecord(env, dossier);
}

// The new set is the folder's: the old files go (into the backup folder when there is one),
// then the record. Nothing else needs syncing: a removal a crash undoes leaves the record in
// state DONE, and the next user finishes again. Moves into the backup are made durable before
// the record goes (R5).
Status Finish(Env* env, const std::string& dossier, const Targets& targets,
              const std::string& backup) {
  std::set<std::string> folders;
  for (const auto& t : targets) {
    const std::string old = platform::JoinPath(dossier, t.relative) + std::string(kOldSuffix);
    Status s;
    if (!Exists(env, old, &s)) {
      VESK_RETURN_IF_ERROR(s);
      continue;
    }
    if (backup.empty()) {
      VESK_RETURN_IF_ERROR(Io(env->RemoveFile(old)));
      continue;
    }
    const std::string kept = platform::JoinPath(platform::JoinPath(dossier, backup), t.relative);
    folders.insert(Folder(kept));
    VESK_RETURN_IF_ERROR(Io(env->CreateDirectories(Folder(kept))));
    VESK_RETURN_IF_ERROR(Io(env->RenameFile(old, kept)));
  }
  if (!folders.empty()) {
    folders.insert(dossier);
    for (const std::string& f : folders) VESK_RETURN_IF_ERROR(Io(env->SyncDirectory(f)));
    for (const auto& t : targets) {
      VESK_RETURN_IF_ERROR(Io(env->SyncDirectory(Folder(platform::JoinPath(dossier, t.relative)))));
    }
  }
  return Io(env->RemoveFile(Path(dossier)));
}

Status WriteRecord(Env* env, const std::string& dossier, const std::string& bytes) {
  std::unique_ptr<platform::File> f;
  VESK_RETURN_IF_ERROR(Io(env->OpenFile(Path(dossier), platform::OpenMode::kCreateAlways, &f)));
  VESK_RETURN_IF_ERROR(Io(f->WriteAt(0, bytes)));
  VESK_RETURN_IF_ERROR(Io(f->Sync()));
  return Io(env->SyncDirectory(dossier));
}

Status ReadRecord(Env* env, const std::string& dossier, std::string* bytes) {
  std::unique_ptr<platform::File> f;
  VESK_RETURN_IF_ERROR(Io(env->OpenFile(Path(dossier), platform::OpenMode::kRead, &f)));
  uint64_t size = 0;
  VESK_RETURN_IF_ERROR(Io(f->Size(&size)));
  if (size > (uint64_t{1} << 24)) size = uint64_t{1} << 24;  // far more than any set
  bytes->assign(size, '\0');
  size_t got = 0;
  VESK_RETURN_IF_ERROR(Io(f->ReadAt(0, *bytes, &got)));
  bytes->resize(got);
  return Status::Ok();
}

}  // namespace

ReplaceSet::ReplaceSet(Env* env, std::string dossier) : env_(env), dossier_(std::move(dossier)) {}

ReplaceSet::~ReplaceSet() {
  if (open_) {
    Status ignored = Abandon();  // a failure leaves the record: the next user undoes the set
    (void)ignored;
  }
}

Status ReplaceSet::AddTarget(const std::string& path, bool removed) {
  if (!InsideFolder(dossier_, path) || !SafeRelative(path.substr(dossier_.size() + 1))) {
    return Status::InvalidArgument(path + " : hors du dossier de données " + dossier_);
  }
  Target t{path.substr(dossier_.size() + 1), false, removed};
  for (const Target& before : targets_) {
    if (before.relative == t.relative) {
      return Status::InvalidArgument(path + " : fichier nommé deux fois dans un remplacement");
    }
  }
  Status s;
  t.existed = Exists(env_, path, &s);
  VESK_RETURN_IF_ERROR(s);
  if (removed && !t.existed) return Status::Ok();  // nothing to take away
  // A file left beside it would be taken for the set's own (put back, or removed).
  for (const std::string& beside : {AsidePath(path), path + std::string(kOldSuffix)}) {
    if (Exists(env_, beside, &s)) {
      return Status::InvalidArgument(beside + " existe déjà : le retirer avant de reconstruire");
    }
    VESK_RETURN_IF_ERROR(s);
  }
  targets_.push_back(std::move(t));
  return Status::Ok();
}

Status ReplaceSet::Begin(const std::vector<std::string>& targets, uint64_t cle,
                         const std::vector<std::string>& removed, const std::string& backup) {
  if (open_) return Status::InvalidArgument("remplacement de fichiers déjà commencé");
  cle_ = cle;
  targets_.clear();
  committed_ = false;
  backup_ = backup;
  for (const std::string& path : targets) VESK_RETURN_IF_ERROR(AddTarget(path, false));
  for (const std::string& path : removed) VESK_RETURN_IF_ERROR(AddTarget(path, true));
  if (!backup_.empty()) {
    Status s;
    if (!SafeRelative(backup_) || backup_.find_first_of("/\\") != std::string::npos) {
      return Status::InvalidArgument(backup_ + " : dossier de sauvegarde hors du dossier");
    }
    if (Exists(env_, platform::JoinPath(dossier_, backup_), &s)) {
      return Status::InvalidArgument(backup_ + " : le dossier de sauvegarde existe déjà");
    }
    VESK_RETURN_IF_ERROR(s);
  }
  VESK_RETURN_IF_ERROR(WriteRecord(env_, dossier_, Encode(targets_, backup_, kWriting, cle_)));
  open_ = true;
  return Status::Ok();
}

Status ReplaceSet::WriteState(char state) {
  std::unique_ptr<platform::File> f;
  VESK_RETURN_IF_ERROR(Io(env_->OpenFile(Path(dossier_), platform::OpenMode::kReadWrite, &f)));
  VESK_RETURN_IF_ERROR(Io(f->WriteAt(kStateAt, std::string_view(&state, 1))));
  return Io(f->Sync());
}

Status ReplaceSet::Commit() {
  if (!open_) return Status::InvalidArgument("remplacement de fichiers non commencé");
  Status s;
  for (size_t i = 0; s.ok() && i < targets_.size(); ++i) {
    const std::string full = platform::JoinPath(dossier_, targets_[i].relative);
    if (targets_[i].existed) s = Io(env_->RenameFile(full, full + std::string(kOldSuffix)));
    if (s.ok() && !targets_[i].removed) s = Io(env_->RenameFile(AsidePath(full), full));
  }
  if (s.ok()) s = SyncFolders(env_, dossier_, targets_);
  if (s.ok()) s = WriteState(kDone);
  if (!s.ok()) {
    Status u = Undo(env_, dossier_, targets_);
    open_ = !u.ok();
    if (!u.ok()) {
      return Status::IOError(s.message() + " ; remise en place des anciens fichiers impossible (" +
                             u.message() + "), reprise à la prochaine ouverture du dossier");
    }
    return s;
  }
  open_ = false;
  committed_ = true;
  return Finish(env_, dossier_, targets_, backup_);
}

Status ReplaceSet::Abandon() {
  if (!open_) return Status::Ok();
  Status s = Undo(env_, dossier_, targets_);
  open_ = !s.ok();
  return s;
}

namespace {

// A file of the folder (or of its company sub-folder) named like an aside or an old file, or ""
// when there is none.
Status LeftBeside(Env* env, const std::string& dossier, const std::string& entreprise,
                  std::string* name) {
  name->clear();
  for (const std::string& folder :
       {dossier, entreprise.empty() ? std::string() : platform::JoinPath(dossier, entreprise)}) {
    if (folder.empty()) continue;
    std::vector<std::string> names;
    Status listed = Io(env->ListDirectory(folder, &names));
    if (listed.IsNotFound() && folder != dossier) continue;  // no company sub-folder yet
    VESK_RETURN_IF_ERROR(listed);
    for (const std::string& n : names) {
      for (std::string_view suffix : {kAsideSuffix, kOldSuffix}) {
        if (n.size() > suffix.size() &&
            n.compare(n.size() - suffix.size(), suffix.size(), suffix.data(), suffix.size()) == 0) {
          *name = platform::JoinPath(folder, n);
          return Status::Ok();
        }
      }
    }
  }
  return Status::Ok();
}

}  // namespace

Status ReplaceSet::Recover(Env* env, const std::string& dossier, const std::string& entreprise,
                           std::optional<uint64_t> cle, bool* found) {
  *found = false;
  Status s;
  if (!Exists(env, Path(dossier), &s)) return s;
  *found = true;
  std::string bytes;
  VESK_RETURN_IF_ERROR(ReadRecord(env, dossier, &bytes));
  Targets targets;
  std::string backup;
  char state = 0;
  if (!cle || !Decode(bytes, *cle, &targets, &backup, &state)) {  // R3
    std::string beside;
    VESK_RETURN_IF_ERROR(LeftBeside(env, dossier, entreprise, &beside));
    if (beside.empty()) return RemoveRecord(env, dossier);
    return Status::Corruption(Path(dossier) + " : enregistrement de remplacement abîmé alors que " +
                              beside + " existe ; rien n'est remplacé ni remis en place");
  }
  for (const Target& t : targets) {
    if (!SafeRelative(t.relative)) {
      return Status::Corruption(Path(dossier) + " : le fichier " + t.relative +
                                " est hors du dossier de données ; rien n'est remplacé");
    }
    VESK_RETURN_IF_ERROR(redo_log::SansLien(env, dossier, t.relative));
  }
  if (!backup.empty() &&
      (!SafeRelative(backup) || backup.find_first_of("/\\") != std::string::npos)) {
    return Status::Corruption(Path(dossier) + " : le dossier de sauvegarde " + backup +
                              " est hors du dossier de données ; rien n'est remplacé");
  }
  if (state == kDone) return Finish(env, dossier, targets, backup);
  if (state == kWriting) return Undo(env, dossier, targets);
  return Status::Corruption(Path(dossier) + " : état " + std::to_string(state) + " inconnu");
}

}  // namespace vesk::isam
