// The page of one file: its record, its diagram, its B-tree tables, its chainings both ways, its
// fields as the specification listing gives them with where each is used, and its recorded
// programs.
#include <string>
#include <vector>

#include "cli/site_html.h"
#include "cli/site_pages.h"
#include "fic/empreinte.h"

namespace vesk::cli::site {

namespace {

// The name of a type, as the listing gives it, or the type itself when it is none of them.
std::string NomType(const std::string& type) {
  static constexpr std::string_view kTypes = "AMNDEBL";
  static constexpr std::string_view kNoms[] = {"Chaîne",   "Nb Codé", "Nb Chaîne", "Date",
                                               "No Enreg", "Booléen", "Liste"};
  const size_t i = type.size() == 1 ? kTypes.find(type[0]) : std::string_view::npos;
  return i == std::string_view::npos ? type : std::string(kNoms[i]);
}

std::string LienFichier(const std::string& nom) { return Lien("../fichiers/" + NomPage(nom), nom); }

// The uses of each field of the file, by field index, as HTML items.
using Usages = std::vector<std::vector<std::string>>;

void UsagesCles(const IndexSite& index, const std::string& nom, Usages& u) {
  const auto t = index.tables.find(nom);
  if (t == index.tables.end()) return;
  for (const auto& [table, b] : t->second) {
    for (size_t p = 0; p < b->analyse.parties.size(); ++p) {
      const auto i = static_cast<size_t>(b->analyse.parties[p].rubrique);
      if (i < u.size()) {
        u[i].push_back("clé " + Echappe(table) + " (partie " + std::to_string(p + 1) + ")");
      }
    }
  }
}

// The field of f holding character position (from 1), or -1.
int64_t RubriqueA(const fic::Fichier& f, int64_t position) {
  for (size_t i = 0; i < f.rubriques.size(); ++i) {
    if (f.rubriques[i].position <= position && position <= f.rubriques[i].Fin()) {
      return static_cast<int64_t>(i);
    }
  }
  return -1;
}

void UsagesChainages(const IndexSite& index, const std::string& nom, const fic::Fichier& f,
                     Usages& u) {
  const auto c = index.chainages.find(nom);
  if (c == index.chainages.end()) return;
  auto marque = [&](int64_t position, const std::string& texte) {
    const int64_t i = RubriqueA(f, position);
    if (i >= 0) u[static_cast<size_t>(i)].push_back(texte);
  };
  for (const auto& [ligne, ch] : c->second) {
    if (ligne == nom) {
      marque(ch->arriere, "chaînage arrière sous " + LienFichier(ch->entete));
      marque(ch->avant, "chaînage avant sous " + LienFichier(ch->entete));
    }
    if (ch->entete == nom) {
      marque(ch->premier, "première ligne de " + LienFichier(ligne));
      marque(ch->dernier, "dernière ligne de " + LienFichier(ligne));
    }
  }
}

std::string EtatProgramme(const ProgrammeSite& p) {
  return p.changements.empty() ? "à jour" : "périmé";
}

void UsagesProgrammes(const IndexSite& index, const std::string& nom, const fic::Fichier& f,
                      Usages& u) {
  const auto p = index.programmes.find(nom);
  if (p == index.programmes.end()) return;
  for (const ProgrammeSite& ps : p->second) {
    const auto& rubriques = ps.programme->empreinte[fic::GenrePartie::kRubriques];
    for (size_t i = 0; i < f.rubriques.size(); ++i) {
      if (rubriques.contains(f.rubriques[i].variable)) {
        u[i].push_back(Echappe(ps.programme->nom) + ".bas (" + EtatProgramme(ps) + ")");
      }
    }
  }
}

std::string Domaine(const DonneesSite& d, const fic::Rubrique& r) {
  const std::string code = r.domaine.value_or("");
  if (code.find_first_not_of(' ') == std::string::npos) return "Prédéfini";
  if (d.modele.domaines.contains(code)) return Lien("../domaines/" + NomPage(code), code);
  return Echappe(code);
}

std::string Format(const fic::Rubrique& r) {
  if (r.type == "D" || r.type == "E" || r.type == "B") return "";
  std::string f = std::to_string(r.Total());
  if (r.type == "M" || r.type == "N") f += "." + std::to_string(r.Decimales());
  return f;
}

std::string Liste(const std::vector<std::string>& elements) {
  if (elements.empty()) return "";
  std::string t = "<ul>";
  for (const std::string& e : elements) t += "<li>" + e + "</li>";
  return t + "</ul>";
}

void Rubriques(Page& page, const DonneesSite& d, const IndexSite& index, const std::string& nom,
               const fic::Fichier& f) {
  Usages u(f.rubriques.size());
  UsagesCles(index, nom, u);
  UsagesChainages(index, nom, f, u);
  UsagesProgrammes(index, nom, f, u);
  std::vector<std::vector<std::string>> lignes;
  for (size_t i = 0; i < f.rubriques.size(); ++i) {
    const fic::Rubrique& r = f.rubriques[i];
    const std::string interne = (r.interne.format == ' ' ? "" : std::string(1, r.interne.format)) +
                                std::to_string(r.interne.longueur);
    lignes.push_back(
        {"<span id=\"r-" + Echappe(r.variable) + "\">" + std::to_string(i + 1) + "</span>",
         Echappe(r.nom), Echappe(r.exemple.value_or("")),
         Echappe(NomType(r.type)) + " " + Format(r), interne,
         "<code>" + Echappe(r.variable) + "$</code>", Echappe(r.modification.value_or("")),
         Domaine(d, r), std::to_string(r.position), std::to_string(r.Fin()), Liste(u[i])});
  }
  page << "<section aria-labelledby=\"t-rubriques\">\n<h2 id=\"t-rubriques\">Rubriques</h2>\n";
  page.Tableau("Les " + std::to_string(f.rubriques.size()) + " rubriques de " + nom,
               {"No", "Rubrique", "Exemple", "Type/Long", "Interne", "Variable",
                "<abbr title=\"Type de modification\">M</abbr>", "Code domaine", "Début", "Fin",
                "Utilisée par"},
               lignes, "rubriques");
  page << "</section>\n";
}

std::string Variables(const fic::Fichier& f, const fic::BArbre& b) {
  std::vector<std::string> v;
  for (const fic::PartieCle& p : b.analyse.parties) {
    const auto i = static_cast<size_t>(p.rubrique);
    if (i < f.rubriques.size()) {
      const std::string& var = f.rubriques[i].variable;
      v.push_back(
          Lien("#r-" + var, var) +
          (p.entiere ? "" : " (" + std::to_string(p.debut) + " à " + std::to_string(p.fin) + ")"));
    }
  }
  return Liste(v);
}

void Tables(Page& page, const IndexSite& index, const std::string& nom, const fic::Fichier& f) {
  const auto t = index.tables.find(nom);
  page << "<section aria-labelledby=\"t-tables\">\n<h2 id=\"t-tables\">Tables B-arbres</h2>\n";
  if (t == index.tables.end()) {
    page << "<p>Aucune table B-arbre.</p>\n</section>\n";
    return;
  }
  std::vector<std::vector<std::string>> lignes;
  for (const auto& [table, b] : t->second) {
    lignes.push_back({"<span id=\"t-" + Echappe(table) + "\">" + Echappe(table) + "</span>",
                      b->nature == "P" ? "Primaire" : "Secondaire", std::to_string(b->longueur),
                      "<code>" + Echappe(b->cle) + "</code>", Variables(f, *b)});
  }
  page.Tableau("Les tables B-arbres de " + nom,
               {"Table", "Nature", "Longueur de la clé", "Construction de la clé", "Rubriques"},
               lignes);
  page << "</section>\n";
}

void Chainages(Page& page, const IndexSite& index, const std::string& nom) {
  const auto c = index.chainages.find(nom);
  page << "<section aria-labelledby=\"t-chainages\">\n<h2 id=\"t-chainages\">Chaînages</h2>\n";
  if (c == index.chainages.end()) {
    page << "<p>Aucun chaînage.</p>\n</section>\n";
    return;
  }
  std::vector<std::vector<std::string>> lignes;
  for (const auto& [ligne, ch] : c->second) {
    lignes.push_back(
        {LienFichier(ligne), LienFichier(ch->entete),
         ligne == nom ? "lignes de " + LienFichier(ch->entete) : "entête de " + LienFichier(ligne),
         std::to_string(ch->arriere), std::to_string(ch->avant), std::to_string(ch->premier),
         std::to_string(ch->dernier)});
  }
  page.Tableau("Les chaînages de " + nom,
               {"Lignes", "Entête", "Ce fichier", "Chaînage arrière", "Chaînage avant", "Premier",
                "Dernier"},
               lignes);
  page << "</section>\n";
}

void Programmes(Page& page, const IndexSite& index, const std::string& nom) {
  const auto p = index.programmes.find(nom);
  if (p == index.programmes.end()) return;
  std::vector<std::vector<std::string>> lignes;
  for (const ProgrammeSite& ps : p->second) {
    std::string changements;
    for (const std::string& c : ps.changements)
      changements += (changements.empty() ? "" : " ; ") + c;
    lignes.push_back({Echappe(ps.programme->nom) + ".bas", Echappe(ps.programme->generateur),
                      EtatProgramme(ps), Echappe(changements)});
  }
  page << "<section aria-labelledby=\"t-programmes\">\n<h2 id=\"t-programmes\">Programmes "
          "générés</h2>\n";
  page.Tableau("Les programmes enregistrés dans PROGRAMMES pour " + nom,
               {"Programme", "Générateur", "État", "Ce qui a changé"}, lignes);
  page << "</section>\n";
}

void Resume(Page& page, const DonneesSite& d, const std::string& nom, const fic::Fichier& f) {
  page << "<dl class=\"resume\">\n<dt>Longueur d'enregistrement</dt><dd>" +
              std::to_string(f.Longueur()) + "</dd>\n<dt>Canal</dt><dd><code>" + Echappe(nom) +
              "D%</code></dd>\n<dt>Dépendance</dt><dd>" +
              (f.entreprise ? "Dépendance Par Entreprise" : "Indépendant des Entreprises") +
              "</dd>\n";
  const auto e = d.enregistrements.find(nom);
  if (e != d.enregistrements.end()) {
    for (const EnregistrementsDossier& ed : e->second) {
      page << "<dt>Enregistrements" +
                  (ed.entreprise.empty() ? "" : " (entreprise " + Echappe(ed.entreprise) + ")") +
                  "</dt><dd>" + std::to_string(ed.enregistrements) + "</dd>\n";
    }
  }
  page << "</dl>\n";
}

void Diagramme(Page& page, const IndexSite& index, const std::string& nom, const std::string& svg) {
  page << "<section aria-labelledby=\"t-diagramme\">\n<h2 id=\"t-diagramme\">Diagramme</h2>\n"
          "<figure class=\"diagramme\">\n" +
              svg + "\n<figcaption>" + Echappe(nom) + " et les fichiers chaînés avec lui :";
  const std::vector<std::string> voisins = Voisins(index, nom);
  for (size_t i = 1; i < voisins.size(); ++i) page << " " + LienFichier(voisins[i]);
  if (voisins.size() == 1) page << " aucun";
  page << ".</figcaption>\n</figure>\n</section>\n";
}

}  // namespace

std::string PageFichier(const DonneesSite& d, const IndexSite& index, const std::string& nom,
                        const std::string& svg) {
  const fic::Fichier& f = d.modele.fichiers.at(nom);
  Page page("Fichier " + nom, "../");
  Resume(page, d, nom, f);
  Diagramme(page, index, nom, svg);
  Tables(page, index, nom, f);
  Chainages(page, index, nom);
  Rubriques(page, d, index, nom, f);
  Programmes(page, index, nom);
  return page.Termine();
}

}  // namespace vesk::cli::site
