// isam_bench: N records of 128 bytes with 16-byte keys through the storage services, as a
// generated program uses them (Donnee with an owner, B_Arbre, Insere, Recherche, PremCle /
// SuivCle, Supprime), beside SQLite (rowid table + UNIQUE index) and LMDB in the same run.
// Each phase of each engine is one transaction: SQLite and LMDB run it between BEGIN and COMMIT,
// Vesk inside one batch (Lot), as a generated batch program does. Times are wall clock and CPU
// time of the process (user + system), the latter steadier on a busy machine. --repeat K runs
// the whole sequence K times (the three engines one after the other, on fresh files each time)
// and prints the median of each rate and of each ratio, a ratio being taken between engines of
// the same repetition.
// --perf-fifo F --perf-phase P write "enable" and "disable" to F around phase P of Vesk (or
// "P:commit", its batch's commit alone; "sqlite:P", "lmdb:P" a peer's), for
// `perf record -D -1 --control fifo:F`.
// Usage: isam_bench [--records N] [--dir DIR] [--cache-mb M] [--engines vesk,sqlite,lmdb]
//                   [--repeat K] [--perf-fifo F --perf-phase P]
//        isam_bench --durable [--records N] [--repeat K] [--writers W [--commits C]]
//        isam_bench --rebuild [--records N]
//        isam_bench --migrate [--records N] [--dir DIR]
//        isam_bench --pg URI [--records N]   (a build with the database store)
#include <lmdb.h>
#include <sqlite3.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "isam_durable.h"  // isam_bench --durable
#include "isam_migrate.h"  // isam_bench --migrate
#include "isam_rebuild.h"  // isam_bench --rebuild
#ifdef VESK_AVEC_PG
#include "isam_pg.h"  // isam_bench --pg URI
#endif
#include "srv/isam/dossier.h"
#include "srv/isam/srv_barbre_impl.h"
#include "srv/isam/srv_donnee_impl.h"

namespace {

namespace fs = std::filesystem;
constexpr size_t kRecord = 128;
constexpr size_t kKey = 16;
const char* const kPhases[] = {"seq_insert", "rand_insert", "lookup", "scan", "delete"};

struct Options {
  uint64_t records = 1000000;
  std::string dir;
  size_t cache_mb = 160;
  std::string engines = "vesk,sqlite,lmdb";
  int repeat = 1;
  std::string perf_fifo, perf_phase;
};

Options options;

// Keys and records of the run: key i is "K" and 15 digits of a scrambled i.
struct Data {
  std::vector<std::string> keys;     // in ascending order
  std::vector<uint32_t> rand_order;  // a permutation of 0..N-1
  std::vector<uint32_t> lookups;     // N random indexes
  std::string letters;               // "a".."z" repeated, to cut the records' tails from
  // Record i: its key, then letters from ('a' + (i + 16) % 26) on.
  void Record(uint32_t i, std::string* out) const {
    out->assign(keys[i]);
    out->append(letters, (i + kKey) % 26, kRecord - kKey);
  }
};

Data MakeData(uint64_t n) {
  Data d;
  for (size_t k = 0; k < kRecord + 26; ++k) d.letters.push_back(static_cast<char>('a' + k % 26));
  d.keys.reserve(n);
  char buf[32];
  for (uint64_t i = 0; i < n; ++i) {
    std::snprintf(buf, sizeof buf, "K%015llu", static_cast<unsigned long long>(i * 7919 + 13));
    d.keys.emplace_back(buf, kKey);
  }
  std::sort(d.keys.begin(), d.keys.end());
  std::mt19937_64 rng(42);
  d.rand_order.resize(n);
  for (uint32_t i = 0; i < n; ++i) d.rand_order[i] = i;
  std::shuffle(d.rand_order.begin(), d.rand_order.end(), rng);
  d.lookups.resize(n);
  for (auto& x : d.lookups) x = static_cast<uint32_t>(rng() % n);
  return d;
}

struct Result {
  std::map<std::string, double> seconds;
  std::map<std::string, double> cpu;
  std::map<std::string, double> commit;  // Vesk: the batch's commit, within seconds
  uint64_t bytes = 0;                    // files of the randomly inserted set, before the deletions
  long peak_kib = 0;
};

double CpuSeconds() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  auto s = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6; };
  return s(u.ru_utime) + s(u.ru_stime);
}

