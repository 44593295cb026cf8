// The commits of a data folder: a transaction appended to the redo log under the exclusive lock,
// then made durable either at once (a direct commit) or by a sync shared with the other users
// committing at the same time, once the lock is released (a grouped commit; docs/redo-log.md,
// Commits grouped across processes); pending commits written to the files, and the folder's view
// of them.
#include <algorithm>
#include <thread>

#include "srv/isam/dossier.h"

namespace vesk::isam {

namespace {

// A transaction of more records than this is made durable before the lock is released: its own
// sync costs little beside its writes, and its blocks would weigh on every user's view.
constexpr uint64_t kGroupeMax = uint64_t{1} << 20;
// Before the leader reads where the redo log ends, it gives the processor away this many times:
// users that were appending meanwhile end their append, and its sync serves them too.
constexpr int kCedeAvantSync = 4;
// Rounds of a waiting user trying the sync lock before it waits for it exclusive (AttendSync).
constexpr int kToursAvantFile = 64;

}  // namespace

// The `writing` flag goes up before the redo log is written and down once the state word says
// where the redo log ends: a writer that dies in between leaves it up, and the next user replays
// the redo log before anything is read or appended. A grouped commit (groupe: the lock is
// released right after, synchronisation full, a small transaction, another user committed
// during this one's last few commits) stays pending; any other is synced (unless synchronisation is
// off and nothing of others waits before it) and written to its files with the pending ones
// before it. A failure before the commit point forgets the
// transaction (Echec); one after it keeps it (EchecApresValidation).
Status DossierDonnees::Commit(bool groupe) {
  apres_validation_ = false;
  if (!redo_log_->Open()) return Status::Ok();
  FolderLock::State st;
  Status s = verrou_->Read(&st);
  if (!s.ok()) return Echec(s);
  if (synchro_full_ && st.unsynced) {
    // Files hold writes that no sync made durable: a durable commit must not rest on them.
    s = VideJournal(&st, true, true);
    if (!s.ok()) return Echec(s);
  }
  s = redo_log_->Append({st.redo_log_end, st.redo_log_nonce}, [&] {
    st.writing = true;
    ++st.counter;
    return verrou_->Write(st);
  });
  if (!s.ok()) return Echec(s);
  const uint64_t debut = redo_log_->AppendedAt();
  const bool avant = st.Pending() && st.redo_log_nonce == redo_log_->End().nonce;
  if (!avant) st.applied = debut;
  // A user whose last commits saw no commit of another commits directly: nobody is there to
  // share its sync, and the direct path takes no second lock. Not after one commit alone: a
  // direct commit holds the lock through its sync, and users waiting for the lock would then
  // seldom commit between two of its commits.
  const bool direct = !groupe || !synchro_full_ || seul_depuis_ >= kSeulDirect ||
                      redo_log_->End().end - debut > kGroupeMax;
  if (seul_depuis_ < kSeulDirect) ++seul_depuis_;
  if (direct && (synchro_full_ || avant)) {
    s = redo_log_->SyncAppended();  // the commit point
    if (!s.ok()) return Echec(s);
  }
  if (direct) {
    s = EcritDirect(&st, avant);
  } else {
    redo_log_->LeavePending(true);
    attente_ = {redo_log_->End().nonce, redo_log_->End().end};
    attente_debut_ = debut;
  }
  if (s.ok()) s = TermineCommit(&st);
  return s.ok() ? s : EchecApresValidation(s);
}

// The end of a commit, past its commit point: the state word says where the redo log ends, and
// past the threshold the redo log is emptied by a checkpoint, synchronised unless every commit
// it holds was made without synchronisation.
Status DossierDonnees::TermineCommit(FolderLock::State* st) {
  st->redo_log_end = redo_log_->End().end;
  st->redo_log_nonce = redo_log_->End().nonce;
  st->durable = st->durable || synchro_full_;
  if (redo_log_->Size() > seuil_journal_) {
    VESK_RETURN_IF_ERROR(VideJournal(st, true, st->durable));
    attente_ = {};  // made durable and written by the checkpoint
    redo_log_->DropKept();
  }
  st->writing = false;
  compteur_vu_ = st->counter;
  VESK_RETURN_IF_ERROR(verrou_->Write(*st));
  // A grouped commit whose blocks are kept is not read back: its user writes them once durable,
  // or the view takes it at the next lock (Valide).
  return redo_log_->Keeps() ? Status::Ok() : RafraichitVue(*st);
}

// A direct commit, its redo log synced when it had to be: the sync word moved, the pending
// transactions of others before it written, then its own blocks.
Status DossierDonnees::EcritDirect(FolderLock::State* st, bool avant) {
  const RedoLog::Fin fin = redo_log_->End();
  if (synchro_full_ || avant) VESK_RETURN_IF_ERROR(Publie({fin.nonce, fin.end}));
  if (avant) {
    VESK_RETURN_IF_ERROR(redo_log_->ApplyPending(fin.nonce, st->applied, redo_log_->AppendedAt()));
  }
  VESK_RETURN_IF_ERROR(redo_log_->WriteFiles());
  st->applied = fin.end;
  return Status::Ok();
}

// Empties the redo log (a checkpoint: keep, sync as RedoLog::Checkpoint), its pending
// transactions first made durable and written; *st follows.
Status DossierDonnees::VideJournal(FolderLock::State* st, bool keep, bool sync) {
  if (st->Pending()) {
    VESK_RETURN_IF_ERROR(redo_log_->SyncLog());
    VESK_RETURN_IF_ERROR(Publie({st->redo_log_nonce, st->redo_log_end}));
    VESK_RETURN_IF_ERROR(
        redo_log_->ApplyPending(st->redo_log_nonce, st->applied, st->redo_log_end));
    st->applied = st->redo_log_end;
  }
  const RedoLog::Fin fin{st->redo_log_end, st->redo_log_nonce};
  VESK_RETURN_IF_ERROR(redo_log_->Checkpoint(keep, sync, &fin));
  st->redo_log_end = st->applied = redo_log_->End().end;
  st->redo_log_nonce = redo_log_->End().nonce;
  st->durable = false;
  st->unsynced = !sync;
  return Status::Ok();
}

// The sync word moved to fin (under the sync lock), unless it says more already.
Status DossierDonnees::Publie(const FolderLock::Synced& fin) {
  VESK_RETURN_IF_ERROR(verrou_->LockSync());
  FolderLock::Synced vu;
  Status s = verrou_->ReadSynced(&vu);
  if (s.ok() && !vu.Covers(fin.nonce, fin.end)) s = verrou_->WriteSynced(fin);
  Status u = verrou_->UnlockSync();
  return s.ok() ? u : s;
}

// After a grouped commit, the lock released: returns once the transaction is durable, through
// another user's sync that covers it or through its own, made for every transaction appended
// before it began.
Status DossierDonnees::AttendDurable() {
  if (attente_.nonce == 0) return Status::Ok();
  const FolderLock::Synced attendu = attente_;
  attente_ = {};
  Status s = AttendSync(attendu);
  if (s.ok()) return EcritGardes(attendu, attente_debut_);
  redo_log_->DropKept();
  return s;
}

// Until the sync word covers attendu: the word read without a lock (whole or not at all); when
// it does not cover it, the sync lock taken if nobody holds it, and this user leads a sync;
// otherwise the lock waited for beside every other waiter (shared, all woken together when its
// holder lets go: those the holder's sync covered go without touching it). Users that keep
// trying the lock while another holds it shared for that instant wait for it exclusive after
// kToursAvantFile rounds.
Status DossierDonnees::AttendSync(const FolderLock::Synced& attendu) {
  for (int tour = 0;; ++tour) {
    FolderLock::Synced vu;
    Status s = verrou_->ReadSynced(&vu);
    if (!s.ok()) return EchecSync(s);
    if (vu.Covers(attendu.nonce, attendu.end)) return Status::Ok();
    bool pris = false;
    if (tour < kToursAvantFile) {
      VESK_RETURN_IF_ERROR(verrou_->TryLockSync(&pris));
    } else {
      VESK_RETURN_IF_ERROR(verrou_->LockSync());
      pris = true;
    }
    if (pris) return MeneSync(attendu);
    VESK_RETURN_IF_ERROR(verrou_->WaitSync());
  }
}

// Under the sync lock: the word read again, a sync made unless it covers attendu now, the lock
// let go. A failure under it goes through EchecSync.
Status DossierDonnees::MeneSync(const FolderLock::Synced& attendu) {
  FolderLock::Synced vu;
  Status s = verrou_->ReadSynced(&vu);
  if (s.ok() && !vu.Covers(attendu.nonce, attendu.end)) s = Synchronise(attendu);
  Status u = verrou_->UnlockSync();
  if (!s.ok()) return EchecSync(s);
  return u;
}

// A grouped commit just made durable is written to its files by its own user, from the blocks
// kept in memory, when the exclusive lock can be had at once (it is never waited for here) and
// the files stand just before the commit (`applied` at its start: nothing waits before it).
// Otherwise (or when a lock is held: a shared one kept for reads is not converted, which may
// drop it) it stays pending, for the next exclusive locker to read back from the redo log. A
// failure of these writes comes past the commit point (EchecApresValidation).
Status DossierDonnees::EcritGardes(const FolderLock::Synced& fin, uint64_t debut) {
  if (!redo_log_->Keeps() || verrou_->held() != FolderLock::Held::kNone ||
      !verrou_->Lock(FolderLock::Held::kExclusive, 0).ok()) {
    redo_log_->DropKept();
    return Status::Ok();
  }
  FolderLock::State st;
  Status s = verrou_->Read(&st);
  if (s.ok() && !st.writing && !st.replacing && st.redo_log_nonce == fin.nonce &&
      st.applied == debut && st.redo_log_end >= fin.end) {
    s = redo_log_->WriteKept();
    st.applied = fin.end;
    if (s.ok()) s = verrou_->Write(st);
  }
  redo_log_->DropKept();
  if (!s.ok()) s = EchecApresValidation(s);
  Status u = verrou_->Unlock();
  return s.ok() ? u : s;
}

// The leader of a group (under the sync lock), once the appends under way had the processor:
// the redo log's end read from the state word without the main lock (a commit may be writing: the
// word still gives where the complete transactions before it end), the redo log synced, the sync
// word moved to that end. A word read torn leaves the leader's own end.
Status DossierDonnees::Synchronise(const FolderLock::Synced& attendu) {
  FolderLock::Synced fin = attendu;
  FolderLock::State st;
  bool whole = false;
  for (int i = 0; i < kCedeAvantSync; ++i) std::this_thread::yield();
  VESK_RETURN_IF_ERROR(verrou_->Peek(&st, &whole));
  if (whole && st.redo_log_nonce != 0) {
    fin = {st.redo_log_nonce, st.redo_log_end};
  }
  VESK_RETURN_IF_ERROR(redo_log_->SyncLog());
  return verrou_->WriteSynced(fin);
}

// The sync of a grouped commit failed: other users may have built on its transaction, which
// stays in the redo log. The `writing` flag goes up, so that the next user replays the redo log
// and syncs the files; this folder object refuses every further use.
Status DossierDonnees::EchecSync(const Status& s) {
  panne_ = s;
  const FolderLock::Held held = verrou_->held();
  if (verrou_->Lock(FolderLock::Held::kExclusive, delai_verrou_ms_).ok()) {
    FolderLock::State st;
    if (verrou_->Read(&st).ok()) {
      st.writing = true;
      Status ignored = verrou_->Write(st);
      (void)ignored;
    }
    Status ignored = verrou_->Lock(held, delai_verrou_ms_);
    (void)ignored;
  }
  return s;
}

// Under the exclusive lock: the pending transactions that the sync word says are durable
// written to their files, in order, and `applied` moved past them.
Status DossierDonnees::Applique(FolderLock::State* st) {
  FolderLock::Synced vu;
  VESK_RETURN_IF_ERROR(verrou_->ReadSynced(&vu));
  if (vu.nonce != st->redo_log_nonce || vu.end <= st->applied) return Status::Ok();
  const uint64_t jusque = std::min(vu.end, st->redo_log_end);
  VESK_RETURN_IF_ERROR(redo_log_->ApplyPending(st->redo_log_nonce, st->applied, jusque));
  st->applied = jusque;
  return verrou_->Write(*st);
}

// The view of the files (PendingEnv) made to show the pending transactions the state word
// gives: those read since the last time are added, or all are read again when the files took
// some of them or the redo log started again.
Status DossierDonnees::RafraichitVue(const FolderLock::State& st) {
  const Plage voulue =
      st.Pending() ? Plage{st.redo_log_nonce, st.applied, st.redo_log_end} : Plage{};
  if (voulue == vue_plage_) return Status::Ok();
  uint64_t from = voulue.applied;
  if (voulue.nonce != 0 && voulue.nonce == vue_plage_.nonce &&
      voulue.applied == vue_plage_.applied && vue_plage_.end <= voulue.end) {
    from = vue_plage_.end;
  } else {
    vue_->Clear();
  }
  vue_plage_ = {};
  RedoLog::PendingVisit visit;
  visit.block = [this](const std::string& f, uint32_t bs, uint64_t no, std::string_view b) {
    vue_->AddBlock(f, bs, no, b);
  };
  visit.size = [this](const std::string& f, uint64_t size) { vue_->SetSize(f, size); };
  Status s = redo_log_->ReadPending(voulue.nonce, from, voulue.end, visit);
  if (!s.ok()) {
    vue_->Clear();
    return s;
  }
  vue_plage_ = voulue;
  return Status::Ok();
}

// A failure past the commit point (the files' writes, the checkpoint, the flag lowered): the
// transaction holds, its redo log written. The redo log is replayed at once through fresh
// handles and the handles reopened (a handle whose write failed refuses every later one); when
// that works the files hold the commit and nothing failed. Otherwise the `writing` flag stays
// raised, the next user replays it, and the first failure is returned with ApresValidation()
// true: the commit is made, its files brought up to date at the next opening.
Status DossierDonnees::EchecApresValidation(const Status& s) {
  Status ignored = Echec(s);
  (void)ignored;
  if (panne_.ok() && Reouvre().ok()) return Status::Ok();
  apres_validation_ = true;
  return s;
}

// A commit failed: the changes are forgotten, the files brought to the last commit from the
// redo log at once (the next user would do it otherwise) and every cache reread. A handle whose
// write failed keeps refusing writes until the folder is reopened.
Status DossierDonnees::Echec(const Status& s) {
  redo_log_->Abandon();
  redo_log_->DropKept();
  attente_ = {};
  FolderLock::State st;
  Status r = Recupere(&st);
  if (r.ok()) r = RafraichitVue(st);
  if (r.ok()) r = RechargeTout();
  if (r.ok()) {
    compteur_vu_ = st.counter;
  } else {
    panne_ = Status::IOError("dossier " + dossier_ +
                             " : une écriture a échoué et n'a pu être annulée, il doit être "
                             "rouvert (" +
                             r.message() + ")");
  }
  return s;
}

}  // namespace vesk::isam
