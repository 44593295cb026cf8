#include "srv/report/descriptor.h"

#include <gtest/gtest.h>

#include "srv/erreur_service.h"
#include "srv/report/chars.h"
#include "srv/report/layout.h"

namespace vesk::report {
namespace {

constexpr const char* kListeFichiers =
    "[PS,30,[[NOMFIC,Fichier Donnée,A,6,G],[DFE,Entreprise,B,C],[@B-Arbres,[NAT,Nature,A,10,G],"
    "[BA,Fichier,A,10,G]],[@Chainage,[NF,Nature,A,6,G],[@Dépendance,[CHN,Nature,A,10,G],"
    "[CHF,Fichier,A,10,G]]]],[]]";

TEST(Descriptor, ReadsTheListingsFrames) {
  const Descriptor dom = ParseDescriptor(
      "[PS,1,[[CODOM,CODE DOMAINE,A,40,G,[A,E]],[NOMDOM,NOM ET DEFINITION DU DOMAINE,A,80,G,[A]],"
      "[FDD,FICHIER,A,20,G,[A,E]]],[]]");
  ASSERT_EQ(dom.columns.size(), 3u);
  EXPECT_EQ(dom.style.size, 'P');
  EXPECT_FALSE(dom.style.bold);
  EXPECT_TRUE(dom.columns[0].wrap_words && dom.columns[0].repeat_on_page);
  EXPECT_TRUE(dom.columns[1].wrap_words && !dom.columns[1].repeat_on_page);
  EXPECT_EQ(dom.columns[1].layout_width, 80);
  EXPECT_EQ(dom.TextWidth(), 1 + 43 + 83 + 23);

  const Descriptor descripteur = ParseDescriptor(
      "[PS,1,[[NO,NO,N,3,0,D],[NRUB,RUBRIQUE/EXEMPLE,A,40,G],[@FORMAT,[FORMAT,TYPE/LONG,A,9,G],"
      "[FORMINT,INTERNE,A,6,C]],[NOMVAR,VARIABLE,A,16,G],[TYPEMOD,M,A,1,G],"
      "[CODOM,CODE DOMAINE,A,20,G],[@POSITION,[DEB,DEBUT,N,5,0,D],[FIN,FIN,N,5,0,D]]],[]]");
  ASSERT_EQ(descripteur.columns.size(), 9u);
  EXPECT_EQ(descripteur.columns[0].type, 'N');
  EXPECT_EQ(descripteur.columns[0].align, Align::kRight);
  EXPECT_EQ(descripteur.columns[3].align, Align::kCentre);
  ASSERT_EQ(descripteur.groups.size(), 2u);
  EXPECT_EQ(descripteur.groups[1].title, "POSITION");
  EXPECT_EQ(descripteur.groups[1].first, 7);
  EXPECT_EQ(descripteur.groups[1].last, 8);

  const Descriptor fic = ParseDescriptor(kListeFichiers);
  EXPECT_EQ(fic.keep_lines, 30);
  EXPECT_EQ(fic.depth, 2);
  EXPECT_EQ(fic.columns[0].layout_width, 7);  // widened to the word "Fichier"
  EXPECT_EQ(fic.columns[1].type, 'B');
  EXPECT_EQ(fic.columns[1].layout_width, 10);  // "Entreprise"
  ASSERT_EQ(fic.groups.size(), 3u);
  EXPECT_EQ(fic.groups[2].title, "Dépendance");
  EXPECT_EQ(fic.groups[2].level, 1);
  EXPECT_EQ(fic.groups[1].first, 4);
  EXPECT_EQ(fic.groups[1].last, 6);
  EXPECT_EQ(fic.Find("CHF"), 6);
  EXPECT_EQ(fic.Find("XX"), -1);
}

TEST(Descriptor, WidensAColumnUnderAWideGroupHeading) {
  const Descriptor d = ParseDescriptor("[GD,1,[[@Intitulé très long,[A,a,A,2,G],[B,b,A,2,G]]],[]]");
  EXPECT_EQ(d.style.size, 'G');
  EXPECT_TRUE(d.style.bold);
  // "Intitulé" (8) over two columns of 2: 2 + 3 + 2 = 7, one short.
  EXPECT_EQ(d.columns[1].layout_width, 3);
}

TEST(Descriptor, HeadingGridPutsGroupsAboveTheirColumns) {
  const HeadingGrid g = MakeHeadings(ParseDescriptor(kListeFichiers));
  EXPECT_EQ(g.level_rows, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(g.rows, 4);  // "Fichier / Donnée" takes two title rows
  for (const HeadingCell& c : g.cells) {
    if (c.lines.front() == "Dépendance") {
      EXPECT_EQ(c.top, 1);
    }
    if (c.first == 0 && c.last == 0) {
      EXPECT_EQ(c.top, 0);  // NOMFIC spans every heading row
    }
    if (c.first == 6 && c.last == 6) {
      EXPECT_EQ(c.top, 2);  // CHF sits under two groups
    }
  }
}

// The columns of the generated report programs: amounts by their decimals, dates by their
// coded size, widths as the option L.
TEST(Descriptor, AmountsDatesAndWidthsOfTheGeneratedReports) {
  const Descriptor d = ParseDescriptor(
      "[PS,1,[[ENC,Encours,M,2,D,[L9]],[QTE,Quantité,N,0,D],[DT,Date,D,3,C],"
      "[NOM,Nom,A,30,G,[L12]]],[]]");
  ASSERT_EQ(d.columns.size(), 4u);
  EXPECT_EQ(d.columns[0].type, 'N');
  EXPECT_EQ(d.columns[0].decimals, 2);
  EXPECT_EQ(d.columns[0].width, 9);
  EXPECT_EQ(d.columns[1].decimals, 0);
  EXPECT_EQ(d.columns[1].width, 16);  // no width given: the widest amount
  EXPECT_EQ(d.columns[2].type, 'A');
  EXPECT_EQ(d.columns[2].width, 10);  // JJ/MM/AAAA
  EXPECT_EQ(d.columns[2].align, Align::kCentre);
  EXPECT_EQ(d.columns[3].width, 12);
}

struct BadCase {
  const char* descriptor;
  const char* expected;  // part of the message
};

class BadDescriptor : public testing::TestWithParam<BadCase> {};

TEST_P(BadDescriptor, IsRefusedNamingWhatAndWhere) {
  try {
    ParseDescriptor(GetParam().descriptor);
    FAIL() << "accepted: " << GetParam().descriptor;
  } catch (const ErreurService& e) {
    EXPECT_EQ(e.Operation(), "DefEdt");
    EXPECT_NE(e.Message().find(GetParam().expected), std::string::npos) << e.Message();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, BadDescriptor,
    testing::Values(BadCase{"", "syntaxe, caractère 1"},
                    BadCase{"[PS,1,[[A,a,A,4,G]],[]", "syntaxe, caractère 23"},
                    BadCase{"[PS,1,[[A,a,A,4,G]],[]]x", "syntaxe, caractère 24"},
                    BadCase{"[PS,1,[[A,a,A,4,G]]]", "quatre éléments"},
                    BadCase{"[XS,1,[[A,a,A,4,G]],[]]", "caractère 2 : style du cadre « XS »"},
                    BadCase{"[PS,0,[[A,a,A,4,G]],[]]", "caractère 5 : nombre de lignes « 0 »"},
                    BadCase{"[PS,1,[],[]]", "caractère 7 : la liste des colonnes"},
                    BadCase{"[PS,1,[[A,a,A,4,G]],[x]]", "caractère 21 : le dernier élément"},
                    BadCase{"[PS,1,[[A,a,A,4x,G]],[]]",
                            "caractère 15 : colonne A : largeur « 4x »"},
                    BadCase{"[PS,1,[[A,a,A,0,G]],[]]", "largeur « 0 »"},
                    BadCase{"[PS,1,[[A,a,A,1000,G]],[]]", "largeur « 1000 »"},
                    BadCase{"[PS,1,[[A,a,X,4,G]],[]]", "colonne A : type « X » inconnu"},
                    BadCase{"[PS,1,[[A,a,A,4,H]],[]]", "cadrage « H » inconnu"},
                    BadCase{"[PS,1,[[A,a,N,4]],[]]", "LARGEUR,DECIMALES,CADRAGE"},
                    BadCase{"[PS,1,[[A,a,M,2]],[]]", "« DECIMALES,CADRAGE » attendu"},
                    BadCase{"[PS,1,[[A,a,M,2,D,[L2]]],[]]", "largeur « 2 »"},
                    BadCase{"[PS,1,[[A,a,M,16,D]],[]]", "décimales « 16 »"},
                    BadCase{"[PS,1,[[A,a,D,3]],[]]", "« TAILLE,CADRAGE » attendu"},
                    BadCase{"[PS,1,[[A,a,N,4,4,D]],[]]", "décimales « 4 »"},
                    BadCase{"[PS,1,[[A,a,A,4,G,[Z]]],[]]", "option « Z » inconnue"},
                    BadCase{"[PS,1,[[A,a,A,4,G],[A,b,A,4,G]],[]]", "colonne « A » en double"},
                    BadCase{"[PS,1,[[@,[A,a,A,4,G]]],[]]", "nom de groupe vide"},
                    BadCase{"[PS,1,[[@G]],[]]", "le groupe « G » n'a aucune colonne"},
                    BadCase{"[PS,1,[[@G,x]],[]]", "une colonne « [CLE,TITRE,TYPE,...] »"},
                    BadCase{"[PS,1,[[A,a]],[]]", "colonne incomplète"},
                    BadCase{"[PS,1,[[A,[a],A,4,G]],[]]", "titre de colonne : un texte est attendu"},
                    BadCase{"[PS,1,[[,a,A,4,G]],[]]", "clé de colonne vide"},
                    BadCase{"[PS,1,[[A,\xC3,A,4,G]],[]]", "caractère 11 : texte UTF-8 incorrect"}));

TEST(Descriptor, RefusesNestingBeyondThirtyTwoLevels) {
  std::string text = "[PS,1,[";
  for (int i = 0; i < 40; ++i) text += "[@G,";
  text += "[A,a,A,4,G]";
  for (int i = 0; i < 40; ++i) text += "]";
  text += "],[]]";
  EXPECT_THROW(ParseDescriptor(text), ErreurService);
}

TEST(Wrap, CutsAtWordsOrCharactersAndLosesNothing) {
  EXPECT_EQ(Wrap("Un fichier au nom très long", 10, true),
            (std::vector<std::string>{"Un fichier", "au nom", "très long"}));
  EXPECT_EQ(Wrap("ABCDEFGHIJK", 4, true), (std::vector<std::string>{"ABCD", "EFGH", "IJK"}));
  EXPECT_EQ(Wrap("éééééé", 4, false), (std::vector<std::string>{"éééé", "éé"}));
  EXPECT_EQ(Wrap("a\n\nb", 4, true), (std::vector<std::string>{"a", "", "b"}));
  EXPECT_EQ(Wrap("  retrait", 20, true), (std::vector<std::string>{"  retrait"}));
  EXPECT_EQ(Wrap("", 5, true), (std::vector<std::string>{""}));
  EXPECT_EQ(NormalizeBreaks("a\tb\r\nc\rd"), "a       b\nc\nd");
  EXPECT_EQ(NormalizeBreaks("é\tx\n\tz"), "é       x\n        z");  // columns count characters
  EXPECT_EQ(FirstControl("é\x01"), 2u);
  EXPECT_EQ(FirstControl("ab\x7F"), 3u);
  EXPECT_EQ(FirstControl("é\xC2\x85"), 2u);  // U+0085, a C1 control
  EXPECT_EQ(FirstControl("\xC2\xA0"), 0u);   // U+00A0 is a character
  EXPECT_EQ(FirstControl("a\tb\n"), 0u);
}

}  // namespace
}  // namespace vesk::report
