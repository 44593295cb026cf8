// BasePg: a database store as one thread sees it: its connection, the current company, and
// every open data file, B-tree, text file and chaining by 16-bit handle. The three services of
// a thread (SrvDonneePg, SrvBArbrePg, SrvChainagePg) share one object. Thread rules: one
// thread at a time.
//
// Every modifying service operation runs inside an operation scope (Entre .. Sort): outside a
// batch it is a transaction of its own that begins by taking the store's exclusive lock
// (pg_advisory_xact_lock, waited for at most the lock delay) and commits when the scope ends
// well, or rolls back. Inside a batch (DebutLot .. FinLot) the batch is the transaction: the lock
// is taken by its first operation and held to FinLot or AnnuleLot. An operation's writes that
// give nothing back (Ecrit) are queued, then sent at the end of the scope without waiting for
// their results; when the scope ends by an exception they are dropped instead, and the
// compensations of the writes it already made (Compense) are sent. Reads (Lit) send what is
// queued and wait. A failure of the server inside a batch spoils the batch: every later call
// but AnnuleLot fails with it.
#ifndef VESK_SRV_PG_BASE_PG_H_
#define VESK_SRV_PG_BASE_PG_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "srv/config/stockage.h"
#include "srv/erreur_service.h"
#include "srv/pg/connexion_pg.h"
#include "srv/pg/objets_pg.h"

namespace vesk::pg {

// Where a file lives: its company ("" at the root) and its schema.
struct Lieu {
  std::string entreprise;
  std::string schema;
};

// A statement and its parameters.
struct Requete {
  std::string sql;
  Parametres parametres;
};

class BasePg {
 public:
  // entreprise: the current company ("" when none).
  BasePg(AdresseBase adresse, std::string entreprise);
  ~BasePg();
  BasePg(const BasePg&) = delete;
  BasePg& operator=(const BasePg&) = delete;

  const AdresseBase& Adresse() const { return adresse_; }
  const std::string& Entreprise() const { return entreprise_; }
  // The store as messages name it ("postgresql://serveur/compta").
  const std::string& Nom() const { return adresse_.nom; }
  // Synchronisation: true (the default) waits for the server's WAL at each commit.
  void Synchro(bool full) { synchro_full_ = full; }
  // How long the store's lock is waited for before "fichier verrouillé" (milliseconds).
  void DelaiVerrou(int ms) { delai_verrou_ms_ = ms; }
  int Delai() const { return delai_verrou_ms_; }

  // The connection, opened on first use (and again after the server lost it, outside a
  // transaction); ErreurService(operation) when the server cannot be reached.
  ConnexionPg& Connexion(std::string_view operation);

  // The place of file nom: at the root, or in the current company's schema. Throws
  // ErreurService(operation, objet) for a name too long for the server or no company (nom is
  // checked by the caller).
  Lieu Place(bool dependance, std::string_view nom, std::string_view operation,
             std::string_view objet) const;
  // The object as messages name it where a folder gives a path: store/schema/objet.
  std::string Chemin(const Lieu& lieu, std::string_view objet) const;
  // "schema.prefixe_name", the table of file or tree nom.
  static std::string Table(const Lieu& lieu, std::string_view prefixe, std::string_view nom);

  // Handles. Each lookup gives null for a handle that is not open.
  FichierPg* Fichier(int16_t h) { return At(fichiers_, h); }
  ArbrePg* Arbre(int16_t h) { return At(arbres_, h); }
  TextePg* Texte(int16_t h) { return At(textes_, h); }
  int16_t ChercheFichier(std::string_view nom, bool dependance) const;
  int16_t ChercheFichier(std::string_view nom) const;
  int16_t ChercheArbre(std::string_view nom, bool dependance) const;
  int16_t AjouteFichier(std::unique_ptr<FichierPg> f, std::string_view operation);
  int16_t AjouteArbre(std::unique_ptr<ArbrePg> a, std::string_view operation);
  int16_t AjouteTexte(std::unique_ptr<TextePg> t, std::string_view operation);
  void FermeTexte(int16_t h);
  int16_t NombreFichiers() const { return static_cast<int16_t>(fichiers_.size()); }
  int16_t NombreArbres() const { return static_cast<int16_t>(arbres_.size()); }
  // Chainings, by line file; declaring one for a line file replaces its former one.
  void DeclareChainage(const ChainagePg& c);
  ChainagePg* ChainageDeLigne(int16_t ligne);
  const std::vector<ChainagePg>& Chainages() const { return chainages_; }

