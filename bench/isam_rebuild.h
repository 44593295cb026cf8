// isam_bench --rebuild: the B-tree rebuild of a data file of N records of 128 bytes with one
// primary tree (16-byte keys) and one secondary tree (8-byte keys, many duplicates), beside
// SQLite building the same two indexes (CREATE UNIQUE INDEX, CREATE INDEX) over the same rows,
// in the same run, for 200,000 and 1,000,000 records (or --records N). Each rebuild is durable
// (Vesk syncs its new files; SQLite commits in WAL mode with synchronous FULL). Vesk's rebuild
// runs in a child process so that its peak memory is its own. Each side is timed three times
// (the indexes dropped and built again), the best time kept. Prints per size the times and
//   ratio rebuild vesk/sqlite=N.NN   (SQLite's time over Vesk's: above 1, Vesk is faster)
// then the same for a file whose every hundredth record is deleted (compaction included; no
// SQLite peer). Included by isam_bench.cpp only.
#ifndef VESK_BENCH_ISAM_REBUILD_H_
#define VESK_BENCH_ISAM_REBUILD_H_

#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "srv/isam/data_file.h"
#include "srv/isam/dossier.h"
#include "srv/isam/rebuild.h"

namespace rebuild {

namespace fs = std::filesystem;
using vesk::isam::Status;

inline double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

[[noreturn]] inline void Die(const std::string& what) {
  std::fprintf(stderr, "isam_bench --rebuild : %s\n", what.c_str());
  std::exit(2);
}

// Record i: its primary key ("K" and 15 digits of a scrambled i), its secondary key (one of
// 5,000 values), then letters. Records lie in no key order, as a file grown over time.
inline void Record(uint64_t i, char* out) {
  char b[40];
  std::snprintf(b, sizeof b, "K%015llu",
                static_cast<unsigned long long>((i * 7919 + 13) % 1000000007ULL));
  std::memcpy(out, b, 16);
  std::snprintf(b, sizeof b, "V%07llu", static_cast<unsigned long long>(i * 7 % 5000));
  std::memcpy(out + 16, b, 8);
  for (int k = 24; k < 128; ++k) out[k] = static_cast<char>('a' + (i + k) % 26);
}

// The data file of n records, every step-th one deleted (step 0: none).
void WriteVesk(const fs::path& dir, uint64_t n, uint64_t step) {
  using namespace vesk::isam;
  std::unique_ptr<DataFile> f;
  DataFile::Options o;
  o.create = true;
  o.cache_blocks = 1024;
  if (!DataFile::Open(Env::Default(), (dir / "BEN.DAT").string(), 128, o, &f).ok()) Die("BEN.DAT");
  char rec[128];
  for (uint64_t i = 1; i <= n; ++i) {
    Record(i, rec);
    if (!f->Write(static_cast<uint32_t>(i), rec).ok()) Die("écriture de BEN.DAT");
    if (step != 0 && i % step == 0 && !f->MarkDeleted(static_cast<uint32_t>(i)).ok()) Die("sup");
    if (i % 8192 == 0 && !f->Flush().ok()) Die("écriture de BEN.DAT");
  }
  if (!f->Sync().ok()) Die("sync de BEN.DAT");
}

vesk::PlanReconstruction Plan() {
  auto slice = [](size_t at, size_t len) {
    return [at, len](std::string_view r, std::string& k) { k.assign(r.substr(at, len)); };
  };
  return {{{"Ben", false, true, {{"Ben1", 16, "P", slice(0, 16)}, {"Ben2", 8, "S", slice(16, 8)}}}},
          {}};
}

struct Mesure {
  double seconds = 0;
  long peak_kib = 0;
  uint64_t keys = 0;
};

// mesure run in a child process, so that the peak memory is its own: its Mesure (time taken
// by the child) with that peak. mesure returns false when it failed; quoi names it then.
template <class F>
Mesure DansUnEnfant(const char* quoi, F&& mesure) {
  int fds[2];
  if (pipe(fds) != 0) Die("pipe");
  pid_t pid = fork();
  if (pid < 0) Die("fork");
  if (pid == 0) {
    close(fds[0]);
    Mesure m;
    const bool ok = mesure(&m);
    if (write(fds[1], &m, sizeof m) != sizeof m || !ok) _exit(1);
    _exit(0);
  }
  close(fds[1]);
  Mesure m;
  const bool lu = read(fds[0], &m, sizeof m) == sizeof m;
  close(fds[0]);
  int status = 0;
  rusage u{};
  wait4(pid, &status, 0, &u);
  if (!lu || !WIFEXITED(status) || WEXITSTATUS(status) != 0) Die(quoi);
  m.peak_kib = u.ru_maxrss;
  return m;
}

// Vesk's rebuild in a child process: its time and its peak memory.
Mesure Vesk(const fs::path& dir) {
  return DansUnEnfant("reconstruction Vesk", [&](Mesure* m) {
    auto d = std::make_shared<vesk::isam::DossierDonnees>(vesk::isam::Env::Default(), dir.string(),
                                                          "", size_t{64} << 20);
    vesk::isam::RebuildResult r;
    const double t0 = Now();
    Status s = vesk::isam::Rebuild(*d, Plan(), nullptr, &r);
    *m = {Now() - t0, 0, r.files.empty() ? 0 : r.files[0].keys[0]};
    if (!s.ok()) std::fprintf(stderr, "%s\n", s.message().c_str());
    return s.ok();
  });
}

void Exec(sqlite3* db, const char* q) {
  char* err = nullptr;
  if (sqlite3_exec(db, q, nullptr, nullptr, &err) != SQLITE_OK) {
    Die(std::string("sqlite : ") + (err ? err : q));
  }
}

// The same rows in SQLite (not timed), then the two indexes built in one durable transaction,
// three times: the best time.
double Sqlite(const fs::path& dir, uint64_t n) {
  sqlite3* db = nullptr;
  if (sqlite3_open((dir / "ben.sqlite").string().c_str(), &db) != SQLITE_OK) Die("sqlite open");
  Exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA cache_size=-65536;");
  Exec(db, "CREATE TABLE t(k BLOB, s BLOB, reste BLOB); BEGIN;");
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO t VALUES(?,?,?)", -1, &st, nullptr);
  char rec[128];
  for (uint64_t i = 1; i <= n; ++i) {
    Record(i, rec);
    sqlite3_bind_blob(st, 1, rec, 16, SQLITE_STATIC);
    sqlite3_bind_blob(st, 2, rec + 16, 8, SQLITE_STATIC);
    sqlite3_bind_blob(st, 3, rec + 24, 104, SQLITE_STATIC);
    if (sqlite3_step(st) != SQLITE_DONE) Die("sqlite insert");
    sqlite3_reset(st);
  }
  sqlite3_finalize(st);
  Exec(db, "COMMIT;");
  double best = 1e9;
  for (int fois = 0; fois < 3; ++fois) {
    if (fois > 0) Exec(db, "DROP INDEX i1; DROP INDEX i2;");
    const double t0 = Now();
    Exec(db, "BEGIN; CREATE UNIQUE INDEX i1 ON t(k); CREATE INDEX i2 ON t(s); COMMIT;");
    best = std::min(best, Now() - t0);
  }
  sqlite3_close(db);
  return best;
}

void Taille(uint64_t n, const fs::path& root) {
  const fs::path dir = root / ("n" + std::to_string(n));
  fs::remove_all(dir);
  fs::create_directories(dir);
  WriteVesk(dir, n, 0);
  Mesure v = Vesk(dir);
  for (int fois = 1; fois < 3; ++fois) {
    const Mesure m = Vesk(dir);
    if (m.seconds < v.seconds) v.seconds = m.seconds;
    v.peak_kib = std::max(v.peak_kib, m.peak_kib);
  }
  const double s = Sqlite(dir, n);
  std::printf(
      "%llu enregistrements : vesk %.3f s (%llu clés, pic mémoire %.1f Mio), sqlite %.3f s\n",
      static_cast<unsigned long long>(n), v.seconds, static_cast<unsigned long long>(v.keys),
      v.peak_kib / 1024.0, s);
  std::printf("ratio rebuild vesk/sqlite=%.2f\n", v.seconds > 0 ? s / v.seconds : 0.0);
  fs::remove_all(dir);
  fs::create_directories(dir);
  WriteVesk(dir, n, 100);
  const Mesure c = Vesk(dir);
  std::printf(
      "%llu enregistrements dont 1 %% supprimés : vesk %.3f s avec le compactage "
      "(pic mémoire %.1f Mio)\n",
      static_cast<unsigned long long>(n), c.seconds, c.peak_kib / 1024.0);
  fs::remove_all(dir);
}

int Main(int argc, char** argv) {
  std::vector<uint64_t> sizes{200000, 1000000};
  fs::path root = fs::temp_directory_path() / ("vesk-rebuild-" + std::to_string(getpid()));
  bool own_root = true;  // a folder given with --dir keeps everything but the bench's own files
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--rebuild") continue;
    if (a == "--records" && i + 1 < argc) {
      sizes = {std::stoull(argv[++i])};
    } else if (a == "--dir" && i + 1 < argc) {
      root = argv[++i];
      own_root = false;
    } else {
      Die("option inconnue " + a + " (--records N, --dir DOSSIER)");
    }
  }
  for (uint64_t n : sizes) Taille(n, root);
  if (own_root) fs::remove_all(root);
  return 0;
}

}  // namespace rebuild

#endif  // VESK_BENCH_ISAM_REBUILD_H_
