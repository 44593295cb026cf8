// The field model shared by the terminal and scripted screens: field descriptors
// "[[KEY,LABEL,TYPE,LENGTH,LINE,COLUMN],...]", option lists, choice column descriptors, and the
// checks a typed value must pass. Free functions without state; safe from any thread.
#ifndef VESK_SRV_TUI_DESCRIPTEUR_H_
#define VESK_SRV_TUI_DESCRIPTEUR_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::tui {

// The top-level elements of a bracketed list ("[a,[b,c],]" gives "a", "[b,c]", ""); "[]" gives
// none. ErreurService(operation, liste, ...) naming the faulty position when it is malformed.
std::vector<std::string> ElementsDeListe(std::string_view liste, std::string_view operation);

enum class TypeChamp {
  kTexte,   // A: any Windows-1252 character
  kOuiNon,  // B: O or N
  kNombre,  // N<d>: digits, a leading sign, a decimal point and up to d decimals
  kEntier,  // I<d>: digits and a leading sign; the last d digits are the decimals
};

struct Champ {
  std::string cle;
  std::string libelle;
  std::string type_texte;  // as written: "A", "N2", "I0"
  TypeChamp type = TypeChamp::kTexte;
  int decimales = 0;
  int longueur = 0;  // characters
  int ligne = 0;     // 1-based screen line of the field area; 0: the line after the previous
  int colonne = 1;   // 1-based column of the label
};

// Parses a field descriptor. Parts: key, label, type, length, then optionally the line (5th,
// empty for "the next line") and the label's column (6th, empty for 1). ErreurService naming
// the field and the part at fault.
std::vector<Champ> LitDescripteur(std::string_view descripteur, std::string_view operation);
// Index of the field of key cle, or nothing.
std::optional<size_t> ChercheChamp(const std::vector<Champ>& champs, std::string_view cle);

// The allowed values of a field ("[U,R,A,S]") and their labels
// ("[[U,R,A,S],[Utilisateur,...]]"); empty values for "[]" or "".
struct Options {
  std::vector<std::string> valeurs;
  std::vector<std::string> libelles;  // empty, or one per value
};
Options LitOptions(std::string_view options, std::string_view operation, std::string_view cle);

// The character typed as the field stores it: "," becomes "." in N fields, o and n become O and
// N in B fields.
char32_t NormaliseCaractere(const Champ& champ, char32_t c);
// Why texte (partial while typing, complete when the entry ends) is refused in the field;
// nothing when accepted.
std::optional<std::string> RefusTexte(const Champ& champ, std::u32string_view texte, bool complet);
// The same for a complete value given as UTF-8 (scripts), options included; *valeur is first
// normalised as typing would (NormaliseCaractere).
std::optional<std::string> RefusValeur(const Champ& champ, std::string* valeur,
                                       const Options& options);
// Why a value is not one of the options; nothing when it is (or when there are none). The
// empty value is always accepted.
std::optional<std::string> RefusOption(const Options& options, std::string_view valeur);

// The text an entry starts from: the value given, except that on the first field of the screen
// a mode letter left by the previous lookup ("I" or "B") starts an empty entry. A value longer
// than the field is accepted only when the excess is spaces (dropped); otherwise ErreurService.
std::string ValeurDeDepart(const std::vector<Champ>& champs, size_t index, std::string_view valeur,
                           std::string_view operation);

// A column of a choice list: "[G,40,Heading]" (G left, D right, C centre).
struct Colonne {
  char alignement = 'G';
  int largeur = 0;
  std::string titre;
};
std::vector<Colonne> LitColonnes(std::string_view colonnes, std::string_view operation);

// Refuses a message line letter other than "N" (current field), "B" (bottom) and "I"
// (information), with ErreurService naming the operation.
void ControleLigneMessage(std::string_view operation, std::string_view ligne);

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_DESCRIPTEUR_H_
