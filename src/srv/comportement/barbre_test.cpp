// The B-tree service over data files with owners, the same behaviour on every store.
#include <memory>
#include <string>
#include <tuple>

#include "srv/comportement/magasin_essai.h"
#include "srv/list/liste.h"
#include "srv/text/utf8.h"

namespace vesk::essai {
namespace {

class BArbreTest : public ServicesTest {
 protected:
  void SetUp() override {
    ServicesTest::SetUp();
    if (IsSkipped()) return;
    dom_ = &Ouvre("Dom", 30);
    BArbre().B_Arbre(false, "Dom", 6, "P", arbre_, "", true);
  }
  int32_t Insere(const std::string& cle, const std::string& champs) {
    dom_->champs = champs;
    int32_t no = 0;
    BArbre().Insere(arbre_, cle, dom_->fichier, no);
    return no;
  }
  std::vector<std::string> Cles(int16_t arbre = 0) {
    std::vector<std::string> out;
    bool trouve = false;
    std::string cle;
    const int16_t a = arbre != 0 ? arbre : arbre_;
    for (BArbre().PremCle(a, dom_->fichier, trouve, cle); trouve;
         BArbre().SuivCle(a, dom_->fichier, trouve, cle)) {
      out.push_back(cle);
    }
    return out;
  }

  Proprio* dom_ = nullptr;
  int16_t arbre_ = 0;
};

TEST_P(BArbreTest, InsereWritesThroughTheOwnerAndRechercheReadsBack) {
  EXPECT_EQ(Insere("TVA", "TVA   Taxe"), 1);
  EXPECT_EQ(Insere("ÉCO", "ÉCO   Écologie"), 2);
  dom_->champs = "effacé";
  bool trouve = false;
  BArbre().Recherche(arbre_, "TVA", dom_->fichier, trouve);
  ASSERT_TRUE(trouve);
  EXPECT_EQ(dom_->champs, "TVA   Taxe" + std::string(20, ' '));
  int32_t no = 0;
  Donnee().NoEnrCourant(dom_->fichier, no);
  EXPECT_EQ(no, 1);
  BArbre().Recherche(arbre_, "ABS", dom_->fichier, trouve);
  EXPECT_FALSE(trouve);
  Donnee().NoEnrCourant(dom_->fichier, no);
  EXPECT_EQ(no, 0);
  EXPECT_EQ(Cles(), (std::vector<std::string>{"TVA   ", "ÉCO   "}));  // byte order: É is 0xC9
  bool existe = false;
  BArbre().Existe(false, "dom", existe);
  EXPECT_TRUE(existe);
  BArbre().Existe(true, "dom", existe);  // no company: nothing depends on one
  EXPECT_FALSE(existe);
  Verifie();
}

TEST_P(BArbreTest, ARefusedKeyWritesNothing) {
  Insere("A", "premier");
  int appels = dom_->appels;
  EXPECT_ERREUR(Insere("A", "second"), "la clé \"A\" existe déjà : rien n'est écrit");
  EXPECT_ERREUR(Insere("TROPLONG", "x"), "clé de 8 caractères");
  EXPECT_ERREUR(Insere("Ω", "x"), "Windows-1252");
  EXPECT_EQ(dom_->appels, appels);
  // The owner's own error (a text too long) takes the key back.
  EXPECT_ERREUR(Insere("B", std::string(31, 'x')), "plus long que 30");
  std::string liste;
  int32_t n = 0;
  BArbre().ListeEnr(arbre_, n, liste, "");
  EXPECT_EQ(liste, "[1]");
  EXPECT_EQ(Insere("B", "b"), 2);
  Verifie();
}

// An owner whose write first inserts a key of its own into a second tree (a counterpart record
// in another file), then writes its record. With rattrape, it catches the error of that insert
// and goes on, as a program's method with its own error handling may.
class ProprioImbrique : public Proprio {
 public:
  ProprioImbrique(SrvDonnee* srv, SrvBArbre* barbre, std::string nom, bool rattrape)
      : Proprio(srv, std::move(nom)), barbre_(barbre), rattrape_(rattrape) {}
  void Invoque(int32_t id, int32_t& no_enr) override {
    if (id == 2) {
      second->champs = "S" + champs;
      int32_t n = 0;
      try {
        barbre_->Insere(arbre_second, champs.substr(0, 6), second->fichier, n);
      } catch (const ErreurService&) {
        if (!rattrape_) throw;
      }
    }
    Proprio::Invoque(id, no_enr);
  }
  Proprio* second = nullptr;
  int16_t arbre_second = 0;

