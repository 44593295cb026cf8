// How `vesk` shows what the services report while a command runs, before the terminal screens
// exist: anomaly reports go to the error stream. Used from main's thread.
#ifndef VESK_CLI_AFFICHAGE_H_
#define VESK_CLI_AFFICHAGE_H_

#include <iosfwd>

#include "srv/log/srv_anomalie_impl.h"

namespace vesk::cli {

// The display hook for SrvAnomalieImpl: one line "vesk : anomalie : message" on erreurs (the
// message exactly as given; the log file keeps the dated line with the procedure).
AffichageAnomalie AfficheurAnomalies(std::ostream& erreurs);

}  // namespace vesk::cli

#endif  // VESK_CLI_AFFICHAGE_H_
