// isam_bench --durable: commits that survive a power loss, Vesk beside SQLite (rollback journal
// and WAL, both synchronous full): 1,000 single-operation commits, then --records random inserts
// in commits of 1,000. Prints the times, the syncs per commit of Vesk, and the lines
//   ratio commit_single vesk/sqlite=X vesk/sqlite_wal=Y
//   ratio commit_batch vesk/sqlite=X vesk/sqlite_wal=Y
// where a ratio above 1 means Vesk is faster. Included by isam_bench.cpp only.
#ifndef VESK_BENCH_ISAM_DURABLE_H_
#define VESK_BENCH_ISAM_DURABLE_H_

#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "srv/isam/dossier.h"
#include "srv/isam/srv_barbre_impl.h"
#include "srv/isam/srv_donnee_impl.h"
#include "srv/proprietaire.h"

namespace durable {

struct Times {
  double single = 0, batch = 0;              // seconds
  double syncs_single = 0, syncs_batch = 0;  // per commit (Vesk)
};

inline double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

inline std::vector<std::string> Keys(uint64_t n, uint64_t seed) {
  std::mt19937_64 rng(seed);
  std::vector<std::string> keys;
  keys.reserve(n);
  for (uint64_t i = 0; i < n; ++i) {
    char b[32];
    std::snprintf(b, sizeof b, "%012llu",
                  static_cast<unsigned long long>(rng() % 1000000000000ULL));
    keys.push_back(std::string(b) + std::to_string(i % 10));
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

inline Times RunVesk(const std::filesystem::path& dir, const std::vector<std::string>& single,
                     const std::vector<std::string>& batch) {
  using namespace vesk;
  auto d = std::make_shared<isam::DossierDonnees>(isam::Env::Default(), dir.string());
  d->Synchro(true);
  SrvDonneeImpl donnee(d);
  SrvBArbreImpl barbre(d);
  Owner owner;
  owner.srv = &donnee;
  int16_t tree = 0;
  donnee.Donnee(false, "Ben", 64, owner.file, &owner, "", "", "", true);
  barbre.B_Arbre(false, "Ben", 13, "P", tree, "", true);
  Times t;
  int32_t no = 0;
  uint64_t syncs = d->Syncs();
  double start = Now();
  for (const std::string& k : single) {
    owner.fields = k + " un client de la facturation";
    barbre.Insere(tree, k, owner.file, no);
  }
  t.single = Now() - start;
  t.syncs_single = double(d->Syncs() - syncs) / double(single.size());
  syncs = d->Syncs();
  start = Now();
  size_t commits = 0;
  for (size_t i = 0; i < batch.size(); i += 1000, ++commits) {
    isam::Lot lot(*d);
    for (size_t j = i; j < std::min(batch.size(), i + 1000); ++j) {
      owner.fields = batch[j] + " un client de la facturation";
      barbre.Insere(tree, batch[j], owner.file, no);
    }
    if (!lot.Termine().ok()) std::fprintf(stderr, "vesk : échec d'un lot\n");
  }
  t.batch = Now() - start;
  t.syncs_batch = commits == 0 ? 0 : double(d->Syncs() - syncs) / double(commits);
  return t;
}

inline void Exec(sqlite3* db, const std::string& q) {
  char* err = nullptr;
  if (sqlite3_exec(db, q.c_str(), nullptr, nullptr, &err) != SQLITE_OK) {
    std::fprintf(stderr, "sqlite : %s : %s\n", q.c_str(), err ? err : "?");
    sqlite3_free(err);
  }
}

inline Times RunSqlite(const std::filesystem::path& file, bool wal,
                       const std::vector<std::string>& single,
                       const std::vector<std::string>& batch) {
  sqlite3* db = nullptr;
  sqlite3_open(file.string().c_str(), &db);
  Exec(db, wal ? "PRAGMA journal_mode=WAL" : "PRAGMA journal_mode=DELETE");
  Exec(db, "PRAGMA synchronous=FULL");
  Exec(db, "CREATE TABLE ben (k TEXT PRIMARY KEY, v TEXT)");
  sqlite3_stmt* ins = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO ben VALUES (?, ?)", -1, &ins, nullptr);
  auto insert = [&](const std::string& k) {
    std::string v = k + " un client de la facturation";
    sqlite3_bind_text(ins, 1, k.data(), static_cast<int>(k.size()), SQLITE_TRANSIENT);
    sqlite3_bind_text(ins, 2, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
    if (sqlite3_step(ins) != SQLITE_DONE) std::fprintf(stderr, "sqlite : insertion\n");
    sqlite3_reset(ins);
  };
  Times t;
  double start = Now();
  for (const std::string& k : single) insert(k);
  t.single = Now() - start;
  start = Now();
  for (size_t i = 0; i < batch.size(); i += 1000) {
    Exec(db, "BEGIN");
    for (size_t j = i; j < std::min(batch.size(), i + 1000); ++j) insert(batch[j]);
    Exec(db, "COMMIT");
  }
  t.batch = Now() - start;
  sqlite3_finalize(ins);
  sqlite3_close(db);
  return t;
}

inline int Run(const std::filesystem::path& dir, uint64_t records) {
  namespace fs = std::filesystem;
  fs::remove_all(dir);
  fs::create_directories(dir / "vesk");
  fs::create_directories(dir / "sqlite");
  std::vector<std::string> single = Keys(1000, 1), batch = Keys(records, 2);
  Times v = RunVesk(dir / "vesk", single, batch);
  Times s = RunSqlite(dir / "sqlite" / "rollback.db", false, single, batch);
  Times w = RunSqlite(dir / "sqlite" / "wal.db", true, single, batch);
  auto line = [](const char* name, const Times& t, size_t n, uint64_t r) {
    std::printf(
        "%-12s commit_single %8.3f s (%7.0f commits/s)  commit_batch %8.3f s (%9.0f inserts/s)\n",
        name, t.single, double(n) / t.single, t.batch, double(r) / t.batch);
  };
  line("vesk", v, single.size(), records);
  line("sqlite", s, single.size(), records);
  line("sqlite_wal", w, single.size(), records);
  std::printf("syncs per commit vesk: single %.2f batch %.2f\n", v.syncs_single, v.syncs_batch);
  std::printf("ratio commit_single vesk/sqlite=%.2f vesk/sqlite_wal=%.2f\n", s.single / v.single,
              w.single / v.single);
  std::printf("ratio commit_batch vesk/sqlite=%.2f vesk/sqlite_wal=%.2f\n", s.batch / v.batch,
              w.batch / v.batch);
  fs::remove_all(dir);
  return 0;
}

// isam_bench --durable [--records N] [--dir D]
inline int Main(int argc, char** argv) {
  uint64_t records = 100000;
  std::filesystem::path dir = std::filesystem::temp_directory_path() / "vesk-bench-durable";
  for (int i = 1; i + 1 < argc; ++i) {
    std::string a = argv[i];
    if (a == "--records") records = std::strtoull(argv[++i], nullptr, 10);
    if (a == "--dir") dir = std::filesystem::path(argv[++i]) / "durable";
  }
  return Run(dir, records);
}

}  // namespace durable

#endif  // VESK_BENCH_ISAM_DURABLE_H_
