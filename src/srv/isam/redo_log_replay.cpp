// Reading a redo log back: its complete transactions replayed to their files after a crash
// (Recover), or only their files synced before the redo log is emptied (Checkpoint), or, with
// synchronisation off, only their names carried over into the emptied redo log.
#include <map>
#include <memory>
#include <set>
#include <string>

#include "srv/isam/coding.h"
#include "srv/isam/redo_log.h"
#include "srv/isam/redo_log_internal.h"

namespace vesk::isam {

namespace {

using redo_log::Io;
using redo_log::kHeaderSize;
using redo_log::kRecordOverhead;

constexpr size_t kWindow = size_t{1} << 20;  // bytes read at once
constexpr uint32_t kMaxBlockSize = uint32_t{1} << 24;
constexpr uint64_t kMaxBlockNo = uint64_t{1} << 40;
constexpr uint64_t kMaxFileSize = uint64_t{1} << 52;

struct Record {
  char type = 0;
  std::string_view payload;
  uint64_t at = 0;  // where the record begins in the redo log
};

// The records of a redo log in order, through a window of the file; stops at the first one that
// does not check (torn, garbled, or of another redo log).
class RedoReader {
 public:
  RedoReader(platform::File* f, uint64_t size, uint64_t nonce, uint64_t from)
      : f_(f), size_(size), nonce_(nonce), at_(from) {}

  Status Next(Record* rec, bool* got) {
    *got = false;
    std::string_view head;
    if (size_ - at_ < kRecordOverhead) return Status::Ok();
    VESK_RETURN_IF_ERROR(Fetch(at_, 8, &head));
    const uint64_t len = GetLe(head.data() + 4, 4);
    if (len > size_ - at_ - kRecordOverhead) return Status::Ok();
    std::string_view whole;
    VESK_RETURN_IF_ERROR(Fetch(at_, static_cast<size_t>(len + kRecordOverhead), &whole));
    std::string_view framed = whole.substr(0, 8 + len);
    if (GetLe(whole.data() + 8 + len, 8) != Hash64(framed, nonce_ + at_)) return Status::Ok();
    *rec = Record{framed[0], framed.substr(8), at_};
    at_ += len + kRecordOverhead;
    *got = true;
    return Status::Ok();
  }
  uint64_t at() const { return at_; }

 private:
  Status Fetch(uint64_t at, size_t n, std::string_view* out) {
    if (at < buf_at_ || at + n > buf_at_ + buf_.size()) {
      buf_.assign(std::max(n, static_cast<size_t>(std::min<uint64_t>(kWindow, size_ - at))), '\0');
      size_t got = 0;
      VESK_RETURN_IF_ERROR(Io(f_->ReadAt(at, buf_, &got)));
      buf_.resize(got);
      buf_at_ = at;
      if (got < n) return Status::Corruption("journal : lecture courte");
    }
    *out = std::string_view(buf_).substr(static_cast<size_t>(at - buf_at_), n);
    return Status::Ok();
  }

  platform::File* f_;
  uint64_t size_, nonce_;
  uint64_t at_;
  std::string buf_;
  uint64_t buf_at_ = 0;
};

// The files a transaction declared, by the id its records use.
using Fichiers = std::map<uint32_t, std::string>;

// Whether a record makes sense where it stands in its transaction (count records so far, the
// transaction beginning at start).
bool Sensible(const Record& r, const Fichiers& files, uint32_t count, uint64_t start) {
  const std::string_view p = r.payload;
  const uint32_t id = p.size() >= 4 ? Load32(p.data()) : 0;
  switch (r.type) {
    case redo_log::kRedoFile:
      return p.size() >= 8 && Load32(p.data() + 4) == p.size() - 8 && !files.contains(id) &&
             SafeRelative(p.substr(8));
    case redo_log::kRedoPage: {
      if (p.size() < 16 || !files.contains(id)) return false;
      const uint32_t block = Load32(p.data() + 4);
      return block != 0 && block <= kMaxBlockSize && (block & (block - 1)) == 0 &&
             p.size() - 16 <= block && Load64(p.data() + 8) < kMaxBlockNo;
    }
    case redo_log::kRedoSize:
      return p.size() == 12 && files.contains(id) && Load64(p.data() + 4) < kMaxFileSize;
    case redo_log::kRedoCommit:
      return p.size() == 12 && Load32(p.data()) == count && Load64(p.data() + 4) == start;
    default:
      return false;
  }
}

using Visit = std::function<Status(const Record&, const Fichiers&)>;

// Walks the records of the transactions that check, from the transaction beginning at from up
// to limit; visit (when given) sees each with its transaction's files. *end: where the last
// complete transaction ends.
Status Walk(platform::File* j, uint64_t size, uint64_t nonce, uint64_t from, uint64_t limit,
            const Visit& visit, uint64_t* end) {
  RedoReader reader(j, size, nonce, from);
  Fichiers files;
  uint32_t count = 0;
  uint64_t start = from;
  *end = from;
  for (;;) {
    Record r;
    bool got = false;
    VESK_RETURN_IF_ERROR(reader.Next(&r, &got));
    if (!got || r.at >= limit || !Sensible(r, files, count, start)) return Status::Ok();
    if (visit) VESK_RETURN_IF_ERROR(visit(r, files));
    if (r.type == redo_log::kRedoFile) {
      files[Load32(r.payload.data())] = std::string(r.payload.substr(8));
      ++count;
    } else if (r.type == redo_log::kRedoCommit) {
      *end = start = reader.at();
      files.clear();
      count = 0;
    } else {
      ++count;
    }
  }
}

// The files a replay writes or syncs, opened once each by their path relative to the folder.
class Cibles {
 public:
  Cibles(Env* env, const std::string& dossier, const std::string& redo_log)
      : env_(env), dossier_(dossier), redo_log_(redo_log) {}

