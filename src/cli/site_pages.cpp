// The pages of the site but a file's: the index, the domains, the whole diagram and the search;
// and the index of the model they share.
#include "cli/site_pages.h"

#include "cli/site_html.h"

namespace vesk::cli::site {

namespace {

std::string LienFichier(const std::string& nom, std::string_view racine = "") {
  return Lien(std::string(racine) + "fichiers/" + NomPage(nom), nom);
}

std::string Enregistrements(const DonneesSite& d, const std::string& nom) {
  const auto e = d.enregistrements.find(nom);
  if (e == d.enregistrements.end()) return "";
  std::string t;
  for (const EnregistrementsDossier& ed : e->second) {
    t += (t.empty() ? "" : ", ") + (ed.entreprise.empty() ? "" : Echappe(ed.entreprise) + " : ") +
         std::to_string(ed.enregistrements);
  }
  return t;
}

template <typename T>
size_t Nombre(const std::map<std::string, T>& m, const std::string& cle) {
  const auto i = m.find(cle);
  return i == m.end() ? 0 : i->second.size();
}

void Fichiers(Page& page, const DonneesSite& d, const IndexSite& index) {
  std::vector<std::vector<std::string>> lignes;
  for (const auto& [nom, f] : d.modele.fichiers) {
    lignes.push_back({LienFichier(nom), f.entreprise ? "Par entreprise" : "Indépendant",
                      std::to_string(f.Longueur()), std::to_string(f.rubriques.size()),
                      std::to_string(Nombre(index.tables, nom)),
                      std::to_string(Nombre(index.chainages, nom)), Enregistrements(d, nom)});
  }
  page << "<section aria-labelledby=\"fichiers\">\n<h2 id=\"fichiers\">Fichiers</h2>\n";
  page.Tableau(
      std::to_string(lignes.size()) + " fichiers spécifiés",
      {"Fichier", "Dépendance", "Longueur", "Rubriques", "Tables", "Chaînages", "Enregistrements"},
      lignes);
  page << "</section>\n";
}

void Domaines(Page& page, const DonneesSite& d, const IndexSite& index) {
  std::vector<std::vector<std::string>> lignes;
  for (const auto& [code, dom] : d.modele.domaines) {
    lignes.push_back({Lien("domaines/" + NomPage(code), code), Echappe(dom.nom),
                      Echappe(dom.fichier.empty() ? "" : dom.fichier + ".DOM"),
                      dom.definition ? std::to_string(dom.definition->size()) : "",
                      std::to_string(Nombre(index.champs, code))});
  }
  page << "<section aria-labelledby=\"domaines\">\n<h2 id=\"domaines\">Domaines</h2>\n";
  page.Tableau(std::to_string(lignes.size()) + " domaines de définition",
               {"Code", "Nom", "Fichier de définition", "Lignes", "Rubriques"}, lignes);
  page << "</section>\n";
}

void Tables(Page& page, const DonneesSite& d) {
  std::vector<std::vector<std::string>> lignes;
  for (const auto& [table, b] : d.modele.barbres) {
    lignes.push_back({Lien("fichiers/" + NomPage(b.fichier) + "#t-" + table, table),
                      LienFichier(b.fichier), b.nature == "P" ? "Primaire" : "Secondaire",
                      std::to_string(b.longueur), "<code>" + Echappe(b.cle) + "</code>"});
  }
  page << "<section aria-labelledby=\"tables\">\n<h2 id=\"tables\">Tables B-arbres</h2>\n";
  page.Tableau(std::to_string(lignes.size()) + " tables B-arbres",
               {"Table", "Fichier", "Nature", "Longueur de la clé", "Construction de la clé"},
               lignes);
  page << "</section>\n";
}

}  // namespace

IndexSite Indexe(const DonneesSite& d) {
  IndexSite index;
  const fic::ModeleDictionnaire& m = d.modele;
  for (const auto& [table, b] : m.barbres) index.tables[b.fichier].emplace_back(table, &b);
  for (const auto& [ligne, c] : m.chainages) {
    index.chainages[ligne].emplace_back(ligne, &c);
    if (c.entete != ligne) index.chainages[c.entete].emplace_back(ligne, &c);
  }
  for (const auto& [nom, f] : m.fichiers) {
    for (size_t i = 0; i < f.rubriques.size(); ++i) {
      const std::string code = f.rubriques[i].domaine.value_or("");
      if (m.domaines.contains(code)) index.champs[code].push_back({nom, i});
    }
  }
  for (const ProgrammeEnregistre& p : d.programmes) {
    if (!m.fichiers.contains(p.fichier)) continue;  // its file is gone: no page shows it
    index.programmes[p.fichier].push_back({&p, ChangementsProgramme(p, m)});
  }
  return index;
}

std::string TitreSite(const DonneesSite& d) {
  return d.application.empty() ? "Dictionnaire" : "Dictionnaire " + d.application;
}

std::string PageIndex(const DonneesSite& d, const IndexSite& index) {
  Page page(TitreSite(d), "");
  page << "<p>" + std::to_string(d.modele.fichiers.size()) + " fichiers, " +
              std::to_string(d.modele.domaines.size()) + " domaines, " +
              std::to_string(d.modele.barbres.size()) + " tables B-arbres, " +
              std::to_string(d.modele.chainages.size()) +
              " chaînages. <a href=\"diagramme.html\">Le diagramme de l'application</a>.</p>\n";
  Fichiers(page, d, index);
  Domaines(page, d, index);
  Tables(page, d);
  return page.Termine();
}

std::string PageDomaine(const DonneesSite& d, const IndexSite& index, const std::string& code) {
  const fic::Domaine& dom = d.modele.domaines.at(code);
  Page page("Domaine " + code, "../");
  page << "<dl class=\"resume\">\n<dt>Nom</dt><dd>" + Echappe(dom.nom) +
              "</dd>\n<dt>Fichier de définition</dt><dd>" +
              Echappe(dom.fichier.empty() ? "aucun" : dom.fichier + ".DOM") + "</dd>\n</dl>\n";
  page << "<section aria-labelledby=\"t-definition\">\n<h2 id=\"t-definition\">Définition</h2>\n";
  if (!dom.definition) {
    page << "<p>Pas de fichier de définition.</p>\n";
  } else {
    std::vector<std::vector<std::string>> lignes;
    for (size_t i = 0; i < dom.definition->size(); ++i) {
      lignes.push_back(
          {std::to_string(i + 1), "<code>" + Echappe((*dom.definition)[i]) + "</code>"});
    }
    page.Tableau("Les lignes de " + dom.fichier + ".DOM", {"Ligne", "Texte"}, lignes);
  }
  page << "</section>\n<section aria-labelledby=\"t-champs\">\n<h2 id=\"t-champs\">Rubriques "
          "du domaine</h2>\n";
  std::vector<std::vector<std::string>> lignes;
  const auto c = index.champs.find(code);
  for (const RubriqueDe& r : c == index.champs.end() ? std::vector<RubriqueDe>{} : c->second) {
    const fic::Rubrique& rub = d.modele.fichiers.at(r.fichier).rubriques[r.indice];
    lignes.push_back(
        {Lien("../fichiers/" + NomPage(r.fichier) + "#r-" + rub.variable, rub.variable),
         LienFichier(r.fichier, "../"), Echappe(rub.nom)});
  }
  page.Tableau("Les rubriques qui nomment " + code, {"Variable", "Fichier", "Rubrique"}, lignes);
  page << "</section>\n";
  return page.Termine();
}

std::string PageDiagramme(const DonneesSite& d, const std::string& svg) {
  Page page("Diagramme de l'application", "");
  page << "<p>Chaque fichier est une boîte qui liste ses tables B-arbres (P : primaire, S : "
          "secondaire) ; une flèche va du fichier entête au fichier de lignes chaîné sous lui. "
          "Un clic sur une boîte ouvre la page du fichier.</p>\n<figure class=\"diagramme "
          "entier\">\n" +
              svg +
              "\n<figcaption>Les fichiers et leurs chaînages.</figcaption>\n"
              "</figure>\n<section aria-labelledby=\"t-texte\">\n<h2 id=\"t-texte\">Les chaînages "
              "en texte</h2>\n";
  std::vector<std::vector<std::string>> lignes;
  for (const auto& [ligne, c] : d.modele.chainages) {
    lignes.push_back({LienFichier(c.entete), LienFichier(ligne)});
  }
  page.Tableau(std::to_string(lignes.size()) + " chaînages", {"Entête", "Lignes"}, lignes);
  page << "<p>Les fichiers :";
  for (const auto& [nom, f] : d.modele.fichiers) page << " " + LienFichier(nom);
  page << ".</p>\n</section>\n";
  return page.Termine();
}

std::string PageRecherche(const DonneesSite& d) {
  Page page("Recherche dans le " + TitreSite(d), "");
  page << "<p id=\"etat\" role=\"status\" aria-live=\"polite\">Tapez une partie du nom d'un "
          "fichier, d'une rubrique, d'une variable ou d'un domaine.</p>\n<ul id=\"resultats\">"
          "</ul>\n<noscript><p>La recherche demande JavaScript ; l'<a href=\"index.html\">index"
          "</a> liste tout.</p></noscript>\n<script src=\"index-recherche.js\"></script>\n"
          "<script src=\"recherche.js\"></script>\n";
  return page.Termine();
}

}  // namespace vesk::cli::site
