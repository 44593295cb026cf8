#include "core/etat_module.h"

#include <mutex>

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

thread_local CreateurServices createur_thread;
thread_local std::unique_ptr<EtatModule> etat_thread;

}  // namespace

void InstalleServices(CreateurServices createur) {
  std::lock_guard<std::mutex> garde(VerrouCreateur());
  CreateurGlobal() = std::move(createur);
}

void InstalleServicesThread(CreateurServices createur) { createur_thread = std::move(createur); }

EtatModule::EtatModule() = default;

// Services go before the factory that made them.
EtatModule::~EtatModule() {
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
    CreateurServices createur = createur_thread;
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
  if (etat_thread == nullptr) etat_thread = std::make_unique<EtatModule>();
  return *etat_thread;
}

void OublieEtat() { etat_thread.reset(); }

}  // namespace vesk
