// The B-tree inspection: the folding of long texts, then LectBA through a script on the
// dictionary's trees and on an application's tree, sound, damaged, or at odds with its table.
#include "btree/lect_ba.h"

#include <fstream>
#include <functional>

#include "fic/testing/dictionnaire.h"
#include "srv/isam/btree.h"
#include "srv/isam/env.h"

namespace vesk::btree {
namespace {

TEST(PlieTest, AtTheLastBarWithin150Characters) {
  EXPECT_EQ(Plie(""), std::vector<std::string>{});
  const std::string a150(150, 'a');
  EXPECT_EQ(Plie(a150), std::vector<std::string>{a150});
  EXPECT_EQ(Plie(a150 + "b"), (std::vector<std::string>{a150, "b"}));
  // The piece keeps its closing bar; the next starts right after it.
  const std::string avec = std::string(99, 'a') + "|" + std::string(60, 'b') + "|c";
  EXPECT_EQ(Plie(avec),
            (std::vector<std::string>{std::string(99, 'a') + "|", std::string(60, 'b') + "|c"}));
  // A bar past the 150th character does not count; characters, not bytes.
  EXPECT_EQ(Plie(std::string(150, 'x') + "|y"),
            (std::vector<std::string>{std::string(150, 'x'), "|y"}));
  std::string e150;
  for (int i = 0; i < 150; ++i) e150 += "é";
  EXPECT_EQ(Plie(e150), std::vector<std::string>{e150});
  EXPECT_EQ(Plie(e150 + "|").size(), 2u);
}

constexpr char kDictionnaire[] = R"(version = 1
[fichiers.ART]
longueur = 16
rubriques = [{ nom = "CODE", type = "A", total = 6, variable = "CODEA" }]
[barbres.ART1]
fichier = "ART"
nature = "P"
cle = "[[CODEA,_,_]]"
[barbres.ART2]
fichier = "ART"
nature = "S"
cle = "[[CODEA,1,4]]"
)";

class LectBATest : public fic::EditionEssai {
 protected:
  // The tree nom of the folder, created with longueur and nature, holding n keys ("K|1001",
  // "K|1002"...; the first key holds a byte 1, the third and fourth start "Bé" and "B" with the
  // undefined byte 0x81), or the keys made by cle_de.
  void Arbre(const std::string& nom, uint16_t longueur, char nature, int n,
             std::function<std::string(int)> cle_de = {}) {
    std::unique_ptr<isam::BTree> arbre;
    isam::BTreeOptions options;
    options.max_entries = 4;  // a deep tree from few keys
    ASSERT_TRUE(isam::BTree::Open(isam::Env::Default(), (dossier_ / (nom + ".DAB")).string(),
                                  longueur, nature, "ART", true, options, &arbre)
                    .ok());
    for (int i = 1; i <= n; ++i) {
      std::string cle = cle_de ? cle_de(i) : "K|" + std::to_string(1000 + i);
      cle.resize(longueur, ' ');
      if (!cle_de && i == 1) cle[1] = '\x01';
      if (!cle_de && (i == 3 || i == 4)) cle.replace(0, 2, i == 3 ? "B\xE9" : "B\x81");
      ASSERT_TRUE(arbre->Insert(cle, static_cast<uint32_t>(i)).ok());
    }
    ASSERT_TRUE(arbre->Sync().ok());
  }
  // LectBA with the answers of script; gives the transcript.
  std::string Lance(const std::string& script) {
    Ouvre(script);
    Importe(kDictionnaire);
    LectBA(Etat());
    EXPECT_EQ(session_->Restantes(), 0u);
    return session_->Transcription();
  }
};

TEST_F(LectBATest, TheDictionaryTreesAndTheApplicationsThatExist) {
  Arbre("ART1", 6, 'P', 40);
  const std::string t = Lance("choose 5\n");
  // The dictionary's four, then ART1 (ART2 has no file: not offered).
  EXPECT_NE(t.find("TitreEdition «Lecture d'un B-Arbre»"), std::string::npos) << t;
  EXPECT_NE(t.find("Choix «Choix du B-Arbre à Lire» [[G,40,B-Arbres Ouverts]] 5 élément(s) -> 5"),
            std::string::npos)
      << t;
  EXPECT_NE(t.find("TitreEdition «Lecture du B-Abre : ART1»"), std::string::npos) << t;
  EXPECT_EQ(*termines_, std::vector<int16_t>{0});
  const std::string texte = Listing();
  for (const char* part :
       {"| Longueur d'une Clé             | 6 ", "| Nature de la Table             | P ",
        "| Nombre de Clés                 | 40 ", "Liste des Noeuds Libres : []",
        "Liste des Nos Enregistrements Fichier de Données Libres Car Supprimés :",
        "Fichier de Données Indexé", "ART.DAT (absent)", "Premières Clés",
        "B\\x811004|Bé1003|K\\x011001|K\\x7C1002|", "Contrôle du B-Arbre\nCorrect"}) {
    EXPECT_NE(texte.find(part), std::string::npos) << part << "\n" << texte;
  }
  EXPECT_TRUE(Anomalies().empty());
}

// A tree named is listed without the choice; its first keys, exactly 150 characters, print on
// one line of the (landscape) listing.
TEST_F(LectBATest, ANamedTreeWithoutTheChoiceAndAPieceOf150CharactersOnOneLine) {
  std::string dictionnaire = kDictionnaire;
  dictionnaire.replace(dictionnaire.find("total = 6"), 9, "total = 15");
  Arbre("ART1", 15, 'P', 12, [](int i) {
    const std::string n = std::to_string(1000000000000 + i);
    return "K" + n + (i == 1 ? "X" : "");  // 15, then 14 characters: 141 and 9 bars
  });
  Ouvre("");
  Importe(dictionnaire);
  std::optional<Inspection> inspection = InspecteBArbre(Etat(), "art1");
  ASSERT_TRUE(inspection);
  EXPECT_EQ(inspection->nom, "ART1");
  EXPECT_EQ(inspection->controle, "Correct");
  EXPECT_EQ(session_->Transcription().find("Choix"), std::string::npos);
  std::string cles = "K1000000000001X";
  for (int i = 2; i <= 10; ++i) cles += "|K" + std::to_string(1000000000000 + i);
  ASSERT_EQ(cles.size(), 150u);
  EXPECT_NE(Listing().find("Premières Clés\n" + cles + "\n"), std::string::npos) << Listing();
  try {
    InspecteBArbre(Etat(), "NOPE");
    ADD_FAILURE() << "NOPE inspecté";
  } catch (const ErreurService& e) {
    EXPECT_EQ(std::string(e.what()),
              "LectBA (NOPE) : aucun B-arbre ouvert de ce nom (ouverts : FIC, DOM, BA, CHAIN, "
              "ART1)");
  }
}

TEST_F(LectBATest, NoChoiceListsNothing) {
  const std::string t = Lance("choose none\n");
  EXPECT_NE(t.find("4 élément(s) -> aucun"), std::string::npos) << t;
  EXPECT_TRUE(termines_->empty());
  EXPECT_TRUE(dynamic_cast<SrvEditionImpl&>(Etat().Edition()).Ecrits().empty());
}

TEST_F(LectBATest, ADamagedTreeShowsItsFault) {
  Arbre("ART1", 6, 'P', 60);
  {
    // Scribbles over the second node.
    std::fstream f(dossier_ / "ART1.DAB", std::ios::in | std::ios::out | std::ios::binary);
    f.seekp(4096 + 64);
    const std::string junk(200, '\xEE');
    f.write(junk.data(), static_cast<std::streamsize>(junk.size()));
  }
  Ouvre("choose 5\n");
  Importe(kDictionnaire);
  const std::optional<Inspection> inspection = InspecteBArbre(Etat(), "");
  ASSERT_TRUE(inspection);
  EXPECT_NE(inspection->controle.find("endommagé"), std::string::npos) << inspection->controle;
  const std::string texte = Listing();
  const size_t controle = texte.find("Contrôle du B-Arbre\n");
  ASSERT_NE(controle, std::string::npos) << texte;
  EXPECT_EQ(texte.find("Correct", controle), std::string::npos) << texte;
  EXPECT_NE(texte.find("endommagé", controle), std::string::npos) << texte;
}

TEST_F(LectBATest, ATableAtOddsWithItsFileIsAnAnomalyAndTheOthersStay) {
  Arbre("ART1", 8, 'P', 3);  // the table says 6
  Arbre("ART2", 4, 'S', 3);
  const std::string t = Lance("choose none\n");
  EXPECT_NE(t.find("5 élément(s)"), std::string::npos) << t;  // ART2 only
  ASSERT_EQ(Anomalies().size(), 1u);
  const std::string message = Anomalies()[0].message;
  EXPECT_EQ(Anomalies()[0].procedure, "LectBA");
  EXPECT_EQ(message.rfind("@ Table ART1 : ", 0), 0u) << message;
  EXPECT_NE(message.find("6"), std::string::npos) << message;
  EXPECT_NE(message.find("8"), std::string::npos) << message;
}

TEST_F(LectBATest, CancelledInTheHeaderTheListingIsClosedAllTheSame) {
  Arbre("ART1", 6, 'P', 3);
  annule_au_ = 2;
  Lance("choose 5\n");
  EXPECT_EQ(*termines_, std::vector<int16_t>{0});
  const std::string texte = Listing();
  EXPECT_EQ(texte.find("Liste des Noeuds Libres"), std::string::npos) << texte;
}

}  // namespace
}  // namespace vesk::btree
