// The objects a thread has open in a database store: data files, B-trees, text files and
// chainings, each under a 16-bit handle of BasePg. Plain data; one thread.
#ifndef VESK_SRV_PG_OBJETS_PG_H_
#define VESK_SRV_PG_OBJETS_PG_H_

#include <cstdint>
#include <deque>
#include <string>
#include <unordered_set>
#include <vector>

#include "srv/proprietaire.h"

namespace vesk::pg {

// A data file: the table TABLE (schema.d_name) of its records.
struct FichierPg {
  std::string nom;         // upper case, as stored ("CLIENT")
  std::string objet;       // for messages ("CLIENT.DAT")
  std::string chemin;      // the store, its schema and the file, where a folder gives a path
  std::string entreprise;  // "" at the root, else the company (upper case)
  bool dependance = false;
  std::string table;  // "vesk_01.d_client"
  int64_t oid = 0;    // the table's identity when the file was opened
  // Why the handle is refused, when another program's migration replaced its table.
  std::string remplace;
  uint32_t longueur = 0;
  bool lecture_seule = false;
  Proprietaire* proprietaire = nullptr;
  std::string methode;  // the name the owner's methods end with
  int32_t id_lire = -1;
  int32_t id_ecrire = -1;
  int32_t courant = 0;  // NoEnrCourant
  // Byte offsets of chaining pointers in the record: kept as they are when a live record is
  // written again.
  std::vector<uint32_t> pointeurs;
  // The last record in use, known only while this thread holds the store's lock (-1: unknown).
  int64_t dernier = -1;
  // The last record in use when this thread last committed, true in BasePg::Generation()
  // dernier_generation while no other program writes the file (-1: unknown).
  int64_t dernier_connu = -1;
  uint64_t dernier_generation = 0;
  uint64_t version = 0;  // moves at each write of this thread to the file
};

// How many keys Insere asked the server about in a window (a batch's transaction, or the time
// since this thread last undid anything), and the tree's size estimated at the first of them.
struct EssaisPg {
  int64_t nombre = 0;
  uint64_t fenetre = 0;
  int64_t taille = 0;
};

// An entry of a B-tree read ahead by a walk, with its record.
struct EntreeLue {
  std::string cle;
  int32_t no = 0;
  bool present = false;  // the record exists
  bool supprime = false;
  std::string octets;
};

// A B-tree: the table TABLE (schema.b_name) of keys and record numbers.
struct ArbrePg {
  std::string nom;
  std::string objet;  // "CLI1.DAB"
  std::string chemin;
  std::string entreprise;
  bool dependance = false;
  std::string table;
  int64_t oid = 0;
  std::string remplace;
  uint16_t longueur_cle = 0;
  char nature = 'P';
  std::string fichier_indexe;   // upper-case name of the data file indexed, "" when unknown
  int16_t dernier_fichier = 0;  // the data file last used with this tree
  bool curseur = false;         // a walk position is known
  std::string cle_curseur;      // key bytes of the last entry given
  int32_t no_curseur = 0;
  uint64_t version = 0;  // moves at each write of this thread to the tree
  // The walk's next entries and their records, read ahead from the data file with handle
  // fichier_avance, while the tree and that file were at the versions noted.
  std::deque<EntreeLue> avance;
  int16_t fichier_avance = 0;
  uint64_t version_arbre = 0, version_fichier = 0;
  bool fin_lue = false;  // the read ahead reached the end of the tree
  // Every key of a primary tree, loaded once Insere has asked the server about enough keys,
  // and kept by this thread's own inserts and deletions. In a batch, valid in BasePg::Epoque()
  // cles_epoque only (the store's lock held): Insere then refuses a key that exists without
  // asking the server. Outside batches, the keys as this thread last committed them, in
  // BasePg::Generation() cles_generation: another program's writes are not in them, so Insere
  // only bets on them, the server checking (SrvBArbrePg::InserePari).
  std::unordered_set<std::string> cles;
  uint64_t cles_epoque = 0;
  uint64_t cles_generation = 0;
  EssaisPg essais_lot;    // window: the batch's epoch
  EssaisPg essais_seuls;  // window: the generation
};

// A text file read whole when opened.
struct TextePg {
  std::string objet;
  std::string octets;
  size_t position = 0;
};

// A chaining: the lines of one file chained under the records of a header file; offsets are
// 0-based byte offsets inside the records.
struct ChainagePg {
  int16_t entete = 0;
  int16_t ligne = 0;
  uint32_t premiere = 0, derniere = 0;    // in the header record
  uint32_t precedente = 0, suivante = 0;  // in the line record
  uint32_t pas = 0;                       // lines walked since PremLigne, against cycles
  // Lines read ahead by PremLigne/SuivLigne, the first one being the line given last, while
  // the line file was at the version noted and had `dernier` records.
  std::deque<EntreeLue> avance;
  uint64_t version = 0;
  int64_t dernier = 0;
};

}  // namespace vesk::pg

#endif  // VESK_SRV_PG_OBJETS_PG_H_
