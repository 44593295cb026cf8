// The layout migration on a database store, in the transaction of the batch that holds the new
// dictionary, which it ends: the old tables of the plan's files moved into the backup schema,
// new ones made at their places (the catalog following), each old table read a page at a time
// and its records converted by the folder's own code (isam/migrate_record.h) into the new one
// by COPY, the trees' keys built, sorted and checked by the folder's TreeBuild, then copied.
// A refusal or any failure rolls back the whole batch. A dry run reads in one snapshot.
#include <cstdio>
#include <exception>
#include <set>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "srv/config/stockage.h"
#include "srv/isam/migrate_record.h"
#include "srv/isam/names.h"
#include "srv/isam/tree_build.h"
#include "srv/pg/copie_binaire.h"
#include "srv/pg/service_pg.h"
#include "srv/pg/srv_donnee_pg.h"
#include "srv/pg/verifie_pg.h"
#include "srv/text/utf8.h"

namespace vesk {

using pg::Parametres;
using pg::Requete;

namespace {

constexpr std::string_view kOp = "Migre";
constexpr int kPage = 10000;                   // rows read at a time
constexpr size_t kCopieMax = size_t{8} << 20;  // bytes kept before they are copied
constexpr std::string_view kVue = "Enregistrements en service du fichier ";  // our views
constexpr size_t kIdentifiantMax = 63;                                       // PostgreSQL's names

// What the tables hold refuses the migration: the batch is rolled back.
struct Refus {
  std::string message;
};
// A conversion or key builder failed: its exception is given once the batch is rolled back.
struct Interrompu {
  std::exception_ptr cause;
};

// One data file of the plan in one schema, and what it becomes.
struct Place {
  size_t file = 0;
  pg::Lieu ancien, nouveau;
  std::string chemin;  // the old file as messages name it
  std::string lue;     // the table its old rows are read from
  int64_t dernier = 0, supprimes = 0;
  bool rewrite = false;  // a new table is written (records converted, or the file moved)
  std::vector<std::string> old_trees;  // the plan's old trees that exist there
  std::vector<isam::TreeBuild> builds;
  size_t lieu = 0;  // in the outcome's places of its file
};

class Migrateur {
 public:
  Migrateur(pg::BasePg& b, const PlanMigration& plan, SuiviProgression& suivi,
            BilanMigration& bilan)
      : b_(b), plan_(plan), suivi_(suivi), bilan_(bilan) {}

  void Prepare();
  void Range();
  void Scan();
  void Trees();

 private:
  void AddPlace(size_t i, const std::string& from, const std::string& to);
  pg::Lieu LieuDe(const std::string& entreprise) const {
    return pg::Lieu{entreprise, SchemaEntreprise(b_.Adresse().racine, entreprise)};
  }
  void CheckOpen();
  std::string BackupName();
  std::string Backup(const std::string& entreprise);
  void Move(const pg::Lieu& lieu, std::string_view prefixe, const std::string& nom,
            std::vector<Requete>& ddl);
  void MoveOld(std::vector<Requete>& ddl);
  void MakeTrees();
  void BackupBatch();
  // What the scan of one place writes: the new table's rows, and a record's buffers.
  struct Scanned {
    bool write = false;
    std::string blank, record;
    pg::CopieBinaire copie;
  };
  void ScanPlace(Place& p);
  void Row(Place& p, Scanned& s, int32_t no, bool supprime, std::string_view octets);
  [[noreturn]] void Damaged(const Place& p, int32_t no, std::string_view what);
  void Send(const std::string& table, std::string_view colonnes, pg::CopieBinaire& copie);
  BilanMigration::Lieu& LieuDe(const Place& p) { return bilan_.fichiers[p.file].lieux[p.lieu]; }

