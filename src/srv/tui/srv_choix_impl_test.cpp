#include "srv/tui/srv_choix_impl.h"

#include <gtest/gtest.h>

#include "srv/erreur_service.h"
#include "srv/tui/liste_choix.h"
#include "srv/tui/testing/ecran.h"

namespace vesk::tui {
namespace {

constexpr std::string_view kBa = "[[G,40,B-Arbres Ouverts]]";

TEST(Choix, ArrowsEnterAndEsc) {
  EcranDeTest e;
  SrvChoixImpl choix(e.console);
  bool choisi = false;
  std::string element;
  e.terminal->Appuie(kBas);
  e.terminal->Appuie(kBas);
  e.terminal->Appuie(kHaut);
  e.terminal->Appuie(kEntree);
  choix.Choix(kBa, "Lecture", "[CLI1,CLI2,FOU1]", choisi, element);
  EXPECT_TRUE(choisi);
  EXPECT_EQ(element, "CLI2");
  e.terminal->Appuie(kEchap);
  choix.Choix(kBa, "Lecture", "[CLI1,CLI2,FOU1]", choisi, element);
  EXPECT_FALSE(choisi);
  e.terminal->Appuie(kEntree);  // an empty list gives no choice
  choix.Choix(kBa, "Lecture", "[]", choisi, element);
  EXPECT_FALSE(choisi);
  EXPECT_NE(e.Texte().find("(liste vide)"), std::string::npos);
}

TEST(Choix, ColumnsAreAlignedAndTheElementComesBackWhole) {
  EcranDeTest e;
  SrvChoixImpl choix(e.console);
  bool choisi = false;
  std::string element;
  e.terminal->Appuie(kFin);
  e.terminal->Appuie(kEntree);
  choix.Choix("[[D,5,Deb],[G,6,Nom],[C,5,M]]", "CHOIX D'UN CHAMP - Fichier : CLI",
              "[[1,CODE,U],[7,NOM,R]]", choisi, element);
  EXPECT_EQ(element, "[7,NOM,R]");
  std::string texte = e.Texte();
  EXPECT_NE(texte.find("  Deb Nom      M"), std::string::npos) << texte;
  EXPECT_NE(texte.find("    1 CODE     U"), std::string::npos) << texte;
  EXPECT_NE(texte.find("CHOIX D'UN CHAMP - Fichier : CLI"), std::string::npos);
}

TEST(Choix, TypingSearchesTheFirstColumn) {
  std::vector<std::string> elements = {"Alpha", "Beta", "Camion", "Cabane", "Éclair"};
  ListeChoix liste({{'G', 20, "Nom"}}, "T", elements, false, "Choix");
  liste.Applique(Touche::Car(U'c'), 10);
  EXPECT_EQ(liste.Courant(), 2u);
  liste.Applique(Touche::Car(U'A'), 10);
  liste.Applique(Touche::Car(U'b'), 10);  // "cab": the next match
  EXPECT_EQ(liste.Courant(), 3u);
  liste.Applique(Touche::Car(U'z'), 10);  // no "cabz": stays, says so
  EXPECT_EQ(liste.Courant(), 3u);
  Grille g(60, 12);
  liste.Dessine(g);
  EXPECT_NE(g.Texte().find("« cAbz » introuvable"), std::string::npos) << g.Texte();
  liste.Applique(Touche::De(kOrigine), 10);
  liste.Applique(Touche::Car(U'é'), 10);  // case folding covers accented capitals
  EXPECT_EQ(liste.Courant(), 4u);
}

TEST(Choix, TenThousandElementsDrawOnlyTheWindow) {
  std::string liste = "[";
  for (int i = 0; i < 10000; ++i) liste += (i ? ",E" : "E") + std::to_string(i);
  liste += "]";
  EcranDeTest e(80, 24);
  SrvChoixImpl choix(e.console);
  e.terminal->Appuie(kFin);
  e.terminal->Appuie(kPageHaut);
  e.terminal->Tape("E50");  // from E9982 the search wraps round to E50
  e.terminal->Appuie(kEntree);
  bool choisi = false;
  std::string element;
  choix.Choix(kBa, "Lecture", liste, choisi, element);
  EXPECT_EQ(element, "E50");
  e.terminal->Appuie(kFin);
  e.terminal->Appuie(kEntree);
  choix.Choix(kBa, "Lecture", liste, choisi, element);
  EXPECT_EQ(element, "E9999");
  EXPECT_NE(e.Texte().find("E9999"), std::string::npos);
  EXPECT_EQ(e.Texte().find("E9980 "), std::string::npos);  // above the window
}

TEST(Choix, MultipleChoiceMarksWithSpace) {
  EcranDeTest e;
  SrvChoixImpl choix(e.console);
  bool choisi = false;
  std::string elements;
  e.terminal->Tape(" ");
  e.terminal->Appuie(kBas);
  e.terminal->Appuie(kBas);
  e.terminal->Tape(" ");
  e.terminal->Appuie(kEntree);
  choix.ChoixMultiple(kBa, "T", "[[1,a],b,c]", choisi, elements);
  EXPECT_TRUE(choisi);
  EXPECT_EQ(elements, "[[1,a],c]");
  e.terminal->Appuie(kEntree);  // nothing marked: the current element
  choix.ChoixMultiple(kBa, "T", "[x,y]", choisi, elements);
  EXPECT_EQ(elements, "[x]");
  e.terminal->Appuie(kEchap);
  choix.ChoixMultiple(kBa, "T", "[x,y]", choisi, elements);
  EXPECT_FALSE(choisi);
  EXPECT_EQ(elements, "[]");
}

TEST(Choix, BadDescriptorsAreClearErrors) {
  EcranDeTest e;
  SrvChoixImpl choix(e.console);
  bool choisi = false;
  std::string element;
  for (std::string_view colonnes : {"[[X,40,T]]", "[[G,0,T]]", "[]", "[G,40,T]", "[[G,40]]"}) {
    EXPECT_THROW(choix.Choix(colonnes, "T", "[a]", choisi, element), ErreurService) << colonnes;
  }
  EXPECT_THROW(choix.Choix(kBa, "T", "[a,[b]", choisi, element), ErreurService);
  EXPECT_EQ(e.terminal->Peintures(), 0);
}

}  // namespace
}  // namespace vesk::tui
