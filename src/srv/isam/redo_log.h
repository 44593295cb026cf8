// RedoLog: the redo log of one data folder (VESK.JNL at its root). It makes every modifying
// operation all-or-nothing across all the files it touches, and groups the operations of a batch
// into one commit. It owns the redo log file and the originals kept to undo an operation of a
// batch; the pagers it watches belong to their data files and B-trees. Thread rules: one thread
// at a time (the folder's DossierDonnees), under the folder's exclusive lock while a
// transaction is open or the redo log is written.
//
// A commit appends the new bytes of every block it changed, each file's new size and a commit
// record to the redo log. A direct commit (synchronisation off, a large batch) then syncs the
// redo log (the commit point; not with off) and writes the blocks to the files without syncing
// them; so does a commit with full of a user that saw no other user commit during its last
// few commits. A grouped commit (synchronisation full, a small transaction, other users committing
// too) leaves them pending: the lock is released, and one sync of the redo log, made by
// whichever waiting user takes the sync lock first, makes durable every transaction appended
// before it began (the folder's sync word says how far); the pending blocks reach the files
// later, written by their own user or under the exclusive lock of any user.
// Meanwhile every user sees them through the redo log (PendingEnv). The files are synced only
// by a checkpoint, which then empties the redo log: at a size threshold (the redo log starts
// again under a new header, its bytes kept to be overwritten), when the folder is closed (cut to
// 0), and by recovery (cut to 0). Where the redo log ends, how far its transactions are in the
// files (`applied`), and the nonce of its records, live in the folder's state word.
//
// Invariants
//   I1. Nothing reaches a file while a transaction is open: changed blocks stay in the pagers'
//       caches until Commit. Before Commit the files hold the state of the last commit (or,
//       after a crash, a state that the redo log's complete transactions bring to it).
//   I2. A transaction's blocks reach its files only after its commit record is in the redo log
//       (synced, with synchronisation full; written, with synchronisation off: enough against a
//       killed process, whose written bytes the system keeps). Pending transactions reach their
//       files in the redo log's order, and only those the sync word covers; a user writes its
//       own from the blocks it kept (WriteKept) only while `applied` stands at its start.
//   I3. A transaction counts when its records and its commit record, which counts them and
//       gives the offset where they begin, all carry valid checksums (seeded with the redo log's
//       nonce plus the record's offset, so that no record counts elsewhere or in another
//       redo log). Reading stops at the first record that does not check.
//   I4. Every block a file received since the redo log was last emptied is in the redo log, with
//       its latest bytes in the last transaction that holds it: replaying the redo log's
//       transactions in order (redo) is idempotent and leaves every file at the last commit.
//   I5. The redo log is emptied only after every file its transactions name is synced, or,
//       when every commit it holds was made without synchronisation, with those files named
//       again by the redo log's first transaction (F records alone) for a later sync.
//   I6. A transaction is appended at the redo log's end, which is always the end of its last
//       complete transaction: a failed append is cut off at once (its first record zeroed),
//       and a crash leaves the `writing` flag of the folder's state raised (it is raised before
//       the redo log is written), so that the next user replays and empties the redo log before
//       anyone appends.
//   I7. No byte past the end counts: it is a zero of the file's growth, a record of an earlier
//       nonce (the redo log started again since), or the remains of a cut-off transaction, whose
//       commit record names a first offset where no transaction begins any more.
//   I8. A commit with synchronisation full is reported only once a sync of the redo log that
//       began after its commit record was written has ended (its own, or another user's that
//       the sync word records with an end at or past its own). The sync word is moved only
//       after such a sync, under the sync lock, and never past the end the state word gave
//       before the sync began. The sync lock is never held while the main lock is waited for.
//
// States and transitions
//
// clang-format off
//
//   IDLE ── Capture (first change of a block) ──▶ OPEN ──┐ EndOperation: OPEN again
//    ▲ ▲                                           │ ◀───┘ (between a batch's operations)
//    │ └── RollbackOperation (whole transaction) ──┤
//    │                                             │ Append: flag raised, records appended,
//    │                                             ▼         commit record (no sync)
//    │                                         APPENDED ── a failure, or a failed sync of a
//    │                          LeavePending ┌─────┤       direct commit: cut off ──▶ IDLE
//    │                                       ▼     │ SyncAppended (full) or none (off)
//    │  PENDING: lock released, flag lowered;      ▼
//    │  the user waits for a sync (its own   COMMITTED
//    │  or another's: AttendDurable), then it      │ blocks written to the files (no sync),
//    │  writes its kept blocks (WriteKept) or ───▶ │ pending ones before them (ApplyPending)
//    │  any exclusive locker reads it back
//    ├──────────────────────────────────────── WRITTEN ── a failure ──▶ HOT
//    │                                             │ Checkpoint (threshold, close): pending
//    │                                             ▼ ones synced and written, files synced,
//    ├──────────────────────────────────────── CLEAN  redo log emptied and synced
//    │
//    │   HOT: a complete transaction in the redo log, its files maybe half written; also a
//    │     │  failed sync of pending transactions (the flag raised again)
//    │     │ Recover (the next locker, at once, or the first use of the folder)
//    │     ▼
//    └── REPLAYED: complete transactions written again, files synced, redo log emptied, synced
//
// clang-format on
//
// A redo log of version 1 or 2 (a rollback log of an earlier engine) found by Recover is
// rolled back or dropped as that engine would have; the next commit writes version 3.
// Syncs per commit with synchronisation full: at most 1 (the redo log; fewer when several
// processes commit at once), plus the checkpoints' syncs (one per file changed and one for the
// redo log) once per threshold.
#ifndef VESK_SRV_ISAM_REDO_LOG_H_
#define VESK_SRV_ISAM_REDO_LOG_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "srv/isam/env.h"
#include "srv/isam/pager.h"
#include "srv/isam/status.h"

