#include "com/hote_com.h"

#include <windows.h>

#include <mutex>
#include <string>
#include <utility>

#include "core/etat_module.h"
#include "gencode/etat_gencode.h"
#include "gencode/feuille_gencode.h"
#include "platform/platform.h"
#include "srv/hote/interface_hote.h"
#include "srv/standard/chargement_configuration.h"

namespace vesk::com {

namespace {

// The data folder and where its name came from, for the error messages.
std::pair<std::string, std::string> DossierDonnees() {
  std::string env = platform::Environnement("VESK_DATA");
  if (!env.empty()) return {env, "variable VESK_DATA"};
  std::wstring courant(MAX_PATH, L'\0');
  DWORD n = ::GetCurrentDirectoryW(static_cast<DWORD>(courant.size()), courant.data());
  if (n > courant.size()) {
    courant.resize(n);
    n = ::GetCurrentDirectoryW(static_cast<DWORD>(courant.size()), courant.data());
  }
  courant.resize(n < courant.size() ? n : 0);
  return {courant.empty() ? std::string(".") : platform::Etroit(courant),
          "dossier courant du programme"};
}

std::unique_ptr<FabriqueServices> FabriqueDuThread() {
  auto [dossier, origine] = DossierDonnees();
  OptionsServices options;
  options.config = ChargeConfigurationDossier(dossier, origine, LitIniPortable);
  const Configuration& config = options.config;
  if (config.script.empty()) {
    options.interface = EcransTerminal(config);
  } else {
    options.interface =
        EcransScript(config, script::Session::DepuisFichier(config.Chemin(config.script)));
  }
  EditionsHote editions;
  editions.annule = EditionAnnuleeDuThread;
  editions.visionne = [](std::string_view titre, std::string_view texte) {
    Etat().Message().Visionne(texte, titre);
  };
  options.interface.edition = Editions(config, std::move(editions));
  return std::make_unique<FabriqueStandard>(std::move(options));
}

}  // namespace

void InstalleHote() {
  static std::once_flag une_fois;
  std::call_once(une_fois, [] {
    InstalleServices(FabriqueDuThread);
    InstalleAffichageGenCode(FeuilleGenCode());
  });
}

}  // namespace vesk::com
