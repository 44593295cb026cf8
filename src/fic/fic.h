// The screens of the file specification editor: the B-tree tables and the chainings of the
// file being specified. Each works on the calling thread's module state (the dictionary open,
// the current Fic record the file being specified) and returns when the user leaves its key
// field; touche receives the key that ended each entry.
#ifndef VESK_FIC_FIC_H_
#define VESK_FIC_FIC_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "core/session.h"
#include "fic/modele_dictionnaire.h"

namespace vesk::fic {

inline constexpr std::string_view kTitreFic = "ENTREE DE SPECIFICATIONS DE TYPE FICHIER";
inline constexpr std::string_view kDescripteurFic =
    "[[NOMFIC,NOM DU FICHIER,A,6],[DFE,DEPENDANCE PAR ENTREPRISE,B],"
    "[LONGENR,LONGUEUR DE L'ENREGISTREMENT,N0,5]]";

inline constexpr std::string_view kTitreBa = "SAISIE DES TABLES B-ARBRES ";
inline constexpr std::string_view kDescripteurBa =
    "[[NOMT,NOM DE LA TABLE B-ARBRE,A,6],[NOMD,NOM DU FICHIER DE DONNEE,A,6],"
    "[NATT,NATURE DU B-ARBRE,A,1],[LCLE,LISTE DES VARIABLES,A,100],"
    "[LONGCLE,LONGUEUR DE LA CLE,N0,5]]";
inline constexpr std::string_view kAideSuppression = "Suppression : Confirmez par F6";
inline constexpr std::string_view kAideNature = "(P : Primaire - S : Secondaire)";

inline constexpr std::string_view kTitreChain = "SAISIE DES CHAINAGES DE FICHIERS ";
inline constexpr std::string_view kDescripteurChain =
    "[[CHAINL,NOM DU FICHIER LIGNE (CHAINE),A,6],"
    "[PNEA,POSITION POINTEUR CHAINAGE ARRIERE FICHIER LIGNE,N0,5],"
    "[PNES,POSITION POINTEUR CHAINAGE AVANT   FICHIER LIGNE,N0,5],"
    "[CHAINE,NOM DU FICHIER ENTETE,A,6],"
    "[PPE,POSITION POINTEUR PREMIER CHAINE   FICHIER ENTETE,N0,5],"
    "[PDE,POSITION POINTEUR DERNIER CHAINE   FICHIER ENTETE,N0,5]]";
inline constexpr std::string_view kAideSuppressionChain = "Suppression: Confirmez par F6";
inline constexpr std::string_view kFichierInconnu = "Fichier Inconnu ou Supprimé";

// The field table of the specification listing: two lines per field.
inline constexpr std::string_view kDescripteurSpecifications =
    "[PS,1,[[NO,NO,N,3,0,D],[NRUB,RUBRIQUE/EXEMPLE,A,40,G],[@FORMAT,[FORMAT,TYPE/LONG,A,9,G],"
    "[FORMINT,INTERNE,A,6,C]],[NOMVAR,VARIABLE,A,16,G],[TYPEMOD,M,A,1,G],"
    "[CODOM,CODE DOMAINE,A,20,G],[@POSITION,[DEB,DEBUT,N,5,0,D],[FIN,FIN,N,5,0,D]]],[]]";

// The file specification entry "ENTREE DE SPECIFICATIONS DE TYPE FICHIER", cycle after cycle
// until Esc on the name. The current Fic record stays between calls.
void EntFic(Session& s);

// The B-tree table entry "SAISIE DES TABLES B-ARBRES ": the tables of the current Fic record's
// file (or of any file named on NOMD), their key lists checked against that file's fields.
void EntBa(Session& s, int16_t& touche);

// The chaining entry "SAISIE DES CHAINAGES DE FICHIERS ": which line file is chained to which
// header file, through which pointer positions.
void EntChain(Session& s, int16_t& touche);

inline constexpr std::string_view kTitreLFic = "EDITION LISTE DES FICHIERS SPECIFIES";
// The name of the files of FicApp's listing (its title is the list's).
inline constexpr std::string_view kNomFicApp = "EDITION APPLICATION";
inline constexpr std::string_view kDescripteurLFic =
    "[PS,30,[[NOMFIC,Fichier Donnée,A,6,G],[DFE,Entreprise,B,C],[@B-Arbres,[NAT,Nature,A,10,G],"
    "[BA,Fichier,A,10,G]],[@Chainage,[NF,Nature,A,6,G],[@Dépendance,[CHN,Nature,A,10,G],"
    "[CHF,Fichier,A,10,G]]]],[]]";

// The listing of the specified files in name order, each with its dependence, its B-tree
// tables and its chainings, from the dictionary m; liste receives the names printed
// ("[NOM1,NOM2]"). termine: the listing is closed here, and the screen's title taken down;
// otherwise the listing stays open for the caller, who closes it (FicApp). An empty dictionary
// opens nothing and leaves liste as it was: false.
bool EdtLFic(Session& s, const ModeleDictionnaire& m, bool termine, std::string& liste);

// The application's listing: the specified files, then each file's specification on a page of
// its own, in one listing.
void FicApp(Session& s);

// The specification listing of the file nom: its length, company dependence, B-tree tables,
// chainings and fields, from the dictionary m. seul: a listing of its own, opened with its title
// and closed at the end; otherwise its lines go on in the caller's listing. A file that does not
// exist is an anomaly under "EdtFic" and prints nothing.
void EdtFic(Session& s, const ModeleDictionnaire& m, std::string_view nom, bool seul);

}  // namespace vesk::fic

#endif  // VESK_FIC_FIC_H_
