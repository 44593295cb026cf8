#include "gencode/testing/structure_programme.h"

#include <gtest/gtest.h>

namespace vesk {
namespace {

// Lines are counted as shown: the empty line the text begins with is line 1.
std::string Programme(std::initializer_list<std::string_view> lignes) {
  std::string texte;
  for (std::string_view l : lignes) {
    texte += "\r\n";
    texte += l;
  }
  return texte;
}

TEST(StructureProgrammeTest, SoundProgramHasNoFault) {
  const std::string texte = Programme({
      "Sub Saisie",
      "DebSais:",
      "    If A Then",
      "       Gosub Controle",
      "    ElseIf B Then",
      "       Goto DebSais",
      "    Else",
      "       If C Then Goto FinSais Else X = 1",
      "    End If",
      "    While A: A = A - 1: Wend",
      "    For I = 1 To 9",
      "        Rem If sans fin dans un commentaire: For",
      "        T = \"If X Then\" ' Next",
      "    Next I",
      "    On Error Goto 0",
      "    On K Goto DebSais, FinSais",
      "FinSais:",
      "    Exit Sub",
      "Controle: Return",
      "End Sub",
      "Private Function F(X As Integer) As Integer",
      "    Select Case X",
      "    Case 1",
      "    End Select",
      "    Do",
      "    Loop",
      "End Function",
  });
  EXPECT_EQ(DecritDefauts(DefautsStructure(texte)), "");
}

TEST(StructureProgrammeTest, ReportsTheLinesOfUnbalancedBlocks) {
  const std::string texte = Programme({
      "Sub A",               // 2
      "    If X Then",       // 3: never closed before End Sub
      "    For I = 1 To 2",  // 4
      "    Wend",            // 5: no While
      "    Next",            // 6
      "End Sub",             // 7
      "End If",              // 8: nothing to close
      "Else",                // 9
      "Sub B",               // 10: never closed
      "    While X",         // 11: never closed
  });
  const std::vector<DefautStructure> defauts = DefautsStructure(texte);
  std::vector<int32_t> lignes;
  for (const DefautStructure& d : defauts) lignes.push_back(d.ligne);
  EXPECT_EQ(lignes, (std::vector<int32_t>{3, 5, 8, 9, 10, 11})) << DecritDefauts(defauts);
  EXPECT_NE(defauts[0].message.find("« If X Then » non fermé avant « End Sub »"), std::string::npos)
      << defauts[0].message;
}

TEST(StructureProgrammeTest, ReportsMissingAndDuplicateLabels) {
  const std::string texte = Programme({
      "Debut:",
      "    Goto Fin",
      "    GOSUB debut",
      "    If A Then Goto Ailleurs",
      "    IF ABANDON GOTO Perdue",
      "Debut:",
      "    On K Gosub Debut, Absent",
  });
  const std::vector<DefautStructure> attendu = {
      {3, "Goto vers l'étiquette « Fin », qui n'existe pas"},
      {5, "Goto vers l'étiquette « Ailleurs », qui n'existe pas"},
      {6, "Goto vers l'étiquette « Perdue », qui n'existe pas"},
      {7, "étiquette « Debut » déjà définie ligne 2"},
      {8, "Gosub vers l'étiquette « Absent », qui n'existe pas"}};
  EXPECT_EQ(DefautsStructure(texte), attendu) << DecritDefauts(DefautsStructure(texte));
}

TEST(StructureProgrammeTest, BlockIfNeedsThenAtTheEnd) {
  EXPECT_EQ(DefautsStructure("If A Then\nEnd If").size(), 0u);
  EXPECT_EQ(DefautsStructure("If A Then X = 1\nEnd If").size(), 1u);
  EXPECT_EQ(DefautsStructure("If A\nEnd If").size(), 2u);
  // "If condition Goto label" is a one-line If; "If A Goto" alone is not.
  EXPECT_EQ(DefautsStructure("If Abandon Goto Fin\nFin:").size(), 0u);
  EXPECT_EQ(DefautsStructure("If A Goto").size(), 1u);
  EXPECT_EQ(DefautsStructure("Sub X\n  Sub Y\n  End Sub\nEnd Sub").size(), 1u);
}

// Only fields' variables, declared names and the fixed names are assigned; a Dim is the
// procedure's own, a Public the program's.
// A closing line takes the column of the most recent line of its opening kind, even one already
// closed; a line's kind is the keyword it begins with ("Formule" opens like For).
TEST(StructureProgrammeTest, ClosingLinesAndLabelsStandWhereTheLayoutPutsThem) {
  const std::string texte = Programme({
      "    Sub OuvF",
      "        If A Then",
      "           X = 1",
      "        Else",
      "           If B Then",
      "           End If",
      "        End If",
      "  Debut:",
      "        Formule = 1",
      "        Next",
      "    End Sub",
      "    Wend",
  });
  std::vector<int32_t> lignes;
  for (const DefautStructure& d : DefautsColonnes(texte)) lignes.push_back(d.ligne);
  EXPECT_EQ(lignes, (std::vector<int32_t>{8, 9, 13})) << DecritDefauts(DefautsColonnes(texte));
  EXPECT_EQ(DecritDefauts(DefautsColonnes(Programme({"    If A Then", "    End If"}))), "");
}

TEST(StructureProgrammeTest, ReportsAssignmentsToUndeclaredNames) {
  const std::string texte = Programme({
      "Public CLNOMT As Integer, Total As Long",  // 2
      "Sub EntCLIENT(Code$)",                     // 3
      "    Dim X$, EcrM As Boolean, V?$",         // 4
      "    LSET CLNOM$=xCLNOM$ : x = 1",          // 5
      "    Ecrm=Vrai: Code$ = \"\"",              // 6
      "    V12$=CLNOM$: NCE$=\"A\"",              // 7
      "    If Cle Then Autre$ = 1 Else X$=\"\"",  // 8: Autre
      "    For I = 1 To 2: Next",                 // 9: I
      "    LSET Inconnu$=CLNOM$",                 // 10: Inconnu
      "    Total& = CLNOMT%",                     // 11
      "End Sub",                                  // 12
      "Sub Autre",                                // 13
      "    X$ = \"\"",                            // 14: X is EntCLIENT's
      "    If A = B Then",                        // 15: a comparison
      "    End If",
      "End Sub",
  });
  std::vector<int32_t> lignes;
  for (const DefautStructure& d : DefautsAffectations(texte, {"CLNOM"})) lignes.push_back(d.ligne);
  EXPECT_EQ(lignes, (std::vector<int32_t>{8, 9, 10, 14}))
      << DecritDefauts(DefautsAffectations(texte, {"CLNOM"}));
}

}  // namespace
}  // namespace vesk
