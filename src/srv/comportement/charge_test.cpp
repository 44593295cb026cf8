// A long seeded sequence of operations (customers, their secondary keys, chained lines,
// renamings, removals) leaves every store in the same state, to the byte, as the engine's
// workload in memory.
#include <chrono>
#include <thread>

#include "srv/comportement/magasin_essai.h"
#include "srv/isam/env.h"
#include "srv/isam/workload.h"
#ifdef VESK_AVEC_PG
#include "srv/pg/outils_pg.h"
#endif

namespace vesk::essai {
namespace {

class ChargeTest : public ::testing::TestWithParam<std::string> {};

TEST_P(ChargeTest, TheWorkloadLeavesTheSameStateOnEveryStore) {
  constexpr int kPas = 400;
  isam::MemEnv mem;
  auto memoire = std::make_shared<isam::DossierDonnees>(&mem, "/m", "", 1 << 20);
  isam::Workload reference(memoire, 7);
  for (int i = 0; i < kPas; ++i) reference.Step();
  const std::string attendu = isam::Workload::State(*memoire);
  if (GetParam() == "dossier") {
    MagasinDossier m;  // a folder of its own, removed at the end
    auto d = std::make_shared<isam::DossierDonnees>(isam::Env::Default(), m.Racine(), "", 1 << 20);
    d->Synchro(false);
    isam::Workload w(d, 7);
    for (int i = 0; i < kPas; ++i) w.Step();
    w.CheckModel();
    EXPECT_EQ(isam::Workload::State(*d), attendu);
    return;
  }
#ifdef VESK_AVEC_PG
  if (ServeurEssai().empty()) GTEST_SKIP() << "VESK_PG_URI ne désigne aucun serveur PostgreSQL";
  const std::string schema = "essai_" + Aleatoire();
  {
    auto b = pg::OuvreBase(ServeurEssai(), schema, false);
    std::unique_ptr<isam::Workload> w = pg::WorkloadBase(b, 7);
    for (int i = 0; i < kPas; ++i) w->Step();
    w->CheckModel();
    EXPECT_EQ(pg::EtatBase(*b), attendu);
  }
  pg::EffaceSchemas(ServeurEssai(), schema);
#endif
}

#ifdef VESK_AVEC_PG
// A writer killed after sending its commit leaves its session on the server until the server
// has run it: a state read meanwhile must wait for that transaction, not mix the tables read
// before it ends with those read after.
TEST(EtatBaseTest, WaitsForAWriterStillInItsTransaction) {
  if (ServeurEssai().empty()) GTEST_SKIP() << "VESK_PG_URI ne désigne aucun serveur PostgreSQL";
  const std::string schema = "essai_" + Aleatoire();
  {
    auto ecrivain = pg::OuvreBase(ServeurEssai(), schema, false);
    std::unique_ptr<isam::Workload> w = pg::WorkloadBase(ecrivain, 7);
    for (int i = 0; i < 10; ++i) w->Step();
    auto lecteur = pg::OuvreBase(ServeurEssai(), schema, false);
    std::unique_ptr<isam::Workload> ouvre = pg::WorkloadBase(lecteur, 7);
    ecrivain->DebutLot();
    for (int i = 0; i < 4; ++i) w->Step();
    std::thread fin([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      ecrivain->FinLot();
    });
    const std::string vu = pg::EtatBase(*lecteur);
    fin.join();
    EXPECT_EQ(vu, pg::EtatBase(*ecrivain));
  }
  pg::EffaceSchemas(ServeurEssai(), schema);
}
#endif

INSTANTIATE_TEST_SUITE_P(Stockages, ChargeTest, ::testing::ValuesIn(Stockages()), NomDuStockage);

}  // namespace
}  // namespace vesk::essai
