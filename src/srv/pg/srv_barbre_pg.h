// SrvBArbrePg: the B-tree service over a database store (BasePg) shared with the thread's
// SrvDonneePg and SrvChainagePg. A tree is a table of keys and record numbers whose primary key
// is its index. One object per thread. An owner callback made by one of its operations must
// not call back into this object (the key buffer is shared).
#ifndef VESK_SRV_PG_SRV_BARBRE_PG_H_
#define VESK_SRV_PG_SRV_BARBRE_PG_H_

#include <memory>
#include <string>

#include "srv/pg/base_pg.h"
#include "srv/srv_barbre.h"

namespace vesk {

class SrvBArbrePg : public SrvBArbre {
 public:
  explicit SrvBArbrePg(std::shared_ptr<pg::BasePg> base);

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
  // Refuses to create a tree absent from the catalog while its data file fichier (of the same
  // place) holds live records: it would come back empty and hide them. It is rebuilt instead.
  void SansArbreVide(bool dependance, const std::string& fichier, const std::string& objet);
  // The tree and the data file of an operation, checked to belong together.
  pg::FichierPg& FichierDe(pg::ArbrePg& a, int16_t fichier, std::string_view op);
  // The key as Windows-1252 bytes completed with spaces to the key length, into key_.
  void Cle(pg::ArbrePg& a, std::string_view cle, std::string_view op);
  // Gives record e.no (found by the tree) to the owner as the current fields of f.
  void LitEnregistrement(pg::ArbrePg& a, pg::FichierPg& f, const pg::EntreeLue& e,
                         std::string_view op);
  // Insere; pari: it may bet on what this thread knows (InserePari).
  void InsereUne(int16_t arbre, std::string_view cle, int16_t fichier, int32_t& no_enr, bool pari);
  // Whether every key of a is known without asking the server (a primary tree in a batch
  // that has asked about enough keys to pay for reading them all: they are read then).
  bool ConnaitCles(pg::ArbrePg& a, std::string_view op);
  // Whether a.cles is kept up to date by this thread's writes (ArbrePg::cles).
  bool ClesSuivies(const pg::ArbrePg& a) const;
  void RetientCles(pg::ArbrePg& a, const pg::Resultat& r);
  // Whether Insere of key_ outside a batch may bet: a primary tree whose keys, and a file whose
  // last record, this thread knows from its own commits, the key not among them.
  bool PeutParier(const pg::ArbrePg& a, const pg::FichierPg& f) const;
  // Insere's key (key_) put into a under the next record number of f, which it gives back;
  // the refusal of a key that exists. InsereServeur asks the server (one round trip; outside
  // batches it reads every key with it once the questions pay for it), InsereConnue decides
  // from the keys known and queues the insert, InserePari queues it under the number known,
  // checked by the server when the operation commits (the key, the owner's record and the
  // commit in one round trip).
  int32_t InsereServeur(pg::ArbrePg& a, pg::FichierPg& f, std::string_view op);
  int32_t InsereConnue(pg::ArbrePg& a, pg::FichierPg& f, std::string_view op);
  int32_t InserePari(pg::ArbrePg& a, pg::FichierPg& f);
  // PremCle (premier true) and SuivCle.
  void Parcours(int16_t arbre, int16_t fichier, bool premier, bool& trouve, std::string& cle);
  // Reads ahead the entries after the walk's position (all of them from the start when
  // premier), with their records.
  void LitAvance(pg::ArbrePg& a, pg::FichierPg& f, int16_t fichier, bool premier,
                 std::string_view op);
  // The data file a tree indexes, for DescBArbre and InfoBArbre: its table, or "" when the
  // catalog does not have it.
  std::string TableIndexee(pg::ArbrePg& a, std::string* objet, std::string_view op);
  // Every key of a against the indexed table donnees: "Correct" or the first fault.
  std::string Controle(pg::ArbrePg& a, const std::string& donnees, std::string_view op);

  std::shared_ptr<pg::BasePg> base_;
  std::string key_;
};

}  // namespace vesk

#endif  // VESK_SRV_PG_SRV_BARBRE_PG_H_
