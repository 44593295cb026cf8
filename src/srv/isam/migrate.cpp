#include "srv/isam/migrate.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "srv/isam/data_file.h"
#include "srv/isam/migrate_record.h"
#include "srv/isam/names.h"
#include "srv/isam/record_text.h"
#include "srv/isam/replace_set.h"
#include "srv/isam/tree_build.h"
#include "srv/isam/verify.h"

namespace vesk::isam {

namespace {

constexpr size_t kChunk = size_t{1} << 20;  // bytes written at a time

// One data file of the plan in one folder, and what it becomes.
struct Place {
  size_t file = 0;
  std::string old_path, new_path;
  DataHeader header;
  bool rewrite = false;  // a new data file is written (records converted, or the file moved)
  std::vector<std::string> old_trees;  // tree files of the file there before (those that exist)
  std::vector<std::string> new_trees;  // per tree of the plan's file, at the new place
  std::vector<TreeBuild> builds;
  BilanMigration::Lieu* lieu = nullptr;
};

std::string Folder(const std::string& dossier, const std::string& company) {
  return company.empty() ? dossier : platform::JoinPath(dossier, company);
}

bool Exists(Env* env, const std::string& path, Status* s) {
  bool e = false;
  if (s->ok()) *s = Status::FromIo(env->FileExists(path, &e));
  return e;
}

class Migrator {
 public:
  Migrator(DossierDonnees& d, const PlanMigration& plan, SuiviProgression* progress,
           BilanMigration* bilan, MigrateResult* result)
      : d_(d),
        env_(d.env()),
        plan_(plan),
        progress_(progress),
        bilan_(bilan),
        result_(result),
        set_(d.env(), d.Dossier()) {}

  Status Prepare();
  Status Scan();
  Status Trees();
  Status PutInPlace(bool* in_place);

 private:
  Status CheckFile(size_t i);
  Status PlacesOf(size_t i);
  Status AddPlace(size_t i, const std::string& company, const std::string& new_company);
  Status ScanPlace(Place& p);
  Status Slot(Place& p, uint32_t no, const char* slot, std::string* out);
  Status Refuse(std::string why);
  Status Targets(std::vector<std::string>* targets, std::vector<std::string>* removed);
  Status CheckOpen(const std::set<std::string>& paths);
  std::string BackupName(Status* s);
  void Begin(const std::string& what, uint64_t total) {
    if (progress_ != nullptr) progress_->Debut(what, static_cast<int64_t>(total));
  }
  void Advance(uint64_t done) {
    if (progress_ != nullptr) progress_->Avance(static_cast<int64_t>(done));
  }
  void End() {
    if (progress_ != nullptr) progress_->Fin();
  }

