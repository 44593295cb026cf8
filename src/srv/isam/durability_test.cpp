// Atomicity and durability of the storage services: every I/O of a scripted workload failed in
// turn, power cut at every write and sync (writes not yet synced dropped, torn or garbled),
// batches, syncs per commit, the folder lock between two users, damaged redo logs. Each check
// reopens the folder (which rolls back what it must) and ends with the folder verifier.
#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "srv/erreur_service.h"
#include "srv/isam/coding.h"
#include "srv/isam/fault_env.h"
#include "srv/isam/testing/engine.h"
#include "srv/isam/verify.h"
#include "srv/isam/workload.h"

namespace vesk::isam {
namespace {

using testing::kDossierTest;
constexpr const char* kDir = kDossierTest;

std::shared_ptr<DossierDonnees> Folder(Env* env, bool full = true, uint64_t seuil = 0) {
  return testing::DossierDe(env, full, seuil);
}

// The states a clean run goes through: [0] the empty files, [i] after step i.
std::vector<std::string> Reference(int steps, uint64_t seed) {
  MemEnv mem;
  auto d = Folder(&mem);
  Workload w(d, seed);
  std::vector<std::string> states{Workload::State(*d)};
  for (int i = 0; i < steps; ++i) {
    w.Step();
    states.push_back(Workload::State(*d));
  }
  return states;
}

// Reopens the folder of mem, expects the state of step done or done + 1, and a sound folder.
void ExpectBeforeOrAfter(MemEnv* mem, const std::vector<std::string>& states, int done,
                         const std::string& what) {
  auto d = Folder(mem);
  std::unique_ptr<Workload> w;
  try {
    w = std::make_unique<Workload>(d, 0);
  } catch (const ErreurService& e) {
    FAIL() << what << " : réouverture impossible : " << e.what();
  }
  std::string now = Workload::State(*d);
  bool before = now == states[done];
  bool after = done + 1 < static_cast<int>(states.size()) && now == states[done + 1];
  EXPECT_TRUE(before || after) << what << " : état ni avant ni après l'étape " << done + 1;
  FolderReport r;
  ASSERT_TRUE(VerifyFolder(mem, kDir, DeclaredChains(*d), &r).ok());
  for (const std::string& p : r.problems) ADD_FAILURE() << what << " : " << p;
}

// Runs steps until one fails or all are done; returns the steps done.
int RunUntilFailure(Workload& w, int steps) {
  for (int i = 0; i < steps; ++i) {
    try {
      w.Step();
    } catch (const ErreurService&) {
      return w.steps();
    }
  }
  return w.steps();
}

TEST(DurabilityTest, EveryFailedIoLeavesTheStateBeforeOrAfterItsOperation) {
  constexpr int kSteps = 16;
  std::vector<std::string> states = Reference(kSteps, 7);
  uint64_t total = 0;
  {
    MemEnv mem;
    FaultEnv fault(&mem);
    auto d = Folder(&fault, true, 1);
    Workload w(d, 7);
    uint64_t start = fault.Count(FaultEnv::Op::kAny);
    ASSERT_EQ(RunUntilFailure(w, kSteps), kSteps);
    total = fault.Count(FaultEnv::Op::kAny) - start;
  }
  ASSERT_GT(total, 60u);
  for (uint64_t n = 1; n <= total; ++n) {
    MemEnv mem;
    FaultEnv fault(&mem);
    int done = 0;
    {
      // Every other run checkpoints at each commit.
      auto d = Folder(&fault, true, n % 2 == 0 ? 1 : 0);
      Workload w(d, 7);
      fault.FailAt(FaultEnv::Op::kAny, n,
                   n % 3 == 0 ? platform::Code::kNoSpace : platform::Code::kIoError);
      done = RunUntilFailure(w, kSteps);
    }
    ExpectBeforeOrAfter(&mem, states, done, "E/S " + std::to_string(n) + " en échec");
    if (HasFailure()) return;
  }
}

TEST(DurabilityTest, PowerLossAtEveryWriteAndSyncKeepsExactlyTheCommittedOperations) {
  constexpr int kSteps = 10;
  std::vector<std::string> states = Reference(kSteps, 11);
  uint64_t total = 0;
  {
    MemEnv mem;
    FaultEnv fault(&mem);
    auto d = Folder(&fault, true, 1);
    Workload w(d, 11);
    uint64_t start = fault.Count(FaultEnv::Op::kWrite) + fault.Count(FaultEnv::Op::kSync);
    RunUntilFailure(w, kSteps);
    total = fault.Count(FaultEnv::Op::kWrite) + fault.Count(FaultEnv::Op::kSync) - start;
  }
  for (FaultEnv::Loss loss :
       {FaultEnv::Loss::kDrop, FaultEnv::Loss::kTear, FaultEnv::Loss::kGarble}) {
    for (uint64_t k = 1; k <= total; ++k) {
      MemEnv mem;
      FaultEnv fault(&mem);
      int done = 0;
      {
        // Every other run checkpoints at each commit.
        auto d = Folder(&fault, true, k % 2 == 0 ? 1 : 0);
        Workload w(d, 11);
        fault.PowerLossAt(k, loss, k * 31 + static_cast<int>(loss));
        done = RunUntilFailure(w, kSteps);
      }
      fault.Reboot();
      ExpectBeforeOrAfter(&mem, states, done,
                          "coupure " + std::to_string(static_cast<int>(loss)) + " à l'écriture " +
                              std::to_string(k));
      if (HasFailure()) return;
    }
  }
}

// Synchronisation off empties the redo log at its threshold without a sync; a commit made with
// synchronisation full in the same folder, after such checkpoints or before one, still
// survives a power loss whatever the unsynced writes become.
TEST(DurabilityTest, CheckpointsWithoutSyncNeverLoseADurableCommit) {
  constexpr int kSteps = 16;
  std::vector<std::string> states = Reference(kSteps, 31);
  for (bool off_first : {true, false}) {
    for (uint64_t seed = 1; seed <= 6; ++seed) {
      MemEnv mem;
      FaultEnv fault(&mem);
      int done = 0;
      {
        auto d = Folder(&fault, !off_first, off_first ? 1 : 0);
        Workload w(d, 31);
        for (int i = 0; i < 10; ++i) w.Step();
        if (off_first) {
          EXPECT_EQ(d->Syncs(), 0u) << "checkpoints without a sync";
        }
        // The other mode: one durable commit after unsynced checkpoints (no checkpoint of its
        // own), or one checkpoint after durable commits; then the power goes.
        d->Synchro(off_first);
        d->SeuilJournal(off_first ? uint64_t{32} << 20 : 1);
        w.Step();
        fault.PowerLossAt(1, static_cast<FaultEnv::Loss>(seed % 3), seed);
        done = RunUntilFailure(w, kSteps - 11);
      }
      fault.Reboot();
      ExpectBeforeOrAfter(&mem, states, done,
                          std::string(off_first ? "off puis full" : "full puis off") + ", graine " +
                              std::to_string(seed));
      if (HasFailure()) return;
    }
  }
}

TEST(DurabilityTest, PowerLossAtRandomPointsOfALargeWorkload) {
  constexpr int kSteps = 300;
  std::vector<std::string> states = Reference(kSteps, 23);
  std::mt19937_64 rng(5);
  for (int run = 0; run < 12; ++run) {
    MemEnv mem;
    FaultEnv fault(&mem);
    int done = 0;
    {
      auto d = Folder(&fault, true, run % 2 == 0 ? 64 << 10 : 0);
      Workload w(d, 23);
      fault.PowerLossAt(1 + rng() % 2500, static_cast<FaultEnv::Loss>(run % 3), rng());
      done = RunUntilFailure(w, kSteps);
    }
    fault.Reboot();
    ExpectBeforeOrAfter(&mem, states, done, "coupure " + std::to_string(run));
  }
}

TEST(DurabilityTest, SingleOperationsCommitWithOneSyncAndSyncOffWithNone) {
  MemEnv mem;
  auto d = Folder(&mem);
  Workload w(d, 3);
  for (int i = 0; i < 40; ++i) {
    uint64_t before = d->Syncs();
    w.Step();
    EXPECT_EQ(d->Syncs() - before, 1u) << "étape " << i;
  }
  d->Synchro(false);
  uint64_t before = d->Syncs();
  for (int i = 0; i < 10; ++i) w.Step();
  EXPECT_EQ(d->Syncs(), before);
  w.CheckModel();
}

TEST(DurabilityTest, ABatchCommitsOnceAndUndoesAFailedOperationAlone) {
  constexpr int kSteps = 60;
  std::vector<std::string> states = Reference(kSteps, 19);
  // The n-th read of the batch fails (the first ones fall inside its first operations, before
  // or after that operation changed blocks): that operation alone is undone and tried again.
  // (The trees' headers are read at the commit only: the operations make five reads.)
  for (uint64_t n = 1; n <= 5; ++n) {
    MemEnv mem;
    FaultEnv fault(&mem);
    auto d = Folder(&fault);
    Workload w(d, 19);
    for (int16_t h = 1; h <= 2; ++h) {
      d->Arbre(h)->arbre->pager()->DropCache();
      d->Fichier(h)->fichier->pager()->DropCache();
    }
    uint64_t syncs = d->Syncs();
    {
      Lot lot(*d);
      fault.FailAt(FaultEnv::Op::kRead, n, platform::Code::kIoError);
      int failures = 0;
      while (w.steps() < kSteps && failures < 2) {
        try {
          w.Step();
        } catch (const ErreurService&) {
          ++failures;
        }
      }
      EXPECT_EQ(failures, 1) << n;
      EXPECT_EQ(d->Syncs(), syncs);  // nothing committed yet
      Status s = lot.Termine();
      ASSERT_TRUE(s.ok()) << s.message();
    }
    EXPECT_EQ(d->Syncs() - syncs, 1u);  // the redo log
    EXPECT_EQ(Workload::State(*d), states[kSteps]) << n;
    w.CheckModel();
    d.reset();
    ExpectBeforeOrAfter(&mem, states, kSteps, "lot");
  }
}

// A write of the files that fails past the commit point (after the state word and the redo
// log) never undoes the commit. Once (the disk had room again), the redo log is replayed at once,
// the handles reopened, and nothing failed: the step and the next ones are made. For good (a
// disk that stays full), the step fails with ErreurApresValidation carrying the first error, and
// the next opening, on a disk with room, finds the step made.
TEST(DurabilityTest, AWriteThatFailsPastTheCommitPointNeverUndoesTheCommit) {
  constexpr int kSteps = 10;
  std::vector<std::string> states = Reference(kSteps, 29);
  for (const bool plein : {false, true}) {
    MemEnv mem;
    FaultEnv fault(&mem);
    // Synchronisation off: each commit writes its blocks to the files before the lock goes.
    auto d = Folder(&fault, false);
    Workload w(d, 29);
    for (int i = 0; i < 5; ++i) w.Step();
    if (plein) {
      fault.FailFrom(FaultEnv::Op::kWrite, 3, platform::Code::kNoSpace);
      try {
        w.Step();
        ADD_FAILURE() << "l'étape 6 n'a pas échoué sur un disque plein";
      } catch (const ErreurApresValidation& e) {
        EXPECT_NE(std::string(e.what()).find("disque plein"), std::string::npos) << e.what();
      }
      d.reset();
      auto again = Folder(&mem);
      Workload w2(again, 29);
      EXPECT_EQ(Workload::State(*again), states[6]);
    } else {
      fault.FailAt(FaultEnv::Op::kWrite, 3, platform::Code::kIoError);
      for (int i = 5; i < kSteps; ++i) ASSERT_NO_THROW(w.Step()) << "étape " << i + 1;
      EXPECT_EQ(Workload::State(*d), states[kSteps]);
      w.CheckModel();
      d.reset();
    }
    FolderReport r;
    auto again = Folder(&mem);
    ASSERT_TRUE(VerifyFolder(&mem, kDir, DeclaredChains(*again), &r).ok());
    EXPECT_TRUE(r.problems.empty()) << plein;
  }
}

TEST(DurabilityTest, AReplayStopsAtTheLastCompleteTransactionOfATornRedoLog) {
  MemEnv mem;
  // The writes and syncs of step 9.
  uint64_t ops = 0;
  {
    MemEnv dry;
    FaultEnv fault(&dry);
    Workload w(Folder(&fault), 31);
    for (int i = 0; i < 8; ++i) w.Step();
    ops = fault.Count(FaultEnv::Op::kWrite) + fault.Count(FaultEnv::Op::kSync);
    w.Step();
    ops = fault.Count(FaultEnv::Op::kWrite) + fault.Count(FaultEnv::Op::kSync) - ops;
  }
  {
    FaultEnv fault(&mem);
    auto d = Folder(&fault);
    Workload w(d, 31);
    for (int i = 0; i < 8; ++i) w.Step();
    // The power goes at the last write of step 9, after the redo log's sync:
    // its transaction is in the redo log, and the files hold only what reached them synced (no
    // checkpoint ran yet): the redo log alone brings them to any commit.
    fault.PowerLossAt(ops, FaultEnv::Loss::kDrop, 1);
    EXPECT_THROW(w.Step(), ErreurService);
    fault.Reboot();
  }
  const std::string jpath = platform::JoinPath(kDir, kRedoLogName);
  const std::string redo_log = *mem.Contents(jpath);
  std::vector<std::string> states = Reference(9, 31);
  // Where the records end: the redo log grows by steps of zeros.
  size_t end = 64;
  while (end + 16 <= redo_log.size() && redo_log[end] != 0) end += 16 + Load32(&redo_log[end + 4]);
  ASSERT_LT(end, redo_log.size());
  std::string garbled = redo_log;
  garbled[end - 1] = static_cast<char>(garbled[end - 1] ^ 1);
  // Whole, every step is replayed; the last record cut or garbled, all but the last.
  for (auto [bytes, expected] :
       {std::pair<std::string, int>{redo_log, 9}, {redo_log.substr(0, end - 1), 8}, {garbled, 8}}) {
    MemEnv copy;
    for (const char* name : {"CLI.DAT", "LIG.DAT", "CLI.DAB", "CLI2.DAB", "VESK.LCK"}) {
      std::string path = platform::JoinPath(kDir, name);
      std::unique_ptr<platform::File> f;
      ASSERT_TRUE(copy.OpenFile(path, platform::OpenMode::kCreate, &f).ok());
      *copy.Contents(path) = *mem.Contents(path);
    }
    std::unique_ptr<platform::File> f;
    ASSERT_TRUE(copy.OpenFile(jpath, platform::OpenMode::kCreate, &f).ok());
    *copy.Contents(jpath) = bytes;
    auto d = Folder(&copy);
    Workload w(d, 0);
    EXPECT_EQ(Workload::State(*d), states[expected]) << "journal de " << bytes.size();
    EXPECT_TRUE(copy.Contents(jpath)->empty());
    FolderReport r;
    ASSERT_TRUE(VerifyFolder(&copy, kDir, DeclaredChains(*d), &r).ok());
    for (const std::string& p : r.problems) ADD_FAILURE() << bytes.size() << " : " << p;
  }
}

TEST(DurabilityTest, ADamagedNodeIsReportedNamingTheFileNeverRepaired) {
  MemEnv mem;
  {
    auto d = Folder(&mem);
    Workload w(d, 37);
    for (int i = 0; i < 40; ++i) w.Step();
  }
  std::string path = platform::JoinPath(kDir, "CLI.DAB");
  std::string before = *mem.Contents(path);
  ASSERT_GE(before.size(), 2 * 4096u);
  std::string& bytes = *mem.Contents(path);
  bytes[4096 + 100] = static_cast<char>(bytes[4096 + 100] ^ 0x40);  // a key of node 1
  std::string damaged = bytes;
  auto d = Folder(&mem);
  Workload w(d, 37);
  EXPECT_NE(Workload::State(*d).find("CLI.DAB endommagé : noeud 1 : somme de contrôle"),
            std::string::npos);
  FolderReport r;
  ASSERT_TRUE(VerifyFolder(&mem, kDir, DeclaredChains(*d), &r).ok());
  EXPECT_FALSE(r.problems.empty());
  EXPECT_EQ(*mem.Contents(path), damaged);  // nothing was changed
}

// A fresh folder of the system's temporary folder, removed at the end.
class RealFolder {
 public:
  RealFolder() {
    std::random_device rd;
    path_ = std::filesystem::temp_directory_path() / ("vesk-durab-" + std::to_string(rd()));
    std::filesystem::create_directories(path_);
  }
  ~RealFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::string str() const {
    std::u8string u8 = path_.u8string();
    return std::string(u8.begin(), u8.end());
  }

