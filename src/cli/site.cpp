// The site written: its files made page after page (ProduitSite) into a folder beside DOSSIER,
// put in DOSSIER's place once whole.
#include "cli/site.h"

#include <cctype>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "cli/site_pages.h"
#include "platform/platform.h"
#include "srv/erreur_service.h"

namespace vesk::cli {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kOperation = "Site";
constexpr std::string_view kMarque = ".vesk-site";

void Refuse(const fs::path& chemin, std::string_view message) {
  throw ErreurService(kOperation, chemin.string(), message);
}

void Verifie(const std::error_code& e, const fs::path& chemin) {
  if (e) Refuse(chemin, e.message());
}

// An existing dossier that may be replaced: empty, or a site.
void ControleRemplacable(const fs::path& dossier) {
  std::error_code e;
  if (!fs::exists(dossier, e)) return;
  if (!fs::is_directory(dossier, e)) Refuse(dossier, "n'est pas un dossier : rien n'est remplacé");
  if (fs::is_empty(dossier, e) || fs::exists(dossier / kMarque, e)) return;
  Refuse(dossier,
         "n'est pas un site de vesk (pas de " + std::string(kMarque) + ") : rien n'est remplacé");
}

// A folder beside dossier that does not exist yet: dossier's name, then suffixe and a number.
fs::path Voisin(const fs::path& dossier, std::string_view suffixe) {
  std::error_code e;
  for (uint64_t n = platform::HorlogeNs();; ++n) {
    fs::path p = dossier;
    p += std::string(suffixe) + std::to_string(n);
    if (!fs::exists(p, e)) return p;
  }
}

BilanSite Ecrit(const DonneesSite& donnees, const fs::path& dossier) {
  BilanSite bilan;
  std::error_code e;
  for (const char* sous : {"fichiers", "domaines"}) {
    fs::create_directories(dossier / sous, e);
    Verifie(e, dossier / sous);
  }
  auto ecrit = [&](const std::string& chemin, const std::string& texte) {
    const fs::path p = dossier / chemin;
    std::ofstream sortie(p, std::ios::binary | std::ios::trunc);
    sortie << texte;
    sortie.close();
    if (!sortie) Refuse(p, "écriture impossible");
    ++bilan.fichiers;
    bilan.octets += texte.size();
  };
  ProduitSite(donnees, ecrit);
  ecrit(std::string(kMarque), "Site écrit par vesk site : ce dossier est remplacé en entier.\n");
  return bilan;
}

}  // namespace

std::string NomPage(std::string_view nom) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string page;
  for (char c : nom) {
    const auto u = static_cast<unsigned char>(c);
    if (std::isalnum(u) != 0 && u < 0x80) {
      page += c;
    } else if (c == '-' || c == '_') {
      page += c;
    } else {
      page += '~';
      page += kHex[u >> 4];
      page += kHex[u & 15];
    }
  }
  return page + ".html";
}

void ProduitSite(const DonneesSite& d, const EcritureSite& ecrit) {
  const site::IndexSite index = site::Indexe(d);
  site::Dessin dessin;
  ecrit("site.css", std::string(site::FeuilleStyle()));
  ecrit("recherche.js", std::string(site::ScriptRecherche()));
  ecrit("index-recherche.js", site::IndexRecherche(d));
  ecrit("index.html", site::PageIndex(d, index));
  ecrit("recherche.html", site::PageRecherche(d));
  std::vector<std::string> tous;
  for (const auto& [nom, f] : d.modele.fichiers) {
    tous.push_back(nom);
    const std::string svg =
        dessin.Svg(index, site::Voisins(index, nom), "../", "Diagramme de " + nom);
    ecrit("fichiers/" + NomPage(nom), site::PageFichier(d, index, nom, svg));
  }
  for (const auto& [code, dom] : d.modele.domaines) {
    ecrit("domaines/" + NomPage(code), site::PageDomaine(d, index, code));
  }
  ecrit("diagramme.html",
        site::PageDiagramme(d, dessin.Svg(index, tous, "", "Diagramme de l'application")));
}

BilanSite EcritSite(const DonneesSite& donnees, const std::string& chemin) {
  fs::path dossier = fs::path(chemin).lexically_normal();
  if (!dossier.has_filename()) dossier = dossier.parent_path();
  ControleRemplacable(dossier);
  const fs::path neuf = Voisin(dossier, ".vesk-neuf-");
  std::error_code e;
  BilanSite bilan;
  try {
    bilan = Ecrit(donnees, neuf);
  } catch (...) {
    fs::remove_all(neuf, e);
    throw;
  }
  if (!fs::exists(dossier, e)) {
    fs::rename(neuf, dossier, e);
  } else {
    // The former site steps aside, the new one takes its place, and only then is it removed;
    // a failure puts it back.
    const fs::path ancien = Voisin(dossier, ".vesk-ancien-");
    fs::rename(dossier, ancien, e);
    if (!e) {
      fs::rename(neuf, dossier, e);
      std::error_code retour;
      if (e) fs::rename(ancien, dossier, retour);
    }
    if (!e) fs::remove_all(ancien, e);
  }
  if (e) {
    std::error_code ignore;
    fs::remove_all(neuf, ignore);
  }
  Verifie(e, dossier);
  return bilan;
}

}  // namespace vesk::cli
