// SrvChainageImpl: chainings of line files to header files over a DossierDonnees shared with
// the thread's SrvDonneeImpl and SrvBArbreImpl. It alone writes the 3-character pointers; every
// walk checks them (range, deleted records, back pointers, cycles). One object per thread.
#ifndef VESK_SRV_ISAM_SRV_CHAINAGE_IMPL_H_
#define VESK_SRV_ISAM_SRV_CHAINAGE_IMPL_H_

#include <memory>
#include <vector>

#include "srv/isam/dossier.h"
#include "srv/srv_chainage.h"

namespace vesk {

class SrvChainageImpl : public SrvChainage {
 public:
  explicit SrvChainageImpl(std::shared_ptr<isam::DossierDonnees> dossier);

  void Chainage(std::string_view fichier_entete, int16_t longueur_entete, int16_t pos_premiere,
                int16_t pos_derniere, std::string_view fichier_ligne, int16_t longueur_ligne,
                int16_t pos_precedente, int16_t pos_suivante) override;
  void PremLigne(int16_t fichier_ligne, int32_t& no_enr) override;
  void SuivLigne(int16_t fichier_ligne, int32_t& no_enr) override;
  void AjouteLigne(int16_t fichier_ligne, int32_t& no_enr) override;
  void SupprimeLigne(int16_t fichier_ligne, int32_t no_enr) override;
  void SupprimeLignes(int16_t fichier_ligne) override;

 private:
  // The pieces of one chaining operation.
  struct Contexte {
    isam::ChainageOuvert* c;
    isam::FichierOuvert* entete;
    isam::FichierOuvert* ligne;
    uint32_t courant;  // the header's current record
  };
  Contexte Prepare(int16_t fichier_ligne, std::string_view op);
  // Prepare, for an operation that writes both files.
  Contexte PrepareEcriture(int16_t fichier_ligne, std::string_view op);
  uint32_t Pointeur(isam::FichierOuvert& f, uint32_t no, uint32_t at, std::string_view op);
  void EcritPointeur(isam::FichierOuvert& f, uint32_t no, uint32_t at, uint32_t valeur,
                     std::string_view op);
  // Checks that pointer value, read in record from of file from, names a live line.
  void ExigeCible(isam::FichierOuvert& ligne, uint32_t valeur, std::string_view de,
                  std::string_view op);
  // The lines of the header's current record, in order, every pointer checked.
  std::vector<uint32_t> Lignes(const Contexte& x, std::string_view op);

  std::shared_ptr<isam::DossierDonnees> dossier_;
};

}  // namespace vesk

#endif  // VESK_SRV_ISAM_SRV_CHAINAGE_IMPL_H_
