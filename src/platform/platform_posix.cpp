// POSIX back end of the platform layer.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <system_error>
#include <thread>

#include "platform/platform.h"

namespace vesk::platform {

namespace {

// strerror is not thread-safe; the two strerror_r flavours return different things.
[[maybe_unused]] const char* StrerrorResult(int rc, const char* buffer) {
  return rc == 0 ? buffer : "erreur inconnue";
}
[[maybe_unused]] const char* StrerrorResult(const char* text, const char*) { return text; }

// The system's message in French for the errors a user meets; any other in the system's words
// after its number, so that nothing is lost.
std::string SystemMessage(int err) {
  switch (err) {
    case ENOENT:
      return "fichier ou dossier introuvable";
    case ENOTDIR:
      return "une partie du chemin n'est pas un dossier";
    case EISDIR:
      return "c'est un dossier";
    case EEXIST:
      return "existe déjà";
    case EACCES:
    case EPERM:
      return "permission refusée";
    case EROFS:
      return "système de fichiers en lecture seule";
    case ENOSPC:
      return "plus de place sur le disque";
    case EDQUOT:
      return "quota du disque dépassé";
    case EMFILE:
    case ENFILE:
      return "trop de fichiers ouverts";
    case ENAMETOOLONG:
      return "nom trop long";
    case ENOTEMPTY:
      return "dossier non vide";
    case EBUSY:
      return "ressource occupée";
    case EIO:
      return "erreur d'entrée-sortie du périphérique";
    case EXDEV:
      return "déplacement impossible d'un système de fichiers à un autre";
    case EFBIG:
      return "fichier trop grand";
    case ENOMEM:
      return "mémoire insuffisante";
    default:
      break;
  }
  char buffer[256] = {};
  return "erreur système " + std::to_string(err) + " (" +
         StrerrorResult(::strerror_r(err, buffer, sizeof buffer), buffer) + ")";
}

IoStatus FromErrno(int err, std::string_view what, const std::string& path) {
  Code code = Code::kIoError;
  switch (err) {
    case ENOENT:
    case ENOTDIR:
      code = Code::kNotFound;
      break;
    case EEXIST:
      code = Code::kExists;
      break;
    case EACCES:
    case EPERM:
    case EROFS:
      code = Code::kAccess;
      break;
    case ENOSPC:
    case EDQUOT:
      code = Code::kNoSpace;
      break;
    case EISDIR:
      code = Code::kAccess;
      break;
    case EAGAIN:
      code = Code::kLocked;
      break;
    default:
      break;
  }
  std::string message(what);
  message += " ";
  message += path;
  message += " : ";
  message += SystemMessage(err);
  return IoStatus{code, err, std::move(message)};
}

// The longest pause between two tries of a lock held by another user: a writer waits for the
// operations of others, which take microseconds, so it looks again within a millisecond.
constexpr int kMaxPauseUs = 1000;
// Before the first pause, the lock is tried again after giving the processor away a few times:
// the holder, when it waits for the processor, ends its operation meanwhile.
constexpr int kYields = 4;
constexpr int kFirstPauseUs = 20;

// An exclusive lock announces a writer: a file opened for reading only may not take one.
IoStatus ReadOnlyLock(const std::string& path) {
  return IoStatus{Code::kAccess, 0,
                  "verrouillage exclusif de " + path + " : fichier ouvert en lecture seule"};
}

class PosixFile : public File {
 public:
  PosixFile(int fd, std::string path, bool read_only)
      : fd_(fd), path_(std::move(path)), read_only_(read_only) {}
  ~PosixFile() override { ::close(fd_); }

  IoStatus ReadAt(uint64_t offset, std::span<char> out, size_t* read) override {
    size_t done = 0;
    while (done < out.size()) {
      ssize_t n = ::pread(fd_, out.data() + done, out.size() - done, offset + done);
      if (n < 0) {
        if (errno == EINTR) continue;
        *read = done;
        return FromErrno(errno, "lecture de", path_);
      }
      if (n == 0) break;
      done += static_cast<size_t>(n);
    }
    *read = done;
    return IoStatus::Ok();
  }

