// TableChamps: the fields of one specified data file, a row per field in field order (rows from
// 1) and ten columns that are the ten fields of an Lfic record. Columns 3, 4 and 9 (total,
// decimals, internal length) hold the coded sizes of the record and are decoded through the
// text service for arithmetic. The table loads from and saves to the Lfic chain of a Fic record,
// builds the field grid, finds fields, inserts, deletes and duplicates rows. Every row index is
// checked and the count is a checked 16-bit integer. Works on the session it is made with.
#ifndef VESK_FIC_TABLE_CHAMPS_H_
#define VESK_FIC_TABLE_CHAMPS_H_

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/arithmetique.h"
#include "core/session.h"
#include "fic/modele_dictionnaire.h"

namespace vesk::fic {

// The ten columns, numbered from 1 as the fields of an Lfic record after its two pointers.
enum Colonne : int {
  kColNom = 1,
  kColType,
  kColTotal,
  kColDecimales,
  kColVariable,
  kColExemple,
  kColModification,
  kColFormat,
  kColLongueur,
  kColDomaine
};
inline constexpr int kNbColonnes = 10;

// The column descriptor of the field grid (choice and duplication screens).
inline constexpr std::string_view kColonnesGrille =
    "[[D,5,Deb],[G,40,Nom Rubrique],[G,10,Format],[G,20,Nom Variable],[G,1,M],[G,8,F-Int],"
    "[G,5,Fin]]";

class TableChamps {
 public:
  using Ligne = std::array<std::string, kNbColonnes>;

  explicit TableChamps(Session& s) : s_(&s) {}

  int16_t Nombre() const { return nombre_; }
  // Column c (1..10) of row i (1..Nombre()).
  const std::string& Cellule(int32_t i, int c) const;
  void Affecte(int32_t i, int c, std::string_view valeur);
  const Ligne& Rangee(int32_t i) const;
  void AffecteRangee(int32_t i, const Ligne& ligne);
  // Column c of row i without its trailing spaces (text columns).
  std::string_view Texte(int32_t i, int c) const;

  // Decoded sizes of row i (columns 3, 4, 9) and their coded form.
  int16_t Total(int32_t i) const;
  int16_t Decimales(int32_t i) const;
  int16_t LongueurInterne(int32_t i) const;
  std::string Taille(int16_t valeur) const;

  // Start position of each row (index i - 1) and the real length: the sum of the internal
  // lengths, in checked arithmetic.
  std::vector<int32_t> Debuts() const;
  int32_t LongueurReelle() const;

  // Row whose variable (column 5), or name (column 1), equals texte (trailing spaces ignored);
  // 0 when none.
  int32_t ChercheVariable(std::string_view texte) const;
  int32_t ChercheNom(std::string_view texte) const;

  void Vide() { nombre_ = 0; }
  // A new last row.
  void Ajoute(Ligne ligne);
  // Inserts after row p (1..Nombre()+1): rows p..n move down by one from the last upwards, so
  // the new row p+1 starts as a copy of row p; on the line beyond the end (p = n+1) row n is
  // copied to n+1; an empty table gets an empty row 1. Gives the current row afterwards: p+1,
  // or p when p is the new count.
  int32_t InsereApres(int32_t p);
  // Deletes row p (1..Nombre()+1): rows p+1..n move up by one. The line beyond the end, or any
  // line of an empty table, holds no field: nothing changes.
  void Supprime(int32_t p);
  // Copies the rows choisies (in grid order, as they were before the first copy) after row
  // courant, one after the other. Gives the row of the first copy (courant when none).
  int32_t Duplique(int32_t courant, std::span<const int32_t> choisies);

  // The lines of the field grid under kColonnesGrille: per field its start (right-aligned in
  // 5), name, type and total (".decimals" for M and N), variable with "$", modification type,
  // internal format and length, end. "[]" when the table is empty.
  std::string Grille() const;

  // The rows as the dictionary model's fields: sizes decoded, the internal format and length as
  // the rows hold them, placed in the record. A field gives its decimals only when it is an M
  // or an N, and its internal format only when it was asked (FormatDemande), as the dictionary
  // text writes them.
  std::vector<Rubrique> Rubriques() const;
  // The rows of a complete file's fields, coded as their Lfic records hold them.
  static TableChamps De(Session& s, const Fichier& fichier);

  // Loads the fields of the current Fic record from its Lfic chain (the record was found by a
  // B-tree search). Loads the fields of the file nom; false when nom is not in Fic.
  void Charge();
  bool ChargeFichier(std::string_view nom);
  // Replaces the Lfic lines of the current Fic record by the rows, in one batch: afterwards the
  // new lines are there, or (after an error, or a crash) the old ones.
  void Sauve() const;

 private:
  size_t Indice(int32_t i) const;
  static int IndiceLfic(int c);

  Session* s_;
  TableBornee<Ligne> lignes_;
  int16_t nombre_ = 0;
};

}  // namespace vesk::fic

#endif  // VESK_FIC_TABLE_CHAMPS_H_
