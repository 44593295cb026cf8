// The AsS commands of the file specification editor, registered when the program starts
// (every program that links the editor compiles this file: see vesk_library).
#include "core/commandes_composant.h"
#include "fic/fic.h"
#include "fic/lecture_dictionnaire.h"

namespace vesk::fic {

namespace {

const bool kEnregistre = [] {
  EnregistreCommande(CommandeAsS::kEntFic, EntFic);
  EnregistreCommande(CommandeAsS::kEdtLFic, [](Session& s) {
    std::string liste = "[]";
    EdtLFic(s, LitDictionnaire(s), true, liste);
  });
  EnregistreCommande(CommandeAsS::kFicApp, FicApp);
  EnregistreOutil(OutilFichier::kEdition, [](Session& s, std::string_view nom) {
    EdtFic(s, LitDictionnaire(s), nom, true);
  });
  return true;
}();

}  // namespace

}  // namespace vesk::fic
