// Win32 back end of the platform layer. Paths arrive in UTF-8 and go to the wide (UTF-16) API;
// files are opened with full sharing so that several handles (and processes) use one file, as
// they do on POSIX.
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "platform/platform.h"

namespace vesk::platform {

namespace {

// Where the Win32 locks sit: one byte far past any data, so that a lock never hinders the reads
// and writes of other handles (Win32 locks are mandatory on their range; ours are advisory, as
// on POSIX).
constexpr uint64_t kLockOffset = uint64_t{1} << 62;
// The longest pause between two tries of a lock held by another user (see the POSIX back end).
constexpr int kMaxPauseUs = 1000;

std::string ToUtf8(std::wstring_view text) {
  if (text.empty()) return std::string();
  int size = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr,
                                   0, nullptr, nullptr);
  std::string out(static_cast<size_t>(std::max(size, 0)), '\0');
  if (size > 0) {
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), size,
                          nullptr, nullptr);
  }
  return out;
}

// UTF-8 to UTF-16; false when the text is not valid UTF-8 (with flags 0, invalid bytes become
// U+FFFD instead).
bool ToWide(std::string_view text, std::wstring* out, DWORD flags = MB_ERR_INVALID_CHARS) {
  out->clear();
  if (text.empty()) return true;
  int size =
      ::MultiByteToWideChar(CP_UTF8, flags, text.data(), static_cast<int>(text.size()), nullptr, 0);
  if (size <= 0) return false;
  out->resize(static_cast<size_t>(size));
  ::MultiByteToWideChar(CP_UTF8, flags, text.data(), static_cast<int>(text.size()), out->data(),
                        size);
  return true;
}

std::string SystemMessage(DWORD err) {
  wchar_t* buffer = nullptr;
  DWORD length = ::FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, err, 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  std::string text;
  if (length > 0 && buffer != nullptr) text = ToUtf8(std::wstring_view(buffer, length));
  if (buffer != nullptr) ::LocalFree(buffer);
  while (!text.empty() &&
         (text.back() == '\n' || text.back() == '\r' || text.back() == ' ' || text.back() == '.')) {
    text.pop_back();
  }
  if (text.empty()) text = "erreur système " + std::to_string(err);
  return text;
}

Code CodeOf(DWORD err) {
  switch (err) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_DIRECTORY:
      return Code::kNotFound;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return Code::kExists;
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
    case ERROR_INVALID_ACCESS:
      return Code::kAccess;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return Code::kNoSpace;
    case ERROR_LOCK_VIOLATION:
    case ERROR_SHARING_VIOLATION:
      return Code::kLocked;
    default:
      return Code::kIoError;
  }
}

IoStatus FromError(DWORD err, std::string_view what, const std::string& path) {
  std::string message(what);
  message += " ";
  message += path;
  message += " : ";
  message += SystemMessage(err);
  return IoStatus{CodeOf(err), static_cast<int>(err), std::move(message)};
}

IoStatus FromLastError(std::string_view what, const std::string& path) {
  return FromError(::GetLastError(), what, path);
}

IoStatus BadPath(const std::string& path) {
  return IoStatus{Code::kNotFound, ERROR_NO_UNICODE_TRANSLATION,
                  "chemin invalide (UTF-8 incorrect) : " + path};
}

OVERLAPPED At(uint64_t offset) {
  OVERLAPPED ov{};
  ov.Offset = static_cast<DWORD>(offset & 0xFFFFFFFFu);
  ov.OffsetHigh = static_cast<DWORD>(offset >> 32);
  return ov;
}

// Largest piece handed to one ReadFile/WriteFile call.
constexpr size_t kMaxPiece = 1u << 30;

enum class Held { kNone, kShared, kExclusive };

// An exclusive lock announces a writer: a file opened for reading only may not take one.
IoStatus ReadOnlyLock(const std::string& path) {
  return IoStatus{Code::kAccess, 0,
                  "verrouillage exclusif de " + path + " : fichier ouvert en lecture seule"};
}

class Win32File : public File {
 public:
  Win32File(HANDLE handle, std::string path, bool read_only)
      : handle_(handle), path_(std::move(path)), read_only_(read_only) {}
  ~Win32File() override { ::CloseHandle(handle_); }

