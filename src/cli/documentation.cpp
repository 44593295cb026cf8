// vesk-documentation: writes the manual page vesk(1) and the bash completion of vesk from its
// help (cli/aide.h), at build time.
// Usage: vesk-documentation MANUEL COMPLETION VERSION DATE
#include <fstream>
#include <iostream>

#include "cli/aide.h"

namespace {

bool Ecrit(const char* chemin, const std::string& texte) {
  std::ofstream sortie(chemin, std::ios::binary | std::ios::trunc);
  sortie << texte;
  sortie.close();
  if (!sortie) std::cerr << "vesk-documentation : écriture impossible de " << chemin << "\n";
  return static_cast<bool>(sortie);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::cerr << "utilisation : vesk-documentation MANUEL COMPLETION VERSION DATE\n";
    return 2;
  }
  const bool fait = Ecrit(argv[1], vesk::cli::PageManuel(argv[3], argv[4])) &&
                    Ecrit(argv[2], vesk::cli::CompletionBash());
  return fait ? 0 : 1;
}
