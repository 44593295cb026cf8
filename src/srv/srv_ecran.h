// SrvEcran: screen-wide services: key codes, the application's name, the cancellation of a
// listing in progress, the default date text and the title shown while a listing runs.
// The component compares key codes only with codes asked here. One object per thread.
#ifndef VESK_SRV_SRV_ECRAN_H_
#define VESK_SRV_SRV_ECRAN_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace vesk {

class SrvEcran {
 public:
  virtual ~SrvEcran() = default;

  // Name of the current application (configuration "application").
  virtual void NomApplication(std::string& nom) = 0;
  // Starting value of a confirmation flag: -1 (true).
  virtual void ValeurConfirmation(int16_t& valeur) = 0;
  // Key that, ending the key field, asks for a deletion (F6).
  virtual void ToucheSuppression(int16_t& touche) = 0;
  // Key that goes back one field (Up arrow).
  virtual void ToucheRetour(int16_t& touche) = 0;
  // Key that goes back to the key field (Page Up).
  virtual void ToucheDebut(int16_t& touche) = 0;
  // Key that confirms a deletion (F6).
  virtual void ToucheConfirmation(int16_t& touche) = 0;
  // True (-1) once the user has pressed Esc while the current listing runs, else 0. Polls the
  // keyboard without waiting; TitreEdition and FinTitreEdition set it back to 0.
  virtual void Annule(int16_t& annule) = 0;
  // Codes of the function keys F1 to F7 and of escape. Every implementation gives the same
  // codes (F1..F7 271..277, Esc 27, Up 256, Page Up 260), so scripts and transcripts agree.
  virtual void ToucheF1(int16_t& touche) = 0;
  virtual void ToucheF2(int16_t& touche) = 0;
  virtual void ToucheF3(int16_t& touche) = 0;
  virtual void ToucheF4(int16_t& touche) = 0;
  virtual void ToucheF5(int16_t& touche) = 0;
  virtual void ToucheF6(int16_t& touche) = 0;
  virtual void ToucheF7(int16_t& touche) = 0;
  virtual void ToucheEchap(int16_t& touche) = 0;
  // A date text used as a default example ("31/12/2026": today, DD/MM/YYYY).
  virtual void DateDefaut(std::string& date) = 0;
  // Shows the title of the listing about to run and starts watching for Esc (Annule).
  virtual void TitreEdition(std::string_view titre) = 0;
  // Ends the listing's title: clears it and stops watching for Esc.
  virtual void FinTitreEdition() = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_ECRAN_H_
