#include "srv/pg/outils_pg.h"

#include "srv/erreur_service.h"
#include "srv/pg/srv_barbre_pg.h"
#include "srv/pg/srv_chainage_pg.h"
#include "srv/pg/srv_donnee_pg.h"

namespace vesk::pg {

namespace {

std::string AvecSchema(const std::string& uri, const std::string& schema) {
  return uri + (uri.find('?') == std::string::npos ? "?" : "&") + "schema=" + schema;
}

// The state, read as it stands.
std::string Etat(BasePg& b) {
  constexpr std::string_view kOp = "État";
  std::string out;
  for (int16_t h = 1; h <= b.NombreFichiers(); ++h) {
    FichierPg& f = *b.Fichier(h);
    Resultat r = b.Lit(kOp, f.objet,
                       "SELECT coalesce(max(no), 0)::bigint, count(*) FILTER (WHERE supprime) "
                       "FROM " +
                           f.table,
                       Parametres());
    out +=
        f.objet + " " + std::to_string(r.Grand(0, 0)) + "/" + std::to_string(r.Grand(0, 1)) + "\n";
    Resultat e =
        b.Lit(kOp, f.objet, "SELECT octets FROM " + f.table + " ORDER BY no", Parametres());
    for (int i = 0; i < e.Lignes(); ++i) {
      out += e.Octets(i, 0);
      out += "\n";
    }
  }
  for (int16_t h = 1; h <= b.NombreArbres(); ++h) {
    ArbrePg& a = *b.Arbre(h);
    out += a.objet + "\n";
    Resultat r =
        b.Lit(kOp, a.objet, "SELECT cle, no FROM " + a.table + " ORDER BY cle, no", Parametres());
    for (int i = 0; i < r.Lignes(); ++i) {
      out += std::string(r.Octets(i, 0)) + " " + std::to_string(r.Entier(i, 1)) + "\n";
    }
  }
  return out;
}

}  // namespace

std::shared_ptr<BasePg> OuvreBase(const std::string& uri, const std::string& schema,
                                  bool synchro_full) {
  AdresseBase adresse;
  const std::string pourquoi = AnalyseAdresseBase(AvecSchema(uri, schema), adresse);
  if (!pourquoi.empty()) throw ErreurService("Ouverture du stockage", uri, pourquoi);
  auto b = std::make_shared<BasePg>(adresse, "");
  b->Synchro(synchro_full);
  return b;
}

void EffaceSchemas(const std::string& uri, const std::string& schema) {
  AdresseBase adresse;
  const std::string pourquoi = AnalyseAdresseBase(uri, adresse);
  if (!pourquoi.empty()) throw ErreurService("Ouverture du stockage", uri, pourquoi);
  try {
    ConnexionPg c(adresse.connexion);
    Parametres p;
    p.Texte(schema);
    Resultat r = c.Execute(
        "SELECT nspname FROM pg_namespace WHERE nspname = $1 OR nspname LIKE $1 || '\\_%'", p);
    for (int i = 0; i < r.Lignes(); ++i) {
      c.Execute("DROP SCHEMA \"" + std::string(r.Octets(i, 0)) + "\" CASCADE");
    }
  } catch (const ErreurPg& e) {
    throw ErreurService("Suppression des schémas", schema, e.what());
  }
}

std::unique_ptr<isam::Workload> WorkloadBase(const std::shared_ptr<BasePg>& base, uint64_t seed,
                                             char prefixe) {
  return std::make_unique<isam::Workload>(std::make_unique<SrvDonneePg>(base),
                                          std::make_unique<SrvBArbrePg>(base),
                                          std::make_unique<SrvChainagePg>(base), seed, prefixe);
}

std::string EtatBase(BasePg& b) {
  constexpr std::string_view kOp = "État";
  std::string out;
  // Under the store's lock, in one transaction: a writer whose program died after sending its
  // commit keeps its session on the server until the server has run it, and tables read while
  // it commits would mix the state before it with the state after it.
  b.Transaction(kOp, b.Nom(), [&] { out = Etat(b); });
  return out;
}

}  // namespace vesk::pg
