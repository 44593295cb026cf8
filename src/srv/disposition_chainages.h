// DispositionChainages: where a dictionary folder keeps its chainings, as the component lays its
// records out (core/dictionnaire.h gives kDispositionChainages): the dictionary's own chaining,
// the lines of one of its files under the records of another, and the file of the declared
// chainings with the slice of each field of its records. The folder verifier of the storage
// engine (srv/isam/verify.h) reads a folder's chainings with it, so that the engine knows no
// record layout of the component. Positions count from 1. Plain data; any thread.
#ifndef VESK_SRV_DISPOSITION_CHAINAGES_H_
#define VESK_SRV_DISPOSITION_CHAINAGES_H_

#include <cstdint>
#include <string_view>

namespace vesk {

// The pointers of a chaining: the first and last line in the header record, the previous and
// next line in each line record.
struct PositionsChainage {
  int16_t premiere, derniere;    // in the header record
  int16_t precedente, suivante;  // in the line record
};

// A field of a record: its first character and its width.
struct TrancheChamp {
  int16_t position;
  int16_t largeur;
};

struct DispositionChainages {
  std::string_view entete, ligne;  // the dictionary's own chaining: its header and line files
  PositionsChainage propre;        // and its pointers
  std::string_view fichier;        // the file of the declared chainings
  // Its fields: the line file, the pointers in the line record, the header file, the pointers
  // in the header record.
  TrancheChamp chainl, pnea, pnes, chaine, ppe, pde;
};

}  // namespace vesk

#endif  // VESK_SRV_DISPOSITION_CHAINAGES_H_