  // Reads: sends what is queued, then the statements, and gives their results (one round trip).
  Resultat Lit(std::string_view operation, std::string_view objet, std::string_view sql,
               const Parametres& p);
  std::vector<Resultat> Lit(std::string_view operation, std::string_view objet,
                            const std::vector<Requete>& requetes);
  // COPY sql FROM STDIN inside the current operation (what is queued sent first): ecrit gets
  // the function that sends the data.
  void Copie(std::string_view operation, std::string_view objet, std::string_view sql,
             const std::function<void(const std::function<void(std::string_view)>&)>& ecrit);
  // A write of the current operation, queued; sent when the operation ends well.
  void Ecrit(std::string sql, Parametres p);
  // What undoes a write the current operation made and waited for (a key inserted), sent when
  // the operation ends by an exception inside a batch.
  void Compense(std::string sql, Parametres p);
  // The last record in use of f (cached while the lock is held).
  int64_t Dernier(FichierPg& f, std::string_view operation);
  // Notes the new last record of f (kept while the lock is held, put back when the operation
  // fails).
  void NoteDernier(FichierPg& f, int64_t dernier);
  // Marks a write to f (or a): what was read ahead from it is dropped; in a batch, its table is
  // noted among those the batch wrote.
  void Touche(FichierPg& f) {
    ++f.version;
    if (lot_ > 0) ecrites_lot_.insert(f.table);
  }
  void Touche(ArbrePg& a) {
    ++a.version;
    if (lot_ > 0) ecrites_lot_.insert(a.table);
  }
  // The tables ("schema"."table") the open batch wrote through the services.
  const std::set<std::string>& EcritesLot() const { return ecrites_lot_; }
  // Runs sql on a second connection, outside this thread's transaction: what the store holds
  // committed (a batch's tables as they were before it).
  Resultat LitValide(std::string_view operation, std::string_view objet, std::string_view sql);

  // Operation scopes (see above). Entre throws ErreurService when a spoilt batch refuses it.
  void Entre(std::string_view operation);
  // Ends a scope; the outermost one commits (outside a batch) when succes, else undoes.
  void Sort(std::string_view operation, std::string_view objet, bool succes);
  void DebutLot();
  void FinLot();
  void AnnuleLot();
  bool DansLot() const { return lot_ > 0; }
  // A number that changes whenever what this thread learnt of the store under its lock may no
  // longer hold (the lock released, an operation undone); 0 while the lock is not held.
  uint64_t Epoque() const { return verrou_ ? epoque_ : 0; }
  // A number that changes whenever this thread undoes anything or writes otherwise than by
  // the operations of the services (a copy, a rebuild, a change of structure): what it learnt
  // of the store as it committed it (FichierPg::dernier_connu, ArbrePg::cles) holds while the
  // generation does, unless another program wrote since.
  uint64_t Generation() const { return generation_; }
  bool DansTransaction() const { return transaction_; }
  // Operation scopes open (1: the outermost one).
  int Profondeur() const { return profondeur_; }
  // The current operation bets on what this thread knew (Insere): its statements check on
  // the server that it still holds, and fail otherwise. PariPerdu says, once, whether the last
  // failure of the store was such a check, the operation undone: it is then made again the
  // usual way.
  void Parie() { pari_ = true; }
  bool PariPerdu() { return std::exchange(pari_perdu_, false); }

  // Runs f inside a transaction of its own holding the store's lock, outside any batch
  // (Reconstruit, copies); commits when f returns, rolls back when it throws.
  template <typename F>
  void Transaction(std::string_view operation, std::string_view objet, F f);
  // Runs f inside a read-only transaction that sees one snapshot of the store (a copy out of
  // it), outside any batch; takes no lock.
  template <typename F>
  void Lecture(std::string_view operation, std::string_view objet, F f);

