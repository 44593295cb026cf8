// isam_bench --pg URI: the data services on a database store against a hand-written libpq
// program doing the same statements on the same server, the folder engine beside them, in one
// run: --records random inserts in one batch (the peer: one transaction, pipelined), as many
// random lookups (one round trip each), an ordered scan of every key with its record (the peer:
// a cursor fetching 1,000 rows at a time), 1,000 single inserts each committed on its own (one
// round trip each: statements and commit pipelined), and --records inserts in batches of 1,000.
// Durable commits need a server whose fsync is on (VESK_PG_FSYNC=on scripts/postgres-local.sh).
// Prints the operations per second and the lines
//   ratio PHASE vesk/libpq=X dossier/libpq=Y
// where a ratio above 1 means faster than the hand-written program. Included by isam_bench.cpp.
#ifndef VESK_BENCH_ISAM_PG_H_
#define VESK_BENCH_ISAM_PG_H_

#include <libpq-fe.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "srv/isam/dossier.h"
#include "srv/isam/srv_barbre_impl.h"
#include "srv/isam/srv_donnee_impl.h"
#include "srv/pg/outils_pg.h"
#include "srv/pg/srv_barbre_pg.h"
#include "srv/pg/srv_donnee_pg.h"
#include "srv/proprietaire.h"