// The CPU time of the last Time call.
double last_cpu = 0;

double Time(const std::function<void()>& f) {
  double c0 = CpuSeconds();
  auto t0 = std::chrono::steady_clock::now();
  f();
  double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  last_cpu = CpuSeconds() - c0;
  return wall;
}

// Tells a perf run waiting on --perf-fifo to start or stop recording, around the chosen phase.
void Perf(const std::string& phase, const char* command) {
  if (options.perf_fifo.empty() || phase != options.perf_phase) return;
  FILE* f = std::fopen(options.perf_fifo.c_str(), "w");
  if (f == nullptr) return;
  std::fputs(command, f);
  std::fclose(f);
}

// Times f as phase p of r; a peer's phase (engine not empty) is recorded by perf when
// --perf-phase names it as "engine:phase".
void Phase(Result& r, const char* engine, const char* p, const std::function<void()>& f) {
  const std::string tag = *engine == 0 ? "" : std::string(engine) + ":" + p;
  r.seconds[p] = Time([&] {
    Perf(tag, "enable\n");
    f();
    Perf(tag, "disable\n");
  });
  r.cpu[p] = last_cpu;
}

// The median of values (the mean of the middle two for an even count).
double Median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  size_t m = v.size() / 2;
  return v.size() % 2 == 1 ? v[m] : (v[m - 1] + v[m]) / 2;
}

uint64_t Bytes(const fs::path& p) {
  std::error_code ec;
  if (fs::is_directory(p, ec)) {
    uint64_t n = 0;
    for (auto& e : fs::directory_iterator(p)) n += e.file_size();
    return n;
  }
  return fs::file_size(p, ec);
}

long PeakKib() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return u.ru_maxrss;
}

void Die(const std::string& what) {
  std::fprintf(stderr, "isam_bench : %s\n", what.c_str());
  std::exit(1);
}

// ---- Vesk, through the services ----

// The owner of a bench file, as a generated program's LireBen / EcrireBen.
class Owner : public vesk::Proprietaire {
 public:
  explicit Owner(vesk::SrvDonnee* srv) : srv_(srv) {}
  int32_t IdMethode(std::string_view nom) override {
    if (nom == "LireBen") return 1;
    if (nom == "EcrireBen") return 2;
    return -1;
  }
  void Invoque(int32_t id, int32_t& no) override {
    if (id == 1) {
      srv_->LireFichier(fichier, no, champs);
    } else {
      srv_->EcrireFichier(fichier, no, champs);
    }
  }
  int16_t fichier = 0;
  std::string champs;

 private:
  vesk::SrvDonnee* srv_;
};

// The files vesk opens: two data files and their B-trees.
constexpr size_t kVeskFiles = 4;

