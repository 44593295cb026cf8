#include "fic/valeur_rubrique.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

namespace vesk::fic {
namespace {

using G = Valeur::Genre;

CodageRubrique Codage(char type, int16_t total, int16_t decimales, char format, int16_t longueur) {
  return {type, total, decimales, format, longueur};
}

std::string Reel4(float f) {
  std::string o(4, '\0');
  std::memcpy(o.data(), &f, 4);
  return o;
}
std::string Reel8(double d) {
  std::string o(8, '\0');
  std::memcpy(o.data(), &d, 8);
  return o;
}

// Every kind of field read from its bytes: the value, or the fault and what is shown of it.
TEST(ValeurRubriqueTest, FieldsReadByTheirRules) {
  struct Cas {
    CodageRubrique c;
    std::string octets;
    G genre;
    std::string texte;
    Defaut defaut;
  };
  const Cas cas[] = {
      {Codage('A', 6, 0, 'A', 6), "C001  ", G::kTexte, "C001", Defaut::kAucun},
      {Codage('A', 3, 0, 'A', 3), "\xE9t\xE9", G::kTexte, "été", Defaut::kAucun},
      {Codage('M', 5, 0, 'I', 2), std::string("\x39\x30", 2), G::kNombre, "12345", Defaut::kAucun},
      {Codage('M', 4, 0, 'I', 2), std::string("\x39\x30", 2), G::kNombre, "", Defaut::kLimite},
      {Codage('M', 4, 0, 'I', 2), std::string("\xFF\xFF", 2), G::kNombre, "-1", Defaut::kAucun},
      {Codage('M', 1, 0, 'I', 2), std::string("\xFF\xFF", 2), G::kNombre, "", Defaut::kLimite},
      {Codage('M', 9, 2, 'S', 4), Reel4(1234.5f), G::kNombre, "1234.50", Defaut::kAucun},
      {Codage('M', 9, 2, 'S', 4), Reel4(1234567.5f), G::kNombre, "", Defaut::kLimite},
      {Codage('M', 12, 2, 'D', 8), Reel8(-0.004), G::kNombre, "0.00", Defaut::kAucun},
      {Codage('M', 12, 2, 'D', 8), Reel8(std::nan("")), G::kNombre, "", Defaut::kNombre},
      {Codage('M', 12, 2, 'D', 8), std::string(8, '\0'), G::kNombre, "0.00", Defaut::kAucun},
      {Codage('N', 7, 2, 'A', 7), " 12.5  ", G::kNombre, "12.50", Defaut::kAucun},
      {Codage('N', 7, 2, 'A', 7), "-3     ", G::kNombre, "-3.00", Defaut::kAucun},
      {Codage('N', 7, 2, 'A', 7), "12.345 ", G::kNombre, "", Defaut::kLimite},
      {Codage('N', 7, 2, 'A', 7), "1234.5 ", G::kNombre, "1234.50", Defaut::kAucun},
      {Codage('N', 7, 2, 'A', 7), "12345.5", G::kNombre, "", Defaut::kLimite},
      {Codage('M', 4, 2, 'S', 4), Reel4(-0.5f), G::kNombre, "-0.50", Defaut::kAucun},
      {Codage('N', 7, 2, 'A', 7), "1,5    ", G::kNombre, "", Defaut::kNombre},
      {Codage('N', 7, 2, 'A', 7), "       ", G::kVide, "", Defaut::kAucun},
      {Codage('D', 3, 0, 'A', 3), std::string("\0\0\x01", 3), G::kDate, "01/01/1900",
       Defaut::kAucun},
      {Codage('D', 3, 0, 'A', 3), "   ", G::kVide, "", Defaut::kAucun},
      {Codage('D', 3, 0, 'A', 3), std::string(3, '\0'), G::kVide, "", Defaut::kAucun},
      {Codage('D', 3, 0, 'A', 3), "\xFF\xFF\xFF", G::kVide, "", Defaut::kDate},
      {Codage('E', 3, 0, 'A', 3), std::string("\0\x01\x02", 3), G::kPointeur, "258",
       Defaut::kAucun},
      {Codage('E', 3, 0, 'A', 3), "   ", G::kVide, "", Defaut::kAucun},
      {Codage('B', 1, 0, 'A', 1), "N", G::kBooleen, "N", Defaut::kAucun},
      {Codage('B', 1, 0, 'A', 1), " ", G::kVide, "", Defaut::kBooleen},
      {Codage('L', 8, 0, 'A', 8), "[a,[b]] ", G::kTexte, "[a,[b]]", Defaut::kAucun},
      {Codage('L', 8, 0, 'A', 8), "[a,b    ", G::kVide, "", Defaut::kListe},
  };
  for (const Cas& c : cas) {
    const Lecture l = LitValeur(c.c, c.octets);
    SCOPED_TRACE(std::string(1, c.c.type) + " " + c.texte);
    EXPECT_EQ(l.defaut, c.defaut) << l.detail;
    if (c.defaut == Defaut::kAucun) {
      EXPECT_EQ(l.valeur.genre, c.genre);
      EXPECT_EQ(l.valeur.texte, c.texte);
    } else {
      EXPECT_FALSE(l.detail.empty());
    }
  }
}

// Day numbers run from 01/01/1900 (1) to 31/12/9999, leap years as the Gregorian calendar has
// them, and read back as they were written.
TEST(ValeurRubriqueTest, DatesCountDaysFromTheFirstOfJanuary1900) {
  EXPECT_EQ(NumeroJour(1900, 1, 1), 1);
  EXPECT_EQ(NumeroJour(1900, 3, 1), 60);  // 1900 is not a leap year
  EXPECT_EQ(NumeroJour(1900, 2, 29), 0);
  EXPECT_EQ(NumeroJour(2000, 2, 29), 36584);
  EXPECT_EQ(NumeroJour(2026, 4, 31), 0);
  EXPECT_EQ(NumeroJour(1899, 12, 31), 0);
  for (int32_t n : {1, 59, 60, 36584, 46022, NumeroJour(9999, 12, 31)}) {
    const std::string t = TexteDate(n);
    int j = 0, m = 0, a = 0;
    ASSERT_EQ(std::sscanf(t.c_str(), "%d/%d/%d", &j, &m, &a), 3) << n;
    EXPECT_EQ(NumeroJour(a, m, j), n) << t;
  }
  EXPECT_EQ(TexteDate(NumeroJour(9999, 12, 31) + 1), "");
  EXPECT_EQ(TexteDate(0), "");
}

// A value written into a field and read back is itself, for every internal format.
TEST(ValeurRubriqueTest, ValuesWrittenReadBackTheSame) {
  struct Cas {
    CodageRubrique c;
    Valeur v;
  };
  const Cas cas[] = {
      {Codage('A', 10, 0, 'A', 10), {G::kTexte, "Genève"}},
      {Codage('M', 5, 0, 'I', 2), {G::kNombre, "32767"}},
      {Codage('M', 5, 0, 'I', 2), {G::kNombre, "-9999"}},
      {Codage('M', 9, 2, 'S', 4), {G::kNombre, "99999.50"}},
      {Codage('M', 16, 0, 'D', 8), {G::kNombre, "999999999999999"}},
      {Codage('N', 17, 15, 'A', 17), {G::kNombre, "0.123456789012345"}},
      {Codage('D', 3, 0, 'A', 3), {G::kDate, "29/02/2024"}},
      {Codage('E', 3, 0, 'A', 3), {G::kPointeur, "16777215"}},
      {Codage('B', 1, 0, 'A', 1), {G::kBooleen, "O"}},
  };
  for (const Cas& c : cas) {
    const Ecriture e = EcritValeur(c.c, c.v, false);
    ASSERT_TRUE(e.ecrit) << c.v.texte << " : " << e.raison;
    ASSERT_EQ(e.octets.size(), static_cast<size_t>(c.c.longueur));
    const Lecture l = LitValeur(c.c, e.octets);
    EXPECT_EQ(l.defaut, Defaut::kAucun) << c.v.texte;
    EXPECT_EQ(l.valeur.texte, c.v.texte);
  }
}

// What does not fit a field is refused with its reason; rounding and cutting only when asked.
TEST(ValeurRubriqueTest, ValuesThatDoNotFitAreRefusedUnlessCutOrRoundingIsAsked) {
  struct Cas {
    CodageRubrique c;
    Valeur v;
    bool arrondit;
    std::string attendu;  // the value read back, or "" when refused
    std::string raison;   // part of the reason of a refusal
  };
  const Cas cas[] = {
      {Codage('M', 5, 1, 'S', 4), {G::kNombre, "12.35"}, false, "", "plus de 1 décimale"},
      {Codage('M', 5, 1, 'S', 4), {G::kNombre, "12.35"}, true, "12.4", ""},
      {Codage('M', 5, 1, 'S', 4), {G::kNombre, "12.30"}, false, "12.3", ""},
      {Codage('N', 4, 1, 'A', 4), {G::kNombre, "99.96"}, true, "", "dépasse les 4 caractère"},
      {Codage('M', 4, 0, 'I', 2), {G::kNombre, "12345"}, true, "", "dépasse les 4 caractère"},
      {Codage('N', 4, 1, 'A', 4), {G::kNombre, "9.96"}, true, "10.0", ""},
      {Codage('M', 5, 0, 'I', 2), {G::kNombre, "40000"}, false, "", "[-32768..32767]"},
      {Codage('M', 1, 0, 'I', 2), {G::kNombre, "-1"}, false, "", "dépasse"},
      {Codage('A', 4, 0, 'A', 4), {G::kTexte, "AB    "}, false, "AB", ""},
      {Codage('A', 4, 0, 'A', 4), {G::kTexte, "ABCDEF"}, false, "", "texte de 6 caractères pour 4"},
      {Codage('A', 4, 0, 'A', 4), {G::kTexte, "ABCDEF"}, true, "ABCD", ""},
      {Codage('A', 4, 0, 'A', 4), {G::kTexte, "Ω"}, false, "", "Windows-1252"},
      {Codage('A', 4, 0, 'A', 4), {G::kNombre, "12"}, false, "", "autre genre"},
      {Codage('M', 9, 2, 'S', 4), {G::kDate, "01/01/2000"}, false, "", "pas un nombre"},
      {Codage('D', 3, 0, 'A', 3), {G::kDate, "30/02/2000"}, false, "", "pas une date"},
      {Codage('B', 1, 0, 'A', 1), {G::kTexte, "X"}, false, "", "ni O ni N"},
  };
  for (const Cas& c : cas) {
    SCOPED_TRACE(c.v.texte);
    const Ecriture e = EcritValeur(c.c, c.v, c.arrondit);
    EXPECT_EQ(e.ecrit, !c.attendu.empty());
    if (e.ecrit) {
      EXPECT_EQ(LitValeur(c.c, e.octets).valeur.texte, c.attendu);
    } else {
      EXPECT_NE(e.raison.find(c.raison), std::string::npos) << e.raison;
    }
  }
}

// A fresh record's fields read as the values a data-entry program starts from.
TEST(ValeurRubriqueTest, FreshFieldsReadAsTheProgramsStartingValues) {
  struct Cas {
    CodageRubrique c;
    G genre;
    std::string texte;
  };
  const Cas cas[] = {{Codage('A', 5, 0, 'A', 5), G::kTexte, ""},
                     {Codage('M', 12, 2, 'D', 8), G::kNombre, "0.00"},
                     {Codage('M', 3, 0, 'I', 2), G::kNombre, "0"},
                     {Codage('N', 6, 1, 'A', 6), G::kNombre, "0.0"},
                     {Codage('D', 3, 0, 'A', 3), G::kVide, ""},
                     {Codage('E', 3, 0, 'A', 3), G::kVide, ""},
                     {Codage('B', 1, 0, 'A', 1), G::kBooleen, "O"},
                     {Codage('L', 6, 0, 'A', 6), G::kTexte, "[]"}};
  for (const Cas& c : cas) {
    const std::string o = OctetsNeufs(c.c);
    ASSERT_EQ(o.size(), static_cast<size_t>(c.c.longueur));
    const Lecture l = LitValeur(c.c, o);
    EXPECT_EQ(l.defaut, Defaut::kAucun) << c.c.type;
    EXPECT_EQ(l.valeur.genre, c.genre) << c.c.type;
    EXPECT_EQ(l.valeur.texte, c.texte) << c.c.type;
  }
}

}  // namespace
}  // namespace vesk::fic
