// isam_bench --durable: commits that survive a power loss, Vesk beside SQLite (rollback journal
// and WAL, both synchronous full).
//
// One process: --records random inserts in commits of 1,000, then 1,000 single-operation
// commits into the file they filled. Prints the times, the syncs per commit of Vesk, and
//   ratio commit_single vesk/sqlite=X vesk/sqlite_wal=Y
//   ratio commit_batch vesk/sqlite=X vesk/sqlite_wal=Y
// With --writers W: the file is first filled with --records records (not timed), then W
// processes forked at once each make --commits single-insert commits (keys of their own) into
// it, for Vesk and then for SQLite in WAL mode (each process its own connection, a busy timeout
// long enough never to fail); prints the aggregate commits per second of each and
//   ratio commit_writersW vesk/sqlite_wal=R syncs_per_commit=S
// where S counts the syncs of the redo log made by Vesk's writers over their commits.
// A ratio above 1 means Vesk is faster. --repeat K runs it all K times on fresh files and prints
// the medians (of times, and of the ratios taken within each run). Included by isam_bench.cpp
// only.
#ifndef VESK_BENCH_ISAM_DURABLE_H_
#define VESK_BENCH_ISAM_DURABLE_H_

#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "srv/isam/dossier.h"
#include "srv/isam/srv_barbre_impl.h"
#include "srv/isam/srv_donnee_impl.h"
#include "srv/proprietaire.h"

namespace durable {

namespace fs = std::filesystem;

struct Options {
  uint64_t records = 100000;
  fs::path dir = fs::temp_directory_path() / "vesk-bench-durable";
  int repeat = 1;
  int writers = 0;
  int commits = 500;  // per writer
};

struct Times {
  double single = 0, batch = 0;              // seconds
  double syncs_single = 0, syncs_batch = 0;  // per commit (Vesk)
};

[[noreturn]] inline void Die(const std::string& what) {
  std::fprintf(stderr, "isam_bench --durable : %s\n", what.c_str());
  std::exit(1);
}

inline double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

inline double Median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  size_t m = v.size() / 2;
  return v.size() % 2 == 1 ? v[m] : (v[m - 1] + v[m]) / 2;
}

// n keys of 13 characters drawn from seed; prefix, when given, replaces the first character (so
// that writers never draw the same key).
inline std::vector<std::string> Keys(uint64_t n, uint64_t seed, char prefix = 0) {
  std::mt19937_64 rng(seed);
  std::vector<std::string> keys;
  keys.reserve(n);
  for (uint64_t i = 0; i < n; ++i) {
    char b[32];
    std::snprintf(b, sizeof b, "%012llu",
                  static_cast<unsigned long long>(rng() % 1000000000000ULL));
    keys.push_back(std::string(b) + std::to_string(i % 10));
    if (prefix != 0) keys.back()[0] = prefix;
  }
  return keys;
}

struct Owner : vesk::Proprietaire {
  int32_t IdMethode(std::string_view nom) override {
    return nom == "LireBen" ? 1 : nom == "EcrireBen" ? 2 : -1;
  }
  void Invoque(int32_t id, int32_t& no) override {
    if (id == 1) {
      srv->LireFichier(file, no, fields);
    } else {
      srv->EcrireFichier(file, no, fields);
    }
  }
  vesk::SrvDonnee* srv = nullptr;
  int16_t file = 0;
  std::string fields;
};

// The bench's file in a Vesk folder, through the services.
struct VeskFile {
  explicit VeskFile(const fs::path& dir, bool full)
      : folder(
            std::make_shared<vesk::isam::DossierDonnees>(vesk::isam::Env::Default(), dir.string())),
        donnee(folder),
        barbre(folder) {
    folder->Synchro(full);
    owner.srv = &donnee;
    donnee.Donnee(false, "Ben", 64, owner.file, &owner, "", "", "", true);
    barbre.B_Arbre(false, "Ben", 13, "P", tree, "", true);
  }
  void Insert(const std::string& k) {
    owner.fields = k + " un client de la facturation";
    int32_t no = 0;
    barbre.Insere(tree, k, owner.file, no);
  }
  // Inserts keys [from, to) of keys in commits of `per` operations.
  void Batches(const std::vector<std::string>& keys, size_t per) {
    for (size_t i = 0; i < keys.size(); i += per) {
      vesk::isam::Lot lot(*folder);
      for (size_t j = i; j < std::min(keys.size(), i + per); ++j) Insert(keys[j]);
      if (!lot.Termine().ok()) Die("vesk : échec d'un lot");
    }
  }
  std::shared_ptr<vesk::isam::DossierDonnees> folder;
  vesk::SrvDonneeImpl donnee;
  vesk::SrvBArbreImpl barbre;
  Owner owner;
  int16_t tree = 0;
};