Result RunVesk(const Data& d, const fs::path& dir, size_t cache_mb) {
  fs::create_directories(dir);
  // The cache is one budget for the folder, shared by its files.
  auto dossier = std::make_shared<vesk::isam::DossierDonnees>(vesk::isam::Env::Default(),
                                                              dir.string(), "", cache_mb << 20);
  dossier->Synchro(false);
  vesk::SrvDonneeImpl donnee(dossier);
  vesk::SrvBArbreImpl barbre(dossier);
  Owner seq(&donnee), rnd(&donnee);
  int16_t tseq = 0, trnd = 0;
  donnee.Donnee(false, "Seq", kRecord, seq.fichier, &seq, "", "Ben", "", true);
  barbre.B_Arbre(false, "Seq", kKey, "P", tseq, "Seq", true);
  donnee.Donnee(false, "Rnd", kRecord, rnd.fichier, &rnd, "", "Ben", "", true);
  barbre.B_Arbre(false, "Rnd", kKey, "P", trnd, "Rnd", true);
  size_t n = d.keys.size();
  Result r;
  // One batch per phase, as a generated batch program runs it.
  auto batch = [&](const char* phase, const std::function<void()>& f) {
    const std::string commit = std::string(phase) + ":commit";
    Phase(r, "", phase, [&] {
      Perf(phase, "enable\n");
      vesk::isam::Lot lot(*dossier);
      f();
      Perf(phase, "disable\n");
      Perf(commit, "enable\n");
      auto t0 = std::chrono::steady_clock::now();
      if (!lot.Termine().ok()) Die("vesk : écriture");
      r.commit[phase] =
          std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
      Perf(commit, "disable\n");
    });
  };
  int32_t no = 0;
  bool found = false;
  batch("seq_insert", [&] {
    for (size_t i = 0; i < n; ++i) {
      d.Record(static_cast<uint32_t>(i), &seq.champs);
      barbre.Insere(tseq, d.keys[i], seq.fichier, no);
    }
  });
  batch("rand_insert", [&] {
    for (uint32_t i : d.rand_order) {
      d.Record(i, &rnd.champs);
      barbre.Insere(trnd, d.keys[i], rnd.fichier, no);
    }
  });
  r.bytes = Bytes(dir / "RND.DAT") + Bytes(dir / "RND.DAB");
  batch("lookup", [&] {
    for (uint32_t i : d.lookups) {
      barbre.Recherche(trnd, d.keys[i], rnd.fichier, found);
      if (!found || rnd.champs.compare(0, kKey, d.keys[i]) != 0) Die("vesk : clé perdue");
    }
  });
  uint64_t seen = 0;
  batch("scan", [&] {
    std::string cle;
    for (barbre.PremCle(trnd, rnd.fichier, found, cle); found;
         barbre.SuivCle(trnd, rnd.fichier, found, cle)) {
      seen += static_cast<unsigned char>(rnd.champs[kKey]);
    }
  });
  batch("delete", [&] {
    for (size_t j = 0; j < n / 2; ++j) {
      const std::string& k = d.keys[d.rand_order[j]];
      barbre.Recherche(trnd, k, rnd.fichier, found);
      donnee.NoEnrCourant(rnd.fichier, no);
      barbre.Supprime(trnd, k, no, rnd.fichier);
    }
  });
  if (seen == 0) Die("vesk : parcours vide");
  r.peak_kib = PeakKib();
  return r;
}

// ---- SQLite ----

void Sql(sqlite3* db, const char* q) {
  char* err = nullptr;
  if (sqlite3_exec(db, q, nullptr, nullptr, &err) != SQLITE_OK) Die(std::string("sqlite : ") + err);
}

