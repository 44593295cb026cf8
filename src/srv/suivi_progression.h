// SuiviProgression: how a long piece of work (a rebuild, an import, a listing of many pages, a
// migration, a check) tells how far it is to whoever shows it: a bar on a terminal
// (tui::BarreProgression), nothing when the output is not one. The work calls Debut for each
// phase, Avance as often as it likes (the display decides when to draw), then Fin. The
// interface needs nothing of a terminal, so the component and the engine use it freely. One
// object per thread.
#ifndef VESK_SRV_SUIVI_PROGRESSION_H_
#define VESK_SRV_SUIVI_PROGRESSION_H_

#include <cstdint>
#include <string_view>

namespace vesk {

class SuiviProgression {
 public:
  virtual ~SuiviProgression() = default;

  // A phase begins: its label and the units of work it has (0: not known beforehand).
  virtual void Debut(std::string_view libelle, int64_t total) = 0;
  // fait units of the phase are done (fait grows; it may pass total, which is then raised).
  virtual void Avance(int64_t fait) = 0;
  // The phase is over: what was shown of it is removed.
  virtual void Fin() = 0;
};

// A phase for the time of a scope: Debut when made, Fin when the scope ends, also when an error
// leaves it early, so that nothing of the phase stays shown under the error.
class PhaseSuivie {
 public:
  PhaseSuivie(SuiviProgression& suivi, std::string_view libelle, int64_t total) : suivi_(suivi) {
    suivi_.Debut(libelle, total);
  }
  ~PhaseSuivie() { suivi_.Fin(); }
  PhaseSuivie(const PhaseSuivie&) = delete;
  PhaseSuivie& operator=(const PhaseSuivie&) = delete;
  void Avance(int64_t fait) { suivi_.Avance(fait); }

 private:
  SuiviProgression& suivi_;
};

// Shows nothing: for work run where nobody watches.
class SuiviMuet final : public SuiviProgression {
 public:
  void Debut(std::string_view, int64_t) override {}
  void Avance(int64_t) override {}
  void Fin() override {}
};

}  // namespace vesk

#endif  // VESK_SRV_SUIVI_PROGRESSION_H_
