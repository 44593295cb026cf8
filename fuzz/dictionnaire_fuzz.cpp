// The dictionary text's reader on any bytes: a text is refused with an ErreurService naming the
// fault, never a crash; a text it reads and the checks accept is written back as a text that
// reads back to the same model (the export of what an import accepted loads again).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/etat_module.h"
#include "fic/dictionnaire_texte.h"
#include "srv/erreur_service.h"
#include "srv/standard/fabrique_standard.h"

namespace {

void InstalleServices() {
  static const bool installe = [] {
    vesk::OptionsServices options;
    options.config.dossier = ".";
    vesk::InstalleServicesThread(vesk::CreateurStandard(options));
    return true;
  }();
  (void)installe;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  InstalleServices();
  const std::string_view texte(reinterpret_cast<const char*>(data), size);
  vesk::fic::ModeleDictionnaire modele;
  try {
    modele = vesk::fic::LitToml(texte, "fuzz.toml");
    if (!vesk::fic::ControleModele(vesk::Etat(), modele, "fuzz.toml").empty()) return 0;
  } catch (const vesk::ErreurService&) {
    return 0;
  }
  const std::string ecrit = vesk::fic::EcritToml(modele);
  const std::string relu = vesk::fic::EcritToml(vesk::fic::LitToml(ecrit, "relu.toml"));
  if (relu != ecrit) std::abort();
  return 0;
}
