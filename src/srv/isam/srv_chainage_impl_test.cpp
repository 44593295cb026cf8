// Chainings of a line file under a header file: the walk, additions, removals, and damaged
// pointers met on the way, on real files of a temporary data folder.
#include "srv/isam/srv_chainage_impl.h"

#include "srv/isam/testing/engine.h"

namespace vesk::isam::testing {
namespace {

// The dictionary's own layout: Fic (32, first line at 13, last at 16), Lfic (256, previous at
// 1, next at 4).
class SrvChainageTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    fic_ = &Ouvre("Fic", 32);
    lfic_ = &Ouvre("Lfic", 256);
    barbre_->B_Arbre(false, "Fic", 6, "P", arbre_, "", true);
    chainage_->Chainage("Fic", 32, 13, 16, "Lfic", 256, 1, 4);
  }
  // Creates header nom (pointers as a fresh record holds them: spaces) and makes it current.
  int32_t Entete(const std::string& nom) {
    fic_->champs = nom;
    fic_->champs.resize(6, ' ');
    fic_->champs += "O00032";
    int32_t no = 0;
    barbre_->Insere(arbre_, nom, fic_->fichier, no);
    return no;
  }
  int32_t Ligne(const std::string& texte) {
    lfic_->champs = "######" + texte;  // the pointer positions hold rubbish on purpose
    int32_t no = 0;
    chainage_->AjouteLigne(lfic_->fichier, no);
    return no;
  }
  std::vector<std::string> Lignes() {
    std::vector<std::string> out;
    int32_t no = 0;
    for (chainage_->PremLigne(lfic_->fichier, no); no != 0;
         chainage_->SuivLigne(lfic_->fichier, no)) {
      out.push_back(lfic_->champs.substr(6, 5));
    }
    return out;
  }
  void Cherche(const std::string& nom) {
    bool trouve = false;
    barbre_->Recherche(arbre_, nom, fic_->fichier, trouve);
    ASSERT_TRUE(trouve);
  }
  // Writes 3 raw bytes at offset of a record, past every check.
  void Abime(Proprio& p, int32_t no, size_t at, std::string_view bytes) {
    std::string t;
    donnee_->LireFichier(p.fichier, no, t);
    FichierOuvert* f = dossier_->Fichier(p.fichier);
    ASSERT_TRUE(f->fichier->WritePart(no, at, std::span<const char>(bytes.data(), 3)).ok());
  }

  Proprio* fic_ = nullptr;
  Proprio* lfic_ = nullptr;
  int16_t arbre_ = 0;
};

TEST_F(SrvChainageTest, LinesAreAddedLastAndWalkedInOrder) {
  Entete("CLI");
  EXPECT_EQ(Lignes(), std::vector<std::string>{});
  EXPECT_EQ(Ligne("un   "), 1);
  Ligne("deux ");
  Entete("FOU");
  Ligne("autre");
  Cherche("CLI");
  Ligne("trois");
  EXPECT_EQ(Lignes(), (std::vector<std::string>{"un   ", "deux ", "trois"}));
  // The service's pointers: line 2 has previous 1 and next 4, base 256, high byte first.
  std::string t;
  donnee_->LireFichier(lfic_->fichier, 2, t);
  EXPECT_EQ(t.substr(0, 6), std::string("\0\0\x01\0\0\x04", 6));
  donnee_->LireFichier(fic_->fichier, 1, t);
  EXPECT_EQ(t.substr(12, 6), std::string("\0\0\x01\0\0\x04", 6));
  // Writing the header's current fields again keeps the pointers on disk.
  Cherche("CLI");
  fic_->champs.replace(12, 6, "      ");
  donnee_->EcrireFichier(fic_->fichier, 1, fic_->champs);
  EXPECT_EQ(Lignes().size(), 3u);
  Verify();
}

