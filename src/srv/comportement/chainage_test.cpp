// Chainings of a line file under a header file: the walk, additions, removals, and damaged
// pointers met on the way, the same behaviour on every store.
#include "srv/comportement/magasin_essai.h"

namespace vesk::essai {
namespace {

// The dictionary's own layout: Fic (32, first line at 13, last at 16), Lfic (256, previous at
// 1, next at 4).
class ChainageTest : public ServicesTest {
 protected:
  void SetUp() override {
    ServicesTest::SetUp();
    if (IsSkipped()) return;
    fic_ = &Ouvre("Fic", 32);
    lfic_ = &Ouvre("Lfic", 256);
    BArbre().B_Arbre(false, "Fic", 6, "P", arbre_, "", true);
    Chainage().Chainage("Fic", 32, 13, 16, "Lfic", 256, 1, 4);
  }
  // Creates header nom (pointers as a fresh record holds them: spaces) and makes it current.
  int32_t Entete(const std::string& nom) {
    fic_->champs = nom;
    fic_->champs.resize(6, ' ');
    fic_->champs += "O00032";
    int32_t no = 0;
    BArbre().Insere(arbre_, nom, fic_->fichier, no);
    return no;
  }
  int32_t Ligne(const std::string& texte) {
    lfic_->champs = "######" + texte;  // the pointer positions hold rubbish on purpose
    int32_t no = 0;
    Chainage().AjouteLigne(lfic_->fichier, no);
    return no;
  }
  std::vector<std::string> Lignes() {
    std::vector<std::string> out;
    int32_t no = 0;
    for (Chainage().PremLigne(lfic_->fichier, no); no != 0;
         Chainage().SuivLigne(lfic_->fichier, no)) {
      out.push_back(lfic_->champs.substr(6, 5));
    }
    return out;
  }
  void Cherche(const std::string& nom) {
    bool trouve = false;
    BArbre().Recherche(arbre_, nom, fic_->fichier, trouve);
    ASSERT_TRUE(trouve);
  }

