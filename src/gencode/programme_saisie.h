// What the data-entry program generator works from (the file's fields, screens, keys and
// tables, read once from the dictionary) and the code pieces it writes for each screen and
// field: the screen drawing, the data display, the field entry, the record buffer and the key
// computation. Runs on the calling thread's module and generator states; one thread at a time.
#ifndef VESK_GENCODE_PROGRAMME_SAISIE_H_
#define VESK_GENCODE_PROGRAMME_SAISIE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/session.h"
#include "fic/modele_dictionnaire.h"
#include "gencode/fichier_genere.h"

namespace vesk {

// At most this many fields on one entry screen.
inline constexpr size_t kChampsParEcran = 35;

// One B-tree table of the file and its key list, parsed against the file's fields.
struct TableProgramme {
  std::string nom;
  std::string cle;  // the key list, "[[VAR,debut,fin],...]"
  fic::ResultatCle analyse;
};

struct ProgrammeSaisie {
  std::string fichier;    // the file's name, without blanks
  std::string programme;  // NProg
  std::string titre;      // TProg
  std::string suffixe;    // CodLab
  TableProgramme primaire;
  std::vector<TableProgramme> secondaires;  // in the order of the tables
  std::vector<ChampProgramme> champs;       // in the order of the field lines
  std::vector<size_t> cles;                 // the primary key's fields, in key order, once each
  std::vector<std::vector<size_t>> ecrans;  // the fields of each screen (indexes of champs)
  // The column of the comment that heads the key's entry ("Primaire"), once it is written: the
  // field entries line up with it without searching the lines written since.
  mutable int16_t colonne_primaire = 0;

  std::string d() const { return fichier + "D%"; }
  std::string t() const { return primaire.nom + "T%"; }
  // The field of the code: the first of the primary key list.
  const ChampProgramme& Code() const { return champs[cles.front()]; }
  bool EstSaisi(size_t i) const { return champs[i].modification != 'S'; }
};

// The fields over screens: the key fields first, then the others in order, kChampsParEcran a
// screen; trop is set when the key fields fill the initial screen, which then takes one more.
std::vector<std::vector<size_t>> RepartitEcrans(const std::vector<ChampProgramme>& champs,
                                                const std::vector<size_t>& cles, bool& trop);

// The screen pieces. ecran: 1 for the initial screen.
void DessineEcran(Session& s, const ProgrammeSaisie& p, size_t ecran);
void AfficheDonnees(Session& s, const ProgrammeSaisie& p, const std::vector<size_t>& champs);
// The entry of the fields of screen ecran: its key fields (cles true) or its other fields.
void SaisitChamps(Session& s, const ProgrammeSaisie& p, size_t ecran, bool cles);
// The label of the entry of the first field of screen 1 outside the key, whatever its
// modification type (an "S" field's label leads on to the fields after it); the writing's
// label when every field is a key field.
std::string PremierHorsCle(const ProgrammeSaisie& p);

// The record buffer, both ways, for field i.
void VersTampon(Session& s, const ChampProgramme& c);
void DepuisTampon(Session& s, const ChampProgramme& c);
// "Affectation du Tampon" of the key's fields, then "Cle$=" its parts.
void CalculeCle(Session& s, const ProgrammeSaisie& p, const TableProgramme& table);
// The parts of a key list joined by "+": a whole field its record variable, a part of it
// "MID$(" variable "," start "," length ")".
std::string ExpressionCle(const ProgrammeSaisie& p, const TableProgramme& table);

}  // namespace vesk

#endif  // VESK_GENCODE_PROGRAMME_SAISIE_H_
