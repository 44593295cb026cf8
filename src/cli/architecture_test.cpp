// docs/architecture.md lists every registered command with the file and the function that
// carry it out; these tests hold its two tables to the two registries.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "cli/commandes.h"

namespace vesk::cli {
namespace {

using Ligne = std::array<std::string, 3>;  // command, file, function

std::string Lit(const std::string& chemin_source) {
  const char* source = std::getenv("VESK_SOURCE_DIR");
  EXPECT_NE(source, nullptr) << "VESK_SOURCE_DIR: the source folder (set by ctest)";
  std::ifstream f(std::string(source == nullptr ? "." : source) + "/" + chemin_source,
                  std::ios::binary);
  EXPECT_TRUE(f) << chemin_source;
  std::stringstream texte;
  texte << f.rdbuf();
  return texte.str();
}

// The rows of the first table after the line that starts with titre: three cells each, the
// backquotes taken off.
std::vector<Ligne> Table(const std::string& page, std::string_view titre) {
  std::vector<Ligne> lignes;
  std::stringstream flux(page.substr(std::min(page.find(titre), page.size())));
  bool dedans = false;
  for (std::string l; std::getline(flux, l);) {
    if (l.rfind("|", 0) != 0) {
      if (dedans) break;
      continue;
    }
    if (!dedans || l.rfind("|---", 0) == 0) {  // the header and its rule
      dedans = true;
      continue;
    }
    Ligne ligne;
    std::stringstream cellules(l.substr(1));
    for (std::string& c : ligne) {
      std::getline(cellules, c, '|');
      std::erase(c, '`');
      std::erase(c, ' ');
    }
    lignes.push_back(ligne);
  }
  return lignes;
}

TEST(ArchitectureTest, TheTableOfVeskCommandsIsTheRegistry) {
  const std::vector<Ligne> lignes = Table(Lit("docs/architecture.md"), "The commands of `vesk`");
  std::vector<std::string> documentees, enregistrees;
  for (const Ligne& l : lignes) {
#ifndef VESK_AVEC_PG
    if (l[0] == "copie" || l[0] == "sql") continue;  // built with the database store only
#endif
    documentees.push_back(l[0]);
  }
  for (const Commande& c : Commandes()) enregistrees.emplace_back(c.nom);
  EXPECT_EQ(documentees, enregistrees) << "docs/architecture.md, in the menu's order";
  const std::string registre = Lit("src/cli/commandes.cpp");
  for (const auto& [nom, fichier, fonction] : lignes) {
    EXPECT_NE(Lit("src/" + fichier).find("int " + fonction + "(Contexte& contexte)"),
              std::string::npos)
        << fonction << " in " << fichier;
    const size_t debut = registre.find("{\"" + nom + "\",");
    ASSERT_NE(debut, std::string::npos) << nom;
    const std::string entree = registre.substr(debut, registre.find("{\"", debut + 1) - debut);
    const bool nommee = entree.find(" " + fonction + ",") != std::string::npos ||
                        entree.find(" " + fonction + "}") != std::string::npos;
    EXPECT_TRUE(nommee) << nom << " : " << entree;
  }
}

TEST(ArchitectureTest, TheTableOfComponentCommandsIsTheRegistry) {
  const std::vector<Ligne> lignes =
      Table(Lit("docs/architecture.md"), "The commands of the component");
  const std::string entete = Lit("src/core/commandes_composant.h");
  const size_t debut = entete.find("enum class CommandeAsS {") + 24;
  std::stringstream valeurs(entete.substr(debut, entete.find('}', debut) - debut));
  std::vector<std::string> documentees, enregistrees;
  for (std::string v; std::getline(valeurs, v, ',');) {
    std::erase_if(v, [](char c) { return std::isspace(static_cast<unsigned char>(c)); });
    if (!v.empty()) enregistrees.push_back(v);
  }
  for (const Ligne& l : lignes) documentees.push_back(l[0]);
  EXPECT_EQ(documentees, enregistrees) << "docs/architecture.md, in the order of CommandeAsS";
  for (const auto& [valeur, fichier, fonction] : lignes) {
    const std::string texte = Lit("src/" + fichier);
    const std::string appel = "EnregistreCommande(CommandeAsS::" + valeur + ",";
    const size_t debut_appel = texte.find(appel);
    ASSERT_NE(debut_appel, std::string::npos) << valeur << " in " << fichier;
    const size_t apres = debut_appel + appel.size();
    const std::string enregistrement = texte.substr(apres, texte.find(");", apres) - apres);
    EXPECT_NE(enregistrement.find(fonction), std::string::npos) << enregistrement;
  }
}

}  // namespace
}  // namespace vesk::cli
