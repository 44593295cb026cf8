// vesk-crash: kill -9 loop of the storage engine. Each run starts a child process that applies
// a seeded workload to a fresh data folder and reports every committed operation on a pipe;
// the parent kills it at a random moment, reopens the folder (which replays the redo log the
// child left) and checks it against the states the same workload goes through in memory
// and with the folder verifier. Prints one line per failing run and, last, "runs N failures F".
// With --rebuild the child ends with a rebuild of the line file or of the customers' file (one
// run in two each), killed at a random instant around it: the folder must then hold the state
// before the rebuild or the state after it, whole. With --migrate it ends with the layout
// migration of migration_workload.h (the customers' file converted, its trees rebuilt, a record
// of DIC.DAT rewritten in the same batch), killed at a random instant around it: the folder must
// hold the old files with the old DIC record, or the new ones with the new record and the old
// files in the backup folder.
// With --writers 2 two children commit at once into the folder, customers of letter A and of
// letter B, each telling its own commits; both are killed at the same instant, and each letter
// must then hold exactly the operations its child reported (or one more).
// With --pg URI the runs go to a database store instead (a root schema per run, on the server
// of URI), its server's transactions taking the place of the journal.
// usage: vesk-crash [--runs N] [--steps S] [--seed X] [--dir D] [--synchro full|off]
//                   [--rebuild 1] [--migrate 1] [--writers 2] [--pg URI]
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "srv/erreur_service.h"
#include "srv/isam/migrate.h"
#include "srv/isam/migration_workload.h"
#include "srv/isam/redo_log.h"
#include "srv/isam/verify.h"
#include "srv/isam/workload.h"
#ifdef VESK_AVEC_PG
#include "srv/pg/outils_pg.h"
#include "srv/pg/verifie_pg.h"
#endif

