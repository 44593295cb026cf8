// isam_bench --migrate: the layout migration of a data file of N records of 128 bytes with one
// primary tree (16-byte keys) and one secondary tree (8-byte keys), beside SQLite doing the same
// on the same rows, in the same run, for 1,000,000 records (or --records N). The new layout
// widens the secondary key from 8 to 12 characters and adds a 4-character field after it (136
// bytes); both trees are built again from the new records. SQLite makes a new table with
// `INSERT INTO ... SELECT` and builds its two indexes, in one durable transaction (WAL,
// synchronous FULL); Vesk's migration is durable too (its new files synced, put in place through
// the replacement record). Vesk migrates in a child process so that its peak memory is its own;
// each side is timed three times on the same old data, the best time kept. Then the check of the
// migrated data, its records chained ten by ten under a header file: the engine's check of the
// file, both trees, every key against the key its record gives and the chaining (what `vesk
// verifie` runs under its field rules), beside SQLite's
// `PRAGMA integrity_check` over the new table and its two indexes. Prints
//   ratio migrate vesk/sqlite=N.NN   ratio verify vesk/sqlite=N.NN
// (SQLite's time over Vesk's: above 1, Vesk is faster), and Vesk's peak memory. Included by
// isam_bench.cpp only; takes its records, data file and SQLite helpers from isam_rebuild.h.
#ifndef VESK_BENCH_ISAM_MIGRATE_H_
#define VESK_BENCH_ISAM_MIGRATE_H_

#include "isam_rebuild.h"
#include "srv/isam/migrate.h"
#include "srv/isam/record_text.h"
#include "srv/isam/srv_donnee_impl.h"
#include "srv/isam/verify.h"

