// The copy between a data folder and a database store when the source is damaged: the copy is
// refused with what is wrong, and no phase of its progress stays shown under the error. Against
// the PostgreSQL server VESK_PG_URI names (skipped without one).
#include "srv/pg/copie_pg.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>

#include "srv/erreur_service.h"
#include "srv/isam/btree.h"
#include "srv/isam/data_file.h"
#include "srv/pg/outils_pg.h"

namespace vesk::pg {
namespace {

struct SuiviCompte final : SuiviProgression {
  void Debut(std::string_view, int64_t) override { ++ouvertes; }
  void Avance(int64_t) override {}
  void Fin() override { --ouvertes; }
  int ouvertes = 0;
};

// A folder with CLI.DAT (4 records of 8) and its tree CLI1.DAB (keys of 3), copied into a root
// schema of its own.
class CopiePostgresql : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* uri = std::getenv("VESK_PG_URI");
    if (uri == nullptr || *uri == '\0') GTEST_SKIP() << "VESK_PG_URI ne désigne aucun serveur";
    uri_ = uri;
    std::random_device r;
    const std::string n = std::to_string(r()) + std::to_string(r());
    schema_ = "copie_" + n;
    dossier_ = std::filesystem::temp_directory_path() / ("vesk-copie-" + n);
    std::filesystem::create_directories(dossier_ / "source");
    isam::Env* env = isam::Env::Default();
    std::unique_ptr<isam::DataFile> f;
    isam::DataFile::Options options;
    options.create = true;
    ASSERT_TRUE(
        isam::DataFile::Open(env, (dossier_ / "source" / "CLI.DAT").string(), 8, options, &f).ok());
    std::unique_ptr<isam::BTree> t;
    ASSERT_TRUE(
        isam::BTree::Open(env, (dossier_ / "source" / "CLI1.DAB").string(), 3, 'P', "CLI", true, &t)
            .ok());
    for (uint32_t no = 1; no <= 4; ++no) {
      const std::string cle(3, static_cast<char>('A' + no));
      const std::string octets = cle + "texte";
      ASSERT_TRUE(f->Write(no, std::span<const char>(octets.data(), octets.size())).ok());
      ASSERT_TRUE(t->Insert(cle, no).ok());
    }
    ASSERT_TRUE(f->Sync().ok());
    ASSERT_TRUE(t->Sync().ok());
    base_ = OuvreBase(uri_, schema_, false);
    SuiviCompte suivi;
    BilanCopie bilan;
    CopieVersBase((dossier_ / "source").string(), *base_, suivi, &bilan);
    EXPECT_EQ(bilan.enregistrements, 4u);
    EXPECT_EQ(suivi.ouvertes, 0);
  }
  void TearDown() override {
    base_.reset();
    if (!schema_.empty()) EffaceSchemas(uri_, schema_);
    std::error_code ignore;
    std::filesystem::remove_all(dossier_, ignore);
  }
  void Execute(const std::string& sql) { base_->Lit("Essai", sql, sql, Parametres()); }
  std::string Table(std::string_view prefixe, std::string_view nom) {
    return BasePg::Table(Lieu{"", base_->Adresse().racine}, prefixe, nom);
  }
  // Copies the store back into a new folder: the error, and the phases left open.
  std::pair<std::string, int> CopieRetour() {
    SuiviCompte suivi;
    BilanCopie bilan;
    std::string erreur;
    try {
      CopieVersDossier(*base_, (dossier_ / "retour").string(), suivi, &bilan);
    } catch (const ErreurService& e) {
      erreur = e.what();
    }
    EXPECT_FALSE(std::filesystem::exists(dossier_ / "retour" / "CLI.DAT"));
    return {erreur, suivi.ouvertes};
  }

  std::string uri_, schema_;
  std::filesystem::path dossier_;
  std::shared_ptr<BasePg> base_;
};

TEST_F(CopiePostgresql, ADamagedSourceEndsEveryPhaseOfTheProgress) {
  Execute("DELETE FROM " + Table("d_", "CLI") + " WHERE no = 2");
  auto [erreur, ouvertes] = CopieRetour();
  EXPECT_NE(erreur.find("l'enregistrement 2 manque à la table (base endommagée)"),
            std::string::npos)
      << erreur;
  EXPECT_EQ(ouvertes, 0);

  Execute("INSERT INTO " + Table("d_", "CLI") +
          " (no, supprime, octets) VALUES (2, false, 'CCCtexte')");
  Execute("UPDATE " + Table("b_", "CLI1") + " SET cle = 'DD' WHERE no = 3");
  std::tie(erreur, ouvertes) = CopieRetour();
  EXPECT_NE(erreur.find("une clé n'a pas la longueur 3 (base endommagée)"), std::string::npos)
      << erreur;
  EXPECT_EQ(ouvertes, 0);
}

// A copy that fails (here a truncated CLI.DAT) leaves the database as it found it: a root schema
// that was not there is not there after; a schema that was there, with or without a catalog,
// holds what it held.
TEST_F(CopiePostgresql, AFailedCopyLeavesTheDatabaseAsItFoundIt) {
  const std::filesystem::path cli = dossier_ / "source" / "CLI.DAT";
  std::filesystem::resize_file(cli, std::filesystem::file_size(cli) - 3);
  const std::string neuf = schema_ + "_neuf", a_moi = schema_ + "_amoi", vide = schema_ + "_vide";
  Execute("CREATE SCHEMA " + a_moi);
  Execute("CREATE TABLE " + a_moi + ".a_moi (x integer)");
  OuvreBase(uri_, vide, false)->Lit("Essai", vide, "SELECT 1", Parametres());
  auto tables = [&](const std::string& schema) {
    Parametres p;
    p.Texte(schema);
    const Resultat r =
        base_->Lit("Essai", schema,
                   "SELECT (SELECT count(*) FROM pg_namespace WHERE nspname = $1)::text || ':' || "
                   "coalesce(string_agg(tablename, ',' ORDER BY tablename), '') FROM pg_tables "
                   "WHERE schemaname = $1",
                   p);
    return std::string(r.Octets(0, 0));
  };
  const std::string vide_avant = tables(vide);
  EXPECT_EQ(vide_avant, "1:vesk_arbres,vesk_fichiers,vesk_structure,vesk_textes");
  for (const std::string& schema : {neuf, a_moi, vide}) {
    SuiviCompte suivi;
    BilanCopie bilan;
    try {
      CopieVersBase((dossier_ / "source").string(), *OuvreBase(uri_, schema, false), suivi, &bilan);
      ADD_FAILURE() << "pas d'erreur pour " << schema;
    } catch (const ErreurService& e) {
      EXPECT_NE(std::string(e.what()).find("CLI.DAT : fichier tronqué"), std::string::npos)
          << e.what();
    }
  }
  EXPECT_EQ(tables(neuf), "0:");
  EXPECT_EQ(tables(a_moi), "1:a_moi");
  EXPECT_EQ(tables(vide), vide_avant);
}

}  // namespace
}  // namespace vesk::pg
