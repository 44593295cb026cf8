// Commits of several users grouped under one sync of the redo log: each user sees the others'
// commits while they wait for their sync, one sync serves every commit appended before it, a
// power cut anywhere keeps every commit reported durable, and a failed sync is reported and
// repaired by the next user. The users are folder objects over one Env, driven in turn by the
// test (AttenteManuelle), so that their steps interleave exactly.
#include <gtest/gtest.h>

#include <cctype>
#include <chrono>
#include <future>
#include <map>
#include <string>
#include <vector>

#include "srv/erreur_service.h"
#include "srv/isam/fault_env.h"
#include "srv/isam/folder_lock.h"
#include "srv/isam/redo_log.h"
#include "srv/isam/testing/engine.h"
#include "srv/isam/verify.h"
#include "srv/isam/workload.h"

namespace vesk::isam {
namespace {

using testing::DossierDe;
using testing::kDossierTest;

// The views of a workload of one prefix alone, after each of its steps ([0]: none made).
std::vector<std::string> Views(char prefix, uint64_t seed, int steps) {
  MemEnv mem;
  Workload w(DossierDe(&mem), seed, prefix);
  std::vector<std::string> out{w.Vue(prefix)};
  for (int i = 0; i < steps; ++i) {
    w.Step();
    out.push_back(w.Vue(prefix));
  }
  return out;
}

// Two users of one folder: A and B, each its workload, their commits waiting for the test.
struct Pair {
  explicit Pair(Env* env, size_t cache = 1 << 20)
      : a(DossierDe(env, true, 0, cache)), b(DossierDe(env, true, 0, cache)) {
    a->AttenteManuelle(true);
    b->AttenteManuelle(true);
    wa = std::make_unique<Workload>(a, 41, 'A');
    wb = std::make_unique<Workload>(b, 43, 'B');
  }
  std::shared_ptr<DossierDonnees> a, b;
  std::unique_ptr<Workload> wa, wb;
};

void ExpectSound(Env* env, const std::string& what) {
  auto d = DossierDe(env);
  Workload w(d, 0);
  FolderReport r;
  ASSERT_TRUE(VerifyFolder(env, kDossierTest, DeclaredChains(*d), &r).ok()) << what;
  for (const std::string& p : r.problems) ADD_FAILURE() << what << " : " << p;
}

TEST(GroupCommitTest, UsersSeeEachOthersWaitingCommitsAndShareOneSync) {
  MemEnv mem;
  // A small cache: blocks of waiting commits leave it and are read back through the redo log.
  Pair p(&mem, 64 << 10);
  // A third user, its folder opened (and recovered) before the others commit.
  Workload reader(DossierDe(&mem), 0, 'Z');
  for (int i = 0; i < 40; ++i) {
    p.wa->Step();  // appended, waiting for its sync
    p.wb->Step();  // made over A's waiting commit
    // The third user sees both commits before any sync.
    EXPECT_EQ(reader.Vue('A'), p.wa->Vue('A')) << "étape " << i;
    EXPECT_EQ(reader.Vue('B'), p.wb->Vue('B')) << "étape " << i;
    const uint64_t syncs = p.a->Syncs() + p.b->Syncs();
    ASSERT_TRUE(p.a->AttendDurable().ok());
    ASSERT_TRUE(p.b->AttendDurable().ok());
    EXPECT_EQ(p.a->Syncs() + p.b->Syncs() - syncs, 1u) << "une synchronisation pour les deux";
  }
  p.wa->CheckModel();
  p.wb->CheckModel();
  p = Pair(&mem);  // closed: their commits written, the redo log emptied
  ExpectSound(&mem, "fin");
}

// The leader of a sync reads where the redo log ends without the main lock: a third user
// holding it (real files: their locks exclude each other) does not keep the sync from serving
// every commit appended before it. A word torn under its reader is not taken.
class GroupCommitFilesTest : public testing::EngineTest {
 protected:
  std::shared_ptr<DossierDonnees> User() {
    auto d = std::make_shared<DossierDonnees>(Env::Default(), dir_, "", 1 << 20);
    d->Synchro(true);
    d->AttenteManuelle(true);
    return d;
  }
};

TEST_F(GroupCommitFilesTest, OneSyncServesEveryWaitingCommitWhileAnotherUserHoldsTheLock) {
  auto a = User(), b = User();
  Workload wa(a, 41, 'A'), wb(b, 43, 'B');
  std::unique_ptr<FolderLock> tiers;
  ASSERT_TRUE(FolderLock::Open(Env::Default(), dir_, &tiers).ok());
  for (int i = 0; i < 10; ++i) {
    wa.Step();
    wb.Step();
    ASSERT_TRUE(tiers->Lock(FolderLock::Held::kExclusive, 0).ok());
    const uint64_t syncs = a->Syncs() + b->Syncs();
    ASSERT_TRUE(a->AttendDurable().ok());
    ASSERT_TRUE(b->AttendDurable().ok());
    EXPECT_EQ(a->Syncs() + b->Syncs() - syncs, 1u) << "étape " << i;
    ASSERT_TRUE(tiers->Unlock().ok());
  }
  wa.CheckModel();
  wb.CheckModel();

  FolderLock::State st;
  bool whole = false;
  ASSERT_TRUE(tiers->Peek(&st, &whole).ok());
  EXPECT_TRUE(whole);
  std::unique_ptr<platform::File> f;
  ASSERT_TRUE(platform::OpenFile(Path(kLockName), platform::OpenMode::kReadWrite, &f).ok());
  ASSERT_TRUE(f->WriteAt(30, std::string_view("\x7f")).ok());  // the end, half rewritten
  ASSERT_TRUE(tiers->Peek(&st, &whole).ok());
  EXPECT_FALSE(whole);
}

// A waiting user never queues behind the sync lock for a sync that covers it: covered by the
// sync word already, it returns while a third user holds the lock; not covered, it waits until
// the holder lets go, then returns without a sync of its own when the holder's sync covered it,
// and syncs itself otherwise.
TEST_F(GroupCommitFilesTest, AWaiterCoveredByAnotherUsersSyncReturnsWithoutItsOwn) {
  auto a = User(), b = User();
  Workload wa(a, 41, 'A'), wb(b, 43, 'B');
  std::unique_ptr<FolderLock> tiers;
  ASSERT_TRUE(FolderLock::Open(Env::Default(), dir_, &tiers).ok());
  // In another thread, with a deadline: a wait that does not end fails instead of hanging.
  auto attend = [](DossierDonnees* d) {
    return std::async(std::launch::async, [d] { return d->AttendDurable(); });
  };
  using std::chrono::milliseconds;
  for (int i = 0; i < 3; ++i) {
    wa.Step();
    wb.Step();
    ASSERT_TRUE(a->AttendDurable().ok());  // its sync covers B's commit too
    ASSERT_TRUE(tiers->LockSync().ok());
    const uint64_t syncs_b = b->Syncs();
    auto fb = attend(b.get());
    const bool parti = fb.wait_for(milliseconds(10000)) == std::future_status::ready;
    EXPECT_TRUE(parti) << "étape " << i << " : B attend le verrou d'une synchronisation faite";
    ASSERT_TRUE(tiers->UnlockSync().ok());
    ASSERT_TRUE(fb.get().ok());
    EXPECT_EQ(b->Syncs(), syncs_b);
  }
  for (const bool couvre : {true, false}) {
    wa.Step();
    ASSERT_TRUE(tiers->LockSync().ok());
    const uint64_t syncs_a = a->Syncs();
    auto fa = attend(a.get());
    EXPECT_EQ(fa.wait_for(milliseconds(100)), std::future_status::timeout)
        << "A n'attend pas la synchronisation en cours";
    if (couvre) {  // the holder syncs the redo log and says so, as a leader would
      FolderLock::State st;
      bool whole = false;
      ASSERT_TRUE(tiers->Peek(&st, &whole).ok());
      ASSERT_TRUE(whole);
      std::unique_ptr<platform::File> jnl;
      ASSERT_TRUE(
          platform::OpenFile(Path(kRedoLogName), platform::OpenMode::kReadWrite, &jnl).ok());
      ASSERT_TRUE(jnl->Sync().ok());
      ASSERT_TRUE(tiers->WriteSynced({st.redo_log_nonce, st.redo_log_end}).ok());
    }
    ASSERT_TRUE(tiers->UnlockSync().ok());
    ASSERT_EQ(fa.wait_for(milliseconds(10000)), std::future_status::ready);
    ASSERT_TRUE(fa.get().ok());
    EXPECT_EQ(a->Syncs() - syncs_a, couvre ? 0u : 1u) << (couvre ? "couverte" : "non couverte");
  }
  wa.CheckModel();
  wb.CheckModel();
}

// Once durable, a user writes its own commit to the files from memory, unless the files no
// longer stand just before it (a commit of others waits before it, or another user wrote it
// already): then the next user writes it from the redo log. Whatever the order of the steps
// (a, b, c) and of the waits (A, B, C), every user and a newcomer see every commit.
TEST(GroupCommitTest, EachCommitIsWrittenOnceInOrderWhoeverWritesIt) {
  for (const std::string order : {"aAbB", "abAB", "abBA", "abBcAC", "abcCBA", "acbBCA"}) {
    MemEnv mem;
    Pair p(&mem, 64 << 10);
    auto c = DossierDe(&mem, true, 0, 64 << 10);
    c->AttenteManuelle(true);
    Workload wc(c, 47, 'C');
    struct User {
      Workload* w;
      DossierDonnees* d;
    };
    const std::map<char, User> users = {
        {'A', {p.wa.get(), p.a.get()}}, {'B', {p.wb.get(), p.b.get()}}, {'C', {&wc, c.get()}}};
    for (int round = 0; round < 8; ++round) {
      for (char step : order) {
        const User& u = users.at(static_cast<char>(std::toupper(step)));
        if (std::islower(step)) {
          u.w->Step();
        } else {
          ASSERT_TRUE(u.d->AttendDurable().ok()) << order << " " << step;
        }
      }
      Workload newcomer(DossierDe(&mem), 0, 'Z');
      for (const auto& [prefix, u] : users) {
        EXPECT_EQ(newcomer.Vue(prefix), u.w->Vue(prefix)) << order << ", tour " << round;
      }
    }
    p.wa->CheckModel();
    p.wb->CheckModel();
    wc.CheckModel();
  }
}

// The power goes at every write and sync of interleaved commits: after it, each user finds
// every commit it was told durable, and at most the one it was waiting for besides.
TEST(GroupCommitTest, APowerCutKeepsEveryCommitReportedDurable) {
  constexpr int kRounds = 6;
  const std::vector<std::string> ref_a = Views('A', 41, kRounds), ref_b = Views('B', 43, kRounds);
  auto round = [](Pair& p, int* done_a, int* done_b) {
    p.wa->Step();
    p.wb->Step();
    if (!p.a->AttendDurable().ok()) throw ErreurService("AttendDurable", "A", "coupure");
    ++*done_a;
    if (!p.b->AttendDurable().ok()) throw ErreurService("AttendDurable", "B", "coupure");
    ++*done_b;
  };
  uint64_t total = 0;
  {
    MemEnv mem;
    FaultEnv fault(&mem);
    Pair p(&fault);
    const uint64_t start = fault.Count(FaultEnv::Op::kWrite) + fault.Count(FaultEnv::Op::kSync);
    int a = 0, b = 0;
    for (int i = 0; i < kRounds; ++i) round(p, &a, &b);
    total = fault.Count(FaultEnv::Op::kWrite) + fault.Count(FaultEnv::Op::kSync) - start;
  }
  for (FaultEnv::Loss loss : {FaultEnv::Loss::kDrop, FaultEnv::Loss::kTear}) {
    for (uint64_t k = 1; k <= total; ++k) {
      MemEnv mem;
      FaultEnv fault(&mem);
      int done_a = 0, done_b = 0;
      {
        Pair p(&fault);
        fault.PowerLossAt(k, loss, k * 17);
        try {
          for (int i = 0; i < kRounds; ++i) round(p, &done_a, &done_b);
        } catch (const ErreurService&) {
        }
      }
      fault.Reboot();
      const std::string what = "coupure à l'écriture " + std::to_string(k);
      auto d = DossierDe(&mem);
      Workload w(d, 0, 'Z');
      const std::string va = w.Vue('A'), vb = w.Vue('B');
      EXPECT_TRUE(va == ref_a[done_a] || va == ref_a[done_a + 1]) << what << " (A)";
      EXPECT_TRUE(vb == ref_b[done_b] || vb == ref_b[done_b + 1]) << what << " (B)";
      ExpectSound(&mem, what);
      if (HasFailure()) return;
    }
  }
}

// A sync that fails: the commit that waited for it fails, and so does every later use of that
// folder object; the next user replays the redo log, where the commit stands whole.
TEST(GroupCommitTest, AFailedSyncIsReportedAndTheNextUserReplays) {
  const std::vector<std::string> ref = Views('A', 41, 6);
  MemEnv mem;
  FaultEnv fault(&mem);
  {
    auto d = DossierDe(&fault);
    Workload w(d, 41, 'A');
    for (int i = 0; i < 5; ++i) w.Step();
    Workload other(DossierDe(&fault), 43, 'B');
    other.Step();  // another user's commit: the next one of this user is grouped
    fault.FailAt(FaultEnv::Op::kSync, 1, platform::Code::kIoError);
    EXPECT_ERREUR(w.Step(), "synchronis");
    EXPECT_ERREUR(w.Step(), "synchronis");  // refused: the folder must be opened again
  }
  auto again = DossierDe(&mem);
  Workload w(again, 0, 'A');
  const std::string v = w.Vue('A');
  EXPECT_TRUE(v == ref[5] || v == ref[6]);
  ExpectSound(&mem, "après l'échec");
}

}  // namespace
}  // namespace vesk::isam
