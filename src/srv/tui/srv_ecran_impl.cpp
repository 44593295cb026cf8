#include "srv/tui/srv_ecran_impl.h"

#include <cstdio>

#include "platform/platform.h"
#include "srv/tui/texte.h"
#include "srv/tui/touches.h"

namespace vesk::tui {

std::string DateDuJour() {
  platform::DateHeure d = platform::Maintenant();
  char texte[16];
  std::snprintf(texte, sizeof texte, "%02d/%02d/%04d", d.jour % 100, d.mois % 100, d.annee % 10000);
  return texte;
}

SrvEcranImpl::SrvEcranImpl(std::shared_ptr<Console> console, std::string nom_application)
    : console_(std::move(console)), nom_application_(std::move(nom_application)) {}

void SrvEcranImpl::NomApplication(std::string& nom) { nom = nom_application_; }
void SrvEcranImpl::ValeurConfirmation(int16_t& valeur) { valeur = kValeurConfirmation; }
void SrvEcranImpl::ToucheSuppression(int16_t& touche) { touche = kToucheSuppression; }
void SrvEcranImpl::ToucheRetour(int16_t& touche) { touche = kToucheRetour; }
void SrvEcranImpl::ToucheDebut(int16_t& touche) { touche = kToucheDebut; }
void SrvEcranImpl::ToucheConfirmation(int16_t& touche) { touche = kToucheConfirmation; }
void SrvEcranImpl::ToucheF1(int16_t& touche) { touche = kF1; }
void SrvEcranImpl::ToucheF2(int16_t& touche) { touche = kF1 + 1; }
void SrvEcranImpl::ToucheF3(int16_t& touche) { touche = kF1 + 2; }
void SrvEcranImpl::ToucheF4(int16_t& touche) { touche = kF1 + 3; }
void SrvEcranImpl::ToucheF5(int16_t& touche) { touche = kF1 + 4; }
void SrvEcranImpl::ToucheF6(int16_t& touche) { touche = kF1 + 5; }
void SrvEcranImpl::ToucheF7(int16_t& touche) { touche = kF1 + 6; }
void SrvEcranImpl::ToucheEchap(int16_t& touche) { touche = kEchap; }
void SrvEcranImpl::DateDefaut(std::string& date) { date = DateDuJour(); }

void SrvEcranImpl::Annule(int16_t& annule) {
  if (console_ && !annule_) {
    for (Touche t = console_->LitTouche(0); t.code != kAucune; t = console_->LitTouche(0)) {
      if (t.code == kEchap) annule_ = true;
      if (t.code == kRedimension) DessineTitre();
    }
    if (annule_) DessineTitre();
  }
  annule = annule_ ? -1 : 0;
}

void SrvEcranImpl::DessineTitre() {
  if (!console_ || titre_edition_.empty()) return;
  console_->DessineFond();
  Grille& g = console_->Ecran();
  int y = g.Hauteur() / 2;
  std::string texte = " Édition en cours : " + titre_edition_ + " ";
  std::string aide = annule_ ? " Interruption demandée " : " Échap pour interrompre ";
  int largeur = static_cast<int>(std::max(Longueur(texte), Longueur(aide))) + 2;
  int x = std::max(0, (g.Largeur() - largeur) / 2);
  for (int l = y - 1; l <= y + 2; ++l) g.Remplit(l, x, largeur, U' ', kInverse);
  g.EcritUtf8(y, x + 1, texte, kInverse | kGras);
  g.EcritUtf8(y + 1, x + 1, aide, kInverse);
  console_->Peint();
}

void SrvEcranImpl::TitreEdition(std::string_view titre) {
  titre_edition_ = std::string(titre);
  annule_ = false;
  DessineTitre();
}

void SrvEcranImpl::FinTitreEdition() {
  titre_edition_.clear();
  annule_ = false;
  if (console_) {
    console_->DessineFond();
    console_->Peint();
  }
}

}  // namespace vesk::tui
