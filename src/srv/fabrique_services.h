// FabriqueServices: makes the twelve service objects of one thread. The component asks its
// thread's factory for each service on first use and keeps the object. Objects made by one
// factory may share what they need (the storage services share the thread's open files).
// Thread rules: a factory and what it makes belong to one thread.
#ifndef VESK_SRV_FABRIQUE_SERVICES_H_
#define VESK_SRV_FABRIQUE_SERVICES_H_

#include <functional>
#include <memory>

#include "srv/srv_anomalie.h"
#include "srv/srv_barbre.h"
#include "srv/srv_chainage.h"
#include "srv/srv_choix.h"
#include "srv/srv_donnee.h"
#include "srv/srv_ecran.h"
#include "srv/srv_edition.h"
#include "srv/srv_journal.h"
#include "srv/srv_liste.h"
#include "srv/srv_message.h"
#include "srv/srv_saisie.h"
#include "srv/srv_texte.h"

namespace vesk {

class FabriqueServices {
 public:
  virtual ~FabriqueServices() = default;
  virtual std::unique_ptr<SrvDonnee> CreeDonnee() = 0;
  virtual std::unique_ptr<SrvBArbre> CreeBArbre() = 0;
  virtual std::unique_ptr<SrvChainage> CreeChainage() = 0;
  virtual std::unique_ptr<SrvTexte> CreeTexte() = 0;
  virtual std::unique_ptr<SrvListe> CreeListe() = 0;
  virtual std::unique_ptr<SrvEdition> CreeEdition() = 0;
  virtual std::unique_ptr<SrvAnomalie> CreeAnomalie() = 0;
  virtual std::unique_ptr<SrvSaisie> CreeSaisie() = 0;
  virtual std::unique_ptr<SrvEcran> CreeEcran() = 0;
  virtual std::unique_ptr<SrvChoix> CreeChoix() = 0;
  virtual std::unique_ptr<SrvMessage> CreeMessage() = 0;
  virtual std::unique_ptr<SrvJournal> CreeJournal() = 0;
};

// Gives a new factory for a thread; called once per thread, on its first service use.
using CreateurServices = std::function<std::unique_ptr<FabriqueServices>()>;

}  // namespace vesk

#endif  // VESK_SRV_FABRIQUE_SERVICES_H_