  // The owner's Lire method of f called for record no whose bytes the operation just read:
  // LireFichier of that record, meanwhile, takes them instead of asking the server again.
  // octets are not copied: they must stay as they are until the call returns (a local copy of
  // the caller's, never bytes that a walk inside the owner's method could drop).
  void Livre(FichierPg& f, int32_t no, std::string_view octets, std::string_view operation);
  // The bytes being delivered, when record no of f is.
  const std::string_view* Livraison(const FichierPg& f, int32_t no) const;

  // The catalog. The record length of data file nom of lieu (0 when absent), its label; oid,
  // when given, gets the identity of its table as the same statement saw it. A file the catalog
  // lists whose table is gone (dropped by hand) is an error marked as damage, naming the file.
  uint32_t LongueurFichier(const Lieu& lieu, std::string_view nom, std::string_view operation,
                           int64_t* oid = nullptr);
  // Creates data file nom (its table and catalog row) unless another program just did; gives
  // the record length it has. ici: in the current transaction (a copy, a rebuild), else in a
  // transaction of its own.
  uint32_t CreeFichier(const Lieu& lieu, std::string_view nom, uint32_t longueur,
                       std::string_view libelle, std::string_view operation, bool ici = false);
  struct ArbreCatalogue {
    bool existe = false;
    uint16_t longueur_cle = 0;
    char nature = 'P';
    std::string fichier_indexe;
    int64_t oid = 0;  // the identity of its table
  };
  // The catalog's B-tree nom of lieu (existe false when absent). One the catalog lists whose
  // table is gone (dropped by hand) is an error marked as damage, naming its file.
  ArbreCatalogue LitArbre(const Lieu& lieu, std::string_view nom, std::string_view operation);
  ArbreCatalogue CreeArbre(const Lieu& lieu, std::string_view nom, const ArbreCatalogue& a,
                           std::string_view operation, bool ici = false);
  // Statements of structure (DDL) under the store's structure lock: in a transaction of their
  // own (on this connection outside a transaction, else on a second one), or, ici, in the
  // current transaction.
  void Structure(std::string_view operation, std::string_view objet,
                 const std::vector<Requete>& requetes, bool ici = false);
  // "vesk.vesk_fichiers", "vesk.vesk_arbres", "vesk.vesk_textes", "vesk.vesk_structure".
  std::string Catalogue(std::string_view table) const;
  // Takes away what opening the store made, its root schema and the catalog's tables, while
  // they hold nothing, so that a command that failed leaves the database as it found it
  // (`vesk copie`); nothing when they were there before. The store is opened again at its next
  // use.
  void DefaitCatalogues(std::string_view operation);
  // The current transaction replaces tables that other programs may have open (a migration):
  // the structure counter moves with it (docs/postgresql.md, "Other programs' open files").
  void ChangeStructure(std::string_view operation);

 private:
  template <typename T>
  static T* At(const std::vector<std::unique_ptr<T>>& v, int16_t h) {
    if (h < 1 || static_cast<size_t>(h) > v.size()) return nullptr;
    return v[static_cast<size_t>(h) - 1].get();
  }
  void Ouvre(std::string_view operation);
  void Catalogues(std::string_view operation);
  // Throws: an object the catalog lists whose table (prefixe, nom) is gone, marked as damage,
  // « <absent><its path> (la table … n'existe plus, …) ».
  [[noreturn]] void TableDisparue(const Lieu& lieu, std::string_view prefixe, std::string_view nom,
                                  std::string_view extension, std::string_view absent,
                                  std::string_view operation);
  // The session's settings: the lock delay, the synchronisation.
  void Regle(ConnexionPg& c) const;
  void EnvoieFile();
  void FinTransaction();
  // Ends the transaction that committed: what the thread learnt in it becomes known across
  // transactions.
  void Valide();
  void Abandonne(std::string_view operation);
  // Ends the batch's transaction without committing.
  void Annule();
  // Ends a Lecture's transaction.
  void FinLecture(std::string_view operation, std::string_view objet, bool succes);
  // The failure e of the server as ErreurService(operation, objet); notes what it spoilt.
  [[noreturn]] void Echoue(const ErreurPg& e, std::string_view operation, std::string_view objet);
  void Refuse(std::string_view operation) const;
  // The statement that fails (division by zero) when another program changed the structure and
  // replaced the table of an open handle.
  Requete Verification() const;
  // After that failure: the counter and the open handles' tables read again on the second
  // connection, the handles whose table was replaced refused from then on; the message.
  std::string Rafraichit(std::string_view operation, std::string_view objet);
  std::string MarqueRemplaces(const Resultat& r, std::string_view objet);

