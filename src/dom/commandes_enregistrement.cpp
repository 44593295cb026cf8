// The AsS commands of the definition domains, registered when the program starts (every
// program that links the domains compiles this file: see vesk_library).
#include <string>

#include "core/commandes_composant.h"
#include "dom/dom.h"

namespace vesk::dom {

namespace {

// AsS::EntDom starts the screen with an empty code and a key code of 0.
void EntDomAsS(Session& s) {
  std::string code;
  int16_t touche = 0;
  EntDom(s, code, touche);
}

// The domain entry started by the field list on a new domain code: on a copy of the code (its
// first argument comes back as the mode letter).
void EntDomCode(Session& s, std::string_view code) {
  std::string copie(code);
  int16_t touche = 0;
  EntDom(s, copie, touche);
}

const bool kEnregistre = [] {
  EnregistreCommande(CommandeAsS::kEntDom, EntDomAsS);
  EnregistreCommande(CommandeAsS::kEdtDom, EdtDom);
  EnregistreOutil(OutilFichier::kDomaine, EntDomCode);
  return true;
}();

}  // namespace

}  // namespace vesk::dom
