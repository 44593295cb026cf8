// ConnexionPg: one libpq connection, always in pipeline mode. Statements are prepared on first
// use (the preparation travels in the same round trip as the first execution), sent without
// waiting (Envoie) and their results gathered at the next Synchronise, one round trip for all
// of them. A failing statement makes the rest of its pipeline fail; Synchronise then throws
// ErreurPg with the first error. COPY FROM runs outside the pipeline (CopieEntree). Thread
// rules: one thread at a time.
#ifndef VESK_SRV_PG_CONNEXION_PG_H_
#define VESK_SRV_PG_CONNEXION_PG_H_

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

struct pg_conn;
struct pg_result;

namespace vesk::pg {

// A failure of the server or of the connection: the SQLSTATE ("55P03": a lock not obtained in
// time; "08...": the connection) and libpq's message.
class ErreurPg : public std::runtime_error {
 public:
  ErreurPg(std::string etat, const std::string& message)
      : std::runtime_error(message), etat_(std::move(etat)) {}
  const std::string& Etat() const { return etat_; }
  bool Verrou() const { return etat_ == "55P03"; }
  bool Connexion() const { return etat_.starts_with("08"); }

 private:
  std::string etat_;
};

// The parameters of a statement, all in the binary format: integer (int4), grand
// (int8), octets (bytea), booleen (bool), texte (text).
class Parametres {
 public:
  Parametres& Entier(int32_t v);
  Parametres& Grand(int64_t v);
  Parametres& Octets(std::string_view v);
  Parametres& Booleen(bool v);
  Parametres& Texte(std::string_view v);
  void Vide();
  int Nombre() const { return static_cast<int>(longueurs_.size()); }

 private:
  friend class ConnexionPg;
  Parametres& Ajoute(std::string_view octets, int format);
  std::string donnees_;
  std::vector<size_t> debuts_;
  std::vector<int> longueurs_, formats_;
};

// The rows of one statement, columns in the binary format.
class Resultat {
 public:
  Resultat() = default;
  explicit Resultat(pg_result* r);
  int Lignes() const;
  bool Nul(int ligne, int colonne) const;
  int32_t Entier(int ligne, int colonne) const;
  int64_t Grand(int ligne, int colonne) const;
  bool Booleen(int ligne, int colonne) const;
  double Reel(int ligne, int colonne) const;  // float8
  // The bytes of a bytea or text value (valid while the Resultat lives).
  std::string_view Octets(int ligne, int colonne) const;
  // Rows changed by an INSERT, UPDATE or DELETE.
  int64_t Modifiees() const;

 private:
  std::shared_ptr<pg_result> r_;
};

class ConnexionPg {
 public:
  // Connects with a libpq connection string or URI; ErreurPg when the server cannot be reached.
  explicit ConnexionPg(const std::string& conninfo);
  ~ConnexionPg();
  ConnexionPg(const ConnexionPg&) = delete;
  ConnexionPg& operator=(const ConnexionPg&) = delete;

  // Sends a statement without waiting; its result, when garder, is kept for Prend after the
  // next Synchronise (the number given back names it).
  size_t Envoie(std::string_view sql, const Parametres& p, bool garder = false);
  // Sends every statement not sent yet, waits for all results; throws ErreurPg with the first
  // failure of the pipeline (the statements after it did not run).
  void Synchronise();
  // The result of a statement sent with garder, after Synchronise.
  Resultat Prend(size_t ticket);
  // Sends, synchronises and gives the result of one statement.
  Resultat Execute(std::string_view sql, const Parametres& p);
  Resultat Execute(std::string_view sql) { return Execute(sql, Parametres()); }
  // Statements sent since the last Synchronise.
  size_t EnVol() const { return en_vol_; }

  // COPY ... FROM STDIN: ecrit is called with a function that sends bytes (the COPY data).
  void CopieEntree(std::string_view sql,
                   const std::function<void(const std::function<void(std::string_view)>&)>& ecrit);

  // Whether the connection is still up.
  bool Vivante() const;
  // Connects again (the server lost the session); the prepared statements are forgotten.
  void Reconnecte();

 private:
  struct Attendu {
    enum class Nature { kPreparation, kRequete, kSynchro } nature;
    size_t ticket;    // kRequete kept: its index in resultats_ (else SIZE_MAX)
    std::string sql;  // kPreparation: the statement, forgotten when its preparation failed
  };
  [[noreturn]] void Echec(std::string_view quoi) const;
  void Connecte();
  const std::string& Prepare(std::string_view sql, int nombre);
  // Reads the results of one expected item; keeps the first failure in erreur_.
  void Recoit(const Attendu& a);
  void EntreePipeline();
  void SortiePipeline();
  void ExecuteHorsPipeline(const std::string& sql, int attendu);

  std::string conninfo_;
  pg_conn* c_ = nullptr;
  std::unordered_map<std::string, std::string> preparees_;
  uint64_t noms_ = 0;  // statements named so far (a name is never given twice)
  std::deque<Attendu> attendus_;
  std::vector<Resultat> resultats_;
  size_t en_vol_ = 0;
  std::string erreur_etat_, erreur_;
};

}  // namespace vesk::pg

#endif  // VESK_SRV_PG_CONNEXION_PG_H_