  AdresseBase adresse_;
  std::string entreprise_;
  bool synchro_full_ = true;
  int delai_verrou_ms_ = 10000;
  std::unique_ptr<ConnexionPg> connexion_;
  std::unique_ptr<ConnexionPg> structure_;  // the second connection, made when needed
  int32_t cle_verrou_ = 0;                  // the store's lock: (kClasseVerrou, cle_verrou_)
  bool transaction_ = false;                // BEGIN sent
  bool verrou_ = false;                     // the lock asked in this transaction
  uint64_t epoque_ = 1;
  uint64_t generation_ = 1;
  int64_t structure_vue_ = -1;                 // the structure counter as this thread last saw it
  int64_t structure_neuve_ = -1;               // its value once the current transaction commits
  bool brut_ = false;                          // Lit sends no check (a Lecture's BEGIN and end)
  bool schema_fait_ = false;                   // the root schema was made by Catalogues
  std::vector<std::string> catalogues_faits_;  // the catalog's tables made by Catalogues
  bool pari_ = false;                          // the current transaction bets (Parie)
  bool pari_perdu_ = false;                    // a bet failed, not yet asked about (PariPerdu)
  int lot_ = 0;
  int profondeur_ = 0;
  int exceptions_ = 0;
  bool point_ = false;  // a savepoint of the current operation was sent
  std::string gache_;   // the failure that spoilt the batch
  // Outside a batch, the failure that ended the transaction while an operation enclosing the
  // failed one was still open (an owner's method that caught the error and went on): every
  // call is refused until that operation ends, so that nothing goes out without a transaction.
  std::string rompue_;
  std::set<std::string> ecrites_lot_;  // the tables the open batch wrote
  std::vector<Requete> file_;          // the current operation's queued writes
  std::vector<Requete> compensations_;
  std::vector<std::pair<FichierPg*, int64_t>> derniers_;  // to put back on failure
  const FichierPg* livre_ = nullptr;
  int32_t livre_no_ = 0;
  std::string_view livre_octets_;
  std::vector<std::unique_ptr<FichierPg>> fichiers_;
  std::vector<std::unique_ptr<ArbrePg>> arbres_;
  std::vector<std::unique_ptr<TextePg>> textes_;
  std::vector<ChainagePg> chainages_;
};

template <typename F>
void BasePg::Transaction(std::string_view operation, std::string_view objet, F f) {
  Entre(operation);
  try {
    f();
  } catch (...) {
    Sort(operation, objet, false);
    throw;
  }
  Sort(operation, objet, true);
  // What it wrote went past the services' bookkeeping.
  ++generation_;
}

template <typename F>
void BasePg::Lecture(std::string_view operation, std::string_view objet, F f) {
  Exige(!transaction_ && lot_ == 0, operation, objet, "lecture de la base pendant un lot");
  brut_ = true;
  try {
    Lit(operation, objet, "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY", Parametres());
  } catch (...) {
    brut_ = false;
    throw;
  }
  brut_ = false;
  transaction_ = true;
  try {
    f();
  } catch (...) {
    FinLecture(operation, objet, false);
    throw;
  }
  FinLecture(operation, objet, true);
}

// An operation scope: Fin ends it (and reports the commit's failure); the destructor ends it
// when an error left the operation early.
class OperationPg {
 public:
  OperationPg(BasePg& base, std::string_view operation) : base_(base), operation_(operation) {
    base_.Entre(operation);
  }
  ~OperationPg() {
    if (!fini_) base_.Sort(operation_, "", false);
  }
  OperationPg(const OperationPg&) = delete;
  OperationPg& operator=(const OperationPg&) = delete;
  void Fin(std::string_view objet) {
    fini_ = true;
    base_.Sort(operation_, objet, true);
  }

 private:
  BasePg& base_;
  std::string_view operation_;
  bool fini_ = false;
};

}  // namespace vesk::pg

#endif  // VESK_SRV_PG_BASE_PG_H_
