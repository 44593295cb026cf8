// vesk-pair: two processes interleave their operations on one data folder. Each applies its own
// seeded workload (customers of its own letter), and after every operation commits its count in
// a counters file and tells the other process on a pipe. Before its next operation each reads
// the other's counter: it must be at least the last count it was told, so a commit is seen by
// the other user at once. At the end each process checks every customer of its model (nothing
// lost or overwritten by the other) and the parent runs the folder verifier.
// Prints the failures found and, last, "operations N failures F" (N: the workload operations of
// both processes; each also commits as many counter writes).
// With --pg URI the two processes share a database store instead (a root schema of its own on
// the server of URI).
// usage: vesk-pair [--steps S] [--seed X] [--dir D] [--synchro full|off] [--pg URI]
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string>

#include "srv/erreur_service.h"
#include "srv/isam/verify.h"
#include "srv/isam/workload.h"
#ifdef VESK_AVEC_PG
#include "srv/pg/outils_pg.h"
#include "srv/pg/srv_donnee_pg.h"
#include "srv/pg/verifie_pg.h"
#endif

namespace {

using namespace vesk::isam;
using vesk::SrvDonneeImpl;

struct Options {
  int steps = 1000;
  uint64_t seed = 1;
  std::string dir;
  bool full = false;
  std::string pg;      // the server of a database store ("": the folder)
  std::string schema;  // its root schema
};

// The workload and the data service of one process: over the folder, or over the store of
// --pg.
struct Usager {
  std::shared_ptr<DossierDonnees> dossier;
  std::unique_ptr<Workload> workload;
  std::unique_ptr<vesk::SrvDonnee> srv;
#ifdef VESK_AVEC_PG
  std::shared_ptr<vesk::pg::BasePg> base;
#endif
};

Usager Ouvre(const Options& o, uint64_t seed, char letter) {
  Usager u;
#ifdef VESK_AVEC_PG
  if (!o.pg.empty()) {
    u.base = vesk::pg::OuvreBase(o.pg, o.schema, o.full);
    u.workload = vesk::pg::WorkloadBase(u.base, seed, letter);
    u.srv = std::make_unique<vesk::SrvDonneePg>(u.base);
    return u;
  }
#endif
  u.dossier = std::make_shared<DossierDonnees>(Env::Default(), o.dir);
  u.dossier->Synchro(o.full);
  u.workload = std::make_unique<Workload>(u.dossier, seed, letter);
  u.srv = std::make_unique<SrvDonneeImpl>(u.dossier);
  return u;
}

constexpr char kCounters[] = "Cpt";
constexpr int16_t kCounterLength = 12;

// The pipes of one process: where it tells its counts, where it hears the other's, and the
// rendezvous at the end (so that neither checks its model while the other still writes).
struct Ends {
  int tell = -1, hear = -1, done = -1, wait = -1;
};

int16_t OpenCounters(vesk::SrvDonnee& srv) {
  int16_t f = 0;
  srv.Donnee(false, kCounters, kCounterLength, f, nullptr, "Compteurs", "", "", true);
  return f;
}

// Creates the workload's files and the counters file (records 1 and 2 at zero) before the two
// processes start, so that neither creates a file the other is opening.
void Prepare(const Options& o) {
  Usager u = Ouvre(o, 1, 'Z');
  int16_t f = OpenCounters(*u.srv);
  u.srv->EcrireFichier(f, 1, "0");
  u.srv->EcrireFichier(f, 2, "0");
}

// The last count the other process told, or known when nothing new came.
long Heard(int fd, long known) {
  long n = 0;
  while (read(fd, &n, sizeof n) == static_cast<ssize_t>(sizeof n)) known = n;
  return known;
}

// One process: 1 (record 1, letter A) or 2 (record 2, letter B). Returns the failures it found.
int Process(const Options& o, int me, const Ends& e) {
  const char letter = me == 1 ? 'A' : 'B';
  int failures = 0;
  Usager u = Ouvre(o, o.seed * 2 + static_cast<uint64_t>(me), letter);
  // A empties its redo log every few commits, so that checkpoints fall between B's commits.
  if (me == 1 && u.dossier != nullptr) u.dossier->SeuilJournal(uint64_t{64} << 10);
  Workload& w = *u.workload;
  vesk::SrvDonnee& srv = *u.srv;
  int16_t f = OpenCounters(srv);
  long told = 0;
  std::string text;
  for (long i = 1; i <= o.steps; ++i) {
    told = Heard(e.hear, told);
    srv.LireFichier(f, 3 - me, text);
    if (std::stol(text) < told && failures++ < 10) {
      std::printf("%c : compteur de l'autre %ld, annoncé %ld\n", letter, std::stol(text), told);
    }
    w.Step();
    srv.EcrireFichier(f, me, std::to_string(i));
    // A full pipe only drops a count: the other then checks against an older one. A pipe
    // without reader (EPIPE: SIGPIPE is ignored) means the other process ended early; its own
    // message says why.
    if (write(e.tell, &i, sizeof i) < 0 && errno != EAGAIN) {
      std::printf("%c : l'autre processus ne lit plus (%s) à l'opération %ld\n", letter,
                  std::strerror(errno), i);
      return failures + 1;
    }
  }
  char c = 'x';
  if (write(e.done, &c, 1) != 1 || read(e.wait, &c, 1) != 1) {
    std::printf("%c : l'autre processus s'est arrêté avant la fin\n", letter);
    return failures + 1;
  }
  w.CheckModel();
  srv.LireFichier(f, 3 - me, text);
  if (std::stol(text) != o.steps && failures++ < 10) {
    std::printf("%c : compteur final de l'autre %s\n", letter, text.c_str());
  }
  return failures;
}

int RunProcess(const Options& o, int me, const Ends& e) {
  try {
    return Process(o, me, e);
  } catch (const std::exception& err) {
    // ErreurService, and whatever else the workload throws (a counter that does not read as
    // a number): the process names itself and the reason.
    std::printf("%c : %s\n", me == 1 ? 'A' : 'B', err.what());
    return 1;
  }
}

int Verify(const Options& o) {
  Usager u = Ouvre(o, 1, 'Z');
  FolderReport r;
#ifdef VESK_AVEC_PG
  if (u.base != nullptr) {
    vesk::pg::VerifieBase(*u.base, vesk::pg::ChainagesDeclares(*u.base), &r);
    for (const std::string& p : r.problems) std::printf("vérificateur : %s\n", p.c_str());
    return static_cast<int>(r.problems.size());
  }
#endif
  Status s = VerifyFolder(Env::Default(), o.dir, DeclaredChains(*u.dossier), &r);
  if (!s.ok()) {
    std::printf("vérificateur : %s\n", s.message().c_str());
    return 1;
  }
  for (const std::string& p : r.problems) std::printf("vérificateur : %s\n", p.c_str());
  return static_cast<int>(r.problems.size());
}

// Forks B; this process is A. Returns the failures of both, or -1 when a process could not start.
int Pair(const Options& o) {
  int ab[2], ba[2], done[2], go[2];
  if (pipe2(ab, O_NONBLOCK) != 0 || pipe2(ba, O_NONBLOCK) != 0 || pipe(done) != 0 ||
      pipe(go) != 0) {
    return -1;
  }
  pid_t pid = fork();
  if (pid < 0) return -1;
  bool child = pid == 0;
  // Each keeps only its own ends: when one dies, the other's reads end instead of waiting.
  const int others[2][4] = {{ab[0], ba[1], done[1], go[0]}, {ab[1], ba[0], done[0], go[1]}};
  for (int fd : others[child ? 1 : 0]) close(fd);
  Ends e = child ? Ends{ba[1], ab[0], done[1], go[0]} : Ends{ab[1], ba[0], go[1], done[0]};
  int failures = RunProcess(o, child ? 2 : 1, e);
  if (child) {
    std::fflush(stdout);  // _exit flushes nothing: the child's messages would be lost
    _exit(failures > 100 ? 100 : failures);
  }
  for (int fd : {e.tell, e.hear, e.done, e.wait}) close(fd);
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return -1;
  if (!WIFEXITED(status)) {
    std::printf("B : arrêté par le signal %d\n", WIFSIGNALED(status) ? WTERMSIG(status) : status);
    return failures + 1;
  }
  if (WEXITSTATUS(status) != 0) {
    std::printf("B : %d défaillance(s)\n", WEXITSTATUS(status));
  }
  return failures + WEXITSTATUS(status);
}

bool Parse(int argc, char** argv, Options* o) {
  for (int i = 1; i + 1 < argc; i += 2) {
    std::string k = argv[i], v = argv[i + 1];
    if (k == "--steps")
      o->steps = std::stoi(v);
    else if (k == "--seed")
      o->seed = std::stoull(v);
    else if (k == "--dir")
      o->dir = v;
    else if (k == "--synchro")
      o->full = v == "full";
#ifdef VESK_AVEC_PG
    else if (k == "--pg")
      o->pg = v;
#endif
    else
      return false;
  }
  return argc % 2 == 1 && o->steps > 0;
}

}  // namespace

