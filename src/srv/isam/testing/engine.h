// Test support for the storage services: a fresh data folder in the system's temporary folder,
// the three services over it, an owner object keeping the current fields of its files, and the
// verifier run at the end of a test. For the *_test.cpp files of this folder only.
#ifndef VESK_SRV_ISAM_TESTING_ENGINE_H_
#define VESK_SRV_ISAM_TESTING_ENGINE_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>

#include "srv/erreur_service.h"
#include "srv/isam/dossier.h"
#include "srv/isam/srv_barbre_impl.h"
#include "srv/isam/srv_chainage_impl.h"
#include "srv/isam/srv_donnee_impl.h"
#include "srv/isam/verify.h"
#include "srv/testing/proprio.h"

namespace vesk::isam::testing {

using ::vesk::essai::Proprio;

class EngineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::random_device random;
    root_ = std::filesystem::temp_directory_path() /
            ("vesk-isam-" + std::to_string(random()) + std::to_string(random()));
    std::filesystem::create_directories(root_);
    std::u8string u8 = root_.u8string();
    dir_ = std::string(u8.begin(), u8.end());
    Reopen();
  }
  void TearDown() override {
    CloseAll();
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }

  // A new data-folder object and services over the same folder (files reopened by the test).
  void Reopen(std::string entreprise = "") {
    CloseAll();
    dossier_ = std::make_shared<DossierDonnees>(Env::Default(), dir_, entreprise, 1 << 20);
    dossier_->Synchro(false);
    donnee_ = std::make_unique<SrvDonneeImpl>(dossier_);
    barbre_ = std::make_unique<SrvBArbreImpl>(dossier_);
    chainage_ = std::make_unique<SrvChainageImpl>(dossier_);
  }
  void CloseAll() {
    donnee_.reset();
    barbre_.reset();
    chainage_.reset();
    dossier_.reset();
    proprios_.clear();
  }

  // Opens (creating) data file nom with an owner kept by the fixture.
  Proprio& Ouvre(const std::string& nom, int16_t longueur, bool dependance = false) {
    auto p = std::make_unique<Proprio>(donnee_.get(), nom);
    Proprio& ref = *p;
    donnee_->Donnee(dependance, nom, longueur, ref.fichier, &ref, "", "", "", true);
    proprios_.push_back(std::move(p));
    return ref;
  }

  // Flushes everything and runs the verifier; the test fails on any problem.
  void Verify() {
    ASSERT_TRUE(dossier_->Ecrit().ok());
    FolderReport r;
    ASSERT_TRUE(VerifyFolder(Env::Default(), dir_, DeclaredChains(*dossier_), &r).ok());
    for (const std::string& p : r.problems) ADD_FAILURE() << p;
  }

  std::string Path(std::string_view name) const { return platform::JoinPath(dir_, name); }
  uint64_t Size(std::string_view name) const {
    std::error_code ec;
    return std::filesystem::file_size(root_ / std::string(name), ec);
  }

  std::filesystem::path root_;
  std::string dir_;
  std::shared_ptr<DossierDonnees> dossier_;
  std::unique_ptr<SrvDonneeImpl> donnee_;
  std::unique_ptr<SrvBArbreImpl> barbre_;
  std::unique_ptr<SrvChainageImpl> chainage_;
  std::vector<std::unique_ptr<Proprio>> proprios_;
};

// The folder of the durability tests, in an Env of their own (MemEnv, FaultEnv).
inline constexpr char kDossierTest[] = "/d";

// A folder object over kDossierTest of env: synchronisation full or off; seuil the redo log's
// checkpoint threshold (0: the default; 1: a checkpoint at every commit); a cache of cache bytes.
inline std::shared_ptr<DossierDonnees> DossierDe(Env* env, bool full = true, uint64_t seuil = 0,
                                                 size_t cache = 1 << 20) {
  auto d = std::make_shared<DossierDonnees>(env, kDossierTest, "", cache);
  d->Synchro(full);
  if (seuil != 0) d->SeuilJournal(seuil);
  return d;
}

// Runs statement and expects an ErreurService whose message contains part.
#define EXPECT_ERREUR(statement, part)                                            \
  do {                                                                            \
    try {                                                                         \
      statement;                                                                  \
      ADD_FAILURE() << "pas d'erreur pour " #statement;                           \
    } catch (const ::vesk::ErreurService& e) {                                    \
      EXPECT_NE(std::string(e.what()).find(part), std::string::npos) << e.what(); \
    }                                                                             \
  } while (0)

}  // namespace vesk::isam::testing

#endif  // VESK_SRV_ISAM_TESTING_ENGINE_H_
