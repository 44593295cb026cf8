// The diagrams of the site, drawn as SVG in memory by Graphviz's library (docs/site.md): files
// as boxes listing their tables, chainings as arrows from the header file to the line file.
#include <graphviz/cgraph.h>
#include <graphviz/gvc.h>

#include <algorithm>
#include <memory>
#include <set>

#include "cli/site_html.h"
#include "cli/site_pages.h"
#include "srv/erreur_service.h"

namespace vesk::cli::site {

namespace {

constexpr std::string_view kOperation = "Diagramme";

// texte inside a DOT string ("..."), and with etiquette inside a record label within one.
std::string Chaine(std::string_view texte, bool etiquette) {
  std::string t;
  for (char c : texte) {
    const bool special = c == '"' || c == '\\' ||
                         (etiquette && std::string_view("{}|<>").find(c) != std::string::npos);
    if (special) t += '\\';
    t += c;
  }
  return t;
}

std::string Etiquette(const std::string& nom, const IndexSite& index) {
  std::string tables;
  const auto t = index.tables.find(nom);
  if (t != index.tables.end()) {
    for (const auto& [table, b] : t->second) {
      tables += Chaine(table + " (" + b->nature + ")", true) + "\\l";
    }
  }
  return "{" + Chaine(nom, true) + (tables.empty() ? "" : "|" + tables) + "}";
}

// Graphviz's last error, or a text saying there is none.
std::string DerniereErreur() {
  const char* e = aglasterr();
  std::string texte = e == nullptr ? "erreur de Graphviz" : e;
  while (!texte.empty() && (texte.back() == '\n' || texte.back() == ' ')) texte.pop_back();
  return texte;
}

struct FermeGraphe {
  void operator()(Agraph_t* g) const { agclose(g); }
};

}  // namespace

Dessin::Dessin() {
  agseterr(AGMAX);  // errors kept for aglasterr, not printed
  contexte_ = gvContext();
  if (contexte_ == nullptr) throw ErreurService(kOperation, "Graphviz", "contexte non créé");
}

Dessin::~Dessin() { gvFreeContext(static_cast<GVC_t*>(contexte_)); }

std::string Dessin::Dot(const IndexSite& index, const std::vector<std::string>& noms,
                        std::string_view racine) {
  std::string dot =
      "digraph application {\n  graph [pack=true packmode=\"array_u\"];\n"
      "  node [shape=record fontname=\"Liberation Sans\" fontsize=11];\n"
      "  edge [color=\"#35577d\"];\n";
  const std::set<std::string> montres(noms.begin(), noms.end());
  for (const std::string& nom : noms) {
    dot += "  \"" + Chaine(nom, false) + "\" [label=\"" + Etiquette(nom, index) + "\" URL=\"" +
           Chaine(std::string(racine) + "fichiers/" + NomPage(nom), false) + "\" tooltip=\"" +
           Chaine(nom, false) + "\"];\n";
  }
  // Each chaining once, from its line file, when both its ends are shown.
  for (const std::string& nom : noms) {
    const auto c = index.chainages.find(nom);
    if (c == index.chainages.end()) continue;
    for (const auto& [ligne, ch] : c->second) {
      if (ligne != nom || !montres.contains(ch->entete)) continue;
      dot += "  \"" + Chaine(ch->entete, false) + "\" -> \"" + Chaine(ligne, false) +
             "\" [tooltip=\"" + Chaine(ligne + " chaîné sous " + ch->entete, false) + "\"];\n";
    }
  }
  return dot + "}\n";
}

std::string Dessin::Svg(const IndexSite& index, const std::vector<std::string>& noms,
                        std::string_view racine, std::string_view titre) {
  GVC_t* gvc = static_cast<GVC_t*>(contexte_);
  const std::string dot = Dot(index, noms, racine);
  std::unique_ptr<Agraph_t, FermeGraphe> g(agmemread(dot.c_str()));
  if (!g) throw ErreurService(kOperation, titre, DerniereErreur());
  if (gvLayout(gvc, g.get(), "dot") != 0) throw ErreurService(kOperation, titre, DerniereErreur());
  char* donnees = nullptr;
  unsigned int longueur = 0;
  const int rendu = gvRenderData(gvc, g.get(), "svg", &donnees, &longueur);
  std::string svg = rendu == 0 && donnees != nullptr ? std::string(donnees, longueur) : "";
  if (donnees != nullptr) gvFreeRenderData(donnees);
  gvFreeLayout(gvc, g.get());
  const size_t debut = svg.find("<svg ");
  if (rendu != 0 || debut == std::string::npos) {
    throw ErreurService(kOperation, titre, DerniereErreur());
  }
  // The element alone (no XML prologue inside a page), named for screen readers.
  return "<svg role=\"img\" aria-label=\"" + Echappe(titre) + "\" " + svg.substr(debut + 5);
}

std::vector<std::string> Voisins(const IndexSite& index, const std::string& nom) {
  std::vector<std::string> noms{nom};
  const auto c = index.chainages.find(nom);
  if (c == index.chainages.end()) return noms;
  for (const auto& [ligne, ch] : c->second) {
    for (const std::string& autre : {ligne, ch->entete}) {
      if (std::find(noms.begin(), noms.end(), autre) == noms.end()) noms.push_back(autre);
    }
  }
  return noms;
}

}  // namespace vesk::cli::site