int main(int argc, char** argv) {
  // A process whose partner died gets EPIPE on its pipe, and reports it, instead of dying of
  // SIGPIPE without a word.
  std::signal(SIGPIPE, SIG_IGN);
  Options o;
  if (!Parse(argc, argv, &o)) {
    std::fprintf(stderr,
                 "usage : vesk-pair [--steps S] [--seed X] [--dir D] [--synchro full|off] "
                 "[--pg URI]\n");
    return 2;
  }
  namespace fs = std::filesystem;
  bool temporary = o.dir.empty();
  if (temporary) {
    o.dir = (fs::temp_directory_path() / ("vesk-pair-" + std::to_string(getpid()))).string();
  }
  fs::remove_all(o.dir);
  fs::create_directories(o.dir);
  o.schema = "vesk_pair_" + std::to_string(getpid());
  int failures = 0;
  try {
#ifdef VESK_AVEC_PG
    if (!o.pg.empty()) vesk::pg::EffaceSchemas(o.pg, o.schema);
#endif
    Prepare(o);
    std::fflush(stdout);  // nothing buffered is written twice by the fork
    failures = Pair(o);
    if (failures < 0) {
      std::fprintf(stderr, "vesk-pair : processus non démarré\n");
      return 2;
    }
    failures += Verify(o);
#ifdef VESK_AVEC_PG
    if (!o.pg.empty()) vesk::pg::EffaceSchemas(o.pg, o.schema);
#endif
  } catch (const vesk::ErreurService& e) {
    std::printf("%s\n", e.what());
    ++failures;
  }
  if (temporary) fs::remove_all(o.dir);
  std::printf("operations %d failures %d\n", 2 * o.steps, failures);
  return failures == 0 ? 0 : 1;
}