namespace migrate {

namespace fs = std::filesystem;
using rebuild::Die;
using rebuild::Exec;
using rebuild::Mesure;
using rebuild::Now;

vesk::BArbreAReconstruire Arbre(const char* nom, int16_t longueur, const char* nature, size_t at) {
  return {nom, longueur, nature, [at, longueur](std::string_view rec, std::string& cle) {
            cle.assign(rec.substr(at, static_cast<size_t>(longueur)));
          }};
}

// 128 -> 136 bytes: key kept, secondary key widened to 12, "NEW " added, the rest moved.
vesk::PlanMigration Plan() {
  using Source = vesk::PieceMigration::Source;
  vesk::FichierMigre f;
  f.nom = "Ben";
  f.longueur_ancienne = 128;
  f.longueur = 136;
  f.convertit = true;
  f.pieces = {{Source::kCopie, "CLE", 1, 16, 1, 16, "", {}},
              {Source::kCopie, "SEC", 17, 12, 17, 8, "", {}},
              {Source::kDonnee, "NOUV", 29, 4, 0, 0, "NEW ", {}},
              {Source::kCopie, "RESTE", 33, 104, 25, 104, "", {}}};
  f.arbres_anciens = {"Ben1", "Ben2"};
  f.arbres = {Arbre("Ben1", 16, "P", 0), Arbre("Ben2", 12, "S", 16)};
  vesk::PlanMigration p;
  p.fichiers.push_back(std::move(f));
  return p;
}

// The migration of a copy of the old folder in a child process: its time and peak memory.
Mesure Vesk(const fs::path& old_dir, const fs::path& dir) {
  fs::remove_all(dir);
  fs::copy(old_dir, dir, fs::copy_options::recursive);
  return rebuild::DansUnEnfant("migration Vesk", [&](Mesure* m) {
    auto d = std::make_shared<vesk::isam::DossierDonnees>(vesk::isam::Env::Default(), dir.string(),
                                                          "", size_t{64} << 20);
    vesk::SrvDonneeImpl donnee(d);
    vesk::SuiviMuet muet;
    vesk::BilanMigration bilan;
    const double t0 = Now();
    try {
      donnee.DebutLot();
      donnee.Migre(Plan(), muet, bilan);
    } catch (const std::exception& e) {
      std::fprintf(stderr, "%s\n", e.what());
      return false;
    }
    *m = {Now() - t0, 0, bilan.fichiers.empty() ? 0 : uint64_t(bilan.fichiers[0].lieux[0].cles[0])};
    if (!bilan.refus.empty()) std::fprintf(stderr, "%s\n", bilan.refus.c_str());
    return bilan.refus.empty();
  });
}

// The same old rows in SQLite with their two indexes (not timed), then the migration three
// times, each in one durable transaction: the best time.
double Sqlite(const fs::path& dir, uint64_t n) {
  sqlite3* db = nullptr;
  if (sqlite3_open((dir / "ben.sqlite").string().c_str(), &db) != SQLITE_OK) Die("sqlite open");
  Exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA cache_size=-65536;");
  Exec(db, "CREATE TABLE t(k BLOB, s BLOB, reste BLOB); BEGIN;");
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO t VALUES(?,?,?)", -1, &st, nullptr);
  char rec[128];
  for (uint64_t i = 1; i <= n; ++i) {
    rebuild::Record(i, rec);
    sqlite3_bind_blob(st, 1, rec, 16, SQLITE_STATIC);
    sqlite3_bind_blob(st, 2, rec + 16, 8, SQLITE_STATIC);
    sqlite3_bind_blob(st, 3, rec + 24, 104, SQLITE_STATIC);
    if (sqlite3_step(st) != SQLITE_DONE) Die("sqlite insert");
    sqlite3_reset(st);
  }
  sqlite3_finalize(st);
  Exec(db, "CREATE UNIQUE INDEX i1 ON t(k); CREATE INDEX i2 ON t(s); COMMIT;");
  double best = 1e9;
  for (int fois = 0; fois < 3; ++fois) {
    if (fois > 0) Exec(db, "DROP TABLE n;");
    const double t0 = Now();
    Exec(db,
         "BEGIN; CREATE TABLE n(k BLOB, s BLOB, nouv BLOB, reste BLOB);"
         "INSERT INTO n SELECT k, s || x'20202020', CAST('NEW ' AS BLOB), reste FROM t;"
         "CREATE UNIQUE INDEX n1 ON n(k); CREATE INDEX n2 ON n(s); COMMIT;");
    best = std::min(best, Now() - t0);
  }
  sqlite3_close(db);
  return best;
}

// Chains the migrated records as lines, ten under each record of a header file BENH.DAT (16
// bytes: first line at 0, last at 3): backward and forward pointers at 124 and 127, in the bytes
// the migration copied. Setup of the check, not timed.
constexpr uint32_t kLignesParEntete = 10, kPrecedent = 124, kSuivant = 127;
constexpr uint64_t kNonPointable = 0x202020;
void Chaine(const fs::path& dir) {
  using namespace vesk::isam;
  std::unique_ptr<DataFile> l, e;
  DataFile::Options o;
  o.cache_blocks = 1024;
  if (!DataFile::Open(Env::Default(), (dir / "BEN.DAT").string(), 136, o, &l).ok()) Die("BEN.DAT");
  o.create = true;
  if (!DataFile::Open(Env::Default(), (dir / "BENH.DAT").string(), 16, o, &e).ok()) Die("BENH");
  const uint32_t n = l->LastRecord();
  char rec[136], tete[16] = {};
  for (uint32_t i = 1; i <= n; ++i) {
    const uint32_t rang = (i - 1) % kLignesParEntete;
    if (!l->Read(i, rec).ok()) Die("lecture de BEN.DAT");
    EncodePointer(rang == 0 ? 0 : i - 1, rec + kPrecedent);
    EncodePointer(rang + 1 == kLignesParEntete || i == n ? 0 : i + 1, rec + kSuivant);
    if (!l->Write(i, rec).ok()) Die("écriture de BEN.DAT");
    if (rang + 1 == kLignesParEntete || i == n) {
      EncodePointer(i - rang, tete);
      EncodePointer(i, tete + 3);
      if (!e->Write((i - 1) / kLignesParEntete + 1, tete).ok()) Die("écriture de BENH.DAT");
    }
    if (i % 8192 == 0 && (!l->Flush().ok() || !e->Flush().ok())) Die("écriture du chaînage");
  }
  if (!l->Sync().ok() || !e->Sync().ok()) Die("sync du chaînage");
}

// The engine's check of the migrated file, its two trees, every key against its record's, and
// the chaining of its records under BENH.DAT.
double VerifieVesk(const fs::path& dir, bool chaine, uint64_t* records) {
  vesk::isam::FileToCheck f;
  f.data = (dir / "BEN.DAT").string();
  f.record_length = 136;
  for (const auto& [nom, at, len] :
       {std::tuple{"BEN1.DAB", 0, 16}, std::tuple{"BEN2.DAB", 16, 12}}) {
    f.trees.push_back({(dir / nom).string(), [at, len](std::string_view r, std::string* k) {
                         k->assign(r.substr(static_cast<size_t>(at), static_cast<size_t>(len)));
                         return vesk::isam::Status::Ok();
                       }});
  }
  uint64_t problems = 0;
  vesk::isam::FileTally tally;
  const double t0 = Now();
  const vesk::isam::Status s = vesk::isam::VerifyFile(
      vesk::isam::Env::Default(), f,
      [&](const vesk::isam::FileProblem& p) {
        if (++problems <= 5) std::fprintf(stderr, "%s : %s\n", p.kind.c_str(), p.text.c_str());
      },
      &tally);
  std::vector<std::string> dans_chaine;
  const vesk::isam::Status sc =
      chaine ? vesk::isam::VerifyChain(
                   vesk::isam::Env::Default(),
                   {(dir / "BENH.DAT").string(), f.data, 0, 3, kPrecedent, kSuivant}, &dans_chaine)
             : vesk::isam::Status::Ok();
  const double t = Now() - t0;
  problems += dans_chaine.size();
  for (size_t i = 0; i < dans_chaine.size() && i < 5; ++i) {
    std::fprintf(stderr, "%s\n", dans_chaine[i].c_str());
  }
  if (!sc.ok()) Die("vérification du chaînage : " + sc.message());
  if (!s.ok() || problems != 0)
    Die("vérification Vesk : " + std::to_string(problems) + " problème(s)");
  *records = tally.records;
  return t;
}

double VerifieSqlite(const fs::path& dir) {
  sqlite3* db = nullptr;
  if (sqlite3_open((dir / "ben.sqlite").string().c_str(), &db) != SQLITE_OK) Die("sqlite open");
  Exec(db,
       "DROP TABLE IF EXISTS t;");  // the check covers the migrated table and its two indexes only
  const double t0 = Now();
  Exec(db, "PRAGMA integrity_check;");
  const double t = Now() - t0;
  sqlite3_close(db);
  return t;
}

void Taille(uint64_t n, const fs::path& root) {
  const fs::path old_dir = root / ("ancien" + std::to_string(n));
  const fs::path dir = root / ("n" + std::to_string(n));
  fs::remove_all(old_dir);
  fs::create_directories(old_dir);
  rebuild::WriteVesk(old_dir, n, 0);
  rebuild::Vesk(old_dir);  // the two trees of the old layout
  Mesure v = Vesk(old_dir, dir);
  for (int fois = 1; fois < 3; ++fois) {
    const Mesure m = Vesk(old_dir, dir);
    if (m.seconds < v.seconds) v.seconds = m.seconds;
    v.peak_kib = std::max(v.peak_kib, m.peak_kib);
  }
  const double s = Sqlite(old_dir, n);
  std::printf(
      "%llu enregistrements : vesk %.3f s (%llu clés, pic mémoire %.1f Mio), sqlite %.3f s\n",
      static_cast<unsigned long long>(n), v.seconds, static_cast<unsigned long long>(v.keys),
      v.peak_kib / 1024.0, s);
  std::printf("ratio migrate vesk/sqlite=%.2f\n", v.seconds > 0 ? s / v.seconds : 0.0);
  uint64_t records = 0;
  double vv = 1e9, vs = 1e9;
  // A pointer cannot designate record 2,105,376 (bytes 0x20 0x20 0x20 read as "no record",
  // docs/file-formats.md): larger files are checked without the chaining.
  const bool chaine = n < kNonPointable;
  if (chaine) Chaine(dir);
  for (int fois = 0; fois < 3; ++fois) vv = std::min(vv, VerifieVesk(dir, chaine, &records));
  vs = VerifieSqlite(old_dir);
  for (int fois = 1; fois < 3; ++fois) vs = std::min(vs, VerifieSqlite(old_dir));
  std::printf("vérification de %llu enregistrements, 2 B-arbres%s : vesk %.3f s, sqlite %.3f s\n",
              static_cast<unsigned long long>(records), chaine ? " et un chaînage" : "", vv, vs);
  std::printf("ratio verify vesk/sqlite=%.2f\n", vv > 0 ? vs / vv : 0.0);
  fs::remove_all(old_dir);
  fs::remove_all(dir);
}

int Main(int argc, char** argv) {
  std::vector<uint64_t> sizes{1000000};
  fs::path root = fs::temp_directory_path() / ("vesk-migrate-" + std::to_string(getpid()));
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--migrate") continue;
    if (a == "--records" && i + 1 < argc) {
      sizes = {std::stoull(argv[++i])};
    } else if (a == "--dir" && i + 1 < argc) {
      root = fs::path(argv[++i]) / ("vesk-migrate-" + std::to_string(getpid()));
    } else {
      Die("option inconnue " + a + " (--records N, --dir DOSSIER)");
    }
  }
  for (uint64_t n : sizes) Taille(n, root);
  fs::remove_all(root);
  return 0;
}

}  // namespace migrate

#endif  // VESK_BENCH_ISAM_MIGRATE_H_
