// The parts of the site (cli/site.h): the index of the model the pages share, built in one walk
// of it, and each kind of page. Internal to the site (cli/site*.cpp).
#ifndef VESK_CLI_SITE_PAGES_H_
#define VESK_CLI_SITE_PAGES_H_

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/site.h"

namespace vesk::cli::site {

template <typename T>
using Noms = std::vector<std::pair<std::string, const T*>>;

// A field of a file, by its index in the file.
struct RubriqueDe {
  std::string fichier;
  size_t indice = 0;
};

// What the pages look up, by file or by domain: made once, so that each page costs what it
// shows.
struct IndexSite {
  std::map<std::string, Noms<fic::BArbre>> tables;               // by file
  std::map<std::string, Noms<fic::Chainage>> chainages;          // by file, at either end
  std::map<std::string, std::vector<RubriqueDe>> champs;         // by domain code
  std::map<std::string, std::vector<ProgrammeSite>> programmes;  // by file
};
IndexSite Indexe(const DonneesSite& d);

// The files a file's diagram shows: itself, then the files it shares a chaining with.
std::vector<std::string> Voisins(const IndexSite& index, const std::string& nom);

// Draws diagrams with Graphviz's library: one context for every diagram of a site.
class Dessin {
 public:
  Dessin();
  ~Dessin();
  Dessin(const Dessin&) = delete;
  Dessin& operator=(const Dessin&) = delete;
  // The SVG element of the files noms and the chainings between them, each box linked to
  // its file's page from a page at racine; titre is its accessible name. ErreurService when
  // Graphviz fails.
  std::string Svg(const IndexSite& index, const std::vector<std::string>& noms,
                  std::string_view racine, std::string_view titre);
  // The graph given to Graphviz, as DOT text.
  static std::string Dot(const IndexSite& index, const std::vector<std::string>& noms,
                         std::string_view racine);

 private:
  void* contexte_;  // GVC_t
};

std::string PageIndex(const DonneesSite& d, const IndexSite& index);
std::string PageFichier(const DonneesSite& d, const IndexSite& index, const std::string& nom,
                        const std::string& svg);
std::string PageDomaine(const DonneesSite& d, const IndexSite& index, const std::string& code);
std::string PageDiagramme(const DonneesSite& d, const std::string& svg);
std::string PageRecherche(const DonneesSite& d);
// index-recherche.js: every file, field and domain, for the search.
std::string IndexRecherche(const DonneesSite& d);
std::string_view FeuilleStyle();     // site.css
std::string_view ScriptRecherche();  // recherche.js

// The title of the site's pages: "Dictionnaire" and the application's name.
std::string TitreSite(const DonneesSite& d);

}  // namespace vesk::cli::site

#endif  // VESK_CLI_SITE_PAGES_H_
