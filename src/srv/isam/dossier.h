// DossierDonnees: the data folder of one thread, as the storage engine sees it: the Env, the
// folder, the current company, the cache size, and every open data file, B-tree, text file and
// chaining by 16-bit handle. The three services of a thread (SrvDonneeImpl, SrvBArbreImpl,
// SrvChainageImpl) share one object. Thread rules: one thread at a time.
//
// Every modifying service operation runs inside an operation scope (Entre .. Sort) under the
// folder's exclusive lock; when the outermost one ends, its changes are committed through the
// redo log (redo_log.h), all or nothing, synced when synchronisation is full; when it ends
// by an exception they are undone. Inside a batch (DebutLot .. FinLot, or a Lot object) the
// operations are committed together when the batch ends, and the lock is held until then.
// Read operations run inside a read scope (EntreLecture .. SortLecture) under the shared lock.
// At each lock taken, caches are dropped when another user committed, and a redo log left by a
// writer that died is replayed first; the first use of the folder does the same. Closing the
// folder empties the redo log (a checkpoint) when no other user holds the lock. A rebuild's
// files put in place (DebutRemplacement .. FinRemplacement) are finished or undone by the next
// user when their writer died, and make every user open its files again.
#ifndef VESK_SRV_ISAM_DOSSIER_H_
#define VESK_SRV_ISAM_DOSSIER_H_

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "srv/isam/btree.h"
#include "srv/isam/data_file.h"
#include "srv/isam/env.h"
#include "srv/isam/folder_lock.h"
#include "srv/isam/pending_env.h"
#include "srv/isam/redo_log.h"
#include "srv/isam/status.h"
#include "srv/isam/text_reader.h"
#include "srv/proprietaire.h"

namespace vesk::isam {

// A data file open in the folder.
struct FichierOuvert {
  std::string nom;    // upper case, as stored ("FIC")
  std::string objet;  // file name for messages ("FIC.DAT")
  bool dependance = false;
  std::unique_ptr<DataFile> fichier;
  Proprietaire* proprietaire = nullptr;
  std::string methode;  // the name the owner's methods end with
  int32_t id_lire = -1;
  int32_t id_ecrire = -1;
  int32_t courant = 0;  // NoEnrCourant
  // Byte ranges (offset in the record, 3 bytes each) of chaining pointers: kept as they are on
  // disk when a live record is written again.
  std::vector<uint32_t> pointeurs;
};

// How many entries ahead a key-order walk asks for its records (SuivCle).
inline constexpr uint32_t kLectureAvance = 4;

// A B-tree open in the folder, with its walk cursor.
struct ArbreOuvert {
  std::string nom;
  std::string objet;  // "CLI1.DAB"
  bool dependance = false;
  std::unique_ptr<BTree> arbre;
  std::string fichier_indexe;   // upper-case name of the data file indexed, "" when unknown
  int16_t dernier_fichier = 0;  // the data file last used with this tree
  bool curseur = false;         // a walk position is known
  std::string cle_curseur;      // key bytes of the last entry given
  uint32_t no_curseur = 0;
  // The records of the walk's next entries, found kLectureAvance steps before they are read
  // (by step number modulo kLectureAvance): read ahead, never trusted.
  std::array<uint32_t, kLectureAvance> avance{};
  uint32_t pas = 0;
};

struct TexteOuvert {
  std::string objet;
  std::unique_ptr<TextReader> lecteur;
};

// A chaining: the lines of one file chained under the records of a header file. Offsets are
// 0-based byte offsets inside the records.
struct ChainageOuvert {
  int16_t entete = 0;
  int16_t ligne = 0;
  uint32_t premiere = 0, derniere = 0;    // in the header record
  uint32_t precedente = 0, suivante = 0;  // in the line record
  uint32_t pas = 0;                       // lines walked since PremLigne, against cycles
};

class DossierDonnees {
 public:
  // dossier: the data folder; entreprise: the current company ("" when none); cache_octets:
  // the cache of the folder, one budget shared by its open data files and B-trees.
  DossierDonnees(Env* env, std::string dossier, std::string entreprise = "",
                 size_t cache_octets = size_t{32} << 20);
  ~DossierDonnees();

  // The files of the folder as its users see them: through the commits that wait in the redo
  // log (PendingEnv). Every service opens its files through it.
  Env* env() const { return vue_.get(); }
  const std::string& Dossier() const { return dossier_; }
  const std::string& Entreprise() const { return entreprise_; }
  size_t CacheBlocs() const { return cache_octets_ / 4096; }
  const std::shared_ptr<CachePool>& Cache() const { return cache_; }
  // Synchronisation: true ("full", the default) forces every commit to stable storage.
  void Synchro(bool full) { synchro_full_ = full; }
  bool SynchroFull() const { return synchro_full_; }
  // The redo log's size past which a commit ends with a checkpoint (32 MiB by default).
  void SeuilJournal(uint64_t octets) { seuil_journal_ = octets; }
  // How long a lock is waited for before "fichier verrouillé" (milliseconds).
  void DelaiVerrou(int ms) { delai_verrou_ms_ = ms; }
  // Syncs made by commits and checkpoints so far, for tests and benchmarks.
  uint64_t Syncs() const { return redo_log_->syncs(); }

