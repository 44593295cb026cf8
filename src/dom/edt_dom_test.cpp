// The domain listing, read back as text.
#include <gtest/gtest.h>

#include "dom/testing/domaines.h"
#include "srv/erreur_service.h"

namespace vesk::dom {
namespace {

namespace fs = std::filesystem;

class EdtDomTest : public DomainesEssai {
 protected:
  // Writes a domain directly, as the entry screen would.
  void Domaine(const std::string& code, const std::string& nom, const std::string& fdd) {
    Session& etat = Etat();
    etat.dom.Affecte(kCoDom, code);
    etat.dom.Affecte(kNomDom, nom);
    etat.dom.Affecte(kFdd, fdd);
    int32_t e = 0;
    etat.BArbre().Insere(etat.dom_arbre, etat.dom[kCoDom], etat.dom_fichier, e);
  }
  // The listings written by the last Termine.
  std::vector<std::string> Ecrits() {
    auto* edition = dynamic_cast<SrvEditionImpl*>(&Etat().Edition());
    return edition == nullptr ? std::vector<std::string>{} : edition->Ecrits();
  }
  std::string Listing() {
    std::vector<std::string> ecrits = Ecrits();
    EXPECT_EQ(ecrits.size(), 1u);
    return ecrits.empty() ? "" : Contenu(ecrits[0]);
  }
  void Golden(const std::string& texte, const std::string& nom) {
    const char* source = std::getenv("VESK_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    const fs::path chemin = fs::path(source) / "src/dom/testdata" / nom;
    if (std::getenv("VESK_REGOLDEN") != nullptr) std::ofstream(chemin, std::ios::binary) << texte;
    EXPECT_EQ(texte, Contenu(chemin)) << "fichier de référence " << chemin;
  }
};

TEST_F(EdtDomTest, DomainsInCodeOrderWithTheirDefinitionFiles) {
  auto ass = Ouvre("");
  Domaine("TVA", "Taux de TVA", "TVA");
  Domaine("REGLT", "Conditions de règlement", "REGLT");
  Domaine("PAYS", "Codes pays", "PAYS");
  Domaine("DEVISE", "Devises", "DEV");
  Domaine("AAA", "Premier", "AAA");
  EcritDom("TVA", "N : Taux normal 20,00 %\r\nR : Taux réduit 5,50 %\r\n");
  EcritDom("PAYS", "FR France\nBE Belgique");
  EcritDom("REGLT", "");  // empty: the domain's line and the blank lines only
  EcritDom("aaa", "lower case file name\r\n");
  ass->EdtDom();
  EXPECT_EQ(session_->Transcription(),
            "TitreEdition «EDITION DES DOMAINES DE DEFINITION»\nFinTitreEdition\n");
  EXPECT_EQ(*termines_, std::vector<int16_t>{0});
  const std::string texte = Listing();
  size_t precedent = 0;
  for (const char* code : {"| AAA ", "| DEVISE ", "| PAYS ", "| REGLT ", "| TVA "}) {
    size_t position = texte.find(code);
    EXPECT_NE(position, std::string::npos) << code;
    EXPECT_GT(position, precedent) << code;
    precedent = position;
  }
  EXPECT_NE(texte.find("| DEV.DOM "), std::string::npos);
  Golden(texte, "domaines.txt");
}

TEST_F(EdtDomTest, NoDomainOpensNothing) {
  auto ass = Ouvre("");
  ass->EdtDom();
  EXPECT_EQ(session_->Transcription(), "");
  EXPECT_EQ(*termines_, std::vector<int16_t>{0});  // only the closing call
  EXPECT_TRUE(Ecrits().empty());
  EXPECT_FALSE(fs::exists(dossier_ / "EDITIONS"));
  auto* edition = dynamic_cast<SrvEditionImpl*>(&Etat().Edition());
  ASSERT_NE(edition, nullptr);
  EXPECT_FALSE(edition->Ouverte());
}

TEST_F(EdtDomTest, CancellationStopsTheListingWhichIsStillEnded) {
  auto ass = Ouvre("cancel\n");
  Domaine("A", "Premier", "A");
  Domaine("B", "Second", "B");
  EcritDom("A", "un\ndeux\ntrois\n");
  ass->EdtDom();
  EXPECT_EQ(session_->Restantes(), 0u);
  EXPECT_EQ(session_->Transcription(),
            "TitreEdition «EDITION DES DOMAINES DE DEFINITION»\nAnnule -> oui\nFinTitreEdition\n");
  // Cancelled as soon as the frame is declared: the listing is still ended and written.
  const std::string texte = Listing();
  EXPECT_NE(texte.find("Édition interrompue"), std::string::npos) << texte;
  EXPECT_EQ(texte.find("| A "), std::string::npos) << texte;

  Ouvre("");  // the listing service is free again, and the text file was closed
  ass->EdtDom();
  EXPECT_NE(Listing().find("| trois"), std::string::npos);
}

TEST_F(EdtDomTest, CancellationIsAskedAfterEachPrintedLine) {
  // Polls: after DefEdt (1), then after each line, by the listing service and by the component:
  // the 8th comes after "deux".
  for (int au = 1; au <= 8; ++au) {
    auto ass = Ouvre("", au);
    Domaine("A", "Premier", "A");
    Domaine("B", "Second", "B");
    EcritDom("A", "un\ndeux\ntrois\n");
    ass->EdtDom();
    const std::string texte = Listing();
    EXPECT_EQ(texte.find("| A ") != std::string::npos, au > 1) << au << texte;
    EXPECT_EQ(texte.find("| B "), std::string::npos) << au << texte;
    EXPECT_EQ(texte.find("trois"), std::string::npos) << au << texte;
    EXPECT_NE(texte.find("Édition interrompue"), std::string::npos) << au << texte;
    OublieEtat();
    std::filesystem::remove_all(dossier_);
    std::filesystem::create_directories(dossier_);
  }
}

TEST_F(EdtDomTest, AFailureAbandonsTheListingAndEndsTheCommand) {
  auto ass = Ouvre("");
  Domaine("A", "Premier", "A");
  Domaine("B", "Mauvais", "../B");  // not written by the entry screen, which refuses it
  EcritDom("A", "une ligne\n");
  try {
    ass->EdtDom();
    ADD_FAILURE() << "pas d'erreur";
  } catch (const ErreurService& e) {
    EXPECT_NE(std::string(e.what()).find("../B.DOM"), std::string::npos) << e.what();
  }
  // Closed with 0 as on every path: the service itself abandons the half-printed listing.
  EXPECT_EQ(*termines_, std::vector<int16_t>{0});
  EXPECT_TRUE(Ecrits().empty());
  EXPECT_FALSE(fs::exists(dossier_ / "EDITIONS"));
  EXPECT_EQ(session_->Transcription(),
            "TitreEdition «EDITION DES DOMAINES DE DEFINITION»\nFinTitreEdition\n");
  auto* edition = dynamic_cast<SrvEditionImpl*>(&Etat().Edition());
  ASSERT_NE(edition, nullptr);
  EXPECT_FALSE(edition->Ouverte());
}

}  // namespace
}  // namespace vesk::dom
