// The PDF listings read back with poppler (pdftotext, pdfinfo); skipped when the tools are
// absent.
#include "srv/report/pdf/pdf_renderer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "srv/erreur_service.h"
#include "srv/report/srv_edition_impl.h"

namespace vesk {
namespace {

namespace fs = std::filesystem;

// Standard output of a shell command, "" when it fails.
std::string Shell(const std::string& command) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return out;
  char buffer[4096];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
  return pclose(pipe) == 0 ? out : "";
}

// The value of one "Name: value" line of pdfinfo's output.
std::string InfoValue(const std::string& info, const std::string& name) {
  const size_t at = ("\n" + info).find("\n" + name + ":");
  if (at == std::string::npos) return "";
  const size_t begin = info.find_first_not_of(' ', at + name.size() + 1);
  return info.substr(begin, info.find('\n', begin) - begin);
}

bool Poppler() {
  return std::system("pdftotext -v >/dev/null 2>&1 && pdfinfo -v >/dev/null 2>&1") == 0;
}

class PdfListingTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!Poppler()) GTEST_SKIP() << "poppler-utils (pdftotext, pdfinfo) absent";
    dir_ =
        fs::temp_directory_path() /
        ("vesk_pdf_" + std::string(testing::UnitTest::GetInstance()->current_test_info()->name()));
    fs::remove_all(dir_);
    ConfigEdition c;
    c.dossier = (dir_ / "EDITIONS").string();
    c.horloge = [] { return platform::DateHeure{2026, 3, 15, 14, 30, 5}; };
    c.pdf = report::MakePdfRenderer();
    service_ = std::make_unique<SrvEditionImpl>(std::move(c));
  }
  void TearDown() override {
    if (std::getenv("VESK_KEEP_PDF") == nullptr) fs::remove_all(dir_);
  }
  std::string Text(const std::string& pdf) { return Shell("pdftotext -layout '" + pdf + "' -"); }
  std::string Info(const std::string& pdf) { return Shell("pdfinfo '" + pdf + "'"); }

  fs::path dir_;
  std::unique_ptr<SrvEditionImpl> service_;
};

TEST_F(PdfListingTest, DomainListingIsLandscapeWithHeadingsOnEveryPage) {
  SrvEdition& s = *service_;
  s.OuvEdt("EDITION DES DOMAINES DE DEFINITION", "", "", "", "", 0, 0, true, true);
  s.DefEdt(
      "[PS,1,[[CODOM,CODE DOMAINE,A,40,G,[A,E]],[NOMDOM,NOM ET DEFINITION DU DOMAINE,A,80,G,[A]],"
      "[FDD,FICHIER,A,20,G,[A,E]]],[]]");
  for (int d = 0; d < 6; ++d) {
    s.EcrCol("CODOM", "DOMAINE" + std::to_string(d), "@", 0, -1, 0);
    s.EcrCol("NOMDOM", "Définition numéro " + std::to_string(d) + " — éàçù", "@", 0, -1, 0);
    s.EcrCol("FDD", "DOM" + std::to_string(d) + ".DOM", "@", 0, -1, 0);
    s.FinLigne();
    s.Saute(1);
    for (int l = 0; l < 12; ++l) {
      s.EcrCol("NOMDOM", "Valeur " + std::to_string(d) + "." + std::to_string(l), "@", 0, -1, 0);
      s.FinLigne();
    }
    s.Saute(2);
  }
  s.FermeEdt("[]", true);
  s.Termine(0);
  ASSERT_EQ(service_->Ecrits().size(), 1u);
  const std::string pdf = service_->Ecrits()[0];
  EXPECT_EQ(fs::path(pdf).filename(), "EDITION_DES_DOMAINES_DE_DEFINITION_20260315_143005.pdf");
  const std::string info = Info(pdf);
  EXPECT_EQ(InfoValue(info, "Pages"), "2") << info;
  EXPECT_EQ(InfoValue(info, "Page size"), "841.89 x 595.28 pts (A4)") << info;
  EXPECT_EQ(InfoValue(info, "Title"), "EDITION DES DOMAINES DE DEFINITION");
  const std::string text = Text(pdf);
  EXPECT_NE(text.find("page 1 / 2"), std::string::npos);
  EXPECT_NE(text.find("page 2 / 2"), std::string::npos);
  EXPECT_NE(text.find("15/03/2026 14:30"), std::string::npos);
  EXPECT_NE(text.find("Définition numéro 5 — éàçù"), std::string::npos);
  EXPECT_NE(text.find("Valeur 5.11"), std::string::npos);
  size_t headings = 0;
  for (size_t p = 0; (p = text.find("NOM ET DEFINITION DU DOMAINE", p)) != std::string::npos; ++p) {
    ++headings;
  }
  EXPECT_EQ(headings, 2u);
}

