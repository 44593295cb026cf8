#include "cli/site_html.h"

namespace vesk::cli::site {

std::string Echappe(std::string_view texte) {
  std::string t;
  t.reserve(texte.size());
  for (char c : texte) {
    switch (c) {
      case '&':
        t += "&amp;";
        break;
      case '<':
        t += "&lt;";
        break;
      case '>':
        t += "&gt;";
        break;
      case '"':
        t += "&quot;";
        break;
      default:
        t += c;
    }
  }
  return t;
}

std::string Lien(std::string_view lien, std::string_view texte) {
  return "<a href=\"" + Echappe(lien) + "\">" + Echappe(texte) + "</a>";
}

Page::Page(std::string titre, std::string racine) : racine_(std::move(racine)) {
  const std::string r = Echappe(racine_);
  texte_ =
      "<!DOCTYPE html>\n<html lang=\"fr\">\n<head>\n<meta charset=\"utf-8\"/>\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n<title>" +
      Echappe(titre) + "</title>\n<link rel=\"stylesheet\" href=\"" + r +
      "site.css\"/>\n</head>\n<body>\n<a class=\"evitement\" href=\"#contenu\">Aller au "
      "contenu</a>\n<header>\n<nav aria-label=\"Site\">\n<a href=\"" +
      r + "index.html\">Fichiers</a>\n<a href=\"" + r +
      "index.html#domaines\">Domaines</a>\n"
      "<a href=\"" +
      r + "index.html#tables\">Tables B-arbres</a>\n<a href=\"" + r +
      "diagramme.html\">Diagramme</a>\n</nav>\n<form role=\"search\" action=\"" + r +
      "recherche.html\" method=\"get\">\n<label for=\"q\">Rechercher</label>\n"
      "<input type=\"search\" id=\"q\" name=\"q\" placeholder=\"fichier, rubrique, "
      "variable, domaine\"/>\n<button type=\"submit\">Chercher</button>\n</form>\n"
      "</header>\n<main id=\"contenu\">\n<h1>" +
      Echappe(titre) + "</h1>\n";
}

void Page::Tableau(std::string_view legende, const std::vector<std::string>& entetes,
                   const std::vector<std::vector<std::string>>& lignes, std::string_view classe) {
  texte_ += "<div class=\"defile\"><table";
  if (!classe.empty()) texte_ += " class=\"" + std::string(classe) + "\"";
  texte_ += ">\n<caption>" + Echappe(legende) + "</caption>\n<thead><tr>";
  for (const std::string& e : entetes) texte_ += "<th scope=\"col\">" + e + "</th>";
  texte_ += "</tr></thead>\n<tbody>\n";
  for (const std::vector<std::string>& ligne : lignes) {
    texte_ += "<tr>";
    for (size_t i = 0; i < ligne.size(); ++i) {
      texte_ += i == 0 ? "<th scope=\"row\">" + ligne[i] + "</th>" : "<td>" + ligne[i] + "</td>";
    }
    texte_ += "</tr>\n";
  }
  texte_ += "</tbody>\n</table></div>\n";
}

std::string Page::Termine() {
  texte_ +=
      "</main>\n<footer>Site écrit par vesk depuis le dictionnaire.</footer>\n</body>\n"
      "</html>\n";
  return std::move(texte_);
}

}  // namespace vesk::cli::site
