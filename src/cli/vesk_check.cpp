// vesk-check DIR: checks the data files, B-trees and dictionary chainings of a data folder and
// its company sub-folders, and, when the folder holds a dictionary, that every key of each
// table's tree is the key its record gives (the table's key list over the file's fields), and
// prints what is wrong. Exit status 0 when the folder is sound, 1 when problems were found or
// the folder cannot be read, 2 for a usage error. It reads the committed state: a commit that
// a writer which died left in the redo log is first finished, as any user of the folder would;
// otherwise it changes nothing.
#include <cstdio>
#include <string>
#include <vector>

#include "cli/verification.h"
#include "srv/isam/dossier.h"
#include "srv/isam/env.h"
#include "srv/isam/verify.h"

using namespace vesk::isam;

int main(int argc, char** argv) {
  // Exit statuses as vesk's: 0 correct, 1 problems found or the folder unreadable, 2 usage.
  if (argc == 2 && (std::string(argv[1]) == "--help" || std::string(argv[1]) == "-h")) {
    std::printf("Utilisation : vesk-check DOSSIER\n");
    return 0;
  }
  if (argc != 2) {
    std::fprintf(stderr, "vesk-check : un dossier attendu\nUtilisation : vesk-check DOSSIER\n");
    return 2;
  }
  std::string dir = argv[1];
  Env* env = Env::Default();
  FolderReport rapport;
  Status s = DossierDonnees(env, dir).Reprise();
  vesk::cli::ControlesDictionnaire controles;
  if (s.ok()) controles = vesk::cli::ControlesDuDossier(dir, &rapport);
  const std::vector<ChainToCheck>& chainages = controles.chainages;
  if (s.ok()) s = VerifyFolder(env, dir, chainages, &rapport, controles.cles);
  if (!s.ok()) {
    std::fprintf(stderr, "vesk-check : %s\n", s.message().c_str());
    return 1;
  }
  for (const std::string& p : rapport.problems) std::printf("%s\n", p.c_str());
  std::printf(
      "%u fichiers de données, %u B-arbres, %llu enregistrements en service, %llu supprimés, "
      "%llu clés, %zu chaînages (%llu lignes) : %s\n",
      rapport.files, rapport.trees, static_cast<unsigned long long>(rapport.records),
      static_cast<unsigned long long>(rapport.deleted),
      static_cast<unsigned long long>(rapport.keys), chainages.size(),
      static_cast<unsigned long long>(rapport.chained_lines),
      rapport.problems.empty() ? "correct" : "PROBLÈMES");
  return rapport.problems.empty() ? 0 : 1;
}
