#include "gencode/tampon.h"

#include <gtest/gtest.h>

#include "gencode/disposition.h"
#include "gencode/etat_gencode.h"
#include "gencode/testing/generateurs.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk {
namespace {

class TamponTest : public ServicesEssai {};

std::string Regle(char c) { return "Rem " + std::string(76, c); }

TEST_F(TamponTest, EachLineIsPrecededByCrLf) {
  InitGenCode(Etat());
  EXPECT_EQ(EtatGen().Texte(), "");
  GenInst(Etat(), "A = 1");
  GenLigneVide(Etat());
  GenInst(Etat(), "B = 2");
  EXPECT_EQ(EtatGen().Texte(), "\r\nA = 1\r\n\r\nB = 2");
  InitGenCode(Etat());
  EXPECT_EQ(EtatGen().Texte(), "");
  EXPECT_EQ(EtatGen().Generations(), 2);
}

TEST_F(TamponTest, RuleLineAtColumnZero) {
  InitGenCode(Etat());
  GenInst(Etat(), "Sub X");
  GenTrait(Etat(), "-");
  EXPECT_EQ(Lignes(EtatGen().Texte()).back(), Regle('-'));
  EXPECT_EQ(Regle('-').size(), 80u);
  EXPECT_EQ(TypeDernier(Etat()), "REM");
  EXPECT_EQ(DecalDernier(Etat()), 0);
  GenTrait(Etat(), "ab");  // a longer rule text is repeated as it stands
  EXPECT_EQ(Lignes(EtatGen().Texte()).back().size(), 4u + 152u);
}

TEST_F(TamponTest, TitleBoxOfThreeLines) {
  InitGenCode(Etat());
  GenTitre(Etat(), "Lecture des Fichiers", "=", "-");
  GenTitre(Etat(), "Génération de la Saisie", "*", "");
  const std::vector<std::string> lignes = Lignes(EtatGen().Texte());
  ASSERT_EQ(lignes.size(), 7u);
  EXPECT_EQ(lignes[1], Regle('='));
  EXPECT_EQ(lignes[2], "Rem =" + std::string(33, ' ') + std::string(10, ' ') +
                           "Lecture des Fichiers" + std::string(10, ' ') + " =");
  EXPECT_EQ(lignes[3], Regle('-'));
  EXPECT_EQ(lignes[4], Regle('*'));
  EXPECT_EQ(text::CountChars(lignes[5]), 80u);  // characters, not bytes
  EXPECT_EQ(lignes[5], "Rem *" + std::string(33, ' ') + std::string(8, ' ') +
                           "Génération de la Saisie" + std::string(9, ' ') + " *");
  EXPECT_EQ(lignes[6], Regle('*'));
  for (int32_t i = 1; i <= 6; ++i) EXPECT_EQ(EtatGen().Inst(i).type, "REM");
}

TEST_F(TamponTest, LongTitleIsFittedToFortyCharacters) {
  InitGenCode(Etat());
  const std::string titre(45, 'T');
  GenTitre(Etat(), titre, "=", "");
  EXPECT_EQ(Lignes(EtatGen().Texte())[2],
            "Rem =" + std::string(33, ' ') + std::string(40, 'T') + " =");
}

TEST_F(TamponTest, CartoucheConsumesItsList) {
  InitGenCode(Etat());
  std::string liste = "[Programme de Saisie,Fichier CLIENT, avec espaces ]";
  GenCartouche(Etat(), "Saisie", liste);
  EXPECT_EQ(liste, "[]");
  const std::vector<std::string> lignes = Lignes(EtatGen().Texte());
  ASSERT_EQ(lignes.size(), 10u);
  EXPECT_EQ(lignes[1], Regle('='));
  EXPECT_EQ(lignes[3], Regle('-'));
  EXPECT_EQ(lignes[4], "Rem ");
  EXPECT_EQ(lignes[5], "Rem Programme de Saisie");
  EXPECT_EQ(lignes[6], "Rem Fichier CLIENT");
  EXPECT_EQ(lignes[7], "Rem  avec espaces ");
  EXPECT_EQ(lignes[8], "Rem ");
  EXPECT_EQ(lignes[9], Regle('='));
  EXPECT_EQ(EtatGen().NbInst(), 9);

  std::string vide = "[]";
  GenCartouche(Etat(), "Vide", vide);
  EXPECT_EQ(Lignes(EtatGen().Texte()).size(), 10u + 6u);
}

TEST_F(TamponTest, MalformedListEndsTheGenerationAfterTheTitle) {
  InitGenCode(Etat());
  std::string liste = "[un,[deux]";
  EXPECT_THROW(GenCartouche(Etat(), "Titre", liste), ErreurService);
  EXPECT_EQ(Lignes(EtatGen().Texte()).size(), 5u);  // title box and the empty comment
  std::string pas_une_liste;
  EXPECT_THROW(GenCartouche(Etat(), "Titre", pas_une_liste), ErreurService);
}

class AffichageEssai : public AffichageGenCode {
 public:
  struct Vu {
    std::string texte;
    size_t anomalies = 0;
    int32_t borne = 0;
    std::string premier;  // kind of record entry 1
  };
  static Vu Voit(const EtatGenCode& etat) {
    return {etat.Texte(), etat.Anomalies().size(), etat.BorneInst(),
            etat.BorneInst() >= 1 ? etat.Inst(1).type : ""};
  }
  void Montre(const EtatGenCode& etat) override { montres.push_back(Voit(etat)); }
  void Termine(const EtatGenCode& etat) override { termines.push_back(Voit(etat)); }
  std::vector<Vu> montres, termines;
};

// InitGenCode shows the form first, then empties its text, then re-creates the record.
TEST_F(TamponTest, HostSeesTheFormBeforeItIsEmptiedAndTheAnomalies) {
  auto affichage = std::make_shared<AffichageEssai>();
  InstalleAffichageGenCodeThread(affichage);
  InitGenCode(Etat());
  GenInst(Etat(), "A = 1");
  GenInst(Etat(), "End If");
  TermineGenCode(Etat());
  InitGenCode(Etat());
  InstalleAffichageGenCodeThread(nullptr);
  ASSERT_EQ(affichage->montres.size(), 2u);
  EXPECT_EQ(affichage->montres[0].texte, "");
  EXPECT_EQ(affichage->montres[0].borne, -1);  // shown before the record exists
  ASSERT_EQ(affichage->termines.size(), 1u);
  EXPECT_EQ(affichage->termines[0].texte, "\r\nA = 1\r\nEnd If");
  EXPECT_EQ(affichage->termines[0].anomalies, 1u);
  // The second generation shows the form still holding the first one's text and record.
  EXPECT_EQ(affichage->montres[1].texte, "\r\nA = 1\r\nEnd If");
  EXPECT_EQ(affichage->montres[1].anomalies, 1u);
  EXPECT_EQ(affichage->montres[1].premier, "Inst");
  EXPECT_EQ(EtatGen().Texte(), "");
  EXPECT_TRUE(EtatGen().Anomalies().empty());  // emptied by the new generation
  EXPECT_EQ(EtatGen().BorneInst(), 10);
  EXPECT_EQ(EtatGen().Inst(1).type, "");  // and the record re-created empty
  EXPECT_EQ(EtatGen().NbInst(), 2);       // its count kept
  EXPECT_EQ(signalements_->size(), 1u);
}

}  // namespace
}  // namespace vesk
