// The value a field of a data file holds, read from its bytes and written back by the field
// rules (docs/file-formats.md, "Field values"): A and L their characters, M a binary number of
// its internal format (I: 2-byte integer, S: 4-byte real, D: 8-byte real, little-endian), N a
// number written as text, D a day number from 1 January 1900 in 3 bytes, E a record number in
// 3 bytes, B "O" or "N". A value is checked against its field: a date that is no day, a number
// wider as shown than its total of characters, a real that is not finite, a B that is neither
// O nor N, an L that is not a list. The same rules read the records for `vesk donnees` and
// check them for `vesk verifie`; writing a value gives back the bytes it was read from. Pure
// functions; any thread.
#ifndef VESK_FIC_VALEUR_RUBRIQUE_H_
#define VESK_FIC_VALEUR_RUBRIQUE_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace vesk::fic {

// What the coding of a field depends on: its type, total, decimals and internal format.
struct CodageRubrique {
  char type = 'A';
  int16_t total = 0;
  int16_t decimales = 0;
  char format = 'A';
  int16_t longueur = 0;  // the internal length, in bytes
};

// A value read from a field.
struct Valeur {
  enum class Genre {
    kVide,      // a date or a pointer that names nothing, a blank number
    kTexte,     // A, L: the characters, trailing spaces removed
    kNombre,    // M, N: "-1234.50", with exactly the field's decimals, "." before them
    kDate,      // D: "dd/mm/yyyy"
    kPointeur,  // E: the record number in decimal
    kBooleen,   // B: "O" or "N"
  };
  Genre genre = Genre::kVide;
  std::string texte;
};

// Why a field's bytes are not a value of its rules; kAucun when they are.
enum class Defaut {
  kAucun,
  kDate,     // no day of the calendar (from 01/01/1900 to 31/12/9999)
  kNombre,   // not a number (N), or a real that is not finite (M)
  kLimite,   // a number that takes more characters than the field's total, or more decimals
  kBooleen,  // neither O nor N
  kListe,    // an L that is not a bracketed list
};

struct Lecture {
  Valeur valeur;
  Defaut defaut = Defaut::kAucun;
  std::string detail;  // the bytes or text at fault, as shown to a user ("0xFF 0xFF 0xFF")
};

// The value of a field from its bytes (Windows-1252, exactly its internal length).
Lecture LitValeur(const CodageRubrique& c, std::string_view octets);

// The short French name of a fault, for summaries ("date impossible").
std::string_view NomDefaut(Defaut d);

// The bytes of v for the field c (its internal length); "" and a reason when v does not fit:
// a text longer than the field whose cut part is not blank, a number past the field's limits,
// more decimals than the field has (rounded instead when arrondit), a value of another kind.
struct Ecriture {
  bool ecrit = false;
  std::string octets;
  std::string raison;
};
Ecriture EcritValeur(const CodageRubrique& c, const Valeur& v, bool arrondit);

// The bytes of the field in a record a data-entry program has just created: spaces for A and
// D, 0 in the internal format for M, "0" for N, no record for E, "O" for B, "[]" for L.
std::string OctetsNeufs(const CodageRubrique& c);

// Day numbers of dates: 1 is 01/01/1900; 0 when the date is not a day of the calendar.
int32_t NumeroJour(int32_t annee, int32_t mois, int32_t jour);
// "dd/mm/yyyy" of a day number (1 to the day of 31/12/9999), "" otherwise.
std::string TexteDate(int32_t numero);

}  // namespace vesk::fic

#endif  // VESK_FIC_VALEUR_RUBRIQUE_H_