namespace vesk::isam {

inline constexpr std::string_view kRedoLogName = "VESK.JNL";

// A 64-bit checksum of bytes, seeded: fast (8 bytes a step), for the redo log's records.
uint64_t Hash64(std::span<const char> bytes, uint64_t seed);
// Hash64 of the bytes of head followed by those of tail, without joining them when head's size
// is a multiple of 8 (a record's framing), joined otherwise.
uint64_t Hash64(std::span<const char> head, std::span<const char> tail, uint64_t seed);

// Whether path names a file inside the folder dossier (given without a final separator): it
// begins with the folder's path and a separator.
bool InsideFolder(std::string_view dossier, std::string_view path);

// Whether a path recorded in a redo log stays inside the data folder: not empty, relative (no
// leading separator, no drive letter or ":" anywhere), and without "..". Recovery also refuses
// a path one of whose parts is a symbolic link, which could lead out of the folder.
bool SafeRelative(std::string_view path);

class RedoLog {
 public:
  // dossier: the folder whose files are journaled (paths are kept relative to it).
  RedoLog(Env* env, std::string dossier);
  ~RedoLog();
  RedoLog(const RedoLog&) = delete;
  RedoLog& operator=(const RedoLog&) = delete;

  // A file the redo log protects: its pager, what completes its lazily written bytes before a
  // commit (a header), and what rereads its in-memory state after its blocks were put back.
  // mark saves the file's in-memory state at the start of each operation and undo puts it back
  // when the operation is undone (both optional): the lazy bytes are completed only at commit.
  struct Watched {
    Pager* pager = nullptr;
    std::function<Status()> prepare;
    std::function<Status()> reload;
    std::function<void()> mark;
    std::function<void()> undo;
  };
  // Installs the change hook of w.pager. The pager must stay alive while the redo log is.
  void Watch(Watched w);