 private:
  std::filesystem::path path_;
};

TEST(DurabilityTest, AWriterWaitingTooLongGetsFolderLockedAndCachesFollowOtherUsers) {
  RealFolder dir;
  auto one = std::make_shared<DossierDonnees>(Env::Default(), dir.str());
  auto two = std::make_shared<DossierDonnees>(Env::Default(), dir.str());
  one->Synchro(false);
  two->Synchro(false);
  two->DelaiVerrou(30);
  Workload a(one, 41, 'A');
  Workload b(two, 43, 'B');
  for (int i = 0; i < 10; ++i) {
    a.Step();
    b.Step();
  }
  {
    Lot lot(*one);
    a.Step();  // the batch holds the exclusive lock until it ends
    try {
      b.Step();
      ADD_FAILURE() << "pas d'erreur de verrouillage";
    } catch (const ErreurService& e) {
      EXPECT_NE(std::string(e.what()).find("fichier verrouillé"), std::string::npos) << e.what();
      EXPECT_NE(std::string(e.what()).find(dir.str()), std::string::npos) << e.what();
    }
    ASSERT_TRUE(lot.Termine().ok());
  }
  for (int i = 0; i < 20; ++i) {
    b.Step();  // the step refused above, then more
    a.Step();
  }
  a.CheckModel();  // each sees the other's commits: its caches were dropped when needed
  b.CheckModel();
  FolderReport r;
  ASSERT_TRUE(VerifyFolder(Env::Default(), dir.str(), DeclaredChains(*one), &r).ok());
  for (const std::string& p : r.problems) ADD_FAILURE() << p;
}

TEST(DurabilityTest, AReadingBatchKeepsItsSharedLockUntilItEnds) {
  RealFolder dir;
  auto one = std::make_shared<DossierDonnees>(Env::Default(), dir.str());
  auto two = std::make_shared<DossierDonnees>(Env::Default(), dir.str());
  one->Synchro(false);
  two->Synchro(false);
  one->DelaiVerrou(30);
  two->DelaiVerrou(30);
  Workload a(one, 61, 'A');
  Workload b(two, 63, 'B');
  for (int i = 0; i < 10; ++i) {
    a.Step();
    b.Step();
  }
  {
    Lot lot(*one);
    a.CheckModel();                         // reads only: the shared lock stays held between them
    b.CheckModel();                         // another reader is let in
    EXPECT_THROW(b.Step(), ErreurService);  // a writer is not
    a.Step();                               // the batch itself may write: it takes the lock
    EXPECT_THROW(b.CheckModel(), ErreurService);
    ASSERT_TRUE(lot.Termine().ok());
  }
  b.Step();
  b.CheckModel();
  a.CheckModel();
}

}  // namespace
}  // namespace vesk::isam
