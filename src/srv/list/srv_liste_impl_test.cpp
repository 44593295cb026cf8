#include "srv/list/srv_liste_impl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "srv/erreur_service.h"

namespace vesk {
namespace {

class SrvListeImplTest : public ::testing::Test {
 protected:
  std::vector<std::string> ExtraitTout(std::string liste) {
    std::vector<std::string> elements;
    std::string element;
    while (liste != "[]") {
      srv_.Extrait(liste, element);
      elements.push_back(element);
    }
    return elements;
  }

  SrvListeImpl srv_;
};

using V = std::vector<std::string>;

TEST_F(SrvListeImplTest, ExtraitUntilEmpty) {
  EXPECT_EQ(ExtraitTout("[[NOM,1,10],[DAT,_,_]]"), (V{"[NOM,1,10]", "[DAT,_,_]"}));
  EXPECT_EQ(ExtraitTout("[- F2 : Aller à la Saisie des B-Arbres, - F3 : l'Entête]"),
            (V{"- F2 : Aller à la Saisie des B-Arbres", " - F3 : l'Entête"}));
  EXPECT_EQ(ExtraitTout("[a,,b]"), (V{"a", "", "b"}));
  // A lone empty element cannot be written apart from "[]": the list ends there.
  EXPECT_EQ(ExtraitTout("[a,]"), (V{"a"}));

  std::string liste = "[]";
  std::string element = "avant";
  srv_.Extrait(liste, element);
  EXPECT_EQ(element, "");
  EXPECT_EQ(liste, "[]");

  liste = "[REM,ELSE,END IF,SUB]";
  srv_.ExtraitMot(liste, element);
  srv_.ExtraitMot(liste, element);
  srv_.ExtraitMot(liste, element);
  EXPECT_EQ(element, "END IF");
  EXPECT_EQ(liste, "[SUB]");
}

TEST_F(SrvListeImplTest, MalformedListsAreRefusedAndKept) {
  std::string liste = "[Entête,Données[x]]";
  std::string element = "avant";
  try {
    srv_.Extrait(liste, element);
    FAIL() << "Extrait accepted a malformed list";
  } catch (const ErreurService& e) {
    EXPECT_EQ(e.Operation(), "Extrait");
    EXPECT_NE(e.Message().find("caractère 16"), std::string::npos) << e.Message();
  }
  EXPECT_EQ(liste, "[Entête,Données[x]]");
  EXPECT_EQ(element, "avant");

  int32_t nombre = -1;
  EXPECT_THROW(srv_.NbElements("[a,b", nombre), ErreurService);
  EXPECT_EQ(nombre, -1);
  EXPECT_THROW(srv_.Ajoute(liste, "z"), ErreurService);
  EXPECT_EQ(liste, "[Entête,Données[x]]");
}

TEST_F(SrvListeImplTest, VerifieSyntaxeGivesTheCharacter) {
  int16_t position = -1;
  srv_.VerifieSyntaxe("[[NOM,1,10],[DAT,_,_]]", position);
  EXPECT_EQ(position, 0);
  srv_.VerifieSyntaxe("[[NOM,_,_]] ", position);
  EXPECT_EQ(position, 12);
  srv_.VerifieSyntaxe("[[Données,_,_]] ", position);
  EXPECT_EQ(position, 16);
  srv_.VerifieSyntaxe("", position);
  EXPECT_EQ(position, 1);

  // A fault past what a 16-bit position holds is an error, never a wrapped number.
  const std::string long_ = "[" + std::string(40000, 'x');
  position = -1;
  EXPECT_THROW(srv_.VerifieSyntaxe(long_, position), ErreurService);
  EXPECT_EQ(position, -1);
  srv_.VerifieSyntaxe(long_ + "]", position);
  EXPECT_EQ(position, 0);
}

TEST_F(SrvListeImplTest, DeepNestingIsAnError) {
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  int16_t position = 0;
  srv_.VerifieSyntaxe(deep, position);
  EXPECT_EQ(position, 10001);
  int32_t nombre = 0;
  try {
    srv_.NbElements(deep, nombre);
    FAIL();
  } catch (const ErreurService& e) {
    EXPECT_NE(e.Message().find("10000 niveaux"), std::string::npos) << e.Message();
  }
}

TEST_F(SrvListeImplTest, AjouteRefusesElementsThatWouldCorruptTheList) {
  std::string liste = "[]";
  srv_.Ajoute(liste, "[NOMFIC,_,_]");
  srv_.Ajoute(liste, " Entête ");
  srv_.Ajoute(liste, "");
  EXPECT_EQ(liste, "[[NOMFIC,_,_], Entête ,]");
  for (std::string_view bad : {"[a", "a]", "[a]]", "a,b", "[a]b"}) {
    EXPECT_THROW(srv_.Ajoute(liste, bad), ErreurService) << bad;
  }
  EXPECT_EQ(liste, "[[NOMFIC,_,_], Entête ,]");
  std::string vide = "[]";
  EXPECT_THROW(srv_.Ajoute(vide, ""), ErreurService);
  EXPECT_EQ(vide, "[]");
  int32_t nombre = 0;
  srv_.NbElements(liste, nombre);
  EXPECT_EQ(nombre, 3);
}

TEST_F(SrvListeImplTest, ElementOfNestedParts) {
  const std::string colonne = "[@FORMAT,[FORMAT,TYPE/LONG,A,9,G],[FORMINT,INTERNE,A,6,C]]";
  std::string texte;
  srv_.Element(colonne, 2, texte);
  EXPECT_EQ(texte, "[FORMAT,TYPE/LONG,A,9,G]");
  srv_.Element(texte, 4, texte);  // the part of a part, through the same string
  EXPECT_EQ(texte, "9");
  srv_.Element("[LF1,NOM DE LA RUBRIQUE,A,40,,1]", 5, texte);
  EXPECT_EQ(texte, "");
  srv_.Element("[Ligne,Entête,FIC]", 4, texte);
  EXPECT_EQ(texte, "");
  srv_.Element(" Primaire", 1, texte);
  EXPECT_EQ(texte, " Primaire");
  texte = "avant";
  EXPECT_THROW(srv_.Element("[a,b]", 0, texte), ErreurService);
  EXPECT_THROW(srv_.Element("[a,[b]", 1, texte), ErreurService);
  EXPECT_EQ(texte, "avant");
}

}  // namespace
}  // namespace vesk
