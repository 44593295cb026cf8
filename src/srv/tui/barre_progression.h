// BarreProgression: a progress bar on one line of a terminal, redrawn in place ("\r"):
//   Reconstruction CLIENT [#########-------]  104000/200000  86000/s  reste 0:01
// the units done out of the total, the rate since the phase began and the time left (without a
// total: the units done and the rate). It draws at most every 100 ms and erases its line at Fin.
// It writes plain text only (no terminal library): when the stream is not a terminal it draws
// nothing at all. One thread.
#ifndef VESK_SRV_TUI_BARRE_PROGRESSION_H_
#define VESK_SRV_TUI_BARRE_PROGRESSION_H_

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>

#include "srv/suivi_progression.h"

namespace vesk::tui {

class BarreProgression : public SuiviProgression {
 public:
  // Draws on flux when terminal is true; horloge gives the time in nanoseconds (tests drive it).
  BarreProgression(std::ostream& flux, bool terminal, std::function<uint64_t()> horloge);
  ~BarreProgression() override;

  void Debut(std::string_view libelle, int64_t total) override;
  void Avance(int64_t fait) override;
  void Fin() override;

  // The line as drawn for fait units after secondes (without "\r" nor padding).
  static std::string Ligne(std::string_view libelle, int64_t fait, int64_t total, double secondes);

 private:
  void Dessine(bool force);

  std::ostream& flux_;
  bool terminal_;
  std::function<uint64_t()> horloge_;
  std::string libelle_;
  int64_t total_ = 0, fait_ = 0;
  uint64_t debut_ns_ = 0, dessin_ns_ = 0;
  size_t largeur_ = 0;  // of the line on screen, to erase it
  bool ouverte_ = false;
};

// The bar of the process's error stream: drawn only when it is a terminal.
std::unique_ptr<SuiviProgression> BarreSurErreurs();

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_BARRE_PROGRESSION_H_