  Proprio* fic_ = nullptr;
  Proprio* lfic_ = nullptr;
  int16_t arbre_ = 0;
};

TEST_P(ChainageTest, LinesAreAddedLastAndWalkedInOrder) {
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
  Donnee().LireFichier(lfic_->fichier, 2, t);
  EXPECT_EQ(t.substr(0, 6), std::string("\0\0\x01\0\0\x04", 6));
  Donnee().LireFichier(fic_->fichier, 1, t);
  EXPECT_EQ(t.substr(12, 6), std::string("\0\0\x01\0\0\x04", 6));
  // Writing the header's current fields again keeps the pointers; a line rewritten keeps its
  // place in the chain.
  Cherche("CLI");
  fic_->champs.replace(12, 6, "      ");
  Donnee().EcrireFichier(fic_->fichier, 1, fic_->champs);
  Donnee().EcrireFichier(lfic_->fichier, 2, "xxxxxxDEUX ");
  EXPECT_EQ(Lignes(), (std::vector<std::string>{"un   ", "DEUX ", "trois"}));
  Verifie();
}

// A chain longer than what a walk reads at once, changed as it is walked.
TEST_P(ChainageTest, ALongChainIsWalkedWhole) {
  Entete("CLI");
  Donnee().DebutLot();
  for (int i = 0; i < 150; ++i) {
    char t[8];
    std::snprintf(t, sizeof t, "%05d", i);
    Ligne(t);
  }
  Donnee().FinLot();
  std::vector<std::string> lues;
  int32_t no = 0;
  for (Chainage().PremLigne(lfic_->fichier, no); no != 0;
       Chainage().SuivLigne(lfic_->fichier, no)) {
    // The pointers' bytes past 127 are characters of more than one byte: the text is taken from
    // the end.
    const std::string& c = lfic_->champs;
    lues.push_back(c.substr(c.find_last_not_of(' ') - 4, 5));
    if (lues.size() == 70) Chainage().SupprimeLigne(lfic_->fichier, no + 1);
  }
  EXPECT_EQ(lues.size(), 149u);
  EXPECT_EQ(lues[69], "00069");
  EXPECT_EQ(lues[70], "00071");
  EXPECT_EQ(lues.back(), "00149");
  Verifie();
}

TEST_P(ChainageTest, LinesAreRemovedOneByOneOrAll) {
  Entete("CLI");
  for (std::string s : {"a    ", "b    ", "c    ", "d    "}) Ligne(s);
  Chainage().SupprimeLigne(lfic_->fichier, 1);  // first
  Chainage().SupprimeLigne(lfic_->fichier, 3);  // middle
  Chainage().SupprimeLigne(lfic_->fichier, 4);  // last
  EXPECT_EQ(Lignes(), std::vector<std::string>{"b    "});
  EXPECT_ERREUR(Chainage().SupprimeLigne(lfic_->fichier, 3),
                "la ligne 3 n'est pas chaînée sous l'enregistrement 1 de FIC.DAT");
  Ligne("e    ");
  Entete("FOU");
  Ligne("f    ");
  Cherche("CLI");
  Chainage().SupprimeLignes(lfic_->fichier);
  EXPECT_TRUE(Lignes().empty());
  Cherche("FOU");
  EXPECT_EQ(Lignes(), std::vector<std::string>{"f    "});
  int32_t n = 0;
  Donnee().Supprimes(false, "Lfic", n);
  EXPECT_EQ(n, 5);
  Verifie();
}

TEST_P(ChainageTest, DeclarationsAndCallsAreChecked) {
  int32_t no = 0;
  EXPECT_ERREUR(Chainage().PremLigne(lfic_->fichier, no), "aucun enregistrement courant");
  EXPECT_ERREUR(Chainage().PremLigne(fic_->fichier, no), "aucun chaînage");
  EXPECT_ERREUR(Chainage().Chainage("Fic", 32, 13, 16, "Absent", 256, 1, 4), "non ouvert");
  EXPECT_ERREUR(Chainage().Chainage("Fic", 33, 13, 16, "Lfic", 256, 1, 4), "longueur 33");
  EXPECT_ERREUR(Chainage().Chainage("Fic", 32, 31, 16, "Lfic", 256, 1, 4), "position 31");
  EXPECT_ERREUR(Chainage().Chainage("Fic", 32, 13, 14, "Lfic", 256, 1, 4), "chevauchent");
  EXPECT_ERREUR(Chainage().Chainage("Fic", 32, 13, 16, "Fic", 32, 1, 4), "différer");
  Entete("CLI");
  EXPECT_ERREUR(Chainage().SuivLigne(lfic_->fichier, no), "commencent à 1");
  no = 7;
  EXPECT_ERREUR(Chainage().SuivLigne(lfic_->fichier, no), "au-delà de la fin");
  Verifie();
}

TEST_P(ChainageTest, DamagedPointersAreReportedNeverFollowedForever) {
  Entete("CLI");
  Ligne("a    ");
  Ligne("b    ");
  Ligne("c    ");
  int32_t no = 0;
  // A pointer past the end of the line file.
  m_->Abime(lfic_->fichier, 2, 3, std::string("\0\0\x09", 3));
  Chainage().PremLigne(lfic_->fichier, no);
  Chainage().SuivLigne(lfic_->fichier, no);
  EXPECT_ERREUR(Chainage().SuivLigne(lfic_->fichier, no),
                "pointeur de chaînage endommagé : l'enregistrement 2 de LFIC.DAT renvoie à "
                "l'enregistrement 9, au-delà de la fin (3 enregistrements)");
  // A cycle: c's next is a, whose previous does not agree; then a self loop.
  m_->Abime(lfic_->fichier, 2, 3, std::string("\0\0\x03", 3));
  m_->Abime(lfic_->fichier, 3, 3, std::string("\0\0\x01", 3));
  no = 3;
  EXPECT_ERREUR(Chainage().SuivLigne(lfic_->fichier, no),
                "pointeurs de chaînage en désaccord : le précédent de l'enregistrement 1 de "
                "LFIC.DAT n'est pas 3");
  EXPECT_ERREUR(Ligne("d    "), "chaînage en boucle sous l'enregistrement 1 de FIC.DAT");
  m_->Abime(lfic_->fichier, 3, 0, std::string("\0\0\x03", 3));
  m_->Abime(lfic_->fichier, 3, 3, std::string("\0\0\x03", 3));
  m_->Abime(lfic_->fichier, 2, 3, std::string("\0\0\x03", 3));
  no = 3;
  EXPECT_ERREUR(for (int i = 0; i < 10; ++i) Chainage().SuivLigne(lfic_->fichier, no), "boucle");
  EXPECT_ERREUR(Chainage().SupprimeLignes(lfic_->fichier), "désaccord");
  // A line deleted under the chain, and the header's last pointer wrong.
  m_->Abime(lfic_->fichier, 3, 0, std::string("\0\0\x02", 3));
  m_->Abime(lfic_->fichier, 3, 3, std::string("\0\0\0", 3));
  EXPECT_EQ(Lignes().size(), 3u);
  m_->Abime(fic_->fichier, 1, 15, std::string("\0\0\x02", 3));
  EXPECT_ERREUR(Ligne("d    "),
                "pointeur de dernière ligne de l'enregistrement 1 de FIC.DAT (2) "
                "en désaccord avec la chaîne (3)");
  // The verifier sees the damage too.
  EXPECT_FALSE(m_->Problemes().empty());
}

INSTANTIATE_TEST_SUITE_P(Stockages, ChainageTest, ::testing::ValuesIn(Stockages()), NomDuStockage);

}  // namespace
}  // namespace vesk::essai