namespace benchpg {

constexpr size_t kRecord = 128, kKey = 16, kLot = 1000, kSeuls = 1000;
const char* const kPhases[] = {"rand_insert", "lookup", "scan", "commit_single", "batch_1000"};

[[noreturn]] inline void Die(const std::string& what) {
  std::fprintf(stderr, "isam_bench --pg : %s\n", what.c_str());
  std::exit(1);
}

inline double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Keys "K" and 15 digits, distinct, in a random order; record i is its key then letters.
struct Jeu {
  std::vector<std::string> cles;
  std::vector<uint32_t> recherches;
  std::string Enregistrement(size_t i) const {
    std::string r = cles[i];
    for (size_t k = kKey; k < kRecord; ++k) r.push_back(static_cast<char>('a' + (i + k) % 26));
    return r;
  }
};

inline Jeu FaitJeu(size_t n) {
  Jeu j;
  std::mt19937_64 rng(36);
  for (size_t i = 0; i < n + kSeuls + n; ++i) {
    char b[32];
    std::snprintf(b, sizeof b, "K%015llu", static_cast<unsigned long long>(i * 7919 + 13));
    j.cles.emplace_back(b, kKey);
  }
  std::shuffle(j.cles.begin(), j.cles.end(), rng);
  for (size_t i = 0; i < n; ++i) j.recherches.push_back(static_cast<uint32_t>(rng() % n));
  return j;
}

using Temps = std::map<std::string, double>;

// ---- Vesk's services (a database store, or a folder) ----

struct Proprio : vesk::Proprietaire {
  int32_t IdMethode(std::string_view nom) override {
    return nom == "LireBen" ? 1 : nom == "EcrireBen" ? 2 : -1;
  }
  void Invoque(int32_t id, int32_t& no) override {
    if (id == 1) {
      srv->LireFichier(fichier, no, champs);
    } else {
      srv->EcrireFichier(fichier, no, champs);
    }
  }
  vesk::SrvDonnee* srv = nullptr;
  int16_t fichier = 0;
  std::string champs;
};

inline Temps Services(vesk::SrvDonnee& donnee, vesk::SrvBArbre& barbre, const Jeu& j, size_t n) {
  Proprio p;
  p.srv = &donnee;
  int16_t arbre = 0;
  donnee.Donnee(false, "Ben", kRecord, p.fichier, &p, "", "Ben", "", true);
  barbre.B_Arbre(false, "Ben", kKey, "P", arbre, "Ben", true);
  int32_t no = 0;
  auto insere = [&](size_t i) {
    p.champs = j.Enregistrement(i);
    barbre.Insere(arbre, j.cles[i], p.fichier, no);
  };
  Temps t;
  double t0 = Now();
  donnee.DebutLot();
  for (size_t i = 0; i < n; ++i) insere(i);
  donnee.FinLot();
  t["rand_insert"] = Now() - t0;
  t0 = Now();
  bool trouve = false;
  for (uint32_t i : j.recherches) {
    barbre.Recherche(arbre, j.cles[i], p.fichier, trouve);
    if (!trouve || p.champs.compare(0, kKey, j.cles[i]) != 0) Die("vesk : clé perdue");
  }
  t["lookup"] = Now() - t0;
  t0 = Now();
  size_t vus = 0;
  std::string cle;
  for (barbre.PremCle(arbre, p.fichier, trouve, cle); trouve;
       barbre.SuivCle(arbre, p.fichier, trouve, cle)) {
    vus += p.champs.size() == kRecord ? 1 : 0;
  }
  if (vus != n) Die("vesk : parcours incomplet");
  t["scan"] = Now() - t0;
  t0 = Now();
  for (size_t i = n; i < n + kSeuls; ++i) insere(i);
  t["commit_single"] = Now() - t0;
  t0 = Now();
  for (size_t i = n + kSeuls; i < n + kSeuls + n; i += kLot) {
    donnee.DebutLot();
    for (size_t k = i; k < std::min(i + kLot, n + kSeuls + n); ++k) insere(k);
    donnee.FinLot();
  }
  t["batch_1000"] = Now() - t0;
  return t;
}

// ---- The hand-written libpq program ----

class Brut {
 public:
  Brut(const std::string& uri, std::string schema) : schema_(std::move(schema)) {
    c_ = PQconnectdb(uri.c_str());
    if (PQstatus(c_) != CONNECTION_OK) Die(std::string("libpq : ") + PQerrorMessage(c_));
    PQsetNoticeProcessor(
        c_, [](void*, const char*) {}, nullptr);  // DROP ... IF EXISTS
    Exec("DROP SCHEMA IF EXISTS " + schema_ + " CASCADE");
    Exec("CREATE SCHEMA " + schema_);
    Exec("CREATE TABLE " + schema_ +
         ".d (no integer PRIMARY KEY, supprime boolean NOT NULL, octets bytea NOT NULL)");
    Exec("CREATE TABLE " + schema_ + ".b (cle bytea PRIMARY KEY, no integer NOT NULL)");
  }
  ~Brut() {
    Exec("DROP SCHEMA IF EXISTS " + schema_ + " CASCADE");
    PQfinish(c_);
  }
  void Exec(const std::string& sql) {
    PGresult* r = PQexec(c_, sql.c_str());
    const ExecStatusType s = PQresultStatus(r);
    if (s != PGRES_COMMAND_OK && s != PGRES_TUPLES_OK) Die(sql + " : " + PQerrorMessage(c_));
    PQclear(r);
  }
  // Sends the two inserts of record i (its number no) into the pipeline.
  void Insere(const Jeu& j, size_t i, int32_t no) {
    const std::string numero = std::to_string(no), octets = j.Enregistrement(i);
    const char* v1[] = {numero.c_str(), octets.data()};
    const int l1[] = {0, static_cast<int>(kRecord)}, f[] = {0, 1};
    Envoie(("INSERT INTO " + schema_ + ".d VALUES ($1, false, $2)").c_str(), 2, v1, l1, f);
    const char* v2[] = {j.cles[i].data(), numero.c_str()};
    const int l2[] = {static_cast<int>(kKey), 0}, f2[] = {1, 0};
    Envoie(("INSERT INTO " + schema_ + ".b VALUES ($1, $2)").c_str(), 2, v2, l2, f2);
  }
  void Envoie(const char* sql, int n, const char* const* v, const int* l, const int* f) {
    if (PQsendQueryParams(c_, sql, n, nullptr, v, l, f, 1) != 1) Die(PQerrorMessage(c_));
  }
  // Ends the pipeline's round trip: every result read, a failure ends the run.
  void Synchronise() {
    if (PQpipelineSync(c_) != 1) Die(PQerrorMessage(c_));
    for (;;) {
      PGresult* r = PQgetResult(c_);
      if (r == nullptr) continue;
      const ExecStatusType s = PQresultStatus(r);
      PQclear(r);
      if (s == PGRES_PIPELINE_SYNC) return;
      if (s == PGRES_FATAL_ERROR || s == PGRES_PIPELINE_ABORTED) Die(PQerrorMessage(c_));
    }
  }
  // Inserts the records first..last-1 in one transaction, its statements pipelined: a round
  // trip per kLot records, the last with the commit.
  void Lot(const Jeu& j, size_t first, size_t last) {
    Envoie("BEGIN", 0, nullptr, nullptr, nullptr);
    for (size_t i = first; i < last; ++i) {
      Insere(j, i, ++dernier_);
      if ((i - first + 1) % kLot == 0 && i + 1 < last) Synchronise();
    }
    Envoie("COMMIT", 0, nullptr, nullptr, nullptr);
    Synchronise();
  }
  Temps Lance(const Jeu& j, size_t n);

