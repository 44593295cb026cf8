#include "srv/tui/editeur.h"

#include <gtest/gtest.h>

#include <variant>

#include "srv/tui/texte.h"

namespace vesk::tui {
namespace {

Champ Texte(int longueur) {
  Champ c;
  c.cle = "X";
  c.longueur = longueur;
  return c;
}

// Keys as a test writes them: a character, or a named key.
std::vector<Touche> Touches(std::initializer_list<std::variant<char32_t, int16_t>> touches) {
  std::vector<Touche> out;
  for (const auto& t : touches) {
    out.push_back(std::holds_alternative<char32_t>(t) ? Touche::Car(std::get<char32_t>(t))
                                                      : Touche::De(std::get<int16_t>(t)));
  }
  return out;
}

TEST(EditeurTest, AValueHeldIsReplacedByTheFirstCharacterUnlessAKeyGoesIntoIt) {
  struct Cas {
    const char* quoi;
    int longueur;
    std::u32string depart;
    std::vector<Touche> touches;
    std::u32string attendu;
  };
  const Cas cas[] = {
      {"typing replaces", 10, U"CODE ARTIC", Touches({U'A', U'0'}), U"A0"},
      {"one character over one", 1, U"U", Touches({U'R'}), U"R"},
      {"End then typing adds", 12, U"CODE ARTIC", Touches({kFin, U'L', U'E'}), U"CODE ARTICLE"},
      {"Home then typing inserts", 6, U"LIENT", Touches({kOrigine, U'C'}), U"CLIENT"},
      {"Left then typing inserts", 8, U"ABC", Touches({kGauche, U'x'}), U"ABxC"},
      {"Backspace edits", 6, U"FACTUR", Touches({kRetourArriere, U'E'}), U"FACTUE"},
      {"Ctrl+U empties", 6, U"FACTUR", Touches({kEfface}), U""},
      {"Ctrl+U then typing", 6, U"FACTUR", Touches({kEfface, U'A'}), U"A"},
      {"Ins keeps the value fresh", 6, U"FACTUR", Touches({kInsertion, U'Z'}), U"Z"},
      {"overwrite after Home", 6, U"FACTUR", Touches({kInsertion, kOrigine, U'P'}), U"PACTUR"},
      {"a full field refuses the seventh", 6, U"FACTUR", Touches({kFin, U'E'}), U"FACTUR"},
      {"empty start: typing appends", 6, U"", Touches({U'A', U'B'}), U"AB"},
  };
  for (const Cas& c : cas) {
    Editeur ed(Texte(c.longueur), c.depart);
    EXPECT_EQ(ed.Neuf(), !c.depart.empty()) << c.quoi;
    for (const Touche& t : c.touches) ed.Applique(t);
    EXPECT_EQ(VersUtf8(ed.Texte()), VersUtf8(c.attendu)) << c.quoi;
  }
}

TEST(EditeurTest, ARefusedFirstKeyKeepsTheValueAndItsFreshness) {
  Champ nombre = Texte(4);
  nombre.type = TypeChamp::kEntier;
  Editeur ed(nombre, U"1234");
  EXPECT_NE(ed.Applique(Touche::Car(U'x')), std::nullopt);
  EXPECT_EQ(VersUtf8(ed.Texte()), "1234");
  EXPECT_TRUE(ed.Neuf());
  EXPECT_EQ(ed.Curseur(), 4u);
  EXPECT_EQ(ed.Applique(Touche::Car(U'9')), std::nullopt);
  EXPECT_EQ(VersUtf8(ed.Texte()), "9");
  EXPECT_EQ(ed.Curseur(), 1u);
  EXPECT_EQ(*ed.Applique(Touche::Car(U'x')),
            "caractère « x » (U+0078) refusé : chiffres et signe seulement");
}

TEST(PlieTest, FoldsBetweenElementsAndNeverCutsOne) {
  const std::string hub =
      "A la Rubrique DEPENDANCE Options : - F2 : Aller à la Saisie des B-Arbres - F3 : Aller à "
      "la Saisie des Chainage - F4 : Aller à la Genération des Déclarations de FACTUR - F5 : "
      "Aller à l'Edition du Fichier";
  struct Cas {
    std::string texte;
    int largeur;
    std::vector<std::string> lignes;
  };
  const Cas cas[] = {
      {hub,
       80,
       {"A la Rubrique DEPENDANCE Options : - F2 : Aller à la Saisie des B-Arbres",
        "- F3 : Aller à la Saisie des Chainage",
        "- F4 : Aller à la Genération des Déclarations de FACTUR",
        "- F5 : Aller à l'Edition du Fichier"}},
      {hub,
       100,
       {"A la Rubrique DEPENDANCE Options : - F2 : Aller à la Saisie des B-Arbres",
        "- F3 : Aller à la Saisie des Chainage - F4 : Aller à la Genération des Déclarations de "
        "FACTUR",
        "- F5 : Aller à l'Edition du Fichier"}},
      {"court", 80, {"court"}},
      {"", 80, {}},
      // An element wider than the line goes between words, a word wider than it at the width.
      {"Nom de fichier « Fic-1 » refusé : lettres seulement",
       20,
       {"Nom de fichier «", "Fic-1 » refusé :", "lettres seulement"}},
      {"ABCDEFGHIJ", 4, {"ABCD", "EFGH", "IJ"}},
  };
  for (const Cas& c : cas) {
    std::vector<std::string> lignes;
    for (const std::u32string& l : Plie(c.texte, c.largeur)) lignes.push_back(VersUtf8(l));
    EXPECT_EQ(lignes, c.lignes) << c.texte << " / " << c.largeur;
  }
}

}  // namespace
}  // namespace vesk::tui