Result RunSqlite(const Data& d, const fs::path& dir) {
  fs::create_directories(dir);
  Result r;
  size_t n = d.keys.size();
  auto open = [&](const char* name) {
    sqlite3* db = nullptr;
    if (sqlite3_open((dir / name).string().c_str(), &db) != SQLITE_OK) Die("sqlite : ouverture");
    Sql(db, "PRAGMA synchronous=OFF; PRAGMA journal_mode=DELETE; PRAGMA cache_size=-65536;");
    Sql(db, "CREATE TABLE t(id INTEGER PRIMARY KEY, k BLOB UNIQUE, v BLOB)");
    return db;
  };
  auto stmt = [](sqlite3* db, const char* q) {
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v2(db, q, -1, &s, nullptr) != SQLITE_OK) Die("sqlite : préparation");
    return s;
  };
  auto insert = [&](sqlite3* db, auto order) {
    sqlite3_stmt* s = stmt(db, "INSERT INTO t(k, v) VALUES(?, ?)");
    std::string rec;
    Sql(db, "BEGIN");
    for (size_t j = 0; j < n; ++j) {
      uint32_t i = order(j);
      d.Record(i, &rec);
      sqlite3_bind_blob(s, 1, d.keys[i].data(), kKey, SQLITE_STATIC);
      sqlite3_bind_blob(s, 2, rec.data(), kRecord, SQLITE_TRANSIENT);
      if (sqlite3_step(s) != SQLITE_DONE) Die("sqlite : insertion");
      sqlite3_reset(s);
    }
    Sql(db, "COMMIT");
    sqlite3_finalize(s);
  };
  sqlite3* seq = open("seq.db");
  sqlite3* rnd = open("rnd.db");
  auto in_order = [](size_t j) { return uint32_t(j); };
  auto shuffled = [&](size_t j) { return d.rand_order[j]; };
  Phase(r, "sqlite", "seq_insert", [&] { insert(seq, in_order); });
  Phase(r, "sqlite", "rand_insert", [&] { insert(rnd, shuffled); });
  r.bytes = Bytes(dir / "rnd.db");
  Phase(r, "sqlite", "lookup", [&] {
    sqlite3_stmt* s = stmt(rnd, "SELECT v FROM t WHERE k = ?");
    Sql(rnd, "BEGIN");
    std::string out;
    for (uint32_t i : d.lookups) {
      sqlite3_bind_blob(s, 1, d.keys[i].data(), kKey, SQLITE_STATIC);
      if (sqlite3_step(s) != SQLITE_ROW) Die("sqlite : clé perdue");
      out.assign(static_cast<const char*>(sqlite3_column_blob(s, 0)), kRecord);
      sqlite3_reset(s);
    }
    Sql(rnd, "COMMIT");
    sqlite3_finalize(s);
  });
  Phase(r, "sqlite", "scan", [&] {
    sqlite3_stmt* s = stmt(rnd, "SELECT v FROM t ORDER BY k");
    Sql(rnd, "BEGIN");
    std::string out;
    while (sqlite3_step(s) == SQLITE_ROW) {
      out.assign(static_cast<const char*>(sqlite3_column_blob(s, 0)), kRecord);
    }
    Sql(rnd, "COMMIT");
    sqlite3_finalize(s);
  });
  Phase(r, "sqlite", "delete", [&] {
    sqlite3_stmt* s = stmt(rnd, "DELETE FROM t WHERE k = ?");
    Sql(rnd, "BEGIN");
    for (size_t j = 0; j < n / 2; ++j) {
      sqlite3_bind_blob(s, 1, d.keys[d.rand_order[j]].data(), kKey, SQLITE_STATIC);
      if (sqlite3_step(s) != SQLITE_DONE) Die("sqlite : suppression");
      sqlite3_reset(s);
    }
    Sql(rnd, "COMMIT");
    sqlite3_finalize(s);
  });
  sqlite3_close(seq);
  sqlite3_close(rnd);
  return r;
}

// ---- LMDB ----

void Check(int rc, const char* what) {
  if (rc != 0) Die(std::string("lmdb : ") + what + " : " + mdb_strerror(rc));
}

Result RunLmdb(const Data& d, const fs::path& dir) {
  Result r;
  size_t n = d.keys.size();
  auto open = [&](const char* name) {
    fs::create_directories(dir / name);
    MDB_env* env = nullptr;
    Check(mdb_env_create(&env), "env");
    Check(mdb_env_set_mapsize(env, size_t{64} << 30), "mapsize");
    Check(mdb_env_open(env, (dir / name).string().c_str(), MDB_NOSYNC | MDB_NOMETASYNC, 0644),
          "ouverture");
    return env;
  };
  auto write = [&](MDB_env* env, const std::function<void(MDB_txn*, MDB_dbi)>& f) {
    MDB_txn* txn = nullptr;
    MDB_dbi dbi = 0;
    Check(mdb_txn_begin(env, nullptr, 0, &txn), "txn");
    Check(mdb_dbi_open(txn, nullptr, 0, &dbi), "dbi");
    f(txn, dbi);
    Check(mdb_txn_commit(txn), "commit");
  };
  auto insert = [&](MDB_env* env, auto order) {
    write(env, [&](MDB_txn* txn, MDB_dbi dbi) {
      std::string rec;
      for (size_t j = 0; j < n; ++j) {
        uint32_t i = order(j);
        d.Record(i, &rec);
        MDB_val k{kKey, const_cast<char*>(d.keys[i].data())};
        MDB_val v{kRecord, rec.data()};
        Check(mdb_put(txn, dbi, &k, &v, MDB_NOOVERWRITE), "put");
      }
    });
  };
  MDB_env* seq = open("lmdb_seq");
  MDB_env* rnd = open("lmdb_rnd");
  auto in_order = [](size_t j) { return uint32_t(j); };
  auto shuffled = [&](size_t j) { return d.rand_order[j]; };
  Phase(r, "lmdb", "seq_insert", [&] { insert(seq, in_order); });
  Phase(r, "lmdb", "rand_insert", [&] { insert(rnd, shuffled); });
  mdb_env_sync(rnd, 1);
  r.bytes = Bytes(dir / "lmdb_rnd");
  Phase(r, "lmdb", "lookup", [&] {
    write(rnd, [&](MDB_txn* txn, MDB_dbi dbi) {
      std::string out;
      for (uint32_t i : d.lookups) {
        MDB_val k{kKey, const_cast<char*>(d.keys[i].data())}, v;
        Check(mdb_get(txn, dbi, &k, &v), "get");
        out.assign(static_cast<const char*>(v.mv_data), v.mv_size);
      }
    });
  });
  Phase(r, "lmdb", "scan", [&] {
    write(rnd, [&](MDB_txn* txn, MDB_dbi dbi) {
      MDB_cursor* c = nullptr;
      Check(mdb_cursor_open(txn, dbi, &c), "curseur");
      MDB_val k, v;
      std::string out;
      for (int rc = mdb_cursor_get(c, &k, &v, MDB_FIRST); rc == 0;
           rc = mdb_cursor_get(c, &k, &v, MDB_NEXT)) {
        out.assign(static_cast<const char*>(v.mv_data), v.mv_size);
      }
      mdb_cursor_close(c);
    });
  });
  Phase(r, "lmdb", "delete", [&] {
    write(rnd, [&](MDB_txn* txn, MDB_dbi dbi) {
      for (size_t j = 0; j < n / 2; ++j) {
        MDB_val k{kKey, const_cast<char*>(d.keys[d.rand_order[j]].data())};
        Check(mdb_del(txn, dbi, &k, nullptr), "del");
      }
    });
  });
  mdb_env_close(seq);
  mdb_env_close(rnd);
  return r;
}

