// The catalog of a store and the making of its tables: what BasePg knows of the files and
// B-trees that exist, and the statements of structure, each set in a transaction of its own.
#include "srv/erreur_service.h"
#include "srv/isam/names.h"
#include "srv/pg/base_pg.h"

namespace vesk::pg {

namespace {

constexpr int32_t kClasseStructure = 0x56455332;

}  // namespace

void BasePg::Regle(ConnexionPg& c) const {
  c.Envoie("SET lock_timeout = " + std::to_string(delai_verrou_ms_), Parametres());
  c.Envoie(synchro_full_ ? "SET synchronous_commit = on" : "SET synchronous_commit = off",
           Parametres());
}

void BasePg::Structure(std::string_view operation, std::string_view objet,
                       const std::vector<Requete>& requetes, bool ici) {
  ++generation_;
  if (ici) {
    std::vector<Requete> r(1);
    r[0].sql = "SELECT pg_advisory_xact_lock($1, $2)";
    r[0].parametres.Entier(kClasseStructure).Entier(cle_verrou_);
    r.insert(r.end(), requetes.begin(), requetes.end());
    Lit(operation, objet, r);
    return;
  }
  ConnexionPg* c = nullptr;
  try {
    if (transaction_) {
      // A batch holds this connection's transaction: the tables are made beside it, for good.
      if (structure_ == nullptr || !structure_->Vivante()) {
        structure_ = std::make_unique<ConnexionPg>(adresse_.connexion);
        Regle(*structure_);
      }
      c = structure_.get();
    } else {
      c = &Connexion(operation);
    }
    Parametres verrou;
    verrou.Entier(kClasseStructure).Entier(cle_verrou_);
    c->Envoie("BEGIN", Parametres());
    c->Envoie("SELECT pg_advisory_xact_lock($1, $2)", verrou);
    for (const Requete& r : requetes) c->Envoie(r.sql, r.parametres);
    c->Envoie("COMMIT", Parametres());
    c->Synchronise();
  } catch (const ErreurPg& e) {
    if (c != nullptr && c->Vivante()) {
      try {
        c->Envoie("ROLLBACK", Parametres());
        c->Synchronise();
      } catch (const ErreurPg&) {
        // The failure reported is the first one.
      }
    }
    std::string message = e.Verrou() ? "fichier verrouillé : la base " + Nom() +
                                           " est utilisée par un autre programme (attente de " +
                                           std::to_string(delai_verrou_ms_) + " ms dépassée)"
                                     : std::string(e.what());
    throw ErreurService(operation, objet, message);
  }
}

Resultat BasePg::LitValide(std::string_view operation, std::string_view objet,
                           std::string_view sql) {
  try {
    if (structure_ == nullptr || !structure_->Vivante()) {
      structure_ = std::make_unique<ConnexionPg>(adresse_.connexion);
      Regle(*structure_);
    }
    return structure_->Execute(sql);
  } catch (const ErreurPg& e) {
    throw ErreurService(operation, objet, e.what());
  }
}

uint32_t BasePg::LongueurFichier(const Lieu& lieu, std::string_view nom,
                                 std::string_view operation) {
  Parametres p;
  p.Texte(lieu.entreprise).Texte(isam::UpperAscii(nom));
  Resultat r = Lit(
      operation, isam::UpperAscii(nom) + ".DAT",
      "SELECT longueur FROM " + Catalogue("vesk_fichiers") + " WHERE entreprise = $1 AND nom = $2",
      p);
  return r.Lignes() == 0 ? 0 : static_cast<uint32_t>(r.Entier(0, 0));
}

uint32_t BasePg::CreeFichier(const Lieu& lieu, std::string_view nom, uint32_t longueur,
                             std::string_view libelle, std::string_view operation, bool ici) {
  const std::string upper = isam::UpperAscii(nom);
  std::vector<Requete> r(3);
  r[0].sql = "CREATE SCHEMA IF NOT EXISTS \"" + lieu.schema + "\"";
  r[1].sql = "CREATE TABLE IF NOT EXISTS " + Table(lieu, "d_", nom) +
             " (no integer PRIMARY KEY, supprime boolean NOT NULL, octets bytea NOT NULL)";
  r[2].sql = "INSERT INTO " + Catalogue("vesk_fichiers") +
             " (entreprise, nom, longueur, libelle) VALUES ($1, $2, $3, $4) ON CONFLICT DO NOTHING";
  r[2].parametres.Texte(lieu.entreprise)
      .Texte(upper)
      .Entier(static_cast<int32_t>(longueur))
      .Octets(libelle);
  Structure(operation, upper + ".DAT", r, ici);
  return LongueurFichier(lieu, nom, operation);
}

BasePg::ArbreCatalogue BasePg::LitArbre(const Lieu& lieu, std::string_view nom,
                                        std::string_view operation) {
  Parametres p;
  p.Texte(lieu.entreprise).Texte(isam::UpperAscii(nom));
  Resultat r = Lit(operation, isam::UpperAscii(nom) + ".DAB",
                   "SELECT longueur_cle, nature, fichier_indexe FROM " + Catalogue("vesk_arbres") +
                       " WHERE entreprise = $1 AND nom = $2",
                   p);
  ArbreCatalogue a;
  if (r.Lignes() == 0) return a;
  a.existe = true;
  a.longueur_cle = static_cast<uint16_t>(r.Entier(0, 0));
  a.nature = r.Octets(0, 1).empty() ? 'P' : r.Octets(0, 1)[0];
  a.fichier_indexe = std::string(r.Octets(0, 2));
  return a;
}

BasePg::ArbreCatalogue BasePg::CreeArbre(const Lieu& lieu, std::string_view nom,
                                         const ArbreCatalogue& a, std::string_view operation,
                                         bool ici) {
  const std::string upper = isam::UpperAscii(nom);
  std::vector<Requete> r(3);
  r[0].sql = "CREATE SCHEMA IF NOT EXISTS \"" + lieu.schema + "\"";
  r[1].sql = "CREATE TABLE IF NOT EXISTS " + Table(lieu, "b_", nom) +
             " (cle bytea NOT NULL, no integer NOT NULL, PRIMARY KEY (" +
             (a.nature == 'P' ? "cle" : "cle, no") + "))";
  r[2].sql = "INSERT INTO " + Catalogue("vesk_arbres") +
             " (entreprise, nom, longueur_cle, nature, fichier_indexe) "
             "VALUES ($1, $2, $3, $4::text::\"char\", $5) ON CONFLICT DO NOTHING";
  r[2].parametres.Texte(lieu.entreprise)
      .Texte(upper)
      .Entier(a.longueur_cle)
      .Texte(std::string(1, a.nature))
      .Texte(a.fichier_indexe);
  Structure(operation, upper + ".DAB", r, ici);
  return LitArbre(lieu, nom, operation);
}

}  // namespace vesk::pg
