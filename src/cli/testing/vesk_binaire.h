// The fixture of the tests that run the real vesk program as a child process, in a fresh
// folder, and look at its output and exit status. One thread.
#ifndef VESK_CLI_TESTING_VESK_BINAIRE_H_
#define VESK_CLI_TESTING_VESK_BINAIRE_H_

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/platform.h"

namespace vesk::cli {

namespace fs = std::filesystem;

struct Execution {
  int status;
  std::string sortie;
  std::string erreurs;
};

inline std::string Contenu(const fs::path& chemin) {
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

}  // namespace vesk::cli

#endif  // VESK_CLI_TESTING_VESK_BINAIRE_H_