  Status Get(const std::string& relatif, platform::File** out) {
    auto& f = files_[relatif];
    if (!f) {
      VESK_RETURN_IF_ERROR(redo_log::SansLien(env_, dossier_, relatif));
      const std::string path = platform::JoinPath(dossier_, relatif);
      platform::IoStatus io = env_->OpenFile(path, platform::OpenMode::kReadWrite, &f);
      if (!io.ok()) {
        files_.erase(relatif);
        return Status::IOError("reprise du journal " + redo_log_ + " : " + path +
                               " ne peut être ouvert (" + io.message + ")");
      }
    }
    *out = f.get();
    return Status::Ok();
  }
  Status SyncAll(uint64_t* syncs) {
    for (auto& [name, f] : files_) {
      VESK_RETURN_IF_ERROR(Io(f->Sync()));
      ++*syncs;
    }
    return Status::Ok();
  }

 private:
  Env* env_;
  std::string dossier_, redo_log_;
  std::map<std::string, std::unique_ptr<platform::File>> files_;
};

// What replaying a record does: the file opened (and, with apply, its block or size written).
Status Apply(Cibles& cibles, bool apply, const Record& r, const Fichiers& files) {
  if (r.type == redo_log::kRedoCommit) return Status::Ok();
  const std::string_view p = r.payload;
  platform::File* f = nullptr;
  if (r.type == redo_log::kRedoFile) return cibles.Get(std::string(p.substr(8)), &f);
  VESK_RETURN_IF_ERROR(cibles.Get(files.at(Load32(p.data())), &f));
  if (!apply) return Status::Ok();
  if (r.type == redo_log::kRedoSize) return Io(f->Truncate(Load64(p.data() + 4)));
  const uint64_t at = Load64(p.data() + 8) * Load32(p.data() + 4);
  return Io(f->WriteAt(at, p.substr(16)));
}

// What is done with the files of the redo log's complete transactions.
enum class Suite {
  kReplay,  // written again and synced (recovery)
  kSync,    // synced (checkpoint)
  kNames,   // only named, in *names (checkpoint without synchronisation)
};

// Replays or syncs the files of the redo log j (or gathers their names).
Status Replay(Env* env, const std::string& dossier, const std::string& path, platform::File* j,
              uint64_t size, uint64_t nonce, Suite suite, std::set<std::string>* names,
              bool* changed, uint64_t* syncs) {
  uint64_t end = 0;
  VESK_RETURN_IF_ERROR(Walk(j, size, nonce, kHeaderSize, size, nullptr, &end));
  Cibles cibles(env, dossier, path);
  uint64_t ignored = 0;
  VESK_RETURN_IF_ERROR(Walk(
      j, size, nonce, kHeaderSize, end,
      [&](const Record& r, const Fichiers& files) {
        if (suite != Suite::kNames) return Apply(cibles, suite == Suite::kReplay, r, files);
        if (r.type == redo_log::kRedoFile) names->insert(std::string(r.payload.substr(8)));
        return Status::Ok();
      },
      &ignored));
  VESK_RETURN_IF_ERROR(cibles.SyncAll(syncs));
  *changed = suite == Suite::kReplay && end > kHeaderSize;
  return Status::Ok();
}

// The transaction that names files without changing them: F records and the commit. Put first
// in a redo log emptied without synchronisation, it keeps the names of the files whose writes
// are not synced yet for the next synchronised checkpoint (or recovery), which syncs them.
std::string NamesOnly(const std::set<std::string>& names, uint64_t nonce) {
  std::string out;
  uint32_t id = 0;
  for (const std::string& name : names) {
    std::string head;
    AppendLe(head, id++, 4);
    AppendLe(head, name.size(), 4);
    head += name;
    redo_log::AppendRecord(out, redo_log::kRedoFile, head, {}, nonce + kHeaderSize + out.size());
  }
  if (names.empty()) return out;
  std::string commit;
  AppendLe(commit, id, 4);
  AppendLe(commit, kHeaderSize, 8);
  redo_log::AppendRecord(out, redo_log::kRedoCommit, commit, {}, nonce + kHeaderSize + out.size());
  return out;
}

// The redo log j (size bytes) read and dealt with as suite says; a redo log whose header does
// not check was never complete (no file was written after it) and is dropped as it is.
Status Traite(Env* env, const std::string& dossier, const std::string& path, platform::File* j,
              uint64_t size, Suite suite, std::set<std::string>* names, bool* changed,
              uint64_t* syncs) {
  std::string head(kHeaderSize, '\0');
  size_t got = 0;
  if (size > 0) VESK_RETURN_IF_ERROR(Io(j->ReadAt(0, head, &got)));
  uint32_t version = 0;
  uint64_t nonce = 0;
  if (!redo_log::ReadHeader(std::string_view(head.data(), got), &version, &nonce)) {
    return Status::Ok();
  }
  if (version == redo_log::kRedoVersion) {
    return Replay(env, dossier, path, j, size, nonce, suite, names, changed, syncs);
  }
  if (version == 1 || version == 2) {
    std::string bytes(static_cast<size_t>(size), '\0');
    VESK_RETURN_IF_ERROR(Io(j->ReadAt(0, bytes, &got)));
    bytes.resize(got);
    return redo_log::RecoverRollback(env, dossier, path, bytes, changed);
  }
  return Status::Corruption("journal " + path + " : version " + std::to_string(version) +
                            " inconnue (écrit par un moteur plus récent ?) ; rien n'est "
                            "écrit, le journal est gardé");
}

// How a redo log is emptied: what is done with its files, the header it starts again under
// (none: cut to 0) with its nonce, and the files it names when the caller knows them all (then
// the redo log is not read back).
struct Vidage {
  Suite suite = Suite::kReplay;
  std::string header;
  uint64_t nonce = 0;
  const std::set<std::string>* known = nullptr;
};

// Recover and Checkpoint: the redo log at dossier dealt with, then emptied and synced: cut to 0,
// or started again under v.header, its other bytes kept. With suite kNames, nothing is synced
// and the emptied redo log holds the files' names (NamesOnly, also given in *names); *end
// receives where it ends.
Status Vide(Env* env, const std::string& dossier, const Vidage& v, std::set<std::string>* names,
            bool* changed, uint64_t* syncs, uint64_t* end) {
  *changed = false;
  names->clear();
  *end = v.header.empty() ? 0 : kHeaderSize;
  const std::string path = platform::JoinPath(dossier, kRedoLogName);
  bool exists = false;
  VESK_RETURN_IF_ERROR(Io(env->FileExists(path, &exists)));
  if (!exists && v.header.empty()) return Status::Ok();
  std::unique_ptr<platform::File> j;
  VESK_RETURN_IF_ERROR(Io(env->OpenFile(
      path, exists ? platform::OpenMode::kReadWrite : platform::OpenMode::kCreate, &j)));
  uint64_t size = 0;
  VESK_RETURN_IF_ERROR(Io(j->Size(&size)));
  if (size == 0 && v.header.empty()) return Status::Ok();
  if (v.known == nullptr) {
    VESK_RETURN_IF_ERROR(Traite(env, dossier, path, j.get(), size, v.suite, names, changed, syncs));
  } else if (v.suite == Suite::kSync) {
    Cibles cibles(env, dossier, path);
    platform::File* f = nullptr;
    for (const std::string& name : *v.known) VESK_RETURN_IF_ERROR(cibles.Get(name, &f));
    VESK_RETURN_IF_ERROR(cibles.SyncAll(syncs));
  } else {
    *names = *v.known;
  }
  if (v.suite != Suite::kNames) names->clear();
  const std::string& header = v.header;
  if (header.empty()) {
    VESK_RETURN_IF_ERROR(Io(j->Truncate(0)));
  } else {
    const std::string start = header + NamesOnly(*names, v.nonce);
    VESK_RETURN_IF_ERROR(Io(j->WriteAt(0, start)));
    *end = start.size();
  }
  if (v.suite == Suite::kNames) return Status::Ok();
  ++*syncs;
  return Io(j->Sync());
}

// The pending transactions [from, to) of the redo log j (size bytes, at path) walked whole:
// first checked to read back complete up to to (Corruption otherwise), then visited.
Status WalkPending(platform::File* j, uint64_t size, const std::string& path, uint64_t nonce,
                   uint64_t from, uint64_t to, const Visit& visit) {
  uint64_t end = 0;
  size = std::min(size, to);
  VESK_RETURN_IF_ERROR(Walk(j, size, nonce, from, to, nullptr, &end));
  if (end != to) {
    return Status::Corruption("journal " + path + " : validations en attente illisibles de " +
                              std::to_string(end) + " à " + std::to_string(to));
  }
  return Walk(j, size, nonce, from, to, visit, &end);
}

}  // namespace

Status RedoLog::Recover(Env* env, const std::string& dossier, bool* changed) {
  uint64_t syncs = 0, end = 0;
  std::set<std::string> names;
  return Vide(env, dossier, Vidage{}, &names, changed, &syncs, &end);
}

Status RedoLog::Checkpoint(bool keep, bool sync, const Fin* fin) {
  bool changed = false;
  Vidage v;
  v.suite = sync || !keep ? Suite::kSync : Suite::kNames;
  v.nonce = keep ? redo_log::NewNonce() : 0;
  if (keep) v.header = redo_log::Header(redo_log::kRedoVersion, v.nonce);
  // Every transaction since the redo log started is ours when it still ends where our last
  // commit left it: the files we named are all its files.
  if (fin != nullptr && named_all_ && fin->end == at_ && fin->nonce == nonce_) v.known = &named_;
  uint64_t end = 0;
  std::set<std::string> names;
  Status s = Vide(env_, dossier_, v, &names, &changed, &syncs_, &end);
  at_ = end;
  nonce_ = v.nonce;
  if (!keep) size_ = 0;
  size_ = std::max(size_, end);
  named_ = std::move(names);
  named_all_ = s.ok();
  if (!s.ok()) at_ = 0;
  return s;
}

Status RedoLog::OpenForReading(uint64_t nonce, uint64_t* size) {
  if (!file_) {
    // A folder that cannot be written still shows its pending commits to its readers.
    platform::IoStatus io = env_->OpenFile(path_, platform::OpenMode::kCreate, &file_);
    if (io.code == platform::Code::kAccess)
      io = env_->OpenFile(path_, platform::OpenMode::kRead, &file_);
    VESK_RETURN_IF_ERROR(Io(io));
  }
  VESK_RETURN_IF_ERROR(Io(file_->Size(size)));
  std::string head(kHeaderSize, '\0');
  size_t got = 0;
  VESK_RETURN_IF_ERROR(Io(file_->ReadAt(0, head, &got)));
  uint32_t version = 0;
  uint64_t found = 0;
  if (!redo_log::ReadHeader(std::string_view(head.data(), got), &version, &found) ||
      version != redo_log::kRedoVersion || found != nonce) {
    return Status::Corruption("journal " + path_ +
                              " : les validations en attente ne s'y trouvent plus (en-tête "
                              "différent de celui de l'état du dossier)");
  }
  return Status::Ok();
}

Status RedoLog::ReadPending(uint64_t nonce, uint64_t from, uint64_t to, const PendingVisit& visit) {
  if (from >= to) return Status::Ok();
  uint64_t size = 0;
  VESK_RETURN_IF_ERROR(OpenForReading(nonce, &size));
  return WalkPending(file_.get(), size, path_, nonce, from, to,
                     [&](const Record& r, const Fichiers& files) {
                       const std::string_view p = r.payload;
                       if (r.type == redo_log::kRedoPage && visit.block) {
                         visit.block(files.at(Load32(p.data())), Load32(p.data() + 4),
                                     Load64(p.data() + 8), p.substr(16));
                       } else if (r.type == redo_log::kRedoSize && visit.size) {
                         visit.size(files.at(Load32(p.data())), Load64(p.data() + 4));
                       }
                       return Status::Ok();
                     });
}

Status RedoLog::ApplyPending(uint64_t nonce, uint64_t from, uint64_t to) {
  if (from >= to) return Status::Ok();
  uint64_t size = 0;
  VESK_RETURN_IF_ERROR(OpenForReading(nonce, &size));
  Cibles cibles(env_, dossier_, path_);
  return WalkPending(
      file_.get(), size, path_, nonce, from, to,
      [&](const Record& r, const Fichiers& files) { return Apply(cibles, true, r, files); });
}

}  // namespace vesk::isam
