// The names the generated programs give themselves, in one table that the generators and the
// checks share: their locals and parameters, their labels (a stem and the label suffix, CodLab),
// the names they use without declaring them, the procedures they call and the BASIC words they
// are written in. A field's variable becomes a variable (V$ and xV$) and a label (V:) of those
// programs, so a variable that one of these names would meet is refused where it is typed (the
// field line, the import), and the generators' dialogs refuse a label suffix or a procedure name
// that would make two names meet. BASIC ignores case: every comparison here does too.
// Pure functions over plain values; any thread.
#ifndef VESK_FIC_NOMS_RESERVES_H_
#define VESK_FIC_NOMS_RESERVES_H_

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fic/modele_dictionnaire.h"

namespace vesk::fic {

// How a reserved entry matches a name.
enum class FormeReservee {
  kNom,          // the name itself
  kNumero,       // the stem followed by a number (V0, V1, ... of the consultation)
  kEtiquette,    // the stem followed by a label suffix (EnrCL)
  kEcran,        // the stem, a label suffix and a screen number (DesEcrCL2)
  kPremierEcran  // the stem, a label suffix and "1" (MemEcrCL1)
};

struct NomReserve {
  std::string_view nom;  // the name, or the stem
  FormeReservee forme;
  std::string_view role;  // what the name is in the generated programs, for the messages
};

// The whole table, in the order of docs/gencode.md.
std::span<const NomReserve> NomsReserves();

// A label suffix a generator's dialog accepts: a letter then letters and digits, 3 at most.
inline constexpr size_t kLargeurSuffixe = 3;
bool SuffixePossible(std::string_view suffixe);

// The names of one file's programs that its dictionary entry gives them: the file's handle
// (F + "D"), its tables' handles (T + "T"), the routines named after the file or the
// application, and the variables of its fields.
struct PorteeNoms {
  std::string fichier;
  std::vector<std::string> tables;
  std::vector<std::string> variables;  // every field's variable, in field order
  std::string application;             // "" : the application's name is unknown
};

// The names of the file fichier of a model.
PorteeNoms Portee(const ModeleDictionnaire& modele, std::string_view fichier,
                  std::string_view application);

// What a field's variable v of the file of portee would meet (portee.variables may hold v
// itself, at any place), as "paramètre Code$ du programme de saisie"; nullopt when nothing. An
// exact duplicate of another field's variable is not reported here (the field list and the
// import say it in their own words); one that differs only by case is.
std::optional<std::string> ConflitVariable(std::string_view v, const PorteeNoms& portee);
// The same as the refusal shown: "Variable « v » refusée : " and what it would meet.
std::optional<std::string> RefusVariable(std::string_view v, const PorteeNoms& portee);

// The refusal of a data-entry program's label suffix: one of its labels (stem + suffix) would
// be a variable of the program, a field's label, another name of the table, or the
// procedure's own name (procedure, "" when not known).
std::optional<std::string> RefusSuffixe(std::string_view suffixe, std::string_view procedure,
                                        const PorteeNoms& portee);

// The refusal of the name of a generated procedure: a reserved name, a label of the program
// (for a data-entry program, saisie: any label its stems can give), a routine of the file, or
// a variable of its fields.
std::optional<std::string> RefusProcedure(std::string_view nom, bool saisie,
                                          const PorteeNoms& portee);

// The variables of the file that meet a name, each with what it meets, in field order: what a
// dictionary stored before this check may hold.
std::vector<std::pair<std::string, std::string>> ConflitsFichier(const PorteeNoms& portee);

}  // namespace vesk::fic

#endif  // VESK_FIC_NOMS_RESERVES_H_
