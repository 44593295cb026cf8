// Batches, the store's lock between two users, and the rebuild through the data-file service:
// the same behaviour on every store.
#include "srv/comportement/magasin_essai.h"

namespace vesk::essai {
namespace {

class LotTest : public ServicesTest {
 protected:
  void SetUp() override {
    ServicesTest::SetUp();
    if (IsSkipped()) return;
    dom_ = &Ouvre("Dom", 16);
    BArbre().B_Arbre(false, "Dom", 6, "P", arbre_, "", true);
  }
  int32_t Insere(const std::string& cle, const std::string& reste = " texte") {
    dom_->champs = cle + reste;
    int32_t no = 0;
    BArbre().Insere(arbre_, cle, dom_->fichier, no);
    return no;
  }
  bool Trouve(const std::string& cle) {
    bool trouve = false;
    BArbre().Recherche(arbre_, cle, dom_->fichier, trouve);
    return trouve;
  }

  Proprio* dom_ = nullptr;
  int16_t arbre_ = 0;
};

// A batch cancelled after writes to a data file and its B-tree leaves both as at its start; a
// batch ended by FinLot keeps everything.
TEST_P(LotTest, AnnuleLotUndoesEveryOperationOfTheBatch) {
  Insere("AAA");
  Donnee().DebutLot();
  Insere("BBB");
  Donnee().DebutLot();  // nested: only the outermost batch counts
  Insere("CCC");
  BArbre().Supprime(arbre_, "AAA", 1, dom_->fichier);
  Donnee().EcrireFichier(dom_->fichier, 2, "BBB réécrit");
  Donnee().AnnuleLot();
  EXPECT_TRUE(Trouve("AAA"));
  EXPECT_FALSE(Trouve("BBB"));
  EXPECT_ERREUR(Donnee().FinLot(), "fin de lot sans début de lot");
  EXPECT_ERREUR(Donnee().AnnuleLot(), "annulation de lot sans début de lot");
  EXPECT_EQ(Insere("EEE"), 2);  // the numbers the batch took are free again
  Verifie();

  Donnee().DebutLot();
  Insere("DDD");
  Donnee().FinLot();
  Reouvre();
  dom_ = &Ouvre("Dom", 16);
  BArbre().B_Arbre(false, "Dom", 6, "P", arbre_, "", true);
  EXPECT_TRUE(Trouve("DDD"));
  EXPECT_FALSE(Trouve("CCC"));
  Verifie();
}

// An operation refused inside a batch (a key that exists, an owner's error) takes back what it
// did and leaves the batch going.
TEST_P(LotTest, ARefusedOperationLeavesTheBatchGoing) {
  Donnee().DebutLot();
  EXPECT_EQ(Insere("AAA"), 1);
  EXPECT_ERREUR(Insere("AAA"), "existe déjà");
  EXPECT_ERREUR(Insere("BBB", std::string(20, 'x')), "plus long que 16");
  EXPECT_ERREUR(Donnee().EcrireFichier(dom_->fichier, 5, "trou"), "après le dernier");
  EXPECT_EQ(Insere("CCC"), 2);
  BArbre().Supprime(arbre_, "AAA", 1, dom_->fichier);
  EXPECT_ERREUR(BArbre().Supprime(arbre_, "AAA", 1, dom_->fichier), "est supprimé");
  Donnee().FinLot();
  EXPECT_FALSE(Trouve("AAA"));
  EXPECT_FALSE(Trouve("BBB"));
  EXPECT_TRUE(Trouve("CCC"));
  int32_t n = 0;
  Donnee().Supprimes(false, "Dom", n);
  EXPECT_EQ(n, 1);
  Verifie();
}

// Many inserts in one batch refuse exactly the keys that exist, whoever wrote them and when
// (another user before the batch, the batch itself): a key deleted in the batch, one whose
// owner failed, and those of a cancelled batch are free again.
TEST_P(LotTest, ManyInsertsInABatchRefuseExactlyTheKeysThatExist) {
  AutreUtilisateur autre = OuvreAutre("Dom", 16);
  autre.Insere("ZZZ", "ZZZ autre");
  auto cle = [](int i) { return "K" + std::to_string(1000 + i); };
  Donnee().DebutLot();
  for (int i = 0; i < 300; ++i) EXPECT_EQ(Insere(cle(i)), i + 2);
  EXPECT_ERREUR(Insere("ZZZ"), "la clé \"ZZZ\" existe déjà : rien n'est écrit");
  EXPECT_ERREUR(Insere(cle(7)), "existe déjà");
  BArbre().Supprime(arbre_, cle(7), 9, dom_->fichier);
  EXPECT_EQ(Insere(cle(7)), 302);
  EXPECT_ERREUR(Insere(cle(400), std::string(20, 'x')), "plus long que 16");
  EXPECT_EQ(Insere(cle(400)), 303);
  Donnee().FinLot();
  Donnee().DebutLot();
  for (int i = 500; i < 800; ++i) Insere(cle(i));
  Donnee().AnnuleLot();
  Donnee().DebutLot();
  EXPECT_EQ(Insere(cle(500)), 304);
  EXPECT_ERREUR(Insere(cle(299)), "existe déjà");
  Donnee().FinLot();
  EXPECT_TRUE(Trouve(cle(7)));
  EXPECT_FALSE(Trouve(cle(501)));
  Verifie();
}

// A writer waits for the store's lock at most its delay, then fails; once the first user's
// batch ends, it writes after it.
TEST_P(LotTest, ASecondWriterWaitsForTheBatchOfTheFirst) {
  Insere("AAA");
  AutreUtilisateur autre = OuvreAutre("Dom", 16, 200);
  Donnee().DebutLot();
  Insere("BBB");
  EXPECT_ERREUR(autre.Insere("ZZZ", "ZZZ second"), "fichier verrouillé");
  Donnee().FinLot();
  EXPECT_EQ(autre.Insere("ZZZ", "ZZZ second"), 3);
  EXPECT_TRUE(Trouve("ZZZ"));
  EXPECT_EQ(dom_->champs.substr(0, 10), "ZZZ second");
  Verifie();
}

// Customers CLI (32: code 6, name 10) with CLI1 on the code and CLI2 on the name; invoices FAC
// (32, first line at 26, last at 29) with FAC1 on the number; their lines LIG (32, previous at
// 1, next at 4).
class ReconstructionTest : public ServicesTest {
 protected:
  void SetUp() override {
    ServicesTest::SetUp();
    if (IsSkipped()) return;
    cli_ = &Ouvre("Cli", 32);
    fac_ = &Ouvre("Fac", 32);
    lig_ = &Ouvre("Lig", 32);
    BArbre().B_Arbre(false, "Cli1", 6, "P", cli1_, "CLI", true);
    BArbre().B_Arbre(false, "Cli2", 10, "S", cli2_, "CLI", true);
    BArbre().B_Arbre(false, "Fac1", 8, "P", fac1_, "FAC", true);
    Chainage().Chainage("Fac", 32, 26, 29, "Lig", 32, 1, 4);
  }
  int32_t Client(const std::string& code, const std::string& nom) {
    cli_->champs = code + nom;
    int32_t no = 0;
    BArbre().Insere(cli1_, code, cli_->fichier, no);
    BArbre().InsS(cli2_, nom, no, cli_->fichier);
    return no;
  }
  // Dupont, Martin and Durand; Martin then deleted (taken out of both trees).
  void TroisClientsDontUnSupprime() {
    Client("C00001", "Dupont    ");
    const int32_t deux = Client("C00002", "Martin    ");
    Client("C00003", "Durand    ");
    BArbre().Supprime(cli2_, "Martin    ", deux, cli_->fichier);
    BArbre().Supprime(cli1_, "C00002", deux, cli_->fichier);
  }
  int32_t Facture(const std::string& numero) {
    fac_->champs = numero;
    int32_t no = 0;
    BArbre().Insere(fac1_, numero, fac_->fichier, no);
    return no;
  }
  int32_t Ligne(const std::string& texte) {
    lig_->champs = "      " + texte;
    int32_t no = 0;
    Chainage().AjouteLigne(lig_->fichier, no);
    return no;
  }
  std::vector<std::string> Lignes(const std::string& numero) {
    bool trouve = false;
    BArbre().Recherche(fac1_, numero, fac_->fichier, trouve);
    std::vector<std::string> out;
    int32_t no = 0;
    for (Chainage().PremLigne(lig_->fichier, no); no != 0;
         Chainage().SuivLigne(lig_->fichier, no)) {
      out.push_back(std::to_string(no) + ":" + lig_->champs.substr(6, 4));
    }
    return out;
  }
  static BArbreAReconstruire Arbre(const std::string& nom, int16_t longueur, const char* nature,
                                   size_t at) {
    return {nom, longueur, nature, [at, longueur](std::string_view rec, std::string& cle) {
              cle.assign(rec.substr(at, static_cast<size_t>(longueur)));
            }};
  }
  // The line file chosen, its header file beside it.
  static PlanReconstruction PlanLignes() {
    PlanReconstruction p;
    p.fichiers.push_back({"Lig", false, true, {}});
    p.fichiers.push_back({"Fac", false, false, {Arbre("Fac1", 8, "P", 0)}});
    p.chainages.push_back({1, 0, 26, 29, 1, 4});
    return p;
  }
  static PlanReconstruction PlanClients(size_t code_at = 0) {
    PlanReconstruction p;
    p.fichiers.push_back(
        {"Cli", false, true, {Arbre("Cli1", 6, "P", code_at), Arbre("Cli2", 10, "S", 6)}});
    return p;
  }
  // Two invoices, five lines, two of them deleted.
  void Factures() {
    Facture("F0000001");
    Ligne("L1a ");
    Ligne("L1b ");
    Facture("F0000002");
    Ligne("L2a ");
    Ligne("L2b ");
    bool trouve = false;
    BArbre().Recherche(fac1_, "F0000001", fac_->fichier, trouve);
    Ligne("L1c ");
    Chainage().SupprimeLigne(lig_->fichier, 1);
    BArbre().Recherche(fac1_, "F0000002", fac_->fichier, trouve);
    Chainage().SupprimeLigne(lig_->fichier, 4);
  }

