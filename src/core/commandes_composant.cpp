#include "core/commandes_composant.h"

#include <array>
#include <mutex>

#include "srv/erreur_service.h"

namespace vesk {

namespace {

constexpr size_t kNombreCommandes = static_cast<size_t>(CommandeAsS::kGenPE) + 1;

constexpr size_t kNombreOutils = static_cast<size_t>(OutilFichier::kDomaine) + 1;

struct Table {
  std::mutex verrou;
  std::array<ExecutionCommande, kNombreCommandes> executions{};
  std::array<ExecutionOutil, kNombreOutils> outils{};
};

Table& Commandes() {
  static Table table;
  return table;
}

}  // namespace

void EnregistreCommande(CommandeAsS commande, ExecutionCommande execution) {
  Table& table = Commandes();
  std::lock_guard<std::mutex> garde(table.verrou);
  table.executions.at(static_cast<size_t>(commande)) = execution;
}

void ExecuteCommande(Session& s, CommandeAsS commande, std::string_view nom) {
  ExecutionCommande execution = nullptr;
  {
    Table& table = Commandes();
    std::lock_guard<std::mutex> garde(table.verrou);
    execution = table.executions.at(static_cast<size_t>(commande));
  }
  if (execution == nullptr) {
    throw ErreurService(nom, "", "cette commande n'est pas encore disponible");
  }
  execution(s);
}

void EnregistreOutil(OutilFichier outil, ExecutionOutil execution) {
  Table& table = Commandes();
  std::lock_guard<std::mutex> garde(table.verrou);
  table.outils.at(static_cast<size_t>(outil)) = execution;
}

void ExecuteOutil(Session& s, OutilFichier outil, std::string_view nom, std::string_view quoi) {
  ExecutionOutil execution = nullptr;
  {
    Table& table = Commandes();
    std::lock_guard<std::mutex> garde(table.verrou);
    execution = table.outils.at(static_cast<size_t>(outil));
  }
  if (execution == nullptr) throw ErreurService(quoi, nom, "cet outil n'est pas encore disponible");
  execution(s, nom);
}

}  // namespace vesk
