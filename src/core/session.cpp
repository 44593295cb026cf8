#include "core/etat_module.h"

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

platform::ParThread<EtatModule>& EtatThread() {
  static platform::ParThread<EtatModule> etat;
  return etat;
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

EtatModule::EtatModule() = default;

// Services go before the factory that made them.
EtatModule::~EtatModule() {
  parties_.clear();
  journal_.reset();
  message_.reset();
  choix_.reset();
  ecran_.reset();
  saisie_.reset();
  anomalie_.reset();
  edition_.reset();
  liste_.reset();
  texte_.reset();
  chainage_.reset();
  barbre_.reset();
  donnee_.reset();
}

FabriqueServices& EtatModule::Fabrique() {
  if (fabrique_ == nullptr) {
    CreateurServices* propre = CreateurThread().Pointeur();
    CreateurServices createur = propre != nullptr ? *propre : CreateurServices();
    if (!createur) {
      std::lock_guard<std::mutex> garde(VerrouCreateur());
      createur = CreateurGlobal();
    }
    if (!createur) {
      throw ErreurService("Services", "", "aucune bibliothèque de services n'est installée");
    }
    fabrique_ = createur();
    if (fabrique_ == nullptr) {
      throw ErreurService("Services", "", "la bibliothèque de services n'a pas été créée");
    }
  }
  return *fabrique_;
}

template <typename S>
S& EtatModule::Service(std::unique_ptr<S>& service,
                       std::unique_ptr<S> (FabriqueServices::*creer)()) {
  if (service == nullptr) {
    service = (Fabrique().*creer)();
    if (service == nullptr) {
      throw ErreurService("Services", "", "un service n'a pas pu être créé");
    }
  }
  return *service;
}

SrvDonnee& EtatModule::Donnee() { return Service(donnee_, &FabriqueServices::CreeDonnee); }
SrvBArbre& EtatModule::BArbre() { return Service(barbre_, &FabriqueServices::CreeBArbre); }
SrvChainage& EtatModule::Chainage() { return Service(chainage_, &FabriqueServices::CreeChainage); }
SrvTexte& EtatModule::Texte() { return Service(texte_, &FabriqueServices::CreeTexte); }
SrvListe& EtatModule::Liste() { return Service(liste_, &FabriqueServices::CreeListe); }
SrvEdition& EtatModule::Edition() { return Service(edition_, &FabriqueServices::CreeEdition); }
SrvAnomalie& EtatModule::Anomalie() { return Service(anomalie_, &FabriqueServices::CreeAnomalie); }
SrvSaisie& EtatModule::Saisie() { return Service(saisie_, &FabriqueServices::CreeSaisie); }
SrvEcran& EtatModule::Ecran() { return Service(ecran_, &FabriqueServices::CreeEcran); }
SrvChoix& EtatModule::Choix() { return Service(choix_, &FabriqueServices::CreeChoix); }
SrvMessage& EtatModule::Message() { return Service(message_, &FabriqueServices::CreeMessage); }
SrvJournal& EtatModule::Journal() { return Service(journal_, &FabriqueServices::CreeJournal); }

EtatModule& Etat() {
  EtatModule* etat = EtatThread().Pointeur();
  if (etat == nullptr) {
    EtatThread().Remplace(std::make_unique<EtatModule>());
    etat = EtatThread().Pointeur();
  }
  return *etat;
}

void OublieEtat() { EtatThread().Remplace(nullptr); }

void OublieEtatDe(const Proprietaire* proprietaire) {
  const EtatModule* etat = EtatThread().Pointeur();
  if (etat != nullptr && etat->proprietaire == proprietaire) OublieEtat();
}

bool EditionAnnulee() {
  int16_t annule = 0;
  Etat().Ecran().Annule(annule);
  return annule != 0;
}

}  // namespace vesk
