#include "cli/affichage.h"

#include <ostream>

namespace vesk::cli {

AffichageAnomalie AfficheurAnomalies(std::ostream& erreurs) {
  return [&erreurs](const Rapport& rapport) {
    erreurs << "vesk : anomalie (" << rapport.procedure << ") : " << rapport.message << "\n";
    erreurs.flush();
  };
}

}  // namespace vesk::cli
