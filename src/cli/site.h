// The dictionary as a static site (`vesk site DOSSIER`, docs/site.md): an index of the files,
// domains and B-tree tables, a page per file and per domain, the application's diagram and a
// search, all readable from file:// with nothing fetched from elsewhere. Made from the typed
// model in one walk of it; written into a temporary folder put in DOSSIER's place at the end.
// Linux builds only (the diagram needs Graphviz). Used from main's thread.
#ifndef VESK_CLI_SITE_H_
#define VESK_CLI_SITE_H_

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "cli/programmes.h"
#include "fic/modele_dictionnaire.h"

namespace vesk::cli {

// The live records of a file's data file in one folder.
struct EnregistrementsDossier {
  std::string entreprise;  // the company's folder ("01"), "" at the root
  uint64_t enregistrements = 0;
};

// A recorded program and what changed in the dictionary under it (empty: up to date).
struct ProgrammeSite {
  const ProgrammeEnregistre* programme = nullptr;
  std::vector<std::string> changements;
};

// What the site shows.
struct DonneesSite {
  fic::ModeleDictionnaire modele;               // complete, with its domains' definitions
  std::string application;                      // its name, for the titles ("" none)
  std::vector<ProgrammeEnregistre> programmes;  // recorded in the data folder's PROGRAMMES
  std::map<std::string, std::vector<EnregistrementsDossier>> enregistrements;  // by file
};

// Gives each file of the site to ecrit: its path within the site ("fichiers/CLIENT.html") and
// its bytes. ErreurService when a diagram cannot be drawn.
using EcritureSite = std::function<void(const std::string& chemin, const std::string& texte)>;
void ProduitSite(const DonneesSite& donnees, const EcritureSite& ecrit);

// What writing a site made.
struct BilanSite {
  size_t fichiers = 0;
  uint64_t octets = 0;
};

// Writes the site of donnees into dossier, created or replaced: an existing dossier must be
// empty or a site (it holds .vesk-site), otherwise ErreurService and nothing is touched.
BilanSite EcritSite(const DonneesSite& donnees, const std::string& dossier);

// The name of the page of a file or domain named nom: the letters, digits, '-' and '_' as they
// are, any other byte as "~XX" (hexadecimal), then ".html".
std::string NomPage(std::string_view nom);

}  // namespace vesk::cli

#endif  // VESK_CLI_SITE_H_