  // Inside a batch each operation also keeps its own original bytes (in memory), so that a
  // failed operation can be undone alone.
  void SetBatch(bool batch) { batch_ = batch; }
  // Whether the current transaction changed anything yet.
  bool Open() const { return !txn_entries_.empty(); }
  // An operation begins: each file marks its in-memory state.
  void BeginOperation();
  // The operation ended well: starts a new change epoch for the next operation (the files'
  // lazy bytes are completed at commit).
  Status EndOperation();
  // The operation failed: its changes are undone in the caches (in a batch, those of the
  // operation only; otherwise of the whole transaction), the files' state reread.
  Status RollbackOperation();
  // Where the redo log's last complete transaction ends and the nonce its records carry, as the
  // folder's state word keeps them from one commit to the next (end 0: the redo log starts
  // again, under a new header).
  struct Fin {
    uint64_t end = 0;
    uint64_t nonce = 0;
  };
  // Appends the open transaction at fin (a fin that does not match the redo log's header starts
  // the redo log again), its commit record included, without syncing it; End() then gives where
  // it ends. before_redo_log runs before the redo log is written (it raises the folder's
  // `writing` flag). On a failure the transaction is cut off the redo log (Abandon then forgets
  // it). One of three steps follows: SyncAppended (then WriteFiles), WriteFiles without a sync
  // (synchronisation off), or LeavePending.
  Status Append(Fin fin, const std::function<Status()>& before_redo_log);
  // Syncs the redo log after Append: the transaction is durable. On a failure it is cut off the
  // redo log (Abandon then forgets it); the files never saw it.
  Status SyncAppended();
  // Writes the appended transaction's blocks to its files (not synced) and ends it. A failure
  // leaves the redo log hot: Recover must run before the files are read again.
  Status WriteFiles();
  // Ends the appended transaction without writing its files: it is pending (see the folder's
  // state word), its blocks clean in the caches (Pager::MarkCommitted); ApplyPending writes it
  // once the redo log is durable past it. With keep, its blocks are also kept in memory until
  // WriteKept or DropKept, so that its own user may write it without reading the redo log.
  void LeavePending(bool keep = false);
  // Writes to their files the blocks LeavePending kept, then forgets them: only once the redo
  // log is durable past the transaction, and while the files hold every transaction before it
  // and none after (the folder's state word says so, under the exclusive lock). A failure
  // leaves the files to be written again from the redo log (the transaction stays pending).
  Status WriteKept();
  void DropKept() { kept_.clear(); }
  bool Keeps() const { return !kept_.empty(); }
  // Forgets the open transaction after a failed commit: the caches drop every change (the
  // files are brought to the last commit by Recover).
  void Abandon();
  // Syncs the redo log file: every transaction appended before, by any user, is durable. Not
  // tried again after a failure (the system may have dropped the unwritten pages): the failure
  // stays until the folder is recovered.
  Status SyncLog();
  // Writes to their files, in order and without syncing them, the complete transactions of the
  // redo log (nonce) from offset from up to offset to (both where a transaction begins or ends).
  // Corruption when they do not all read back whole.
  Status ApplyPending(uint64_t nonce, uint64_t from, uint64_t to);
  // The bytes those transactions give each file, latest last: visit is called for each block
  // (file relative to the folder, block size, block number, bytes from its start up to the
  // file's new end) and size for each file's size after them.
  struct PendingVisit {
    std::function<void(const std::string& file, uint32_t block_size, uint64_t block_no,
                       std::string_view bytes)>
        block;
    std::function<void(const std::string& file, uint64_t size)> size;
  };
  Status ReadPending(uint64_t nonce, uint64_t from, uint64_t to, const PendingVisit& visit);
  // The paths of the files the open transaction changed (blocks and lazy bytes completed: the
  // headers of the files it changed are among them).
  Status TransactionPaths(std::vector<std::string>* paths);
  // Writes the open transaction beside its files instead of committing it: for each file F it
  // changed, aside(F) receives F's bytes as they are on disk, then the transaction's blocks, and
  // takes its new size; each is synced. The transaction stays open (Abandon then forgets it).
  // For a replacement of files (replace_set.h) that carries a batch with it: the files must
  // hold the last commit (a checkpoint made since it).
  Status WriteAside(const std::function<std::string(const std::string& path)>& aside);
  // Where the last commit or checkpoint left the redo log's end; Size: its bytes in use.
  Fin End() const { return {at_, nonce_}; }
  // Where the transaction appended last begins.
  uint64_t AppendedAt() const { return txn_start_; }
  uint64_t Size() const { return at_; }
  // Counters for tests and benchmarks: syncs of the redo log and of the checkpoints made here.
  uint64_t syncs() const { return syncs_; }

