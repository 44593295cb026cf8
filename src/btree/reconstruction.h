// The B-tree reconstruction (ReConsBA): the choice of the data files, then for each one its
// compaction, the chaining pointers that followed its moved records, and every B-tree of the
// files rewritten, rebuilt from the records and the key lists of the dictionary
// (docs/rebuild.md). Works on the calling thread's module state (the dictionary open).
#ifndef VESK_BTREE_RECONSTRUCTION_H_
#define VESK_BTREE_RECONSTRUCTION_H_

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/session.h"
#include "fic/modele_dictionnaire.h"
#include "srv/reconstruction.h"
#include "srv/suivi_progression.h"

namespace vesk::btree {

inline constexpr std::string_view kTitreReconsBA = "RECONSTRUCTION DES B-ARBRES";
inline constexpr std::string_view kChoixReconsBA =
    "Choix des Fichiers dont les B-Arbres sont à Reconstruire";
inline constexpr std::string_view kColonnesReconsBA = "[[G,6,Nom],[G,60,B-Arbres]]";
inline constexpr std::string_view kEnregistrementTraite = " Enregistrement traité";
inline constexpr std::string_view kSupprimesDeplaces =
    " Nb Enregist Supprimés Déplacés en Fin de Fichier et à Nil";
inline constexpr std::string_view kSuppressionEffective =
    "Suppression Effective des Enregistrements Supprimés";
inline constexpr std::string_view kTransfertLignes = "Transfert Lignes de ";
inline constexpr std::string_view kReenregistrementLignes = "Réenregistrement Lignes de ";
inline constexpr std::string_view kTempNonRecopiee = "Temp.Dat Non Recopiée sur ";
inline constexpr std::string_view kProcedureCompaction = "CompEnrSup";
inline constexpr std::string_view kTravauxPost = "Travaux post-reconstruction";
inline constexpr std::string_view kAttention =
    "Attention veuillez verifier qu'il n'existe pas un programme specifique à executer (ex en "
    "compta Reconstruction des B-Arbres par No de Pieces)";
inline constexpr std::string_view kInformation = "Information";
// Progress is shown for the records whose number is a multiple of this, and for the last one.
inline constexpr int32_t kPasProgression = 1000;

// A data file that can be rebuilt: the dictionary's five, then the specified files whose data
// file exists, with the names of their B-trees.
struct Candidat {
  std::string nom;
  bool dependance = false;
  std::vector<std::string> arbres;
};
std::vector<Candidat> Candidats(Session& s, const fic::ModeleDictionnaire& modele);

// The plan of the file nom (a candidate): the file chosen, the header files of the chainings
// whose line file it is, each with its trees and their key builders. An ErreurService when a
// table's key list no longer fits its file's fields.
PlanReconstruction PlanFichier(Session& s, const fic::ModeleDictionnaire& modele,
                               const std::string& nom);

// The file nom (one of the dictionary's five, or a specified file) with its trees and the key
// builder of each: what a rebuild builds each key with, and what a check compares each key of
// the file's trees with. An ErreurService when a table's key list no longer fits its fields.
FichierAReconstruire ArbresDuFichier(const fic::ModeleDictionnaire& modele, const std::string& nom);

// The E fields the rebuild cannot follow: of every specified file, those that are not one of
// the pointers of a chaining the file takes part in, as "FICHIER.VARIABLE". They depend on the
// dictionary only: read once per command, before any file is rebuilt (an ErreurService then
// ends the command with every file as it was).
std::vector<std::string> ChampsENonSuivis(const fic::ModeleDictionnaire& modele);

// How a reconstruction meets its user: where its messages go, how the question on the E
// fields is answered (true: go on), and where its progress is shown (null: nowhere).
struct Interlocuteur {
  std::function<void(std::string_view)> message;
  std::function<bool(const std::string& question)> confirme;
  SuiviProgression* suivi = nullptr;
};

// The outcome of one file, for the summary.
struct ResumeFichier {
  std::string nom;
  bool fait = false;
  std::string raison;  // why not, when not done
  BilanReconstruction bilan;
  std::vector<std::string> lignes;  // what was rewritten and rebuilt, one line each
  double secondes = 0;
};

// Rebuilds the candidate nom, asking about champs_e (ChampsENonSuivis) when nom has deleted
// records; a refusal (E fields not confirmed, a key twice, damage) is in the summary, the files
// left as they were; an I/O failure is journalled ("Temp.Dat Non Recopiée sur " and the path,
// under "CompEnrSup") and thrown.
ResumeFichier ReconstruitFichier(Session& s, const fic::ModeleDictionnaire& modele,
                                 const std::vector<std::string>& champs_e, const std::string& nom,
                                 const Interlocuteur& qui);

// The command: its screen, the choice, each chosen file, the closing warning. Gives the
// outcome of each file chosen, in the order rebuilt (none when nothing was chosen).
std::vector<ResumeFichier> ReConsBAEcran(Session& s);
// The same, for AsS.
void ReConsBA(Session& s);

// The way back for a dictionary whose trees are damaged or lost: the trees of Fic, Dom, Ba and
// Chain rebuilt from their data files (compacted), without reading the old trees nor opening
// the dictionary (OuvS is not called, nothing the trees hold is needed). A file that cannot be
// rebuilt (a key twice, a damaged record) is in its summary, the others go on.
std::vector<ResumeFichier> ReconstruitDictionnaire(Session& s, const Interlocuteur& qui);

}  // namespace vesk::btree

#endif  // VESK_BTREE_RECONSTRUCTION_H_
