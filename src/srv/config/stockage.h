// The store of an application's data, as `stockage` in vesk.ini names it: empty for the data
// folder, or a PostgreSQL connection URI (docs/postgresql.md). The URI is checked here, where
// every host reads its configuration, so that a password never stays in vesk.ini. Functions
// only; any thread.
#ifndef VESK_SRV_CONFIG_STOCKAGE_H_
#define VESK_SRV_CONFIG_STOCKAGE_H_

#include <string>
#include <string_view>

namespace vesk {

// The root schema when the URI names none.
inline constexpr std::string_view kSchemaRacine = "vesk";

struct AdresseBase {
  std::string connexion;  // the URI as libpq takes it: without our parameter "schema"
  std::string racine;     // the root schema ("vesk")
  std::string nom;        // the store as messages name it: scheme, user, host, port, base
};

// Whether the text names a database store (begins with postgresql:// or postgres://).
bool EstAdresseBase(std::string_view stockage);

// Reads a database URI into adresse. Gives the reason of a refusal (empty when taken): another
// scheme, a password (in the URI's user part or as a parameter), a schema that is not a lower
// case letter followed by up to 39 lower case letters, digits or "_".
std::string AnalyseAdresseBase(std::string_view uri, AdresseBase& adresse);

// The schema of a company's files: racine + "_" + the company in lower case; racine for the
// root ("" company).
std::string SchemaEntreprise(std::string_view racine, std::string_view entreprise);

}  // namespace vesk

#endif  // VESK_SRV_CONFIG_STOCKAGE_H_
