#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "srv/log/srv_anomalie_impl.h"
#include "srv/log/srv_journal_impl.h"

namespace vesk {
namespace {

class LogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dossier_ = std::filesystem::temp_directory_path() /
               ("vesk_log_" + std::to_string(platform::HorlogeNs()));
    ASSERT_TRUE(std::filesystem::create_directory(dossier_));
    config_.dossier = dossier_.string();
  }
  void TearDown() override { std::filesystem::remove_all(dossier_); }

  std::vector<std::string> Lignes(std::string_view nom) {
    std::ifstream in(config_.CheminDonnees(nom), std::ios::binary);
    std::stringstream tout;
    tout << in.rdbuf();
    std::string texte = tout.str();
    EXPECT_TRUE(texte.empty() || texte.back() == '\n') << "dernière ligne sans LF";
    std::vector<std::string> lignes;
    std::string ligne;
    while (std::getline(tout, ligne)) lignes.push_back(ligne);
    return lignes;
  }

  std::filesystem::path dossier_;
  Configuration config_;
};

const std::regex kDate(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2} )");

bool Date(const std::string& ligne) {
  return std::regex_search(ligne.substr(0, 20), kDate, std::regex_constants::match_continuous);
}

TEST_F(LogTest, ReportsAreAppendedKeptAndShown) {
  {
    std::ofstream(config_.CheminDonnees("ANOMALIES.LOG"), std::ios::binary)
        << "2024-01-01 00:00:00 X : ancienne\n";
  }
  std::vector<Rapport> vus;
  SrvAnomalieImpl anomalies(config_, [&](const Rapport& r) { vus.push_back(r); });
  anomalies.Signale("@ CLIENT@ Inconnue ", "DéclarationFichier");
  anomalies.Signale("@IF@ Type Instruction non Retrouvé ", "RechDecalPrecedent");

  std::vector<std::string> lignes = Lignes("ANOMALIES.LOG");
  ASSERT_EQ(lignes.size(), 3u);
  EXPECT_EQ(lignes[0], "2024-01-01 00:00:00 X : ancienne");
  EXPECT_TRUE(Date(lignes[1])) << lignes[1];
  EXPECT_EQ(lignes[1].substr(20), "DéclarationFichier : @ CLIENT@ Inconnue ");
  EXPECT_EQ(lignes[2].substr(20), "RechDecalPrecedent : @IF@ Type Instruction non Retrouvé ");

  ASSERT_EQ(vus.size(), 2u);
  EXPECT_EQ(vus[1].procedure, "RechDecalPrecedent");
  EXPECT_EQ(vus[1].message, "@IF@ Type Instruction non Retrouvé ");
  EXPECT_EQ(vus[1].horodatage, lignes[2].substr(0, 19));
  ASSERT_EQ(anomalies.Rapports().size(), 2u);
  anomalies.OublieRapports();
  EXPECT_TRUE(anomalies.Rapports().empty());
}

TEST_F(LogTest, EveryEntryStaysOneLine) {
  SrvAnomalieImpl anomalies(config_, nullptr);
  anomalies.Signale("@ deux\r\nlignes\t\xFF fin", "Proc\n");
  std::vector<std::string> lignes = Lignes("ANOMALIES.LOG");
  ASSERT_EQ(lignes.size(), 1u);
  EXPECT_EQ(lignes[0].substr(20), "Proc\\x0A : @ deux\\x0D\\x0Alignes\t\\xFF fin");
  // The report itself keeps the text as given.
  EXPECT_EQ(anomalies.Rapports()[0].message, "@ deux\r\nlignes\t\xFF fin");
}

TEST_F(LogTest, WriteFailureIsThrownAfterShowingTheReport) {
  config_.dossier += "/absent";
  int vus = 0;
  SrvAnomalieImpl anomalies(config_, [&](const Rapport&) { ++vus; });
  try {
    anomalies.Signale("@ x", "P");
    FAIL() << "aucune erreur";
  } catch (const ErreurService& e) {
    EXPECT_EQ(e.Objet(), config_.CheminDonnees("ANOMALIES.LOG"));
    EXPECT_FALSE(e.Message().empty());
  }
  EXPECT_EQ(vus, 1);

  SrvAnomalieImpl muette(config_, [](const Rapport&) { throw std::runtime_error("écran fermé"); });
  try {
    muette.Signale("@ x", "P");
    FAIL() << "aucune erreur";
  } catch (const ErreurService& e) {
    EXPECT_NE(e.Message().find("écran fermé"), std::string::npos) << e.what();
  }
}

TEST_F(LogTest, JournalLinesAndSeparator) {
  config_.synchro = Synchro::kOff;
  SrvJournalImpl journal(config_);
  journal.Ecrit("Temp.Dat Non Recopiée sur /donnees/CLI.DAT", "CompEnrSup");
  journal.Ecrit("fin", "CompEnrSup");
  std::vector<std::string> lignes = Lignes("JOURNAL.LOG");
  ASSERT_EQ(lignes.size(), 2u);
  EXPECT_TRUE(Date(lignes[0]));
  EXPECT_EQ(lignes[0].substr(20), "CompEnrSup : Temp.Dat Non Recopiée sur /donnees/CLI.DAT");
  EXPECT_EQ(lignes[1].substr(20), "CompEnrSup : fin");

  std::string separateur = "x";
  journal.SeparateurCsv(separateur);
  EXPECT_EQ(separateur, ";");
  config_.separateur_csv = "\t";
  SrvJournalImpl(config_).SeparateurCsv(separateur);
  EXPECT_EQ(separateur, "\t");

  config_.dossier += "/absent";
  EXPECT_THROW(SrvJournalImpl(config_).Ecrit("x", "P"), ErreurService);
}

// Services of several threads (or processes) append to one file: no line is lost or torn.
TEST_F(LogTest, ConcurrentAppendsKeepWholeLines) {
  config_.synchro = Synchro::kOff;
  constexpr int kFils = 4, kLignes = 100;
  std::vector<std::thread> fils;
  for (int f = 0; f < kFils; ++f) {
    fils.emplace_back([this, f] {
      SrvJournalImpl journal(config_);
      for (int i = 0; i < kLignes; ++i) {
        journal.Ecrit("ligne " + std::to_string(i) + std::string(200, '.'),
                      "Fil" + std::to_string(f));
      }
    });
  }
  for (auto& t : fils) t.join();
  std::vector<std::string> lignes = Lignes("JOURNAL.LOG");
  ASSERT_EQ(lignes.size(), size_t{kFils * kLignes});
  std::vector<int> suivante(kFils, 0);
  for (const auto& ligne : lignes) {
    ASSERT_TRUE(Date(ligne)) << ligne;
    int f = ligne[23] - '0';
    ASSERT_EQ(ligne.substr(20), "Fil" + std::to_string(f) + " : ligne " +
                                    std::to_string(suivante[f]++) + std::string(200, '.'));
  }
}

}  // namespace
}  // namespace vesk
