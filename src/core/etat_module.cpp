#include "core/etat_module.h"

#include <memory>
#include <mutex>

#include "platform/platform.h"
#include "srv/erreur_service.h"

namespace vesk {

namespace {

std::mutex& VerrouCreateur() {
  static std::mutex verrou;
  return verrou;
}

CreateurServices& CreateurGlobal() {
  static CreateurServices createur;
  return createur;
}

// Per-thread objects through the platform's thread keys: a thread_local object with a
// destructor is not destroyed safely everywhere (mingw-w64's emulated TLS).
platform::ParThread<CreateurServices>& CreateurThread() {
  static platform::ParThread<CreateurServices> createur;
  return createur;
}

platform::ParThread<Session>& EtatThread() {
  static platform::ParThread<Session> etat;
  return etat;
}

// The generator state outlives the session: held apart, shared with the thread's session.
platform::ParThread<std::shared_ptr<EtatGenCode>>& GenThread() {
  static platform::ParThread<std::shared_ptr<EtatGenCode>> gen;
  return gen;
}

std::shared_ptr<EtatGenCode> GenPartage() {
  std::shared_ptr<EtatGenCode>* gen = GenThread().Pointeur();
  if (gen == nullptr) {
    GenThread().Remplace(
        std::make_unique<std::shared_ptr<EtatGenCode>>(std::make_shared<EtatGenCode>()));
    gen = GenThread().Pointeur();
  }
  return *gen;
}

}  // namespace

void InstalleServices(CreateurServices createur) {
  std::lock_guard<std::mutex> garde(VerrouCreateur());
  CreateurGlobal() = std::move(createur);
}

void InstalleServicesThread(CreateurServices createur) {
  CreateurThread().Remplace(createur ? std::make_unique<CreateurServices>(std::move(createur))
                                     : nullptr);
}

CreateurServices CreateurDuThread() {
  CreateurServices* propre = CreateurThread().Pointeur();
  if (propre != nullptr && *propre) return *propre;
  std::lock_guard<std::mutex> garde(VerrouCreateur());
  return CreateurGlobal();
}

Session& Etat() {
  Session* etat = EtatThread().Pointeur();
  if (etat == nullptr) {
    EtatThread().Remplace(std::make_unique<Session>(GenPartage()));
    etat = EtatThread().Pointeur();
  }
  return *etat;
}

void OublieEtat() { EtatThread().Remplace(nullptr); }

void OublieEtatDe(const Proprietaire* proprietaire) {
  const Session* etat = EtatThread().Pointeur();
  if (etat != nullptr && etat->proprietaire == proprietaire) OublieEtat();
}

EtatGenCode& EtatGen() { return *GenPartage(); }

void OublieEtatGen() {
  GenThread().Remplace(nullptr);
  if (Session* etat = EtatThread().Pointeur()) etat->RemplaceGen(GenPartage());
}

bool EditionAnnuleeDuThread() { return EditionAnnulee(Etat()); }

}  // namespace vesk