  IoStatus WriteAt(uint64_t offset, std::span<const char> data) override {
    size_t done = 0;
    while (done < data.size()) {
      ssize_t n = ::pwrite(fd_, data.data() + done, data.size() - done, offset + done);
      if (n < 0) {
        if (errno == EINTR) continue;
        return FromErrno(errno, "écriture de", path_);
      }
      if (n == 0) {
        return IoStatus{Code::kIoError, 0, "écriture de " + path_ + " : aucun octet écrit"};
      }
      done += static_cast<size_t>(n);
    }
    return IoStatus::Ok();
  }

  // pwritev takes at most IOV_MAX pieces and may write fewer bytes than asked: the rest follows.
  IoStatus WriteAtV(uint64_t offset, std::span<const std::span<const char>> pieces) override {
    constexpr size_t kMaxPieces = 1024;  // IOV_MAX on Linux
    iovec vec[kMaxPieces];
    size_t first = 0, skip = 0;  // the next piece to write, and its bytes written already
    while (first < pieces.size()) {
      size_t n = 0;
      for (size_t i = first; i < pieces.size() && n < kMaxPieces; ++i, ++n) {
        const size_t from = i == first ? skip : 0;
        vec[n].iov_base = const_cast<char*>(pieces[i].data() + from);
        vec[n].iov_len = pieces[i].size() - from;
      }
      ssize_t w = ::pwritev(fd_, vec, static_cast<int>(n), static_cast<off_t>(offset));
      if (w < 0) {
        if (errno == EINTR) continue;
        return FromErrno(errno, "écriture de", path_);
      }
      if (w == 0 && vec[0].iov_len > 0) {
        return IoStatus{Code::kIoError, 0, "écriture de " + path_ + " : aucun octet écrit"};
      }
      offset += static_cast<uint64_t>(w);
      size_t left = static_cast<size_t>(w);
      while (first < pieces.size() && left >= pieces[first].size() - skip) {
        left -= pieces[first].size() - skip;
        ++first;
        skip = 0;
      }
      skip += left;
    }
    return IoStatus::Ok();
  }

  IoStatus Sync() override {
    if (::fdatasync(fd_) != 0) return FromErrno(errno, "synchronisation de", path_);
    return IoStatus::Ok();
  }

  IoStatus Size(uint64_t* size) override {
    struct stat st;
    if (::fstat(fd_, &st) != 0) return FromErrno(errno, "taille de", path_);
    *size = static_cast<uint64_t>(st.st_size);
    return IoStatus::Ok();
  }

  IoStatus Truncate(uint64_t size) override {
    if (::ftruncate(fd_, static_cast<off_t>(size)) != 0) {
      return FromErrno(errno, "troncature de", path_);
    }
    return IoStatus::Ok();
  }

  // Open-file-description locks: they belong to this descriptor, so two File objects of one
  // process exclude each other, and closing another descriptor of the file releases nothing.
  // The main lock covers the bytes before kAside, the aside lock the byte at kAside: far past
  // any data (they are advisory) and apart from each other.
  IoStatus Lock(LockKind kind, int timeout_ms) override {
    if (kind == LockKind::kExclusive && read_only_) return ReadOnlyLock(path_);
    return Take(kind == LockKind::kShared ? F_RDLCK : F_WRLCK, 0, kAside, timeout_ms);
  }

  IoStatus Unlock() override { return Release(0, kAside); }

  IoStatus LockAside(int timeout_ms) override {
    if (read_only_) return ReadOnlyLock(path_);
    return Take(F_WRLCK, kAside, 1, timeout_ms);
  }

  IoStatus UnlockAside() override { return Release(kAside, 1); }

  IoStatus WaitAside() override {
    IoStatus io = Take(F_RDLCK, kAside, 1, -1);
    return io.ok() ? Release(kAside, 1) : io;
  }

  const std::string& Path() const override { return path_; }

 private:
  static constexpr off_t kAside = off_t{1} << 62;