  // The path of nom + extension, at the root or in the current company's sub-folder
  // (created when create is true). InvalidArgument for a bad name or no company.
  Status Chemin(bool dependance, std::string_view nom, std::string_view extension, bool create,
                std::string* path);

  // Handles. Each lookup gives null for a handle that is not open.
  FichierOuvert* Fichier(int16_t handle) { return At(fichiers_, handle); }
  ArbreOuvert* Arbre(int16_t handle) { return At(arbres_, handle); }
  TexteOuvert* Texte(int16_t handle) { return At(textes_, handle); }
  // The handle of an open data file (or B-tree) by upper-case name and place, 0 when none.
  int16_t ChercheFichier(std::string_view nom, bool dependance) const;
  int16_t ChercheFichier(std::string_view nom) const;
  int16_t ChercheArbre(std::string_view nom, bool dependance) const;
  Status AjouteFichier(std::unique_ptr<FichierOuvert> f, int16_t* handle);
  Status AjouteArbre(std::unique_ptr<ArbreOuvert> a, int16_t* handle);
  Status AjouteTexte(std::unique_ptr<TexteOuvert> t, int16_t* handle);
  void FermeTexte(int16_t handle);
  int16_t NombreFichiers() const { return static_cast<int16_t>(fichiers_.size()); }
  int16_t NombreArbres() const { return static_cast<int16_t>(arbres_.size()); }

  // Chainings, by line file. Declaring one for a line file replaces its former one.
  void DeclareChainage(const ChainageOuvert& c);
  ChainageOuvert* ChainageDeLigne(int16_t ligne);
  const std::vector<ChainageOuvert>& Chainages() const { return chainages_; }

  // Operation scopes: Entre takes the exclusive lock (outermost scope); a failing Entre leaves
  // no scope open. Sort ends a scope: the outermost one commits (outside a batch) or, when it
  // ends while an exception leaves the operation, undoes the operation's changes.
  Status Entre();
  Status Sort();
  // Read scopes: the shared lock (unless a lock is held already) for the time of a read.
  // Inside a scope, an operation or a batch holding its lock, a read takes nothing more.
  Status EntreLecture() {
    if (lectures_ == 0 && profondeur_ == 0 &&
        (!verrou_ || verrou_->held() == FolderLock::Held::kNone)) {
      return PrendLecture();
    }
    ++lectures_;
    return Status::Ok();
  }
  void SortLecture() {
    if (lectures_ == 0 || --lectures_ > 0 || profondeur_ > 0 || lot_ > 0) return;
    RelacheLecture();
  }
  Status DebutLot();
  Status FinLot();
  // Ends every open batch without committing: the changes of its operations are undone.
  Status AnnuleLot();
  bool DansLot() const { return lot_ > 0; }
  // Commits the open batch's operations now (the batch goes on).
  Status Ecrit();
  // Whether the last commit that failed did so past its commit point: what it changed holds
  // (the redo log has it), but its files could not be written now; the next opening of the
  // folder writes them. The status it returned is the first failure.
  bool ApresValidation() const { return apres_validation_; }
  // The first use of the folder now: a commit that a writer which died left in the redo log is
  // finished (and the redo log emptied) before anyone reads the files.
  Status Reprise() { return Demarre(); }

  // After a grouped commit (redo_log.h, docs/redo-log.md), the lock released: returns once the
  // commit is durable. The operation or batch that committed calls it, unless
  // AttenteManuelle(true): then a grouped commit returns before its sync, and whoever drives the
  // folder calls it (tests that interleave the commits of several users in one thread).
  Status AttendDurable();
  void AttenteManuelle(bool manuelle) { attente_manuelle_ = manuelle; }

  // Putting rebuilt files in place (replace_set.h). DebutRemplacement takes the exclusive lock,
  // kept until FinRemplacement, commits what is pending and empties the redo log (a checkpoint:
  // every file then holds the committed state on disk, and no later replay can write into a
  // file that gets replaced), then raises the state word's `replacing` flag. Refused inside an
  // operation or a batch. FinRemplacement ends it: when a set was put in place (remplace), the
  // count of replacements moves and every file and B-tree of this folder is opened again (other
  // users do the same at their next lock); the flag goes down unless a replacement record is
  // left for the next user (reste), and the lock is released. In between, operations and
  // batches are refused: they would write into files about to be replaced.
  Status DebutRemplacement();
  Status FinRemplacement(bool remplace, bool reste);
  // The key of the replacement begun by DebutRemplacement, which its record is checked with.
  uint64_t NonceRemplacement() const { return nonce_remplacement_; }
  // The same for a migration, which ends the outermost batch instead of following it: the
  // batch's changes are not committed through the redo log but written beside their files
  // (EcritLotACote: T.NEUF holds T as committed plus the batch's blocks) and put in place with
  // the set. DebutRemplacementLot is refused outside a batch or inside an operation; it keeps
  // the batch open (operations are refused until the end). FichiersLot gives the paths of the
  // files the batch changed. FinRemplacementLot ends the batch and the replacement: the batch's
  // changes were put in place with the set (remplace), or they are undone.
  Status DebutRemplacementLot();
  Status FichiersLot(std::vector<std::string>* chemins);
  Status EcritLotACote();
  Status FinRemplacementLot(bool remplace, bool reste);

