// The vesk command.
#include <CLI/CLI.hpp>
#include <iostream>

int main(int argc, char** argv) {
  CLI::App app{"Vesk : Gestion des Fichiers et B-Arbre d'Application"};
  app.set_version_flag("--version", "vesk 0.1.0");
  CLI11_PARSE(app, argc, argv);
  std::cout << app.help();
  return 0;
}