namespace {

using namespace vesk::isam;

struct Options {
  int runs = 10, steps = 200;
  uint64_t seed = 1;
  std::string dir;
  bool full = false;
  bool rebuild = false;
  bool migrate = false;
  int writers = 1;
  bool Ends() const { return rebuild || migrate; }
  std::string pg;  // the server of a database store ("": folders)
};

#ifdef VESK_AVEC_PG
// The root schema of a run's store, with --pg: its folder's name and its parent's, in the
// letters a schema takes ("vesk_crash_1234_run0").
std::string Schema(const std::string& dir) {
  const std::filesystem::path p(dir);
  std::string s = p.parent_path().filename().string() + "_" + p.filename().string();
  for (char& c : s) {
    c = std::isalnum(static_cast<unsigned char>(c)) ? static_cast<char>(std::tolower(c)) : '_';
  }
  return "v" + s;
}
#endif

// The workload of a run on its database store, with --pg (null without it).
std::unique_ptr<Workload> WorkloadBase(const Options& o, const std::string& dir, uint64_t seed) {
#ifdef VESK_AVEC_PG
  if (!o.pg.empty())
    return vesk::pg::WorkloadBase(vesk::pg::OuvreBase(o.pg, Schema(dir), o.full), seed);
#endif
  (void)o;
  (void)dir;
  (void)seed;
  return nullptr;
}

// The rebuild that ends a run of seed, with --rebuild.
Status Reconstruit(DossierDonnees& d, uint64_t seed) {
  RebuildResult r;
  return Rebuild(d, Workload::Plan(seed % 2 == 0), nullptr, &r);
}

// Digests of the states a clean run goes through, in memory. With --migrate only the state
// before the migration and the state after it count (the kill comes during the migration).
std::vector<uint64_t> Reference(const Options& o, uint64_t seed) {
  MemEnv mem;
  auto d = std::make_shared<DossierDonnees>(&mem, "/m", "", 1 << 20);
  if (o.migrate) MigrationWorkload::Prepare(*d);
  std::vector<uint64_t> out;
  {
    Workload w(d, seed);
    out.push_back(Hash64(Workload::State(*d), 0));
    for (int i = 0; i < o.steps; ++i) {
      w.Step();
      out.push_back(Hash64(Workload::State(*d), 0));
    }
  }
  if (o.rebuild) {
    Status s = Reconstruit(*d, seed);
    if (!s.ok()) throw vesk::ErreurService("Reconstruction", "/m", s.message());
    out.push_back(Hash64(Workload::State(*d), 0));
  }
  if (o.migrate) {
    d.reset();
    d = std::make_shared<DossierDonnees>(&mem, "/m", "", 1 << 20);
    out = {Hash64(MigrationWorkload::State(&mem, "/m"), 0)};
    MigrationWorkload::Run(*d);
    out.push_back(Hash64(MigrationWorkload::State(&mem, "/m"), 0));
  }
  return out;
}

// The child's migration, on the folder opened afresh (no file of the workload open).
void Migre(const Options& o, const std::string& dir, int out) {
  auto d = std::make_shared<DossierDonnees>(Env::Default(), dir, "", 1 << 20);
  d->Synchro(o.full);
  if (write(out, "B", 1) != 1) _exit(3);
  MigrationWorkload::Run(*d);
  if (write(out, "C", 1) != 1) _exit(3);
}

[[noreturn]] void Child(const Options& o, const std::string& dir, uint64_t seed, int out) {
  try {
    std::shared_ptr<DossierDonnees> d;
    std::unique_ptr<Workload> w = WorkloadBase(o, dir, seed);
    if (w == nullptr) {
      d = std::make_shared<DossierDonnees>(Env::Default(), dir, "", 1 << 20);
      d->Synchro(o.full);
      // Every other run empties its redo log every few commits, so that kills land in
      // checkpoints.
      if (seed % 2 == 1) d->SeuilJournal(uint64_t{16} << 10);
      if (o.migrate) MigrationWorkload::Prepare(*d);
      w = std::make_unique<Workload>(d, seed);
    }
    if (write(out, "R", 1) != 1) _exit(3);
    for (int i = 0; i < o.steps; ++i) {
      w->Step();
      if (write(out, "C", 1) != 1) _exit(3);
    }
    if (o.rebuild) {
      if (write(out, "B", 1) != 1) _exit(3);
      Status s = Reconstruit(*d, seed);
      if (!s.ok()) throw vesk::ErreurService("Reconstruction", dir, s.message());
      if (write(out, "C", 1) != 1) _exit(3);
    }
    w.reset();  // the migration opens the folder afresh, no file of the workload open
    d.reset();
    if (o.migrate) Migre(o, dir, out);
  } catch (const vesk::ErreurService& e) {
    std::fprintf(stderr, "enfant : %s\n", e.what());
    _exit(2);
  }
  _exit(0);
}

// Reads what the child reported until it is killed; returns the commits seen. With a rebuild
// the kill comes once the rebuild has begun ('B'), within a few milliseconds.
int Watch(int in, pid_t pid, std::mt19937_64& rng, const Options& o, bool* ready) {
  const int target = o.Ends() ? o.steps : static_cast<int>(rng() % (o.steps + 1));
  int commits = 0;
  char c;
  bool killed = false, begun = !o.Ends();
  while (read(in, &c, 1) == 1) {
    if (c == 'R') *ready = true;
    if (c == 'C') ++commits;
    if (c == 'B') begun = true;
    if (!killed && *ready && begun && commits >= target) {
      usleep(static_cast<useconds_t>(rng() % (o.Ends() ? 8000 : 400)));
      kill(pid, SIGKILL);
      killed = true;
    }
  }
  if (!killed) kill(pid, SIGKILL);
  return commits;
}

// After a kill during the migration: the folder, recovered, holds the state before it or the
// state after it, sound, and after it the old files in a backup folder.
std::string CheckMigration(const std::string& dir, const std::vector<uint64_t>& ref) {
  auto d = std::make_shared<DossierDonnees>(Env::Default(), dir, "", 1 << 20);
  Status s = d->Reprise();
  if (!s.ok()) return "reprise : " + s.message();
  const uint64_t h = Hash64(MigrationWorkload::State(Env::Default(), dir), 0);
  if (h != ref[0] && h != ref[1]) return "ni l'état d'avant la migration ni celui d'après";
  const bool after = h == ref[1];
  FolderReport r;
  s = VerifyFolder(Env::Default(), dir, {MigrationWorkload::Chaining(dir, after)}, &r);
  if (!s.ok()) return s.message();
  if (!r.problems.empty()) return "vérificateur : " + r.problems.front();
  bool saved = false;
  for (const auto& e : std::filesystem::directory_iterator(dir)) {
    const std::string n = e.path().filename().string();
    saved =
        saved || (n.rfind(kBackupPrefix, 0) == 0 && std::filesystem::exists(e.path() / "CLI.DAT") &&
                  std::filesystem::exists(e.path() / "DIC.DAT"));
  }
  if (after != saved)
    return after ? "pas de sauvegarde après la migration" : "sauvegarde sans migration";
  return "";
}

// Whether the digest h of the state found is the state after the commits reported, or after
// one more (committed when the child was killed, before it could say so).
bool Attendu(uint64_t h, const std::vector<uint64_t>& ref, int commits) {
  return h == ref[commits] || (commits + 1 < static_cast<int>(ref.size()) && h == ref[commits + 1]);
}

#ifdef VESK_AVEC_PG
// Opens the run's database store again and checks it; an empty string when all is well.
std::string CheckBase(const Options& o, const std::string& dir, uint64_t seed,
                      const std::vector<uint64_t>& ref, int commits) {
  try {
    auto b = vesk::pg::OuvreBase(o.pg, Schema(dir), o.full);
    std::unique_ptr<Workload> w = vesk::pg::WorkloadBase(b, seed);
    if (!Attendu(Hash64(vesk::pg::EtatBase(*b), 0), ref, commits)) {
      return "état différent après " + std::to_string(commits) + " opérations validées";
    }
    FolderReport r;
    vesk::pg::VerifieBase(*b, vesk::pg::ChainagesDeclares(*b), &r);
    if (!r.problems.empty()) return "vérificateur : " + r.problems.front();
  } catch (const vesk::ErreurService& e) {
    return std::string("réouverture : ") + e.what();
  }
  return "";
}
#endif

// The folder verifier's first problem with dir, open as d; an empty string when none.
std::string Verifie(const std::string& dir, DossierDonnees& d) {
  FolderReport r;
  Status s = VerifyFolder(Env::Default(), dir, DeclaredChains(d), &r);
  if (!s.ok()) return s.message();
  return r.problems.empty() ? "" : "vérificateur : " + r.problems.front();
}

// Reopens dir and checks it; an empty string when all is well.
std::string Check(const Options& o, const std::string& dir, uint64_t seed,
                  const std::vector<uint64_t>& ref, int commits) {
#ifdef VESK_AVEC_PG
  if (!o.pg.empty()) return CheckBase(o, dir, seed, ref, commits);
#endif
  try {
    if (o.migrate && commits >= o.steps) return CheckMigration(dir, ref);
    auto d = std::make_shared<DossierDonnees>(Env::Default(), dir, "", 1 << 20);
    Workload w(d, seed);
    if (!Attendu(Hash64(Workload::State(*d), 0), ref, commits))
      return "état différent après " + std::to_string(commits) + " opérations validées";
    return Verifie(dir, *d);
  } catch (const vesk::ErreurService& e) {
    return std::string("réouverture : ") + e.what();
  }
  return "";
}

bool Parse(int argc, char** argv, Options* o) {
  for (int i = 1; i + 1 < argc; i += 2) {
    std::string k = argv[i], v = argv[i + 1];
    if (k == "--runs")
      o->runs = std::stoi(v);
    else if (k == "--steps")
      o->steps = std::stoi(v);
    else if (k == "--seed")
      o->seed = std::stoull(v);
    else if (k == "--dir")
      o->dir = v;
    else if (k == "--synchro")
      o->full = v == "full";
    else if (k == "--rebuild")
      o->rebuild = v == "1";
    else if (k == "--migrate")
      o->migrate = v == "1";
    else if (k == "--writers")
      o->writers = std::stoi(v);
#ifdef VESK_AVEC_PG
    else if (k == "--pg")
      o->pg = v;
#endif
    else
      return false;
  }
  // A database rebuilds in one transaction of the server: its kills are those of any commit.
  // The migration is the folders' own.
  return argc % 2 == 1 && o->runs >= 0 && o->steps > 0 && !(o->rebuild && o->migrate) &&
         !((o->rebuild || o->migrate) && !o->pg.empty()) && (o->writers == 1 || o->writers == 2) &&
         !(o->writers == 2 && (o->Ends() || !o->pg.empty()));
}

// ---- --writers 2 ----

// Digests of the customers of one letter (Workload::Vue) after each step of its workload alone.
std::vector<uint64_t> ReferenceLettre(const Options& o, uint64_t seed, char letter) {
  MemEnv mem;
  Workload w(std::make_shared<DossierDonnees>(&mem, "/m", "", 1 << 20), seed, letter);
  std::vector<uint64_t> out{Hash64(w.Vue(letter), 0)};
  for (int i = 0; i < o.steps; ++i) {
    w.Step();
    out.push_back(Hash64(w.Vue(letter), 0));
  }
  return out;
}

// One of the two writers: its workload (seed) on customers of letter, each commit told on out.
// Every other run empties the redo log every few commits, as the single child does.
[[noreturn]] void Writer(const Options& o, const std::string& dir, uint64_t seed, char letter,
                         bool seuil, int out) {
  try {
    auto d = std::make_shared<DossierDonnees>(Env::Default(), dir, "", 1 << 20);
    d->Synchro(o.full);
    if (seuil) d->SeuilJournal(uint64_t{16} << 10);
    Workload w(d, seed, letter);
    if (write(out, "R", 1) != 1) _exit(3);
    for (int i = 0; i < o.steps; ++i) {
      w.Step();
      if (write(out, "C", 1) != 1) _exit(3);
    }
  } catch (const vesk::ErreurService& e) {
    std::fprintf(stderr, "enfant %c : %s\n", letter, e.what());
    _exit(2);
  }
  _exit(0);
}

// The commits a writer reported, read until its pipe closes.
int Commits(int in) {
  int n = 0;
  for (char c; read(in, &c, 1) == 1;) n += c == 'C' ? 1 : 0;
  return n;
}

// Reopens dir after both writers were killed and checks each letter against its reference.
std::string CheckLettres(const std::string& dir, const std::vector<uint64_t> ref[2],
                         const int commits[2]) {
  try {
    auto d = std::make_shared<DossierDonnees>(Env::Default(), dir, "", 1 << 20);
    Workload w(d, 0, 'Z');
    for (int i = 0; i < 2; ++i) {
      const char letter = static_cast<char>('A' + i);
      if (!Attendu(Hash64(w.Vue(letter), 0), ref[i], commits[i])) {
        return std::string("clients ") + letter + " différents après " +
               std::to_string(commits[i]) + " opérations validées";
      }
    }
    return Verifie(dir, *d);
  } catch (const vesk::ErreurService& e) {
    return std::string("réouverture : ") + e.what();
  }
  return "";
}

// Starts the two writers on dir, its files made first (so that neither creates a file the
// other opens); they are killed together once A has reported a random number of commits. The
// failure of a writer is said on the output (false).
bool LanceEcrivains(const Options& o, const std::string& dir, uint64_t seed, std::mt19937_64& rng,
                    int commits[2]) {
  { Workload w(std::make_shared<DossierDonnees>(Env::Default(), dir, "", 1 << 20), 0, 'Z'); }
  int fds[2][2];
  pid_t pids[2];
  for (int i = 0; i < 2; ++i) {
    if (pipe(fds[i]) != 0 || (pids[i] = fork()) < 0) throw vesk::ErreurService("fork", dir, "");
    if (pids[i] == 0) {
      close(fds[i][0]);
      if (i == 1) close(fds[0][0]);
      Writer(o, dir, seed * 2 + static_cast<uint64_t>(i), static_cast<char>('A' + i), seed % 2 == 1,
             fds[i][1]);
    }
    close(fds[i][1]);
  }
  const int target = static_cast<int>(rng() % (o.steps + 1));
  commits[0] = 0;
  for (char c; commits[0] < target && read(fds[0][0], &c, 1) == 1;) commits[0] += c == 'C';
  usleep(static_cast<useconds_t>(rng() % 400));
  for (pid_t p : pids) kill(p, SIGKILL);
  commits[0] += Commits(fds[0][0]);
  commits[1] = Commits(fds[1][0]);
  bool ok = true;
  for (int i = 0; i < 2; ++i) {
    close(fds[i][0]);
    int status = 0;
    waitpid(pids[i], &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0) {
      std::printf("graine %llu : l'écrivain %c a échoué (%d)\n",
                  static_cast<unsigned long long>(seed), 'A' + i, WEXITSTATUS(status));
      ok = false;
    }
  }
  return ok;
}

// One run of --writers 2: 1 when the folder holds what both writers reported, 0 otherwise.
int RunEcrivains(const Options& o, int run, const std::string& dir, std::mt19937_64& rng) {
  const uint64_t seed = o.seed + static_cast<uint64_t>(run);
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
  const std::vector<uint64_t> ref[2] = {ReferenceLettre(o, seed * 2, 'A'),
                                        ReferenceLettre(o, seed * 2 + 1, 'B')};
  int commits[2] = {0, 0};
  if (!LanceEcrivains(o, dir, seed, rng, commits)) return 0;
  const std::string problem = CheckLettres(dir, ref, commits);
  if (problem.empty()) return 1;
  std::printf("run %d (graine %llu, %d et %d validées) : %s\n", run,
              static_cast<unsigned long long>(seed), commits[0], commits[1], problem.c_str());
  return 0;
}

}  // namespace

