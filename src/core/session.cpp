#include "core/session.h"

#include <string>
#include <utility>

#include "core/etat_module.h"
#include "srv/erreur_service.h"

namespace vesk {

Session::Session(std::shared_ptr<EtatGenCode> gen) : gen_(std::move(gen)) {}

// Services go before the factory that made them.
Session::~Session() {
  gardes_.clear();
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

FabriqueServices& Session::Fabrique() {
  if (fabrique_ == nullptr) {
    CreateurServices createur = CreateurDuThread();
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
S& Session::Service(std::unique_ptr<S>& service, std::unique_ptr<S> (FabriqueServices::*creer)()) {
  if (service == nullptr) {
    service = (Fabrique().*creer)();
    if (service == nullptr) {
      throw ErreurService("Services", "", "un service n'a pas pu être créé");
    }
  }
  return *service;
}

SrvDonnee& Session::Donnee() { return Service(donnee_, &FabriqueServices::CreeDonnee); }
SrvBArbre& Session::BArbre() { return Service(barbre_, &FabriqueServices::CreeBArbre); }
SrvChainage& Session::Chainage() { return Service(chainage_, &FabriqueServices::CreeChainage); }
SrvTexte& Session::Texte() { return Service(texte_, &FabriqueServices::CreeTexte); }
SrvListe& Session::Liste() { return Service(liste_, &FabriqueServices::CreeListe); }
SrvEdition& Session::Edition() { return Service(edition_, &FabriqueServices::CreeEdition); }
SrvAnomalie& Session::Anomalie() { return Service(anomalie_, &FabriqueServices::CreeAnomalie); }
SrvSaisie& Session::Saisie() { return Service(saisie_, &FabriqueServices::CreeSaisie); }
SrvEcran& Session::Ecran() { return Service(ecran_, &FabriqueServices::CreeEcran); }
SrvChoix& Session::Choix() { return Service(choix_, &FabriqueServices::CreeChoix); }
SrvMessage& Session::Message() { return Service(message_, &FabriqueServices::CreeMessage); }
SrvJournal& Session::Journal() { return Service(journal_, &FabriqueServices::CreeJournal); }

bool DictionnaireExiste(Session& s) {
  bool existe = false;
  s.Donnee().Existe(std::string(kFic.nom) + ".DAT", existe);
  return existe;
}

bool EditionAnnulee(Session& s) {
  int16_t annule = 0;
  s.Ecran().Annule(annule);
  return annule != 0;
}

}  // namespace vesk
