// FabriqueStandard: the service library as hosts install it, one factory per thread. It makes
// the storage services over one data folder, or over the database store that the
// configuration's `stockage` names (they share the thread's open files), the text, list,
// anomaly and journal services from the configuration, and takes the screen and listing
// services from the host, which knows whether they run in a terminal, from a script or in a
// window. Thread rules: a factory and what it makes belong to one thread.
#ifndef VESK_SRV_STANDARD_FABRIQUE_STANDARD_H_
#define VESK_SRV_STANDARD_FABRIQUE_STANDARD_H_

#include <functional>
#include <memory>

#include "srv/config/configuration.h"
#include "srv/fabrique_services.h"
#include "srv/isam/env.h"
#include "srv/log/srv_anomalie_impl.h"

namespace vesk {

namespace isam {
class DossierDonnees;
}
namespace pg {
class BasePg;
}

// The services that depend on how the host meets its user: screens, choices, messages and
// listings. A null result from any of them is refused when that service is first used.
struct ServicesInterface {
  std::function<std::unique_ptr<SrvSaisie>()> saisie;
  std::function<std::unique_ptr<SrvEcran>()> ecran;
  std::function<std::unique_ptr<SrvChoix>()> choix;
  std::function<std::unique_ptr<SrvMessage>()> message;
  std::function<std::unique_ptr<SrvEdition>()> edition;
};

struct OptionsServices {
  Configuration config;
  isam::Env* env = nullptr;  // the files; null: the platform's
  ServicesInterface interface;
  AffichageAnomalie affichage_anomalie;  // how an anomaly is shown; may be empty
};

class FabriqueStandard : public FabriqueServices {
 public:
  explicit FabriqueStandard(OptionsServices options);
  ~FabriqueStandard() override;

  std::unique_ptr<SrvDonnee> CreeDonnee() override;
  std::unique_ptr<SrvBArbre> CreeBArbre() override;
  std::unique_ptr<SrvChainage> CreeChainage() override;
  std::unique_ptr<SrvTexte> CreeTexte() override;
  std::unique_ptr<SrvListe> CreeListe() override;
  std::unique_ptr<SrvEdition> CreeEdition() override;
  std::unique_ptr<SrvAnomalie> CreeAnomalie() override;
  std::unique_ptr<SrvSaisie> CreeSaisie() override;
  std::unique_ptr<SrvEcran> CreeEcran() override;
  std::unique_ptr<SrvChoix> CreeChoix() override;
  std::unique_ptr<SrvMessage> CreeMessage() override;
  std::unique_ptr<SrvJournal> CreeJournal() override;

  // The thread's data folder, shared by its storage services (made on first use).
  isam::DossierDonnees& Dossier();

 private:
  std::shared_ptr<isam::DossierDonnees> PartageDossier();
  std::shared_ptr<pg::BasePg> PartageBase();
  // Whether the data live in a database store (an error when this program has none).
  bool SurBase() const;

  OptionsServices options_;
  std::shared_ptr<isam::DossierDonnees> dossier_;
  std::shared_ptr<pg::BasePg> base_;
};

// A creator of FabriqueStandard for InstalleServices: every thread gets its own factory made
// from the same options.
CreateurServices CreateurStandard(OptionsServices options);

}  // namespace vesk

#endif  // VESK_SRV_STANDARD_FABRIQUE_STANDARD_H_
