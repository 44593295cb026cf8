// The rules of a field ("rubrique") of a specified data file, in one table: its type among
// A, M, N, D, E, B, L with their labels, the limits on its total of characters and decimals, the
// internal format and length that place it in the record, and the defaults the field line
// proposes. Every screen, listing, generator and the dictionary text read fields through these
// rules. Constant data and pure functions; safe from any thread.
#ifndef VESK_FIC_RUBRIQUE_H_
#define VESK_FIC_RUBRIQUE_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vesk::fic {

// The type choice list, its labels and the short help beside the type.
inline constexpr std::string_view kListeTypes = "[A,M,N,D,E,B,L]";
inline constexpr std::string_view kLibellesTypes =
    "[Alpha,Montant Codé I S ou D,Nombre en Alpha,Date Codée No Ordre Base 256,"
    "No Enregistrement Codé Base 256,Booléen Codé O ou N,Liste d'Occupation Max Fixée]";
inline constexpr std::string_view kAideType = "(A,M,N,D,E,B,L)";
// The modification types, their labels and the short help.
inline constexpr std::string_view kListeModifications = "[U,R,A,S]";
inline constexpr std::string_view kLibellesModifications =
    "[Utilisateur,Utilisateur Responsable,Affichée Seulement,Systeme]";
inline constexpr std::string_view kAideModification = "(U,R,A,S)";
// The question asked for an amount of 5 characters without decimals, and its proposed answer.
inline constexpr std::string_view kQuestionEntier = "|n|<32767";
inline constexpr std::string_view kReponseEntier = "I";
inline constexpr std::string_view kFormatInterneTexte = "Format Interne : ";

inline constexpr int16_t kDecimalesMax = 15;
inline constexpr int16_t kTotalMaxDecimales = 17;  // M or N with decimals
inline constexpr int16_t kTotalMaxEntier = 16;     // M or N without: deliberately one lower
inline constexpr int16_t kTotalMax = 32767;        // any field: its coded size's limit

// One type of field.
struct RegleType {
  char type;
  std::string_view libelle;
  int16_t total_fixe;  // the total set by the program (D, E, B); 0 when entered
  bool decimales;      // decimals are entered (M, N)
};

// The rule of a type letter ("M"), or nullptr for an unknown type.
const RegleType* ChercheType(std::string_view type);
// Whether the modification type is one of U, R, A, S.
bool ModificationConnue(std::string_view modification);

// Decimals are accepted from 0 to 15, for M and N only (0 for the others).
bool DecimalesValides(char type, int32_t decimales);
// The limits on the total: M or N with decimals d, d + 2 to 17; M or N without, 1 to 16; D, E,
// B their fixed total; the others 1 to 32767.
bool TotalValide(char type, int32_t total, int32_t decimales);
// The limits of TotalValide in the screen's words: "M avec 2 décimales : de 4 à 17 caractères,
// signe et point compris".
std::string RegleTotal(char type, int32_t decimales);

// Internal format ('A', 'I', 'S' or 'D') and internal length in bytes.
struct FormatInterne {
  char format = 'A';
  int16_t longueur = 0;
};

// Whether the internal format of the field is asked ("|n|<32767"): an amount of 5 characters
// without decimals.
bool FormatDemande(char type, int16_t total, int16_t decimales);
// The internal format of a field whose total and decimals are valid. When FormatDemande, the
// answer comes from demande: "S" gives S/4, any other answer I/2.
FormatInterne CalculeFormat(char type, int16_t total, int16_t decimales,
                            const std::function<std::string()>& demande);
// "Format Interne : " followed by the format and the length ("Format Interne : S4").
std::string TexteFormatInterne(const FormatInterne& f);

// The defaults proposed by the field line from the type. date: the screen service's default
// date text (for D).
std::string ExempleDefaut(char type, std::string_view nom, int16_t total, int16_t decimales,
                          char format, std::string_view date);
std::string DomaineDefaut(char type, int16_t decimales, char format);
std::string_view ModificationDefaut(char type);
// Whether code is one of the default domains of the rules ("a¬Nul", "Ns¬Nul", "liste"...).
bool DomaineImplicite(std::string_view code);

// The proposed record length: the smallest power of two not below the real length (100 gives
// 128, 129 gives 256), never below the engine's smallest record (1 to 4 give 8) nor above its
// largest (32767). The real length must be at least 1.
int32_t LongueurProposee(int32_t longueur_reelle);

}  // namespace vesk::fic

#endif  // VESK_FIC_RUBRIQUE_H_
