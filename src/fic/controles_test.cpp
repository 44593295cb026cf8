// The key-list check and the chaining positions, with the messages the screens show.
#include "fic/controles.h"

#include "fic/testing/dictionnaire.h"

namespace vesk::fic {
namespace {

class ControlesTest : public DossierEssai {
 protected:
  void SetUp() override {
    DossierEssai::SetUp();
    Ouvre();
    champs_ = FichierComplet(LitToml(R"(version = 1
      [fichiers.F]
      rubriques = [{ nom = "Nom", type = "A", total = 30, variable = "NOM" },
                   { nom = "Montant", type = "N", total = 8, variable = "MT" },
                   { nom = "Date", type = "D", variable = "DAT", exemple = "x" },
                   { nom = "Long", type = "A", total = 20000, variable = "LONG" },
                   { nom = "Long2", type = "A", total = 20000, variable = "LONG2" }])",
                                     "t")
                                 .fichiers.at("F"))
                  .rubriques;
  }
  std::string Message(std::string_view liste) {
    return ControleListeCle(Etat(), liste, champs_).message;
  }
  std::vector<Rubrique> champs_;
};

TEST_F(ControlesTest, KeyListsGiveTheirLengthOrTheScreensMessage) {
  ResultatCle r = ControleListeCle(Etat(), "[[NOM,_,_]]", champs_);
  EXPECT_TRUE(r.valide);
  EXPECT_EQ(r.longueur, 30);
  r = ControleListeCle(Etat(), "[[NOM,1,10],[DAT,_,_]]", champs_);
  EXPECT_TRUE(r.valide);
  EXPECT_EQ(r.longueur, 13);
  ASSERT_EQ(r.parties.size(), 2u);
  EXPECT_EQ(r.parties[1].rubrique, 2);
  EXPECT_EQ(r.parties[1].fin, 3);
  EXPECT_FALSE(r.parties[0].entiere);
  EXPECT_TRUE(r.parties[1].entiere);
  // The parts as slices of the record: NOM from its first character, DAT whole after MT.
  ASSERT_EQ(r.tranches.size(), 2u);
  EXPECT_EQ(r.tranches[0].debut, 0);
  EXPECT_EQ(r.tranches[0].longueur, 10);
  EXPECT_EQ(r.tranches[1].debut, 38);
  EXPECT_EQ(r.tranches[1].longueur, 3);
  EXPECT_EQ(Message("[[NOM,5,4]]"), "NOM-4 Erreur");
  EXPECT_EQ(Message("[[NOM,0,4]]"), "NOM-0 Erreur");
  EXPECT_EQ(Message("[[NOM,x,4]]"), "NOM-x Erreur");
  EXPECT_EQ(Message("[[NOM,1,31]]"), "NOM-31 Erreur");
  EXPECT_EQ(Message("[[NOM,_,_],[NOMCLI,1,2]]"), "NOMCLI Inconnue");
  EXPECT_EQ(Message("[[NOM,_,_],[MT,1],[DAT,_,_]]"), "Faux Avant [[DAT,_,_]]");
  EXPECT_EQ(Message("[NOM,[DAT,_,_]]"), "Faux Avant [[DAT,_,_]]");
  EXPECT_EQ(Message("[[NOM,_,_]"), "Erreur de Syntaxe 11eme Car");
  EXPECT_EQ(Message("[[NOM,_,_]]x"), "Erreur de Syntaxe 12eme Car");
  EXPECT_EQ(Message("[]"), "Liste de clé vide : au moins une variable [[Var,Pd,Pf]]");
  EXPECT_EQ(Message("[[LONG,1,1025]]"),
            "Clé de 1025 caractères : un B-arbre en tient 1024 au plus");
  // A length past 16 bits ends the command.
  EXPECT_THROW(ControleListeCle(Etat(), "[[LONG,_,_],[LONG2,_,_]]", champs_), ErreurService);
}

TEST_F(ControlesTest, DefaultKeyListTakesTheAlphaAndDateFields) {
  EXPECT_EQ(ListeCleDefaut(Etat(), champs_), "[[NOM,_,_],[DAT,_,_],[LONG,_,_],[LONG2,_,_]]");
  EXPECT_EQ(ListeCleDefaut(Etat(), {}), "[]");
}

TEST(Positions, NumbersReadAsNumbersWithinTheRecord) {
  EXPECT_EQ(ValeurNumerique("12"), 12);
  EXPECT_EQ(ValeurNumerique("  12a"), 12);
  EXPECT_EQ(ValeurNumerique("-3"), -3);
  EXPECT_EQ(ValeurNumerique("abc"), 0);
  EXPECT_EQ(ValeurNumerique(""), 0);
  EXPECT_FALSE(PositionValide(0, 64));
  EXPECT_TRUE(PositionValide(64, 64));
  EXPECT_FALSE(PositionValide(65, 64));
  EXPECT_TRUE(PositionValide(4, 64, 4));
  EXPECT_FALSE(PositionValide(3, 64, 4));
}

}  // namespace
}  // namespace vesk::fic
