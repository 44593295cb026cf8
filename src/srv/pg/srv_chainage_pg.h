// SrvChainagePg: chainings of line files to header files over a database store (BasePg) shared
// with the thread's SrvDonneePg and SrvBArbrePg. The 3-character pointers are bytes of the
// records, as in a folder; a chain is read in one statement (a recursive query following the
// next pointers) and every pointer checked with the folder engine's messages. One object per
// thread.
#ifndef VESK_SRV_PG_SRV_CHAINAGE_PG_H_
#define VESK_SRV_PG_SRV_CHAINAGE_PG_H_

#include <memory>
#include <vector>

#include "srv/pg/base_pg.h"
#include "srv/srv_chainage.h"

namespace vesk {

class SrvChainagePg : public SrvChainage {
 public:
  explicit SrvChainagePg(std::shared_ptr<pg::BasePg> base);

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
    pg::ChainagePg* c;
    pg::FichierPg* entete;
    pg::FichierPg* ligne;
    int32_t courant;  // the header's current record
  };
  // A line of a chain as read: its number, whether it exists and is deleted, its pointers.
  struct Maillon {
    int32_t no = 0;
    bool present = false, supprime = false;
    uint32_t precedent = 0, suivant = 0;
  };
  Contexte Prepare(int16_t fichier_ligne, std::string_view op);
  Contexte PrepareEcriture(int16_t fichier_ligne, std::string_view op);
  void EcritPointeur(pg::FichierPg& f, int32_t no, uint32_t at, uint32_t valeur);
  // Checks that pointer value, read in `de`, names a live line of ligne.
  void ExigeCible(const pg::FichierPg& ligne, const Maillon& m, int64_t dernier,
                  std::string_view de, std::string_view op) const;
  // The lines of the header's current record, in order, every pointer checked (the header
  // checked live); *dernier receives the line file's last record.
  std::vector<int32_t> Lignes(const Contexte& x, int64_t* dernier, std::string_view op);
  // Reads ahead the chain from line `depart` of x (the line itself first), records included.
  std::vector<pg::EntreeLue> LitChaine(const Contexte& x, int32_t depart, std::string_view op);

  std::shared_ptr<pg::BasePg> base_;
};

}  // namespace vesk

#endif  // VESK_SRV_PG_SRV_CHAINAGE_PG_H_
