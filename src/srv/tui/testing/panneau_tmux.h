// A tmux pane for end-to-end tests of programs on a real terminal: a program is started in a
// detached session of a private tmux server, keys are sent with send-keys and the screen is read
// back with capture-pane. Test code only (POSIX, GoogleTest); one pane per test, one thread.
#ifndef VESK_SRV_TUI_TESTING_PANNEAU_TMUX_H_
#define VESK_SRV_TUI_TESTING_PANNEAU_TMUX_H_

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace vesk::testing {

// Standard output of a shell command.
inline std::string SortieCommande(const std::string& commande) {
  std::string texte;
  FILE* f = popen(commande.c_str(), "r");
  if (f == nullptr) return texte;
  char tampon[4096];
  size_t n = 0;
  while ((n = fread(tampon, 1, sizeof tampon, f)) > 0) texte.append(tampon, n);
  pclose(f);
  return texte;
}

inline bool TmuxPresent() { return std::system("command -v tmux >/dev/null 2>&1") == 0; }

class PanneauTmux {
 public:
  // nom makes the private server's socket unique to this test process.
  explicit PanneauTmux(const std::string& nom) : socket_(nom + "_" + std::to_string(getpid())) {}
  ~PanneauTmux() { std::system(Tmux("kill-server 2>/dev/null").c_str()); }
  PanneauTmux(const PanneauTmux&) = delete;
  PanneauTmux& operator=(const PanneauTmux&) = delete;

  // Runs the shell command in a new pane of colonnes x lignes (TERM=screen, UTF-8 locale).
  void Lance(const std::string& commande, int colonnes = 80, int lignes = 24) {
    std::string session = "new-session -d -x " + std::to_string(colonnes) + " -y " +
                          std::to_string(lignes) + " 'export TERM=screen LANG=C.UTF-8; " +
                          commande + "'";
    ASSERT_EQ(std::system(Tmux(session).c_str()), 0);
  }
  // Sends tmux key names ("Enter", "Up", "Escape 3") or "-l 'text'" as typed.
  void Envoie(const std::string& touches) {
    ASSERT_EQ(std::system(Tmux("send-keys " + touches).c_str()), 0);
  }
  void Tape(const std::string& texte) { Envoie("-l '" + texte + "'"); }
  std::string Capture() const { return SortieCommande(Tmux("capture-pane -p")); }
  // Waits up to 5 s for texte on the screen; gives the last capture (a test failure when the
  // text never showed).
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
  const std::string& Socket() const { return socket_; }
  // Copies everything the pane's program writes, bytes as sent, to the end of the file chemin.
  void Enregistre(const std::string& chemin) {
    ASSERT_EQ(std::system(Tmux("pipe-pane -o 'cat >> " + chemin + "'").c_str()), 0);
  }

 private:
  std::string Tmux(const std::string& arguments) const {
    return "LANG=C.UTF-8 tmux -L " + socket_ + " " + arguments;
  }

  std::string socket_;
};

}  // namespace vesk::testing

#endif  // VESK_SRV_TUI_TESTING_PANNEAU_TMUX_H_
