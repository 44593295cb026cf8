#include "srv/config/stockage.h"

#include "srv/text/utf8.h"

namespace vesk {

namespace {

bool SchemaValide(std::string_view s) {
  if (s.empty() || s.size() > 40 || s.front() < 'a' || s.front() > 'z') return false;
  for (char c : s) {
    if (!((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_')) return false;
  }
  return true;
}

}  // namespace

bool EstAdresseBase(std::string_view stockage) {
  return stockage.starts_with("postgresql://") || stockage.starts_with("postgres://");
}

std::string AnalyseAdresseBase(std::string_view uri, AdresseBase& adresse) {
  if (!EstAdresseBase(uri)) {
    return "une adresse postgresql://... est attendue (ou rien pour le dossier de données)";
  }
  const size_t debut = uri.find("://") + 3;
  const size_t requete = uri.find('?', debut);
  std::string_view avant = uri.substr(0, requete);
  std::string_view autorite = avant.substr(debut, avant.find('/', debut) - debut);
  const size_t arobase = autorite.rfind('@');
  if (arobase != std::string_view::npos &&
      autorite.substr(0, arobase).find(':') != std::string_view::npos) {
    return "le mot de passe ne s'écrit pas dans l'adresse : libpq le prend dans ~/.pgpass ou "
           "PGPASSWORD";
  }
  AdresseBase a;
  a.racine = std::string(kSchemaRacine);
  a.connexion = std::string(avant);
  a.nom = std::string(avant);
  if (requete != std::string_view::npos) {
    std::string_view reste = uri.substr(requete + 1);
    std::string gardes;
    while (!reste.empty()) {
      const size_t et = reste.find('&');
      std::string_view p = reste.substr(0, et);
      reste = et == std::string_view::npos ? std::string_view() : reste.substr(et + 1);
      const std::string_view cle = p.substr(0, p.find('='));
      const std::string_view valeur =
          p.find('=') == std::string_view::npos ? "" : p.substr(p.find('=') + 1);
      if (text::EqualNoCase(cle, "password")) {
        return "le mot de passe ne s'écrit pas dans l'adresse : libpq le prend dans ~/.pgpass ou "
               "PGPASSWORD";
      }
      if (cle == "schema") {
        if (!SchemaValide(valeur)) {
          return "schéma « " + std::string(valeur) +
                 " » refusé : une minuscule, puis au plus 39 minuscules, chiffres ou _";
        }
        a.racine = std::string(valeur);
        continue;
      }
      gardes += (gardes.empty() ? "" : "&") + std::string(p);
    }
    if (!gardes.empty()) a.connexion += "?" + gardes;
  }
  adresse = std::move(a);
  return {};
}

std::string SchemaEntreprise(std::string_view racine, std::string_view entreprise) {
  if (entreprise.empty()) return std::string(racine);
  return std::string(racine) + "_" + text::LowerAscii(entreprise);
}

}  // namespace vesk
