// The pieces of HTML the site's pages are made of: escaped texts, links, the frame of a page
// (its head, the navigation with the search form, its end) and tables with real headers. The
// pages are well-formed: every element closed, no named entity but the four XML ones. Internal
// to the site (cli/site*.cpp).
#ifndef VESK_CLI_SITE_HTML_H_
#define VESK_CLI_SITE_HTML_H_

#include <string>
#include <string_view>
#include <vector>

namespace vesk::cli::site {

// texte with & < > " written as entities.
std::string Echappe(std::string_view texte);
// <a href="lien">texte</a>, both escaped.
std::string Lien(std::string_view lien, std::string_view texte);

// A page being written: racine is the way back to the site's root from it ("" or "../").
class Page {
 public:
  Page(std::string titre, std::string racine);
  // Raw HTML, as it is.
  Page& operator<<(std::string_view html) {
    texte_ += html;
    return *this;
  }
  // A table with a caption and headers (their HTML as given); lignes are the cells' HTML.
  void Tableau(std::string_view legende, const std::vector<std::string>& entetes,
               const std::vector<std::vector<std::string>>& lignes, std::string_view classe = "");
  const std::string& Racine() const { return racine_; }
  // The whole page, closed.
  std::string Termine();

 private:
  std::string texte_;
  std::string racine_;
};

}  // namespace vesk::cli::site

#endif  // VESK_CLI_SITE_HTML_H_