  pg::BasePg& b_;
  const PlanMigration& plan_;
  SuiviProgression& suivi_;
  BilanMigration& bilan_;
  std::vector<std::vector<isam::PieceWork>> pieces_;
  std::vector<Place> places_;
  std::set<std::string> moved_;  // tables moved into the backup
  std::string backup_;
  int64_t problems_ = 0;
};

void Migrateur::AddPlace(size_t i, const std::string& from, const std::string& to) {
  const FichierMigre& f = plan_.fichiers[i];
  const std::string nom = isam::UpperAscii(f.nom);
  Place p;
  p.file = i;
  p.ancien = LieuDe(from);
  p.nouveau = LieuDe(to);
  p.chemin = b_.Chemin(p.ancien, nom + ".DAT");
  p.lue = pg::BasePg::Table(p.ancien, "d_", nom);
  const uint32_t longueur = b_.LongueurFichier(p.ancien, nom, kOp);
  if (longueur != static_cast<uint32_t>(f.longueur_ancienne)) {
    throw Refus{isam::LengthRefusal(p.chemin, longueur, f.longueur_ancienne)};
  }
  if (p.nouveau.schema != p.ancien.schema && !f.supprime &&
      b_.LongueurFichier(p.nouveau, nom, kOp) != 0) {
    throw Refus{isam::MoveRefusal(b_.Chemin(p.nouveau, nom + ".DAT"), f.nom)};
  }
  for (const std::string& t : f.arbres_anciens) {
    if (b_.LitArbre(p.ancien, t, kOp).existe) p.old_trees.push_back(isam::UpperAscii(t));
  }
  const pg::Resultat r =
      b_.Lit(kOp, p.chemin,
             "SELECT coalesce(max(no), 0)::bigint, count(*) FILTER (WHERE supprime) FROM " + p.lue,
             Parametres());
  p.dernier = r.Grand(0, 0);
  p.supprimes = r.Grand(0, 1);
  for (const BArbreAReconstruire& t : f.arbres) {
    p.builds.emplace_back(t, static_cast<size_t>(p.dernier - p.supprimes));
  }
  p.rewrite = !f.supprime && (f.convertit || p.nouveau.schema != p.ancien.schema);
  BilanMigration::Lieu lieu;
  lieu.entreprise = from;
  lieu.entreprise_nouvelle = to;
  lieu.enregistrements = static_cast<int32_t>(p.dernier - p.supprimes);
  lieu.supprimes = static_cast<int32_t>(p.supprimes);
  lieu.cles.assign(f.arbres.size(), 0);
  p.lieu = bilan_.fichiers[i].lieux.size();
  bilan_.fichiers[i].lieux.push_back(std::move(lieu));
  places_.push_back(std::move(p));
}

void Migrateur::Prepare() {
  // The current company names the schema a file moving into the companies goes to.
  if (!b_.Entreprise().empty()) {
    isam::Verifie(isam::CheckName(b_.Entreprise(), "entreprise"), kOp, b_.Entreprise());
  }
  bilan_.fichiers.assign(plan_.fichiers.size(), {});
  pieces_.resize(plan_.fichiers.size());
  for (size_t i = 0; i < plan_.fichiers.size(); ++i) {
    const isam::Status s = isam::CheckMigratedFile(plan_.fichiers[i], &pieces_[i]);
    if (!s.ok()) throw ErreurService(kOp, plan_.fichiers[i].nom, s.message());
  }
  for (size_t i = 0; i < plan_.fichiers.size(); ++i) {
    const FichierMigre& f = plan_.fichiers[i];
    std::vector<std::string> holders;
    for (const std::string& e : pg::EntreprisesDuFichier(b_, isam::UpperAscii(f.nom))) {
      if (e.empty() != f.dependance_ancienne) holders.push_back(e);
    }
    std::vector<std::pair<std::string, std::string>> places;
    const std::string refus = isam::PlacesOfFile(f, holders, b_.Entreprise(), &places);
    if (!refus.empty()) throw Refus{refus};
    for (const auto& [from, to] : places) AddPlace(i, from, to);
  }
}

// A handle of this program on a table the migration replaces would no longer agree with it.
void Migrateur::CheckOpen() {
  std::set<std::string> tables;
  for (const Place& p : places_) {
    const FichierMigre& f = plan_.fichiers[p.file];
    if (p.rewrite || f.supprime) tables.insert(pg::BasePg::Table(p.ancien, "d_", f.nom));
    for (const std::string& t : p.old_trees) tables.insert(pg::BasePg::Table(p.ancien, "b_", t));
    for (const BArbreAReconstruire& t : f.arbres) {
      tables.insert(pg::BasePg::Table(p.nouveau, "b_", t.nom));
    }
  }
  auto refuse = [&](const std::string& table, const std::string& chemin) {
    if (tables.count(table) == 0) return;
    throw ErreurService(kOp, chemin,
                        chemin + " est ouvert dans ce programme : la migration le remplace");
  };
  for (int16_t h = 1; h <= b_.NombreFichiers(); ++h) {
    if (const pg::FichierPg* f = b_.Fichier(h)) refuse(f->table, f->chemin);
  }
  for (int16_t h = 1; h <= b_.NombreArbres(); ++h) {
    if (const pg::ArbrePg* a = b_.Arbre(h)) refuse(a->table, a->chemin);
  }
}

// ROOT_sauvegarde_AAAAMMJJ_HHMMSS, then _2, _3...: a name that neither a schema nor the
// beginning of one has.
std::string Migrateur::BackupName() {
  const platform::DateHeure t = platform::Maintenant();
  char date[32];
  std::snprintf(date, sizeof date, "%04d%02d%02d_%02d%02d%02d", t.annee, t.mois, t.jour, t.heure,
                t.minute, t.seconde);
  const std::string base = b_.Adresse().racine + "_sauvegarde_" + date;
  for (int n = 1;; ++n) {
    const std::string name = n == 1 ? base : base + "_" + std::to_string(n);
    Parametres p;
    p.Texte(name);
    const pg::Resultat r = b_.Lit(kOp, name,
                                  "SELECT count(*) FROM pg_namespace WHERE nspname = $1 OR "
                                  "nspname LIKE $1 || '\\_%'",
                                  p);
    if (r.Grand(0, 0) == 0) return name;
  }
}

// The backup schema of a company's tables ("" the root's).
std::string Migrateur::Backup(const std::string& entreprise) {
  const std::string schema =
      entreprise.empty() ? backup_ : backup_ + "_" + text::LowerAscii(entreprise);
  Exige(schema.size() <= kIdentifiantMax, kOp, schema,
        "nom de sauvegarde " + schema + " trop long pour la base (" +
            std::to_string(kIdentifiantMax) + " caractères au plus)");
  return schema;
}

// The table prefixe+nom of lieu into its backup schema, its catalog row removed; a typed view
// of ours over a data table goes with it, so that the views a user made on that view keep
// reading the old rows instead of stopping the migration, and the new view can be made.
void Migrateur::Move(const pg::Lieu& lieu, std::string_view prefixe, const std::string& nom,
                     std::vector<Requete>& ddl) {
  const std::string table = pg::BasePg::Table(lieu, prefixe, nom);
  if (!moved_.insert(table).second) return;
  const std::string backup = Backup(lieu.entreprise);
  ddl.push_back({"CREATE SCHEMA IF NOT EXISTS \"" + backup + "\"", {}});
  if (prefixe == "d_") {
    Parametres p;
    p.Texte(lieu.schema).Texte("v_" + text::LowerAscii(nom)).Texte(std::string(kVue) + "%");
    const pg::Resultat r = b_.Lit(
        kOp, nom,
        "SELECT count(*) FROM pg_class c JOIN pg_namespace n ON n.oid = c.relnamespace WHERE "
        "n.nspname = $1 AND c.relname = $2 AND c.relkind = 'v' AND "
        "obj_description(c.oid, 'pg_class') LIKE $3",
        p);
    if (r.Grand(0, 0) > 0) {
      ddl.push_back(
          {"ALTER VIEW " + pg::BasePg::Table(lieu, "v_", nom) + " SET SCHEMA \"" + backup + "\"",
           {}});
    }
  }
  ddl.push_back({"ALTER TABLE " + table + " SET SCHEMA \"" + backup + "\"", {}});
  Requete row{"DELETE FROM " + b_.Catalogue(prefixe == "d_" ? "vesk_fichiers" : "vesk_arbres") +
                  " WHERE entreprise = $1 AND nom = $2",
              {}};
  row.parametres.Texte(lieu.entreprise).Texte(isam::UpperAscii(nom));
  ddl.push_back(std::move(row));
}

// The old tables into the backup, the new ones made, the catalog following; the old rows are
// then read from the backup.
void Migrateur::Range() {
  CheckOpen();
  backup_ = BackupName();
  // The root's backup schema is made even when only companies' tables go to the backup: the
  // name the outcome gives is there, and no later migration of the same second takes it.
  std::vector<Requete> ddl{{"CREATE SCHEMA \"" + Backup("") + "\"", {}}};
  MoveOld(ddl);
  b_.Structure(kOp, b_.Nom(), ddl, true);
  b_.ChangeStructure(kOp);
  MakeTrees();
  BackupBatch();
  bilan_.sauvegarde = backup_;
}

// The statements that move the old data tables and trees into the backup and make the new
// data tables, their catalog rows following.
void Migrateur::MoveOld(std::vector<Requete>& ddl) {
  for (Place& p : places_) {
    const FichierMigre& f = plan_.fichiers[p.file];
    const std::string nom = isam::UpperAscii(f.nom);
    if (p.rewrite || f.supprime) {
      // The label stays the file's.
      Parametres l;
      l.Texte(p.ancien.entreprise).Texte(nom);
      const pg::Resultat r = b_.Lit(kOp, p.chemin,
                                    "SELECT libelle FROM " + b_.Catalogue("vesk_fichiers") +
                                        " WHERE entreprise = $1 AND nom = $2",
                                    l);
      const std::string libelle(r.Octets(0, 0));
      Move(p.ancien, "d_", nom, ddl);
      p.lue = "\"" + Backup(p.ancien.entreprise) + "\".\"d_" + text::LowerAscii(nom) + "\"";
      if (!f.supprime) {
        ddl.push_back({"CREATE SCHEMA IF NOT EXISTS \"" + p.nouveau.schema + "\"", {}});
        ddl.push_back({"CREATE TABLE " + pg::BasePg::Table(p.nouveau, "d_", nom) +
                           " (no integer PRIMARY KEY, supprime boolean NOT NULL, octets bytea "
                           "NOT NULL)",
                       {}});
        Requete row{"INSERT INTO " + b_.Catalogue("vesk_fichiers") +
                        " (entreprise, nom, longueur, libelle) VALUES ($1, $2, $3, $4)",
                    {}};
        row.parametres.Texte(p.nouveau.entreprise).Texte(nom).Entier(f.longueur).Octets(libelle);
        ddl.push_back(std::move(row));
      }
    }
    for (const std::string& t : p.old_trees) Move(p.ancien, "b_", t, ddl);
  }
}

// The new trees made at their places; a tree of a new name already there (not one of the
// file's) goes to the backup as well.
void Migrateur::MakeTrees() {
  std::vector<Requete> ddl;
  for (const Place& p : places_) {
    const FichierMigre& f = plan_.fichiers[p.file];
    if (f.supprime) continue;
    for (const BArbreAReconstruire& t : f.arbres) {
      if (b_.LitArbre(p.nouveau, t.nom, kOp).existe) Move(p.nouveau, "b_", t.nom, ddl);
      ddl.push_back({"CREATE SCHEMA IF NOT EXISTS \"" + p.nouveau.schema + "\"", {}});
      ddl.push_back({"CREATE TABLE " + pg::BasePg::Table(p.nouveau, "b_", t.nom) +
                         " (cle bytea NOT NULL, no integer NOT NULL, PRIMARY KEY (" +
                         (t.nature == "S" ? "cle, no" : "cle") + "))",
                     {}});
      Requete row{"INSERT INTO " + b_.Catalogue("vesk_arbres") +
                      " (entreprise, nom, longueur_cle, nature, fichier_indexe) "
                      "VALUES ($1, $2, $3, $4::text::\"char\", $5)",
                  {}};
      row.parametres.Texte(p.nouveau.entreprise)
          .Texte(isam::UpperAscii(t.nom))
          .Entier(t.longueur_cle)
          .Texte(t.nature)
          .Texte(isam::UpperAscii(f.nom));
      ddl.push_back(std::move(row));
    }
  }
  if (!ddl.empty()) b_.Structure(kOp, b_.Nom(), ddl, true);
}

// The dictionary as it was before the batch: each table the batch wrote, and the texts, read
// as committed (the batch changed them in its transaction) and copied into the backup under
// their names. A table the batch wrote that the migration also replaces is refused, as on a
// folder.
void Migrateur::BackupBatch() {
  const std::string& racine = b_.Adresse().racine;
  std::vector<std::pair<std::string, std::string>> tables;  // schema, table
  for (const std::string& t : b_.EcritesLot()) {
    if (moved_.count(t) > 0) {
      throw ErreurService(kOp, t, t + " : changé par le lot et remplacé par la migration");
    }
    const size_t point = t.find("\".\"");
    tables.emplace_back(t.substr(1, point - 1), t.substr(point + 3, t.size() - point - 4));
  }
  tables.emplace_back(racine, "vesk_textes");
  for (const auto& [schema, table] : tables) {
    const std::string backup = Backup(schema == racine ? "" : schema.substr(racine.size() + 1));
    const std::string source = "\"" + schema + "\".\"" + table + "\"";
    const std::string copie_de = "\"" + backup + "\".\"" + table + "\"";
    b_.Structure(kOp, table,
                 {{"CREATE SCHEMA IF NOT EXISTS \"" + backup + "\"", {}},
                  {"CREATE TABLE " + copie_de + " (LIKE " + source + " INCLUDING ALL)", {}}},
                 true);
    const pg::Resultat r = b_.LitValide(kOp, table, "SELECT * FROM " + source);
    const char nature = table.rfind("d_", 0) == 0 ? 'd' : table.rfind("b_", 0) == 0 ? 'b' : 't';
    pg::CopieBinaire copie;
    for (int k = 0; k < r.Lignes(); ++k) {
      copie.Ligne(nature == 'd' ? 3 : 2);
      if (nature == 'd') {
        copie.Entier(r.Entier(k, 0));
        copie.Booleen(r.Booleen(k, 1));
        copie.Octets(r.Octets(k, 2));
      } else {
        copie.Octets(r.Octets(k, 0));
        if (nature == 'b') copie.Entier(r.Entier(k, 1));
        if (nature == 't') copie.Octets(r.Octets(k, 1));
      }
    }
    Send(copie_de, "", copie);
  }
}

void Migrateur::Send(const std::string& table, std::string_view colonnes, pg::CopieBinaire& copie) {
  copie.Fin();
  b_.Copie(kOp, table,
           "COPY " + table + " " + std::string(colonnes) + " FROM STDIN (FORMAT binary)",
           [&](const std::function<void(std::string_view)>& e) { e(copie.Partie()); });
  copie = pg::CopieBinaire();
}

// A row of the old table that is not what the catalog says: the store is damaged. That is an
// error, not a refusal (the batch is rolled back), as a damaged file is on a folder.
[[noreturn]] void Migrateur::Damaged(const Place& p, int32_t no, std::string_view what) {
  throw ErreurService(kOp, b_.Nom(),
                      p.chemin + " : l'enregistrement " + std::to_string(no) + " " +
                          std::string(what) + " (base endommagée)",
                      true);
}

// One row of the old table: converted into the new table's rows (when written) and its keys
// given to the trees.
void Migrateur::Row(Place& p, Scanned& s, int32_t no, bool supprime, std::string_view octets) {
  const FichierMigre& f = plan_.fichiers[p.file];
  const size_t longueur = static_cast<size_t>(f.longueur);
  const char* nouveau = octets.data();
  if (p.rewrite && !supprime) {
    isam::ConvertRecord(plan_, f, pieces_[p.file], static_cast<uint32_t>(no), octets.data(),
                        s.record.data(), LieuDe(p), &problems_);
    nouveau = s.record.data();
  }
  if (s.write) {
    s.copie.Ligne(3);
    s.copie.Entier(no);
    s.copie.Booleen(supprime);
    s.copie.Octets(supprime ? std::string_view(s.blank) : std::string_view(nouveau, longueur));
  }
  if (supprime) return;
  for (isam::TreeBuild& t : p.builds) {
    const isam::Status st = t.Add(std::string_view(nouveau, longueur), static_cast<uint32_t>(no));
    if (t.error()) throw Interrompu{t.error()};
    if (!st.ok()) throw ErreurService(kOp, p.chemin, st.message());
  }
}

// Reads the old rows of p once, a page at a time: writes the new ones (unless a dry run) and
// gathers the keys.
void Migrateur::ScanPlace(Place& p) {
  const FichierMigre& f = plan_.fichiers[p.file];
  const std::string nom = isam::UpperAscii(f.nom);
  const std::string neuve = pg::BasePg::Table(p.nouveau, "d_", nom);
  Scanned s;
  s.write = p.rewrite && !plan_.essai;
  s.blank.assign(static_cast<size_t>(f.longueur), ' ');
  s.record = s.blank;
  int32_t apres = 0;
  PhaseSuivie phase(suivi_, "Migration " + p.ancien.schema + "/" + nom + ".DAT", p.dernier);
  for (;;) {
    Parametres q;
    q.Entier(apres);
    const pg::Resultat r = b_.Lit(kOp, p.chemin,
                                  "SELECT no, supprime, octets FROM " + p.lue +
                                      " WHERE no > $1 ORDER BY no LIMIT " + std::to_string(kPage),
                                  q);
    for (int k = 0; k < r.Lignes(); ++k) {
      const int32_t no = r.Entier(k, 0);
      const std::string_view octets = r.Octets(k, 2);
      if (no != apres + 1) Damaged(p, apres + 1, "manque à la table");
      if (octets.size() != static_cast<size_t>(f.longueur_ancienne)) {
        Damaged(p, no, "n'a pas la longueur du fichier");
      }
      apres = no;
      Row(p, s, no, r.Booleen(k, 1), octets);
    }
    phase.Avance(apres);
    if (s.write && s.copie.Partie().size() >= kCopieMax) {
      Send(neuve, "(no, supprime, octets)", s.copie);
    }
    if (r.Lignes() < kPage) break;
  }
  if (s.write) Send(neuve, "(no, supprime, octets)", s.copie);
  if (apres != p.dernier) Damaged(p, apres + 1, "manque à la table");
}

void Migrateur::Scan() {
  for (Place& p : places_) {
    if (!plan_.fichiers[p.file].supprime) ScanPlace(p);
  }
  if (problems_ > 0) throw Refus{isam::ProblemsRefusal(problems_, plan_.tronque)};
}

// Sorts every tree's keys (a primary key twice refuses the migration) and, unless a dry run,
// copies them into the new tree's table.
void Migrateur::Trees() {
  for (Place& p : places_) {
    const FichierMigre& f = plan_.fichiers[p.file];
    for (size_t t = 0; t < p.builds.size(); ++t) {
      isam::TreeBuild& build = p.builds[t];
      PhaseSuivie phase(suivi_, "B-arbre " + f.arbres[t].nom, static_cast<int64_t>(build.count()));
      const isam::Status s = build.Sort(nullptr);
      if (s.code() == isam::Status::Code::kDuplicate) throw Refus{s.message()};
      if (!s.ok()) throw ErreurService(kOp, f.arbres[t].nom, s.message());
      LieuDe(p).cles[t] = static_cast<int64_t>(build.count());
      if (!plan_.essai) {
        const std::string table = pg::BasePg::Table(p.nouveau, "b_", f.arbres[t].nom);
        pg::CopieBinaire copie;
        build.Drain([&](std::string_view cle, uint32_t no) {
          copie.Ligne(2);
          copie.Octets(cle);
          copie.Entier(static_cast<int32_t>(no));
          if (copie.Partie().size() >= kCopieMax) Send(table, "(cle, no)", copie);
        });
        Send(table, "(cle, no)", copie);
      }
    }
  }
}

// A dry run: reads only, in one snapshot, or in the batch's transaction when one is open; the
// trees are still sorted after values that do not fit, as on a folder.
void Essai(pg::BasePg& b, const PlanMigration& plan, SuiviProgression& suivi,
           BilanMigration& bilan) {
  auto essai = [&] {
    Migrateur m(b, plan, suivi, bilan);
    try {
      m.Prepare();
    } catch (const Refus& r) {
      bilan.refus = r.message;
      return;
    }
    try {
      m.Scan();
    } catch (const Refus& r) {
      bilan.refus = r.message;
    }
    try {
      m.Trees();
    } catch (const Refus& r) {
      if (bilan.refus.empty()) bilan.refus = r.message;
    }
  };
  try {
    if (b.DansLot() || b.DansTransaction()) {
      essai();
    } else {
      b.Lecture(kOp, b.Nom(), essai);
    }
  } catch (const Interrompu& i) {
    std::rethrow_exception(i.cause);
  }
}

}  // namespace

void SrvDonneePg::Migre(const PlanMigration& plan, SuiviProgression& suivi, BilanMigration& bilan) {
  bilan = BilanMigration{};
  pg::BasePg& b = *base_;
  if (plan.essai) return Essai(b, plan, suivi, bilan);
  Exige(b.DansLot(), kOp, b.Nom(), "migration hors d'un lot");
  try {
    b.Entre(kOp);
    try {
      Migrateur m(b, plan, suivi, bilan);
      m.Prepare();
      m.Range();
      m.Scan();
      m.Trees();
    } catch (...) {
      b.Sort(kOp, b.Nom(), false);
      throw;
    }
    b.Sort(kOp, b.Nom(), true);
    while (b.DansLot()) b.FinLot();
    bilan.en_place = true;
    for (int16_t h = 1; h <= b.NombreFichiers(); ++h) b.Touche(*b.Fichier(h));
    for (int16_t h = 1; h <= b.NombreArbres(); ++h) b.Touche(*b.Arbre(h));
    return;
  } catch (const Refus& r) {
    bilan.refus = r.message;
  } catch (const Interrompu& i) {
    bilan.sauvegarde.clear();
    if (b.DansLot()) b.AnnuleLot();
    std::rethrow_exception(i.cause);
  } catch (...) {
    bilan.sauvegarde.clear();
    if (b.DansLot()) b.AnnuleLot();
    throw;
  }
  bilan.sauvegarde.clear();
  if (b.DansLot()) b.AnnuleLot();
}

}  // namespace vesk
