// The AsS commands of B-tree maintenance (LectBA, ReConsBA), registered when the program starts
// (every program that links this folder compiles this file: see vesk_library).
#include "btree/lect_ba.h"
#include "btree/reconstruction.h"
#include "core/commandes_composant.h"

namespace vesk::btree {

namespace {

const bool kEnregistre = [] {
  EnregistreCommande(CommandeAsS::kLectBA, LectBA);
  EnregistreCommande(CommandeAsS::kReConsBA, ReConsBA);
  return true;
}();

}  // namespace

}  // namespace vesk::btree
