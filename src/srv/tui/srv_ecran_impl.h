// SrvEcranImpl: key codes, the application's name, the default date, and the watch for Esc while
// a listing runs (the keyboard is polled without waiting). The console may be absent (no
// terminal): then nothing is shown and Annule stays false. One thread.
#ifndef VESK_SRV_TUI_SRV_ECRAN_IMPL_H_
#define VESK_SRV_TUI_SRV_ECRAN_IMPL_H_

#include <memory>
#include <string>

#include "srv/srv_ecran.h"
#include "srv/tui/console.h"

namespace vesk::tui {

class SrvEcranImpl : public SrvEcran {
 public:
  // nom_application: the configuration's "application" value, read by the host.
  SrvEcranImpl(std::shared_ptr<Console> console, std::string nom_application);

  void NomApplication(std::string& nom) override;
  void ValeurConfirmation(int16_t& valeur) override;
  void ToucheSuppression(int16_t& touche) override;
  void ToucheRetour(int16_t& touche) override;
  void ToucheDebut(int16_t& touche) override;
  void ToucheConfirmation(int16_t& touche) override;
  void Annule(int16_t& annule) override;
  void ToucheF1(int16_t& touche) override;
  void ToucheF2(int16_t& touche) override;
  void ToucheF3(int16_t& touche) override;
  void ToucheF4(int16_t& touche) override;
  void ToucheF5(int16_t& touche) override;
  void ToucheF6(int16_t& touche) override;
  void ToucheF7(int16_t& touche) override;
  void ToucheEchap(int16_t& touche) override;
  void DateDefaut(std::string& date) override;
  void TitreEdition(std::string_view titre) override;
  void FinTitreEdition() override;

 private:
  void DessineTitre();

  std::shared_ptr<Console> console_;
  std::string nom_application_;
  std::string titre_edition_;
  bool annule_ = false;
};

// "31/12/2026": today's date as DateDefaut gives it.
std::string DateDuJour();

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_SRV_ECRAN_IMPL_H_
