// The plan and outcome of a layout migration of data files, as the data-file service takes it
// (SrvDonnee::Migre): for each data file whose layout changes, how each new record is made from
// the old one (pieces copied, converted or given), the B-trees built from the new records, and
// where the file lives (the root, or every company folder); the records keep their numbers, so
// that chainings and E fields keep their links. Plain values; the conversions and key builders
// are called on the thread that migrates.
#ifndef VESK_SRV_MIGRATION_H_
#define VESK_SRV_MIGRATION_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "srv/reconstruction.h"

namespace vesk {

// One piece of a new record, applied over a record of spaces in the order of the plan (a later
// piece is written over an earlier one). Positions count from 1, lengths in characters.
struct PieceMigration {
  enum class Source {
    kDonnee,      // texte, as given
    kCopie,       // the old bytes: padded with spaces when longer, cut when shorter (the cut
                  // part must be blank, unless the plan allows cutting)
    kConversion,  // the old bytes through conversion
  };
  Source source = Source::kDonnee;
  std::string variable;  // names the piece in the problems
  int32_t position = 0, longueur = 0;
  int32_t position_ancienne = 0, longueur_ancienne = 0;  // kCopie, kConversion
  std::string texte;                                     // kDonnee: longueur characters
  // kConversion: the new text of the old one; false, with the reason (which shows the value),
  // when the value does not fit. Must not throw.
  std::function<bool(std::string_view ancien, std::string& nouveau, std::string& raison)>
      conversion;
};

struct FichierMigre {
  std::string nom;
  bool dependance_ancienne = false, dependance = false;
  int32_t longueur_ancienne = 0, longueur = 0;
  // The records are rewritten by pieces (false: kept as they are, only the trees are built).
  bool convertit = false;
  std::vector<PieceMigration> pieces;
  // The specification is removed: the data file and its trees go to the backup, nothing new.
  bool supprime = false;
  std::vector<std::string> arbres_anciens;  // the trees of the file before the change
  std::vector<BArbreAReconstruire> arbres;  // the trees after it, built from the new records
};

struct PlanMigration {
  std::vector<FichierMigre> fichiers;
  bool essai = false;            // reads and reports only: nothing is written
  bool tronque = false;          // texts cut and decimals rounded where they do not fit
  size_t problemes_listes = 20;  // values that do not fit, listed per file and folder
};

struct ProblemeMigration {
  int32_t enregistrement = 0;
  std::string variable;
  std::string raison;  // shows the value
};

struct BilanMigration {
  // One data file in one folder.
  struct Lieu {
    std::string entreprise;           // "" at the root, else the company's folder ("01")
    std::string entreprise_nouvelle;  // where its records go
    int32_t enregistrements = 0;      // live records
    int32_t supprimes = 0;
    int64_t problemes = 0;  // values that do not fit
    std::vector<ProblemeMigration> premiers;
    std::vector<int64_t> cles;  // per tree of the plan's file
  };
  struct Fichier {
    std::vector<Lieu> lieux;  // where the file has data (none: nothing to migrate)
  };
  std::vector<Fichier> fichiers;  // per file of the plan
  // Refused for what the files hold (values that do not fit, a primary key twice, a file of
  // another length than the dictionary says, a dependence that cannot move): the message; the
  // folder left as it was, the batch undone.
  std::string refus;
  bool en_place = false;   // the new files and the batch are the folder's
  std::string sauvegarde;  // the backup folder of the old files, in the data folder
};

}  // namespace vesk

#endif  // VESK_SRV_MIGRATION_H_
