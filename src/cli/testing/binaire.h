// Test support for the tests that run the real vesk program as a child process: a fresh folder
// in the system's temporary folder, the run of `vesk ARGUMENTS` in it with its output, error
// stream and exit status, and the bytes of a file. For the *_test.cpp files of src/cli only.
#ifndef VESK_CLI_TESTING_BINAIRE_H_
#define VESK_CLI_TESTING_BINAIRE_H_

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/platform.h"

namespace vesk::cli::testing {

namespace fs = std::filesystem;

struct Execution {
  int status;  // the exit status; 128 + N when killed by signal N, 124 when it ran too long
  std::string sortie;
  std::string erreurs;
};

inline std::string Contenu(const fs::path& chemin) {
  std::ifstream in(chemin, std::ios::binary);
  std::stringstream tout;
  tout << in.rdbuf();
  return tout.str();
}

inline void Ecrit(const fs::path& chemin, const std::string& octets) {
  std::ofstream(chemin, std::ios::binary | std::ios::trunc) << octets;
}

class VeskTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dossier_ =
        fs::temp_directory_path() / ("vesk_bin_" + std::to_string(vesk::platform::HorlogeNs()));
    fs::create_directories(dossier_ / "donnees");
  }
  void TearDown() override {
    // A test may have taken the write bits away (a read-only folder): they come back first.
    std::error_code ignore;
    fs::permissions(dossier_, fs::perms::owner_all, fs::perm_options::add, ignore);
    for (auto i = fs::recursive_directory_iterator(dossier_, ignore);
         i != fs::recursive_directory_iterator(); i.increment(ignore)) {
      if (!i->is_symlink()) {
        fs::permissions(i->path(), fs::perms::owner_all, fs::perm_options::add, ignore);
      }
    }
    fs::remove_all(dossier_, ignore);
  }

  // Runs `env vesk arguments` in the test folder (arguments are trusted shell words), stopped
  // after a minute: a run that does not end is a failure of its own (status 124), never a hang
  // of the test.
  Execution Lance(const std::string& arguments, const std::string& env = "") {
    return LanceProgramme(VESK_BINAIRE, arguments, env);
  }
  // The same for another program of the build.
  Execution LanceProgramme(const std::string& programme, const std::string& arguments,
                           const std::string& env = "") {
    std::string commande = "cd '" + dossier_.string() + "' && env -u VESK_DATA " + env +
                           " timeout -k 5 60 '" + programme + "' " + arguments +
                           " >sortie.txt 2>erreurs.txt";
    int brut = std::system(commande.c_str());
    int status = WIFEXITED(brut) ? WEXITSTATUS(brut) : -1;
    return {status, Contenu(dossier_ / "sortie.txt"), Contenu(dossier_ / "erreurs.txt")};
  }

  fs::path dossier_;
};

}  // namespace vesk::cli::testing

#endif  // VESK_CLI_TESTING_BINAIRE_H_
