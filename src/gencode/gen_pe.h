// The report and CSV program generator: for one data file of the dictionary, the procedure that
// runs through the file in the order of its primary B-tree and prints each record as a line of
// a framed report with column totals, or writes it as a line of a CSV file. Runs on the calling
// thread's module state (opened by OuvS) and generator state; one thread at a time.
#ifndef VESK_GENCODE_GEN_PE_H_
#define VESK_GENCODE_GEN_PE_H_

#include <string>
#include <string_view>

#include "core/session.h"
#include "fic/modele_dictionnaire.h"

namespace vesk {

inline constexpr std::string_view kTitreGenPE =
    "Generateur de Programme d'Edition ou Sortie au Format Csv";
inline constexpr std::string_view kDescripteurGenPE =
    "[[NFIC,NOM DU FICHIER,A,6],[NPROG,NOM DU FICHIER PROGRAMME,A,20],"
    "[SCSV,SORTIE AU FORMAT CSV,B]]";
inline constexpr std::string_view kAucuneTablePrimaire = "Aucune Table Primaire";

// What the generator is asked: the data file, the procedure's name and the kind of output.
struct DemandeEdition {
  std::string fichier;
  std::string programme;  // "" : "Csv" followed by the file's name
  bool csv = true;
};

// The screen "Generateur de Programme d'Edition ou Sortie au Format Csv", then the generation.
// An empty NFIC (or Esc) ends it without generating.
void GenPE(Session& s);

// Generates the program for demande without screens. The file must be in Fic with a primary
// B-tree table: otherwise an ErreurService naming it.
void GenereEdition(Session& s, const DemandeEdition& demande);
// The same from the dictionary m, read already.
void GenereEdition(Session& s, const fic::ModeleDictionnaire& m, const DemandeEdition& demande);

// The name of the primary B-tree table of the file nom (a NOMFIC of Fic), "" when it has none;
// several give the anomaly "@ Plusieurs Table Primaire" under procedure and the last is taken.
std::string TablePrimaire(Session& s, const fic::ModeleDictionnaire& m, std::string_view nom,
                          std::string_view procedure);

}  // namespace vesk

#endif  // VESK_GENCODE_GEN_PE_H_