  // Takes a lock of the given type on [start, start + length): waits in the system without
  // limit when timeout_ms < 0, otherwise tries again after growing pauses until timeout_ms.
  IoStatus Take(short type, off_t start, off_t length, int timeout_ms) {
    struct flock fl;
    std::memset(&fl, 0, sizeof fl);
    fl.l_type = type;
    fl.l_whence = SEEK_SET;
    fl.l_start = start;
    fl.l_len = length;
    if (timeout_ms < 0) {
      while (::fcntl(fd_, F_OFD_SETLKW, &fl) != 0) {
        if (errno != EINTR) return FromErrno(errno, "verrouillage de", path_);
      }
      return IoStatus::Ok();
    }
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    int pause_us = 0;
    for (int tries = 0;; ++tries) {
      if (::fcntl(fd_, F_OFD_SETLK, &fl) == 0) return IoStatus::Ok();
      int err = errno;
      if (err != EAGAIN && err != EACCES && err != EINTR) {
        return FromErrno(err, "verrouillage de", path_);
      }
      if (std::chrono::steady_clock::now() >= deadline) {
        return IoStatus{Code::kLocked, err, "fichier verrouillé : " + path_};
      }
      if (tries < kYields) {
        std::this_thread::yield();
        continue;
      }
      pause_us = std::min(std::max(pause_us * 2, kFirstPauseUs), kMaxPauseUs);
      std::this_thread::sleep_for(std::chrono::microseconds(pause_us));
    }
  }

  IoStatus Release(off_t start, off_t length) {
    struct flock fl;
    std::memset(&fl, 0, sizeof fl);
    fl.l_type = F_UNLCK;
    fl.l_whence = SEEK_SET;
    fl.l_start = start;
    fl.l_len = length;
    if (::fcntl(fd_, F_OFD_SETLK, &fl) != 0) return FromErrno(errno, "déverrouillage de", path_);
    return IoStatus::Ok();
  }

  int fd_;
  std::string path_;
  bool read_only_;
};

}  // namespace

IoStatus OpenFile(const std::string& path, OpenMode mode, std::unique_ptr<File>* out, Links links) {
  int flags = O_CLOEXEC | (links == Links::kRefuse ? O_NOFOLLOW : 0);
  switch (mode) {
    case OpenMode::kRead:
      flags |= O_RDONLY;
      break;
    case OpenMode::kReadWrite:
      flags |= O_RDWR;
      break;
    case OpenMode::kCreate:
      flags |= O_RDWR | O_CREAT;
      break;
    case OpenMode::kCreateAlways:
      flags |= O_RDWR | O_CREAT | O_TRUNC;
      break;
  }
  int fd = ::open(path.c_str(), flags, 0644);
  if (fd < 0 && errno == ELOOP && links == Links::kRefuse) {
    return IoStatus{Code::kAccess, ELOOP, "ouverture de " + path + " : lien symbolique refusé"};
  }
  if (fd < 0) return FromErrno(errno, "ouverture de", path);
  struct stat st;
  if (::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
    ::close(fd);
    return IoStatus{Code::kAccess, EISDIR, "ouverture de " + path + " : c'est un dossier"};
  }
  *out = std::make_unique<PosixFile>(fd, path, mode == OpenMode::kRead);
  return IoStatus::Ok();
}

IoStatus IsLink(const std::string& path, bool* link) {
  struct stat st;
  *link = false;
  if (::lstat(path.c_str(), &st) == 0) {
    *link = S_ISLNK(st.st_mode);
    return IoStatus::Ok();
  }
  if (errno == ENOENT || errno == ENOTDIR) return IoStatus::Ok();
  return FromErrno(errno, "accès à", path);
}

IoStatus FileExists(const std::string& path, bool* exists) {
  struct stat st;
  if (::stat(path.c_str(), &st) == 0) {
    *exists = true;
    return IoStatus::Ok();
  }
  if (errno == ENOENT || errno == ENOTDIR) {
    *exists = false;
    return IoStatus::Ok();
  }
  return FromErrno(errno, "accès à", path);
}

IoStatus IsDirectory(const std::string& path, bool* is_dir) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) {
      *is_dir = false;
      return IoStatus::Ok();
    }
    return FromErrno(errno, "accès à", path);
  }
  *is_dir = S_ISDIR(st.st_mode);
  return IoStatus::Ok();
}

