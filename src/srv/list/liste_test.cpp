#include "srv/list/liste.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vesk::list {
namespace {

std::vector<std::string> Elements(std::string_view text) {
  std::vector<std::string_view> views;
  const Fault fault = Split(text, views);
  EXPECT_TRUE(fault.ok()) << text << " : " << fault.Message();
  return std::vector<std::string>(views.begin(), views.end());
}

using V = std::vector<std::string>;

TEST(ListeTest, ElementsKeepTheirSpacesAndEmptyOnesCount) {
  EXPECT_EQ(Elements("[]"), V{});
  EXPECT_EQ(Elements("[ ]"), V{" "});
  EXPECT_EQ(Elements("[,]"), (V{"", ""}));
  EXPECT_EQ(Elements("[a,,b]"), (V{"a", "", "b"}));
  EXPECT_EQ(Elements("[ a , b ]"), (V{" a ", " b "}));
  EXPECT_EQ(Elements("[- F1 : Conserver les Derniers Champs,- F5 : Aller à l'Edition du Fichier]"),
            (V{"- F1 : Conserver les Derniers Champs", "- F5 : Aller à l'Edition du Fichier"}));
  EXPECT_EQ(Elements("[LF1,NOM DE LA RUBRIQUE,A,40,,1]"),
            (V{"LF1", "NOM DE LA RUBRIQUE", "A", "40", "", "1"}));
}

TEST(ListeTest, NestedListsStayWhole) {
  EXPECT_EQ(Elements("[PS,1,[[CODOM,CODE DOMAINE,A,40,G,[A,E]],[FDD,FICHIER,A,20,G,[A,E]]],[]]"),
            (V{"PS", "1", "[[CODOM,CODE DOMAINE,A,40,G,[A,E]],[FDD,FICHIER,A,20,G,[A,E]]]", "[]"}));
  EXPECT_EQ(Elements("[[NOM,1,10],[DAT,_,_]]"), (V{"[NOM,1,10]", "[DAT,_,_]"}));
}

struct Faulty {
  const char* text;
  FaultKind kind;
  std::size_t position;
};

TEST(ListeTest, FaultsNameTheirCharacter) {
  const Faulty cases[] = {
      {"", FaultKind::kNoOpeningBracket, 1},
      {" [a]", FaultKind::kNoOpeningBracket, 1},
      {"[a,b", FaultKind::kUnclosed, 5},
      {"[[a,b]", FaultKind::kUnclosed, 7},
      {"[a]]", FaultKind::kTextAfterEnd, 4},
      {"[[NOM,_,_]] ", FaultKind::kTextAfterEnd, 12},
      {"[a[b]]", FaultKind::kBracketInElement, 3},
      {"[[NOM,1,10], [DAT,_,_]]", FaultKind::kBracketInElement, 14},
      {"[[a]b]", FaultKind::kTextAfterSublist, 5},
      {"[[a][b]]", FaultKind::kTextAfterSublist, 5},
      // Accented letters are two bytes each but one character.
      {"[Entête,Données[x]]", FaultKind::kBracketInElement, 16},
      {"[é]à", FaultKind::kTextAfterEnd, 4},
      {"[Dépendance", FaultKind::kUnclosed, 12},
  };
  for (const Faulty& c : cases) {
    const Fault fault = Check(c.text);
    EXPECT_EQ(fault.kind, c.kind) << c.text;
    EXPECT_EQ(fault.position, c.position) << c.text;
    std::vector<std::string_view> elements{"x"};
    EXPECT_EQ(Split(c.text, elements).position, c.position) << c.text;
    EXPECT_TRUE(elements.empty());
  }
  EXPECT_EQ(Check("[a[b]]").Message(), "caractère 3 : \"[\" au milieu d'un élément");
}

TEST(ListeTest, DepthIsLimitedWithoutRecursion) {
  const std::string deepest = std::string(kMaxDepth, '[') + std::string(kMaxDepth, ']');
  EXPECT_TRUE(Check(deepest).ok());
  const std::string too_deep = std::string(kMaxDepth + 1, '[') + std::string(kMaxDepth + 1, ']');
  const Fault fault = Check(too_deep);
  EXPECT_EQ(fault.kind, FaultKind::kTooDeep);
  EXPECT_EQ(fault.position, kMaxDepth + 1);
  EXPECT_EQ(Check(std::string(5'000'000, '[')).kind, FaultKind::kTooDeep);
}

TEST(ListeTest, BuildRefusesWhatWouldNotReadBack) {
  std::string out = "unchanged";
  std::size_t bad = 99;
  const std::vector<std::string_view> good{" a ", "", "[b,[c]]"};
  ASSERT_TRUE(Build(good, out, bad).ok());
  EXPECT_EQ(out, "[ a ,,[b,[c]]]");
  EXPECT_EQ(Elements(out), (V{" a ", "", "[b,[c]]"}));

  for (std::string_view element : {"[a", "a]", "a,b", "[a]b", "x[a]"}) {
    const std::vector<std::string_view> elements{"ok", element};
    out = "unchanged";
    EXPECT_FALSE(Build(elements, out, bad).ok()) << element;
    EXPECT_EQ(bad, 1u);
    EXPECT_EQ(out, "unchanged");
  }
  const std::vector<std::string_view> lone_empty{""};
  EXPECT_EQ(Build(lone_empty, out, bad).kind, FaultKind::kLoneEmpty);
}

TEST(ListeTest, PartOfPlainAndListElements) {
  std::string_view part;
  ASSERT_TRUE(Part("[NOMFIC,NOM DU FICHIER,A,6]", 2, part).ok());
  EXPECT_EQ(part, "NOM DU FICHIER");
  ASSERT_TRUE(Part("[@FORMAT,[FORMAT,TYPE/LONG,A,9,G],[FORMINT,INTERNE,A,6,C]]", 3, part).ok());
  EXPECT_EQ(part, "[FORMINT,INTERNE,A,6,C]");
  ASSERT_TRUE(Part("[a,b]", 3, part).ok());
  EXPECT_EQ(part, "");
  ASSERT_TRUE(Part("plain", 1, part).ok());
  EXPECT_EQ(part, "plain");
  ASSERT_TRUE(Part("plain", 2, part).ok());
  EXPECT_EQ(part, "");
  EXPECT_EQ(Part("a,b", 1, part).kind, FaultKind::kSeparator);
  EXPECT_EQ(Part("[a,b", 1, part).position, 5u);
}

}  // namespace
}  // namespace vesk::list