 private:
  template <typename T>
  static T* At(const std::vector<std::unique_ptr<T>>& v, int16_t handle) {
    if (handle < 1 || static_cast<size_t>(handle) > v.size()) return nullptr;
    return v[handle - 1].get();
  }
  Status Remplacement(bool garde_lot);
  Status PrendLecture();
  void RelacheLecture();
  Status Demarre();
  Status SansLiens();
  Status SansReprise(const FolderLock::State& st);
  Status OuvreVerrou();
  Status Valide();
  Status Recupere(FolderLock::State* st);
  Status RechargeTout();
  Status Reouvre();
  // ---- dossier_commit.cpp ----
  // groupe: the exclusive lock is released right after, so that a durable commit may wait for
  // its sync outside it (AttendDurable).
  Status Commit(bool groupe = false);
  Status TermineCommit(FolderLock::State* st);
  Status EcritDirect(FolderLock::State* st, bool avant);
  Status VideJournal(FolderLock::State* st, bool keep, bool sync);
  Status Publie(const FolderLock::Synced& fin);
  Status AttendSync(const FolderLock::Synced& attendu);
  Status MeneSync(const FolderLock::Synced& attendu);
  Status Synchronise(const FolderLock::Synced& attendu);
  Status EchecSync(const Status& s);
  Status EcritGardes(const FolderLock::Synced& fin, uint64_t debut);
  Status Applique(FolderLock::State* st);
  Status RafraichitVue(const FolderLock::State& st);
  Status Echec(const Status& s);
  Status EchecApresValidation(const Status& s);
  void Relache();
  void RecalculePointeurs();

  Env* env_;
  std::string dossier_;
  std::string entreprise_;
  size_t cache_octets_;
  std::shared_ptr<CachePool> cache_;
  bool synchro_full_ = true;
  int delai_verrou_ms_ = 10000;
  uint64_t seuil_journal_ = uint64_t{32} << 20;
  int profondeur_ = 0;
  int lot_ = 0;
  int lectures_ = 0;
  int exceptions_ = 0;  // exceptions under way when the outermost scope began
  bool demarre_ = false;
  uint64_t compteur_vu_ = 0;
  uint64_t remplacements_vus_ = 0;
  bool remplacement_ = false;  // between DebutRemplacement and FinRemplacement: no operation
  uint64_t nonce_remplacement_ = 0;
  Status panne_;  // a commit failed and could not be undone: every use is refused
  bool apres_validation_ = false;
  std::unique_ptr<RedoLog> redo_log_;
  std::unique_ptr<FolderLock> verrou_;
  // The files seen through the pending commits, and the part of the redo log it shows.
  struct Plage {
    uint64_t nonce = 0, applied = 0, end = 0;
    bool operator==(const Plage&) const = default;
  };
  std::unique_ptr<PendingEnv> vue_;
  Plage vue_plage_;
  // The grouped commit made last, until AttendDurable sees it durable (nonce 0: none).
  FolderLock::Synced attente_;
  uint64_t attente_debut_ = 0;  // where it begins in the redo log
  // This user's commits since it last saw a commit of another (Valide sees the counter move): a
  // durable commit is direct once kSeulDirect of them were made alone, grouped before.
  static constexpr int kSeulDirect = 8;
  int seul_depuis_ = 0;
  bool attente_manuelle_ = false;
  std::vector<std::unique_ptr<FichierOuvert>> fichiers_;
  std::vector<std::unique_ptr<ArbreOuvert>> arbres_;
  std::vector<std::unique_ptr<TexteOuvert>> textes_;
  std::vector<ChainageOuvert> chainages_;
};

// A batch scope: the operations made while it lives are committed once, when it ends. Termine
// ends it and gives the commit's status; the destructor ends it when Termine was not called.
class Lot {
 public:
  explicit Lot(DossierDonnees& dossier);
  ~Lot();
  Lot(const Lot&) = delete;
  Lot& operator=(const Lot&) = delete;
  Status Termine();

 private:
  DossierDonnees& dossier_;
  bool fini_ = false;
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_DOSSIER_H_
