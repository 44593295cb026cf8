// SrvDonneeImpl: the data-file and text-file service over a DossierDonnees shared with the
// thread's SrvBArbreImpl and SrvChainageImpl. One object per thread.
#ifndef VESK_SRV_ISAM_SRV_DONNEE_IMPL_H_
#define VESK_SRV_ISAM_SRV_DONNEE_IMPL_H_

#include <memory>
#include <string>

#include "srv/isam/dossier.h"
#include "srv/srv_donnee.h"

namespace vesk {

class SrvDonneeImpl : public SrvDonnee {
 public:
  explicit SrvDonneeImpl(std::shared_ptr<isam::DossierDonnees> dossier);

  void ListeOuverts(std::string_view nature, std::string& liste, int32_t& nombre) override;
  void LireEnr(int16_t fichier, int32_t no_enr) override;
  void Donnee(bool dependance_entreprise, std::string_view nom, int16_t longueur_enr,
              int16_t& fichier, Proprietaire* proprietaire, std::string_view libelle,
              std::string_view methode, std::string_view mode, bool creation) override;
  void EcrireFichier(int16_t fichier, int32_t no_enr, std::string_view texte) override;
  void LireFichier(int16_t fichier, int32_t no_enr, std::string& texte) override;
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
  void Migre(const PlanMigration& plan, SuiviProgression& suivi, BilanMigration& bilan) override;

  isam::DossierDonnees& Dossier() { return *dossier_; }

 private:
  // The path of a text file of the folder's root, matching the name without regard to case.
  std::string CheminTexte(std::string_view nom, std::string_view operation, bool* existe);
  isam::TexteOuvert& TexteOuErreur(int16_t handle, std::string_view operation);

  std::shared_ptr<isam::DossierDonnees> dossier_;
  std::string octets_;  // record bytes, reused
  std::string ancien_;  // bytes on disk of a record written again
};

}  // namespace vesk

#endif  // VESK_SRV_ISAM_SRV_DONNEE_IMPL_H_