Options Parse(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (i + 1 >= argc) Die("option sans valeur : " + a);
    if (a == "--records") {
      o.records = std::strtoull(argv[++i], nullptr, 10);
    } else if (a == "--dir") {
      o.dir = argv[++i];
    } else if (a == "--engines") {
      o.engines = argv[++i];
    } else if (a == "--cache-mb") {
      o.cache_mb = std::strtoull(argv[++i], nullptr, 10);
    } else if (a == "--repeat") {
      o.repeat = std::atoi(argv[++i]);
    } else if (a == "--perf-fifo") {
      o.perf_fifo = argv[++i];
    } else if (a == "--perf-phase") {
      o.perf_phase = argv[++i];
    } else {
      Die("option inconnue : " + a);
    }
  }
  if (o.records < 2 || o.records > 100000000) Die("--records : de 2 à 100000000");
  if (o.repeat < 1 || o.repeat > 100) Die("--repeat : de 1 à 100");
  if (o.dir.empty()) o.dir = (fs::temp_directory_path() / "vesk-isam-bench").string();
  return o;
}

// One repetition of the whole sequence, each engine on fresh files.
struct Repetition {
  Result vesk, sqlite, lmdb;
};

Repetition RunOnce(const Data& d, const fs::path& dir) {
  auto wanted = [](const char* e) { return options.engines.find(e) != std::string::npos; };
  std::error_code ec;
  fs::remove_all(dir, ec);
  fs::create_directories(dir);
  Repetition rep;
  try {
    if (wanted("vesk")) rep.vesk = RunVesk(d, dir / "vesk", options.cache_mb);
  } catch (const std::exception& e) {
    Die(std::string("vesk : ") + e.what());
  }
  if (wanted("sqlite")) rep.sqlite = RunSqlite(d, dir / "sqlite");
  if (wanted("lmdb")) rep.lmdb = RunLmdb(d, dir / "lmdb");
  fs::remove_all(dir, ec);
  return rep;
}

// A phase's figure, 0 when the engine did not run.
double At(const std::map<std::string, double>& m, const char* p) {
  auto it = m.find(p);
  return it == m.end() ? 0.0 : it->second;
}