inline Times RunVesk(const fs::path& dir, const std::vector<std::string>& single,
                     const std::vector<std::string>& batch) {
  VeskFile v(dir, true);
  Times t;
  uint64_t syncs = v.folder->Syncs();
  double start = Now();
  v.Batches(batch, 1000);
  t.batch = Now() - start;
  const size_t commits = (batch.size() + 999) / 1000;
  t.syncs_batch = commits == 0 ? 0 : double(v.folder->Syncs() - syncs) / double(commits);
  syncs = v.folder->Syncs();
  start = Now();
  for (const std::string& k : single) v.Insert(k);
  t.single = Now() - start;
  t.syncs_single = double(v.folder->Syncs() - syncs) / double(single.size());
  return t;
}

inline void Exec(sqlite3* db, const std::string& q) {
  char* err = nullptr;
  if (sqlite3_exec(db, q.c_str(), nullptr, nullptr, &err) != SQLITE_OK) {
    std::string what = "sqlite : " + q + " : " + (err ? err : "?");
    sqlite3_free(err);
    Die(what);
  }
}

// A connection to the bench's SQLite table, and its prepared insertion.
struct SqliteFile {
  SqliteFile(const fs::path& file, bool wal, bool full) {
    if (sqlite3_open(file.string().c_str(), &db) != SQLITE_OK) Die("sqlite : ouverture");
    sqlite3_busy_timeout(db, 600000);
    Exec(db, wal ? "PRAGMA journal_mode=WAL" : "PRAGMA journal_mode=DELETE");
    Exec(db, full ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=OFF");
    Exec(db, "CREATE TABLE IF NOT EXISTS ben (k TEXT PRIMARY KEY, v TEXT)");
    if (sqlite3_prepare_v2(db, "INSERT INTO ben VALUES (?, ?)", -1, &ins, nullptr) != SQLITE_OK) {
      Die("sqlite : préparation");
    }
  }
  ~SqliteFile() {
    sqlite3_finalize(ins);
    sqlite3_close(db);
  }
  void Insert(const std::string& k) {
    std::string v = k + " un client de la facturation";
    sqlite3_bind_text(ins, 1, k.data(), static_cast<int>(k.size()), SQLITE_TRANSIENT);
    sqlite3_bind_text(ins, 2, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
    if (sqlite3_step(ins) != SQLITE_DONE) Die(std::string("sqlite : ") + sqlite3_errmsg(db));
    sqlite3_reset(ins);
  }
  void Batches(const std::vector<std::string>& keys, size_t per) {
    for (size_t i = 0; i < keys.size(); i += per) {
      Exec(db, "BEGIN");
      for (size_t j = i; j < std::min(keys.size(), i + per); ++j) Insert(keys[j]);
      Exec(db, "COMMIT");
    }
  }
  sqlite3* db = nullptr;
  sqlite3_stmt* ins = nullptr;
};

inline Times RunSqlite(const fs::path& file, bool wal, const std::vector<std::string>& single,
                       const std::vector<std::string>& batch) {
  SqliteFile s(file, wal, true);
  Times t;
  double start = Now();
  s.Batches(batch, 1000);
  t.batch = Now() - start;
  start = Now();
  for (const std::string& k : single) s.Insert(k);
  t.single = Now() - start;
  return t;
}

// The floor of a durable commit on this disk: 1,000 writes of 16 KiB (a single insert's redo
// log records) one after the other into a file of the redo log's size, each followed by a sync,
// through the engine's own file calls; seconds for the 1,000.
inline double SyncFloor(const fs::path& dir) {
  std::unique_ptr<vesk::platform::File> f;
  std::u8string u8 = (dir / "plancher").u8string();
  if (!vesk::platform::OpenFile(std::string(u8.begin(), u8.end()),
                                vesk::platform::OpenMode::kCreate, &f)
           .ok()) {
    Die("plancher : le fichier ne peut être créé");
  }
  const std::string block(16384, 'x');
  auto pass = [&](bool sync_each) {
    for (uint64_t at = 0; at < 1000 * block.size(); at += block.size()) {
      if (!f->WriteAt(at, block).ok() || (sync_each && !f->Sync().ok())) {
        Die("plancher : écriture refusée");
      }
    }
  };
  pass(false);  // the file at its size, as the redo log's steps of zeros make it
  if (!f->Sync().ok()) Die("plancher : synchronisation refusée");
  const double start = Now();
  pass(true);
  return Now() - start;
}

// One run of the single-process measure: Vesk, SQLite's rollback journal, SQLite WAL, and the
// floor of a commit with one sync.
struct Single {
  Times vesk, sqlite, wal;
  double floor = 0;
};

inline Single RunSingle(const Options& o) {
  fs::remove_all(o.dir);
  fs::create_directories(o.dir / "vesk");
  fs::create_directories(o.dir / "sqlite");
  std::vector<std::string> single = Keys(1000, 1), batch = Keys(o.records, 2);
  Single r;
  r.vesk = RunVesk(o.dir / "vesk", single, batch);
  r.sqlite = RunSqlite(o.dir / "sqlite" / "rollback.db", false, single, batch);
  r.wal = RunSqlite(o.dir / "sqlite" / "wal.db", true, single, batch);
  r.floor = SyncFloor(o.dir);
  fs::remove_all(o.dir);
  return r;
}

inline void ReportSingle(const Options& o, const std::vector<Single>& runs) {
  auto med = [&](auto f) {
    std::vector<double> v;
    for (const Single& r : runs) v.push_back(f(r));
    return Median(v);
  };
  const double n = 1000, records = static_cast<double>(o.records);
  auto line = [&](const char* name, Times Single::*e) {
    double single = med([&](const Single& r) { return (r.*e).single; });
    double batch = med([&](const Single& r) { return (r.*e).batch; });
    std::printf(
        "%-12s commit_single %8.3f s (%7.0f commits/s)  commit_batch %8.3f s (%9.0f inserts/s)\n",
        name, single, n / single, batch, records / batch);
  };
  std::printf(
      "isam_bench --durable : %llu enregistrements par lots de 1000, puis 1000 "
      "validations d'une opération ; médianes de %d passages\n",
      static_cast<unsigned long long>(o.records), o.repeat);
  line("vesk", &Single::vesk);
  line("sqlite", &Single::sqlite);
  line("sqlite_wal", &Single::wal);
  std::printf("syncs per commit vesk: single %.2f batch %.2f\n",
              med([](const Single& r) { return r.vesk.syncs_single; }),
              med([](const Single& r) { return r.vesk.syncs_batch; }));
  // The best ratio a commit of one sync can reach against SQLite WAL on this disk: a goal above
  // it asks a commit for less than a write and its sync.
  std::printf("sync alone %.3f ms per commit; vesk/sqlite_wal at one sync and nothing else=%.2f\n",
              med([](const Single& r) { return r.floor; }),
              med([](const Single& r) { return r.wal.single / r.floor; }));
  std::printf("ratio commit_single vesk/sqlite=%.2f vesk/sqlite_wal=%.2f\n",
              med([](const Single& r) { return r.sqlite.single / r.vesk.single; }),
              med([](const Single& r) { return r.wal.single / r.vesk.single; }));
  std::printf("ratio commit_batch vesk/sqlite=%.2f vesk/sqlite_wal=%.2f\n",
              med([](const Single& r) { return r.sqlite.batch / r.vesk.batch; }),
              med([](const Single& r) { return r.wal.batch / r.vesk.batch; }));
}

// ---- Several processes ----

// What the writers of one engine did: the wall time from their start together to the end of the
// last one, and (Vesk) the syncs they made.
struct Concurrent {
  double seconds = 0;
  uint64_t syncs = 0;
};

// Forks o.writers processes that each run work(i) (returning its syncs), released together;
// waits for them all.
inline Concurrent Fork(const Options& o, const std::function<uint64_t(int)>& work) {
  int go[2], back[2];
  if (pipe(go) != 0 || pipe(back) != 0) Die("pipe");
  std::fflush(stdout);
  std::vector<pid_t> pids;
  for (int i = 0; i < o.writers; ++i) {
    pid_t pid = fork();
    if (pid < 0) Die("fork");
    if (pid == 0) {
      close(go[1]);
      close(back[0]);
      char c;
      if (read(go[0], &c, 1) != 0) _exit(3);  // released when the parent closes its end
      uint64_t syncs = 0;
      try {
        syncs = work(i);
      } catch (const std::exception& e) {
        std::fprintf(stderr, "écrivain %d : %s\n", i, e.what());
        _exit(2);
      }
      if (write(back[1], &syncs, sizeof syncs) != static_cast<ssize_t>(sizeof syncs)) _exit(3);
      _exit(0);
    }
    pids.push_back(pid);
  }
  close(go[0]);
  close(back[1]);
  usleep(100000);  // every child waiting on the pipe
  Concurrent c;
  double start = Now();
  close(go[1]);
  for (pid_t pid : pids) {
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
      Die("un écrivain a échoué");
    }
  }
  c.seconds = Now() - start;
  uint64_t syncs = 0;
  while (read(back[0], &syncs, sizeof syncs) == static_cast<ssize_t>(sizeof syncs)) {
    c.syncs += syncs;
  }
  close(back[0]);
  return c;
}

struct Writers {
  Concurrent vesk, wal;
};

inline Writers RunWriters(const Options& o) {
  fs::remove_all(o.dir);
  fs::create_directories(o.dir / "vesk");
  fs::create_directories(o.dir / "sqlite");
  const std::vector<std::string> base = Keys(o.records, 2);
  auto keys = [&](int i) { return Keys(o.commits, 100 + i, static_cast<char>('a' + i)); };
  Writers w;
  {
    VeskFile v(o.dir / "vesk", false);
    v.Batches(base, base.size());
  }  // closed: the redo log emptied, the files at rest
  w.vesk = Fork(o, [&](int i) {
    VeskFile v(o.dir / "vesk", true);
    const std::vector<std::string> mine = keys(i);
    const uint64_t before = v.folder->Syncs();
    for (const std::string& k : mine) v.Insert(k);
    return v.folder->Syncs() - before;
  });
  {
    SqliteFile s(o.dir / "sqlite" / "wal.db", true, false);
    s.Batches(base, base.size());
  }
  w.wal = Fork(o, [&](int i) {
    SqliteFile s(o.dir / "sqlite" / "wal.db", true, true);
    for (const std::string& k : keys(i)) s.Insert(k);
    return uint64_t{0};
  });
  fs::remove_all(o.dir);
  return w;
}

inline void ReportWriters(const Options& o, const std::vector<Writers>& runs) {
  const double commits = double(o.writers) * o.commits;
  std::vector<double> v, s, ratio, syncs;
  for (const Writers& w : runs) {
    v.push_back(commits / w.vesk.seconds);
    s.push_back(commits / w.wal.seconds);
    ratio.push_back(w.wal.seconds / w.vesk.seconds);
    syncs.push_back(double(w.vesk.syncs) / commits);
  }
  std::printf(
      "isam_bench --durable --writers %d : %d validations d'une opération par processus dans un "
      "fichier de %llu enregistrements ; médianes de %d passages\n",
      o.writers, o.commits, static_cast<unsigned long long>(o.records), o.repeat);
  std::printf("%-12s %9.0f commits/s (ensemble des processus)\n", "vesk", Median(v));
  std::printf("%-12s %9.0f commits/s (ensemble des processus)\n", "sqlite_wal", Median(s));
  std::printf("ratio commit_writers%d vesk/sqlite_wal=%.2f syncs_per_commit=%.2f\n", o.writers,
              Median(ratio), Median(syncs));
}

// isam_bench --durable [--records N] [--dir D] [--repeat K] [--writers W] [--commits C]
inline int Main(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a == "--durable") continue;
    if (i + 1 >= argc) Die("option sans valeur : " + a);
    std::string v = argv[++i];
    if (a == "--records") {
      o.records = std::strtoull(v.c_str(), nullptr, 10);
    } else if (a == "--dir") {
      o.dir = fs::path(v) / "durable";
    } else if (a == "--repeat") {
      o.repeat = std::atoi(v.c_str());
    } else if (a == "--writers") {
      o.writers = std::atoi(v.c_str());
    } else if (a == "--commits") {
      o.commits = std::atoi(v.c_str());
    } else {
      Die("option inconnue : " + a);
    }
  }
  if (o.records < 1 || o.records > 100000000) Die("--records : de 1 à 100000000");
  if (o.repeat < 1 || o.repeat > 100) Die("--repeat : de 1 à 100");
  if (o.writers < 0 || o.writers > 26) Die("--writers : de 1 à 26");
  if (o.commits < 1 || o.commits > 1000000) Die("--commits : de 1 à 1000000");
  if (o.writers > 0) {
    std::vector<Writers> runs;
    for (int k = 0; k < o.repeat; ++k) runs.push_back(RunWriters(o));
    ReportWriters(o, runs);
  } else {
    std::vector<Single> runs;
    for (int k = 0; k < o.repeat; ++k) runs.push_back(RunSingle(o));
    ReportSingle(o, runs);
  }
  return 0;
}

}  // namespace durable

#endif  // VESK_BENCH_ISAM_DURABLE_H_
