// The data-file and text-file service on real files of a temporary data folder.
#include "srv/isam/srv_donnee_impl.h"

#include <fstream>

#include "srv/isam/testing/engine.h"
#include "srv/list/liste.h"

namespace vesk::isam::testing {
namespace {

class SrvDonneeTest : public EngineTest {
 protected:
  void WriteText(const std::string& name, std::string_view bytes) {
    std::ofstream out(root_ / name, std::ios::binary);
    out << bytes;
  }
};

TEST_F(SrvDonneeTest, RecordsAreCompletedWithSpacesAndStoredUpperCase) {
  Proprio& p = Ouvre("Fic", 32);
  donnee_->EcrireFichier(p.fichier, 1, "AB");
  donnee_->EcrireFichier(p.fichier, 2, "Dépôt €");
  std::string t;
  donnee_->LireFichier(p.fichier, 1, t);
  EXPECT_EQ(t, "AB" + std::string(30, ' '));
  donnee_->LireFichier(p.fichier, 2, t);
  EXPECT_EQ(t, "Dépôt €" + std::string(25, ' '));
  EXPECT_TRUE(std::filesystem::exists(root_ / "FIC.DAT"));
  EXPECT_EQ(Size("FIC.DAT"), kDataHeaderSize + 2 * 33);  // a state byte before each record
  // The same name in another case is the same file and handle.
  int16_t again = 0;
  donnee_->Donnee(false, "FIC", 32, again, nullptr, "", "", "", false);
  EXPECT_EQ(again, p.fichier);
  Verify();
}

TEST_F(SrvDonneeTest, BadWritesAreRefusedAndChangeNothing) {
  Proprio& p = Ouvre("Dom", 10);
  donnee_->EcrireFichier(p.fichier, 1, "premier");
  EXPECT_ERREUR(donnee_->EcrireFichier(p.fichier, 1, "beaucoup trop long"), "plus long que 10");
  EXPECT_ERREUR(donnee_->EcrireFichier(p.fichier, 1, "Ω"), "Windows-1252");
  EXPECT_ERREUR(donnee_->EcrireFichier(p.fichier, 3, "trou"), "après le dernier");
  EXPECT_ERREUR(donnee_->EcrireFichier(p.fichier, 0, "zéro"), "commencent à 1");
  std::string t;
  donnee_->LireFichier(p.fichier, 1, t);
  EXPECT_EQ(t, "premier   ");
  EXPECT_ERREUR(donnee_->LireFichier(p.fichier, 2, t), "DOM.DAT");
  EXPECT_ERREUR(donnee_->LireFichier(p.fichier, 2, t), "enregistrement 2");
  EXPECT_ERREUR(donnee_->LireFichier(42, 1, t), "fichier 42");
  EXPECT_ERREUR(donnee_->LireEnr(42, 1), "aucun fichier");
  EXPECT_ERREUR(donnee_->LireEnr(p.fichier, 5), "au-delà de la fin");
  int32_t no = -1;
  EXPECT_ERREUR(donnee_->NoEnrCourant(0, no), "aucun fichier");
  Verify();
}

TEST_F(SrvDonneeTest, OpenRefusesBadNamesLengthsModesAndOwners) {
  int16_t h = 0;
  for (std::string_view bad : {"../x", "a/b", "", "..", "a.b"}) {
    EXPECT_ERREUR(donnee_->Donnee(false, bad, 32, h, nullptr, "", "", "", true), "nom de fichier");
  }
  EXPECT_ERREUR(donnee_->Donnee(false, "Fic", 4, h, nullptr, "", "", "", true), "5 au moins");
  EXPECT_ERREUR(donnee_->Donnee(false, "Fic", 32, h, nullptr, "", "", "X", true), "mode");
  EXPECT_ERREUR(donnee_->Donnee(false, "Abs", 32, h, nullptr, "", "", "", false), "absent");
  Proprio sans(donnee_.get(), "Autre");  // answers LireAutre / EcrireAutre only
  EXPECT_ERREUR(donnee_->Donnee(false, "Fic", 32, h, &sans, "", "", "", true), "LireFic");
  EXPECT_ERREUR(donnee_->Donnee(true, "Fic", 32, h, nullptr, "", "", "", true), "entreprise");
  std::vector<std::string> names;
  ASSERT_TRUE(Env::Default()->ListDirectory(dir_, &names).ok());
  EXPECT_TRUE(names.empty()) << names.front();
  // The method suffix names the owner's methods.
  donnee_->Donnee(false, "Fic", 32, h, &sans, "", "Autre", "", true);
  EXPECT_GT(h, 0);
  // Another record length for an existing file.
  Reopen();
  EXPECT_ERREUR(donnee_->Donnee(false, "Fic", 40, h, nullptr, "", "", "", true), "32");
}

TEST_F(SrvDonneeTest, AFileOfAnotherFormatIsRefused) {
  WriteText("AUTRE.DAT", std::string(300, 'x'));
  int16_t h = 0;
  EXPECT_ERREUR(donnee_->Donnee(false, "Autre", 32, h, nullptr, "", "", "", true), "signature");
  EXPECT_EQ(Size("AUTRE.DAT"), 300u);
}

TEST_F(SrvDonneeTest, ReadOnlyAndOwnerlessFilesRefuseWhatTheyCannotDo) {
  int16_t h = 0;
  donnee_->Donnee(false, "Brut", 8, h, nullptr, "Fichier brut", "", "", true);
  donnee_->EcrireFichier(h, 1, "a");
  EXPECT_ERREUR(donnee_->LireEnr(h, 1), "sans propriétaire");
  Reopen();
  donnee_->Donnee(false, "Brut", 8, h, nullptr, "", "", "L", false);
  EXPECT_ERREUR(donnee_->EcrireFichier(h, 1, "b"), "lecture seule");
  std::string t;
  donnee_->LireFichier(h, 1, t);
  EXPECT_EQ(t, "a       ");
}

TEST_F(SrvDonneeTest, CompanyFilesLiveInTheCompanyFolder) {
  Reopen("Ent1");
  Proprio& p = Ouvre("Cpt", 16, true);
  donnee_->EcrireFichier(p.fichier, 1, "compte");
  Verify();
  EXPECT_TRUE(std::filesystem::exists(root_ / "ENT1" / "CPT.DAT"));
  EXPECT_FALSE(std::filesystem::exists(root_ / "CPT.DAT"));
}

TEST_F(SrvDonneeTest, ListeOuvertsNamesFilesAndHandles) {
  Ouvre("Fic", 32);
  Ouvre("Dom", 100);
  std::string liste;
  int32_t n = 0;
  donnee_->ListeOuverts("D", liste, n);
  EXPECT_EQ(liste, "[[FIC,1],[DOM,2]]");
  EXPECT_EQ(n, 2);
  donnee_->ListeOuverts("B", liste, n);
  EXPECT_EQ(liste, "[]");
  EXPECT_EQ(n, 0);
  EXPECT_ERREUR(donnee_->ListeOuverts("Z", liste, n), "nature");
}

TEST_F(SrvDonneeTest, TextFilesAreReadLineByLine) {
  WriteText("TVA.DOM",
            "Taux normal\r\nR\xE9"
            "duit\n\nsans fin");
  WriteText("VIDE.DOM", "");
  WriteText("crlf.dom", "a\r\n");
  bool existe = false;
  donnee_->Existe("tva.dom", existe);
  EXPECT_TRUE(existe);
  donnee_->Existe("CRLF.DOM", existe);  // another case on disk
  EXPECT_TRUE(existe);
  donnee_->Existe("ABS.DOM", existe);
  EXPECT_FALSE(existe);
  EXPECT_ERREUR(donnee_->Existe("../TVA.DOM", existe), "nom de fichier");

  int16_t h = 0;
  donnee_->OuvLect("Tva.Dom", h);
  std::vector<std::string> lines;
  bool fin = false;
  for (donnee_->FinFich(h, fin); !fin; donnee_->FinFich(h, fin)) {
    lines.emplace_back();
    donnee_->LireLigne(h, lines.back());
  }
  EXPECT_EQ(lines, (std::vector<std::string>{"Taux normal", "Réduit", "", "sans fin"}));
  std::string l;
  EXPECT_ERREUR(donnee_->LireLigne(h, l), "dernière ligne");
  donnee_->FermeLect(h);
  EXPECT_ERREUR(donnee_->FinFich(h, fin), "aucun fichier texte");

  donnee_->OuvLect("VIDE.DOM", h);
  donnee_->FinFich(h, fin);
  EXPECT_TRUE(fin);
  donnee_->FermeLect(h);
  donnee_->OuvLect("CRLF.DOM", h);
  donnee_->LireLigne(h, l);
  EXPECT_EQ(l, "a");
  donnee_->FinFich(h, fin);
  EXPECT_TRUE(fin);
  EXPECT_ERREUR(donnee_->OuvLect("ABS.DOM", h), "absent");
}

}  // namespace
}  // namespace vesk::isam::testing

