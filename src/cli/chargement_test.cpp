#include "cli/chargement.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/affichage.h"
#include "platform/platform.h"
#include "srv/erreur_service.h"

namespace vesk::cli {
namespace {

// What reading a text gives: the values, or the error's object ("FILE, ligne N") and message.
struct Resultat {
  std::string valeurs;
  std::string objet;
  std::string message;
};

template <typename Lecture>
Resultat Essaie(Lecture lecture) {
  Configuration config;
  config.dossier = "/d";
  try {
    lecture(config);
  } catch (const ErreurService& e) {
    return {"", e.Objet(), e.Message()};
  }
  return {DecritConfiguration(config), "", ""};
}

Resultat AvecInih(std::string_view texte) {
  return Essaie([&](Configuration& c) { LitIni(texte, "/d/vesk.ini", c); });
}

Resultat AvecLecteurPortable(std::string_view texte) {
  return Essaie([&](Configuration& c) {
    LecteurConfiguration lecteur(c, "/d/vesk.ini");
    LitConfiguration(texte, lecteur);
  });
}

// The hosts read vesk.ini with inih, the portable reader serves the others: both must take the
// same files and refuse the same lines with the same reasons.
TEST(ChargementTest, InihAndPortableReaderAgree) {
  const char* textes[] = {
      "",
      "\xEF\xBB\xBF[vesk]\r\napplication = Paie ; commentaire\r\nsynchro : off\r\n",
      "# x\n; y\nentreprise=S1\n\n[VESK]\nseparateur_csv=;\neditions = E\n",
      "separateur_csv = ;\n",
      "separateur_csv = \";\" ; point-virgule\napplication =;x\n",
      "[vesk]\n  synchro = off\n",
      "separateur_csv = \"\t\"\napplication = \"a;b\"\n",
      "application = A\nimprimante = B\n",
      "[autre]\nsynchro = off\n",
      "synchro = off\nsynchro = full\n",
      "synchro = off\n  suite\n",
      "application = A\nsans egal\n",
      "[vesk\nsynchro = off\n",
      "synchro = lent\n",
      "application = \xC3\n",
      "application = \"ouvert\n",
  };
  for (const char* texte : textes) {
    Resultat inih = AvecInih(texte);
    Resultat portable = AvecLecteurPortable(texte);
    EXPECT_EQ(inih.valeurs, portable.valeurs) << texte;
    EXPECT_EQ(inih.objet, portable.objet) << texte;
    if (inih.message.find("ligne illisible") == std::string::npos) {
      EXPECT_EQ(inih.message, portable.message) << texte;
    }
  }
}

TEST(ChargementTest, OverlongLineIsRefusedNotCut) {
  std::string texte = "synchro = off\napplication = " + std::string(300, 'x') + "\n";
  Resultat r = AvecInih(texte);
  EXPECT_EQ(r.objet, "/d/vesk.ini, ligne 2");
  EXPECT_NE(r.message.find("trop longue"), std::string::npos);
  EXPECT_EQ(AvecInih("application = " + std::string(184, 'x') + "\n").objet, "");
}

class DossierTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dossier_ = std::filesystem::temp_directory_path() /
               ("vesk_cli_" + std::to_string(platform::HorlogeNs()));
    std::filesystem::create_directory(dossier_);
    options_.data = dossier_.string();
  }
  void TearDown() override { std::filesystem::remove_all(dossier_); }
  void Ini(std::string_view texte) { std::ofstream(dossier_ / "vesk.ini") << texte; }

  std::filesystem::path dossier_;
  OptionsLigne options_;
};

TEST_F(DossierTest, FileThenOptionsAndDefaultsWithoutFile) {
  Configuration config = ChargeConfiguration(options_);
  EXPECT_EQ(config.dossier, dossier_.string());
  EXPECT_EQ(config.entreprise, "");

  Ini("application = Stocks\nentreprise = E1\n");
  options_.entreprise = "E2";
  config = ChargeConfiguration(options_);
  EXPECT_EQ(config.application, "Stocks");
  EXPECT_EQ(config.entreprise, "E2");

  options_.entreprise = "E/2";
  try {
    ChargeConfiguration(options_);
    FAIL() << "entreprise acceptée";
  } catch (const ErreurService& e) {
    EXPECT_EQ(e.Objet(), "--entreprise");
  }
}

TEST_F(DossierTest, BadFileNamesPathAndLine) {
  Ini("[vesk]\n\nsynchro = parfois\n");
  try {
    ChargeConfiguration(options_);
    FAIL() << "fichier accepté";
  } catch (const ErreurService& e) {
    EXPECT_EQ(e.Objet(), (dossier_ / "vesk.ini").string() + ", ligne 3");
    EXPECT_NE(e.Message().find("« synchro »"), std::string::npos);
  }
}

// The command line shows anomaly reports on the error stream while they go to the log.
TEST_F(DossierTest, AnomaliesAreShownOnTheErrorStream) {
  std::ostringstream erreurs;
  SrvAnomalieImpl anomalies(ChargeConfiguration(options_), AfficheurAnomalies(erreurs));
  anomalies.Signale("@ CLI@ Inconnue ", "DéclarationFichier");
  EXPECT_EQ(erreurs.str(), "vesk : anomalie : @ CLI@ Inconnue \n");
  EXPECT_TRUE(std::filesystem::exists(dossier_ / "ANOMALIES.LOG"));
}

}  // namespace
}  // namespace vesk::cli
