#include "srv/report/srv_edition_impl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "srv/erreur_service.h"

namespace vesk {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDomaines =
    "[PS,1,[[CODOM,CODE DOMAINE,A,40,G,[A,E]],[NOMDOM,NOM ET DEFINITION DU DOMAINE,A,80,G,[A]],"
    "[FDD,FICHIER,A,20,G,[A,E]]],[]]";
constexpr const char* kFichiers =
    "[PS,30,[[NOMFIC,Fichier Donnée,A,6,G],[DFE,Entreprise,B,C],[@B-Arbres,[NAT,Nature,A,10,G],"
    "[BA,Fichier,A,10,G]],[@Chainage,[NF,Nature,A,6,G],[@Dépendance,[CHN,Nature,A,10,G],"
    "[CHF,Fichier,A,10,G]]]],[]]";
constexpr const char* kValeurs = "[PS,1,[[R,Donnée Globale,A,30,G],[D,Valeur,A,20,G]],[]]";

std::string Lit(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

class SrvEditionTest : public testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("vesk_edition_" +
            std::string(testing::UnitTest::GetInstance()->current_test_info()->name()));
    fs::remove_all(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::unique_ptr<SrvEditionImpl> Service(std::function<bool()> annule = {}) {
    ConfigEdition c;
    c.dossier = (dir_ / "EDITIONS").string();
    c.sortie = "TXT";
    c.horloge = [] { return platform::DateHeure{2026, 3, 15, 14, 30, 5}; };
    c.annule = std::move(annule);
    return std::make_unique<SrvEditionImpl>(std::move(c));
  }
  // The one text file written by the last Termine.
  std::string Texte(const SrvEditionImpl& s) {
    EXPECT_EQ(s.Ecrits().size(), 1u);
    return s.Ecrits().empty() ? "" : Lit(s.Ecrits()[0]);
  }
  // Compares with the golden file testdata/NAME (rewritten when VESK_REGOLDEN is set).
  void Golden(const std::string& text, const std::string& name) {
    const char* source = std::getenv("VESK_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    const fs::path path = fs::path(source) / "src/srv/report/testdata" / name;
    if (std::getenv("VESK_REGOLDEN") != nullptr) std::ofstream(path, std::ios::binary) << text;
    EXPECT_EQ(text, Lit(path)) << "golden file " << path;
  }

  fs::path dir_;
};

void ExpectErreur(const std::function<void()>& f, const std::string& operation,
                  const std::string& part) {
  try {
    f();
    ADD_FAILURE() << "no error, expected: " << part;
  } catch (const ErreurService& e) {
    EXPECT_EQ(e.Operation(), operation);
    EXPECT_NE(std::string(e.what()).find(part), std::string::npos) << e.what();
  }
}

void Domaine(SrvEdition& s, const std::string& code, const std::string& nom,
             const std::string& fichier, const std::vector<std::string>& lignes) {
  s.EcrCol("CODOM", code, "@", 0, -1, 0);
  s.EcrCol("NOMDOM", nom, "@", 0, -1, 0);
  s.EcrCol("FDD", fichier, "@", 0, -1, 0);
  s.FinLigne();
  s.Saute(1);
  for (const std::string& l : lignes) {
    s.EcrCol("NOMDOM", l, "@", 0, -1, 0);
    s.FinLigne();
  }
  if (lignes.empty()) {
    s.EcrCol("FDD", "Inconnu", "@", 0, -1, 0);
    s.FinLigne();
  }
  s.Saute(2);
}

TEST_F(SrvEditionTest, DomainListingWrapsRepeatsAndNumbersItsPages) {
  auto s = Service();
  s->OuvEdt("EDITION DES DOMAINES DE DEFINITION", "Application TEST", "", "", "", 0, 12, true,
            true);
  s->DefEdt(kDomaines);
  Domaine(*s, "TVA                 ", "Taux de TVA", "TVA.DOM",
          {"[N,Taux normal,20.0]", "[R,Taux réduit,5.5]"});
  Domaine(*s, "PAYS", "Pays de l'Union européenne", "PAYS.DOM",
          {"FR France", "DE Allemagne", "IT Italie", "ES Espagne", "PT Portugal", "BE Belgique",
           "NL Pays-Bas", "LU Luxembourg", "AT Autriche"});
  Domaine(*s, "CODE-TRES-LONG-QUI-DEPASSE-LARGEUR-DE-COLONNE-DE-QUARANTE",
          std::string("Un nom de domaine si long qu'il ne tient pas dans les quatre-vingts "
                      "caractères de sa colonne et doit passer à la ligne"),
          "LONG.DOM", {});
  s->FermeEdt("[]", true);
  s->Termine(0);
  const std::string text = Texte(*s);
  EXPECT_NE(text.find("page 3 / 3"), std::string::npos);
  EXPECT_NE(text.find("PAYS (suite)"), std::string::npos);  // repeated on the next page
  Golden(text, "domaines.txt");
}

TEST_F(SrvEditionTest, FileListingDrawsNestedGroupsAndBooleans) {
  auto s = Service();
  s->OuvEdt("EDITION LISTE DES FICHIERS SPECIFIES", "", "", "", "", 0, 0, false, true);
  s->DefEdt(kFichiers);
  const char* noms[] = {"CLI   ", "FAC   ", "LFAC  "};
  for (int i = 0; i < 3; ++i) {
    s->EcrCol("NOMFIC", noms[i], "@", 0, -1, 0);
    s->EcrCol("DFE", i == 1 ? "O" : " ", "@", 0, -1, 0);
    for (int t = 0; t < i + 1; ++t) {
      s->EcrCol("NAT", t == 0 ? "Primaire" : "Secondaire", "@", 0, -1, 0);
      s->EcrCol("BA", std::string(noms[i]).substr(0, 3) + std::to_string(t + 1), "@", 0, -1, 0);
      if (t == 0 && i > 0) {
        s->EcrCol("NF", i == 1 ? "Entête" : "Ligne", "@", 0, -1, 0);
        s->EcrCol("CHN", i == 1 ? "Ligne" : "Entête", "@", 0, -1, 0);
        s->EcrCol("CHF", i == 1 ? "LFAC" : "FAC", "@", 0, -1, 0);
      }
      s->FinLigne();
    }
    s->FinLigne();  // nothing left to print: no empty line
    s->Saute(1);
  }
  s->FermeEdt("[]", true);
  s->ImprTexte("Liste des Noeuds Libres : [4,9]", "PS", "Arial", "");
  s->ImprTexte("Fin", "GD", "Times New Roman", "C");
  s->Termine(0);
  Golden(Texte(*s), "fichiers.txt");
}

TEST_F(SrvEditionTest, TermineAloneWritesNothingAndOpeningAloneGivesOnePage) {
  auto s = Service();
  EXPECT_NO_THROW(s->Termine(0));
  EXPECT_TRUE(s->Ecrits().empty());
  EXPECT_FALSE(fs::exists(dir_ / "EDITIONS"));

  s->OuvEdt("VIDE", "", "", "", "", 0, 0, true, true);
  s->Termine(0);
  const std::string text = Texte(*s);
  EXPECT_NE(text.find("VIDE"), std::string::npos);
  EXPECT_NE(text.find("page 1 / 1"), std::string::npos);
  EXPECT_EQ(fs::path(s->Ecrits()[0]).filename(), "VIDE_20260315_143005.txt");

  // The same title in the same second gets another name; an abandoned listing writes nothing.
  s->OuvEdt("VIDE", "", "", "", "", 0, 0, true, true);
  s->Termine(0);
  EXPECT_EQ(fs::path(s->Ecrits()[0]).filename(), "VIDE_20260315_143005_2.txt");
  s->OuvEdt("VIDE", "", "", "", "", 0, 0, true, true);
  s->Termine(-1);
  EXPECT_TRUE(s->Ecrits().empty());
  EXPECT_FALSE(s->Ouverte());
}

TEST_F(SrvEditionTest, AFrameNeverClosedIsAbandonedUnlessTheUserCancelled) {
  bool annule = false;
  auto s = Service([&annule] { return annule; });
  // Stopped half-way (the caller met an error): nothing is written, whatever the value.
  s->OuvEdt("MOITIE", "", "", "", "", 0, 0, false, false);
  s->DefEdt(kValeurs);
  s->EcrCol("R", "imprimée", "@", 0, -1, 0);
  s->FinLigne();
  s->EcrCol("R", "remplie", "@", 0, -1, 0);
  s->Termine(0);
  EXPECT_TRUE(s->Ecrits().empty());
  EXPECT_FALSE(s->Ouverte());
  EXPECT_FALSE(fs::exists(dir_ / "EDITIONS"));

  // A second frame declared after a closed one must be closed too.
  s->OuvEdt("DEUX", "", "", "", "", 0, 0, false, false);
  s->DefEdt(kValeurs);
  s->FermeEdt("[]", true);
  s->DefEdt(kValeurs);
  s->Termine(0);
  EXPECT_TRUE(s->Ecrits().empty());

  // Free text lines alone make a whole listing.
  s->OuvEdt("TEXTE", "", "", "", "", 0, 0, false, false);
  s->ImprTexte("seule ligne", "PS", "Arial", "");
  s->Termine(0);
  EXPECT_NE(Texte(*s).find("seule ligne"), std::string::npos);

  // Cancelled by the user inside the frame: what was printed is written, marked.
  s->OuvEdt("ANNULEE", "", "", "", "", 0, 0, false, false);
  s->DefEdt(kValeurs);
  s->EcrCol("R", "avant", "@", 0, -1, 0);
  s->FinLigne();
  annule = true;
  s->Termine(0);
  const std::string text = Texte(*s);
  EXPECT_NE(text.find("avant"), std::string::npos);
  EXPECT_NE(text.find("*** Édition interrompue par l'utilisateur ***"), std::string::npos);
}

TEST_F(SrvEditionTest, RefusesCallsOutOfOrderAndBadArguments) {
  auto s = Service();
  ExpectErreur([&] { s->DefEdt(kValeurs); }, "DefEdt", "aucune édition ouverte");
  ExpectErreur([&] { s->FinLigne(); }, "FinLigne", "aucune édition ouverte");
  ExpectErreur([&] { s->OuvEdt("T", "", "X", "", "", 0, 0, 1, 1); }, "OuvEdt", "orientation « X »");
  ExpectErreur([&] { s->OuvEdt("T", "", "", "DOC", "", 0, 0, 1, 1); }, "OuvEdt", "sortie « DOC »");
  ExpectErreur([&] { s->OuvEdt("T", "", "", "", "x.doc", 0, 0, 1, 1); }, "OuvEdt",
               "extension « .doc »");
  ExpectErreur([&] { s->OuvEdt("T", "", "", "TXT", "x.pdf", 0, 0, 1, 1); }, "OuvEdt",
               "ne convient pas");
  ExpectErreur([&] { s->OuvEdt("T", "", "", "PDF", "", 0, 0, 1, 1); }, "OuvEdt",
               "sortie PDF n'existe pas");
  ExpectErreur([&] { s->OuvEdt("T", "", "", "", "", -1, 0, 1, 1); }, "OuvEdt", "marge");
  ExpectErreur([&] { s->OuvEdt("T\x01", "", "", "", "", 0, 0, 1, 1); }, "OuvEdt",
               "caractère de contrôle en position 2");
  EXPECT_FALSE(s->Ouverte());

  s->OuvEdt("T", "", "", "", "", 0, 0, true, true);
  ExpectErreur([&] { s->OuvEdt("U", "", "", "", "", 0, 0, 1, 1); }, "OuvEdt", "encore ouverte");
  ExpectErreur([&] { s->EcrCol("R", "x", "@", 0, -1, 0); }, "EcrCol", "aucun cadre déclaré");
  ExpectErreur([&] { s->DefEdt("[PS,1,[[R,a,A,4,Q]],[]]"); }, "DefEdt", "cadrage « Q »");
  s->DefEdt(kValeurs);
  ExpectErreur([&] { s->EcrCol("X", "x", "@", 0, -1, 0); }, "EcrCol",
               "colonne « X » inconnue dans le cadre (colonnes : R, D)");
  ExpectErreur([&] { s->EcrCol("R", "x", "#", 0, -1, 0); }, "EcrCol", "option « # »");
  ExpectErreur([&] { s->EcrCol("R", "a\xC3", "@", 0, -1, 0); }, "EcrCol", "UTF-8 incorrect");
  ExpectErreur([&] { s->ImprTexte("x", "PX", "Arial", ""); }, "ImprTexte", "style « PX »");
  ExpectErreur([&] { s->ImprTexte("x", "PS", "Comic Sans", ""); }, "ImprTexte",
               "police « Comic Sans »");
  ExpectErreur([&] { s->ImprTexte("x", "PS", "Arial", "CD"); }, "ImprTexte", "un seul cadrage");
  ExpectErreur([&] { s->ImprTexte("x", "PS", "Arial", "Z"); }, "ImprTexte", "option « Z »");
  ExpectErreur([&] { s->Saute(-2); }, "Saute", "négatif");
  s->EcrCol("R", "en cours", "@", 0, -1, 0);
  ExpectErreur([&] { s->DefEdt(kValeurs); }, "DefEdt", "FinLigne manquant");
  ExpectErreur([&] { s->FermeEdt("[a,b,c]", true); }, "FermeEdt", "3 éléments");
  ExpectErreur([&] { s->FermeEdt("[a,b", true); }, "FermeEdt", "caractère 5");
  s->FermeEdt("[Total,2]", true);  // the line in progress is printed first, then the total
  s->Termine(0);
  const std::string text = Texte(*s);
  EXPECT_LT(text.find("en cours"), text.find("Total"));
}

TEST_F(SrvEditionTest, PrintsNumbersAndBooleansByColumnType) {
  auto s = Service();
  s->OuvEdt("T", "", "", "", "", 0, 0, false, false);
  s->DefEdt("[PS,1,[[M,Montant,N,9,2,D],[B,Actif,B,C],[E,Entier,N,4,0,D]],[]]");
  const std::pair<const char*, const char*> nombres[] = {
      {" 12", "12,00"}, {"-3.5", "-3,50"}, {"0007,10", "7,10"}, {"-0", "0,00"}, {"  ", ""}};
  for (const auto& [texte, attendu] : nombres) {
    s->EcrCol("M", texte, "", 0, -1, 0);
    s->FinLigne();
    (void)attendu;
  }
  for (const char* b : {"O", "-1", "oui", "N", "0", " "}) {
    s->EcrCol("B", b, "@", 0, -1, 0);
    s->FinLigne();
  }
  ExpectErreur([&] { s->EcrCol("M", "12,345", "", 0, -1, 0); }, "EcrCol", "plus de 2 décimale");
  ExpectErreur([&] { s->EcrCol("E", "1.5", "", 0, -1, 0); }, "EcrCol", "plus de 0 décimale");
  ExpectErreur([&] { s->EcrCol("M", "12a", "", 0, -1, 0); }, "EcrCol", "« 12a » n'est pas un");
  ExpectErreur([&] { s->EcrCol("B", "peut-être", "@", 0, -1, 0); }, "EcrCol",
               "valeur booléenne « peut-être »");
  s->FermeEdt("[]", false);
  s->Termine(0);
  const std::string text = Texte(*s);
  for (const auto& [texte, attendu] : nombres) {
    if (*attendu != 0) {
      EXPECT_NE(text.find(std::string(attendu) + " |"), std::string::npos) << attendu;
    }
  }
  EXPECT_NE(text.find("|     -3,50 |"), std::string::npos);
  size_t oui = 0, non = 0;
  for (size_t p = 0; (p = text.find(" Oui ", p)) != std::string::npos; ++p) ++oui;
  for (size_t p = 0; (p = text.find(" Non ", p)) != std::string::npos; ++p) ++non;
  EXPECT_EQ(oui, 3u);
  EXPECT_EQ(non, 3u);
}

TEST_F(SrvEditionTest, CancellationStopsTheListingAndKeepsWhatWasPrinted) {
  int lignes = 0;
  auto s = Service([&lignes] { return lignes >= 3; });
  fs::create_directories(dir_);
  s->OuvEdt("LONGUE", "", "", "", (dir_ / "longue.txt").string(), 0, 0, false, true);
  s->DefEdt(kValeurs);
  for (int i = 0; i < 10; ++i) {
    s->EcrCol("R", "Ligne " + std::to_string(i), "@", 0, -1, 0);
    ++lignes;
    s->FinLigne();
  }
  s->EcrCol("INCONNUE", "ignorée après l'interruption", "@", 0, -1, 0);
  s->ImprTexte("jamais imprimé", "PS", "Arial", "");
  s->FermeEdt("[]", true);
  s->Termine(0);
  ASSERT_EQ(s->Ecrits().size(), 1u);
  EXPECT_EQ(s->Ecrits()[0], (dir_ / "longue.txt").string());
  const std::string text = Texte(*s);
  EXPECT_NE(text.find("Ligne 2"), std::string::npos);
  EXPECT_EQ(text.find("Ligne 3"), std::string::npos);
  EXPECT_EQ(text.find("jamais"), std::string::npos);
  EXPECT_NE(text.find("*** Édition interrompue par l'utilisateur ***"), std::string::npos);
  // A folder that does not exist is named in the error.
  s->OuvEdt("T", "", "", "", (dir_ / "absent" / "x.txt").string(), 0, 0, false, false);
  ExpectErreur([&] { s->Termine(0); }, "Termine", (dir_ / "absent" / "x.txt").string());
}

TEST_F(SrvEditionTest, ExplicitPathTakesItsFormatAndBothFormatsShareAStem) {
  ConfigEdition c;
  c.dossier = (dir_ / "E").string();
  c.sortie = "TXT";
  c.fichier_impose = (dir_ / "impose").string();
  SrvEditionImpl s(std::move(c));
  fs::create_directories(dir_);
  s.OuvEdt("T", "", "", "", "autre.txt", 0, 0, false, false);
  s.Termine(0);
  ASSERT_EQ(s.Ecrits().size(), 1u);
  EXPECT_EQ(s.Ecrits()[0], (dir_ / "impose.txt").string());
  EXPECT_TRUE(fs::exists(dir_ / "impose.txt"));
  EXPECT_FALSE(fs::exists(dir_ / "impose.txt.tmp"));
}

TEST_F(SrvEditionTest, WriteFailureIsAnErrorAndFreesTheService) {
  auto s = Service();
  fs::create_directories(dir_);
  std::ofstream(dir_ / "EDITIONS") << "un fichier, pas un dossier";
  s->OuvEdt("T", "", "", "", "", 0, 0, false, false);
  ExpectErreur([&] { s->Termine(0); }, "Termine", "EDITIONS");
  EXPECT_FALSE(s->Ouverte());
  s->OuvEdt("T", "", "", "", (dir_ / "ok.txt").string(), 0, 0, false, false);
  s->Termine(0);
  EXPECT_EQ(s->Ecrits().size(), 1u);
}

// What a progress display is told: each phase as "label total -> last units done" once it ends.
class SuiviNote : public SuiviProgression {
 public:
  explicit SuiviNote(std::shared_ptr<std::vector<std::string>> notes) : notes_(std::move(notes)) {}
  void Debut(std::string_view libelle, int64_t total) override {
    EXPECT_TRUE(phase_.empty()) << "phase " << phase_ << " never ended";
    phase_ = std::string(libelle) + " " + std::to_string(total);
    fait_ = -1;
  }
  void Avance(int64_t fait) override {
    EXPECT_GE(fait, fait_) << phase_;
    fait_ = fait;
  }
  void Fin() override {
    notes_->push_back(phase_ + " -> " + std::to_string(fait_));
    phase_.clear();
  }

 private:
  std::shared_ptr<std::vector<std::string>> notes_;
  std::string phase_;
  int64_t fait_ = -1;
};

// A listing tells its layout, call by call, then its pages, file by file; a failed write still
// ends its phase, so that a bar on the terminal is erased.
TEST_F(SrvEditionTest, TheWritingOfAListingToldPhaseByPhase) {
  auto notes = std::make_shared<std::vector<std::string>>();
  auto service = [&](std::string sortie) {
    ConfigEdition c;
    c.dossier = (dir_ / "EDITIONS").string();
    c.sortie = std::move(sortie);
    c.suivi = [notes] { return std::make_unique<SuiviNote>(notes); };
    return std::make_unique<SrvEditionImpl>(std::move(c));
  };
  auto s = service("TXT");
  s->OuvEdt("DOMAINES", "", "", "", "", 0, 12, false, true);
  s->DefEdt(kDomaines);
  for (int i = 0; i < 20; ++i) Domaine(*s, "D" + std::to_string(i), "Nom", "F.DOM", {"a", "b"});
  s->FermeEdt("[]", true);
  s->Termine(0);
  ASSERT_EQ(notes->size(), 2u);
  const std::string mise_en_page = (*notes)[0];
  const size_t fleche = mise_en_page.find(" -> ");
  EXPECT_EQ(mise_en_page.substr(0, 13), "Mise en page ");
  EXPECT_EQ(mise_en_page.substr(13, fleche - 13), mise_en_page.substr(fleche + 4));
  const std::string fichier = fs::path(s->Ecrits().at(0)).filename().string();
  const std::string texte = Texte(*s);
  const std::string pages = std::to_string(std::count(texte.begin(), texte.end(), '\f') + 1);
  EXPECT_EQ((*notes)[1], "Écriture " + fichier + " " + pages + " -> " + pages);
  EXPECT_GT(std::stoi(pages), 5);

  notes->clear();
  fs::create_directories(dir_ / "bloque.txt.tmp");  // the temporary file cannot be made
  s = service("TXT");
  s->OuvEdt("T", "", "", "", (dir_ / "bloque.txt").string(), 0, 0, false, false);
  EXPECT_THROW(s->Termine(0), ErreurService);
  ASSERT_EQ(notes->size(), 2u);
  EXPECT_EQ((*notes)[1].rfind("Écriture bloque.txt ", 0), 0u) << (*notes)[1];
}

}  // namespace
}  // namespace vesk

namespace vesk {
namespace {

// SortieSuivante imposes the output of one listing: on the screen nothing is written and the
// viewer receives the text; the listing after it takes the configured output again.
TEST(SortieSuivante, ImposesTheOutputOfTheNextListingOnly) {
  const fs::path dir = fs::temp_directory_path() / "vesk_edition_sortie_suivante";
  fs::remove_all(dir);
  std::vector<std::pair<std::string, std::string>> vus;
  ConfigEdition c;
  c.dossier = (dir / "EDITIONS").string();
  c.sortie = "TXT";
  c.horloge = [] { return platform::DateHeure{2026, 3, 15, 14, 30, 5}; };
  c.visionne = [&vus](std::string_view titre, std::string_view texte) {
    vus.emplace_back(titre, texte);
  };
  SrvEditionImpl s(std::move(c));
  s.SortieSuivante("ecran");
  s.OuvEdt("SPECIFICATIONS", "", "", "", "", 0, 0, false, true);
  s.ImprTexte("Longueur :  64", "PD", "Arial", "");
  s.Termine(0);
  ASSERT_EQ(vus.size(), 1u);
  EXPECT_EQ(vus[0].first, "SPECIFICATIONS");
  EXPECT_NE(vus[0].second.find("Longueur :  64"), std::string::npos) << vus[0].second;
  EXPECT_TRUE(s.Ecrits().empty());
  EXPECT_FALSE(fs::exists(dir / "EDITIONS"));
  s.OuvEdt("SPECIFICATIONS", "", "", "", "", 0, 0, false, true);
  s.Termine(0);
  EXPECT_EQ(vus.size(), 1u);
  EXPECT_EQ(s.Ecrits().size(), 1u);  // as configured: a text file
  ExpectErreur([&] { s.SortieSuivante("PDF"); }, "SortieSuivante", "PDF");  // no PDF renderer
  ExpectErreur([&] { s.SortieSuivante("DOC"); }, "SortieSuivante", "DOC");
  SrvEditionImpl sans_ecran(ConfigEdition{});
  ExpectErreur([&] { sans_ecran.SortieSuivante("ECRAN"); }, "SortieSuivante", "aucun écran");
  fs::remove_all(dir);
}

}  // namespace
}  // namespace vesk
