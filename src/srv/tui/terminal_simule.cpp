#include "srv/tui/terminal_simule.h"

#include "srv/erreur_service.h"
#include "srv/tui/texte.h"

namespace vesk::tui {

TerminalSimule::TerminalSimule(int colonnes, int lignes)
    : taille_{colonnes, lignes}, peinte_(colonnes, lignes) {}

void TerminalSimule::Tape(std::string_view texte) {
  for (char32_t c : VersPoints(texte)) touches_.push_back({Touche::Car(c), {}});
}

void TerminalSimule::Appuie(int16_t code) { touches_.push_back({Touche::De(code), {}}); }

void TerminalSimule::ChangeTaille(int colonnes, int lignes) {
  touches_.push_back({Touche::De(kRedimension), Taille{colonnes, lignes}});
}

void TerminalSimule::Peint(const Grille& grille) {
  peinte_ = grille;
  ++peintures_;
}

Touche TerminalSimule::LitTouche(int attente_ms) {
  if (touches_.empty()) {
    if (attente_ms >= 0) return Touche::De(kAucune);
    throw ErreurService("LitTouche", "terminal simulé",
                        "plus aucune touche en attente alors que l'écran attend une touche");
  }
  Evenement e = touches_.front();
  touches_.pop_front();
  if (e.touche.code == kRedimension) taille_ = e.taille;
  return e.touche;
}

}  // namespace vesk::tui
