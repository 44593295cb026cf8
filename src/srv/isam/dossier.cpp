#include "srv/isam/dossier.h"

#include <exception>
#include <limits>
#include <optional>

#include "srv/isam/names.h"
#include "srv/isam/redo_log_internal.h"
#include "srv/isam/replace_set.h"

namespace vesk::isam {

namespace {

constexpr size_t kMaxHandles = std::numeric_limits<int16_t>::max();

template <typename T>
Status Add(std::vector<std::unique_ptr<T>>& v, std::unique_ptr<T> item, int16_t* handle,
           std::string_view what) {
  if (v.size() >= kMaxHandles) {
    return Status::InvalidArgument("trop de " + std::string(what) + " ouverts (" +
                                   std::to_string(kMaxHandles) + " au plus)");
  }
  v.push_back(std::move(item));
  *handle = static_cast<int16_t>(v.size());
  return Status::Ok();
}

}  // namespace

namespace {

// The folder's path without its final separators ("/data/app/" is "/data/app"; "/" stays): the
// redo log and the replacement record name files by their path past the folder's and a separator.
std::string SansSeparateurFinal(std::string dossier) {
  auto separateur = [](char c) { return c == '/' || c == '\\'; };
  while (dossier.size() > 1 && separateur(dossier.back()) && dossier[dossier.size() - 2] != ':') {
    dossier.pop_back();
  }
  return dossier;
}

}  // namespace

DossierDonnees::DossierDonnees(Env* env, std::string dossier, std::string entreprise,
                               size_t cache_octets)
    : env_(env),
      dossier_(SansSeparateurFinal(std::move(dossier))),
      entreprise_(std::move(entreprise)),
      cache_octets_(cache_octets),
      cache_(std::make_shared<CachePool>(cache_octets)),
      redo_log_(std::make_unique<RedoLog>(env_, dossier_)),
      vue_(std::make_unique<PendingEnv>(env_, dossier_)) {}

DossierDonnees::~DossierDonnees() {
  // A batch left open is committed, and the redo log emptied when no one else holds the folder;
  // a failure here has no one to tell (the redo log stays, replayed by the next user).
  Status ignored = Ecrit();
  if (verrou_ && redo_log_->Size() > 0 && panne_.ok() &&
      verrou_->Lock(FolderLock::Held::kExclusive, 0).ok()) {
    FolderLock::State st;
    if (verrou_->Read(&st).ok() && !st.writing && VideJournal(&st, false, true).ok()) {
      ignored = verrou_->Write(st);
    }
  }
  if (verrou_) ignored = verrou_->Unlock();
  (void)ignored;
}

Status DossierDonnees::Chemin(bool dependance, std::string_view nom, std::string_view extension,
                              bool create, std::string* path) {
  VESK_RETURN_IF_ERROR(CheckName(nom, "fichier"));
  VESK_RETURN_IF_ERROR(Demarre());
  std::string dir = dossier_;
  if (dependance) {
    if (entreprise_.empty()) {
      return Status::InvalidArgument("fichier " + UpperAscii(nom) +
                                     " dépendant de l'entreprise : aucune entreprise courante");
    }
    VESK_RETURN_IF_ERROR(CheckName(entreprise_, "entreprise"));
    dir = platform::JoinPath(dossier_, UpperAscii(entreprise_));
    if (create) VESK_RETURN_IF_ERROR(Status::FromIo(env_->CreateDirectories(dir)));
  }
  *path = platform::JoinPath(dir, UpperAscii(nom) + std::string(extension));
  return Status::Ok();
}

int16_t DossierDonnees::ChercheFichier(std::string_view nom, bool dependance) const {
  for (size_t i = 0; i < fichiers_.size(); ++i) {
    if (fichiers_[i]->nom == nom && fichiers_[i]->dependance == dependance) {
      return static_cast<int16_t>(i + 1);
    }
  }
  return 0;
}

int16_t DossierDonnees::ChercheFichier(std::string_view nom) const {
  for (size_t i = 0; i < fichiers_.size(); ++i) {
    if (fichiers_[i]->nom == nom) return static_cast<int16_t>(i + 1);
  }
  return 0;
}

int16_t DossierDonnees::ChercheArbre(std::string_view nom, bool dependance) const {
  for (size_t i = 0; i < arbres_.size(); ++i) {
    if (arbres_[i]->nom == nom && arbres_[i]->dependance == dependance) {
      return static_cast<int16_t>(i + 1);
    }
  }
  return 0;
}

Status DossierDonnees::AjouteFichier(std::unique_ptr<FichierOuvert> f, int16_t* handle) {
  DataFile* df = f->fichier.get();
  VESK_RETURN_IF_ERROR(Add(fichiers_, std::move(f), handle, "fichiers de données"));
  redo_log_->Watch({df->pager(), [df] { return df->Prepare(); }, [df] { return df->Recharge(); },
                    [df] { df->Mark(); }, [df] { df->RestoreMark(); }});
  RecalculePointeurs();
  return Status::Ok();
}

Status DossierDonnees::AjouteArbre(std::unique_ptr<ArbreOuvert> a, int16_t* handle) {
  BTree* t = a->arbre.get();
  // A tree just created is on stable storage before any operation uses it (one opened for
  // reading, in a folder that cannot be written, has nothing to sync).
  if (t->pager()->Writable()) VESK_RETURN_IF_ERROR(t->Sync());
  VESK_RETURN_IF_ERROR(Add(arbres_, std::move(a), handle, "B-arbres"));
  redo_log_->Watch({t->pager(), nullptr, [t] { return t->Reload(); }, [t] { t->Mark(); },
                    [t] { t->RestoreMark(); }});
  return Status::Ok();
}

Status DossierDonnees::AjouteTexte(std::unique_ptr<TexteOuvert> t, int16_t* handle) {
  // A closed handle is given again before the table grows.
  for (size_t i = 0; i < textes_.size(); ++i) {
    if (!textes_[i]) {
      textes_[i] = std::move(t);
      *handle = static_cast<int16_t>(i + 1);
      return Status::Ok();
    }
  }
  return Add(textes_, std::move(t), handle, "fichiers texte");
}

void DossierDonnees::FermeTexte(int16_t handle) {
  if (handle >= 1 && static_cast<size_t>(handle) <= textes_.size()) textes_[handle - 1].reset();
}

void DossierDonnees::DeclareChainage(const ChainageOuvert& c) {
  for (ChainageOuvert& old : chainages_) {
    if (old.ligne == c.ligne) {
      old = c;
      RecalculePointeurs();
      return;
    }
  }
  chainages_.push_back(c);
  RecalculePointeurs();
}

ChainageOuvert* DossierDonnees::ChainageDeLigne(int16_t ligne) {
  for (ChainageOuvert& c : chainages_) {
    if (c.ligne == ligne) return &c;
  }
  return nullptr;
}

void DossierDonnees::RecalculePointeurs() {
  for (auto& f : fichiers_) f->pointeurs.clear();
  for (const ChainageOuvert& c : chainages_) {
    if (FichierOuvert* e = Fichier(c.entete)) {
      e->pointeurs.push_back(c.premiere);
      e->pointeurs.push_back(c.derniere);
    }
    if (FichierOuvert* l = Fichier(c.ligne)) {
      l->pointeurs.push_back(c.precedente);
      l->pointeurs.push_back(c.suivante);
    }
  }
}

// The first use of the folder: a redo log left there is replayed before anything is read.
// Without redo log and lock file there is nothing to do (and nothing is created yet).
Status DossierDonnees::Demarre() {
  if (demarre_) return panne_;
  VESK_RETURN_IF_ERROR(SansLiens());
  bool lock = false, redo_log = false;
  VESK_RETURN_IF_ERROR(
      Status::FromIo(env_->FileExists(platform::JoinPath(dossier_, kLockName), &lock)));
  VESK_RETURN_IF_ERROR(
      Status::FromIo(env_->FileExists(platform::JoinPath(dossier_, kRedoLogName), &redo_log)));
  if (!lock && !redo_log) {
    demarre_ = true;
    return Status::Ok();
  }
  VESK_RETURN_IF_ERROR(OuvreVerrou());
  FolderLock::State st;
  Status s;
  if (verrou_->LectureSeule()) {
    // Read without writing: nothing to recover, or a refusal saying who can.
    VESK_RETURN_IF_ERROR(verrou_->Lock(FolderLock::Held::kShared, delai_verrou_ms_));
    s = verrou_->Read(&st);
    if (s.ok()) s = SansReprise(st);
  } else {
    VESK_RETURN_IF_ERROR(verrou_->Lock(FolderLock::Held::kExclusive, delai_verrou_ms_));
    s = Recupere(&st);
  }
  Status u = verrou_->Unlock();
  VESK_RETURN_IF_ERROR(s);
  VESK_RETURN_IF_ERROR(u);
  compteur_vu_ = st.counter;
  remplacements_vus_ = st.replacements;
  demarre_ = true;
  return Status::Ok();
}

// The first open of a folder, before anything is written: no entry of the folder, nor of a
// company sub-folder, is a symbolic link. The engine opens its files without following links,
// so that nothing is ever written through one; a folder that holds one is refused whole, naming
// it, so that a folder that passed its first open never meets a link later (in a recovery).
Status DossierDonnees::SansLiens() {
  auto refus = [this](const std::string& chemin) {
    return Status::InvalidArgument(
        "dossier de données " + dossier_ + " : " + chemin +
        " est un lien symbolique (refusé : les fichiers d'un dossier de données et ses dossiers "
        "d'entreprise ne sont jamais des liens ; le remplacer par le fichier ou le dossier "
        "lui-même)");
  };
  std::vector<std::string> noms;
  platform::IoStatus io = env_->ListDirectory(dossier_, &noms);
  if (io.code == platform::Code::kNotFound) return Status::Ok();  // created by the first file
  VESK_RETURN_IF_ERROR(Status::FromIo(io));
  for (const std::string& nom : noms) {
    const std::string chemin = platform::JoinPath(dossier_, nom);
    bool lien = false;
    VESK_RETURN_IF_ERROR(Status::FromIo(env_->IsLink(chemin, &lien)));
    if (lien) return refus(chemin);
    std::vector<std::string> dedans;
    if (!CheckName(nom, "entreprise").ok() || !env_->ListDirectory(chemin, &dedans).ok()) continue;
    for (const std::string& n : dedans) {
      VESK_RETURN_IF_ERROR(Status::FromIo(env_->IsLink(platform::JoinPath(chemin, n), &lien)));
      if (lien) return refus(platform::JoinPath(chemin, n));
    }
  }
  return Status::Ok();
}

// In a folder that cannot be written, the state it is in must need no recovery: a writer that
// died in a commit or a replacement left work only a user who can write may finish.
Status DossierDonnees::SansReprise(const FolderLock::State& st) {
  bool record = false;
  VESK_RETURN_IF_ERROR(Status::FromIo(
      env_->FileExists(platform::JoinPath(dossier_, std::string(kReplaceName)), &record)));
  if (!st.writing && !st.replacing && !record) return Status::Ok();
  return Status::InvalidArgument(
      "le dossier " + dossier_ +
      " attend une reprise (un programme s'est arrêté pendant une écriture) et ne peut être "
      "écrit : un utilisateur qui a le droit d'y écrire doit l'ouvrir une fois (" +
      verrou_->RefusEcriture().message() + ")");
}

Status DossierDonnees::OuvreVerrou() {
  if (verrou_) return Status::Ok();
  return FolderLock::Open(env_, dossier_, &verrou_);
}

// Finishes or undoes a replacement of files and replays the redo log a writer left (under the
// exclusive lock), and says so in the state. At the first use of the folder a replacement
// record is looked for even without the flag.
Status DossierDonnees::Recupere(FolderLock::State* st) {
  VESK_RETURN_IF_ERROR(verrou_->Read(st));
  bool replaced = false;
  if (st->replacing || !demarre_) {
    // Without the flag no replacement was begun here: a record found is not followed.
    const std::optional<uint64_t> cle =
        st->replacing ? std::optional<uint64_t>(st->replace_nonce) : std::nullopt;
    VESK_RETURN_IF_ERROR(ReplaceSet::Recover(env_, dossier_, entreprise_, cle, &replaced));
  }
  bool changed = false;
  VESK_RETURN_IF_ERROR(RedoLog::Recover(env_, dossier_, &changed));
  if (!changed && !st->writing && st->redo_log_end == 0 && !st->replacing && !replaced &&
      !st->durable && !st->unsynced) {
    return Status::Ok();
  }
  if (changed || st->writing) ++st->counter;
  if (replaced || st->replacing) ++st->replacements;
  st->writing = st->replacing = false;
  // The redo log is empty, its files synced (the pending commits with the others).
  st->redo_log_end = st->redo_log_nonce = st->applied = 0;
  st->durable = st->unsynced = false;
  return verrou_->Write(*st);
}

namespace {

// A handle whose file is gone (another program's migration removed it, or moved it into its
// company) is refused in the folder's words, the same on every system, until it is opened again.
Status Disparu(const Status& s, const std::string& path) {
  if (!s.IsNotFound()) return s;
  return Status::NotFound(path + " : remplacé par la migration d'un autre programme, à rouvrir");
}

}  // namespace

// After a replacement of files: every handle follows its file's new version. Record numbers
// and walk positions known before no longer hold (a compaction renumbered the records).
Status DossierDonnees::Reouvre() {
  for (auto& f : fichiers_) {
    VESK_RETURN_IF_ERROR(Disparu(f->fichier->Reopen(), f->fichier->Path()));
    f->courant = 0;
  }
  for (auto& a : arbres_) {
    VESK_RETURN_IF_ERROR(Disparu(a->arbre->Reopen(env()), a->arbre->Path()));
    a->curseur = false;
  }
  return Status::Ok();
}

Status DossierDonnees::RechargeTout() {
  for (auto& f : fichiers_) VESK_RETURN_IF_ERROR(f->fichier->Recharge());
  for (auto& a : arbres_) VESK_RETURN_IF_ERROR(a->arbre->Reload());
  return Status::Ok();
}

// Just after the lock was taken: recovery when a writer died, caches dropped when another user
// committed.
Status DossierDonnees::Valide() {
  redo_log_->DropKept();  // a grouped commit not yet written by its user stays to the others
  FolderLock::State st;
  VESK_RETURN_IF_ERROR(verrou_->Read(&st));
  if (verrou_->LectureSeule()) VESK_RETURN_IF_ERROR(SansReprise(st));
  if (st.writing || st.replacing) {
    FolderLock::Held held = verrou_->held();
    VESK_RETURN_IF_ERROR(verrou_->Lock(FolderLock::Held::kExclusive, delai_verrou_ms_));
    Status s = Recupere(&st);
    VESK_RETURN_IF_ERROR(verrou_->Lock(held, delai_verrou_ms_));
    VESK_RETURN_IF_ERROR(s);
  }
  if (verrou_->held() == FolderLock::Held::kExclusive && st.Pending()) {
    VESK_RETURN_IF_ERROR(Applique(&st));
  }
  VESK_RETURN_IF_ERROR(RafraichitVue(st));
  if (st.replacements != remplacements_vus_) {
    VESK_RETURN_IF_ERROR(Reouvre());
    remplacements_vus_ = st.replacements;
  } else if (st.counter != compteur_vu_) {
    VESK_RETURN_IF_ERROR(RechargeTout());
  }
  if (st.counter != compteur_vu_) seul_depuis_ = 0;
  compteur_vu_ = st.counter;
  return Status::Ok();
}

Status DossierDonnees::DebutRemplacement() {
  if (profondeur_ > 0 || lot_ > 0) {
    return Status::InvalidArgument("dossier " + dossier_ +
                                   " : remplacement de fichiers pendant une opération ou un lot");
  }
  return Remplacement(false);
}

Status DossierDonnees::DebutRemplacementLot() {
  if (profondeur_ > 0 || lot_ == 0) {
    return Status::InvalidArgument("dossier " + dossier_ +
                                   " : migration hors d'un lot ou pendant une opération");
  }
  return Remplacement(true);
}

// The exclusive lock, kept until the end; what is pending committed (unless a batch goes with
// the set), the redo log emptied (every file then holds the last commit, synced), and the
// state word's `replacing` flag raised.
Status DossierDonnees::Remplacement(bool garde_lot) {
  VESK_RETURN_IF_ERROR(Demarre());
  VESK_RETURN_IF_ERROR(OuvreVerrou());
  Status s;
  if (verrou_->held() != FolderLock::Held::kExclusive) {
    // A batch that only read holds the shared lock: let go first, as its first write would.
    if (garde_lot && lectures_ == 0) s = verrou_->Unlock();
    if (s.ok()) s = verrou_->Lock(FolderLock::Held::kExclusive, delai_verrou_ms_);
    if (s.ok()) s = Valide();
  }
  if (s.ok() && !garde_lot) s = Commit();
  if (s.ok()) s = Valide();
  FolderLock::State st;
  if (s.ok()) s = verrou_->Read(&st);
  if (s.ok()) s = VideJournal(&st, false, true);  // every file synced, the redo log cut
  if (s.ok()) {
    st.replacing = true;
    st.replace_nonce = nonce_remplacement_ = redo_log::NewNonce();
    s = verrou_->Write(st);
    // The key is durable before the record that it checks exists: a record is followed only
    // under the flag and with the key of this word.
    if (s.ok()) s = verrou_->Sync();
  }
  if (!s.ok()) Relache();
  remplacement_ = s.ok();
  return s;
}

Status DossierDonnees::FinRemplacement(bool remplace, bool reste) {
  remplacement_ = false;
  FolderLock::State st;
  Status s = verrou_->Read(&st);
  if (s.ok()) {
    if (remplace) ++st.replacements;
    st.replacing = reste;
    s = verrou_->Write(st);
  }
  // A handle that could not follow its new file is tried again at the next use (the count seen
  // stays behind); until then every use is refused with the reason.
  if (s.ok() && remplace) s = Reouvre();
  if (s.ok()) remplacements_vus_ = st.replacements;
  Relache();
  return s;
}

Status DossierDonnees::FichiersLot(std::vector<std::string>* chemins) {
  return redo_log_->TransactionPaths(chemins);
}

Status DossierDonnees::EcritLotACote() { return redo_log_->WriteAside(ReplaceSet::AsidePath); }

Status DossierDonnees::FinRemplacementLot(bool remplace, bool reste) {
  lot_ = 0;
  redo_log_->SetBatch(false);
  Status s;
  if (remplace) {
    redo_log_->Abandon();  // its changes are the files put in place, which Reouvre reads
  } else if (redo_log_->Open()) {
    // Outside a batch, undoing the operation undoes the whole transaction: the batch.
    s = redo_log_->RollbackOperation();
    if (!s.ok()) panne_ = s;
  }
  Status f = FinRemplacement(remplace, reste);
  return s.ok() ? f : s;
}

void DossierDonnees::Relache() {
  if (lot_ > 0 && verrou_->held() == FolderLock::Held::kExclusive) return;
  Status ignored = lectures_ > 0 ? verrou_->Lock(FolderLock::Held::kShared, delai_verrou_ms_)
                                 : verrou_->Unlock();
  (void)ignored;
}

Status DossierDonnees::Entre() {
  if (remplacement_) {
    // The files are being replaced: what an operation wrote now would be lost with them.
    return Status::InvalidArgument("dossier " + dossier_ +
                                   " : opération pendant un remplacement de fichiers");
  }
  if (profondeur_ == 0) {
    VESK_RETURN_IF_ERROR(Demarre());
    VESK_RETURN_IF_ERROR(OuvreVerrou());
    if (verrou_->held() != FolderLock::Held::kExclusive) {
      // A shared lock kept by a batch's reads is let go first: two batches each holding it
      // would otherwise wait for each other's exclusive lock. Valide sees any commit between.
      if (lot_ > 0 && lectures_ == 0) VESK_RETURN_IF_ERROR(verrou_->Unlock());
      VESK_RETURN_IF_ERROR(verrou_->Lock(FolderLock::Held::kExclusive, delai_verrou_ms_));
      // Changes made outside any operation (tools, tests) are committed first.
      Status s = lot_ == 0 ? Commit() : Status::Ok();
      if (s.ok()) s = Valide();
      if (!s.ok()) {
        Relache();
        return s;
      }
    }
    exceptions_ = std::uncaught_exceptions();
    redo_log_->BeginOperation();
  }
  ++profondeur_;
  return Status::Ok();
}

Status DossierDonnees::Sort() {
  if (profondeur_ == 0) return Status::InvalidArgument("fin d'opération sans début d'opération");
  if (--profondeur_ > 0) return Status::Ok();
  Status s;
  if (std::uncaught_exceptions() > exceptions_) {
    s = redo_log_->RollbackOperation();
    if (!s.ok()) panne_ = s;
  } else {
    s = redo_log_->EndOperation();
    if (!s.ok()) {
      Status r = redo_log_->RollbackOperation();
      if (!r.ok()) panne_ = r;
    }
  }
  if (lot_ > 0) return s;
  if (s.ok()) s = Commit(true);
  Relache();
  if (s.ok() && !attente_manuelle_) s = AttendDurable();
  return s;
}

// The first read scope without a lock: the shared lock taken, the caches checked.
Status DossierDonnees::PrendLecture() {
  VESK_RETURN_IF_ERROR(Demarre());
  VESK_RETURN_IF_ERROR(OuvreVerrou());
  VESK_RETURN_IF_ERROR(verrou_->Lock(FolderLock::Held::kShared, delai_verrou_ms_));
  Status s = Valide();
  if (!s.ok()) {
    Status ignored = verrou_->Unlock();
    (void)ignored;
    return s;
  }
  ++lectures_;
  return Status::Ok();
}

// The last read scope ended outside any operation and batch: the shared lock goes.
void DossierDonnees::RelacheLecture() {
  Status ignored = verrou_->Unlock();
  (void)ignored;
}

Status DossierDonnees::Ecrit() {
  if (profondeur_ > 0 || !redo_log_->Open()) return Status::Ok();
  if (!verrou_ || verrou_->held() != FolderLock::Held::kExclusive) {
    VESK_RETURN_IF_ERROR(OuvreVerrou());
    VESK_RETURN_IF_ERROR(verrou_->Lock(FolderLock::Held::kExclusive, delai_verrou_ms_));
  }
  Status s = Commit();
  if (lot_ == 0) Relache();
  return s;
}

Status DossierDonnees::DebutLot() {
  if (remplacement_) {
    return Status::InvalidArgument("dossier " + dossier_ +
                                   " : lot commencé pendant un remplacement de fichiers");
  }
  if (lot_ == 0 && profondeur_ == 0) redo_log_->SetBatch(true);
  ++lot_;
  return Status::Ok();
}

Status DossierDonnees::FinLot() {
  if (lot_ == 0) return Status::InvalidArgument("fin de lot sans début de lot");
  if (--lot_ > 0 || profondeur_ > 0) return Status::Ok();
  Status s =
      verrou_ && verrou_->held() == FolderLock::Held::kExclusive ? Commit(true) : Status::Ok();
  redo_log_->SetBatch(false);
  if (verrou_) Relache();
  if (s.ok() && !attente_manuelle_) s = AttendDurable();
  return s;
}

Status DossierDonnees::AnnuleLot() {
  if (lot_ == 0) return Status::InvalidArgument("annulation de lot sans début de lot");
  if (profondeur_ > 0) return Status::InvalidArgument("annulation de lot pendant une opération");
  lot_ = 0;
  redo_log_->SetBatch(false);
  // Outside a batch, undoing the operation undoes the whole transaction: every change since
  // the last commit, which was the batch's start.
  Status s = redo_log_->Open() ? redo_log_->RollbackOperation() : Status::Ok();
  if (!s.ok()) panne_ = s;
  if (verrou_) Relache();
  return s;
}

Lot::Lot(DossierDonnees& dossier) : dossier_(dossier) {
  Status ignored = dossier_.DebutLot();
  (void)ignored;
}

Lot::~Lot() {
  if (!fini_) {
    Status ignored = Termine();
    (void)ignored;
  }
}

Status Lot::Termine() {
  if (fini_) return Status::Ok();
  fini_ = true;
  return dossier_.FinLot();
}

}  // namespace vesk::isam