namespace {

// One run: a child runs the workload on dir and is killed at a random instant; the folder must
// then hold exactly the operations the child reported committed. False when it fails (said on
// the output); -1 when a process could not be started.
int Run(const Options& o, int run, const std::string& dir, std::mt19937_64& rng) {
  if (o.writers == 2) return RunEcrivains(o, run, dir, rng);
  namespace fs = std::filesystem;
  uint64_t seed = o.seed + static_cast<uint64_t>(run);
  fs::remove_all(dir);
  fs::create_directories(dir);
#ifdef VESK_AVEC_PG
  if (!o.pg.empty()) vesk::pg::EffaceSchemas(o.pg, Schema(dir));
#endif
  std::vector<uint64_t> ref = Reference(o, seed);
  int fds[2];
  if (pipe(fds) != 0) return -1;
  pid_t pid = fork();
  if (pid < 0) return -1;
  if (pid == 0) {
    close(fds[0]);
    Child(o, dir, seed, fds[1]);
  }
  close(fds[1]);
  bool ready = false;
  int commits = Watch(fds[0], pid, rng, o, &ready);
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) != 0) {
    std::printf("run %d (graine %llu) : l'enfant a échoué (%d)\n", run,
                static_cast<unsigned long long>(seed), WEXITSTATUS(status));
    return 0;
  }
  if (!ready) return 1;  // killed before its files were created
  std::string problem = Check(o, dir, seed, ref, commits);
  if (problem.empty()) return 1;
  std::printf("run %d (graine %llu, %d validées) : %s\n", run,
              static_cast<unsigned long long>(seed), commits, problem.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  if (!Parse(argc, argv, &o)) {
    std::fprintf(stderr,
                 "usage : vesk-crash [--runs N] [--steps S] [--seed X] [--dir D] "
                 "[--synchro full|off] [--rebuild 1 | --migrate 1 | --writers 2] [--pg URI]\n");
    return 2;
  }
  namespace fs = std::filesystem;
  fs::path root = o.dir.empty()
                      ? fs::temp_directory_path() / ("vesk-crash-" + std::to_string(getpid()))
                      : fs::path(o.dir);
  std::mt19937_64 rng(o.seed * 7919 + 1);
  int failures = 0;
  try {
    for (int run = 0; run < o.runs; ++run) {
      int ok = Run(o, run, (root / ("run" + std::to_string(run % 4))).string(), rng);
      if (ok < 0) return 2;
      failures += ok == 0 ? 1 : 0;
    }
#ifdef VESK_AVEC_PG
    for (int slot = 0; !o.pg.empty() && slot < 4; ++slot) {
      vesk::pg::EffaceSchemas(o.pg, Schema((root / ("run" + std::to_string(slot))).string()));
    }
#endif
  } catch (const vesk::ErreurService& e) {
    std::printf("%s\n", e.what());
    return 2;
  }
  if (o.dir.empty()) fs::remove_all(root);
  std::printf("runs %d failures %d\n", o.runs, failures);
  return failures == 0 ? 0 : 1;
}
