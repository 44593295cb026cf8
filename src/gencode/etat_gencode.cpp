#include "gencode/etat_gencode.h"

#include <mutex>
#include <utility>

#include "platform/platform.h"
#include "srv/erreur_service.h"

namespace vesk {

namespace {

constexpr int32_t kBorneInitiale = 10;

// Per-thread objects through the platform's thread keys (see platform::ParThread).
platform::ParThread<EtatGenCode>& EtatThread() {
  static platform::ParThread<EtatGenCode> etat;
  return etat;
}

platform::ParThread<std::shared_ptr<AffichageGenCode>>& AffichageThread() {
  static platform::ParThread<std::shared_ptr<AffichageGenCode>> affichage;
  return affichage;
}

std::mutex& VerrouAffichage() {
  static std::mutex verrou;
  return verrou;
}

std::shared_ptr<AffichageGenCode>& AffichageGlobal() {
  static std::shared_ptr<AffichageGenCode> affichage;
  return affichage;
}

}  // namespace

void EtatGenCode::VideTexte() {
  texte_.clear();
  anomalies_.clear();
  generations_ = Somme<int32_t>(generations_, 1);
}

void EtatGenCode::RecreeInst() {
  inst_.Vide();
  inst_.Redimensionne(kBorneInitiale + 1);
}

void EtatGenCode::AjouteTexte(std::string_view ligne) {
  texte_.append("\r\n");
  texte_.append(ligne);
}

void EtatGenCode::AjouteAnomalie(std::string_view message, std::string_view procedure) {
  anomalies_.push_back({std::string(message), std::string(procedure)});
}

void EtatGenCode::PrepareEcriture(std::string_view operation) {
  if (inst_.Taille() == 0) {
    throw ErreurService(operation, "Génération de Code",
                        "aucune génération de code n'est commencée (InitGenCode d'abord)");
  }
  if (nb_inst_ >= BorneInst()) {
    const int32_t borne = Produit<int32_t>(nb_inst_, 2);
    inst_.Redimensionne(static_cast<size_t>(Somme<int32_t>(borne, 1)));
  }
}

void EtatGenCode::Enregistre(LigneInst ligne) {
  const int32_t indice = Somme<int32_t>(nb_inst_, 1);
  inst_[indice] = std::move(ligne);
  nb_inst_ = indice;
}

EtatGenCode& EtatGen() {
  EtatGenCode* etat = EtatThread().Pointeur();
  if (etat == nullptr) {
    EtatThread().Remplace(std::make_unique<EtatGenCode>());
    etat = EtatThread().Pointeur();
  }
  return *etat;
}

void OublieEtatGen() { EtatThread().Remplace(nullptr); }

void InstalleAffichageGenCode(std::shared_ptr<AffichageGenCode> affichage) {
  std::lock_guard<std::mutex> garde(VerrouAffichage());
  AffichageGlobal() = std::move(affichage);
}

void InstalleAffichageGenCodeThread(std::shared_ptr<AffichageGenCode> affichage) {
  AffichageThread().Remplace(
      affichage ? std::make_unique<std::shared_ptr<AffichageGenCode>>(std::move(affichage))
                : nullptr);
}

std::shared_ptr<AffichageGenCode> AffichageCourant() {
  if (auto* propre = AffichageThread().Pointeur()) return *propre;
  std::lock_guard<std::mutex> garde(VerrouAffichage());
  return AffichageGlobal();
}

}  // namespace vesk
