// A terminal without a screen, for tests: keys come from a queue filled beforehand, painting
// keeps a copy of the grid. Running out of keys while a screen waits is an ErreurService (a
// test never hangs). One thread.
#ifndef VESK_SRV_TUI_TERMINAL_SIMULE_H_
#define VESK_SRV_TUI_TERMINAL_SIMULE_H_

#include <deque>
#include <string_view>

#include "srv/tui/terminal.h"

namespace vesk::tui {

class TerminalSimule : public Terminal {
 public:
  TerminalSimule(int colonnes, int lignes);

  // Queues the characters of a UTF-8 text, one key each.
  void Tape(std::string_view texte);
  void Appuie(int16_t code);
  // Queues a size change, read as kRedimension.
  void ChangeTaille(int colonnes, int lignes);
  size_t TouchesRestantes() const { return touches_.size(); }
  // The grid of the last paint.
  const Grille& Peinte() const { return peinte_; }
  int Peintures() const { return peintures_; }

  Taille Dimensions() override { return taille_; }
  void Peint(const Grille& grille) override;
  Touche LitTouche(int attente_ms) override;

 private:
  struct Evenement {
    Touche touche;
    Taille taille;
  };
  Taille taille_;
  std::deque<Evenement> touches_;
  Grille peinte_;
  int peintures_ = 0;
};

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_TERMINAL_SIMULE_H_
