#include "srv/standard/fabrique_standard.h"

#include "srv/erreur_service.h"
#include "srv/isam/dossier.h"
#include "srv/isam/srv_barbre_impl.h"
#include "srv/isam/srv_chainage_impl.h"
#include "srv/isam/srv_donnee_impl.h"
#include "srv/list/srv_liste_impl.h"
#include "srv/log/srv_journal_impl.h"
#include "srv/text/srv_texte_impl.h"
#ifdef VESK_AVEC_PG
#include "srv/pg/srv_barbre_pg.h"
#include "srv/pg/srv_chainage_pg.h"
#include "srv/pg/srv_donnee_pg.h"
#endif

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

#ifdef VESK_AVEC_PG
// The thread's database store, when `stockage` names one (docs/postgresql.md).
std::shared_ptr<pg::BasePg> FabriqueStandard::PartageBase() {
  if (base_ == nullptr) {
    AdresseBase adresse;
    const std::string pourquoi = AnalyseAdresseBase(options_.config.stockage, adresse);
    if (!pourquoi.empty()) throw ErreurService("Ouverture du stockage", "stockage", pourquoi);
    base_ = std::make_shared<pg::BasePg>(adresse, options_.config.entreprise);
    base_->Synchro(options_.config.synchro == Synchro::kFull);
  }
  return base_;
}
#endif

bool FabriqueStandard::SurBase() const {
  if (options_.config.stockage.empty()) return false;
#ifndef VESK_AVEC_PG
  throw ErreurService("Ouverture du stockage", options_.config.stockage,
                      "ce programme est construit sans le stockage PostgreSQL (option VESK_PG)");
#endif
  return true;
}

#ifdef VESK_AVEC_PG
#define VESK_SUR_BASE(Service) \
  if (SurBase()) return std::make_unique<Service>(PartageBase())
#else
#define VESK_SUR_BASE(Service) (void)SurBase()
#endif

std::unique_ptr<SrvDonnee> FabriqueStandard::CreeDonnee() {
  VESK_SUR_BASE(SrvDonneePg);
  return std::make_unique<SrvDonneeImpl>(PartageDossier());
}
std::unique_ptr<SrvBArbre> FabriqueStandard::CreeBArbre() {
  VESK_SUR_BASE(SrvBArbrePg);
  return std::make_unique<SrvBArbreImpl>(PartageDossier());
}
std::unique_ptr<SrvChainage> FabriqueStandard::CreeChainage() {
  VESK_SUR_BASE(SrvChainagePg);
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
