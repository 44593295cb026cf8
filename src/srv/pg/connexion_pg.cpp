#include "srv/pg/connexion_pg.h"

#include <arpa/inet.h>
#include <libpq-fe.h>

#include <cstring>
#include <limits>

namespace vesk::pg {

namespace {

constexpr size_t kSansTicket = std::numeric_limits<size_t>::max();

// libpq's messages end with a newline; ours do not.
std::string SansFinDeLigne(const char* m) {
  std::string s = m == nullptr ? "" : m;
  while (!s.empty() && (s.back() == '\n' || s.back() == ' ')) s.pop_back();
  return s;
}

uint32_t Lit32(const char* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return ntohl(v);
}

}  // namespace

// ---- Parametres ----

Parametres& Parametres::Ajoute(std::string_view octets, int format) {
  debuts_.push_back(donnees_.size());
  longueurs_.push_back(static_cast<int>(octets.size()));
  formats_.push_back(format);
  donnees_.append(octets);
  return *this;
}

Parametres& Parametres::Entier(int32_t v) {
  uint32_t n = htonl(static_cast<uint32_t>(v));
  return Ajoute(std::string_view(reinterpret_cast<const char*>(&n), 4), 1);
}

Parametres& Parametres::Grand(int64_t v) {
  char b[8];
  uint64_t u = static_cast<uint64_t>(v);
  for (int i = 7; i >= 0; --i, u >>= 8) b[i] = static_cast<char>(u & 0xFF);
  return Ajoute(std::string_view(b, 8), 1);
}

Parametres& Parametres::Octets(std::string_view v) { return Ajoute(v, 1); }

Parametres& Parametres::Booleen(bool v) {
  return Ajoute(v ? "\x01" : std::string_view("\0", 1), 1);
}

Parametres& Parametres::Texte(std::string_view v) { return Ajoute(v, 1); }

void Parametres::Vide() {
  donnees_.clear();
  debuts_.clear();
  longueurs_.clear();
  formats_.clear();
}

// ---- Resultat ----

Resultat::Resultat(pg_result* r) : r_(r, PQclear) {}

int Resultat::Lignes() const { return r_ ? PQntuples(r_.get()) : 0; }

bool Resultat::Nul(int ligne, int colonne) const { return PQgetisnull(r_.get(), ligne, colonne); }

int32_t Resultat::Entier(int ligne, int colonne) const {
  return static_cast<int32_t>(Lit32(PQgetvalue(r_.get(), ligne, colonne)));
}

int64_t Resultat::Grand(int ligne, int colonne) const {
  const char* p = PQgetvalue(r_.get(), ligne, colonne);
  return static_cast<int64_t>((uint64_t{Lit32(p)} << 32) | Lit32(p + 4));
}

bool Resultat::Booleen(int ligne, int colonne) const {
  return PQgetvalue(r_.get(), ligne, colonne)[0] != 0;
}

double Resultat::Reel(int ligne, int colonne) const {
  const uint64_t bits = static_cast<uint64_t>(Grand(ligne, colonne));
  double d;
  std::memcpy(&d, &bits, 8);
  return d;
}

std::string_view Resultat::Octets(int ligne, int colonne) const {
  return std::string_view(PQgetvalue(r_.get(), ligne, colonne),
                          static_cast<size_t>(PQgetlength(r_.get(), ligne, colonne)));
}

int64_t Resultat::Modifiees() const {
  const char* n = r_ ? PQcmdTuples(r_.get()) : "";
  return n[0] == '\0' ? 0 : std::stoll(n);
}

// ---- ConnexionPg ----

ConnexionPg::ConnexionPg(const std::string& conninfo) : conninfo_(conninfo) { Connecte(); }

ConnexionPg::~ConnexionPg() {
  if (c_ != nullptr) PQfinish(c_);
}

namespace {

// The server's notices (a schema that exists already...) are not the user's business.
void SansAvis(void*, const char*) {}

}  // namespace

void ConnexionPg::Connecte() {
  c_ = PQconnectdb(conninfo_.c_str());
  if (PQstatus(c_) != CONNECTION_OK) {
    std::string m = SansFinDeLigne(PQerrorMessage(c_));
    PQfinish(c_);
    c_ = nullptr;
    throw ErreurPg("08001", "connexion à la base impossible : " + m);
  }
  PQsetNoticeProcessor(c_, SansAvis, nullptr);
  EntreePipeline();
}

void ConnexionPg::Reconnecte() {
  if (c_ != nullptr) PQfinish(c_);
  c_ = nullptr;
  preparees_.clear();
  attendus_.clear();
  resultats_.clear();
  en_vol_ = 0;
  Connecte();
}

bool ConnexionPg::Vivante() const { return c_ != nullptr && PQstatus(c_) == CONNECTION_OK; }

void ConnexionPg::Echec(std::string_view quoi) const {
  std::string m = c_ == nullptr ? "pas de connexion" : SansFinDeLigne(PQerrorMessage(c_));
  throw ErreurPg("08006", std::string(quoi) + " : " + m);
}

void ConnexionPg::EntreePipeline() {
  if (PQenterPipelineMode(c_) != 1) Echec("mode pipeline");
}

void ConnexionPg::SortiePipeline() {
  if (PQexitPipelineMode(c_) != 1) Echec("sortie du mode pipeline");
}

const std::string& ConnexionPg::Prepare(std::string_view sql, int nombre) {
  auto it = preparees_.find(std::string(sql));
  if (it != preparees_.end()) return it->second;
  std::string nom = "v" + std::to_string(++noms_);
  std::string texte(sql);
  if (PQsendPrepare(c_, nom.c_str(), texte.c_str(), nombre, nullptr) != 1) {
    Echec("préparation");
  }
  attendus_.push_back({Attendu::Nature::kPreparation, kSansTicket, texte});
  ++en_vol_;
  return preparees_.emplace(std::move(texte), std::move(nom)).first->second;
}

size_t ConnexionPg::Envoie(std::string_view sql, const Parametres& p, bool garder) {
  if (c_ == nullptr) Echec("envoi");
  if (en_vol_ == 0) resultats_.clear();
  const std::string& nom = Prepare(sql, p.Nombre());
  const int n = p.Nombre();
  std::vector<const char*> valeurs(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) valeurs[i] = p.donnees_.data() + p.debuts_[i];
  if (PQsendQueryPrepared(c_, nom.c_str(), n, valeurs.data(), p.longueurs_.data(),
                          p.formats_.data(), 1) != 1) {
    Echec("envoi");
  }
  size_t ticket = kSansTicket;
  if (garder) {
    ticket = resultats_.size();
    resultats_.emplace_back();
  }
  attendus_.push_back({Attendu::Nature::kRequete, ticket, {}});
  ++en_vol_;
  return ticket;
}

void ConnexionPg::Recoit(const Attendu& a) {
  if (a.nature == Attendu::Nature::kSynchro) {
    PGresult* r = PQgetResult(c_);
    if (r == nullptr || PQresultStatus(r) != PGRES_PIPELINE_SYNC) {
      if (erreur_.empty()) {
        erreur_etat_ = "08006";
        erreur_ = "connexion à la base perdue : " + SansFinDeLigne(PQerrorMessage(c_));
      }
    }
    if (r != nullptr) PQclear(r);
    return;
  }
  bool recu = false;
  while (PGresult* r = PQgetResult(c_)) {
    recu = true;
    ExecStatusType s = PQresultStatus(r);
    // A preparation that did not run (the pipeline failed before it) is made again next time.
    if (a.nature == Attendu::Nature::kPreparation && s != PGRES_COMMAND_OK) {
      preparees_.erase(a.sql);
    }
    if (s == PGRES_FATAL_ERROR && erreur_.empty()) {
      const char* etat = PQresultErrorField(r, PG_DIAG_SQLSTATE);
      erreur_etat_ = etat != nullptr ? etat : "XX000";
      erreur_ = SansFinDeLigne(PQresultErrorField(r, PG_DIAG_MESSAGE_PRIMARY));
    }
    if ((s == PGRES_TUPLES_OK || s == PGRES_COMMAND_OK) && a.ticket != kSansTicket) {
      resultats_[a.ticket] = Resultat(r);
    } else {
      PQclear(r);
    }
  }
  if (!recu && erreur_.empty()) {
    erreur_etat_ = "08006";
    erreur_ = "connexion à la base perdue : " + SansFinDeLigne(PQerrorMessage(c_));
  }
}

void ConnexionPg::Synchronise() {
  if (attendus_.empty()) return;
  if (c_ == nullptr) Echec("synchronisation");
  erreur_.clear();
  erreur_etat_.clear();
  if (PQpipelineSync(c_) != 1) {
    erreur_etat_ = "08006";
    erreur_ = "connexion à la base perdue : " + SansFinDeLigne(PQerrorMessage(c_));
    attendus_.clear();
  } else {
    attendus_.push_back({Attendu::Nature::kSynchro, kSansTicket, {}});
  }
  while (!attendus_.empty()) {
    Attendu a = std::move(attendus_.front());
    attendus_.pop_front();
    if (PQstatus(c_) == CONNECTION_BAD) {
      if (erreur_.empty()) {
        erreur_etat_ = "08006";
        erreur_ = "connexion à la base perdue : " + SansFinDeLigne(PQerrorMessage(c_));
      }
      attendus_.clear();
      break;
    }
    Recoit(a);
  }
  en_vol_ = 0;
  if (!erreur_.empty()) throw ErreurPg(erreur_etat_, erreur_);
}

Resultat ConnexionPg::Prend(size_t ticket) { return std::move(resultats_.at(ticket)); }

Resultat ConnexionPg::Execute(std::string_view sql, const Parametres& p) {
  size_t ticket = Envoie(sql, p, true);
  Synchronise();
  return Prend(ticket);
}

void ConnexionPg::ExecuteHorsPipeline(const std::string& sql, int attendu) {
  PGresult* r = PQexec(c_, sql.c_str());
  ExecStatusType s = PQresultStatus(r);
  if (s != attendu) {
    const char* etat = PQresultErrorField(r, PG_DIAG_SQLSTATE);
    std::string m = SansFinDeLigne(PQresultErrorField(r, PG_DIAG_MESSAGE_PRIMARY));
    if (m.empty()) m = SansFinDeLigne(PQerrorMessage(c_));
    PQclear(r);
    throw ErreurPg(etat != nullptr ? etat : "08006", m);
  }
  PQclear(r);
}

void ConnexionPg::CopieEntree(
    std::string_view sql,
    const std::function<void(const std::function<void(std::string_view)>&)>& ecrit) {
  Synchronise();
  SortiePipeline();
  std::string erreur_etat, erreur;
  try {
    ExecuteHorsPipeline(std::string(sql), PGRES_COPY_IN);
    auto envoie = [this](std::string_view octets) {
      if (PQputCopyData(c_, octets.data(), static_cast<int>(octets.size())) != 1) {
        Echec("COPY");
      }
    };
    try {
      ecrit(envoie);
    } catch (...) {
      // The caller's failure: the COPY is cancelled, the server refuses what was sent.
      PQputCopyEnd(c_, "abandon");
      while (PGresult* r = PQgetResult(c_)) PQclear(r);
      EntreePipeline();
      throw;
    }
    if (PQputCopyEnd(c_, nullptr) != 1) Echec("COPY");
    while (PGresult* r = PQgetResult(c_)) {
      if (PQresultStatus(r) != PGRES_COMMAND_OK && erreur.empty()) {
        const char* etat = PQresultErrorField(r, PG_DIAG_SQLSTATE);
        erreur_etat = etat != nullptr ? etat : "XX000";
        erreur = SansFinDeLigne(PQresultErrorField(r, PG_DIAG_MESSAGE_PRIMARY));
      }
      PQclear(r);
    }
  } catch (const ErreurPg&) {
    if (Vivante()) EntreePipeline();
    throw;
  }
  EntreePipeline();
  if (!erreur.empty()) throw ErreurPg(erreur_etat, erreur);
}

}  // namespace vesk::pg
