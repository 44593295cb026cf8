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

void BasePg::TableDisparue(const Lieu& lieu, std::string_view prefixe, std::string_view nom,
                           std::string_view extension, std::string_view absent,
                           std::string_view operation) {
  const std::string chemin = Chemin(lieu, isam::UpperAscii(nom) + std::string(extension));
  throw ErreurService(operation, chemin,
                      std::string(absent) + chemin + " (la table " + Table(lieu, prefixe, nom) +
                          " n'existe plus, le catalogue de la base la donne encore)",
                      true);
}

uint32_t BasePg::LongueurFichier(const Lieu& lieu, std::string_view nom, std::string_view operation,
                                 int64_t* oid) {
  Parametres p;
  p.Texte(lieu.entreprise).Texte(isam::UpperAscii(nom)).Texte(Table(lieu, "d_", nom));
  Resultat r = Lit(operation, isam::UpperAscii(nom) + ".DAT",
                   "SELECT longueur, coalesce(to_regclass($3)::oid::bigint, 0) FROM " +
                       Catalogue("vesk_fichiers") + " WHERE entreprise = $1 AND nom = $2",
                   p);
  if (r.Lignes() == 0) return 0;
  if (r.Grand(0, 1) == 0) TableDisparue(lieu, "d_", nom, ".DAT", "fichier absent : ", operation);
  if (oid != nullptr) *oid = r.Grand(0, 1);
  return static_cast<uint32_t>(r.Entier(0, 0));
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
  p.Texte(Table(lieu, "b_", nom));
  Resultat r = Lit(operation, isam::UpperAscii(nom) + ".DAB",
                   "SELECT longueur_cle, nature, fichier_indexe, "
                   "coalesce(to_regclass($3)::oid::bigint, 0) FROM " +
                       Catalogue("vesk_arbres") + " WHERE entreprise = $1 AND nom = $2",
                   p);
  ArbreCatalogue a;
  if (r.Lignes() == 0) return a;
  if (r.Grand(0, 3) == 0)
    TableDisparue(lieu, "b_", nom, ".DAB", "B-arbre introuvable : ", operation);
  a.existe = true;
  a.longueur_cle = static_cast<uint16_t>(r.Entier(0, 0));
  a.nature = r.Octets(0, 1).empty() ? 'P' : r.Octets(0, 1)[0];
  a.fichier_indexe = std::string(r.Octets(0, 2));
  a.oid = r.Grand(0, 3);
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

// ---- Other programs' migrations ----

void BasePg::ChangeStructure(std::string_view operation) {
  const Resultat r = Lit(
      operation, Nom(),
      "UPDATE " + Catalogue("vesk_structure") + " SET compteur = compteur + 1 RETURNING compteur",
      Parametres());
  structure_neuve_ = r.Grand(0, 0);
}

Requete BasePg::Verification() const {
  // The tables of the handles still in use and their identities, one a line.
  std::string tables, oids;
  auto ajoute = [&](const auto& objets) {
    for (const auto& o : objets) {
      if (!o->remplace.empty()) continue;
      if (!tables.empty()) {
        tables += '\n';
        oids += '\n';
      }
      tables += o->table;
      oids += std::to_string(o->oid);
    }
  };
  ajoute(fichiers_);
  ajoute(arbres_);
  Requete v;
  v.sql =
      "SELECT 1 / (compteur = $1 OR NOT EXISTS (SELECT FROM unnest(string_to_array($2, "
      "E'\\n'), string_to_array($3, E'\\n')::bigint[]) AS x(t, o) WHERE "
      "coalesce(to_regclass(t)::oid::bigint, 0) <> o))::int FROM " +
      Catalogue("vesk_structure");
  v.parametres.Grand(structure_vue_).Texte(tables).Texte(oids);
  return v;
}

namespace {

std::string Litteral(std::string_view s) {
  std::string out = "'";
  for (char c : s) out += c == '\'' ? std::string("''") : std::string(1, c);
  return out + "'";
}

}  // namespace

std::string BasePg::Rafraichit(std::string_view operation, std::string_view objet) {
  std::string sql = "SELECT (SELECT compteur FROM " + Catalogue("vesk_structure") + ")";
  auto oid = [](const std::string& table) {
    return ", coalesce(to_regclass(" + Litteral(table) + ")::oid::bigint, 0)";
  };
  for (const auto& f : fichiers_) {
    sql += oid(f->table) + ", coalesce((SELECT longueur FROM " + Catalogue("vesk_fichiers") +
           " WHERE entreprise = " + Litteral(f->entreprise) + " AND nom = " + Litteral(f->nom) +
           "), 0)";
  }
  for (const auto& a : arbres_) sql += oid(a->table);
  try {
    return MarqueRemplaces(LitValide(operation, objet, sql), objet);
  } catch (const ErreurService& e) {
    return std::string(
               "structure de la base changée par un autre programme, opération "
               "annulée ; relecture impossible : ") +
           e.what();
  }
}

std::string BasePg::MarqueRemplaces(const Resultat& r, std::string_view objet) {
  const std::string autre = " : remplacé par la migration d'un autre programme, à rouvrir";
  std::string premier, sien;
  auto note = [&](const std::string& o, const std::string& pourquoi) {
    if (premier.empty()) premier = pourquoi;
    if (o == objet && sien.empty()) sien = pourquoi;
  };
  int colonne = 1;
  for (auto& f : fichiers_) {
    const int64_t oid = r.Grand(0, colonne);
    const uint32_t longueur = static_cast<uint32_t>(r.Entier(0, colonne + 1));
    colonne += 2;
    if (f->remplace.empty() && oid != f->oid) {
      f->remplace = longueur != 0 && longueur != f->longueur
                        ? f->chemin + " : longueur d'enregistrement changée (" +
                              std::to_string(longueur) + " au lieu de " +
                              std::to_string(f->longueur) + ")"
                        : f->chemin + autre;
    }
    if (!f->remplace.empty()) note(f->objet, f->remplace);
  }
  for (auto& a : arbres_) {
    const int64_t oid = r.Grand(0, colonne++);
    if (a->remplace.empty() && oid != a->oid) a->remplace = a->chemin + autre;
    if (!a->remplace.empty()) note(a->objet, a->remplace);
  }
  structure_vue_ = r.Grand(0, 0);
  if (!sien.empty()) return sien;
  if (!premier.empty()) return "opération annulée : " + premier;
  return "opération annulée : la structure de la base a été changée par un autre programme";
}

}  // namespace vesk::pg
