// The vesk program on a database store, against the PostgreSQL server VESK_PG_URI names (the
// tests are skipped without one): the demo copied into the database and back, whole; the
// component's commands giving on the database what they give on the folder.
#ifdef VESK_AVEC_PG
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "srv/isam/btree.h"
#include "srv/isam/data_file.h"
#include "srv/isam/verify.h"
#include "srv/pg/outils_pg.h"

namespace {

namespace fs = std::filesystem;

std::string Contenu(const fs::path& chemin) {
  std::ifstream in(chemin, std::ios::binary);
  std::stringstream tout;
  tout << in.rdbuf();
  return tout.str();
}

// What a folder holds: each text by its bytes, each data file by its header's values and its
// records, each B-tree by its header's values and its entries (a tree built key by key and one
// loaded in bulk differ in their nodes; a file's count of commits is its own).
std::map<std::string, std::string> Donnees(const fs::path& dossier) {
  std::map<std::string, std::string> out;
  for (const auto& e : fs::recursive_directory_iterator(dossier)) {
    const std::string ext = e.path().extension().string();
    const std::string nom = fs::relative(e.path(), dossier).string();
    if (ext == ".DOM") out[nom] = Contenu(e.path());
    if (ext == ".DAT") {
      std::unique_ptr<vesk::isam::DataFile> f;
      vesk::isam::DataFile::Options options;
      options.read_only = true;
      EXPECT_TRUE(
          vesk::isam::DataFile::Open(vesk::isam::Env::Default(), e.path().string(), 0, options, &f)
              .ok());
      if (f == nullptr) continue;
      const vesk::isam::DataHeader& h = f->Header();
      std::string& s = out[nom];
      s = std::to_string(h.version) + " " + std::to_string(h.record_length) + " " +
          std::to_string(h.last_record) + " " + std::to_string(h.deleted) + " " + h.label + "\n";
      std::string octets(h.record_length, '\0');
      for (uint32_t no = 1; no <= h.last_record; ++no) {
        bool supprime = false;
        EXPECT_TRUE(f->Read(no, octets).ok() && f->IsDeleted(no, &supprime).ok());
        s += (supprime ? "-" : "+") + octets + "\n";
      }
    }
    if (ext != ".DAB") continue;
    std::unique_ptr<vesk::isam::BTree> t;
    EXPECT_TRUE(
        vesk::isam::BTree::OpenAsMade(vesk::isam::Env::Default(), e.path().string(), {}, &t).ok());
    if (t == nullptr) continue;
    vesk::isam::BTreeHeader h;
    EXPECT_TRUE(t->Header(&h).ok());
    std::string& s = out[nom];
    s = std::to_string(h.key_length) + h.nature + h.indexed_file + "\n";
    EXPECT_TRUE(t->ForEach([&](std::string_view cle, uint32_t no) {
                   s += std::string(cle) + " " + std::to_string(no) + "\n";
                   return true;
                 }).ok());
  }
  return out;
}

// A listing or a program without the date and time it was made.
std::string SansDate(const std::string& texte) {
  static const std::regex date(R"(\d\d/\d\d/\d\d\d\d( \d\d:\d\d(:\d\d)?)?)");
  return std::regex_replace(texte, date, "<date>");
}

class VeskSurPostgresql : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* uri = std::getenv("VESK_PG_URI");
    if (uri == nullptr || *uri == '\0') GTEST_SKIP() << "VESK_PG_URI ne désigne aucun serveur";
    uri_ = uri;
    dossier_ =
        fs::temp_directory_path() / ("vesk_pg_" + std::to_string(vesk::platform::HorlogeNs()));
    fs::create_directories(dossier_);
  }
  void TearDown() override {
    for (const std::string& s : schemas_) vesk::pg::EffaceSchemas(uri_, s);
    if (!dossier_.empty()) fs::remove_all(dossier_);
  }
  // The URI of a store of its own for this test.
  std::string Base(const std::string& nom) {
    const std::string schema = "t" + std::to_string(vesk::platform::HorlogeNs()) + "_" + nom;
    schemas_.push_back(schema);
    return uri_ + (uri_.find('?') == std::string::npos ? "?" : "&") + "schema=" + schema;
  }
  // Runs vesk with arguments in the test folder; its exit status, the output then the errors.
  std::pair<int, std::string> Lance(const std::string& arguments) {
    const std::string commande = "cd '" + dossier_.string() + "' && env -u VESK_DATA '" +
                                 VESK_BINAIRE + "' " + arguments + " >sortie.txt 2>erreurs.txt";
    const int brut = std::system(commande.c_str());
    return {WIFEXITED(brut) ? WEXITSTATUS(brut) : -1,
            Contenu(dossier_ / "sortie.txt") + Contenu(dossier_ / "erreurs.txt")};
  }
  void Reussit(const std::string& arguments) {
    auto [status, texte] = Lance(arguments);
    ASSERT_EQ(status, 0) << arguments << "\n" << texte;
  }

  std::string uri_;
  fs::path dossier_;
  std::vector<std::string> schemas_;
};