TEST_F(SrvChainageTest, LinesAreRemovedOneByOneOrAll) {
  Entete("CLI");
  for (std::string s : {"a    ", "b    ", "c    ", "d    "}) Ligne(s);
  chainage_->SupprimeLigne(lfic_->fichier, 1);  // first
  chainage_->SupprimeLigne(lfic_->fichier, 3);  // middle
  chainage_->SupprimeLigne(lfic_->fichier, 4);  // last
  EXPECT_EQ(Lignes(), std::vector<std::string>{"b    "});
  EXPECT_ERREUR(chainage_->SupprimeLigne(lfic_->fichier, 3), "n'est pas chaînée");
  Ligne("e    ");
  Entete("FOU");
  Ligne("f    ");
  Cherche("CLI");
  chainage_->SupprimeLignes(lfic_->fichier);
  EXPECT_TRUE(Lignes().empty());
  Cherche("FOU");
  EXPECT_EQ(Lignes(), std::vector<std::string>{"f    "});
  Verify();
}

TEST_F(SrvChainageTest, DeclarationsAndCallsAreChecked) {
  int32_t no = 0;
  EXPECT_ERREUR(chainage_->PremLigne(lfic_->fichier, no), "aucun enregistrement courant");
  EXPECT_ERREUR(chainage_->PremLigne(fic_->fichier, no), "aucun chaînage");
  EXPECT_ERREUR(chainage_->Chainage("Fic", 32, 13, 16, "Absent", 256, 1, 4), "non ouvert");
  EXPECT_ERREUR(chainage_->Chainage("Fic", 33, 13, 16, "Lfic", 256, 1, 4), "longueur 33");
  EXPECT_ERREUR(chainage_->Chainage("Fic", 32, 31, 16, "Lfic", 256, 1, 4), "position 31");
  EXPECT_ERREUR(chainage_->Chainage("Fic", 32, 13, 14, "Lfic", 256, 1, 4), "chevauchent");
  EXPECT_ERREUR(chainage_->Chainage("Fic", 32, 13, 16, "Fic", 32, 1, 4), "différer");
  Entete("CLI");
  EXPECT_ERREUR(chainage_->SuivLigne(lfic_->fichier, no), "commencent à 1");
  Verify();
}

TEST_F(SrvChainageTest, DamagedPointersAreReportedNeverFollowedForever) {
  Entete("CLI");
  Ligne("a    ");
  Ligne("b    ");
  Ligne("c    ");
  int32_t no = 0;
  // A pointer past the end of the line file.
  Abime(*lfic_, 2, 3, std::string("\0\0\x09", 3));
  chainage_->PremLigne(lfic_->fichier, no);
  chainage_->SuivLigne(lfic_->fichier, no);
  EXPECT_ERREUR(chainage_->SuivLigne(lfic_->fichier, no), "au-delà de la fin");
  // A cycle: c's next is a, whose previous does not agree; then a self loop.
  Abime(*lfic_, 2, 3, std::string("\0\0\x03", 3));
  Abime(*lfic_, 3, 3, std::string("\0\0\x01", 3));
  no = 3;
  EXPECT_ERREUR(chainage_->SuivLigne(lfic_->fichier, no), "désaccord");
  EXPECT_ERREUR(Ligne("d    "), "boucle");
  Abime(*lfic_, 3, 0, std::string("\0\0\x03", 3));
  Abime(*lfic_, 3, 3, std::string("\0\0\x03", 3));
  Abime(*lfic_, 2, 3, std::string("\0\0\x03", 3));
  no = 3;
  EXPECT_ERREUR(for (int i = 0; i < 10; ++i) chainage_->SuivLigne(lfic_->fichier, no), "boucle");
  EXPECT_ERREUR(chainage_->SupprimeLignes(lfic_->fichier), "désaccord");
  // The verifier sees the damage too.
  ASSERT_TRUE(dossier_->Ecrit().ok());
  FolderReport r;
  ASSERT_TRUE(VerifyFolder(Env::Default(), dir_, DeclaredChains(*dossier_), &r).ok());
  EXPECT_FALSE(r.problems.empty());
}

}  // namespace
}  // namespace vesk::isam::testing
