// The layout migration on the files of a data folder, what only a folder has: the backup
// folder, chaining pointers moved, nothing left behind by a refusal, and the old set or the new
// one after a power loss at any write. What every store does is in the behaviour suite.
#include "srv/isam/migrate.h"

#include <filesystem>

#include "srv/isam/fault_env.h"
#include "srv/isam/migration_workload.h"
#include "srv/isam/replace_set.h"
#include "srv/isam/testing/engine.h"
#include "srv/isam/workload.h"

namespace vesk::isam::testing {
namespace {

namespace fs = std::filesystem;

// The records of a data file read straight from it: "+ bytes" live, "- bytes" deleted.
std::vector<std::string> Records(Env* env, const std::string& path) {
  std::unique_ptr<DataFile> f;
  DataFile::Options o;
  o.read_only = true;
  EXPECT_TRUE(DataFile::Open(env, path, 0, o, &f).ok()) << path;
  std::vector<std::string> out;
  if (!f) return out;
  std::string rec(f->RecordLength(), '\0');
  for (uint32_t no = 1; no <= f->LastRecord(); ++no) {
    bool deleted = false;
    EXPECT_TRUE(f->Read(no, rec).ok() && f->IsDeleted(no, &deleted).ok());
    out.push_back((deleted ? "- " : "+ ") + rec);
  }
  return out;
}

std::vector<fs::path> Backups(const fs::path& root) {
  std::vector<fs::path> out;
  for (const auto& e : fs::directory_iterator(root)) {
    if (e.path().filename().string().rfind(kBackupPrefix, 0) == 0) out.push_back(e.path());
  }
  return out;
}

class MigrateTest : public EngineTest {
 protected:
  // The workload's folder after some steps, then opened afresh with DIC.DAT at "VERSION 1".
  void Fill(int steps) {
    {
      Workload w(dossier_, 3);
      for (int i = 0; i < steps; ++i) w.Step();
    }
    Reopen();
    MigrationWorkload::Prepare(*dossier_);
  }
  // The plan of the workload with the name narrowed to n characters (copied, cut).
  static PlanMigration Narrowed(int32_t n) {
    PlanMigration p = MigrationWorkload::Plan();
    p.fichiers[0].pieces[3].longueur = n;
    return p;
  }
};

TEST_F(MigrateTest, RecordsKeepTheirNumbersAndTheBatchComesWithThem) {
  Fill(60);
  const std::vector<std::string> before = Records(Env::Default(), Path("CLI.DAT"));
  ASSERT_GT(before.size(), 10u);
  MigrationWorkload::Run(*dossier_);

  const std::vector<std::string> after = Records(Env::Default(), Path("CLI.DAT"));
  ASSERT_EQ(after.size(), before.size());
  for (size_t i = 0; i < before.size(); ++i) {
    const std::string& o = before[i];
    const std::string& n = after[i];
    ASSERT_EQ(n.size(), 2u + 48u);
    EXPECT_EQ(n[0], o[0]) << "enregistrement " << i + 1;  // live stays live, deleted deleted
    if (o[0] == '-') {
      EXPECT_EQ(n.substr(2), std::string(48, ' '));
      continue;
    }
    EXPECT_EQ(n.substr(2, 10), o.substr(2, 8) + "  ");
    EXPECT_EQ(n.substr(12, 2), "FR");
    EXPECT_EQ(n.substr(14, 4), o.substr(10, 4));
    EXPECT_EQ(n.substr(18, 18), o.substr(14, 18));
    EXPECT_EQ(n.substr(36, 6), o.substr(32, 6));  // the pointers, moved
    EXPECT_EQ(n.substr(42), std::string(8, ' '));
  }
  EXPECT_EQ(Records(Env::Default(), Path("DIC.DAT")).front().substr(2, 9), "VERSION 2");
  const std::vector<fs::path> saved = Backups(root_);
  ASSERT_EQ(saved.size(), 1u);
  for (const char* f : {"CLI.DAT", "CLI.DAB", "CLI2.DAB", "DIC.DAT"}) {
    EXPECT_TRUE(fs::exists(saved[0] / f)) << f;
  }
  EXPECT_EQ(Records(Env::Default(), (saved[0] / "CLI.DAT").string()), before);
  EXPECT_FALSE(fs::exists(root_ / "VESK.REC"));
  FolderReport r;
  ASSERT_TRUE(
      VerifyFolder(Env::Default(), dir_, {MigrationWorkload::Chaining(dir_, true)}, &r).ok());
  for (const std::string& p : r.problems) ADD_FAILURE() << p;
  EXPECT_GT(r.chained_lines, 0u);
}

// Values that would be cut are listed with their records and refuse the migration: the files,
// the batch and the folder stay as they were; cutting them is asked for with tronque.
TEST_F(MigrateTest, ValuesThatDoNotFitRefuseUnlessCuttingIsAsked) {
  Fill(40);
  const std::string before = MigrationWorkload::State(Env::Default(), dir_);
  auto dic = [&] { return Records(Env::Default(), Path("DIC.DAT")).front().substr(2, 9); };
  for (bool essai : {true, false}) {
    PlanMigration p = Narrowed(6);
    p.essai = essai;
    p.problemes_listes = 3;
    BilanMigration bilan;
    MigrateResult r;
    int16_t h = 0;
    donnee_->Donnee(false, "Dic", 16, h, nullptr, "", "", "", false);
    if (!essai) {
      ASSERT_TRUE(dossier_->DebutLot().ok());
      donnee_->EcrireFichier(h, 1, "VERSION 2");
    }
    SuiviMuet muet;
    EXPECT_FALSE(Migrate(*dossier_, p, &muet, &bilan, &r).ok());
    EXPECT_TRUE(r.refused);
    EXPECT_NE(bilan.refus.find("valeur(s) ne tiennent pas"), std::string::npos) << bilan.refus;
    ASSERT_EQ(bilan.fichiers.size(), 1u);
    ASSERT_EQ(bilan.fichiers[0].lieux.size(), 1u);
    const BilanMigration::Lieu& l = bilan.fichiers[0].lieux[0];
    EXPECT_GT(l.problemes, 3);
    ASSERT_EQ(l.premiers.size(), 3u);
    EXPECT_EQ(l.premiers[0].variable, "NOM");
    EXPECT_NE(l.premiers[0].raison.find("ne tient pas dans 6"), std::string::npos)
        << l.premiers[0].raison;
    EXPECT_GT(l.premiers[1].enregistrement, l.premiers[0].enregistrement);
    EXPECT_EQ(MigrationWorkload::State(Env::Default(), dir_), before);
    EXPECT_EQ(dic(), "VERSION 1");
    EXPECT_TRUE(Backups(root_).empty());
    EXPECT_FALSE(fs::exists(root_ / "VESK.REC"));
    EXPECT_FALSE(fs::exists(root_ / "CLI.DAT.NEUF"));
  }
  Reopen();
  const std::vector<std::string> anciens = Records(Env::Default(), Path("CLI.DAT"));
  ASSERT_TRUE(dossier_->DebutLot().ok());
  PlanMigration p = Narrowed(6);
  p.tronque = true;
  BilanMigration bilan;
  MigrateResult r;
  SuiviMuet muet;
  ASSERT_TRUE(Migrate(*dossier_, p, &muet, &bilan, &r).ok()) << bilan.refus;
  EXPECT_TRUE(bilan.en_place);
  // Each live record's name cut to its first 6 characters (a deleted one is blank).
  const std::vector<std::string> nouveaux = Records(Env::Default(), Path("CLI.DAT"));
  ASSERT_EQ(nouveaux.size(), anciens.size());
  for (size_t i = 0; i < nouveaux.size(); ++i) {
    if (anciens[i][0] == '-') continue;
    EXPECT_EQ(nouveaux[i].substr(18, 6), anciens[i].substr(14, 6)) << "enregistrement " << i + 1;
  }
}

// A power cut at any write or sync of the migration leaves, once the folder is opened again,
// the old files with the batch undone or the new files with the batch, never a mix.
TEST(MigrateDurabilityTest, PowerLossAtEveryWriteLeavesTheOldSetOrTheNew) {
  const std::string dir = "/d";
  auto start = [&](MemEnv* mem) {
    auto d = std::make_shared<DossierDonnees>(mem, dir, "", 1 << 20);
    MigrationWorkload::Prepare(*d);
    Workload w(d, 5);
    for (int i = 0; i < 30; ++i) w.Step();
  };
  std::string before, after;
  uint64_t total = 0;
  {
    MemEnv mem;
    start(&mem);
    before = MigrationWorkload::State(&mem, dir);
    FaultEnv fault(&mem);
    auto d = std::make_shared<DossierDonnees>(&fault, dir, "", 1 << 20);
    const uint64_t n0 = fault.Count(FaultEnv::Op::kWrite) + fault.Count(FaultEnv::Op::kSync);
    MigrationWorkload::Run(*d);
    total = fault.Count(FaultEnv::Op::kWrite) + fault.Count(FaultEnv::Op::kSync) - n0;
    after = MigrationWorkload::State(&mem, dir);
  }
  ASSERT_NE(before, after);
  ASSERT_GT(total, 20u);
  for (FaultEnv::Loss loss : {FaultEnv::Loss::kDrop, FaultEnv::Loss::kTear}) {
    for (uint64_t k = 1; k <= total; ++k) {
      MemEnv mem;
      start(&mem);
      FaultEnv fault(&mem);
      {
        auto d = std::make_shared<DossierDonnees>(&fault, dir, "", 1 << 20);
        fault.PowerLossAt(k, loss, k * 17);
        try {
          MigrationWorkload::Run(*d);
        } catch (const ErreurService&) {
        }
      }
      fault.Reboot();
      auto d = std::make_shared<DossierDonnees>(&mem, dir, "", 1 << 20);
      ASSERT_TRUE(d->Reprise().ok()) << "coupure à l'écriture " << k;
      const std::string now = MigrationWorkload::State(&mem, dir);
      ASSERT_TRUE(now == before || now == after) << "coupure à l'écriture " << k;
      FolderReport r;
      ASSERT_TRUE(
          VerifyFolder(&mem, dir, {MigrationWorkload::Chaining(dir, now == after)}, &r).ok());
      for (const std::string& p : r.problems) ADD_FAILURE() << "coupure " << k << " : " << p;
    }
  }
}

}  // namespace
}  // namespace vesk::isam::testing