  DossierDonnees& d_;
  Env* env_;
  const PlanMigration& plan_;
  SuiviProgression* progress_;
  BilanMigration* bilan_;
  MigrateResult* result_;
  ReplaceSet set_;
  std::vector<std::vector<PieceWork>> pieces_;  // per file of the plan
  std::vector<Place> places_;
  std::string blank_;
  int64_t problems_ = 0;
};

Status Migrator::Refuse(std::string why) {
  result_->refused = true;
  if (bilan_->refus.empty()) bilan_->refus = why;
  return Status::InvalidArgument(why);
}

// The plan checked as the engine takes it, its pieces put in bytes.
Status Migrator::CheckFile(size_t i) { return CheckMigratedFile(plan_.fichiers[i], &pieces_[i]); }

// A file's data in one folder: company "" is the root.
Status Migrator::AddPlace(size_t i, const std::string& company, const std::string& new_company) {
  const FichierMigre& f = plan_.fichiers[i];
  Place p;
  p.file = i;
  const std::string name = UpperAscii(f.nom);
  const std::string old_dir = Folder(d_.Dossier(), company);
  const std::string new_dir = Folder(d_.Dossier(), new_company);
  p.old_path = platform::JoinPath(old_dir, name + ".DAT");
  p.new_path = platform::JoinPath(new_dir, name + ".DAT");
  VESK_RETURN_IF_ERROR(ReadDataHeader(env_, p.old_path, &p.header));
  if (p.header.record_length != static_cast<uint32_t>(f.longueur_ancienne)) {
    return Refuse(LengthRefusal(p.old_path, p.header.record_length, f.longueur_ancienne));
  }
  Status s;
  if (p.new_path != p.old_path && !f.supprime && Exists(env_, p.new_path, &s)) {
    return Refuse(MoveRefusal(p.new_path, f.nom));
  }
  for (const std::string& t : f.arbres_anciens) {
    const std::string path = platform::JoinPath(old_dir, UpperAscii(t) + ".DAB");
    if (Exists(env_, path, &s)) p.old_trees.push_back(path);
  }
  for (const BArbreAReconstruire& t : f.arbres) {
    p.new_trees.push_back(platform::JoinPath(new_dir, UpperAscii(t.nom) + ".DAB"));
    p.builds.emplace_back(t, p.header.last_record - p.header.deleted);
  }
  VESK_RETURN_IF_ERROR(s);
  p.rewrite = !f.supprime && (f.convertit || p.new_path != p.old_path);
  BilanMigration::Lieu lieu;
  lieu.entreprise = company;
  lieu.entreprise_nouvelle = new_company;
  lieu.enregistrements = static_cast<int32_t>(p.header.last_record - p.header.deleted);
  lieu.supprimes = static_cast<int32_t>(p.header.deleted);
  lieu.cles.assign(f.arbres.size(), 0);
  bilan_->fichiers[i].lieux.push_back(std::move(lieu));
  places_.push_back(std::move(p));
  return Status::Ok();
}

// Where file i has data, and where that data goes (PlacesOfFile).
Status Migrator::PlacesOf(size_t i) {
  const FichierMigre& f = plan_.fichiers[i];
  const std::string file = UpperAscii(f.nom) + ".DAT";
  std::vector<std::string> companies;
  Status s;
  if (!f.dependance_ancienne) {
    if (Exists(env_, platform::JoinPath(d_.Dossier(), file), &s)) companies.emplace_back();
  } else {
    for (const std::string& sub : CompanyFolders(env_, d_.Dossier())) {
      if (Exists(env_, platform::JoinPath(sub, file), &s)) {
        companies.push_back(sub.substr(d_.Dossier().size() + 1));
      }
    }
  }
  VESK_RETURN_IF_ERROR(s);
  std::vector<std::pair<std::string, std::string>> places;
  const std::string refusal = PlacesOfFile(f, companies, UpperAscii(d_.Entreprise()), &places);
  if (!refusal.empty()) return Refuse(refusal);
  for (const auto& [from, to] : places) VESK_RETURN_IF_ERROR(AddPlace(i, from, to));
  return Status::Ok();
}

Status Migrator::Prepare() {
  bilan_->fichiers.assign(plan_.fichiers.size(), {});
  pieces_.resize(plan_.fichiers.size());
  for (size_t i = 0; i < plan_.fichiers.size(); ++i) VESK_RETURN_IF_ERROR(CheckFile(i));
  for (size_t i = 0; i < plan_.fichiers.size(); ++i) VESK_RETURN_IF_ERROR(PlacesOf(i));
  return Status::Ok();
}

// One slot of the old file: into out (the new file's bytes) when the file is rewritten, and its
// keys into the trees.
Status Migrator::Slot(Place& p, uint32_t no, const char* slot, std::string* out) {
  const FichierMigre& f = plan_.fichiers[p.file];
  const uint32_t length = static_cast<uint32_t>(f.longueur);
  const char* record = SlotRecord(p.header, slot);
  if (SlotDeleted(p.header, slot)) {
    if (p.rewrite) NewSlot(out, true, blank_.data(), length);
    return Status::Ok();
  }
  if (p.rewrite) {
    out->push_back(kSlotLive);
    out->append(length, ' ');
    char* copy = out->data() + out->size() - length;
    ConvertRecord(plan_, f, pieces_[p.file], no, record, copy, *p.lieu, &problems_);
    record = copy;
  }
  for (TreeBuild& b : p.builds) {
    Status s = b.Add(std::string_view(record, length), no);
    if (b.error()) result_->error = b.error();
    VESK_RETURN_IF_ERROR(s);
  }
  return Status::Ok();
}

// Reads the old file of p once: writes its new file aside (unless a dry run) and gathers the
// keys of its trees.
Status Migrator::ScanPlace(Place& p) {
  const FichierMigre& f = plan_.fichiers[p.file];
  blank_.assign(static_cast<size_t>(f.longueur), ' ');
  std::unique_ptr<platform::File> out;
  const bool write = p.rewrite && !plan_.essai;
  if (write) {
    VESK_RETURN_IF_ERROR(Status::FromIo(env_->OpenFile(ReplaceSet::AsidePath(p.new_path),
                                                       platform::OpenMode::kCreateAlways, &out)));
  }
  Begin("Migration " + p.old_path.substr(d_.Dossier().size() + 1), p.header.last_record);
  std::string buffer;
  uint64_t at = kDataHeaderSize;
  Status s = ForEachSlot(env_, p.old_path, p.header, [&](uint32_t no, const char* slot) {
    VESK_RETURN_IF_ERROR(Slot(p, no, slot, &buffer));
    Advance(no);
    if (!write) buffer.clear();
    if (buffer.size() < kChunk) return Status::Ok();
    VESK_RETURN_IF_ERROR(Status::FromIo(out->WriteAt(at, buffer)));
    at += buffer.size();
    buffer.clear();
    return Status::Ok();
  });
  End();
  if (!s.ok() || !write) return s;
  DataHeader h = p.header;
  h.version = kDataFormatVersion;
  h.record_length = static_cast<uint32_t>(f.longueur);
  ++h.change_counter;
  char head[kDataHeaderSize];
  EncodeDataHeader(h, head);
  VESK_RETURN_IF_ERROR(Status::FromIo(out->WriteAt(at, buffer)));
  VESK_RETURN_IF_ERROR(Status::FromIo(out->WriteAt(0, std::span<const char>(head, sizeof head))));
  return Status::FromIo(out->Sync());
}

Status Migrator::Scan() {
  for (size_t k = 0; k < places_.size(); ++k) {
    Place& p = places_[k];
    BilanMigration::Fichier& b = bilan_->fichiers[p.file];
    p.lieu = &b.lieux[static_cast<size_t>(
        std::count_if(places_.begin(), places_.begin() + static_cast<std::ptrdiff_t>(k),
                      [&](const Place& q) { return q.file == p.file; }))];
    if (!plan_.fichiers[p.file].supprime) VESK_RETURN_IF_ERROR(ScanPlace(p));
  }
  if (problems_ > 0) return Refuse(ProblemsRefusal(problems_, plan_.tronque));
  return Status::Ok();
}

// Sorts every tree's keys (a primary key twice refuses the migration) and, unless a dry run,
// writes each beside its place.
Status Migrator::Trees() {
  for (Place& p : places_) {
    const FichierMigre& f = plan_.fichiers[p.file];
    for (size_t t = 0; t < p.builds.size(); ++t) {
      TreeBuild& b = p.builds[t];
      Begin("B-arbre " + f.arbres[t].nom, b.count());
      Status s = b.Sort(nullptr);
      if (s.code() == Status::Code::kDuplicate) {
        End();
        return Refuse(s.message());
      }
      p.lieu->cles[t] = static_cast<int64_t>(b.count());
      if (s.ok() && !plan_.essai) s = b.Write(env_, ReplaceSet::AsidePath(p.new_trees[t]), f.nom);
      End();
      VESK_RETURN_IF_ERROR(s);
    }
  }
  return Status::Ok();
}

// The files the set replaces (new data files and trees) and removes (old files that have no
// successor under their name).
Status Migrator::Targets(std::vector<std::string>* targets, std::vector<std::string>* removed) {
  std::set<std::string> news;
  for (const Place& p : places_) {
    if (p.rewrite) news.insert(p.new_path);
    if (!plan_.fichiers[p.file].supprime) news.insert(p.new_trees.begin(), p.new_trees.end());
  }
  targets->assign(news.begin(), news.end());
  for (const Place& p : places_) {
    if (news.count(p.old_path) == 0 && (p.rewrite || plan_.fichiers[p.file].supprime)) {
      removed->push_back(p.old_path);
    }
    for (const std::string& t : p.old_trees) {
      if (news.count(t) == 0) removed->push_back(t);
    }
  }
  std::vector<std::string> batch;
  VESK_RETURN_IF_ERROR(d_.FichiersLot(&batch));
  std::set<std::string> all(targets->begin(), targets->end());
  all.insert(removed->begin(), removed->end());
  for (const std::string& b : batch) {
    if (all.count(b) > 0) {
      return Status::InvalidArgument(b + " : changé par le lot et remplacé par la migration");
    }
  }
  VESK_RETURN_IF_ERROR(CheckOpen(all));
  targets->insert(targets->end(), batch.begin(), batch.end());
  return Status::Ok();
}

// A handle of this program on a file the set replaces would no longer agree with it.
Status Migrator::CheckOpen(const std::set<std::string>& paths) {
  for (int16_t h = 1; h <= d_.NombreFichiers(); ++h) {
    const FichierOuvert* f = d_.Fichier(h);
    if (f != nullptr && paths.count(f->fichier->Path()) > 0) {
      return Status::InvalidArgument(f->fichier->Path() +
                                     " est ouvert dans ce programme : la migration le remplace");
    }
  }
  for (int16_t h = 1; h <= d_.NombreArbres(); ++h) {
    ArbreOuvert* a = d_.Arbre(h);
    if (a != nullptr && paths.count(a->arbre->pager()->Path()) > 0) {
      return Status::InvalidArgument(a->arbre->pager()->Path() +
                                     " est ouvert dans ce programme : la migration le remplace");
    }
  }
  return Status::Ok();
}

std::string Migrator::BackupName(Status* s) {
  const platform::DateHeure t = platform::Maintenant();
  char date[32];
  std::snprintf(date, sizeof date, "%04d%02d%02d-%02d%02d%02d", t.annee, t.mois, t.jour, t.heure,
                t.minute, t.seconde);
  const std::string base = std::string(kBackupPrefix) + date;
  std::string name = base;
  for (int n = 2; Exists(env_, platform::JoinPath(d_.Dossier(), name), s); ++n) {
    name = base + "-" + std::to_string(n);
  }
  return name;
}

// The set recorded, the new files written aside with the batch's, then put in place.
Status Migrator::PutInPlace(bool* in_place) {
  std::vector<std::string> targets, removed;
  VESK_RETURN_IF_ERROR(Targets(&targets, &removed));
  Status s;
  bilan_->sauvegarde = BackupName(&s);
  VESK_RETURN_IF_ERROR(s);
  VESK_RETURN_IF_ERROR(set_.Begin(targets, d_.NonceRemplacement(), removed, bilan_->sauvegarde));
  s = Scan();
  if (s.ok()) s = Trees();
  if (s.ok()) s = d_.EcritLotACote();
  if (s.ok()) s = set_.Commit();
  *in_place = set_.Committed();
  if (!s.ok() && !*in_place) {
    Status a = set_.Abandon();  // a set that cannot be abandoned keeps its record
    if (!a.ok()) s = s.Then(a);
  }
  if (!*in_place) bilan_->sauvegarde.clear();
  return s;
}

Status Run(DossierDonnees& dossier, const PlanMigration& plan, SuiviProgression* progress,
           BilanMigration* bilan, MigrateResult* result) {
  Status s = dossier.DebutRemplacementLot();
  if (!s.ok()) {
    Status a = dossier.AnnuleLot();
    return a.ok() ? s : s.Then(a);
  }
  bool in_place = false;
  {
    Migrator m(dossier, plan, progress, bilan, result);
    s = m.Prepare();
    if (s.ok()) s = m.PutInPlace(&in_place);
  }
  bilan->en_place = in_place;
  bool left = false;
  Status e = Status::FromIo(dossier.env()->FileExists(
      platform::JoinPath(dossier.Dossier(), std::string(kReplaceName)), &left));
  Status f = dossier.FinRemplacementLot(in_place, left || !e.ok());
  for (const Status* then : {&e, &f}) {
    if (s.ok()) {
      s = *then;
    } else if (!then->ok()) {
      s = s.Then(*then);
    }
  }
  return s;
}

}  // namespace

Status Migrate(DossierDonnees& dossier, const PlanMigration& plan, SuiviProgression* progress,
               BilanMigration* bilan, MigrateResult* result) {
  *bilan = BilanMigration{};
  *result = MigrateResult{};
  if (!plan.essai) return Run(dossier, plan, progress, bilan, result);
  VESK_RETURN_IF_ERROR(dossier.EntreLecture());
  Status s;
  {
    Migrator m(dossier, plan, progress, bilan, result);
    s = m.Prepare();
    if (s.ok()) s = m.Scan();
    if (s.ok() || (result->refused && !result->error)) {
      Status t = m.Trees();
      if (s.ok()) s = t;
    }
  }
  dossier.SortLecture();
  return s;
}

}  // namespace vesk::isam
