// SrvBArbreImpl: the B-tree service over a DossierDonnees shared with the thread's
// SrvDonneeImpl and SrvChainageImpl. One object per thread. An owner callback made by one of
// its operations must not call back into this object (the key buffer is shared).
#ifndef VESK_SRV_ISAM_SRV_BARBRE_IMPL_H_
#define VESK_SRV_ISAM_SRV_BARBRE_IMPL_H_

#include <memory>
#include <string>

#include "srv/isam/dossier.h"
#include "srv/srv_barbre.h"

namespace vesk {

class SrvBArbreImpl : public SrvBArbre {
 public:
  explicit SrvBArbreImpl(std::shared_ptr<isam::DossierDonnees> dossier);

  void Insere(int16_t arbre, std::string_view cle, int16_t fichier, int32_t& no_enr) override;
  void Recherche(int16_t arbre, std::string_view cle, int16_t fichier, bool& trouve) override;
  void ListeEnr(int16_t arbre, int32_t& nombre, std::string& liste,
                std::string_view filtre) override;
  void B_Arbre(bool dependance_entreprise, std::string_view nom, int16_t longueur_cle,
               std::string_view nature, int16_t& arbre, std::string_view fichier_indexe,
               bool creation) override;
  void PremCle(int16_t arbre, int16_t fichier, bool& trouve, std::string& cle) override;
  void SuivCle(int16_t arbre, int16_t fichier, bool& trouve, std::string& cle) override;
  void Supprime(int16_t arbre, std::string_view cle, int32_t no_enr, int16_t fichier) override;
  void Existe(bool dependance_entreprise, std::string_view nom, bool& existe) override;
  void DescBArbre(int16_t arbre, std::string& entete, std::string& noeuds_libres,
                  std::string& enregistrements_libres) override;
  void InfoBArbre(int16_t arbre, std::string& infos) override;
  void InsS(int16_t arbre, std::string_view cle, int32_t no_enr, int16_t fichier) override;
  void Comptes(int16_t arbre, int16_t fichier, int64_t& cles, int32_t& vivants) override;

 private:
  // Refuses to create the absent tree path when the data file it indexes holds live records.
  void SansArbreVide(bool dependance, const std::string& fichier, const std::string& path,
                     const std::string& objet);
  // The tree and the data file of an operation, checked to belong together.
  isam::FichierOuvert& FichierDe(isam::ArbreOuvert& a, int16_t fichier, std::string_view op);
  // The key as Windows-1252 bytes completed with spaces to the key length, into key_.
  void Cle(isam::ArbreOuvert& a, std::string_view cle, std::string_view op);
  // Reads record no (given by the tree) into the current fields of f.
  void LitEnregistrement(isam::ArbreOuvert& a, isam::FichierOuvert& f, uint32_t no,
                         std::string_view op);
  // PremCle (first true) and SuivCle.
  void Parcours(int16_t arbre, int16_t fichier, bool premier, bool& trouve, std::string& cle);
  // The deleted records of the data file the tree indexes.
  std::vector<uint32_t> SupprimesIndexes(isam::ArbreOuvert& a, std::string* objet,
                                         isam::DataFile** data, std::string_view op);

  std::shared_ptr<isam::DossierDonnees> dossier_;
  std::string key_;
  std::string found_;
  std::unique_ptr<isam::DataFile> lu_;  // a data file opened for DescBArbre / InfoBArbre
};

}  // namespace vesk

#endif  // VESK_SRV_ISAM_SRV_BARBRE_IMPL_H_