 private:
  SrvBArbre* barbre_;
  bool rattrape_;
};

// Another user takes the next record number between two single inserts whose owner inserts in
// turn: the nested insert is the first to meet what the server holds. Whether the owner lets
// that error through or catches it and goes on, the outer insert is made again whole, and
// nothing of the first try stays in either tree.
TEST_P(BArbreTest, AnInsertNestedInTheOwnersMethodLeavesNothingHalfDone) {
  for (const bool rattrape : {false, true}) {
    const std::string ext_nom = rattrape ? "Ext2" : "Ext", sec_nom = rattrape ? "Sec2" : "Sec";
    Proprio& sec = Ouvre(sec_nom, 30);
    int16_t arbre_sec = 0, arbre_ext = 0;
    BArbre().B_Arbre(false, sec_nom, 6, "P", arbre_sec, "", true);
    auto ext = std::make_unique<ProprioImbrique>(&Donnee(), &BArbre(), ext_nom, rattrape);
    Donnee().Donnee(false, ext_nom, 30, ext->fichier, ext.get(), "", "", "", true);
    BArbre().B_Arbre(false, ext_nom, 6, "P", arbre_ext, "", true);
    ext->second = &sec;
    ext->arbre_second = arbre_sec;
    auto insere = [&](const std::string& k) {
      ext->champs = k;
      int32_t no = 0;
      BArbre().Insere(arbre_ext, k, ext->fichier, no);
      return no;
    };
    for (const char* k : {"A", "B", "C"}) insere(k);
    AutreUtilisateur autre = OuvreAutre(ext_nom, 30);
    EXPECT_EQ(autre.Insere("X", "X autre"), 4);
    EXPECT_EQ(insere("D"), 5) << rattrape;
    EXPECT_EQ(insere("E"), 6) << rattrape;
    for (const auto& [arbre, fichier, attendu] :
         {std::tuple{arbre_ext, ext->fichier, std::string("A,B,C,D,E,X,")},
          std::tuple{arbre_sec, sec.fichier, std::string("A,B,C,D,E,")}}) {
      std::string cles, cle;
      bool trouve = false;
      for (BArbre().PremCle(arbre, fichier, trouve, cle); trouve;
           BArbre().SuivCle(arbre, fichier, trouve, cle)) {
        cles += cle.substr(0, 1) + ",";
      }
      EXPECT_EQ(cles, attendu) << rattrape;
    }
    autre.magasin.reset();
    Verifie();
    proprios_.push_back(std::move(ext));
  }
}

// Single inserts one after the other, outside batches: each gives the next number and refuses
// exactly the keys that exist, whatever another user wrote between two of them (a key, a
// record, a deletion) and whatever an owner's failure undid.
TEST_P(BArbreTest, SingleInsertsSeeWhatAnotherUserWroteBetweenThem) {
  for (const char* k : {"A", "B", "C", "D"}) Insere(k, k);
  EXPECT_ERREUR(Insere("E", std::string(31, 'x')), "plus long que 30");
  EXPECT_EQ(Insere("E", "E"), 5);
  EXPECT_ERREUR(Insere("C", "C encore"), "la clé \"C\" existe déjà : rien n'est écrit");
  EXPECT_EQ(Insere("F", "F"), 6);
  EXPECT_EQ(Insere("G", "G"), 7);
  AutreUtilisateur autre = OuvreAutre("Dom", 30);
  autre.Insere("K", "K autre");
  autre.magasin->BArbre().Supprime(autre.arbre, "B", 2, autre.p->fichier);
  EXPECT_ERREUR(Insere("K", "K mien"), "la clé \"K\" existe déjà : rien n'est écrit");
  EXPECT_EQ(Insere("B", "B encore"), 9);
  EXPECT_EQ(Insere("H", "H"), 10);
  EXPECT_EQ(autre.Insere("L", "L autre"), 11);
  EXPECT_EQ(Insere("M", "M"), 12);
  EXPECT_EQ(Insere("N", "N"), 13);
  bool trouve = false;
  BArbre().Recherche(arbre_, "K", dom_->fichier, trouve);
  EXPECT_EQ(dom_->champs.substr(0, 7), "K autre");
  std::vector<std::string> cles;
  for (const char* k : {"A", "B", "C", "D", "E", "F", "G", "H", "K", "L", "M", "N"}) {
    cles.push_back(std::string(k) + "     ");
  }
  EXPECT_EQ(Cles(), cles);
  Verifie();
}

TEST_P(BArbreTest, HandlesAndArgumentsAreChecked) {
  bool trouve = false;
  int16_t h = 0;
  EXPECT_ERREUR(BArbre().Recherche(99, "A", dom_->fichier, trouve), "B-arbre 99");
  EXPECT_ERREUR(BArbre().Recherche(arbre_, "A", 99, trouve), "fichier 99");
  EXPECT_ERREUR(BArbre().B_Arbre(false, "../x", 6, "P", h, "", true), "nom de B-arbre");
  EXPECT_ERREUR(BArbre().B_Arbre(false, "Dom2", 6, "Q", h, "", true), "nature");
  EXPECT_ERREUR(BArbre().B_Arbre(false, "Dom2", 0, "P", h, "", true), "longueur de clé");
  EXPECT_ERREUR(BArbre().B_Arbre(false, "Dom", 8, "P", h, "", true), "déjà ouvert");
  EXPECT_ERREUR(BArbre().B_Arbre(false, "Absent", 6, "P", h, "", false), "B-arbre introuvable : ");
  EXPECT_ERREUR(BArbre().B_Arbre(false, "Absent", 6, "P", h, "", false), "ABSENT.DAB");
  std::string cle;
  EXPECT_ERREUR(BArbre().SuivCle(arbre_, dom_->fichier, trouve, cle), "PremCle");
  // A tree recorded for another data file.
  Proprio& autre = Ouvre("Autre", 30);
  BArbre().B_Arbre(false, "Dom3", 6, "S", h, "Dom", true);
  EXPECT_ERREUR(BArbre().Recherche(h, "A", autre.fichier, trouve), "indexe DOM.DAT");
  // A tree opened again with another key length or nature.
  Reouvre();
  EXPECT_ERREUR(BArbre().B_Arbre(false, "Dom3", 6, "P", h, "", true),
                "le fichier a la longueur de clé 6 et la nature 'S', l'ouverture demande la "
                "longueur 6 et la nature 'P'");
  Verifie();
}

TEST_P(BArbreTest, WalksSurviveInsertsAndDeletesUnderThem) {
  for (std::string k : {"B", "D", "F"}) Insere(k, k);
  bool trouve = false;
  std::string cle;
  BArbre().PremCle(arbre_, dom_->fichier, trouve, cle);
  EXPECT_EQ(cle, "B     ");
  Insere("C", "C");
  BArbre().Supprime(arbre_, "D", 2, dom_->fichier);
  BArbre().SuivCle(arbre_, dom_->fichier, trouve, cle);
  EXPECT_EQ(cle, "C     ");
  BArbre().Supprime(arbre_, "C", 4, dom_->fichier);  // the key the cursor stands on
  BArbre().SuivCle(arbre_, dom_->fichier, trouve, cle);
  EXPECT_EQ(cle, "F     ");
  EXPECT_EQ(dom_->champs.substr(0, 1), "F");
  BArbre().SuivCle(arbre_, dom_->fichier, trouve, cle);
  EXPECT_FALSE(trouve);
  // Recherche places the walk: SuivCle goes on after the key found, or after the place of a
  // key not found.
  BArbre().Recherche(arbre_, "A", dom_->fichier, trouve);
  BArbre().SuivCle(arbre_, dom_->fichier, trouve, cle);
  EXPECT_EQ(cle, "B     ");
  Verifie();
}

// A walk over many keys, the records rewritten and keys added and removed as it goes: every
// key is met once, in order, with its record as last written.
TEST_P(BArbreTest, ALongWalkSeesWhatIsWrittenUnderIt) {
  Donnee().DebutLot();
  for (int i = 0; i < 1200; i += 2) {
    char k[8];
    std::snprintf(k, sizeof k, "K%04d", i);
    Insere(k, std::string(k) + " v0");
  }
  Donnee().FinLot();
  bool trouve = false;
  std::string cle;
  std::vector<std::string> vues;
  int pas = 0;
  for (BArbre().PremCle(arbre_, dom_->fichier, trouve, cle); trouve;
       BArbre().SuivCle(arbre_, dom_->fichier, trouve, cle), ++pas) {
    vues.push_back(cle.substr(0, 5));
    EXPECT_EQ(dom_->champs.substr(0, 5), cle.substr(0, 5));
    if (pas == 100) {
      Insere("K0201", "K0201 neuve");     // ahead of the walk: met
      Insere("K0001", "K0001 derrière");  // behind it: not met
      int32_t no = 0;
      Donnee().NoEnrCourant(dom_->fichier, no);
      BArbre().Recherche(arbre_, "K0210", dom_->fichier, trouve);
      Donnee().NoEnrCourant(dom_->fichier, no);
      BArbre().Supprime(arbre_, "K0210", no, dom_->fichier);   // ahead: not met
      BArbre().Recherche(arbre_, cle, dom_->fichier, trouve);  // back to where the walk is
    }
    if (pas == 300) {
      int32_t no = 0;
      Donnee().NoEnrCourant(dom_->fichier, no);
      Donnee().EcrireFichier(dom_->fichier, no + 1, "K0602 réécrite");
    }
    if (pas == 301) {
      EXPECT_EQ(dom_->champs.substr(0, 16), "K0602 réécrite");
    }
  }
  EXPECT_EQ(vues.size(), 600u);
  EXPECT_TRUE(std::is_sorted(vues.begin(), vues.end()));
  EXPECT_NE(std::find(vues.begin(), vues.end(), "K0201"), vues.end());
  EXPECT_EQ(std::find(vues.begin(), vues.end(), "K0001"), vues.end());
  EXPECT_EQ(std::find(vues.begin(), vues.end(), "K0210"), vues.end());
  Verifie();
}

TEST_P(BArbreTest, SupprimeOnPrimaryGivesTheRecordBack) {
  Insere("A", "a");
  Insere("B", "b");
  EXPECT_ERREUR(BArbre().Supprime(arbre_, "A", 2, dom_->fichier),
                "la clé \"A\" n'existe pas pour l'enregistrement 2 : rien n'est supprimé");
  EXPECT_ERREUR(BArbre().Supprime(arbre_, "A", 7, dom_->fichier), "au-delà");
  BArbre().Supprime(arbre_, "A", 1, dom_->fichier);
  EXPECT_ERREUR(BArbre().Supprime(arbre_, "A", 1, dom_->fichier), "est supprimé");
  std::string t;
  Donnee().LireFichier(dom_->fichier, 1, t);
  EXPECT_EQ(t.substr(0, 2), "a ");  // its bytes kept
  EXPECT_ERREUR(Donnee().LireEnr(dom_->fichier, 1), "supprimé");
  // Deleted numbers are not reused; writing over a deleted record brings it back.
  EXPECT_EQ(Insere("A", "a2"), 3);
  int32_t n = 0;
  Donnee().Supprimes(false, "Dom", n);
  EXPECT_EQ(n, 1);
  std::string entete, noeuds, libres;
  BArbre().DescBArbre(arbre_, entete, noeuds, libres);
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
  BArbre().InfoBArbre(arbre_, infos);
  ASSERT_TRUE(list::Check(infos).ok()) << infos;
  EXPECT_NE(infos.find("[Fichier de Données Indexé,DOM.DAT]"), std::string::npos) << infos;
  EXPECT_NE(infos.find("3 utilisés|2 en service|1 supprimé|longueur 30"), std::string::npos)
      << infos;
  EXPECT_NE(infos.find("2 clés pour 2 enregistrements : en accord"), std::string::npos);
  EXPECT_NE(infos.find("[Premières Clés,A|B]"), std::string::npos) << infos;
  EXPECT_NE(infos.find("[Contrôle du B-Arbre,Correct]"), std::string::npos);
  Verifie();
  // Written over, the deleted record is live again, without a key.
  Donnee().EcrireFichier(dom_->fichier, 1, "a revenu");
  Donnee().Supprimes(false, "Dom", n);
  EXPECT_EQ(n, 0);
  EXPECT_ERREUR(Donnee().Supprimes(false, "Absent", n), "fichier absent");
}

// A walk of the data file gives its live records in order, as text, stops when told, and sees
// what the batch under way wrote.
TEST_P(BArbreTest, ParcourtEnregistrementsGivesTheLiveRecordsInOrder) {
  Insere("A", "Été");
  Insere("B", "b");
  Insere("C", "c");
  BArbre().Supprime(arbre_, "B", 2, dom_->fichier);
  auto parcours = [&](size_t arret) {
    std::vector<std::string> vus;
    Donnee().ParcourtEnregistrements(dom_->fichier, [&](int32_t no, std::string_view texte) {
      vus.push_back(std::to_string(no) + ":" + std::string(text::TrimRight(texte)));
      return vus.size() < arret;
    });
    return vus;
  };
  EXPECT_EQ(parcours(9), (std::vector<std::string>{"1:Été", "3:c"}));
  EXPECT_EQ(parcours(1), (std::vector<std::string>{"1:Été"}));
  Donnee().DebutLot();
  Insere("D", "d");
  EXPECT_EQ(parcours(9), (std::vector<std::string>{"1:Été", "3:c", "4:d"}));
  Donnee().FinLot();
  EXPECT_ERREUR(
      Donnee().ParcourtEnregistrements(42, [](int32_t, std::string_view) { return true; }),
      "fichier 42");
}

// A tree that is not there is made empty only beside a data file without live records: beside
// records it would hide them all, so it is refused until rebuilt.
TEST_P(BArbreTest, AnAbsentTreeIsNotMadeEmptyBesideLiveRecords) {
  int16_t h = 0;
  BArbre().B_Arbre(false, "Dom2", 6, "S", h, "Dom", true);  // the file is still empty
  Insere("A", "a");
  EXPECT_ERREUR(BArbre().B_Arbre(false, "Dom3", 6, "S", h, "Dom", true),
                "DOM3.DAB absent alors que DOM.DAT contient 1 enregistrement(s) : il doit être "
                "reconstruit, il n'est pas recréé vide");
  BArbre().Supprime(arbre_, "A", 1, dom_->fichier);
  BArbre().B_Arbre(false, "Dom3", 6, "S", h, "Dom", true);  // only a deleted record left
  EXPECT_GT(h, 0);
}

TEST_P(BArbreTest, SecondaryTreesKeepDuplicatesAndFindTheFirst) {
  int16_t sec = 0;
  BArbre().B_Arbre(false, "DomNom", 4, "S", sec, "Dom", true);
  for (int i = 1; i <= 3; ++i) {
    Insere("K" + std::to_string(i), "rec" + std::to_string(i));
    int32_t no = Insere("X" + std::to_string(i), "nom" + std::to_string(i));
    BArbre().InsS(sec, "NOM", no, dom_->fichier);
  }
  EXPECT_ERREUR(BArbre().InsS(sec, "NOM", 2, dom_->fichier),
                "la clé existe déjà pour l'enregistrement 2");
  EXPECT_ERREUR(BArbre().InsS(arbre_, "Z", 2, dom_->fichier), "secondaires");
  EXPECT_ERREUR(BArbre().InsS(sec, "NOM", 9, dom_->fichier), "au-delà");
  EXPECT_ERREUR(BArbre().InsS(sec, "NOM", 0, dom_->fichier), "commencent à 1");
  bool trouve = false;
  BArbre().Recherche(sec, "NOM", dom_->fichier, trouve);
  ASSERT_TRUE(trouve);
  int32_t no = 0;
  Donnee().NoEnrCourant(dom_->fichier, no);
  EXPECT_EQ(no, 2);
  std::string liste;
  int32_t n = 0;
  BArbre().ListeEnr(sec, n, liste, "NO");
  EXPECT_EQ(liste, "[2,4,6]");
  BArbre().ListeEnr(arbre_, n, liste, "X");
  EXPECT_EQ(n, 3);
  EXPECT_EQ(Cles(sec), (std::vector<std::string>{"NOM ", "NOM ", "NOM "}));
  BArbre().Supprime(sec, "NOM", 4, dom_->fichier);  // key only
  Donnee().LireEnr(dom_->fichier, 4);
  BArbre().ListeEnr(sec, n, liste, "");
  EXPECT_EQ(liste, "[2,6]");
  EXPECT_ERREUR(BArbre().ListeEnr(sec, n, liste, "TROPLONG"), "plus long que 4");
  EXPECT_ERREUR(BArbre().Supprime(sec, "NOM", 0, dom_->fichier),
                "numéro d'enregistrement 0 refusé");
  Verifie();
}

INSTANTIATE_TEST_SUITE_P(Stockages, BArbreTest, ::testing::ValuesIn(Stockages()), NomDuStockage);

}  // namespace
}  // namespace vesk::essai
