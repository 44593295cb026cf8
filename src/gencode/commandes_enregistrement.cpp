// The generators' commands and their tools for the file specification entry, registered when
// the program starts (every program that links the generators compiles this file: see
// vesk_library): GenPS and GenPE, and key F4 that generates the declarations of the file on screen.
#include <string_view>

#include "core/commandes_composant.h"
#include "gencode/declaration.h"
#include "gencode/gen_pe.h"
#include "gencode/gen_ps.h"

namespace vesk {

namespace {

const bool kEnregistre = [] {
  EnregistreOutil(OutilFichier::kDeclarations, DeclarationFichier);
  EnregistreCommande(CommandeAsS::kGenPE, GenPE);
  EnregistreCommande(CommandeAsS::kGenPS, GenPS);
  return true;
}();

}  // namespace

}  // namespace vesk