// The demo into a database and back: the records, keys and texts come back as they were; a
// second round trip gives the same bytes; a destination holding data is refused.
TEST_F(VeskSurPostgresql, TheDemoGoesIntoTheDatabaseAndBackWhole) {
  Reussit("demo d1");
  const std::string b1 = Base("a"), b2 = Base("b");
  Reussit("copie d1 '" + b1 + "'");
  Reussit("copie '" + b1 + "' d2");
  EXPECT_EQ(Donnees(dossier_ / "d2"), Donnees(dossier_ / "d1"));
  Reussit("copie d2 '" + b2 + "'");
  Reussit("copie '" + b2 + "' d3");
  // Copies of copies are the same to the byte.
  for (const auto& [nom, octets] : Donnees(dossier_ / "d2")) {
    EXPECT_EQ(Contenu(dossier_ / "d3" / nom), Contenu(dossier_ / "d2" / nom)) << nom;
  }
  vesk::isam::RapportVerif rapport;
  const std::string d3 = (dossier_ / "d3").string();
  std::vector<vesk::isam::ChainageVerif> chainages;
  ASSERT_TRUE(vesk::isam::ChainagesDuDictionnaire(vesk::isam::Env::Default(), d3, {d3 + "/01"},
                                                  &chainages, &rapport)
                  .ok());
  ASSERT_TRUE(vesk::isam::VerifieDossier(vesk::isam::Env::Default(), d3, chainages, &rapport).ok());
  EXPECT_TRUE(rapport.problemes.empty()) << rapport.problemes.front();
  EXPECT_EQ(rapport.lignes_chainees, 2297u);

  auto [dans_base, texte_base] = Lance("copie d1 '" + b1 + "'");
  EXPECT_EQ(dans_base, 1);
  EXPECT_NE(texte_base.find("une copie va dans une base vide"), std::string::npos) << texte_base;
  auto [dans_dossier, texte_dossier] = Lance("copie '" + b1 + "' d1");
  EXPECT_EQ(dans_dossier, 1);
  EXPECT_NE(texte_dossier.find("une copie va dans un dossier vide"), std::string::npos)
      << texte_dossier;
  auto [sens, texte_sens] = Lance("copie d1 d2");
  EXPECT_EQ(sens, 1);
  EXPECT_NE(texte_sens.find("un dossier de données et une base"), std::string::npos);
}

// The commands that read the dictionary and the data give the same listings and programs on
// the database as on the folder; the rebuild leaves the same records and keys.
TEST_F(VeskSurPostgresql, TheCommandsGiveOnTheDatabaseWhatTheyGiveOnTheFolder) {
  Reussit("demo dossier");
  const std::string b = Base("c");
  Reussit("copie dossier '" + b + "'");
  fs::create_directories(dossier_ / "base");
  std::ofstream(dossier_ / "base" / "vesk.ini")
      << Contenu(dossier_ / "dossier" / "vesk.ini") << "stockage = " << b << "\n";
  const std::vector<std::string> commandes = {"export",
                                              "decl CLIENT",
                                              "genps CLIENT",
                                              "genpe CLIENT",
                                              "genpe FACTUR --edition",
                                              "edtfic CLIENT --output r.txt",
                                              "edtlfic --output r.txt",
                                              "ficapp --output r.txt",
                                              "edtdom --output r.txt",
                                              "reconsba --tous",
                                              "export"};
  for (const std::string& c : commandes) {
    std::string sorties[2];
    for (int i = 0; i < 2; ++i) {
      fs::remove(dossier_ / "r.txt");
      auto [status, texte] = Lance("--data " + std::string(i == 0 ? "dossier " : "base ") + c);
      ASSERT_EQ(status, 0) << c << "\n" << texte;
      // The rebuild's times differ from run to run.
      sorties[i] = SansDate(std::regex_replace(texte + Contenu(dossier_ / "r.txt"),
                                               std::regex(R"(\(\d+[.,]\d+ s\))"), "(<s>)"));
    }
    EXPECT_EQ(sorties[1], sorties[0]) << c;
  }
  Reussit("copie '" + b + "' retour");
  std::map<std::string, std::string> dossier = Donnees(dossier_ / "dossier");
  dossier.erase("EDITIONS");
  EXPECT_EQ(Donnees(dossier_ / "retour"), dossier);
  // The B-tree inspection reads the database's own figures.
  std::ofstream(dossier_ / "lecture.script") << "choose 2\n";
  Reussit("--data base --script lecture.script lectba --output dom.txt");
  const std::string dom = Contenu(dossier_ / "dom.txt");
  EXPECT_NE(dom.find("PAYS|REGLT|TVA"), std::string::npos) << dom;
}

}  // namespace
#endif
