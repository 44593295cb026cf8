#include "srv/tui/console.h"

#include "srv/erreur_service.h"

namespace vesk::tui {

Console::Console(std::unique_ptr<Terminal> terminal)
    : terminal_(std::move(terminal)),
      grille_(terminal_->Dimensions().colonnes, terminal_->Dimensions().lignes) {}

void Console::Peint() { terminal_->Peint(grille_); }

Touche Console::LitTouche(int attente_ms) {
  Touche t;
  if (en_attente_) {
    t = *en_attente_;
    en_attente_.reset();
  } else {
    t = terminal_->LitTouche(attente_ms);
  }
  if (t.code == kInterruption) throw Interruption();
  if (t.code == kEchap) {
    Touche suite = terminal_->LitTouche(delai_echap_);
    if (suite.code == kCaractere && suite.caractere >= U'1' && suite.caractere <= U'7') {
      return Touche::De(static_cast<int16_t>(kF1 + (suite.caractere - U'1')));
    }
    if (suite.code != kAucune) en_attente_ = suite;
  }
  if (t.code == kRedimension) {
    Taille taille = terminal_->Dimensions();
    grille_.Redimensionne(taille.colonnes, taille.lignes);
  }
  return t;
}

void Console::DessineFond() {
  grille_.Efface();
  if (fond_) fond_(grille_);
}

}  // namespace vesk::tui