  IoStatus ReadAt(uint64_t offset, std::span<char> out, size_t* read) override {
    size_t done = 0;
    while (done < out.size()) {
      OVERLAPPED ov = At(offset + done);
      DWORD piece = static_cast<DWORD>(std::min(out.size() - done, kMaxPiece));
      DWORD n = 0;
      if (!::ReadFile(handle_, out.data() + done, piece, &n, &ov)) {
        DWORD err = ::GetLastError();
        if (err == ERROR_HANDLE_EOF) break;
        *read = done;
        return FromError(err, "lecture de", path_);
      }
      if (n == 0) break;
      done += n;
    }
    *read = done;
    return IoStatus::Ok();
  }

  IoStatus WriteAt(uint64_t offset, std::span<const char> data) override {
    size_t done = 0;
    while (done < data.size()) {
      OVERLAPPED ov = At(offset + done);
      DWORD piece = static_cast<DWORD>(std::min(data.size() - done, kMaxPiece));
      DWORD n = 0;
      if (!::WriteFile(handle_, data.data() + done, piece, &n, &ov)) {
        return FromLastError("écriture de", path_);
      }
      if (n == 0) {
        return IoStatus{Code::kIoError, 0, "écriture de " + path_ + " : aucun octet écrit"};
      }
      done += n;
    }
    return IoStatus::Ok();
  }

  IoStatus Sync() override {
    if (!::FlushFileBuffers(handle_)) return FromLastError("synchronisation de", path_);
    return IoStatus::Ok();
  }

  IoStatus Size(uint64_t* size) override {
    LARGE_INTEGER value;
    if (!::GetFileSizeEx(handle_, &value)) return FromLastError("taille de", path_);
    *size = static_cast<uint64_t>(value.QuadPart);
    return IoStatus::Ok();
  }

  IoStatus Truncate(uint64_t size) override {
    FILE_END_OF_FILE_INFO info{};
    info.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
    if (::SetFileInformationByHandle(handle_, FileEndOfFileInfo, &info, sizeof info)) {
      return IoStatus::Ok();
    }
    // Older systems: move the file pointer and cut there.
    LARGE_INTEGER to;
    to.QuadPart = static_cast<LONGLONG>(size);
    if (!::SetFilePointerEx(handle_, to, nullptr, FILE_BEGIN) || !::SetEndOfFile(handle_)) {
      return FromLastError("troncature de", path_);
    }
    return IoStatus::Ok();
  }

  // Win32 locks stack and never convert, where POSIX ones do: taking the kind already held
  // does nothing, and a change of kind releases the old lock before waiting for the new one.
  IoStatus Lock(LockKind kind, int timeout_ms) override {
    Held wanted = kind == LockKind::kShared ? Held::kShared : Held::kExclusive;
    if (held_ == wanted) return IoStatus::Ok();
    if (wanted == Held::kExclusive && read_only_) return ReadOnlyLock(path_);
    if (held_ != Held::kNone) {
      IoStatus st = Unlock();
      if (!st.ok()) return st;
    }
    DWORD flags = LOCKFILE_FAIL_IMMEDIATELY;
    if (wanted == Held::kExclusive) flags |= LOCKFILE_EXCLUSIVE_LOCK;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    int pause_us = 50;
    for (;;) {
      OVERLAPPED ov = At(kLockOffset);
      if (::LockFileEx(handle_, flags, 0, 1, 0, &ov)) {
        held_ = wanted;
        return IoStatus::Ok();
      }
      DWORD err = ::GetLastError();
      if (err != ERROR_LOCK_VIOLATION && err != ERROR_IO_PENDING) {
        return FromError(err, "verrouillage de", path_);
      }
      if (std::chrono::steady_clock::now() >= deadline) {
        return IoStatus{Code::kLocked, static_cast<int>(err), "fichier verrouillé : " + path_};
      }
      std::this_thread::sleep_for(std::chrono::microseconds(pause_us));
      pause_us = std::min(pause_us * 2, kMaxPauseUs);
    }
  }

