#include "gencode/disposition.h"

#include <gtest/gtest.h>

#include "gencode/etat_gencode.h"
#include "gencode/tampon.h"
#include "gencode/testing/generateurs.h"
#include "srv/erreur_service.h"

namespace vesk {
namespace {

// One step of a layout case: an instruction (GenInst), a comment (GenRem, computed column
// unless given), or a line written as it stands (EcrireLigne: labels, blank lines).
struct Pas {
  enum Genre { kInst, kRem, kBrut } genre;
  std::string texte;
  int16_t colonne = kColonneCalculee;
  std::string id;
};
Pas I(std::string t) { return {Pas::kInst, std::move(t), kColonneCalculee, ""}; }
Pas R(std::string t, int16_t c = kColonneCalculee, std::string id = "") {
  return {Pas::kRem, std::move(t), c, std::move(id)};
}
Pas B(std::string t) { return {Pas::kBrut, std::move(t), kColonneCalculee, ""}; }

struct Cas {
  std::string nom;
  std::vector<Pas> pas;
  std::vector<std::string> attendu;  // the lines written, in order
  Signalements anomalies = {};
};

void Joue(const Pas& p) {
  switch (p.genre) {
    case Pas::kInst:
      return GenInst(Etat(), p.texte);
    case Pas::kRem:
      return GenRem(Etat(), p.texte, p.colonne, p.id);
    case Pas::kBrut:
      return EcrireLigne(Etat(), p.texte, p.id);
  }
}

const std::vector<Cas>& TousLesCas() {
  static const std::vector<Cas> cas = {
      {"PremiereInstructionPuisSub",
       {I("Sub X"), I("A = 1"), I("End Sub"), I("Sub Y"), I("Exit Sub"), I("End Sub")},
       {"Sub X", "    A = 1", "End Sub", "Sub Y", "Exit Sub", "End Sub"}},
      {"CommentaireEnTeteDeSection",
       {R("Titre", 2), I("A = 1"), I("B = 2"), R("Suite"), I("C = 3")},
       {"  Rem Titre", "      A = 1", "      B = 2", "  Rem Suite", "      C = 3"}},
      {"CommentairesSuccessifsSEnfoncent",
       {R("Un", 0), R("Deux"), R("Trois"), I("A = 1")},
       {"Rem Un", "    Rem Deux", "        Rem Trois", "            A = 1"}},
      {"BlocIf",
       {I("Sub X"), I("If A Then"), I("C = 1"), I("Else"), I("D = 1"), I("End If"), I("E = 1")},
       {"Sub X", "    If A Then", "       C = 1", "    Else", "D = 1", "    End If", "E = 1"}},
      {"CommentairesDansUnIf",
       {I("Sub X"), I("If A Then"), R("Tete"), I("C = 1"), R("Recule"), I("Else"), R("Sinon"),
        I("End If"), R("Apres")},
       {"Sub X", "    If A Then", "       Rem Tete", "           C = 1", "       Rem Recule",
        "    Else", "       Rem Sinon", "    End If", "Rem Apres"}},
      {"BoucleWhile",
       {I("Sub X"), I("While A"), R("Corps"), I("B = 1"), I("Wend"), R("Apres"), I("C = 1")},
       {"Sub X", "    While A", "          Rem Corps", "              B = 1", "    Wend",
        "Rem Apres", "    C = 1"}},
      {"InstructionApresWhile",
       {I("Sub X"), I("While A"), I("B = 1"), I("wend")},
       {"Sub X", "    While A", "B = 1", "    wend"}},
      {"BoucleFor",
       {I("Sub X"), I("For I = 1 To 9"), I("B = 1"), I("Next I"), I("C = 1")},
       {"Sub X", "    For I = 1 To 9", "        B = 1", "    Next I", "C = 1"}},
      {"CommentaireApresNextRecule",
       {I("Sub X"), I("For I = 1 To 9"), I("Next I"), R("Apres")},
       {"Sub X", "    For I = 1 To 9", "    Next I", "Rem Apres"}},
      {"CommentaireApresEndSubEnColonne0",
       {I("Sub X"), I("End Sub"), R("Apres"), I("Sub Y")},
       {"Sub X", "End Sub", "Rem Apres", "    Sub Y"}},
      {"EtiquetteNonEnregistree",
       {I("Sub X"), I("A = 1"), B("DebSaisABC:"), I("B = 1"), I("Etiq2:"), I("C = 1")},
       {"Sub X", "    A = 1", "DebSaisABC:", "    B = 1", "Etiq2:", "    C = 1"}},
      {"LigneVideNonEnregistree",
       {I("Sub X"), B(""), I("A = 1"), B("   "), I("B = 1")},
       {"Sub X", "", "    A = 1", "   ", "    B = 1"}},
      {"CommentaireEnDeuxPointsEstUneEtiquette",
       {I("Sub X"), R("Lecture:"), I("A = 1")},
       {"Sub X", "    Rem Lecture:", "    A = 1"}},
      {"MotsClesSurLeTexteEnMajuscules",
       {I("Sub X"), I("Formule = 1"), I("A = 1"), I("Remise = 2"), I("B = 3")},
       {"Sub X", "    Formule = 1", "        A = 1", "        Remise = 2", "            B = 3"}},
      {"IfSurUneLigneEstUneInstruction",
       {I("Sub X"), I("If A Then B = 1"), I("C = 1"), I("If A Then "), I("D = 1")},
       {"Sub X", "    If A Then B = 1", "    C = 1", "    If A Then ", "    D = 1"}},
      {"EndIfSansIf",
       {I("Sub X"), I("End If")},
       {"Sub X", "End If"},
       {{"@IF@ Type Instruction non Retrouvé ", "RechDecalPrecedent"}}},
      {"WendNextEndSubSansOuverture",
       {I("Wend"), I("Next"), I("End Sub")},
       {"Wend", "Next", "End Sub"},
       {{"@WHILE@ Type Instruction non Retrouvé ", "RechDecalPrecedent"},
        {"@FOR@ Type Instruction non Retrouvé ", "RechDecalPrecedent"},
        {"@SUB@ Type Instruction non Retrouvé ", "RechDecalPrecedent"}}},
      {"IdentifiantPourAligner",
       {I("Sub X"), R("Ecran", kColonneCalculee, "DesEcr"), I("A = 1"), R("Fin", 3, "Autre"),
        R("Aligne")},
       {"Sub X", "    Rem Ecran", "        A = 1", "   Rem Fin", "       Rem Aligne"}},
  };
  return cas;
}

class DispositionTest : public ServicesEssai, public ::testing::WithParamInterface<Cas> {};

TEST_P(DispositionTest, PlacesEachLine) {
  const Cas& c = GetParam();
  InitGenCode(Etat());
  for (const Pas& p : c.pas) Joue(p);
  std::vector<std::string> lignes = Lignes(EtatGen().Texte());
  ASSERT_FALSE(lignes.empty());
  EXPECT_EQ(lignes.front(), "");
  lignes.erase(lignes.begin());
  EXPECT_EQ(lignes, c.attendu);
  EXPECT_EQ(*signalements_, c.anomalies);
  ASSERT_EQ(EtatGen().Anomalies().size(), c.anomalies.size());
}

INSTANTIATE_TEST_SUITE_P(Cas, DispositionTest, ::testing::ValuesIn(TousLesCas()),
                         [](const auto& info) { return info.param.nom; });

class DispositionServicesTest : public ServicesEssai {};

TEST_F(DispositionServicesTest, ClassifiesLines) {
  const std::vector<std::pair<std::string, std::string>> attendus = {
      {"  DebSais:", "Etiquette"},
      {"Rem Fin:", "Etiquette"},
      {"If A Then", "IF"},
      {"  if a = 1 then", "IF"},
      {"If A Then ", "Inst"},
      {"If A Then B", "Inst"},
      {"Rem x", "REM"},
      {"ElseIf A Then", "ELSE"},
      {"End If", "END IF"},
      {"End Sub", "END SUB"},
      {"Exit Sub", "EXIT SUB"},
      {"SubTotal = 1", "SUB"},
      {"Next", "NEXT"},
      {"While A", "WHILE"},
      {"WEND", "WEND"},
      {"End", "Inst"},
      {"", "Inst"},
      {"DebSais: ", "Inst"},
  };
  for (const auto& [ligne, type] : attendus) EXPECT_EQ(TypeInst(Etat(), ligne), type) << ligne;
}

TEST_F(DispositionServicesTest, FindsSectionsByKindAndIdentifier) {
  InitGenCode(Etat());
  EXPECT_EQ(TypeDernier(Etat()), "");
  EXPECT_EQ(DecalDernier(Etat()), 0);
  GenRem(Etat(), "Primaire", 6, "Primaire");
  GenInst(Etat(), "A = 1");
  GenInst(Etat(), "If A Then");
  GenRem(Etat(), "Autre", 2, "Primaire");
  GenInst(Etat(), "B = 1");
  EXPECT_EQ(TypeDernier(Etat()), "Inst");
  EXPECT_EQ(DecalDernier(Etat()), 6);
  EXPECT_EQ(RechDecalPrecedent(Etat(), "IF"), 10);
  EXPECT_EQ(RechDecalId(Etat(), "Primaire"), 2);
  EXPECT_TRUE(signalements_->empty());
  EXPECT_EQ(RechDecalId(Etat(), "Absent"), 0);
  EXPECT_EQ(RechDecalPrecedent(Etat(), "if"), 0);  // kinds compare exactly
  const Signalements attendu = {{"@Absent@ Identification Spécifique non Retrouvé ", "RechDecalId"},
                                {"@if@ Type Instruction non Retrouvé ", "RechDecalPrecedent"}};
  EXPECT_EQ(*signalements_, attendu);
}

// An instruction after an End If at column 0 would go to column -4: the generation ends with
// an error and keeps what was written.
TEST_F(DispositionServicesTest, NegativeColumnEndsTheGenerationKeepingTheLines) {
  InitGenCode(Etat());
  GenTrait(Etat(), "=");
  GenInst(Etat(), "End If");
  const std::string avant = EtatGen().Texte();
  try {
    GenInst(Etat(), "A = 1");
    FAIL() << "une colonne négative doit arrêter la génération";
  } catch (const ErreurService& e) {
    EXPECT_EQ(e.Operation(), "GenInst");
    EXPECT_NE(e.Message().find("négative (-4)"), std::string::npos) << e.Message();
  }
  EXPECT_THROW(GenRem(Etat(), "Commentaire", -2, ""), ErreurService);
  EXPECT_EQ(EtatGen().Texte(), avant);
  EXPECT_EQ(EtatGen().NbInst(), 2);
}

TEST_F(DispositionServicesTest, ColumnOverflowEndsTheGeneration) {
  InitGenCode(Etat());
  GenRem(Etat(), "Loin", 32765, "");
  EXPECT_EQ(DecalDernier(Etat()), 32765);
  EXPECT_THROW(GenInst(Etat(), "A = 1"), ErreurService);
  EXPECT_THROW(GenRem(Etat(), "B", kColonneCalculee, ""), ErreurService);
  EXPECT_EQ(Lignes(EtatGen().Texte()).size(), 2u);
}

TEST_F(DispositionServicesTest, RecordDoublesWhenFull) {
  InitGenCode(Etat());
  EXPECT_EQ(EtatGen().BorneInst(), 10);
  for (int i = 0; i < 10; ++i) GenInst(Etat(), "A = " + std::to_string(i));
  EXPECT_EQ(EtatGen().NbInst(), 10);
  EXPECT_EQ(EtatGen().BorneInst(), 10);
  GenLigneVide(Etat());  // enlarges even though a blank line is not recorded
  EXPECT_EQ(EtatGen().BorneInst(), 20);
  EXPECT_EQ(EtatGen().NbInst(), 10);
  GenInst(Etat(), "B = 1");
  EXPECT_EQ(EtatGen().Inst(11).type, "Inst");
  EXPECT_EQ(EtatGen().Inst(1).type, "Inst");  // entries kept
  EXPECT_EQ(EtatGen().Inst(0).type, "");
  EXPECT_THROW(EtatGen().Inst(21), ErreurService);
}

// The count is kept from one generation to the next: before the first line of the second
// generation, a layout question falls outside the re-created record; after it, the layout is
// that of a fresh record.
TEST_F(DispositionServicesTest, SecondGenerationLaidOutAsTheFirst) {
  auto genere = [] {
    InitGenCode(Etat());
    GenTitre(Etat(), "Essai", "=", "");
    GenInst(Etat(), "Sub X");
    GenInst(Etat(), "If A Then");
    GenInst(Etat(), "B = 1");
    GenInst(Etat(), "End If");
    for (int i = 0; i < 12; ++i) GenRem(Etat(), "Ligne " + std::to_string(i), 0, "");
    GenInst(Etat(), "End Sub");
    return EtatGen().Texte();
  };
  const std::string premier = genere();
  const int32_t compte = EtatGen().NbInst();
  EXPECT_EQ(compte, 20);
  InitGenCode(Etat());
  EXPECT_EQ(EtatGen().NbInst(), compte);
  EXPECT_EQ(EtatGen().BorneInst(), 10);
  EXPECT_EQ(EtatGen().Texte(), "");
  EXPECT_THROW(TypeDernier(Etat()), ErreurService);
  EXPECT_THROW(GenInst(Etat(), "A = 1"), ErreurService);
  EXPECT_EQ(genere(), premier);
  EXPECT_EQ(EtatGen().NbInst(), 2 * compte);
  EXPECT_EQ(EtatGen().BorneInst(), 40);
  EXPECT_TRUE(signalements_->empty());
}

TEST_F(DispositionServicesTest, WritingBeforeAnyGenerationIsAnError) {
  try {
    EcrireLigne(Etat(), "A = 1", "");
    FAIL();
  } catch (const ErreurService& e) {
    EXPECT_EQ(e.Operation(), "EcrireLigne");
    EXPECT_NE(e.Message().find("InitGenCode"), std::string::npos);
  }
  EXPECT_EQ(EtatGen().Texte(), "");
}

}  // namespace
}  // namespace vesk
