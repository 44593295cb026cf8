#include "core/texte_genere.h"

#include <utility>

#include "srv/erreur_service.h"

namespace vesk {

namespace {

constexpr int32_t kBorneInitiale = 10;

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

}  // namespace vesk
