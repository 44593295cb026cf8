// The generators' tools for the file specification entry, registered when the program starts
// (every program that links the generators compiles this file: see vesk_library): key F4
// generates the declarations of the file on screen.
#include <string_view>

#include "core/commandes_composant.h"
#include "gencode/declaration.h"

namespace vesk {

namespace {

const bool kEnregistre = [] {
  EnregistreOutil(OutilFichier::kDeclarations, DeclarationFichier);
  return true;
}();

}  // namespace

}  // namespace vesk
