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

#include "btree/reconstruction.h"
#include "cli/verification.h"
#include "core/ass.h"
#include "core/etat_module.h"
#include "fic/dictionnaire_texte.h"
#include "fic/lecture_dictionnaire.h"
#include "srv/erreur_service.h"
#include "srv/isam/dossier.h"
#include "srv/isam/env.h"
#include "srv/isam/verify.h"
#include "srv/standard/fabrique_standard.h"

namespace {

using namespace vesk::isam;

// The key checks of every table of the dictionary, in the folder of its file (each company
// sub-folder for a company-dependent file). A dictionary that cannot be read is a problem of
// the report, and its keys are not checked.
std::vector<CleVerif> ClesDuDictionnaire(const std::string& dir, RapportVerif* rapport) {
  std::vector<CleVerif> cles;
  bool existe = false;
  if (!Env::Default()->FileExists(vesk::platform::JoinPath(dir, "FIC.DAT"), &existe).ok() ||
      !existe) {
    return cles;
  }
  vesk::OptionsServices options;
  options.config.dossier = dir;
  vesk::InstalleServicesThread(vesk::CreateurStandard(options));
  try {
    std::shared_ptr<vesk::AsS> ass = vesk::AsS::Cree();
    ass->OuvS();
    const vesk::fic::ModeleDictionnaire modele = vesk::fic::LitDictionnaire(vesk::Etat());
    std::vector<std::string> noms = {"FIC", "DOM", "BA", "CHAIN"};
    for (const auto& [nom, f] : modele.fichiers) noms.push_back(nom);
    const std::vector<std::string> entreprises = SousDossiers(Env::Default(), dir);
    for (const std::string& nom : noms) {
      const vesk::FichierAReconstruire f = vesk::btree::ArbresDuFichier(modele, nom);
      const std::vector<std::string> dossiers =
          f.dependance_entreprise ? entreprises : std::vector<std::string>{dir};
      for (const std::string& d : dossiers) {
        for (const vesk::BArbreAReconstruire& a : f.arbres) {
          cles.push_back(vesk::cli::CleDeTable(d, a));
        }
      }
    }
  } catch (const vesk::ErreurService& e) {
    rapport->problemes.push_back("dictionnaire : " + e.Texte());
  }
  vesk::OublieEtat();
  vesk::InstalleServicesThread(nullptr);
  return cles;
}

}  // namespace

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
  RapportVerif rapport;
  std::vector<ChainageVerif> chainages;
  Status s = DossierDonnees(env, dir).Reprise();
  std::vector<CleVerif> cles;
  if (s.ok()) cles = ClesDuDictionnaire(dir, &rapport);
  if (s.ok()) s = ChainagesDuDictionnaire(env, dir, SousDossiers(env, dir), &chainages, &rapport);
  if (s.ok()) s = VerifieDossier(env, dir, chainages, &rapport, cles);
  if (!s.ok()) {
    std::fprintf(stderr, "vesk-check : %s\n", s.message().c_str());
    return 1;
  }
  for (const std::string& p : rapport.problemes) std::printf("%s\n", p.c_str());
  std::printf(
      "%u fichiers de données, %u B-arbres, %llu enregistrements en service, %llu supprimés, "
      "%llu clés, %zu chaînages (%llu lignes) : %s\n",
      rapport.fichiers, rapport.arbres, static_cast<unsigned long long>(rapport.enregistrements),
      static_cast<unsigned long long>(rapport.supprimes),
      static_cast<unsigned long long>(rapport.cles), chainages.size(),
      static_cast<unsigned long long>(rapport.lignes_chainees),
      rapport.problemes.empty() ? "correct" : "PROBLÈMES");
  return rapport.problemes.empty() ? 0 : 1;
}
