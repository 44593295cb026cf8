// The site of a dictionary (`vesk site`), through the real vesk program: every page read by an
// XML parser, every internal link followed, everything of the dictionary on its page, the
// diagram naming every file and chaining, and the folder replaced only when it is a site.
#include "cli/site.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <map>
#include <memory>
#include <set>
#include <string>

#include "cli/testing/binaire.h"
#include "fic/dictionnaire_texte.h"

namespace vesk::cli {
namespace {

using testing::Contenu;
using testing::Ecrit;
using testing::Execution;
using testing::VeskTest;
namespace fs = std::filesystem;

struct LibereDocument {
  void operator()(xmlDoc* d) const { xmlFreeDoc(d); }
};
using Document = std::unique_ptr<xmlDoc, LibereDocument>;

// A page read: its ids, its links (href, src, xlink:href) and the text of its SVG titles.
struct PageLue {
  std::set<std::string> ids;
  std::vector<std::string> liens;
  std::set<std::string> titres_svg;
  std::string texte;
};

std::string Attribut(xmlNode* n, const char* nom) {
  xmlChar* v = xmlGetProp(n, reinterpret_cast<const xmlChar*>(nom));
  std::string t = v == nullptr ? "" : reinterpret_cast<const char*>(v);
  xmlFree(v);
  return t;
}

void Parcourt(xmlNode* n, PageLue& p) {
  for (; n != nullptr; n = n->next) {
    if (n->type == XML_ELEMENT_NODE) {
      const std::string nom = reinterpret_cast<const char*>(n->name);
      if (const std::string id = Attribut(n, "id"); !id.empty()) p.ids.insert(id);
      for (const char* a : {"href", "src"}) {
        if (const std::string l = Attribut(n, a); !l.empty()) p.liens.push_back(l);
      }
      if (nom == "title" && n->ns != nullptr) {
        xmlChar* t = xmlNodeGetContent(n);
        p.titres_svg.insert(reinterpret_cast<const char*>(t));
        xmlFree(t);
      }
    }
    Parcourt(n->children, p);
  }
}

// Reads a page with the XML parser; a page that is not well-formed fails the test.
PageLue Lit(const fs::path& chemin) {
  const std::string octets = Contenu(chemin);
  Document doc(xmlReadMemory(octets.data(), static_cast<int>(octets.size()), chemin.c_str(),
                             "UTF-8", XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
  PageLue p;
  EXPECT_TRUE(doc) << chemin << " : " << xmlGetLastError()->message;
  if (!doc) return p;
  Parcourt(xmlDocGetRootElement(doc.get()), p);
  p.texte = octets;
  return p;
}

// Reads every page of the site and follows every link that stays in it; gives the pages by
// their path within the site.
std::map<std::string, PageLue> LitSite(const fs::path& site) {
  std::map<std::string, PageLue> pages;
  for (const auto& e : fs::recursive_directory_iterator(site)) {
    if (e.path().extension() == ".html") {
      pages[fs::relative(e.path(), site).generic_string()] = Lit(e.path());
    }
  }
  for (const auto& [chemin, page] : pages) {
    for (const std::string& lien : page.liens) {
      EXPECT_EQ(lien.find("://"), std::string::npos) << chemin << " : " << lien;
      const size_t diese = lien.find('#');
      const std::string cible = lien.substr(0, diese);
      const fs::path fichier =
          cible.empty() ? site / chemin
                        : (site / fs::path(chemin).parent_path() / cible).lexically_normal();
      EXPECT_TRUE(fs::exists(fichier)) << chemin << " : " << lien;
      if (diese == std::string::npos) continue;
      const auto p = pages.find(fs::relative(fichier, site).generic_string());
      EXPECT_NE(p, pages.end()) << chemin << " : " << lien;
      if (p != pages.end()) {
        EXPECT_TRUE(p->second.ids.contains(lien.substr(diese + 1))) << chemin << " : " << lien;
      }
    }
  }
  return pages;
}

TEST_F(VeskTest, TheSiteOfTheDemoIsWholeAndEveryLinkResolves) {
  ASSERT_EQ(Lance("demo donnees").status, 0);
  ASSERT_EQ(Lance("--data donnees genps CLIENT --output-dir").status, 0);
  ASSERT_EQ(Lance("--data donnees export dico.toml").status, 0);
  const fic::ModeleDictionnaire m = fic::LitToml(Contenu(dossier_ / "dico.toml"), "dico.toml");
  Execution e = Lance("--data donnees site site");
  ASSERT_EQ(e.status, 0) << e.erreurs;
  EXPECT_EQ(e.sortie.rfind("Site écrit dans site : 13 fichiers, ", 0), 0u) << e.sortie;

  const std::map<std::string, PageLue> pages = LitSite(dossier_ / "site");
  for (const auto& [nom, f] : m.fichiers) {
    const PageLue& page = pages.at("fichiers/" + NomPage(nom));
    for (const fic::Rubrique& r : f.rubriques) {
      EXPECT_TRUE(page.ids.contains("r-" + r.variable)) << nom << " " << r.variable;
    }
    EXPECT_TRUE(page.titres_svg.contains(nom)) << nom;
  }
  const PageLue& diagramme = pages.at("diagramme.html");
  for (const auto& [table, b] : m.barbres) {
    EXPECT_TRUE(pages.at("fichiers/" + NomPage(b.fichier)).ids.contains("t-" + table)) << table;
  }
  for (const auto& [ligne, c] : m.chainages) {
    for (const std::string& f : {ligne, c.entete}) {
      EXPECT_NE(pages.at("fichiers/" + NomPage(f)).texte.find("Chaînage avant"), std::string::npos);
    }
    EXPECT_TRUE(diagramme.titres_svg.contains(c.entete + "->" + ligne)) << ligne;
  }
  for (const auto& [nom, f] : m.fichiers) EXPECT_TRUE(diagramme.titres_svg.contains(nom)) << nom;
  for (const auto& [code, d] : m.domaines) {
    const PageLue& page = pages.at("domaines/" + NomPage(code));
    for (const std::string& ligne : d.definition.value_or(std::vector<std::string>{})) {
      EXPECT_NE(page.texte.find(ligne), std::string::npos) << code << " : " << ligne;
    }
  }
  // The records of the demo's company, the recorded program and where a field is used.
  const std::string& client = pages.at("fichiers/CLIENT.html").texte;
  EXPECT_NE(client.find("<dt>Enregistrements (entreprise 01)</dt>"), std::string::npos);
  EXPECT_NE(client.find("<th scope=\"row\">EntCLIENT.bas</th><td>genps</td><td>à jour</td>"),
            std::string::npos);
  EXPECT_NE(client.find("clé CLI2 (partie 2)"), std::string::npos);
  EXPECT_NE(pages.at("fichiers/FACLIG.html").texte.find("chaînage avant sous"), std::string::npos);
}

// The folders a site's writing leaves beside it (none when all went well).
std::string Restes(const fs::path& dossier) {
  std::string restes;
  for (const auto& e : fs::directory_iterator(dossier)) {
    const std::string nom = e.path().filename().string();
    if (nom.find(".vesk-") != std::string::npos) restes += nom + " ";
  }
  return restes;
}

// DOSSIER is created or replaced whole, but only when it is empty or a site: any other folder
// is refused untouched.
TEST_F(VeskTest, TheSiteReplacesOnlyASite) {
  ASSERT_EQ(Lance("demo donnees").status, 0);
  fs::create_directories(dossier_ / "autre");
  Ecrit(dossier_ / "autre" / "garde.txt", "à garder");
  Execution refus = Lance("--data donnees site autre");
  EXPECT_EQ(refus.status, 1);
  EXPECT_NE(refus.erreurs.find("n'est pas un site de vesk"), std::string::npos) << refus.erreurs;
  EXPECT_EQ(Contenu(dossier_ / "autre" / "garde.txt"), "à garder");
  EXPECT_EQ(Restes(dossier_), "");

  ASSERT_EQ(Lance("--data donnees site site").status, 0);
  Ecrit(dossier_ / "site" / "fichiers" / "ANCIEN.html", "");
  Execution encore = Lance("--data donnees site site/");
  EXPECT_EQ(encore.status, 0) << encore.erreurs;
  EXPECT_FALSE(fs::exists(dossier_ / "site" / "fichiers" / "ANCIEN.html"));
  EXPECT_TRUE(fs::exists(dossier_ / "site" / "fichiers" / "CLIENT.html"));
  EXPECT_EQ(Restes(dossier_), "");
}

TEST(SiteTest, PageNamesKeepOnlyPlainCharacters) {
  const std::pair<std::string_view, std::string_view> cas[] = {
      {"CLIENT", "CLIENT.html"}, {"a¬Nul", "a~C2~ACNul.html"}, {"../X", "~2E~2E~2FX.html"},
      {"D_1-2", "D_1-2.html"},   {"T V", "T~20V.html"},
  };
  for (const auto& [nom, page] : cas) EXPECT_EQ(NomPage(nom), page) << nom;
}

}  // namespace
}  // namespace vesk::cli