  // Looks at the redo log of dossier: the complete transactions of a redo log are written
  // again to their files, an old rollback log is rolled back when it must (see above); the
  // files are synced and the redo log emptied. *changed tells whether any file may have changed.
  // The caller holds the folder's exclusive lock.
  static Status Recover(Env* env, const std::string& dossier, bool* changed);
  // Syncs every file the redo log's transactions name, then empties the redo log (the files
  // already hold every commit: no writer died since): keep true starts it again under a new
  // header, its bytes kept for the next commits to overwrite (a sync that changes no file size
  // costs less); keep false cuts it to 0. Under the folder's exclusive lock.
  // With sync false (synchronisation off; keep true), nothing is synced: the redo log starts
  // again with a transaction that only names those files, whose writes the next synchronised
  // checkpoint or recovery syncs. It must not drop a transaction committed with
  // synchronisation full whose files are not synced (the folder's state word says when).
  // fin, when given, is the redo log's end as the folder's state word has it: when it is where
  // this redo log's last commit left it, every transaction since the redo log started is this
  // redo log's, and the files it named are synced (or named) without reading the redo log back.
  Status Checkpoint(bool keep, bool sync = true, const Fin* fin = nullptr);

 private:
  struct Entry;
  struct OpSaved;
  // The file of e joins the operation and the transaction.
  void Join(Entry* e);
  Status Capture(Entry* e, uint64_t block_no, uint32_t from, std::span<const char> original);
  Status CaptureShift(Entry* e, uint64_t block_no, uint32_t from, uint32_t to, int32_t by,
                      std::span<const char> covered);
  Status RollbackBatchOperation();
  // The one end of an operation's bookkeeping (ended, undone alone, or undone with its
  // transaction): its files leave it and its saved originals go.
  void ForgetOperation();
  Status PrepareFiles();
  Status OpenFile();
  Status OpenLog(Fin fin);
  void AddRecord(char type, std::string_view head, std::span<const char> tail = {});
  // A block's record, whose bytes are written from the block itself: they stay where they are
  // until WritePending.
  void AddBlockRecord(std::string_view head, std::span<const char> block);
  // The bytes gathered for the redo log file: pending_'s and the blocks'.
  uint64_t Gathered() const { return pending_.size() + outside_; }
  void ClearGathered();
  Status WritePending();
  Status AppendTransaction(Fin fin);
  // The redo log file and its size, its header checked to carry nonce.
  Status OpenForReading(uint64_t nonce, uint64_t* size);
  Status CutOff(const Status& failure);
  void Forget();
  std::string Relative(const std::string& path) const;

  Env* env_;
  std::string dossier_;
  std::string path_;
  std::unique_ptr<platform::File> file_;
  bool batch_ = false;
  std::vector<std::unique_ptr<Entry>> entries_;
  std::vector<Entry*> txn_entries_;  // touched in the transaction
  std::vector<Entry*> op_entries_;   // touched in the operation
  // The transaction's records, gathered in pending_ and written at at_ (where the redo log's
  // last complete transaction ends) from txn_start_ on.
  uint64_t nonce_ = 0;
  uint32_t records_ = 0;
  uint64_t base_ = 0;  // the redo log's end before the transaction
  uint64_t txn_start_ = 0;
  uint64_t at_ = 0;
  uint64_t size_ = 0;  // the redo log file's size, as far as this redo log knows it
  std::string pending_;
  // What WritePending writes, in order: bytes of pending_ (data null, at their offset) or of a
  // block; outside_ counts the blocks' bytes.
  struct Piece {
    const char* data;
    size_t at, size;
  };
  std::vector<Piece> pieces_;
  std::vector<std::span<const char>> spans_;
  size_t pieced_ = 0;  // pending_'s bytes before this offset are in pieces_
  uint64_t outside_ = 0;
  std::vector<OpSaved> op_;     // originals of the ranges the operation changed (batches only),
  std::vector<char> op_bytes_;  // their bytes, one after the other
  uint64_t syncs_ = 0;
  Status sync_failed_;  // a sync of the redo log failed: none is tried again
  // The files this redo log's transactions named since the redo log started again (relative
  // paths), and whether those transactions are all of the redo log's (none by another user).
  std::set<std::string> named_;
  bool named_all_ = false;
  // The blocks of the transaction left pending last, with keep (LeavePending).
  std::vector<std::pair<Pager*, Pager::Committed>> kept_;
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_REDO_LOG_H_
