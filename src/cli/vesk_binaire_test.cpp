// Runs the real vesk program as a child process and checks its output and exit status.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/platform.h"

namespace {

namespace fs = std::filesystem;

struct Execution {
  int status;
  std::string sortie;
  std::string erreurs;
};

std::string Contenu(const fs::path& chemin) {
  std::ifstream in(chemin, std::ios::binary);
  std::stringstream tout;
  tout << in.rdbuf();
  return tout.str();
}

class VeskTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dossier_ =
        fs::temp_directory_path() / ("vesk_bin_" + std::to_string(vesk::platform::HorlogeNs()));
    fs::create_directories(dossier_ / "donnees");
  }
  void TearDown() override { fs::remove_all(dossier_); }

  // Runs `env vesk arguments` in the test folder (arguments are trusted shell words).
  Execution Lance(const std::string& arguments, const std::string& env = "") {
    std::string commande = "cd '" + dossier_.string() + "' && env -u VESK_DATA " + env + " '" +
                           VESK_BINAIRE + "' " + arguments + " >sortie.txt 2>erreurs.txt";
    int brut = std::system(commande.c_str());
    int status = WIFEXITED(brut) ? WEXITSTATUS(brut) : -1;
    return {status, Contenu(dossier_ / "sortie.txt"), Contenu(dossier_ / "erreurs.txt")};
  }

  fs::path dossier_;
};

TEST_F(VeskTest, HelpAndVersion) {
  Execution aide = Lance("--help");
  EXPECT_EQ(aide.status, 0);
  for (const char* option :
       {"--data", "--entreprise", "--script", "--encoding", "--eol", "--output", "--version"}) {
    EXPECT_NE(aide.sortie.find(option), std::string::npos) << option;
  }
  EXPECT_NE(aide.sortie.find("config"), std::string::npos);  // the commands are listed
  Execution version = Lance("--version");
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.sortie, "vesk " VESK_VERSION "\n");
}

TEST_F(VeskTest, ErrorsEndWithAMessageAndStatusOne) {
  Execution inconnue = Lance("--data donnees entfoo");
  EXPECT_EQ(inconnue.status, 1);
  EXPECT_EQ(inconnue.sortie, "");
  EXPECT_NE(inconnue.erreurs.find("commande inconnue"), std::string::npos) << inconnue.erreurs;
  EXPECT_NE(inconnue.erreurs.find("entfoo"), std::string::npos);

  Execution absent = Lance("--data manquant config");
  EXPECT_EQ(absent.status, 1);
  EXPECT_NE(absent.erreurs.find("(manquant)"), std::string::npos) << absent.erreurs;
  EXPECT_NE(absent.erreurs.find("introuvable"), std::string::npos);

  Execution env = Lance("config", "VESK_DATA=ailleurs");
  EXPECT_EQ(env.status, 1);
  EXPECT_NE(env.erreurs.find("(ailleurs)"), std::string::npos) << env.erreurs;
  EXPECT_NE(env.erreurs.find("VESK_DATA"), std::string::npos);

  for (const char* faute : {"--bogus", "--eol cr", "--encoding latin1", "--data", "config x"}) {
    Execution e = Lance(faute);
    EXPECT_EQ(e.status, 1) << faute;
    EXPECT_NE(e.erreurs.find("vesk : "), std::string::npos) << faute << " : " << e.erreurs;
  }
}

TEST_F(VeskTest, ConfigShowsFileOptionsAndWritesTheOutputFile) {
  std::ofstream(dossier_ / "donnees" / "vesk.ini") << "application = Ventes\nentreprise = A\n";
  Execution e = Lance("--entreprise B --eol lf --output config.txt config", "VESK_DATA=donnees");
  EXPECT_EQ(e.status, 0) << e.erreurs;
  EXPECT_EQ(e.sortie, "");
  std::string texte = Contenu(dossier_ / "config.txt");
  EXPECT_NE(texte.find("dossier = donnees\n"), std::string::npos) << texte;
  EXPECT_NE(texte.find("application = Ventes\n"), std::string::npos) << texte;
  EXPECT_NE(texte.find("entreprise = B\n"), std::string::npos) << texte;
  EXPECT_NE(texte.find("fins de ligne du code généré = lf"), std::string::npos) << texte;

  std::ofstream(dossier_ / "donnees" / "vesk.ini") << "synchro = off\nsynchro = full\n";
  Execution mauvais = Lance("--data donnees");
  EXPECT_EQ(mauvais.status, 1);
  EXPECT_NE(mauvais.erreurs.find("vesk.ini, ligne 2"), std::string::npos) << mauvais.erreurs;
}

}  // namespace
