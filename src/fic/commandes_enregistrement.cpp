// The AsS commands of the file specification editor, registered when the program starts
// (every program that links the editor compiles this file: see vesk_library).
#include "core/commandes_composant.h"
#include "fic/fic.h"

namespace vesk::fic {

namespace {

const bool kEnregistre = [] {
  EnregistreCommande(CommandeAsS::kEntFic, EntFic);
  EnregistreCommande(CommandeAsS::kEdtLFic, [] {
    std::string liste = "[]";
    EdtLFic(true, liste);
  });
  EnregistreCommande(CommandeAsS::kFicApp, FicApp);
  EnregistreOutil(OutilFichier::kEdition, [](std::string_view nom) { EdtFic(nom, true); });
  return true;
}();

}  // namespace

}  // namespace vesk::fic