TEST_F(PdfListingTest, NarrowFrameIsPortraitAndTextLinesKeepTheirAccents) {
  SrvEdition& s = *service_;
  fs::create_directories(dir_);
  s.OuvEdt("EDITION SPECIFICATIONS FICHIER CLI.DAT", "Sous-titre", "", "PDF+TXT",
           (dir_ / "sortie").string(), 0, 0, false, true);
  s.ImprTexte("Longueur : 128 - No Canal : CLID%", "PD", "Arial", "");
  s.ImprTexte("Dépendance Par Entreprise", "GS", "Arial", "");
  s.DefEdt(
      "[PS,1,[[NO,NO,N,3,0,D],[NRUB,RUBRIQUE/EXEMPLE,A,40,G],[@FORMAT,[FORMAT,TYPE/LONG,A,9,G],"
      "[FORMINT,INTERNE,A,6,C]],[NOMVAR,VARIABLE,A,16,G],[TYPEMOD,M,A,1,G],"
      "[CODOM,CODE DOMAINE,A,20,G],[@POSITION,[DEB,DEBUT,N,5,0,D],[FIN,FIN,N,5,0,D]]],[]]");
  s.EcrCol("NO", " 1", "@", 0, -1, 0);
  s.EcrCol("NRUB", "CODE CLIENT", "@", 0, -1, 0);
  s.EcrCol("FORMAT", "Chaîne", "@", 0, -1, 0);
  s.EcrCol("FORMINT", "A6", "@", 0, -1, 0);
  s.EcrCol("NOMVAR", "CODECLI$", "@", 0, -1, 0);
  s.EcrCol("CODOM", "Prédéfini", "@", 0, -1, 0);
  s.EcrCol("DEB", " 1", "@", 0, -1, 0);
  s.EcrCol("FIN", " 6", "@", 0, -1, 0);
  s.FinLigne();
  s.FermeEdt("[]", true);
  s.Termine(0);
  ASSERT_EQ(service_->Ecrits().size(), 2u);
  EXPECT_EQ(service_->Ecrits()[0], (dir_ / "sortie.pdf").string());
  EXPECT_EQ(service_->Ecrits()[1], (dir_ / "sortie.txt").string());
  const std::string info = Info(service_->Ecrits()[0]);
  EXPECT_EQ(InfoValue(info, "Page size"), "595.28 x 841.89 pts (A4)") << info;
  EXPECT_EQ(InfoValue(info, "Pages"), "1") << info;
  const std::string text = Text(service_->Ecrits()[0]);
  for (const char* part : {"EDITION SPECIFICATIONS FICHIER CLI.DAT", "Sous-titre", "page 1 / 1",
                           "Dépendance Par Entreprise", "RUBRIQUE/EXEMPLE", "POSITION", "DEBUT",
                           "CODE CLIENT", "Chaîne", "Prédéfini", "CODECLI$"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
  }
}

// The left edge of the first word w in pdftotext's -bbox output, or -1.
double Gauche(const std::string& bbox, const std::string& w) {
  const size_t p = bbox.find(">" + w + "</word>");
  if (p == std::string::npos) return -1;
  const size_t x = bbox.rfind("xMin=\"", p);
  return std::stod(bbox.substr(x + 6));
}

TEST_F(PdfListingTest, AContinuationStartsUnderTheCharactersItsSpacesStandFor) {
  SrvEdition& s = *service_;
  fs::create_directories(dir_);
  s.OuvEdt("SUITE", "", "", "PDF", (dir_ / "suite").string(), 0, 0, false, false);
  const std::string debut = "Construction de la Clé : ";
  const std::string marge(24 + 1, ' ');  // "Clé" counts 3 characters
  s.ImprTexte(debut + "[PREMIER,1,9], [DEUX,1,9],", "MS", "Arial", "");
  s.ImprTexte(marge + "[TROIS,1,9],", "MS", "Arial", "R");
  s.ImprTexte(marge + "[QUATRE,1,9]", "MS", "Arial", "R");
  s.ImprTexte(marge + "[SANS,1,9]", "MS", "Arial", "");  // spaces as they are
  s.Termine(0);
  const std::string bbox = Shell("pdftotext -bbox '" + service_->Ecrits()[0] + "' -");
  const double premier = Gauche(bbox, "[PREMIER,1,9],");
  ASSERT_GT(premier, 0) << bbox;
  EXPECT_NEAR(Gauche(bbox, "[TROIS,1,9],"), premier, 0.5) << bbox;
  EXPECT_NEAR(Gauche(bbox, "[QUATRE,1,9]"), premier, 0.5) << bbox;
  EXPECT_LT(Gauche(bbox, "[SANS,1,9]"), premier - 10) << bbox;  // Arial's spaces are narrow
}

TEST_F(PdfListingTest, UnwritablePathIsAnError) {
  SrvEdition& s = *service_;
  s.OuvEdt("T", "", "", "", "/proc/vesk-interdit/x.pdf", 0, 0, false, false);
  EXPECT_THROW(s.Termine(0), ErreurService);
  EXPECT_FALSE(service_->Ouverte());
}

}  // namespace
}  // namespace vesk