  IoStatus Unlock() override {
    if (held_ == Held::kNone) return IoStatus::Ok();
    OVERLAPPED ov = At(kLockOffset);
    if (!::UnlockFileEx(handle_, 0, 1, 0, &ov)) {
      DWORD err = ::GetLastError();
      if (err != ERROR_NOT_LOCKED) return FromError(err, "déverrouillage de", path_);
    }
    held_ = Held::kNone;
    return IoStatus::Ok();
  }

  // The aside lock is the byte after the main lock's.
  IoStatus LockAside(int timeout_ms) override {
    if (aside_) return IoStatus::Ok();
    if (read_only_) return ReadOnlyLock(path_);
    DWORD flags = LOCKFILE_EXCLUSIVE_LOCK | (timeout_ms < 0 ? 0 : LOCKFILE_FAIL_IMMEDIATELY);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    int pause_us = 50;
    for (;;) {
      OVERLAPPED ov = At(kLockOffset + 1);
      if (::LockFileEx(handle_, flags, 0, 1, 0, &ov)) {
        aside_ = true;
        return IoStatus::Ok();
      }
      DWORD err = ::GetLastError();
      if (timeout_ms < 0 || (err != ERROR_LOCK_VIOLATION && err != ERROR_IO_PENDING)) {
        return FromError(err, "verrouillage de", path_);
      }
      if (std::chrono::steady_clock::now() >= deadline) {
        return IoStatus{Code::kLocked, static_cast<int>(err), "fichier verrouillé : " + path_};
      }
      std::this_thread::sleep_for(std::chrono::microseconds(pause_us));
      pause_us = std::min(pause_us * 2, kMaxPauseUs);
    }
  }

  IoStatus UnlockAside() override {
    if (!aside_) return IoStatus::Ok();
    OVERLAPPED ov = At(kLockOffset + 1);
    if (!::UnlockFileEx(handle_, 0, 1, 0, &ov)) {
      DWORD err = ::GetLastError();
      if (err != ERROR_NOT_LOCKED) return FromError(err, "déverrouillage de", path_);
    }
    aside_ = false;
    return IoStatus::Ok();
  }

  IoStatus WaitAside() override {
    OVERLAPPED ov = At(kLockOffset + 1);
    if (!::LockFileEx(handle_, 0, 0, 1, 0, &ov)) return FromLastError("verrouillage de", path_);
    ov = At(kLockOffset + 1);
    if (!::UnlockFileEx(handle_, 0, 1, 0, &ov)) return FromLastError("déverrouillage de", path_);
    return IoStatus::Ok();
  }

  const std::string& Path() const override { return path_; }

 private:
  HANDLE handle_;
  std::string path_;
  bool read_only_;
  Held held_ = Held::kNone;
  bool aside_ = false;
};

// File attributes of path; false with *missing set when it does not exist.
IoStatus Attributes(const std::string& path, DWORD* attributes, bool* missing) {
  std::wstring wide;
  if (!ToWide(path, &wide)) return BadPath(path);
  *missing = false;
  *attributes = ::GetFileAttributesW(wide.c_str());
  if (*attributes != INVALID_FILE_ATTRIBUTES) return IoStatus::Ok();
  DWORD err = ::GetLastError();
  if (err == ERROR_FILE_NOT_FOUND || err == ERROR_PATH_NOT_FOUND || err == ERROR_INVALID_NAME ||
      err == ERROR_BAD_NETPATH || err == ERROR_INVALID_DRIVE) {
    *missing = true;
    return IoStatus::Ok();
  }
  return FromError(err, "accès à", path);
}

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

// Length of the part of path that names a root ("C:", "C:\", "\\server\share\", "\"), which
// is never created.
size_t RootLength(const std::string& path) {
  if (path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1])) {
    size_t server_end = path.find_first_of("/\\", 2);
    if (server_end == std::string::npos) return path.size();
    size_t share_end = path.find_first_of("/\\", server_end + 1);
    return share_end == std::string::npos ? path.size() : share_end + 1;
  }
  if (path.size() >= 2 && path[1] == ':') {
    return path.size() >= 3 && IsSeparator(path[2]) ? 3 : 2;
  }
  return !path.empty() && IsSeparator(path[0]) ? 1 : 0;
}

