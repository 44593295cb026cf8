#include "srv/isam/migrate.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "srv/isam/data_file.h"
#include "srv/isam/names.h"
#include "srv/isam/record_text.h"
#include "srv/isam/replace_set.h"
#include "srv/isam/tree_build.h"
#include "srv/isam/verify.h"

namespace vesk::isam {

namespace {

constexpr size_t kChunk = size_t{1} << 20;  // bytes written at a time

// A piece of the plan in bytes: offsets from 0, the given text encoded once.
struct PieceWork {
  const PieceMigration* def = nullptr;
  uint32_t to = 0, length = 0, from = 0, old_length = 0;
  std::string bytes;
};

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

std::string Trimmed(std::string_view bytes) {
  std::string t;
  DecodeBytes(bytes, &t);
  const size_t end = t.find_last_not_of(' ');
  return end == std::string::npos ? std::string() : t.substr(0, end + 1);
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
  void Convert(const Place& p, uint32_t no, const char* old, char* out);
  void Problem(const Place& p, uint32_t no, const PieceWork& w, std::string raison);
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
Status Migrator::CheckFile(size_t i) {
  const FichierMigre& f = plan_.fichiers[i];
  VESK_RETURN_IF_ERROR(CheckName(f.nom, "fichier"));
  auto length_ok = [](int32_t l) {
    return l >= static_cast<int32_t>(kMinRecordLength) &&
           l <= static_cast<int32_t>(kMaxRecordLength);
  };
  if (!length_ok(f.longueur_ancienne) || (!f.supprime && !length_ok(f.longueur)) ||
      (!f.convertit && !f.supprime && f.longueur != f.longueur_ancienne)) {
    return Status::InvalidArgument("migration de " + f.nom + " : longueurs impossibles");
  }
  for (const std::string& t : f.arbres_anciens) VESK_RETURN_IF_ERROR(CheckName(t, "B-arbre"));
  for (const BArbreAReconstruire& t : f.arbres) {
    VESK_RETURN_IF_ERROR(CheckName(t.nom, "B-arbre"));
    if (t.longueur_cle < 1 || t.longueur_cle > 1024 || (t.nature != "P" && t.nature != "S")) {
      return Status::InvalidArgument("B-arbre " + t.nom +
                                     " : longueur de clé ou nature impossible");
    }
  }
  std::vector<PieceWork>& works = pieces_[i];
  for (const PieceMigration& p : f.pieces) {
    PieceWork w{&p,
                static_cast<uint32_t>(p.position - 1),
                static_cast<uint32_t>(p.longueur),
                static_cast<uint32_t>(p.position_ancienne - 1),
                static_cast<uint32_t>(p.longueur_ancienne),
                ""};
    const bool source = p.source != PieceMigration::Source::kDonnee;
    if (p.position < 1 || p.longueur < 1 || p.position - 1 + p.longueur > f.longueur ||
        (source && (p.position_ancienne < 1 || p.longueur_ancienne < 1 ||
                    p.position_ancienne - 1 + p.longueur_ancienne > f.longueur_ancienne)) ||
        (p.source == PieceMigration::Source::kConversion && !p.conversion)) {
      return Status::InvalidArgument("migration de " + f.nom + " : pièce " + p.variable +
                                     " hors de l'enregistrement");
    }
    if (!source) VESK_RETURN_IF_ERROR(EncodeFixed(p.texte, w.length, p.variable, &w.bytes));
    works.push_back(std::move(w));
  }
  return Status::Ok();
}

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
    return Refuse(p.old_path + " : enregistrements de " + std::to_string(p.header.record_length) +
                  " caractères, le dictionnaire en dit " + std::to_string(f.longueur_ancienne));
  }
  Status s;
  if (p.new_path != p.old_path && !f.supprime && Exists(env_, p.new_path, &s)) {
    return Refuse(p.new_path + " existe déjà : " + f.nom + " ne peut y être déplacé");
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

// Where file i has data, and where that data goes: the same folder, or the current company's
// folder for a file that comes to depend on the company, or the root for one that no longer
// does (from a single company: two could not be merged under their record numbers).
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
  if (companies.empty()) return Status::Ok();
  if (f.dependance == f.dependance_ancienne || f.supprime) {
    for (const std::string& c : companies) VESK_RETURN_IF_ERROR(AddPlace(i, c, c));
    return Status::Ok();
  }
  if (f.dependance) {
    if (d_.Entreprise().empty()) {
      return Refuse(f.nom +
                    " dépend désormais de l'entreprise : aucune entreprise courante pour "
                    "recevoir ses enregistrements (--entreprise)");
    }
    return AddPlace(i, "", UpperAscii(d_.Entreprise()));
  }
  if (companies.size() > 1) {
    std::string list;
    for (const std::string& c : companies) list += (list.empty() ? "" : ", ") + c;
    return Refuse(f.nom + " ne dépend plus de l'entreprise, mais les entreprises " + list +
                  " en ont chacune un fichier : un seul peut aller à la racine");
  }
  return AddPlace(i, companies.front(), "");
}

Status Migrator::Prepare() {
  bilan_->fichiers.assign(plan_.fichiers.size(), {});
  pieces_.resize(plan_.fichiers.size());
  for (size_t i = 0; i < plan_.fichiers.size(); ++i) VESK_RETURN_IF_ERROR(CheckFile(i));
  for (size_t i = 0; i < plan_.fichiers.size(); ++i) VESK_RETURN_IF_ERROR(PlacesOf(i));
  return Status::Ok();
}

void Migrator::Problem(const Place& p, uint32_t no, const PieceWork& w, std::string raison) {
  ++problems_;
  BilanMigration::Lieu& lieu = *p.lieu;
  ++lieu.problemes;
  if (lieu.premiers.size() < plan_.problemes_listes) {
    lieu.premiers.push_back({static_cast<int32_t>(no), w.def->variable, std::move(raison)});
  }
}

// The new record of old record no into out (the new length), by the pieces of its file.
void Migrator::Convert(const Place& p, uint32_t no, const char* old, char* out) {
  const FichierMigre& f = plan_.fichiers[p.file];
  if (!f.convertit) {
    std::memcpy(out, old, static_cast<size_t>(f.longueur));
    return;
  }
  std::memset(out, ' ', static_cast<size_t>(f.longueur));
  std::string text, fresh, raison, bytes;
  for (const PieceWork& w : pieces_[p.file]) {
    const std::string_view from(old + w.from, w.old_length);
    switch (w.def->source) {
      case PieceMigration::Source::kDonnee:
        std::memcpy(out + w.to, w.bytes.data(), w.length);
        break;
      case PieceMigration::Source::kCopie: {
        std::memcpy(out + w.to, from.data(), std::min(w.length, w.old_length));
        const std::string_view cut = from.substr(std::min(w.length, w.old_length));
        if (!plan_.tronque && cut.find_first_not_of(' ') != std::string_view::npos) {
          Problem(p, no, w,
                  "« " + Trimmed(from) + " » : texte de " + std::to_string(w.old_length) +
                      " caractères dont la fin ne tient pas dans " + std::to_string(w.length));
        }
        break;
      }
      case PieceMigration::Source::kConversion:
        DecodeBytes(from, &text);
        fresh.clear();
        raison.clear();
        if (!w.def->conversion(text, fresh, raison)) {
          Problem(p, no, w, raison);
        } else if (Status s = EncodeFixed(fresh, w.length, w.def->variable, &bytes); !s.ok()) {
          Problem(p, no, w, s.message());
        } else {
          std::memcpy(out + w.to, bytes.data(), w.length);
        }
        break;
    }
  }
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
    Convert(p, no, record, copy);
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
  if (problems_ > 0 && !plan_.tronque) {
    return Refuse(std::to_string(problems_) +
                  " valeur(s) ne tiennent pas dans la nouvelle disposition (--truncate coupe les "
                  "textes et arrondit les décimales)");
  }
  if (problems_ > 0) {
    return Refuse(std::to_string(problems_) +
                  " valeur(s) ne tiennent pas dans la nouvelle disposition, même coupées ou "
                  "arrondies");
  }
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
      if (s.code() == Status::Code::kDuplicate) return Refuse(s.message());
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
