// SrvDonneePg: the data-file and text-file service over a database store (BasePg) shared with
// the thread's SrvBArbrePg and SrvChainagePg. One object per thread.
#ifndef VESK_SRV_PG_SRV_DONNEE_PG_H_
#define VESK_SRV_PG_SRV_DONNEE_PG_H_

#include <memory>
#include <string>

#include "srv/pg/base_pg.h"
#include "srv/srv_donnee.h"

namespace vesk {

class SrvDonneePg : public SrvDonnee {
 public:
  explicit SrvDonneePg(std::shared_ptr<pg::BasePg> base);

  void ListeOuverts(std::string_view nature, std::string& liste, int32_t& nombre) override;
  void LireEnr(int16_t fichier, int32_t no_enr) override;
  void Donnee(bool dependance_entreprise, std::string_view nom, int16_t longueur_enr,
              int16_t& fichier, Proprietaire* proprietaire, std::string_view libelle,
              std::string_view methode, std::string_view mode, bool creation) override;
  void EcrireFichier(int16_t fichier, int32_t no_enr, std::string_view texte) override;
  void LireFichier(int16_t fichier, int32_t no_enr, std::string& texte) override;
  // Reads the live records page by page, in one snapshot of the store (a read-only transaction)
  // or, in a batch, in the batch's own transaction.
  void ParcourtEnregistrements(
      int16_t fichier,
      const std::function<bool(int32_t no_enr, std::string_view texte)>& visite) override;
  void NoEnrCourant(int16_t fichier, int32_t& no_enr) override;
  void OuvLect(std::string_view nom, int16_t& handle) override;
  void FinFich(int16_t handle, bool& fin) override;
  void LireLigne(int16_t handle, std::string& ligne) override;
  void Existe(std::string_view nom, bool& existe) override;
  void FermeLect(int16_t handle) override;
  void EcritTexte(std::string_view nom, const std::vector<std::string>& lignes) override;
  void SupprimeTexte(std::string_view nom) override;
  void DebutLot() override;
  void FinLot() override;
  void AnnuleLot() override;
  void ExisteDonnee(bool dependance_entreprise, std::string_view nom, bool& existe) override;
  void Supprimes(bool dependance_entreprise, std::string_view nom, int32_t& nombre) override;
  void Reconstruit(const PlanReconstruction& plan, const SuiviReconstruction& suivi,
                   BilanReconstruction& bilan) override;
  // The migration in the batch's transaction, which it ends (docs/postgresql.md, "Layout
  // migration"); a dry run reads in one snapshot, or in the batch's transaction when one is open.
  void Migre(const PlanMigration& plan, SuiviProgression& suivi, BilanMigration& bilan) override;

  pg::BasePg& Base() { return *base_; }

 private:
  pg::TextePg& TexteOuErreur(int16_t handle, std::string_view operation);

  std::shared_ptr<pg::BasePg> base_;
  std::string octets_;  // record bytes, reused
};

}  // namespace vesk

#endif  // VESK_SRV_PG_SRV_DONNEE_PG_H_
