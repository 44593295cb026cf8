// The platform layer: files, byte-range locks, folders, clock and console, behind one interface
// with a POSIX back end (platform_posix.cpp) and a Win32 one (platform_win32.cpp).
// Paths are UTF-8 everywhere; the Win32 back end converts them to UTF-16.
// Thread rules: a File object is used by one thread at a time; the free functions are
// thread-safe.
#ifndef VESK_PLATFORM_PLATFORM_H_
#define VESK_PLATFORM_PLATFORM_H_

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::platform {

// What went wrong in a platform call. kOk means success.
enum class Code { kOk, kNotFound, kExists, kAccess, kNoSpace, kLocked, kIoError };

// Result of a platform call: a code, the system's error number (errno or GetLastError) and a
// message naming the operation and the path.
struct IoStatus {
  Code code = Code::kOk;
  int system_error = 0;
  std::string message;

  bool ok() const { return code == Code::kOk; }
  static IoStatus Ok() { return {}; }
};

enum class OpenMode {
  kRead,          // existing file, read only
  kReadWrite,     // existing file, read and write
  kCreate,        // read and write, created empty when absent
  kCreateAlways,  // read and write, created or truncated to zero length
};

enum class LockKind { kShared, kExclusive };

// An open file. Reads and writes are positional; nothing is buffered by this layer.
class File {
 public:
  virtual ~File() = default;

  // Reads up to out.size() bytes at offset; *read receives the count (less at end of file).
  virtual IoStatus ReadAt(uint64_t offset, std::span<char> out, size_t* read) = 0;
  // Writes every byte of data at offset, growing the file as needed.
  virtual IoStatus WriteAt(uint64_t offset, std::span<const char> data) = 0;
  // Writes the pieces one after the other from offset, as WriteAt would their concatenation:
  // one system call where the system gathers them (pwritev), one WriteAt of a copy otherwise.
  virtual IoStatus WriteAtV(uint64_t offset, std::span<const std::span<const char>> pieces) {
    if (pieces.size() == 1) return WriteAt(offset, pieces.front());
    std::string joined;
    for (const auto& piece : pieces) joined.append(piece.data(), piece.size());
    return WriteAt(offset, joined);
  }
  // Forces written data to stable storage (fdatasync / FlushFileBuffers).
  virtual IoStatus Sync() = 0;
  virtual IoStatus Size(uint64_t* size) = 0;
  virtual IoStatus Truncate(uint64_t size) = 0;
  // Locks the file, waiting up to timeout_ms (0: try once); kLocked when it timed out.
  // Locks belong to this open file, not to the process (two File objects of one process on the
  // same path exclude each other). They are advisory: they never hinder reads and writes.
  // Taking the other kind while holding one converts it (not atomically on Windows).
  virtual IoStatus Lock(LockKind kind, int timeout_ms) = 0;
  virtual IoStatus Unlock() = 0;
  // A second lock of the file, exclusive and independent of the first (neither hinders the
  // other), for a short step that users take in turn beside it. timeout_ms < 0 waits as long as
  // it takes, woken by the system when the lock is released. Files in memory have no locks.
  virtual IoStatus LockAside(int timeout_ms) {
    (void)timeout_ms;
    return IoStatus::Ok();
  }
  virtual IoStatus UnlockAside() { return IoStatus::Ok(); }
  // Waits in the system until no other user holds the aside lock, taking it shared for a moment
  // and letting go: waiters this way do not exclude each other, so all of them are woken
  // together when the holder lets go. Not while this object holds the aside lock.
  virtual IoStatus WaitAside() { return IoStatus::Ok(); }
  virtual const std::string& Path() const = 0;
};

// Whether an opening follows a symbolic link named by the path's last part. kRefuse opens the
// path only when it is not a link (O_NOFOLLOW; on Windows, not a reparse point): what is written
// then never lands where a link points, and a dangling link is never created through.
enum class Links { kFollow, kRefuse };

IoStatus OpenFile(const std::string& path, OpenMode mode, std::unique_ptr<File>* out,
                  Links links = Links::kFollow);
IoStatus FileExists(const std::string& path, bool* exists);
IoStatus IsDirectory(const std::string& path, bool* is_dir);
// Whether path itself is a symbolic link (or, on Windows, a reparse point such as a junction);
// false when it does not exist.
IoStatus IsLink(const std::string& path, bool* link);
IoStatus RemoveFile(const std::string& path);
// Renames from to to, replacing to atomically when it exists.
IoStatus RenameFile(const std::string& from, const std::string& to);
// Makes the creations, renames and removals of entries in a folder durable (fsync of the folder
// on POSIX; nothing to do on Windows, where renames are written through).
IoStatus SyncDirectory(const std::string& path);
// Creates the folder (and its parents); success when it already exists.
IoStatus CreateDirectories(const std::string& path);
// Names (not paths) of the entries of a folder, sorted.
IoStatus ListDirectory(const std::string& path, std::vector<std::string>* names);
// Joins a folder and a name with the platform's separator.
std::string JoinPath(std::string_view dir, std::string_view name);

// Memory for a cache read at random: a block of size bytes whose start is aligned on
// kAlignementMemoireCache, zero-filled, given back when the object goes. With grandes_pages the
// system is asked to back it with large pages where it does so without privileges (Linux
// transparent huge pages), which spares the processor most address-translation misses;
// otherwise, and elsewhere (Windows), it is plain memory. data() is null when the memory cannot
// be had. One owner, any thread.
inline constexpr size_t kAlignementMemoireCache = size_t{2} << 20;
class MemoireCache {
 public:
  explicit MemoireCache(size_t size, bool grandes_pages = true);
  ~MemoireCache();
  MemoireCache(const MemoireCache&) = delete;
  MemoireCache& operator=(const MemoireCache&) = delete;
  char* data() const { return data_; }
  size_t size() const { return size_; }
  // Asks, from now on, for large pages behind memory taken without them: its bytes are moved
  // into large pages at once where the system can (Linux 6.1 and later), a hint otherwise.
  // Safe while another thread reads and writes the bytes (they stay as they are).
  void PasseEnGrandesPages();

 private:
  void* reserve_ = nullptr;  // what goes back to the system
  char* data_ = nullptr;
  size_t size_ = 0;
};

// The next block of a growing cache, made ahead on another thread (Linux): the system zeroes
// fresh memory at its first touch, and a virtual machine's host backs it then too, which costs
// a cache filled at speed a good part of its time; made ahead, that happens while the cache
// fills the block before. Elsewhere (Windows) Prends makes the block when asked. A preparation
// under way belongs to this object: its destructor waits for it. One owner, one thread at a
// time; not carried across fork().
class MemoireAvance {
 public:
  MemoireAvance();
  ~MemoireAvance();
  MemoireAvance(const MemoireAvance&) = delete;
  MemoireAvance& operator=(const MemoireAvance&) = delete;
  // Starts making a block of size bytes, each of its pages touched, after moving the blocks of
  // a_passer into large pages (they must outlive the preparation). Called when none is under
  // way or ready: after Prends, or first.
  void Prepare(size_t size, bool grandes_pages, std::vector<MemoireCache*> a_passer = {});
  // A block of size bytes: the one prepared, once ready, when it was asked with the same size
  // and pages, else one made now. data() is null when the memory cannot be had.
  std::unique_ptr<MemoireCache> Prends(size_t size, bool grandes_pages);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Local calendar time, to the second.
struct DateHeure {
  int annee, mois, jour, heure, minute, seconde;
};
DateHeure Maintenant();
// Monotonic clock in nanoseconds, for timeouts and measures.
uint64_t HorlogeNs();

// Console: whether standard output is a terminal; switches the console to UTF-8 where that
// needs doing (Windows), idempotent.
bool SortieEstTerminal();
// Whether standard error is a terminal (a progress bar is drawn there only then).
bool ErreursEstTerminal();
void ConsoleUtf8();

// Value of an environment variable (UTF-8), empty when unset.
std::string Environnement(const char* name);

#ifdef _WIN32
// UTF-8 to UTF-16 (Windows' wide strings) and back; invalid UTF-8 bytes become U+FFFD.
std::wstring Large(std::string_view texte);
std::string Etroit(std::wstring_view texte);
#endif

// One pointer per thread, whose value is destroyed by `detruit` when its thread ends (or when
// the key itself goes, for the thread that destroys the key). Use ParThread<T> below rather
// than a thread_local object with a destructor: with mingw-w64's emulated TLS such an object is
// destroyed after its storage has been freed. Thread-safe; keep the key for the program's life.
class CleThread {
 public:
  using Destructeur = void (*)(void*);
  explicit CleThread(Destructeur detruit);
  ~CleThread();
  CleThread(const CleThread&) = delete;
  CleThread& operator=(const CleThread&) = delete;

  // Value of the calling thread (null at first).
  void* Valeur() const;
  // Replaces the calling thread's value; the old one is destroyed.
  void Affecte(void* valeur);

 private:
  struct Etat;
  std::unique_ptr<Etat> etat_;
};

// One T per thread, destroyed when its thread ends.
//   static platform::ParThread<Etat> etat;  ...  etat.Pointeur(), etat.Remplace(...)
template <typename T>
class ParThread {
 public:
  ParThread() : cle_(&Detruit) {}
  // The calling thread's object, null when it has none.
  T* Pointeur() const { return static_cast<T*>(cle_.Valeur()); }
  // Gives the calling thread a new object (null: none); its old one is destroyed.
  void Remplace(std::unique_ptr<T> objet) { cle_.Affecte(objet.release()); }

 private:
  static void Detruit(void* objet) { std::unique_ptr<T> fin(static_cast<T*>(objet)); }
  CleThread cle_;
};

}  // namespace vesk::platform

#endif  // VESK_PLATFORM_PLATFORM_H_
