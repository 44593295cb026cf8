#include "cli/affichage.h"

#include <ostream>

namespace vesk::cli {

AffichageAnomalie AfficheurAnomalies(std::ostream& erreurs) {
  return [&erreurs](const Rapport& rapport) {
    // The procedure is a name of the code: ANOMALIES.LOG keeps it.
    erreurs << "vesk : anomalie : " << rapport.message << "\n";
    erreurs.flush();
  };
}

}  // namespace vesk::cli
