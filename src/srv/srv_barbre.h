// SrvBArbre: B-tree indexes over data files. A B-tree file holds fixed-length keys and record
// numbers; the data file it indexes is named by the file handle passed to each operation.
// One object per thread, sharing the open files of the thread's SrvDonnee.
#ifndef VESK_SRV_SRV_BARBRE_H_
#define VESK_SRV_SRV_BARBRE_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace vesk {

// The longest key a B-tree may hold, in characters.
inline constexpr int16_t kLongueurCleMax = 1024;

class SrvBArbre {
 public:
  virtual ~SrvBArbre() = default;

  // Takes the next record number of the data file, writes the current fields there through the
  // owner's "Ecrire" method and inserts the key. On a primary tree an existing key is refused
  // with an error and nothing is written.
  virtual void Insere(int16_t arbre, std::string_view cle, int16_t fichier, int32_t& no_enr) = 0;
  // Looks the key up (padded with spaces to the key length). When found (on a secondary tree:
  // the first record of that key), the record is read into the current fields and becomes the
  // file's current record (NoEnrCourant).
  virtual void Recherche(int16_t arbre, std::string_view cle, int16_t fichier, bool& trouve) = 0;
  // Bracketed list of the record numbers held by the tree, in key order; nombre is their count.
  // filtre: "" for all keys, otherwise only the keys that begin with it.
  virtual void ListeEnr(int16_t arbre, int32_t& nombre, std::string& liste,
                        std::string_view filtre) = 0;
  // Opens (creating when absent and creation is true) the B-tree nom of keys of longueur_cle
  // characters and nature "P" (unique keys) or "S" (duplicates allowed). fichier_indexe: the
  // name of the data file indexed, recorded in the header ("" when not known yet: the data file
  // of the same name). An absent tree whose data file holds live records is not created empty
  // (an error naming both: it is rebuilt from the records).
  virtual void B_Arbre(bool dependance_entreprise, std::string_view nom, int16_t longueur_cle,
                       std::string_view nature, int16_t& arbre, std::string_view fichier_indexe,
                       bool creation) = 0;
  // Whether the B-tree file nom exists, in the data folder or, company-dependent, in the current
  // company's folder (false when no company is current). Opens nothing.
  virtual void Existe(bool dependance_entreprise, std::string_view nom, bool& existe) = 0;
  // First key in key order; its record becomes the current fields. trouve is false when empty.
  virtual void PremCle(int16_t arbre, int16_t fichier, bool& trouve, std::string& cle) = 0;
  // Next key after the last one given by PremCle/SuivCle/Recherche on this tree, even when keys
  // were inserted or removed meanwhile; trouve is false after the last.
  virtual void SuivCle(int16_t arbre, int16_t fichier, bool& trouve, std::string& cle) = 0;
  // Removes the pair (key, record number). On a primary tree the record is also given back to
  // the data file (marked deleted); on a secondary tree only the key goes.
  virtual void Supprime(int16_t arbre, std::string_view cle, int32_t no_enr, int16_t fichier) = 0;
  // The nine header values (node length, key length, pointer length, nature, order, levels,
  // keys, nodes, root address), the free nodes and the deleted records of the indexed file, as
  // bracketed lists.
  virtual void DescBArbre(int16_t arbre, std::string& entete, std::string& noeuds_libres,
                          std::string& enregistrements_libres) = 0;
  // A list of [title,text] pairs that help judge the tree (fill, keys per level, data file...).
  virtual void InfoBArbre(int16_t arbre, std::string& infos) = 0;
  // Inserts the key of the existing live record no_enr into a secondary tree (nature "S"),
  // writing no record: how a program indexes a record that Insere created through its primary
  // tree. Supprime on the secondary tree takes the key out again.
  virtual void InsS(int16_t arbre, std::string_view cle, int32_t no_enr, int16_t fichier) = 0;
  // The keys the tree counts in its header and the live records of the data file fichier, as
  // last committed, without a walk: on a primary tree they are equal, and a difference is the
  // cheap sign of a damaged tree or file.
  virtual void Comptes(int16_t arbre, int16_t fichier, int64_t& cles, int32_t& vivants) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_BARBRE_H_
