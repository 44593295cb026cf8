// End to end on a real terminal: the demo entry screen runs in a tmux pane, keys are sent with
// send-keys and the screen is read back with capture-pane.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "srv/tui/testing/panneau_tmux.h"

namespace {

class DemoTmux : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!vesk::testing::TmuxPresent()) GTEST_SKIP() << "tmux absent";
    panneau_ = std::make_unique<vesk::testing::PanneauTmux>("vesk_tui");
    resultat_ = ::testing::TempDir() + panneau_->Socket() + ".txt";
    std::remove(resultat_.c_str());
    panneau_->Lance(std::string(VESK_TUI_DEMO) + " " + resultat_);
  }
  void TearDown() override {
    panneau_.reset();
    std::remove(resultat_.c_str());
  }

  void Envoie(const std::string& touches) { panneau_->Envoie(touches); }
  std::string Attend(const std::string& texte) { return panneau_->Attend(texte); }
  std::string Resultat() {
    for (int i = 0; i < 100; ++i) {
      std::ifstream f(resultat_);
      std::stringstream texte;
      texte << f.rdbuf();
      if (texte.str().find("TOUCHE=") != std::string::npos) return texte.str();
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return "pas de résultat";
  }

  std::unique_ptr<vesk::testing::PanneauTmux> panneau_;
  std::string resultat_;
};

TEST_F(DemoTmux, TypesIntoTwoFieldsGoesBackAndRefusesWhatCannotBeStored) {
  Attend("ESSAI DE SAISIE - Ecran Initial");
  Envoie("-l Dupont");
  Envoie("Enter");
  Attend("(ville de livraison)");
  Envoie("-l 'Évry Ω'");
  std::string ecran = Attend("refusé");
  EXPECT_NE(ecran.find("Dupont"), std::string::npos) << ecran;
  EXPECT_NE(ecran.find("Évry"), std::string::npos) << ecran;
  EXPECT_NE(ecran.find("« Ω » (U+03A9) refusé"), std::string::npos) << ecran;
  Envoie("BSpace Up");  // back to NOM: remove the space typed after Évry, then go back
  Envoie("BSpace");
  Attend("NOM DU CLIENT  Dupon\n");
  Envoie("Enter");
  Envoie("Escape 3");  // Esc then 3: F3 ends the entry of VILLE
  EXPECT_EQ(Resultat(), "NOM=Dupon\nVILLE=Évry\nTOUCHE=<F3>\n");
}

}  // namespace
