// Journal: the rollback journal of one data folder (VESK.JNL at its root). It makes every
// modifying operation all-or-nothing across all the files it touches, and groups the operations
// of a batch into one commit. It owns the journal file and the bytes saved for rollback; the
// pagers it watches belong to their data files and B-trees. Thread rules: one thread at a time
// (the folder's DossierDonnees), under the folder's exclusive lock while a transaction is open.
//
// Invariants
//   I1. A block of a file is overwritten in the file only after its original bytes (those it had
//       when the transaction began) are in the journal and the journal is synced (synchronisation
//       full; with synchronisation off, written: enough against a killed process).
//   I2. Nothing reaches a file while a transaction is open: changed blocks stay in the pagers'
//       caches until Commit. So before Commit the files hold the state of the last commit.
//       One exception: Pager::Truncate cuts the file at once. The journal has captured every
//       block the cut changes before it (the pager calls its change hook first), so a rollback
//       puts those blocks, and with them the file's length, back.
//   I3. The originals are appended to the journal file as they are captured (not synced, and
//       not counted: the header that counts the records is written only at commit).
//   I4. A journal is "complete" when its header and each of the header's `records` records carry
//       valid checksums (seeded with the header's random nonce). Only a complete journal was ever
//       synced by its transaction, hence only a complete journal can precede file writes.
//   I5. At commit an N record gives each block's new bytes' checksum, an E record each file's
//       new size (a block or file without them never counts as holding them): a complete journal
//       whose every block (and every file size) already holds the new bytes belongs to a
//       transaction that reached the files entirely; it is dropped, not rolled back.
//   I6. The journal is modified again (truncated, or rewritten by the next transaction) only
//       after every file of the transaction is synced.
//
// States and transitions
//
// clang-format off
//
//   IDLE ── Capture (first change of a block) ──▶ OPEN ──┐ EndOperation: OPEN again
//    ▲ ▲                                           │ ◀───┘ (between a batch's operations)
//    │ └── RollbackOperation (whole transaction) ──┤
//    │                                             │ Commit: WriteJournal (records, header, sync)
//    │                                             ▼
//    │                                         JOURNALED ── a failure ──▶ HOT
//    │                                             │ WriteFiles (flush, sync each file)
//    │                                             ▼
//    ├──────────── Invalidate (truncate) ───── WRITTEN ── a failure ──▶ HOT
//    │
//    │   HOT: the journal complete on disk, the files maybe half written
//    │     │ Recover (the next locker, or at once)
//    │     ▼
//    └── ROLLED BACK: originals written back, files synced, journal truncated and synced
//
// clang-format on
//
// Recovery of a journal found on disk (Recover): an absent, empty or incomplete journal is
// ignored (I1 + I4: its transaction never wrote a file block, or it is a completed transaction's
// journal partly overwritten by the next one, which wrote nothing yet — I6); a complete journal
// whose new-bytes checksums all match is dropped (I5); any other complete journal is rolled back.
// Syncs per commit with synchronisation full: 1 (journal) + 1 per file changed.
#ifndef VESK_SRV_ISAM_JOURNAL_H_
#define VESK_SRV_ISAM_JOURNAL_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "srv/isam/env.h"
#include "srv/isam/pager.h"
#include "srv/isam/status.h"

namespace vesk::isam {

inline constexpr std::string_view kJournalName = "VESK.JNL";

// A 64-bit checksum of bytes, seeded: fast (8 bytes a step), for the journal's records.
uint64_t Hash64(std::span<const char> bytes, uint64_t seed);

// Whether a path recorded in a journal stays inside the data folder: not empty, relative (no
// leading separator, no drive letter or ":" anywhere), and without "..". Recovery also refuses
// a path one of whose parts is a symbolic link, which could lead out of the folder.
bool SafeRelative(std::string_view path);

class Journal {
 public:
  // dossier: the folder whose files are journaled (paths are kept relative to it).
  Journal(Env* env, std::string dossier);
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // A file the journal protects: its pager, what completes its lazily written bytes before a
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
  // Installs the change hook of w.pager. The pager must stay alive while the journal is.
  void Watch(Watched w);

  // Inside a batch each operation also keeps its own original bytes, so that a failed
  // operation can be undone alone.
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
  // Makes the open transaction durable (sync true) or merely written (sync false). On failure
  // the journal stays hot on disk: Recover must run before the files are read again.
  // before_files runs between the journal write and the first file write.
  Status Commit(bool sync, const std::function<Status()>& before_files);
  // Forgets the open transaction after a failed commit: the caches drop every change (the
  // files are put back by Recover).
  void Abandon();
  // Counters for tests and benchmarks.
  uint64_t syncs() const { return syncs_; }

  // Looks at the journal of dossier and rolls it back when it must (see the header comment).
  // *rolled_back tells whether any file changed. The caller holds the folder's exclusive lock.
  static Status Recover(Env* env, const std::string& dossier, bool* rolled_back);

 private:
  struct Entry;
  struct OpSaved;
  Status Capture(Entry* e, uint64_t block_no, std::span<const char> original);
  Status RollbackBatchOperation();
  // The one end of an operation's bookkeeping (ended, undone alone, or undone with its
  // transaction): its files leave it and its saved originals go.
  void ForgetOperation();
  Status PrepareFiles();
  void AddRecord(char type, std::string_view head, std::span<const char> tail = {});
  Status WritePending();
  Status WriteJournal(bool sync);
  Status Invalidate();
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
  // The transaction's records (originals of its blocks), written to the journal file as they
  // come, after its header's place; the header is written at commit.
  uint64_t nonce_ = 0;
  uint32_t records_ = 0;
  uint64_t at_ = 0;             // where pending_ goes in the journal file
  std::string pending_;         // records not written yet
  std::vector<OpSaved> op_;     // first originals of the operation (batches only),
  std::vector<char> op_bytes_;  // their bytes, one after the other
  uint64_t syncs_ = 0;
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_JOURNAL_H_
