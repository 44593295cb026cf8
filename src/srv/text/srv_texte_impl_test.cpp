#include "srv/text/srv_texte_impl.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk {
namespace {

// The message of the ErreurService thrown by f, or "" when none is thrown.
template <typename F>
std::string Erreur(F&& f) {
  try {
    f();
  } catch (const ErreurService& e) {
    return e.Message();
  }
  return "";
}

class SrvTexteTest : public ::testing::Test {
 protected:
  SrvTexteImpl srv_;
  std::string out_ = "inchangé";
};

TEST_F(SrvTexteTest, EntierTexteRightAlignsOrRefuses) {
  srv_.EntierTexte(42, 5, out_);
  EXPECT_EQ(out_, "   42");
  srv_.EntierTexte(-7, 2, out_);
  EXPECT_EQ(out_, "-7");
  srv_.EntierTexte(-2147483647 - 1, 11, out_);
  EXPECT_EQ(out_, "-2147483648");
  out_ = "inchangé";
  EXPECT_EQ(Erreur([&] { srv_.EntierTexte(123, 2, out_); }),
            "l'entier 123 ne tient pas en 2 caractères");
  EXPECT_EQ(Erreur([&] { srv_.EntierTexte(-1, 1, out_); }),
            "l'entier -1 ne tient pas en 1 caractère");
  EXPECT_NE(Erreur([&] { srv_.EntierTexte(1, 0, out_); }), "");
  EXPECT_NE(Erreur([&] { srv_.EntierTexte(1, -3, out_); }), "");
  EXPECT_EQ(out_, "inchangé");
}

TEST_F(SrvTexteTest, NumTexteWritesPlainDigits) {
  const std::pair<double, const char*> cas[] = {{12, "12"},
                                                {-3.5, "-3.5"},
                                                {0.1, "0.1"},
                                                {1e20, "100000000000000000000"},
                                                {-0.0, "0"},
                                                {0, "0"},
                                                {1e-7, "0.0000001"},
                                                {123456.789, "123456.789"},
                                                {-2147483648.0, "-2147483648"}};
  for (const auto& [nombre, attendu] : cas) {
    srv_.NumTexte(nombre, out_);
    EXPECT_EQ(out_, attendu);
  }
  srv_.NumTexte(std::numeric_limits<double>::denorm_min(), out_);
  EXPECT_EQ(std::strtod(out_.c_str(), nullptr), std::numeric_limits<double>::denorm_min());
  EXPECT_EQ(out_.find_first_of("eE"), std::string::npos);
  srv_.NumTexte(std::numeric_limits<double>::max(), out_);
  EXPECT_EQ(out_.size(), 309u);
  EXPECT_EQ(out_.rfind("179769313486231570", 0), 0u);
  out_ = "inchangé";
  EXPECT_NE(Erreur([&] { srv_.NumTexte(std::nan(""), out_); }), "");
  EXPECT_NE(Erreur([&] { srv_.NumTexte(-HUGE_VAL, out_); }), "");
  EXPECT_EQ(out_, "inchangé");
}

TEST_F(SrvTexteTest, JustifieCountsCharacters) {
  srv_.Justifie("Clé", 8, true, out_);  // 5 missing: 2 left, 3 right
  EXPECT_EQ(out_, "  Clé   ");
  srv_.Justifie("Clés", 8, true, out_);
  EXPECT_EQ(out_, "  Clés  ");
  srv_.Justifie("Clé", 6, false, out_);
  EXPECT_EQ(out_, "Clé   ");
  srv_.Justifie("Génération", 4, true, out_);
  EXPECT_EQ(out_, "Géné");
  srv_.Justifie("Fichier des Clients", 40, true, out_);
  EXPECT_EQ(text::CountChars(out_), 40u);
  EXPECT_EQ(out_, std::string(10, ' ') + "Fichier des Clients" + std::string(11, ' '));
  std::string s = "abc";
  srv_.Justifie(s, 5, true, s);  // result over its own text
  EXPECT_EQ(s, " abc ");
  EXPECT_NE(Erreur([&] { srv_.Justifie("a", -1, true, out_); }), "");
  EXPECT_EQ(Erreur([&] { srv_.Justifie("ab\xC3", 4, true, out_); }),
            "texte : texte UTF-8 invalide en position 3 (octet 0xC3)");
}

TEST_F(SrvTexteTest, SupBlancsAndRemplace) {
  srv_.SupBlancs("  é x \t ", out_);
  EXPECT_EQ(out_, "é x \t");
  srv_.SupBlancs("    ", out_);
  EXPECT_EQ(out_, "");
  srv_.Remplace("Nom;Prénom;;", ";", "", out_);
  EXPECT_EQ(out_, "NomPrénom");
  srv_.Remplace("aaaa", "aa", "b", out_);
  EXPECT_EQ(out_, "bb");
  srv_.Remplace("Été été", "été", "hiver", out_);
  EXPECT_EQ(out_, "Été hiver");
  std::string s = "a.b.c";
  srv_.Remplace(s, ".", "--", s);
  EXPECT_EQ(s, "a--b--c");
  out_ = "inchangé";
  EXPECT_EQ(Erreur([&] { srv_.Remplace("abc", "", "x", out_); }), "le texte cherché est vide");
  EXPECT_EQ(out_, "inchangé");
}

TEST_F(SrvTexteTest, FinitParCommencePar) {
  bool r = false;
  srv_.FinitPar("IF A THEN", "THEN", r);
  EXPECT_TRUE(r);
  srv_.FinitPar("IF A THEN", "then", r);
  EXPECT_FALSE(r);
  srv_.CommencePar("IF", "IF A THEN", r);  // prefix first
  EXPECT_TRUE(r);
  srv_.CommencePar("IF A THEN", "IF", r);
  EXPECT_FALSE(r);
  srv_.CommencePar("", "x", r);
  EXPECT_TRUE(r);
  EXPECT_NE(Erreur([&] { srv_.FinitPar("a\xFF", "a", r); }), "");
}

TEST_F(SrvTexteTest, TailleRoundTripsOverAllValues) {
  std::string taille;
  int16_t valeur = -1;
  for (int v = 0; v <= 32767; ++v) {
    srv_.EncodeTaille(static_cast<int16_t>(v), taille);
    ASSERT_EQ(text::CountChars(taille), 2u) << v;
    srv_.DecodeTaille(taille, valeur);
    ASSERT_EQ(valeur, v);
  }
  srv_.EncodeTaille(0x0181, taille);  // an undefined byte survives
  EXPECT_EQ(taille, "\x01\xC2\x81");
  srv_.EncodeTaille(0, taille);
  EXPECT_EQ(taille, std::string(2, '\0'));
  srv_.DecodeTaille("\x01€", valeur);  // € is byte 0x80
  EXPECT_EQ(valeur, 0x180);
}

TEST_F(SrvTexteTest, TailleRefusesBadValues) {
  int16_t valeur = 7;
  std::string taille = "xy";
  EXPECT_EQ(Erreur([&] { srv_.DecodeTaille("abc", valeur); }),
            "une taille codée fait 2 caractères, celle-ci en a 3");
  EXPECT_NE(Erreur([&] { srv_.DecodeTaille("é", valeur); }), "");
  EXPECT_EQ(Erreur([&] { srv_.DecodeTaille("\x80\x01", valeur); }),
            "taille : texte UTF-8 invalide en position 1 (octet 0x80)");
  EXPECT_EQ(Erreur([&] { srv_.DecodeTaille("€\x01", valeur); }),
            "la taille codée vaut 32769, au-delà du maximum 32767");
  EXPECT_NE(Erreur([&] { srv_.DecodeTaille("aΩ", valeur); }).find("U+03A9"), std::string::npos);
  EXPECT_NE(Erreur([&] { srv_.EncodeTaille(-1, taille); }), "");
  EXPECT_EQ(valeur, 7);
  EXPECT_EQ(taille, "xy");
}

}  // namespace
}  // namespace vesk