IoStatus RemoveFile(const std::string& path) {
  if (::unlink(path.c_str()) != 0) return FromErrno(errno, "suppression de", path);
  return IoStatus::Ok();
}

IoStatus RenameFile(const std::string& from, const std::string& to) {
  if (::rename(from.c_str(), to.c_str()) != 0) {
    return FromErrno(errno, "renommage de", from + " en " + to);
  }
  return IoStatus::Ok();
}

IoStatus SyncDirectory(const std::string& path) {
  int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return FromErrno(errno, "synchronisation du dossier", path);
  int rc = ::fsync(fd);
  int err = errno;
  ::close(fd);
  if (rc != 0) return FromErrno(err, "synchronisation du dossier", path);
  return IoStatus::Ok();
}

IoStatus CreateDirectories(const std::string& path) {
  if (path.empty()) return IoStatus{Code::kNotFound, ENOENT, "création du dossier : nom vide"};
  std::string partial;
  size_t pos = 0;
  while (pos != std::string::npos) {
    pos = path.find('/', pos + 1);
    partial = path.substr(0, pos);
    if (partial.empty()) continue;
    if (::mkdir(partial.c_str(), 0755) != 0 && errno != EEXIST) {
      return FromErrno(errno, "création du dossier", partial);
    }
  }
  bool is_dir = false;
  IoStatus st = IsDirectory(path, &is_dir);
  if (!st.ok()) return st;
  if (!is_dir) {
    return IoStatus{Code::kExists, EEXIST,
                    "création du dossier " + path + " : un fichier porte ce nom"};
  }
  return IoStatus::Ok();
}

IoStatus ListDirectory(const std::string& path, std::vector<std::string>* names) {
  names->clear();
  DIR* dir = ::opendir(path.c_str());
  if (dir == nullptr) return FromErrno(errno, "lecture du dossier", path);
  for (;;) {
    errno = 0;
    struct dirent* entry = ::readdir(dir);
    if (entry == nullptr) break;
    std::string name = entry->d_name;
    if (name != "." && name != "..") names->push_back(std::move(name));
  }
  int err = errno;
  ::closedir(dir);
  if (err != 0) {
    names->clear();
    return FromErrno(err, "lecture du dossier", path);
  }
  std::sort(names->begin(), names->end());
  return IoStatus::Ok();
}

std::string JoinPath(std::string_view dir, std::string_view name) {
  std::string path(dir);
  if (!path.empty() && path.back() != '/') path += '/';
  path += name;
  return path;
}

DateHeure Maintenant() {
  time_t now = ::time(nullptr);
  struct tm local;
  ::localtime_r(&now, &local);
  return DateHeure{local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                   local.tm_hour,        local.tm_min,     local.tm_sec};
}

// An anonymous mapping, cut down to size bytes from an aligned start; large pages asked for it
// (a hint: refused or unavailable, the memory is the same).
MemoireCache::MemoireCache(size_t size, bool grandes_pages) {
  const size_t span = size + kAlignementMemoireCache;
  void* p = ::mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) return;
  auto base = reinterpret_cast<uintptr_t>(p);
  uintptr_t start = (base + kAlignementMemoireCache - 1) & ~(kAlignementMemoireCache - 1);
  if (start > base) ::munmap(p, start - base);
  if (start + size < base + span) {
    ::munmap(reinterpret_cast<void*>(start + size), base + span - (start + size));
  }
  data_ = reinterpret_cast<char*>(start);
  reserve_ = data_;
  size_ = size;
#ifdef MADV_HUGEPAGE
  if (grandes_pages) ::madvise(data_, size_, MADV_HUGEPAGE);
#else
  (void)grandes_pages;
#endif
}

