// ReplaceSet: puts new files, written aside, in place of the files of a data folder they
// replace, all of them or none, whatever instant a crash comes at. It owns the folder's
// replacement record VESK.REC (at the folder's root), which names the set; the caller owns the
// aside files' contents and holds the folder's exclusive lock from Begin to the end.
// Thread rules: one thread at a time, under the folder's exclusive lock.
//
// A target T has its new bytes written to T.NEUF, and its old file is kept as T.ANC while the
// set changes hands; a target removed has no new bytes (its old file goes, T is left absent).
// VESK.REC holds the targets (relative to the folder, with whether each existed and whether it
// is removed), the backup folder if any, and one state byte:
//
// clang-format off
//
//   (no record) ── Begin: record written, synced ──▶ WRITING
//                                                       │ aside files written and synced
//                                                       │ Commit: for each T, T ─▶ T.ANC and
//                                                       │ T.NEUF ─▶ T; folders synced
//                                                       │      a failure, or a crash, or Abandon:
//                                                       │      undone (T.ANC ─▶ T, T.NEUF and a
//                                                       │      T that did not exist removed)
//                                                       ▼ state DONE, synced: the new set is the
//                                                    DONE   folder's
//                                                       │ T.ANC removed (or moved into the
//                                                       │ backup folder), then the record
//                                                       ▼
//                                                  (no record)     a crash in DONE: the next user
//                                                                  finishes (Recover)
//
// clang-format on
//
// Invariants
//   R1. An aside file exists only while the record names its target (the record is synced
//       before any aside file is created), so no aside file outlives a crash unnoticed.
//   R2. Until the state is DONE, every target's old bytes are under T or under T.ANC, never
//       lost: undoing renames T.ANC back over T, and removes T.NEUF and any T that did not
//       exist before (only the set creates files under the folder's exclusive lock).
//   R3. Once written, the record changes only by its state byte, written and synced alone;
//       its other bytes carry a checksum keyed with the replacement key of the folder's state
//       word (folder_lock.h), drawn and synced when the replacement began. A record that does not
//       check was cut while being written, before any aside file existed: it is removed, unless a
//       file named like an aside or old file (T.NEUF, T.ANC) lies in the folder or its company
//       sub-folder; then the record was damaged later and nothing is touched (Corruption).
//   R4. The renames are made durable (their folders synced) before the state becomes DONE.
//   R5. With a backup folder, an old file leaves the folder only by a rename into the backup
//       folder (under its relative path), made durable before the record is removed: a crash
//       in DONE finds each old file under T.ANC or in the backup, and the next user finishes.
#ifndef VESK_SRV_ISAM_REPLACE_SET_H_
#define VESK_SRV_ISAM_REPLACE_SET_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "srv/isam/env.h"
#include "srv/isam/status.h"

namespace vesk::isam {

inline constexpr std::string_view kReplaceName = "VESK.REC";
inline constexpr std::string_view kAsideSuffix = ".NEUF";
inline constexpr std::string_view kOldSuffix = ".ANC";

class ReplaceSet {
 public:
  ReplaceSet(Env* env, std::string dossier);
  // A set begun and neither committed nor abandoned is abandoned (its aside files removed).
  ~ReplaceSet();
  ReplaceSet(const ReplaceSet&) = delete;
  ReplaceSet& operator=(const ReplaceSet&) = delete;

  // Where the new bytes of target go.
  static std::string AsidePath(const std::string& target) {
    return target + std::string(kAsideSuffix);
  }
  // Records the set (paths inside the folder, at its root or in a sub-folder) before any aside
  // file is written, its checksum keyed with cle (the state word's replacement key, durable
  // before): targets get new bytes, removed lose their file (those absent are left out).
  // backup ("" none): a folder of the folder's root, absent yet, that receives the old files
  // instead of their removal. InvalidArgument for a path outside the folder, a path named
  // twice, a backup folder that exists, or a set already begun.
  Status Begin(const std::vector<std::string>& targets, uint64_t cle,
               const std::vector<std::string>& removed = {}, const std::string& backup = "");
  // Every aside file is written and synced: puts them in place. On a failure before the new set
  // is the folder's, the old one is put back and the failure returned (with the failure of the
  // undo, if any: the record then stays for the next user). A failure after that point (the
  // old files left as T.ANC) is returned with Committed() true: the new set is in place, and
  // the next user finishes the cleaning.
  Status Commit();
  bool Committed() const { return committed_; }
  // Gives the set up before Commit: the aside files and the record are removed.
  Status Abandon();

  // The next user's part, before anything is read: a record left by a crash is finished (DONE)
  // or undone (otherwise). *found tells whether there was one. entreprise: the company
  // sub-folder in use ("" for none), searched with the folder for files left beside a target.
  // cle: the key the record must check with (the state word's, while its flag announces a
  // replacement); without one, or with another, the record is one that does not check (R3): a
  // record made by hand never renames or removes a file.
  static Status Recover(Env* env, const std::string& dossier, const std::string& entreprise,
                        std::optional<uint64_t> cle, bool* found);

  struct Target {
    std::string relative;  // inside the folder
    bool existed = false;
    bool removed = false;  // no new bytes: the old file goes
  };

 private:
  Status WriteState(char state);
  uint64_t cle_ = 0;

  Status AddTarget(const std::string& path, bool removed);

  Env* env_;
  std::string dossier_;
  std::vector<Target> targets_;
  std::string backup_;
  bool open_ = false;
  bool committed_ = false;
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_REPLACE_SET_H_
