// The field rules: limits, internal formats, defaults and the proposed record length.
#include "fic/rubrique.h"

#include <gtest/gtest.h>

#include "srv/erreur_service.h"

namespace vesk::fic {
namespace {

struct Cas {
  char type;
  int16_t total, decimales;
  const char* reponse;  // the answer to "|n|<32767" ("" when it must not be asked)
  bool valide;
  char format;
  int16_t longueur;
};

// Amounts on both sides of every limit, numbers, and the types whose total is fixed.
TEST(Rubrique, LimitsAndInternalFormats) {
  const Cas cas[] = {
      {'M', 4, 0, "", true, 'I', 2},   {'M', 5, 0, "I", true, 'I', 2},
      {'M', 5, 0, "S", true, 'S', 4},  {'M', 5, 0, "x", true, 'I', 2},
      {'M', 6, 0, "", true, 'S', 4},   {'M', 8, 0, "", true, 'S', 4},
      {'M', 9, 0, "", true, 'D', 8},   {'M', 16, 0, "", true, 'D', 8},
      {'M', 17, 0, "", false, 0, 0},   {'M', 3, 2, "", false, 0, 0},
      {'M', 4, 2, "", true, 'S', 4},   {'M', 9, 2, "", true, 'S', 4},
      {'M', 10, 2, "", true, 'D', 8},  {'M', 17, 2, "", true, 'D', 8},
      {'M', 18, 2, "", false, 0, 0},   {'N', 16, 0, "", true, 'A', 16},
      {'N', 17, 0, "", false, 0, 0},   {'N', 17, 1, "", true, 'A', 17},
      {'M', 0, 0, "", false, 0, 0},    {'A', 1, 0, "", true, 'A', 1},
      {'A', 0, 0, "", false, 0, 0},    {'A', 32767, 0, "", true, 'A', 32767},
      {'L', 40, 0, "", true, 'A', 40}, {'D', 3, 0, "", true, 'A', 3},
      {'D', 10, 0, "", false, 0, 0},   {'E', 3, 0, "", true, 'A', 3},
      {'B', 1, 0, "", true, 'A', 1},   {'B', 3, 0, "", false, 0, 0},
  };
  for (const Cas& c : cas) {
    SCOPED_TRACE(std::string(1, c.type) + "(" + std::to_string(c.total) + "," +
                 std::to_string(c.decimales) + ")");
    EXPECT_EQ(TotalValide(c.type, c.total, c.decimales), c.valide);
    if (!c.valide) continue;
    bool demande = false;
    FormatInterne f = CalculeFormat(c.type, c.total, c.decimales, [&] {
      demande = true;
      return std::string(c.reponse);
    });
    EXPECT_EQ(demande, *c.reponse != 0);
    EXPECT_EQ(f.format, c.format);
    EXPECT_EQ(f.longueur, c.longueur);
  }
  EXPECT_TRUE(DecimalesValides('M', 15));
  EXPECT_FALSE(DecimalesValides('N', 16));
  EXPECT_FALSE(DecimalesValides('N', -1));
  EXPECT_FALSE(DecimalesValides('A', 1));
  EXPECT_EQ(ChercheType("D")->total_fixe, 3);
  EXPECT_EQ(ChercheType("E")->total_fixe, 3);
  EXPECT_EQ(ChercheType("B")->total_fixe, 1);
  EXPECT_EQ(ChercheType("X"), nullptr);
  EXPECT_EQ(ChercheType("AM"), nullptr);
  EXPECT_EQ(TexteFormatInterne({'S', 4}), "Format Interne : S4");
}

TEST(Rubrique, DefaultsProposedFromTheType) {
  EXPECT_EQ(ExempleDefaut('M', "", 9, 2, 'S', ""), "+99999.99");
  EXPECT_EQ(ExempleDefaut('N', "", 4, 0, 'A', ""), "+999");
  EXPECT_EQ(ExempleDefaut('N', "", 1, 0, 'A', ""), "9");
  EXPECT_EQ(ExempleDefaut('M', "", 5, 0, 'I', ""), "+9999 - Nombre Appartient à [-32768..327");
  EXPECT_EQ(ExempleDefaut('A', "NOM DU CLIENT", 3, 0, 'A', ""), "NOM");
  EXPECT_EQ(ExempleDefaut('D', "", 3, 0, 'A', "31/12/2026"), "31/12/2026 Codée en Base 256");
  EXPECT_EQ(ExempleDefaut('E', "", 3, 0, 'A', ""), "No Enr .DAT en Base 256");
  EXPECT_EQ(ExempleDefaut('B', "", 1, 0, 'A', ""), "O");
  EXPECT_EQ(ExempleDefaut('L', "", 9, 0, 'A', ""), "[E1,E2,...,En] où Ei=");
  EXPECT_EQ(DomaineDefaut('M', 0, 'I'), "Ni¬Nul");
  EXPECT_EQ(DomaineDefaut('M', 2, 'D'), "Nd¬Nul");
  EXPECT_EQ(DomaineDefaut('N', 0, 'A'), "Na>=0");
  EXPECT_EQ(DomaineDefaut('N', 2, 'A'), "Na¬Nul");
  EXPECT_EQ(DomaineDefaut('E', 0, 'A'), "");
  EXPECT_EQ(DomaineDefaut('B', 0, 'A'), "");
  EXPECT_EQ(ModificationDefaut('E'), "S");
  EXPECT_EQ(ModificationDefaut('L'), "S");
  EXPECT_EQ(ModificationDefaut('D'), "U");
  EXPECT_TRUE(DomaineImplicite("D Appartient à Exerc"));
  EXPECT_FALSE(DomaineImplicite("TVA"));
}

TEST(Rubrique, ProposedLengthIsTheNextPowerOfTwoTheEngineStores) {
  EXPECT_EQ(LongueurProposee(1), 8);  // not 1, 2 or 4: below the engine's 5
  EXPECT_EQ(LongueurProposee(4), 8);
  EXPECT_EQ(LongueurProposee(5), 8);
  EXPECT_EQ(LongueurProposee(100), 128);
  EXPECT_EQ(LongueurProposee(128), 128);
  EXPECT_EQ(LongueurProposee(129), 256);
  EXPECT_EQ(LongueurProposee(16385), 32767);  // the engine's largest record
  EXPECT_THROW(LongueurProposee(0), ErreurService);
  EXPECT_THROW(LongueurProposee(32768), ErreurService);
}

}  // namespace
}  // namespace vesk::fic
