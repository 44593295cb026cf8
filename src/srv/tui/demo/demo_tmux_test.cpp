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

namespace {

std::string Sortie(const std::string& commande) {
  std::string texte;
  FILE* f = popen(commande.c_str(), "r");
  if (f == nullptr) return texte;
  char tampon[4096];
  size_t n = 0;
  while ((n = fread(tampon, 1, sizeof tampon, f)) > 0) texte.append(tampon, n);
  pclose(f);
  return texte;
}

class DemoTmux : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::system("command -v tmux >/dev/null 2>&1") != 0) GTEST_SKIP() << "tmux absent";
    socket_ = "vesk_tui_" + std::to_string(getpid());
    resultat_ = ::testing::TempDir() + socket_ + ".txt";
    std::remove(resultat_.c_str());
    std::string lance = Tmux("new-session -d -x 80 -y 24 'env TERM=screen LANG=C.UTF-8 " +
                             std::string(VESK_TUI_DEMO) + " " + resultat_ + "'");
    ASSERT_EQ(std::system(lance.c_str()), 0);
  }
  void TearDown() override {
    if (!socket_.empty()) std::system(Tmux("kill-server 2>/dev/null").c_str());
    std::remove(resultat_.c_str());
  }

  std::string Tmux(const std::string& arguments) const {
    return "LANG=C.UTF-8 tmux -L " + socket_ + " " + arguments;
  }
  void Envoie(const std::string& touches) {
    ASSERT_EQ(std::system(Tmux("send-keys " + touches).c_str()), 0);
  }
  std::string Capture() { return Sortie(Tmux("capture-pane -p")); }
  // Waits up to 5 s for texte on the screen; gives the last capture.
  std::string Attend(const std::string& texte) {
    std::string ecran;
    for (int i = 0; i < 100; ++i) {
      ecran = Capture();
      if (ecran.find(texte) != std::string::npos) return ecran;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ADD_FAILURE() << "« " << texte << " » n'apparaît pas à l'écran :\n" << ecran;
    return ecran;
  }
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

  std::string socket_;
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
