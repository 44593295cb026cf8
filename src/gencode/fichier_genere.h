// The data file a generator writes a program for, as the dictionary describes it (the model,
// fic/modele_dictionnaire.h): its record in Fic, its fields, its primary tables, and the entry
// of its name on a generator's screen. Works on the session it is given.
#ifndef VESK_GENCODE_FICHIER_GENERE_H_
#define VESK_GENCODE_FICHIER_GENERE_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/session.h"
#include "fic/modele_dictionnaire.h"
#include "fic/noms_reserves.h"

namespace vesk {

// One field of the file, from its field line.
struct ChampProgramme {
  std::string cle;          // the variable (LF5): the field's key in the generated program
  std::string nom;          // LF1
  char type = 'A';          // LF2
  char format = 'A';        // the internal format letter
  char modification = 'U';  // LF7
  int16_t total = 0;        // LF3 (positions 48-49)
  int16_t decimales = 0;    // LF4 (positions 50-51)
  int16_t longueur = 0;     // internal length
  std::string domaine;      // LF10
  bool cle_primaire = false;
};

// A file's name as Fic holds it: without blanks, in capitals.
std::string NomFichier(std::string_view texte);
// Searches the file in Fic: its record becomes current when found.
bool ChercheFichier(Session& s, std::string_view nom);
// The fields of the file, in their order.
std::vector<ChampProgramme> ChampsProgramme(const fic::Fichier& f);
// The primary B-tree tables of the file nom, in the order of the tables.
std::vector<std::string> TablesPrimaires(const fic::ModeleDictionnaire& m, std::string_view nom);

// Reports, under procedure, each field variable of the file nom that meets a name of the
// generated programs ("@ Code@ Nom Réservé : ..."): a dictionary stored before such names were
// refused may hold one. The generation goes on.
void SignaleNomsReserves(Session& s, const fic::ModeleDictionnaire& m, std::string_view nom,
                         std::string_view procedure);

// The names the programs of the file nom take from the dictionary m (fic/noms_reserves.h), with
// the application's name of the screen service, for the dialogs' checks.
fic::PorteeNoms PorteeFichier(Session& s, const fic::ModeleDictionnaire& m, std::string_view nom);

// The keys of a generator's screen, asked of the screen service.
struct TouchesDialogue {
  int16_t retour = 0;
  int16_t debut = 0;
  int16_t echap = 0;
};
// Opens a generator's screen (its title and fields) and gives its keys.
TouchesDialogue OuvreDialogue(Session& s, std::string_view titre, std::string_view descripteur);
// A name a generated program can carry (a procedure, a label's suffix): a letter, then letters
// and digits.
bool NomProgramme(std::string_view nom);

// Enters NFIC (its help aide on the field's line, when not empty) until a file of Fic with a
// primary table is given: an unknown name is asked again, one without a primary table with
// "Aucune Table Primaire"; the back and start keys ask it again. False when the user leaves
// (an empty name, or Esc).
bool SaisitFichier(Session& s, const fic::ModeleDictionnaire& m, std::string& nfic,
                   std::string_view aide);

}  // namespace vesk

#endif  // VESK_GENCODE_FICHIER_GENERE_H_
