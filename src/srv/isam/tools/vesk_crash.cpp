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
// usage: vesk-crash [--runs N] [--steps S] [--seed X] [--dir D] [--synchro full|off]
//                   [--rebuild 1] [--migrate 1]
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

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

namespace {

using namespace vesk::isam;

struct Options {
  int runs = 10, steps = 200;
  uint64_t seed = 1;
  std::string dir;
  bool full = false;
  bool rebuild = false;
  bool migrate = false;
  bool Ends() const { return rebuild || migrate; }
};

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
    {
      auto d = std::make_shared<DossierDonnees>(Env::Default(), dir, "", 1 << 20);
      d->Synchro(o.full);
      // Every other run empties its redo log every few commits, so that kills land in
      // checkpoints.
      if (seed % 2 == 1) d->SeuilJournal(uint64_t{16} << 10);
      if (o.migrate) MigrationWorkload::Prepare(*d);
      Workload w(d, seed);
      if (write(out, "R", 1) != 1) _exit(3);
      for (int i = 0; i < o.steps; ++i) {
        w.Step();
        if (write(out, "C", 1) != 1) _exit(3);
      }
      if (o.rebuild) {
        if (write(out, "B", 1) != 1) _exit(3);
        Status s = Reconstruit(*d, seed);
        if (!s.ok()) throw vesk::ErreurService("Reconstruction", dir, s.message());
        if (write(out, "C", 1) != 1) _exit(3);
      }
    }
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
  RapportVerif r;
  s = VerifieDossier(Env::Default(), dir, {MigrationWorkload::Chaining(dir, after)}, &r);
  if (!s.ok()) return s.message();
  if (!r.problemes.empty()) return "vérificateur : " + r.problemes.front();
  bool saved = false;
  for (const auto& e : std::filesystem::directory_iterator(dir)) {
    const std::string n = e.path().filename().string();
    saved = saved || (n.rfind(kBackupPrefix, 0) == 0 &&
                      std::filesystem::exists(e.path() / "CLI.DAT") &&
                      std::filesystem::exists(e.path() / "DIC.DAT"));
  }
  if (after != saved) return after ? "pas de sauvegarde après la migration" : "sauvegarde sans migration";
  return "";
}

// Reopens dir and checks it; an empty string when all is well.
std::string Check(const Options& o, const std::string& dir, uint64_t seed,
                  const std::vector<uint64_t>& ref, int commits) {
  try {
    if (o.migrate && commits >= o.steps) return CheckMigration(dir, ref);
    auto d = std::make_shared<DossierDonnees>(Env::Default(), dir, "", 1 << 20);
    Workload w(d, seed);
    uint64_t h = Hash64(Workload::State(*d), 0);
    bool ok =
        h == ref[commits] || (commits + 1 < static_cast<int>(ref.size()) && h == ref[commits + 1]);
    if (!ok) return "état différent après " + std::to_string(commits) + " opérations validées";
    RapportVerif r;
    Status s = VerifieDossier(Env::Default(), dir, ChainagesDeclares(*d), &r);
    if (!s.ok()) return s.message();
    if (!r.problemes.empty()) return "vérificateur : " + r.problemes.front();
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
    else
      return false;
  }
  return argc % 2 == 1 && o->runs >= 0 && o->steps > 0 && !(o->rebuild && o->migrate);
}

}  // namespace

namespace {

// One run: a child runs the workload on dir and is killed at a random instant; the folder must
// then hold exactly the operations the child reported committed. False when it fails (said on
// the output); -1 when a process could not be started.
int Run(const Options& o, int run, const std::string& dir, std::mt19937_64& rng) {
  namespace fs = std::filesystem;
  uint64_t seed = o.seed + static_cast<uint64_t>(run);
  fs::remove_all(dir);
  fs::create_directories(dir);
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
                 "[--synchro full|off] [--rebuild 1 | --migrate 1]\n");
    return 2;
  }
  namespace fs = std::filesystem;
  fs::path root = o.dir.empty()
                      ? fs::temp_directory_path() / ("vesk-crash-" + std::to_string(getpid()))
                      : fs::path(o.dir);
  std::mt19937_64 rng(o.seed * 7919 + 1);
  int failures = 0;
  for (int run = 0; run < o.runs; ++run) {
    int ok = Run(o, run, (root / ("run" + std::to_string(run % 4))).string(), rng);
    if (ok < 0) return 2;
    failures += ok == 0 ? 1 : 0;
  }
  if (o.dir.empty()) fs::remove_all(root);
  std::printf("runs %d failures %d\n", o.runs, failures);
  return failures == 0 ? 0 : 1;
}