namespace vesk::isam::testing {
namespace {

class LotTest : public EngineTest {};

// A batch cancelled after writes to a data file and its B-tree leaves both as at its start,
// on disk and for the services; a batch ended by FinLot keeps everything.
TEST_F(LotTest, AnnuleLotUndoesEveryOperationOfTheBatch) {
  Proprio& p = Ouvre("Dom", 16);
  int16_t arbre = 0;
  barbre_->B_Arbre(false, "Dom", 6, "P", arbre, "", true);
  auto insere = [&](const std::string& cle) {
    p.champs = cle + " texte";
    int32_t no = 0;
    barbre_->Insere(arbre, cle, p.fichier, no);
    return no;
  };
  insere("AAA");
  donnee_->DebutLot();
  insere("BBB");
  donnee_->DebutLot();  // nested: only the outermost batch counts
  insere("CCC");
  barbre_->Supprime(arbre, "AAA", 1, p.fichier);
  donnee_->AnnuleLot();
  bool trouve = false;
  barbre_->Recherche(arbre, "AAA", p.fichier, trouve);
  EXPECT_TRUE(trouve);
  barbre_->Recherche(arbre, "BBB", p.fichier, trouve);
  EXPECT_FALSE(trouve);
  EXPECT_ERREUR(donnee_->FinLot(), "sans début de lot");
  Verify();

  donnee_->DebutLot();
  insere("DDD");
  donnee_->FinLot();
  Reopen();
  Proprio& q = Ouvre("Dom", 16);
  barbre_->B_Arbre(false, "Dom", 6, "P", arbre, "", true);
  barbre_->Recherche(arbre, "DDD", q.fichier, trouve);
  EXPECT_TRUE(trouve);
  barbre_->Recherche(arbre, "CCC", q.fichier, trouve);
  EXPECT_FALSE(trouve);
  Verify();
}

TEST_F(LotTest, TextFilesAreWrittenWholeInWindows1252AndRemoved) {
  donnee_->EcritTexte("tva.dom", {"N : Taux normal", "R : réduit"});
  EXPECT_EQ(Size("TVA.DOM"), std::string("N : Taux normal\r\nR : r\xE9"
                                         "duit\r\n")
                                 .size());
  std::string octets;
  {
    // Closed before the next write: Windows does not rename over a file held open.
    std::ifstream in(root_ / "TVA.DOM", std::ios::binary);
    octets.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  EXPECT_EQ(octets,
            "N : Taux normal\r\nR : r\xE9"
            "duit\r\n");
  // A line Windows-1252 cannot hold is refused and the old text stays.
  EXPECT_ERREUR(donnee_->EcritTexte("TVA.DOM", {"Ω"}), "Windows-1252");
  EXPECT_EQ(Size("TVA.DOM"), octets.size());
  EXPECT_FALSE(std::filesystem::exists(root_ / "TVA.DOM.NEW"));
  EXPECT_ERREUR(donnee_->EcritTexte("../TVA.DOM", {}), "../TVA.DOM");
  donnee_->EcritTexte("TVA.DOM", {});
  EXPECT_EQ(Size("TVA.DOM"), 0u);
  donnee_->SupprimeTexte("TVA.DOM");
  donnee_->SupprimeTexte("TVA.DOM");
  EXPECT_FALSE(std::filesystem::exists(root_ / "TVA.DOM"));
}

// A file or a tree is opened under the folder's lock: while another user holds it to commit
// (here a batch, which keeps it to its end), an opening waits, and never reads a header whose
// records or nodes are not written yet.
TEST_F(LotTest, OpeningWaitsForAWriterToFinish) {
  Proprio& p = Ouvre("Dom", 16);
  int16_t arbre = 0;
  barbre_->B_Arbre(false, "Dom", 6, "P", arbre, "", true);
  p.champs = "AAA";
  int32_t no = 0;
  barbre_->Insere(arbre, "AAA", p.fichier, no);
  donnee_->DebutLot();
  p.champs = "BBB";
  barbre_->Insere(arbre, "BBB", p.fichier, no);

  auto autre = std::make_shared<DossierDonnees>(Env::Default(), dir_, "", 1 << 20);
  autre->DelaiVerrou(20);
  SrvDonneeImpl donnee(autre);
  SrvBArbreImpl barbre(autre);
  int16_t f = 0, a = 0;
  EXPECT_ERREUR(donnee.Donnee(false, "Dom", 16, f, nullptr, "", "", "", true), "verrouillé");
  EXPECT_ERREUR(barbre.B_Arbre(false, "Dom", 6, "P", a, "", true), "verrouillé");
  donnee_->FinLot();
  donnee.Donnee(false, "Dom", 16, f, nullptr, "", "", "", true);
  barbre.B_Arbre(false, "Dom", 6, "P", a, "", true);
  std::string texte;
  donnee.LireFichier(f, 2, texte);
  EXPECT_EQ(texte.substr(0, 3), "BBB");
}

}  // namespace
}  // namespace vesk::isam::testing
