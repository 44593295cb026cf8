// End to end on a real terminal: `vesk entdom` runs in a tmux pane (keys sent with send-keys,
// the screen read back with capture-pane), then `vesk edtdom --output x.txt` lists what it wrote.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

namespace {

namespace fs = std::filesystem;

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

std::string Contenu(const fs::path& chemin) {
  std::ifstream in(chemin, std::ios::binary);
  std::stringstream tout;
  tout << in.rdbuf();
  return tout.str();
}

class EntDomTmux : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::system("command -v tmux >/dev/null 2>&1") != 0) GTEST_SKIP() << "tmux absent";
    socket_ = "vesk_entdom_" + std::to_string(getpid());
    dossier_ = fs::temp_directory_path() / socket_;
    fs::create_directories(dossier_ / "donnees");
  }
  void TearDown() override {
    if (!socket_.empty()) std::system(Tmux("kill-server 2>/dev/null").c_str());
    std::error_code ignore;
    fs::remove_all(dossier_, ignore);
  }

  std::string Tmux(const std::string& arguments) const {
    return "LANG=C.UTF-8 tmux -L " + socket_ + " " + arguments;
  }
  // Runs `vesk arguments` in the test folder inside a new tmux pane; its exit status goes to
  // the file "status".
  void LanceDansTmux(const std::string& arguments) {
    std::string commande = "cd " + dossier_.string() + " && env TERM=screen LANG=C.UTF-8 " +
                           VESK_BINAIRE + " " + arguments + "; echo $? > status; sleep 60";
    ASSERT_EQ(std::system(Tmux("new-session -d -x 100 -y 30 '" + commande + "'").c_str()), 0);
  }
  void Envoie(const std::string& touches) {
    ASSERT_EQ(std::system(Tmux("send-keys " + touches).c_str()), 0);
  }
  void Tape(const std::string& texte) { Envoie("-l '" + texte + "'"); }
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
  std::string Status() {
    for (int i = 0; i < 100; ++i) {
      std::string s = Contenu(dossier_ / "status");
      if (!s.empty()) return s;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return "pas de fin";
  }

  std::string socket_;
  fs::path dossier_;
};

TEST_F(EntDomTmux, EntersADomainOnTheTerminalThenListsIt) {
  LanceDansTmux("--data donnees entdom");
  Attend("ENTREE DES DEFINITIONS DE DOMAINE - Ecran Initial");
  Attend("Suppression : Confirmez par F6");
  Tape("TVA");
  Envoie("Enter");
  Attend("Création");
  Tape("Taux de TVA");
  Envoie("Enter");
  Tape("../T");  // refused on the bottom line, asked again
  Envoie("Enter");
  Attend("refusé : lettres (sans accent) et chiffres seulement");
  Envoie("BSpace BSpace BSpace BSpace");
  Tape("TVA");
  Envoie("Enter");
  Attend("Enregistrement Précédent TVA");
  Tape("TVA");
  Envoie("Enter");
  std::string ecran = Attend("MODIFICATION");
  EXPECT_NE(ecran.find("Taux de TVA"), std::string::npos) << ecran;
  Envoie("Up");  // back to the code: its entry starts empty
  Envoie("Up");  // back on the code: the screen is left
  EXPECT_EQ(Status(), "0\n");

  std::ofstream(dossier_ / "donnees" / "TVA.DOM") << "N Taux normal 20 %\r\n";
  std::string liste = Sortie("cd " + dossier_.string() + " && " + VESK_BINAIRE +
                             " --data donnees edtdom --output x.txt 2>&1");
  EXPECT_EQ(liste, "Édition écrite dans x.txt\n");
  std::string texte = Contenu(dossier_ / "x.txt");
  EXPECT_NE(texte.find("| TVA "), std::string::npos) << texte;
  EXPECT_NE(texte.find("| Taux de TVA "), std::string::npos) << texte;
  EXPECT_NE(texte.find("| N Taux normal 20 % "), std::string::npos) << texte;
  EXPECT_NE(texte.find("| TVA.DOM "), std::string::npos) << texte;
}

TEST_F(EntDomTmux, TheMenuRunsTheChosenCommandAndComesBack) {
  LanceDansTmux("--data donnees");
  Attend("Vesk : Gestion des Fichiers et B-Arbre d'Application");
  Attend("edtdom");
  Envoie("Down Enter");
  Attend("Aucun domaine de définition : rien à éditer.");
  Envoie("Enter");
  Attend("Entrée Choisir");
  Envoie("Escape");
  EXPECT_EQ(Status(), "0\n");
}

}  // namespace