void MemoireCache::PasseEnGrandesPages() {
#ifdef MADV_HUGEPAGE
  if (data_ == nullptr) return;
  ::madvise(data_, size_, MADV_HUGEPAGE);
  // MADV_COLLAPSE (Linux 6.1): the pages gathered into large ones now; an older system refuses
  // it (EINVAL) and leaves the hint alone. Either way nothing changes for the bytes.
  constexpr int kMadvCollapse = 25;
  ::madvise(data_, size_, kMadvCollapse);
#endif
}

MemoireCache::~MemoireCache() {
  if (reserve_ != nullptr) ::munmap(reserve_, size_);
}

struct MemoireAvance::Impl {
  std::thread worker;
  std::unique_ptr<MemoireCache> ready;  // written by worker, read after join
  size_t size = 0;
  bool grandes_pages = false;
};

MemoireAvance::MemoireAvance() : impl_(std::make_unique<Impl>()) {}

MemoireAvance::~MemoireAvance() {
  if (impl_->worker.joinable()) impl_->worker.join();
}

void MemoireAvance::Prepare(size_t size, bool grandes_pages, std::vector<MemoireCache*> a_passer) {
  assert(!impl_->worker.joinable() && impl_->ready == nullptr);
  impl_->size = size;
  impl_->grandes_pages = grandes_pages;
  auto work = [impl = impl_.get(), size, grandes_pages, a_passer] {
    for (MemoireCache* c : a_passer) c->PasseEnGrandesPages();
    try {
      auto m = std::make_unique<MemoireCache>(size, grandes_pages);
      // One write a page faults it in (a large page at its first byte); the bytes stay zero.
      volatile char* p = m->data();
      for (size_t at = 0; p != nullptr && at < size; at += 4096) p[at] = 0;
      impl->ready = std::move(m);
    } catch (const std::bad_alloc&) {
      // Nothing made ahead: Prends makes the block and meets the shortage itself.
    }
  };
  try {
    impl_->worker = std::thread(work);
  } catch (const std::system_error&) {
    for (MemoireCache* c : a_passer) c->PasseEnGrandesPages();  // no thread to be had
  }
}

std::unique_ptr<MemoireCache> MemoireAvance::Prends(size_t size, bool grandes_pages) {
  if (impl_->worker.joinable()) impl_->worker.join();
  std::unique_ptr<MemoireCache> m = std::move(impl_->ready);
  if (m != nullptr && m->data() != nullptr && impl_->size == size &&
      impl_->grandes_pages == grandes_pages) {
    return m;
  }
  return std::make_unique<MemoireCache>(size, grandes_pages);
}

uint64_t HorlogeNs() {
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                   std::chrono::steady_clock::now().time_since_epoch())
                                   .count());
}

bool SortieEstTerminal() { return ::isatty(STDOUT_FILENO) != 0; }

bool ErreursEstTerminal() { return ::isatty(STDERR_FILENO) != 0; }

void ConsoleUtf8() {}

std::string Environnement(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

struct CleThread::Etat {
  pthread_key_t cle;
  Destructeur detruit;
};

CleThread::CleThread(Destructeur detruit) : etat_(std::make_unique<Etat>()) {
  etat_->detruit = detruit;
  if (::pthread_key_create(&etat_->cle, detruit) != 0) {
    std::fprintf(stderr, "vesk : plus de clé de thread disponible\n");
    std::abort();
  }
}

CleThread::~CleThread() {
  Affecte(nullptr);
  ::pthread_key_delete(etat_->cle);
}

void* CleThread::Valeur() const { return ::pthread_getspecific(etat_->cle); }

void CleThread::Affecte(void* valeur) {
  void* ancien = ::pthread_getspecific(etat_->cle);
  if (ancien == valeur) return;
  if (::pthread_setspecific(etat_->cle, valeur) != 0) {
    std::fprintf(stderr, "vesk : mémoire de thread épuisée\n");
    std::abort();
  }
  if (ancien != nullptr) etat_->detruit(ancien);
}

}  // namespace vesk::platform