  Proprio *cli_ = nullptr, *fac_ = nullptr, *lig_ = nullptr;
  int16_t cli1_ = 0, cli2_ = 0, fac1_ = 0;
};

std::string Decrit(const EtapeReconstruction& e) {
  using N = EtapeReconstruction::Nature;
  switch (e.nature) {
    case N::kEnregistrement:
      return "E" + std::to_string(e.numero) + ">" + std::to_string(e.nouveau);
    case N::kCompacte:
      return "C" + std::to_string(e.nombre);
    case N::kEcrit:
      return "W" + std::to_string(e.fichier) + (e.deplace ? "d" : "");
    case N::kBArbre:
      return "T" + std::to_string(e.fichier) + "." + std::to_string(e.arbre) + ":" +
             std::to_string(e.nombre);
  }
  return "?";
}

TEST_P(ReconstructionTest, CompactingLinesRenumbersTheirChainsAndRebuildsTheHeadersTree) {
  Factures();
  std::vector<std::string> etapes;
  BilanReconstruction bilan;
  Donnee().Reconstruit(
      PlanLignes(), [&](const EtapeReconstruction& e) { etapes.push_back(Decrit(e)); }, bilan);
  EXPECT_EQ(bilan.refus, "");
  EXPECT_TRUE(bilan.en_place);
  EXPECT_FALSE(bilan.copie_echouee);
  EXPECT_NE(bilan.chemin.find("LIG.DAT"), std::string::npos) << bilan.chemin;
  ASSERT_EQ(bilan.fichiers.size(), 2u);
  EXPECT_TRUE(bilan.fichiers[0].reecrit);
  EXPECT_EQ(bilan.fichiers[0].gardes, 3);
  EXPECT_EQ(bilan.fichiers[0].supprimes, 2);
  EXPECT_TRUE(bilan.fichiers[1].reecrit);
  EXPECT_TRUE(bilan.fichiers[1].arbres_reconstruits);
  EXPECT_EQ(bilan.fichiers[1].cles, std::vector<int64_t>{2});
  EXPECT_EQ(etapes,
            (std::vector<std::string>{"E2>1", "E3>2", "E5>3", "C2", "W0d", "W1", "T1.0:2"}));
  EXPECT_EQ(Lignes("F0000001"), (std::vector<std::string>{"1:L1b ", "3:L1c "}));
  EXPECT_EQ(Lignes("F0000002"), (std::vector<std::string>{"2:L2a "}));
  int32_t n = -1;
  Donnee().Supprimes(false, "Lig", n);
  EXPECT_EQ(n, 0);
  std::string t;
  EXPECT_ERREUR(Donnee().LireFichier(lig_->fichier, 4, t), "au-delà de la fin du fichier (3");
  EXPECT_EQ(Ligne("L2c "), 4);
  Verifie();
}

TEST_P(ReconstructionTest, CompactingCustomersRebuildsBothTheirTrees) {
  TroisClientsDontUnSupprime();
  BilanReconstruction bilan;
  Donnee().Reconstruit(PlanClients(), nullptr, bilan);
  EXPECT_EQ(bilan.refus, "");
  EXPECT_EQ(bilan.fichiers[0].cles, (std::vector<int64_t>{2, 2}));
  bool trouve = false;
  BArbre().Recherche(cli1_, "C00003", cli_->fichier, trouve);
  ASSERT_TRUE(trouve);
  int32_t no = 0;
  Donnee().NoEnrCourant(cli_->fichier, no);
  EXPECT_EQ(no, 2);
  std::string liste;
  int32_t n = 0;
  BArbre().ListeEnr(cli2_, n, liste, "");
  EXPECT_EQ(liste, "[1,2]");  // Dupont, then Durand
  Verifie();
}

TEST_P(ReconstructionTest, WhatTheFilesHoldCanRefuseTheRebuildAndChangesNothing) {
  Client("C00001", "Dupont    ");
  Client("D00001", "Martin    ");
  const int32_t trois = Client("C00003", "Durand    ");
  BArbre().Supprime(cli2_, "Durand    ", trois, cli_->fichier);
  BArbre().Supprime(cli1_, "C00003", trois, cli_->fichier);
  // A primary key built from the code without its letter: two records give "00001".
  BilanReconstruction bilan;
  PlanReconstruction plan = PlanClients();
  plan.fichiers[0].arbres[0].cle = [](std::string_view rec, std::string& cle) {
    cle.assign(rec.substr(1, 5));
  };
  Donnee().Reconstruit(plan, nullptr, bilan);
  EXPECT_EQ(bilan.refus, "B-Arbre Cli1 : clé « 00001 » en double (enregistrements 1 et 2)")
      << bilan.refus;
  EXPECT_FALSE(bilan.en_place);
  int32_t n = 0;
  Donnee().Supprimes(false, "Cli", n);
  EXPECT_EQ(n, 1);
  // A line pointing to a deleted line: the chain does not check, no line is renumbered.
  Factures();
  m_->Abime(lig_->fichier, 2, 3, std::string("\0\0\x04", 3));
  Donnee().Reconstruit(PlanLignes(), nullptr, bilan);
  EXPECT_EQ(bilan.refus,
            "chaînage LIG.DAT sous FAC.DAT, en-tête 1 : la ligne 4 est supprimée (et 1 autre(s) "
            "problème(s)) : les lignes ne peuvent être renumérotées sans être perdues ; rien "
            "n'est écrit");
  Donnee().Supprimes(false, "Lig", n);
  EXPECT_EQ(n, 2);
  // The key builders' own errors and a batch open refuse it too.
  plan.fichiers[0].arbres[0].cle = [](std::string_view, std::string&) {
    throw ErreurService("Clé", "CLI1", "variable inconnue");
  };
  EXPECT_ERREUR(Donnee().Reconstruit(plan, nullptr, bilan), "variable inconnue");
  Donnee().DebutLot();
  EXPECT_ERREUR(Donnee().Reconstruit(PlanClients(), nullptr, bilan),
                "pendant une opération ou un lot");
  Donnee().AnnuleLot();
  Donnee().Supprimes(false, "Cli", n);
  EXPECT_EQ(n, 1);
}

// A record the store cannot read soundly (on a folder a slot whose state byte is unknown, on a
// database a row of another length or missing from its table) refuses the rebuild, naming the
// file, the record and the damage: nothing is written, the command goes on with its other files.
TEST_P(ReconstructionTest, ADamagedRecordRefusesTheRebuildAndWritesNothing) {
  TroisClientsDontUnSupprime();
  for (bool retire : {false, true}) {
    m_->AbimeEnregistrement("", "CLI", 1, retire);
    BilanReconstruction bilan;
    Donnee().Reconstruit(PlanClients(), nullptr, bilan);
    EXPECT_NE(bilan.refus.find("CLI.DAT"), std::string::npos) << bilan.refus;
    EXPECT_NE(bilan.refus.find("enregistrement 1 "), std::string::npos) << bilan.refus;
    EXPECT_NE(bilan.refus.find(" endommagé"), std::string::npos) << bilan.refus;
    EXPECT_FALSE(bilan.en_place);
    int32_t n = 0;
    Donnee().Supprimes(false, "Cli", n);
    EXPECT_EQ(n, 1);
  }
}

INSTANTIATE_TEST_SUITE_P(Stockages, LotTest, ::testing::ValuesIn(Stockages()), NomDuStockage);
INSTANTIATE_TEST_SUITE_P(Stockages, ReconstructionTest, ::testing::ValuesIn(Stockages()),
                         NomDuStockage);

}  // namespace
}  // namespace vesk::essai
