// The data-entry program generator: for one data file of the dictionary, the program that shows
// its entry screens, lets the operator type the primary key, reads the record if it exists,
// creates, modifies or deletes it with all its B-trees, and loops; then its deletion subroutine
// and the consultation procedure that lets the operator choose a code from the file's records.
// Runs on the calling thread's module state (opened by OuvS) and generator state; one thread at
// a time.
#ifndef VESK_GENCODE_GEN_PS_H_
#define VESK_GENCODE_GEN_PS_H_

#include <functional>
#include <string>
#include <string_view>

#include "core/session.h"
#include "fic/modele_dictionnaire.h"

namespace vesk {

inline constexpr std::string_view kTitreGenPS = "Générateur de Programme de Saisie";
inline constexpr std::string_view kDescripteurGenPS =
    "[[NFIC,Nom du Fichier,A,6],[NProg,Nom de la Procédure à Générer,A,30],"
    "[TProg,Titre du Programme Affiché,A,60],[CodLab,Suffixe des Labels,A,3]]";
inline constexpr std::string_view kAideNficGenPS = "Fichier de Plus Haut Niveau (Entête Chaînage)";
inline constexpr std::string_view kTropDeCles =
    "Trop de Rubriques Clé Primaire dans l'Ecran Initial";

// What the generator is asked; an empty text takes its default.
struct DemandeSaisie {
  std::string fichier;
  std::string programme;  // "Ent" + the file's name
  std::string titre;      // "Entrée Du Fichier " + the file's name
  std::string suffixe;    // the first and last characters of the file's name
};

// The screen "Générateur de Programme de Saisie", then the generation. An empty NFIC (or Esc)
// ends it without generating.
void GenPS(Session& s);

// Generates the program of demande without screens. The file must be in Fic with a primary
// B-tree table (an ErreurService naming it otherwise). trop_de_cles is called when the primary
// key's fields fill the initial screen (it then takes one more field). Sets the thread's NCE to
// the file's name.
void GenereSaisie(Session& s, const DemandeSaisie& demande,
                  const std::function<void()>& trop_de_cles);
// The same from the dictionary m, read already.
void GenereSaisie(Session& s, const fic::ModeleDictionnaire& m, const DemandeSaisie& demande,
                  const std::function<void()>& trop_de_cles);

// The default label suffix of a file: its first and last characters ("CLIENT": "CT").
std::string SuffixeDefaut(std::string_view fichier);

}  // namespace vesk

#endif  // VESK_GENCODE_GEN_PS_H_
