#include "srv/standard/fabrique_standard.h"

#include "srv/erreur_service.h"
#include "srv/isam/dossier.h"
#include "srv/isam/srv_barbre_impl.h"
#include "srv/isam/srv_chainage_impl.h"
#include "srv/isam/srv_donnee_impl.h"
#include "srv/list/srv_liste_impl.h"
#include "srv/log/srv_journal_impl.h"
#include "srv/text/srv_texte_impl.h"

namespace vesk {

namespace {

// The service the host gave for name, or a clear error when it gave none.
template <typename S>
std::unique_ptr<S> DeLHote(const std::function<std::unique_ptr<S>()>& creer, std::string_view nom) {
  std::unique_ptr<S> service = creer ? creer() : nullptr;
  if (service == nullptr) {
    throw ErreurService(nom, "", "ce service n'est pas disponible dans cet environnement");
  }
  return service;
}

}  // namespace

FabriqueStandard::FabriqueStandard(OptionsServices options) : options_(std::move(options)) {
  if (options_.env == nullptr) options_.env = isam::Env::Default();
}

FabriqueStandard::~FabriqueStandard() = default;

std::shared_ptr<isam::DossierDonnees> FabriqueStandard::PartageDossier() {
  if (dossier_ == nullptr) {
    dossier_ = std::make_shared<isam::DossierDonnees>(options_.env, options_.config.dossier,
                                                      options_.config.entreprise);
    dossier_->Synchro(options_.config.synchro == Synchro::kFull);
  }
  return dossier_;
}

isam::DossierDonnees& FabriqueStandard::Dossier() { return *PartageDossier(); }

std::unique_ptr<SrvDonnee> FabriqueStandard::CreeDonnee() {
  return std::make_unique<SrvDonneeImpl>(PartageDossier());
}
std::unique_ptr<SrvBArbre> FabriqueStandard::CreeBArbre() {
  return std::make_unique<SrvBArbreImpl>(PartageDossier());
}
std::unique_ptr<SrvChainage> FabriqueStandard::CreeChainage() {
  return std::make_unique<SrvChainageImpl>(PartageDossier());
}
std::unique_ptr<SrvTexte> FabriqueStandard::CreeTexte() { return std::make_unique<SrvTexteImpl>(); }
std::unique_ptr<SrvListe> FabriqueStandard::CreeListe() { return std::make_unique<SrvListeImpl>(); }
std::unique_ptr<SrvAnomalie> FabriqueStandard::CreeAnomalie() {
  return std::make_unique<SrvAnomalieImpl>(options_.config, options_.affichage_anomalie);
}
std::unique_ptr<SrvJournal> FabriqueStandard::CreeJournal() {
  return std::make_unique<SrvJournalImpl>(options_.config);
}
std::unique_ptr<SrvEdition> FabriqueStandard::CreeEdition() {
  return DeLHote(options_.interface.edition, "SrvEdition");
}
std::unique_ptr<SrvSaisie> FabriqueStandard::CreeSaisie() {
  return DeLHote(options_.interface.saisie, "SrvSaisie");
}
std::unique_ptr<SrvEcran> FabriqueStandard::CreeEcran() {
  return DeLHote(options_.interface.ecran, "SrvEcran");
}
std::unique_ptr<SrvChoix> FabriqueStandard::CreeChoix() {
  return DeLHote(options_.interface.choix, "SrvChoix");
}
std::unique_ptr<SrvMessage> FabriqueStandard::CreeMessage() {
  return DeLHote(options_.interface.message, "SrvMessage");
}

CreateurServices CreateurStandard(OptionsServices options) {
  return [options = std::move(options)]() -> std::unique_ptr<FabriqueServices> {
    return std::make_unique<FabriqueStandard>(options);
  };
}

}  // namespace vesk
