// The check of an application's data against its dictionary (`vesk verifie`): for each
// specified file, in each place that holds its data file (the root, or each company for a file
// that depends on the company), the store's check of the file and of every tree that indexes it
// (each live record has exactly one key in each tree, the one the component's key builder makes
// of it: isam::VerifyFile on a folder, pg::VerifieFichier on a database, both through
// isam::EntryCheck), each record's values by its field rules and domains (fic/donnees.h), and
// the chainings whose lines it holds. It reads the data as stored and writes nothing: a folder
// that cannot be written is checked as well. Used from main's thread.
#ifndef VESK_CLI_VERIFICATION_H_
#define VESK_CLI_VERIFICATION_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fic/modele_dictionnaire.h"
#include "srv/isam/verify.h"
#include "srv/reconstruction.h"
#include "srv/suivi_progression.h"

namespace vesk::cli {

// The key of a record's bytes (as stored) by the component's key builder a.cle, padded to the
// tree's key length: the key every tree of a table must hold for each live record.
std::function<isam::Status(std::string_view, std::string*)> ConstructeurCle(
    const BArbreAReconstruire& a);
// The check of one tree's keys in the folder dossier (ConstructeurCle).
isam::KeyToCheck CleDeTable(const std::string& dossier, const BArbreAReconstruire& a);

// The folders of the data folder dossier that hold the data file of f (nom): the root, or each
// company folder when f depends on the company.
std::vector<std::string> DossiersDonnees(const std::string& dossier, const std::string& nom,
                                         const fic::Fichier& f);

// The problems of one kind found in one file.
struct GenreProbleme {
  std::string genre;  // "date impossible", "clé absente", "chaînage"...
  uint64_t nombre = 0;
  std::vector<uint32_t> premiers;  // the first record numbers concerned, at most kPremiers
  std::string exemple;             // the text of the first problem
};
inline constexpr size_t kPremiers = 5;

// What the check found in one data file of one folder.
struct VerificationFichier {
  std::string fichier;
  std::string entreprise;  // the company's folder ("01"), "" at the root
  bool donnees = false;    // false: the file has no data file (nothing checked)
  isam::FileTally bilan;
  size_t arbres = 0, chainages = 0;
  std::vector<GenreProbleme> problemes;  // in the order their kinds were first met

  uint64_t Problemes() const;
  void Ajoute(std::string_view genre, uint32_t enregistrement, const std::string& texte);
};

// Where the check reads the data: a data folder's files (DonneesDossier) or a database
// store's tables (DonneesBase). Files and trees are given by name ("CLIENT", "CLI1"), companies
// by name ("01"), "" for the root.
class DonneesAVerifier {
 public:
  virtual ~DonneesAVerifier() = default;
  // The companies that hold the data file nom of f, in order ("" alone for a file of the root).
  virtual std::vector<std::string> Entreprises(const std::string& nom, const fic::Fichier& f) = 0;
  // isam::VerifyFile of the data file f.data of entreprise, its trees f.trees by name.
  virtual void Fichier(const std::string& entreprise, const isam::FileToCheck& f,
                       const std::function<void(const isam::FileProblem&)>& probleme,
                       isam::FileTally* bilan) = 0;
  // A chaining whose line file c.line is in entreprise and its header file c.header there
  // (entete_ici) or at the root: what is wrong with it (isam::VerifyChain); false, with the
  // header file named in *absent, when that file does not exist.
  virtual bool Chainage(const std::string& entreprise, const isam::ChainToCheck& c, bool entete_ici,
                        std::vector<std::string>* problemes, std::string* absent) = 0;
};

// The data folder dossier's files.
std::unique_ptr<DonneesAVerifier> DonneesDossier(const std::string& dossier);
#ifdef VESK_AVEC_PG
// The database store of the URI stockage (docs/postgresql.md: what is checked there).
std::unique_ptr<DonneesAVerifier> DonneesBase(const std::string& stockage);
#endif

// Checks the files noms of m (every specified file when empty; an unknown name is an
// ErreurService), m read with its domains' definitions (fic::LitDefinitions), in donnees. One
// result per file and folder (company), files in name order. suivi is told each
// file and folder as a phase, its records as they are read (their number is not known
// beforehand).
std::vector<VerificationFichier> VerifieDonnees(const fic::ModeleDictionnaire& m,
                                                DonneesAVerifier& donnees,
                                                const std::vector<std::string>& noms,
                                                SuiviProgression& suivi);

// Adds to the first result of each file of resultats its names that a generated program also
// defines (a dictionary stored before they were refused): one problem "nom réservé" each, with
// no record number. application: the name of the application's opening routine.
void AjouteNomsReserves(const fic::ModeleDictionnaire& m, std::string_view application,
                        std::vector<VerificationFichier>& resultats);

// What checking a whole data folder takes from its dictionary, read by the component (vesk-check):
// the key check of every table of every file, the dictionary's own and the specified ones (in
// each company folder for a file that depends on the company), and the chainings: Lfic under
// Fic, then each chaining of the dictionary in the root and in each company folder where its line
// file is (its header file in the same folder, else in the root). A folder without a dictionary
// gives none; a dictionary that cannot be read is a problem of rapport and gives none. The
// standard services are installed on the calling thread for the reading and forgotten after.
struct ControlesDictionnaire {
  std::vector<isam::KeyToCheck> cles;
  std::vector<isam::ChainToCheck> chainages;
};
ControlesDictionnaire ControlesDuDossier(const std::string& dossier, isam::FolderReport* rapport);

}  // namespace vesk::cli

#endif  // VESK_CLI_VERIFICATION_H_
