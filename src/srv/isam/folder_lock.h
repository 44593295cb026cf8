// FolderLock: the lock file of a data folder (VESK.LCK at its root). Readers of the folder take
// it shared and a writer exclusive, for the time of one operation (or one batch). The file also
// holds the folder's state word: a commit counter that moves with every commit (so that other
// users know their caches are stale), a flag raised while a commit writes the redo log (so that
// the next user knows a writer died in the middle and replays the redo log), where the redo log
// ends and how far the files hold its commits; and, apart, how far the redo log is known to be
// durable, with the lock that the users who sync it take in turn.
// Thread rules: one thread at a time; two FolderLock objects exclude each other even in one
// process.
#ifndef VESK_SRV_ISAM_FOLDER_LOCK_H_
#define VESK_SRV_ISAM_FOLDER_LOCK_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "srv/isam/env.h"
#include "srv/isam/status.h"

namespace vesk::isam {

inline constexpr std::string_view kLockName = "VESK.LCK";

class FolderLock {
 public:
  enum class Held { kNone, kShared, kExclusive };
  struct State {
    uint64_t counter = 0;  // commits made in the folder (since the lock file was created)
    bool writing = false;  // a commit is writing the redo log and the files
    // Where the redo log's last complete transaction ends and the nonce of its records (0: the
    // redo log starts again at its header); only meaningful while writing is false.
    uint64_t redo_log_end = 0;
    uint64_t redo_log_nonce = 0;
    // A set of files is being replaced (replace_set.h): raised before the replacement record is
    // written, lowered once it is gone, so that the next user finishes or undoes it first.
    bool replacing = false;
    // Sets of files replaced in the folder: a user whose count is behind reopens its files.
    uint64_t replacements = 0;
    // The key of the replacement record (replace_set.h): drawn when a replacement begins, so
    // that only a record this folder's rebuild wrote is ever followed.
    uint64_t replace_nonce = 0;
    // The redo log holds a transaction committed with synchronisation full (its files' writes
    // not synced): the redo log may be emptied only by a synchronised checkpoint.
    bool durable = false;
    // A checkpoint without synchronisation emptied the redo log: files hold writes that are not
    // synced, which a commit with synchronisation full must not rest on (it syncs them first).
    bool unsynced = false;
    // Where the first commit not yet written to the files begins in the redo log: the commits
    // from there to redo_log_end are pending (redo_log.h). Equal to redo_log_end when none is.
    uint64_t applied = 0;
    bool Pending() const { return applied != redo_log_end; }
  };
  // The sync word: the redo log of this nonce is durable up to end (a transaction ending there
  // or before is). Written under the sync lock only; read at any time (a torn or absent word
  // reads as nothing synced).
  struct Synced {
    uint64_t nonce = 0;
    uint64_t end = 0;
    bool Covers(uint64_t n, uint64_t e) const { return nonce == n && end >= e && n != 0; }
  };

  // Opens (creating) the lock file of dossier. A folder the user may not write (its modes, a
  // read-only mount) gives a lock for readers only: its file opened for reading (a shared lock
  // takes nothing but read access), or none when it does not exist (no writer ever used the
  // folder); taking it exclusive, or writing the state word, is refused naming the folder.
  static Status Open(Env* env, const std::string& dossier, std::unique_ptr<FolderLock>* out);
  // True for a lock of a folder that cannot be written (see Open).
  bool LectureSeule() const { return !lecture_seule_.empty(); }
  // The refusal of what would write into such a folder.
  Status RefusEcriture() const;

  // Takes the lock (converting the one held), waiting up to timeout_ms; Locked naming the
  // folder when it is still taken by another user.
  Status Lock(Held kind, int timeout_ms);
  Status Unlock();
  Held held() const { return held_; }

  // The state word; an absent or short one reads as zeros (and applied as redo_log_end).
  Status Read(State* state);
  // Write also checksums the word, so that Peek can tell it was read whole.
  Status Write(const State& state);
  // The state word read without holding the lock (the leader of a grouped sync, which never
  // waits for the lock): *whole is false for a word torn by a writer at that moment, or written
  // by an engine that did not checksum it; the state is then to be ignored.
  Status Peek(State* state, bool* whole);
  // Forces the state word to stable storage (before a replacement record names its key).
  Status Sync();

  // The sync lock, beside the main lock and independent of it: exclusive, waited for without a
  // time limit (it is held for one sync of the redo log at most). Never wait for the main lock
  // while holding it.
  Status LockSync();
  // Takes the sync lock if no other user holds it (*taken), without waiting.
  Status TryLockSync(bool* taken);
  // Waits until no other user holds the sync lock: every user waiting so is woken at once when
  // its holder lets go (platform::File::WaitAside). Takes nothing.
  Status WaitSync();
  Status UnlockSync();
  Status ReadSynced(Synced* synced);
  Status WriteSynced(const Synced& synced);

 private:
  FolderLock(std::string dossier, std::unique_ptr<platform::File> file, std::string lecture_seule)
      : dossier_(std::move(dossier)),
        file_(std::move(file)),
        lecture_seule_(std::move(lecture_seule)) {}

  std::string dossier_;
  std::unique_ptr<platform::File> file_;  // null: a read-only folder without lock file
  std::string lecture_seule_;             // why the folder cannot be written ("" when it can)
  Held held_ = Held::kNone;
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_FOLDER_LOCK_H_
