// A structural checker of generated programs: every Goto/Gosub target label exists (and is
// defined once), and Sub/End Sub, Function/End Function, block If/End If (with its Else and
// ElseIf), While/Wend, Do/Loop, For/Next and Select Case/End Select balance. A one-line
// "If ... Then X" is not a block. Pure functions; safe from any thread.
#ifndef VESK_GENCODE_TESTING_STRUCTURE_PROGRAMME_H_
#define VESK_GENCODE_TESTING_STRUCTURE_PROGRAMME_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

// One fault: the line it is on (1-based, counting the lines as shown: the empty first line
// of a generated text is line 1) and what is wrong, in French.
struct DefautStructure {
  int32_t ligne = 0;
  std::string message;

  bool operator==(const DefautStructure&) const = default;
};

// The faults of a program text (lines separated by CR LF or LF), in line order; empty when
// the structure is sound.
std::vector<DefautStructure> DefautsStructure(std::string_view programme);

// The assignments of a program text to a name it may not assign, in line order: a name is
// assignable when it is the variable V or the entry variable xV of one of champs (the file's
// variables), a parameter or a Dim of the procedure, a Public declaration, one of the names the
// fixed lines use undeclared (NCE$, Code$, the key codes F1-F7, FH, PH, CR, Vrai, Faux, rien,
// DirEnt, Cp, Abandon), or V followed by digits after a Dim that declares "V?$". Names are
// compared without case and without their type character.
std::vector<DefautStructure> DefautsAffectations(std::string_view programme,
                                                 const std::vector<std::string>& champs);

// The lines whose column breaks a layout rule that the text alone shows: a label (a line ending
// in ":") at column 0; a closing line (Else, End If, Wend, Next, Exit Sub, End Sub) at the
// column of the most recent line of its opening kind (If ... Then, While, For, Sub), 0 when
// there is none. A line's kind is the first keyword it begins with, as the generators take it
// ("Formule = 1" is a For line).
std::vector<DefautStructure> DefautsColonnes(std::string_view programme);

// The faults as text, one "ligne N : message" a line (for test failures and the host).
std::string DecritDefauts(const std::vector<DefautStructure>& defauts);

}  // namespace vesk

#endif  // VESK_GENCODE_VERIFICATEUR_H_
