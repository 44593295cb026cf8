// SrvAnomalieImpl: writes each anomaly report to ANOMALIES.LOG in the data folder (one line,
// see ligne_log.h) and hands it to the host's display hook; keeps the reports of the current
// command for hosts that show them afterwards. One object per thread, like every service.
#ifndef VESK_SRV_LOG_SRV_ANOMALIE_IMPL_H_
#define VESK_SRV_LOG_SRV_ANOMALIE_IMPL_H_

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "srv/config/configuration.h"
#include "srv/srv_anomalie.h"

namespace vesk {

// One anomaly as reported.
struct Rapport {
  std::string horodatage;  // "AAAA-MM-JJ HH:MM:SS"
  std::string procedure;
  std::string message;
};

// Shows a report to the user: the screen services in a terminal, stderr in the command line,
// a collector in tests. May be empty (nothing shown).
using AffichageAnomalie = std::function<void(const Rapport&)>;

class SrvAnomalieImpl : public SrvAnomalie {
 public:
  static constexpr std::string_view kNomFichier = "ANOMALIES.LOG";

  SrvAnomalieImpl(const Configuration& config, AffichageAnomalie affichage);

  // Keeps the report, appends its line to ANOMALIES.LOG, then shows it. The report is shown
  // even when the file cannot be written; that failure is then thrown as ErreurService.
  void Signale(std::string_view message, std::string_view procedure) override;

  // The reports made since construction or the last OublieRapports, oldest first.
  const std::vector<Rapport>& Rapports() const { return rapports_; }
  // Called by the host when a new command begins.
  void OublieRapports() { rapports_.clear(); }

  const std::string& Chemin() const { return chemin_; }

 private:
  std::string chemin_;
  bool synchro_;
  AffichageAnomalie affichage_;
  std::vector<Rapport> rapports_;
};

}  // namespace vesk

#endif  // VESK_SRV_LOG_SRV_ANOMALIE_IMPL_H_
