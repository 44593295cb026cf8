// The B-tree service over data files with owners, on real files of a temporary data folder.
#include "srv/isam/srv_barbre_impl.h"

#include "srv/isam/testing/engine.h"
#include "srv/list/liste.h"

namespace vesk::isam::testing {
namespace {

class SrvBArbreTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    dom_ = &Ouvre("Dom", 30);
    barbre_->B_Arbre(false, "Dom", 6, "P", arbre_, "", true);
  }
  int32_t Insere(const std::string& cle, const std::string& champs) {
    dom_->champs = champs;
    int32_t no = 0;
    barbre_->Insere(arbre_, cle, dom_->fichier, no);
    return no;
  }
  std::vector<std::string> Cles() {
    std::vector<std::string> out;
    bool trouve = false;
    std::string cle;
    for (barbre_->PremCle(arbre_, dom_->fichier, trouve, cle); trouve;
         barbre_->SuivCle(arbre_, dom_->fichier, trouve, cle)) {
      out.push_back(cle);
    }
    return out;
  }

  Proprio* dom_ = nullptr;
  int16_t arbre_ = 0;
};

TEST_F(SrvBArbreTest, InsereWritesThroughTheOwnerAndRechercheReadsBack) {
  EXPECT_EQ(Insere("TVA", "TVA   Taxe"), 1);
  EXPECT_EQ(Insere("ÉCO", "ÉCO   Écologie"), 2);
  dom_->champs = "effacé";
  bool trouve = false;
  barbre_->Recherche(arbre_, "TVA", dom_->fichier, trouve);
  ASSERT_TRUE(trouve);
  EXPECT_EQ(dom_->champs, "TVA   Taxe" + std::string(20, ' '));
  int32_t no = 0;
  donnee_->NoEnrCourant(dom_->fichier, no);
  EXPECT_EQ(no, 1);
  barbre_->Recherche(arbre_, "ABS", dom_->fichier, trouve);
  EXPECT_FALSE(trouve);
  donnee_->NoEnrCourant(dom_->fichier, no);
  EXPECT_EQ(no, 0);
  EXPECT_EQ(Cles(), (std::vector<std::string>{"TVA   ", "ÉCO   "}));  // byte order: É is 0xC9
  Verify();
}

TEST_F(SrvBArbreTest, ARefusedKeyWritesNothing) {
  Insere("A", "premier");
  int appels = dom_->appels;
  EXPECT_ERREUR(Insere("A", "second"), "existe déjà");
  EXPECT_ERREUR(Insere("TROPLONG", "x"), "clé de 8 caractères");
  EXPECT_ERREUR(Insere("Ω", "x"), "Windows-1252");
  EXPECT_EQ(dom_->appels, appels);
  // The owner's own error (a text too long) takes the key back.
  EXPECT_ERREUR(Insere("B", std::string(31, 'x')), "plus long que 30");
  std::string liste;
  int32_t n = 0;
  barbre_->ListeEnr(arbre_, n, liste, "");
  EXPECT_EQ(liste, "[1]");
  Verify();
}

TEST_F(SrvBArbreTest, HandlesAndArgumentsAreChecked) {
  bool trouve = false;
  int16_t h = 0;
  EXPECT_ERREUR(barbre_->Recherche(99, "A", dom_->fichier, trouve), "B-arbre 99");
  EXPECT_ERREUR(barbre_->Recherche(arbre_, "A", 99, trouve), "fichier 99");
  EXPECT_ERREUR(barbre_->B_Arbre(false, "../x", 6, "P", h, "", true), "nom de B-arbre");
  EXPECT_ERREUR(barbre_->B_Arbre(false, "Dom2", 6, "Q", h, "", true), "nature");
  EXPECT_ERREUR(barbre_->B_Arbre(false, "Dom2", 0, "P", h, "", true), "longueur de clé");
  EXPECT_ERREUR(barbre_->B_Arbre(false, "Dom", 8, "P", h, "", true), "déjà ouvert");
  EXPECT_ERREUR(barbre_->B_Arbre(false, "Absent", 6, "P", h, "", false), "ABSENT.DAB");
  std::string cle;
  EXPECT_ERREUR(barbre_->SuivCle(arbre_, dom_->fichier, trouve, cle), "PremCle");
  // A tree recorded for another data file.
  Proprio& autre = Ouvre("Autre", 30);
  barbre_->B_Arbre(false, "Dom3", 6, "S", h, "Dom", true);
  EXPECT_ERREUR(barbre_->Recherche(h, "A", autre.fichier, trouve), "indexe DOM.DAT");
  Verify();
}

