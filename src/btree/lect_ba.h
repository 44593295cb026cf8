// B-tree maintenance: the inspection of an open B-tree. Works on the calling thread's module
// state (the dictionary open).
#ifndef VESK_BTREE_LECT_BA_H_
#define VESK_BTREE_LECT_BA_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/session.h"

namespace vesk::btree {

inline constexpr std::string_view kTitreLectBA = "Lecture d'un B-Arbre";
inline constexpr std::string_view kChoixLectBA = "Choix du B-Arbre à Lire";
inline constexpr std::string_view kColonnesLectBA = "[[G,40,B-Arbres Ouverts]]";
inline constexpr std::string_view kLectureLectBA = "Lecture du B-Abre : ";
inline constexpr std::string_view kDescripteurLectBA =
    "[PS,1,[[R,Donnée Globale,A,30,G],[D,Valeur,A,20,G]],[]]";
inline constexpr std::string_view kLibellesEntete =
    "[Longueur d'un Noeud,Longueur d'une Clé,Longueur d'un Pointeur,Nature de la Table,"
    "Ordre du B-Arbre,Nombre de Niveaux,Nombre de Clés,Nombre de Noeuds,Adresse Racine]";
inline constexpr std::string_view kNoeudsLibres = "Liste des Noeuds Libres : ";
inline constexpr std::string_view kEnregistrementsLibres =
    "Liste des Nos Enregistrements Fichier de Données Libres Car Supprimés :";

// The title of the B-tree service's check among the pairs of InfoBArbre, and its answer for a
// sound tree.
inline constexpr std::string_view kControleLectBA = "Contrôle du B-Arbre";
inline constexpr std::string_view kCorrectLectBA = "Correct";

// The B-tree inspection: the user picks one of the open B-trees (the dictionary's and the
// application's tables whose files exist, opened for it) and its header, free nodes, free
// records and descriptive figures are listed. Changes nothing.
void LectBA(Session& s);
// What an inspection found: the tree listed and the answer of its check ("Correct" or the
// fault found; empty when the listing was cancelled before it).
struct Inspection {
  std::string nom;
  std::string controle;
};
// The same for the open B-tree nom, as the choice names it ("CLI1", "FIC"; case ignored), or,
// for an empty nom, the one the user picks; nothing when no tree was chosen. ErreurService when
// no open B-tree is called nom.
std::optional<Inspection> InspecteBArbre(Session& s, const std::string& nom);

// Opens the B-tree of every table of the dictionary whose file exists, with the key length and
// nature of its table. A table whose file disagrees (another key length or nature) is an
// anomaly under "LectBA", and the others are opened all the same.
void OuvreTablesApplication(Session& s);

// The pieces a long text is printed in: a remainder of 151 characters or more is cut after the
// last "|" of its first 150 characters (at 150 when there is none); a shorter one is whole.
std::vector<std::string> Plie(std::string_view texte);

}  // namespace vesk::btree

#endif  // VESK_BTREE_LECT_BA_H_