 private:
  PGconn* c_ = nullptr;
  std::string schema_;
  int32_t dernier_ = 0;
};

inline Temps Brut::Lance(const Jeu& j, size_t n) {
  Temps t;
  if (PQenterPipelineMode(c_) != 1) Die("libpq : mode pipeline");
  double t0 = Now();
  Lot(j, 0, n);
  t["rand_insert"] = Now() - t0;
  if (PQexitPipelineMode(c_) != 1) Die("libpq : fin du pipeline");
  const std::string cherche = "SELECT d.octets FROM " + schema_ + ".b b JOIN " + schema_ +
                              ".d d ON d.no = b.no WHERE b.cle = $1";
  t0 = Now();
  for (uint32_t i : j.recherches) {
    const char* v[] = {j.cles[i].data()};
    const int l[] = {static_cast<int>(kKey)}, f[] = {1};
    PGresult* r = PQexecParams(c_, cherche.c_str(), 1, nullptr, v, l, f, 1);
    if (PQntuples(r) != 1 || std::string(PQgetvalue(r, 0, 0), kKey) != j.cles[i]) {
      Die("libpq : clé perdue");
    }
    PQclear(r);
  }
  t["lookup"] = Now() - t0;
  t0 = Now();
  Exec("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
  Exec("DECLARE c NO SCROLL CURSOR FOR SELECT b.cle, d.octets FROM " + schema_ + ".b b JOIN " +
       schema_ + ".d d ON d.no = b.no ORDER BY b.cle");
  size_t vus = 0;
  for (;;) {
    PGresult* r = PQexecParams(c_, "FETCH 1000 FROM c", 0, nullptr, nullptr, nullptr, nullptr, 1);
    const int lignes = PQntuples(r);
    for (int k = 0; k < lignes; ++k)
      vus += static_cast<size_t>(PQgetlength(r, k, 1)) == kRecord ? 1 : 0;
    PQclear(r);
    if (lignes == 0) break;
  }
  Exec("COMMIT");
  if (vus != n) Die("libpq : parcours incomplet");
  t["scan"] = Now() - t0;
  if (PQenterPipelineMode(c_) != 1) Die("libpq : mode pipeline");
  t0 = Now();
  for (size_t i = n; i < n + kSeuls; ++i) Lot(j, i, i + 1);
  t["commit_single"] = Now() - t0;
  t0 = Now();
  for (size_t i = n + kSeuls; i < n + kSeuls + n; i += kLot) {
    Lot(j, i, std::min(i + kLot, n + kSeuls + n));
  }
  t["batch_1000"] = Now() - t0;
  if (PQexitPipelineMode(c_) != 1) Die("libpq : fin du pipeline");
  return t;
}

inline int Main(int argc, char** argv) {
  std::string uri;
  size_t n = 20000;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--pg" && i + 1 < argc) uri = argv[++i];
    if (a == "--records" && i + 1 < argc) n = std::strtoull(argv[++i], nullptr, 10);
  }
  if (uri.empty()) Die("usage : isam_bench --pg URI [--records N]");
  if (n < kLot || n > 10000000) Die("--records : de 1000 à 10000000");
  const Jeu j = FaitJeu(n);
  const std::string suffixe = std::to_string(getpid());
  Temps brut, base, dossier;
  try {
    brut = Brut(uri, "bench_brut_" + suffixe).Lance(j, n);
    const std::string schema = "bench_vesk_" + suffixe;
    {
      auto b = vesk::pg::OuvreBase(uri, schema, true);
      vesk::SrvDonneePg donnee(b);
      vesk::SrvBArbrePg barbre(b);
      base = Services(donnee, barbre, j, n);
    }
    vesk::pg::EffaceSchemas(uri, schema);
    const std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("vesk-bench-pg-" + suffixe);
    std::filesystem::create_directories(dir);
    {
      auto d = std::make_shared<vesk::isam::DossierDonnees>(vesk::isam::Env::Default(),
                                                            dir.string(), "", size_t{64} << 20);
      vesk::SrvDonneeImpl donnee(d);
      vesk::SrvBArbreImpl barbre(d);
      dossier = Services(donnee, barbre, j, n);
    }
    std::filesystem::remove_all(dir);
  } catch (const std::exception& e) {
    Die(e.what());
  }
  std::printf(
      "isam_bench --pg : %zu enregistrements de %zu octets, clés de %zu octets ; %zu "
      "validations seules ; lots de %zu\n\n%-14s %12s %12s %12s   (opérations par "
      "seconde)\n",
      n, kRecord, kKey, kSeuls, kLot, "phase", "vesk (base)", "libpq", "dossier");
  for (const char* p : kPhases) {
    const double ops = std::string(p) == "commit_single" ? kSeuls : static_cast<double>(n);
    std::printf("%-14s %12.0f %12.0f %12.0f\n", p, ops / base[p], ops / brut[p], ops / dossier[p]);
  }
  std::printf("\n");
  for (const char* p : kPhases) {
    std::printf("ratio %s vesk/libpq=%.2f dossier/libpq=%.2f\n", p, brut[p] / base[p],
                brut[p] / dossier[p]);
  }
  return 0;
}

}  // namespace benchpg

#endif  // VESK_BENCH_ISAM_PG_H_
