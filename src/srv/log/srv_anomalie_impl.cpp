#include "srv/log/srv_anomalie_impl.h"

#include <exception>

#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "srv/log/ligne_log.h"

namespace vesk {

SrvAnomalieImpl::SrvAnomalieImpl(const Configuration& config, AffichageAnomalie affichage)
    : chemin_(config.CheminDonnees(kNomFichier)),
      synchro_(config.synchro == Synchro::kFull),
      affichage_(std::move(affichage)) {}

void SrvAnomalieImpl::Signale(std::string_view message, std::string_view procedure) {
  Rapport rapport{Horodatage(platform::Maintenant()), std::string(procedure), std::string(message)};
  rapports_.push_back(rapport);
  std::exception_ptr echec;
  try {
    AjouteLigne(chemin_, LigneLog(rapport.horodatage, procedure, message), synchro_,
                "Signalement d'anomalie");
  } catch (const ErreurService&) {
    echec = std::current_exception();
  }
  if (echec) {
    // The user must still see the report; when that fails too, both failures are told.
    try {
      if (affichage_) affichage_(rapport);
    } catch (const std::exception& affichage) {
      try {
        std::rethrow_exception(echec);
      } catch (const ErreurService& e) {
        throw ErreurService(
            e.Operation(), e.Objet(),
            e.Message() + " ; l'anomalie n'a pas pu être affichée non plus : " + affichage.what());
      }
    }
    std::rethrow_exception(echec);
  }
  if (affichage_) affichage_(rapport);
}

}  // namespace vesk
