// The field list entry of the file specification entry: one screen per field line ("Champ No"),
// the fields entered in order from the type, the function keys on the name (F1 ends, F2 next,
// F3 choice, F4 add, F5 insert after, F6 delete, F7 duplicate after). It works on a field table
// in memory; nothing is written to the dictionary here. Calling thread's module state.
#ifndef VESK_FIC_ENT_CHAMPS_H_
#define VESK_FIC_ENT_CHAMPS_H_

#include <cstdint>
#include <string_view>

#include "fic/table_champs.h"

namespace vesk::fic {

inline constexpr std::string_view kDescripteurChamps =
    "[[LF1,NOM DE LA RUBRIQUE,A,40,,1],[LF2,TYPE DE LA RUBRIQUE,A,1,,1],"
    "[LF4,NB DE DECIMALES,I0,2,,1],[LF3,NB TOTAL DE CARACTERES,I0,5,,1],"
    "[LF5,NOM DE LA VARIABLE,A,20,,1],[LF6,EXEMPLE DE DONNEE,A,40,,1],"
    "[LF10,CODE DOMAINE DEFINITION,A,20,,1],[LF7,TYPE DE MODIFICATION,A,1,,1],"
    "[PF,Position de Fin,N0,5,,1]]";
inline constexpr std::string_view kAideTouches =
    "(F1 Enr - F2 Suiv - F3 Choix - F4 Adj - F5 Ins Après - F6 Sup - F7 Dup Après)";

// Runs the field list on table, for the file nom, starting on row depart (1 to Nombre() + 1;
// premier: the list opens on an existing file's first field, shown "Modif Premier"; message:
// shown on line "B" of the first line, "" none). Returns when the user ends the list: F1, Esc
// on the name, or an empty name on the new line.
void EntChamps(Session& s, TableChamps& table, std::string_view nom, int32_t depart, bool premier,
               std::string_view message = "");

// The first row whose variable another row before it already uses, or 0: the file cannot be
// written while two fields share a variable. autre receives that earlier row.
int32_t VariableEnDouble(const TableChamps& table, int32_t& autre);

}  // namespace vesk::fic

#endif  // VESK_FIC_ENT_CHAMPS_H_