// The medians over the repetitions: of one engine's rate (by wall clock or CPU time) for phase
// p, and of the ratio of two engines' rates (a's time over b's).
using Field = std::map<std::string, double> Result::*;
double MedianRate(const std::vector<Repetition>& reps, Result Repetition::*e, Field t,
                  const char* p, double ops) {
  std::vector<double> v;
  for (const Repetition& r : reps) {
    double s = At((r.*e).*t, p);
    v.push_back(s > 0 ? ops / s : 0.0);
  }
  return Median(v);
}
double MedianRatio(const std::vector<Repetition>& reps, Result Repetition::*a,
                   Result Repetition::*b, Field t, const char* p) {
  std::vector<double> v;
  for (const Repetition& r : reps) {
    double x = At((r.*a).*t, p), y = At((r.*b).*t, p);
    v.push_back(y > 0 ? x / y : 0.0);
  }
  return Median(v);
}

void Report(const std::vector<Repetition>& reps, long base_kib) {
  const Options& o = options;
  const double n = static_cast<double>(o.records);
  const Result& first = reps.front().vesk;
  std::printf(
      "isam_bench : %llu enregistrements de %zu octets, clés de %zu octets, cache de vesk %zu Mio "
      "partagés par ses %zu fichiers\n"
      "chaque phase est une transaction : BEGIN .. COMMIT (sqlite, lmdb), un lot (vesk) ; "
      "médianes de %d passages\n\n",
      static_cast<unsigned long long>(o.records), kRecord, kKey, o.cache_mb, kVeskFiles, o.repeat);
  std::printf("%-12s %14s %14s %14s   (opérations par seconde, temps réel | temps CPU)\n", "phase",
              "vesk", "sqlite", "lmdb");
  using R = Repetition;
  for (const char* p : kPhases) {
    double ops = std::string(p) == "delete" ? n / 2 : n;
    std::printf("%-12s %14.0f %14.0f %14.0f | %11.0f %11.0f %11.0f\n", p,
                MedianRate(reps, &R::vesk, &Result::seconds, p, ops),
                MedianRate(reps, &R::sqlite, &Result::seconds, p, ops),
                MedianRate(reps, &R::lmdb, &Result::seconds, p, ops),
                MedianRate(reps, &R::vesk, &Result::cpu, p, ops),
                MedianRate(reps, &R::sqlite, &Result::cpu, p, ops),
                MedianRate(reps, &R::lmdb, &Result::cpu, p, ops));
  }
  double raw = n * kRecord;
  std::printf("%-12s %14.2f %14.2f %14.2f   (fichiers / données brutes, après rand_insert)\n",
              "taille", first.bytes / raw, reps.front().sqlite.bytes / raw,
              reps.front().lmdb.bytes / raw);
  std::printf("validation du lot (vesk, comprise dans les temps, premier passage) :");
  for (const char* p : {"seq_insert", "rand_insert", "delete"}) {
    std::printf(" %s %.3f s", p, At(first.commit, p));
  }
  std::printf("\n");
  std::printf(
      "mémoire de pointe après vesk : %.1f Mio, dont données du banc %.1f Mio : vesk %.1f Mio\n",
      first.peak_kib / 1024.0, base_kib / 1024.0, (first.peak_kib - base_kib) / 1024.0);
  std::printf("mémoire de pointe du processus : %.1f Mio\n\n", PeakKib() / 1024.0);
  for (const char* p : kPhases) {
    std::printf("ratio %s vesk/sqlite=%.2f vesk/lmdb=%.2f (CPU : %.2f %.2f)\n", p,
                MedianRatio(reps, &R::sqlite, &R::vesk, &Result::seconds, p),
                MedianRatio(reps, &R::lmdb, &R::vesk, &Result::seconds, p),
                MedianRatio(reps, &R::sqlite, &R::vesk, &Result::cpu, p),
                MedianRatio(reps, &R::lmdb, &R::vesk, &Result::cpu, p));
  }
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::string(argv[i]) == "--durable") return durable::Main(argc, argv);
    if (std::string(argv[i]) == "--rebuild") return rebuild::Main(argc, argv);
    if (std::string(argv[i]) == "--migrate") return migrate::Main(argc, argv);
#ifdef VESK_AVEC_PG
    if (std::string(argv[i]) == "--pg") return benchpg::Main(argc, argv);
#endif
  }
  options = Parse(argc, argv);
  Data d = MakeData(options.records);
  long base_kib = PeakKib();
  std::vector<Repetition> reps;
  for (int k = 0; k < options.repeat; ++k) reps.push_back(RunOnce(d, fs::path(options.dir)));
  Report(reps, base_kib);
  return 0;
}
