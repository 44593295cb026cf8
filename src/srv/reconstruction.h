// The plan, progress and outcome of a rebuild of data files and their B-trees, as the data-file
// service takes them (SrvDonnee::Reconstruit): which files, chainings and trees, and how the key
// of a record is built. Plain values; the key builders are called on the thread that rebuilds.
#ifndef VESK_SRV_RECONSTRUCTION_H_
#define VESK_SRV_RECONSTRUCTION_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

struct BArbreAReconstruire {
  std::string nom;  // the B-tree ("CLI1"), beside its data file
  int16_t longueur_cle = 0;
  std::string nature;  // "P" or "S"
  // The key of a record given as its text: padded with spaces to longueur_cle afterwards; a
  // longer key is refused. May throw ErreurService (the rebuild then ends with it).
  std::function<void(std::string_view enregistrement, std::string& cle)> cle;
};

struct FichierAReconstruire {
  std::string nom;
  bool dependance_entreprise = false;
  // The file chosen: compacted, all its trees rebuilt. The other files of the plan are the
  // header files of its chainings: rewritten, with their trees, only when pointers change in
  // them.
  bool choisi = false;
  std::vector<BArbreAReconstruire> arbres;
};

// A chaining between two files of the plan (indexes in fichiers), its pointers' positions from 1.
struct ChainageAReconstruire {
  size_t entete = 0, ligne = 0;
  int32_t pos_premiere = 0, pos_derniere = 0, pos_precedente = 0, pos_suivante = 0;
};

struct PlanReconstruction {
  std::vector<FichierAReconstruire> fichiers;
  std::vector<ChainageAReconstruire> chainages;
};

// What the rebuild tells as it goes, in this order for each file: kEnregistrement for each live
// record of the chosen file (its number and its new one; nombre: the file's records, live or
// deleted), kCompacte (nombre: the deleted records
// removed), kEcrit once a new file is written (deplace: its records were renumbered), kBArbre
// before each tree is built (arbre: its index in the file's trees, nombre: its keys).
struct EtapeReconstruction {
  enum class Nature { kEnregistrement, kCompacte, kEcrit, kBArbre } nature;
  size_t fichier = 0;
  size_t arbre = 0;
  int32_t numero = 0, nouveau = 0;
  int64_t nombre = 0;
  bool deplace = false;
};
using SuiviReconstruction = std::function<void(const EtapeReconstruction&)>;

struct BilanReconstruction {
  struct Fichier {
    bool reecrit = false;
    int32_t gardes = 0, supprimes = 0;
    std::vector<int64_t> cles;  // per tree of the plan (0 when not rebuilt)
    bool arbres_reconstruits = false;
  };
  std::vector<Fichier> fichiers;
  // The reconstruction was refused for what the files hold (a primary key found twice, a
  // pointer to a deleted record, a key too long): the message, the files left as they were.
  std::string refus;
  bool en_place = false;       // the new files are the folder's
  bool copie_echouee = false;  // new files not written or not put in place: the old ones stay
  std::string chemin;          // the chosen data file's path
};

}  // namespace vesk

#endif  // VESK_SRV_RECONSTRUCTION_H_