IoStatus CreateOneDirectory(const std::string& partial) {
  std::wstring wide;
  if (!ToWide(partial, &wide)) return BadPath(partial);
  if (::CreateDirectoryW(wide.c_str(), nullptr)) return IoStatus::Ok();
  DWORD err = ::GetLastError();
  if (err == ERROR_ALREADY_EXISTS) return IoStatus::Ok();
  // Some systems answer "access denied" for an existing folder (a drive root, for instance).
  if (err == ERROR_ACCESS_DENIED) {
    bool is_dir = false;
    if (IsDirectory(partial, &is_dir).ok() && is_dir) return IoStatus::Ok();
  }
  return FromError(err, "création du dossier", partial);
}

}  // namespace

std::wstring Large(std::string_view texte) {
  std::wstring large;
  ToWide(texte, &large, 0);
  return large;
}

std::string Etroit(std::wstring_view texte) { return ToUtf8(texte); }

IoStatus OpenFile(const std::string& path, OpenMode mode, std::unique_ptr<File>* out, Links links) {
  std::wstring wide;
  if (!ToWide(path, &wide)) return BadPath(path);
  DWORD access = GENERIC_READ | GENERIC_WRITE;
  DWORD disposition = OPEN_EXISTING;
  switch (mode) {
    case OpenMode::kRead:
      access = GENERIC_READ;
      break;
    case OpenMode::kReadWrite:
      break;
    case OpenMode::kCreate:
      disposition = OPEN_ALWAYS;
      break;
    case OpenMode::kCreateAlways:
      disposition = CREATE_ALWAYS;
      break;
  }
  // Refusing links, the reparse point itself is opened (not its target) and then refused.
  const DWORD flags =
      FILE_ATTRIBUTE_NORMAL | (links == Links::kRefuse ? FILE_FLAG_OPEN_REPARSE_POINT : DWORD{0});
  HANDLE handle =
      ::CreateFileW(wide.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, disposition, flags, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    DWORD err = ::GetLastError();
    bool is_dir = false;
    if (err == ERROR_ACCESS_DENIED && IsDirectory(path, &is_dir).ok() && is_dir) {
      return IoStatus{Code::kAccess, static_cast<int>(err),
                      "ouverture de " + path + " : c'est un dossier"};
    }
    return FromError(err, "ouverture de", path);
  }
  BY_HANDLE_FILE_INFORMATION info;
  if (links == Links::kRefuse && ::GetFileInformationByHandle(handle, &info) &&
      (info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    ::CloseHandle(handle);
    return IoStatus{Code::kAccess, 0, "ouverture de " + path + " : lien symbolique refusé"};
  }
  *out = std::make_unique<Win32File>(handle, path, mode == OpenMode::kRead);
  return IoStatus::Ok();
}

IoStatus FileExists(const std::string& path, bool* exists) {
  DWORD attributes = 0;
  bool missing = false;
  IoStatus st = Attributes(path, &attributes, &missing);
  if (!st.ok()) return st;
  *exists = !missing;
  return IoStatus::Ok();
}

IoStatus IsLink(const std::string& path, bool* link) {
  DWORD attributes = 0;
  bool missing = false;
  IoStatus st = Attributes(path, &attributes, &missing);
  if (!st.ok()) return st;
  *link = !missing && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  return IoStatus::Ok();
}

IoStatus IsDirectory(const std::string& path, bool* is_dir) {
  DWORD attributes = 0;
  bool missing = false;
  IoStatus st = Attributes(path, &attributes, &missing);
  if (!st.ok()) return st;
  *is_dir = !missing && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  return IoStatus::Ok();
}

IoStatus RemoveFile(const std::string& path) {
  std::wstring wide;
  if (!ToWide(path, &wide)) return BadPath(path);
  if (!::DeleteFileW(wide.c_str())) return FromLastError("suppression de", path);
  return IoStatus::Ok();
}

IoStatus RenameFile(const std::string& from, const std::string& to) {
  std::wstring wide_from, wide_to;
  if (!ToWide(from, &wide_from)) return BadPath(from);
  if (!ToWide(to, &wide_to)) return BadPath(to);
  if (!::MoveFileExW(wide_from.c_str(), wide_to.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    return FromLastError("renommage de", from + " en " + to);
  }
  return IoStatus::Ok();
}

IoStatus SyncDirectory(const std::string& path) {
  bool is_dir = false;
  IoStatus st = IsDirectory(path, &is_dir);
  if (!st.ok()) return st;
  if (!is_dir) {
    return IoStatus{Code::kNotFound, ERROR_PATH_NOT_FOUND,
                    "synchronisation du dossier " + path + " : dossier introuvable"};
  }
  return IoStatus::Ok();
}

IoStatus CreateDirectories(const std::string& path) {
  if (path.empty()) {
    return IoStatus{Code::kNotFound, ERROR_PATH_NOT_FOUND, "création du dossier : nom vide"};
  }
  size_t pos = RootLength(path);
  while (pos < path.size()) {
    size_t end = path.find_first_of("/\\", pos);
    if (end == std::string::npos) end = path.size();
    if (end > pos) {
      IoStatus st = CreateOneDirectory(path.substr(0, end));
      if (!st.ok()) return st;
    }
    pos = end + 1;
  }
  bool is_dir = false;
  IoStatus st = IsDirectory(path, &is_dir);
  if (!st.ok()) return st;
  if (!is_dir) {
    return IoStatus{Code::kExists, ERROR_ALREADY_EXISTS,
                    "création du dossier " + path + " : un fichier porte ce nom"};
  }
  return IoStatus::Ok();
}

IoStatus ListDirectory(const std::string& path, std::vector<std::string>* names) {
  names->clear();
  std::wstring pattern;
  if (!ToWide(JoinPath(path, "*"), &pattern)) return BadPath(path);
  WIN32_FIND_DATAW data;
  HANDLE find = ::FindFirstFileW(pattern.c_str(), &data);
  if (find == INVALID_HANDLE_VALUE) {
    DWORD err = ::GetLastError();
    bool is_dir = false;
    // An empty drive root has no entry at all, not even "." and "..".
    if (err == ERROR_FILE_NOT_FOUND && IsDirectory(path, &is_dir).ok() && is_dir) {
      return IoStatus::Ok();
    }
    return FromError(err == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : err, "lecture du dossier",
                     path);
  }
  do {
    std::string name = ToUtf8(data.cFileName);
    if (name != "." && name != "..") names->push_back(std::move(name));
  } while (::FindNextFileW(find, &data));
  DWORD err = ::GetLastError();
  ::FindClose(find);
  if (err != ERROR_NO_MORE_FILES) {
    names->clear();
    return FromError(err, "lecture du dossier", path);
  }
  std::sort(names->begin(), names->end());
  return IoStatus::Ok();
}

std::string JoinPath(std::string_view dir, std::string_view name) {
  std::string path(dir);
  if (!path.empty() && !IsSeparator(path.back()) && !(path.size() == 2 && path[1] == ':')) {
    path += '\\';
  }
  path += name;
  return path;
}

DateHeure Maintenant() {
  SYSTEMTIME now;
  ::GetLocalTime(&now);
  return DateHeure{now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond};
}

// Large pages need a privilege that programs do not hold: plain committed memory, which
// VirtualAlloc aligns on 64 KiB; the span is reserved larger and the aligned part committed.
MemoireCache::MemoireCache(size_t size, bool grandes_pages) {
  (void)grandes_pages;  // large pages need a privilege programs do not hold
  const size_t span = size + kAlignementMemoireCache;
  void* p = ::VirtualAlloc(nullptr, span, MEM_RESERVE, PAGE_NOACCESS);
  if (p == nullptr) return;
  auto base = reinterpret_cast<uintptr_t>(p);
  uintptr_t start = (base + kAlignementMemoireCache - 1) & ~(kAlignementMemoireCache - 1);
  if (::VirtualAlloc(reinterpret_cast<void*>(start), size, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
    ::VirtualFree(p, 0, MEM_RELEASE);
    return;
  }
  reserve_ = p;
  data_ = reinterpret_cast<char*>(start);
  size_ = size;
}

void MemoireCache::PasseEnGrandesPages() {}

MemoireCache::~MemoireCache() {
  if (reserve_ != nullptr) ::VirtualFree(reserve_, 0, MEM_RELEASE);
}

// No thread here: the block is made when asked.
struct MemoireAvance::Impl {};
MemoireAvance::MemoireAvance() = default;
MemoireAvance::~MemoireAvance() = default;
void MemoireAvance::Prepare(size_t, bool, std::vector<MemoireCache*>) {}
std::unique_ptr<MemoireCache> MemoireAvance::Prends(size_t size, bool grandes_pages) {
  return std::make_unique<MemoireCache>(size, grandes_pages);
}

uint64_t HorlogeNs() {
  static const uint64_t frequency = [] {
    LARGE_INTEGER f;
    ::QueryPerformanceFrequency(&f);
    return static_cast<uint64_t>(f.QuadPart);
  }();
  LARGE_INTEGER counter;
  ::QueryPerformanceCounter(&counter);
  uint64_t ticks = static_cast<uint64_t>(counter.QuadPart);
  // Split so that the multiplication never overflows.
  return ticks / frequency * 1000000000u + ticks % frequency * 1000000000u / frequency;
}

namespace {

bool EstConsole(DWORD flux) {
  HANDLE out = ::GetStdHandle(flux);
  DWORD mode = 0;
  return out != nullptr && out != INVALID_HANDLE_VALUE && ::GetFileType(out) == FILE_TYPE_CHAR &&
         ::GetConsoleMode(out, &mode);
}

}  // namespace

bool SortieEstTerminal() { return EstConsole(STD_OUTPUT_HANDLE); }

bool ErreursEstTerminal() { return EstConsole(STD_ERROR_HANDLE); }

void ConsoleUtf8() {
  ::SetConsoleOutputCP(CP_UTF8);
  ::SetConsoleCP(CP_UTF8);
}

std::string Environnement(const char* name) {
  std::wstring wide_name;
  if (name == nullptr || !ToWide(name, &wide_name) || wide_name.empty()) return std::string();
  std::wstring value(64, L'\0');
  for (;;) {
    DWORD n = ::GetEnvironmentVariableW(wide_name.c_str(), value.data(),
                                        static_cast<DWORD>(value.size()));
    if (n == 0) return std::string();  // unset (or set to nothing)
    if (n < value.size()) {
      value.resize(n);
      return ToUtf8(value);
    }
    value.resize(n);  // n counts the final zero when the buffer was too small
  }
}

// Fiber-local storage, not thread_local: its callback runs at thread exit with the value
// itself, whatever the state of the C runtime's own thread storage.
struct CleThread::Etat {
  DWORD cle;
  Destructeur detruit;
};

namespace {

// What a slot holds: the value and how to destroy it.
struct Case {
  void* valeur;
  CleThread::Destructeur detruit;
};

void NTAPI FinDeThread(void* donnee) {
  if (donnee == nullptr) return;
  std::unique_ptr<Case> c(static_cast<Case*>(donnee));
  if (c->valeur != nullptr) c->detruit(c->valeur);
}

}  // namespace

CleThread::CleThread(Destructeur detruit) : etat_(std::make_unique<Etat>()) {
  etat_->detruit = detruit;
  etat_->cle = ::FlsAlloc(&FinDeThread);
  if (etat_->cle == FLS_OUT_OF_INDEXES) {
    std::fprintf(stderr, "vesk : plus de clé de thread disponible\n");
    std::abort();
  }
}

// FlsFree runs the callback of every thread's value.
CleThread::~CleThread() { ::FlsFree(etat_->cle); }

void* CleThread::Valeur() const {
  auto* c = static_cast<Case*>(::FlsGetValue(etat_->cle));
  return c == nullptr ? nullptr : c->valeur;
}

void CleThread::Affecte(void* valeur) {
  auto* c = static_cast<Case*>(::FlsGetValue(etat_->cle));
  if (c == nullptr) {
    if (valeur == nullptr) return;
    auto nouvelle = std::make_unique<Case>(Case{valeur, etat_->detruit});
    if (!::FlsSetValue(etat_->cle, nouvelle.get())) {
      std::fprintf(stderr, "vesk : mémoire de thread épuisée\n");
      std::abort();
    }
    nouvelle.release();
    return;
  }
  void* ancien = c->valeur;
  if (ancien == valeur) return;
  c->valeur = valeur;
  if (ancien != nullptr) etat_->detruit(ancien);
}

}  // namespace vesk::platform
