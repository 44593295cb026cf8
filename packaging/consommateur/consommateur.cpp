// Enters a domain through the component's entry screen answered by a script, then lists the
// domains as text: the whole road of a host, through the installed headers and libraries.
// Usage: consommateur DOSSIER (an empty folder); prints the listing, exit status 0 when done.
#include <fstream>
#include <iostream>
#include <sstream>

#include "core/ass.h"
#include "core/etat_module.h"
#include "srv/erreur_service.h"
#include "srv/standard/fabrique_standard.h"
#include "srv/hote/interface_hote.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "utilisation : consommateur DOSSIER\n";
    return 2;
  }
  try {
    vesk::OptionsServices options;
    options.config.dossier = argv[1];
    auto session = vesk::script::Session::DepuisTexte(
        "CODOM = TVA\nNOMDOM = Taux de TVA\nFDD = TVA\nCODOM =\n", "consommateur");
    options.interface = vesk::EcransScript(options.config, session);
    vesk::EditionsHote editions;
    editions.fichier = std::string(argv[1]) + "/domaines.txt";
    options.interface.edition = vesk::Editions(options.config, editions);
    vesk::InstalleServices(vesk::CreateurStandard(options));
    {
      auto ass = vesk::AsS::Cree();
      ass->OuvS();
      ass->EntDom();
      ass->EdtDom();
    }
    vesk::OublieEtat();
  } catch (const vesk::ErreurService& e) {
    std::cerr << "consommateur : " << e.what() << "\n";
    return 1;
  }
  std::ifstream listing(std::string(argv[1]) + "/domaines.txt");
  std::stringstream texte;
  texte << listing.rdbuf();
  std::cout << texte.str();
  return texte.str().find("Taux de TVA") == std::string::npos ? 1 : 0;
}