TEST_F(SrvBArbreTest, WalksSurviveInsertsAndDeletesUnderThem) {
  for (std::string k : {"B", "D", "F"}) Insere(k, k);
  bool trouve = false;
  std::string cle;
  barbre_->PremCle(arbre_, dom_->fichier, trouve, cle);
  EXPECT_EQ(cle, "B     ");
  Insere("C", "C");
  barbre_->Supprime(arbre_, "D", 2, dom_->fichier);
  barbre_->SuivCle(arbre_, dom_->fichier, trouve, cle);
  EXPECT_EQ(cle, "C     ");
  barbre_->Supprime(arbre_, "C", 4, dom_->fichier);  // the key the cursor stands on
  barbre_->SuivCle(arbre_, dom_->fichier, trouve, cle);
  EXPECT_EQ(cle, "F     ");
  EXPECT_EQ(dom_->champs.substr(0, 1), "F");
  barbre_->SuivCle(arbre_, dom_->fichier, trouve, cle);
  EXPECT_FALSE(trouve);
  // Recherche places the walk: SuivCle goes on after the key found, or after the place of a
  // key not found.
  barbre_->Recherche(arbre_, "A", dom_->fichier, trouve);
  barbre_->SuivCle(arbre_, dom_->fichier, trouve, cle);
  EXPECT_EQ(cle, "B     ");
  Verify();
}

TEST_F(SrvBArbreTest, SupprimeOnPrimaryGivesTheRecordBack) {
  Insere("A", "a");
  Insere("B", "b");
  EXPECT_ERREUR(barbre_->Supprime(arbre_, "A", 2, dom_->fichier), "n'existe pas");
  EXPECT_ERREUR(barbre_->Supprime(arbre_, "A", 7, dom_->fichier), "au-delà");
  barbre_->Supprime(arbre_, "A", 1, dom_->fichier);
  std::string t;
  donnee_->LireFichier(dom_->fichier, 1, t);
  EXPECT_EQ(t.substr(0, 2), "a ");  // its bytes kept
  EXPECT_ERREUR(donnee_->LireEnr(dom_->fichier, 1), "supprimé");
  // Deleted numbers are not reused.
  EXPECT_EQ(Insere("A", "a2"), 3);
  std::string entete, noeuds, libres;
  barbre_->DescBArbre(arbre_, entete, noeuds, libres);
  EXPECT_EQ(libres, "[1]");
  EXPECT_EQ(noeuds, "[]");
  std::vector<std::string_view> parts;
  ASSERT_TRUE(list::Split(entete, parts).ok());
  ASSERT_EQ(parts.size(), 9u);
  EXPECT_EQ(parts[1], "6");  // key length
  EXPECT_EQ(parts[2], "4");  // pointer length
  EXPECT_EQ(parts[3], "P");
  EXPECT_EQ(parts[6], "2");  // keys
  std::string infos;
  barbre_->InfoBArbre(arbre_, infos);
  ASSERT_TRUE(list::Check(infos).ok()) << infos;
  EXPECT_NE(infos.find("[Fichier de Données Indexé,DOM.DAT]"), std::string::npos) << infos;
  EXPECT_NE(infos.find("2 clés pour 2 enregistrements : en accord"), std::string::npos);
  EXPECT_NE(infos.find("[Contrôle du B-Arbre,Correct]"), std::string::npos);
  Verify();
}

TEST_F(SrvBArbreTest, SecondaryTreesKeepDuplicatesAndFindTheFirst) {
  int16_t sec = 0;
  barbre_->B_Arbre(false, "DomNom", 4, "S", sec, "Dom", true);
  for (int i = 1; i <= 3; ++i) {
    Insere("K" + std::to_string(i), "rec" + std::to_string(i));
    int32_t no = Insere("X" + std::to_string(i), "nom" + std::to_string(i));
    barbre_->InsS(sec, "NOM", no, dom_->fichier);
  }
  EXPECT_ERREUR(barbre_->InsS(sec, "NOM", 2, dom_->fichier), "existe déjà");
  EXPECT_ERREUR(barbre_->InsS(arbre_, "Z", 2, dom_->fichier), "secondaires");
  EXPECT_ERREUR(barbre_->InsS(sec, "NOM", 9, dom_->fichier), "au-delà");
  bool trouve = false;
  barbre_->Recherche(sec, "NOM", dom_->fichier, trouve);
  ASSERT_TRUE(trouve);
  int32_t no = 0;
  donnee_->NoEnrCourant(dom_->fichier, no);
  EXPECT_EQ(no, 2);
  std::string liste;
  int32_t n = 0;
  barbre_->ListeEnr(sec, n, liste, "NO");
  EXPECT_EQ(liste, "[2,4,6]");
  barbre_->ListeEnr(arbre_, n, liste, "X");
  EXPECT_EQ(n, 3);
  barbre_->Supprime(sec, "NOM", 4, dom_->fichier);  // key only
  donnee_->LireEnr(dom_->fichier, 4);
  barbre_->ListeEnr(sec, n, liste, "");
  EXPECT_EQ(liste, "[2,6]");
  EXPECT_ERREUR(barbre_->ListeEnr(sec, n, liste, "TROPLONG"), "plus long que 4");
  Verify();
}

}  // namespace
}  // namespace vesk::isam::testing
