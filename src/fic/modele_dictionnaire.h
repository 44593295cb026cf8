// The dictionary as typed values: the definition domains, the specified files with their fields
// placed in the record, the B-tree tables with their key lists parsed, and the chainings. Every
// reader of the dictionary takes it from here: the generators, the listings, the rebuild, the
// export and the checks (LitDictionnaire reads it from the records once per command, the
// dictionary text gives it to the import). Each rule that turns a record's text into a value is
// applied in one place: LONGENR (LongueurEnr), the pointer positions of a chaining
// (ChainageDe), the positions of the fields (PlaceRubriques) and the key lists
// (ControleListeCle, fic/controles.h).
//
// Read from the records, a model is complete: every value is the record's. Read from a text, a
// field may leave out what the field rules give (the optional members below, absent); Complete
// fills them, and the accessors (Total(), Type()...) give the values once it has. Each value
// remembers the line of the text it came from (0 when it came from the records).
// Plain data; any thread.
#ifndef VESK_FIC_MODELE_DICTIONNAIRE_H_
#define VESK_FIC_MODELE_DICTIONNAIRE_H_

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fic/rubrique.h"

namespace vesk::fic {

// A definition domain (a Dom record) and the lines of its definition file.
struct Domaine {
  std::string nom;
  std::string fichier;                                 // FDD, the definition file without ".DOM"
  std::optional<std::vector<std::string>> definition;  // absent: no .DOM file, or not read
  int32_t ligne = 0;
};

// A field ("rubrique") of a specified file, an Lfic record.
struct Rubrique {
  std::string nom;                     // LF1
  std::string type;                    // LF2: A, M, N, D, E, B or L
  std::optional<int64_t> total;        // LF3; absent in a text: the type's fixed total (D, E, B)
  std::optional<int64_t> decimales;    // LF4; absent: 0 (only M and N have decimals)
  std::string variable;                // LF5
  std::optional<std::string> exemple;  // LF6; absent: the rules' default
  std::optional<std::string> modification;  // LF7; absent: the rules' default
  std::optional<std::string> domaine;       // LF10; absent: the rules' default
  // The internal format chosen for an amount of 5 characters without decimals ("I" or "S");
  // absent for every other field.
  std::optional<std::string> format;
  int32_t ligne = 0;

  // Where the record holds the field: its internal format and length in bytes (from the record,
  // or from the rules by Complete) and its first character, from 1 (PlaceRubriques).
  FormatInterne interne;
  int32_t position = 0;

  // The values of a complete field.
  char Type() const { return type.empty() ? ' ' : type[0]; }
  int16_t Total() const;
  int16_t Decimales() const;
  char Modification() const;
  // The last character of the field in the record.
  int32_t Fin() const { return position + interne.longueur - 1; }
};

// A specified file (a Fic record) and its fields in their order.
struct Fichier {
  bool entreprise = false;          // DFE "O"
  std::optional<int64_t> longueur;  // LONGENR; absent in a text: the proposed length
  std::vector<Rubrique> rubriques;
  int32_t ligne = 0;

  // The record length of a complete file.
  int32_t Longueur() const;
  // The sum of the fields' internal lengths.
  int32_t LongueurReelle() const;
  // The index of the field whose variable is variable (trailing spaces ignored), or -1.
  int32_t ChercheVariable(std::string_view variable) const;
};

// One part of a key: the field of index rubrique (from 0), from its character debut to fin
// (from 1); entiere when the list gives the whole field ("[V,_,_]").
struct PartieCle {
  int32_t rubrique = 0;
  int16_t debut = 0;
  int16_t fin = 0;
  bool entiere = false;
};

// Where one part of a key lies in the record: from character debut (from 0), longueur
// characters (0 when Pd lies past the field's internal length).
struct TrancheCle {
  int32_t debut = 0;
  int32_t longueur = 0;
};

// A key list checked against a file's fields: valid with its parts and the key's length, or
// refused with the message for the field's line ("" when refused without a message, as "[]").
struct ResultatCle {
  bool valide = false;
  std::string message;
  int16_t longueur = 0;
  std::vector<PartieCle> parties;
  std::vector<TrancheCle> tranches;  // the parts as slices of the record
};

// A B-tree table (a Ba record).
struct BArbre {
  std::string fichier;  // NOMD
  std::string nature;   // NATT: "P" or "S"
  std::string cle;      // LCLE, the key list as written
  int32_t ligne = 0;
  // LONGCLE as the record holds it (from a text: the length of the checked key list).
  int64_t longueur = 0;
  // The key list parsed against the fields of its file (Complete; LitDictionnaire).
  ResultatCle analyse;
};

// A chaining (a Chain record), keyed by its line file: the header file and the positions, from
// 1, of the pointers in the line record (back, forward) and in the header record (first, last).
struct Chainage {
  std::string entete;                                        // CHAINE
  int64_t arriere = 0, avant = 0, premier = 0, dernier = 0;  // PNEA, PNES, PPE, PDE
  int32_t ligne = 0;
};

struct ModeleDictionnaire {
  std::map<std::string, Domaine> domaines;  // by code
  std::map<std::string, Fichier> fichiers;  // by name
  std::map<std::string, BArbre> barbres;    // by table name
  std::map<std::string, Chainage> chainages;

  // The file named nom, or null.
  const Fichier* ChercheFichier(std::string_view nom) const;
  // The tables of the file nom, by table name.
  std::vector<std::pair<std::string, const BArbre*>> TablesDe(std::string_view nom) const;
};

// The part of m a program of the file nom is made from: the file, its tables, the chainings it
// is at an end of (with the file at their other end, without its fields) and the domains its
// fields name. Empty when m has no file nom.
ModeleDictionnaire PartiesFichier(const ModeleDictionnaire& m, std::string_view nom);

// The first character of each field, from 1, the fields following one another in the record by
// their internal lengths (checked arithmetic: a position past 32 bits is an error). The one
// rule of the fields' positions: the model, the field table and the listings take them here.
std::vector<int32_t> Positions(std::span<const int16_t> longueurs);
// Sets the position of each field (Positions of their internal lengths).
void PlaceRubriques(std::span<Rubrique> rubriques);

}  // namespace vesk::fic

#endif  // VESK_FIC_MODELE_DICTIONNAIRE_H_
