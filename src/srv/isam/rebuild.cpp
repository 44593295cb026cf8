#include "srv/isam/rebuild.h"

#include <algorithm>
#include <cstring>

#include "srv/isam/btree.h"
#include "srv/isam/data_file.h"
#include "srv/isam/names.h"
#include "srv/isam/record_text.h"
#include "srv/isam/replace_set.h"
#include "srv/isam/tree_build.h"
#include "srv/isam/verify.h"

namespace vesk::isam {

namespace {

constexpr size_t kChunk = size_t{1} << 20;  // bytes written at a time

// A pointer field of a file's records that holds record numbers of the file `into`.
struct Remap {
  uint32_t offset = 0;
  size_t into = 0;
  const char* role = "";
};

// One tree to build and where its new file goes.
struct TreeWork {
  TreeBuild build;
  std::string path;
};

struct FileWork {
  const FichierAReconstruire* def = nullptr;
  std::string path;
  DataHeader header;
  bool moves = false;          // its records get new numbers (chosen, with deleted records)
  bool rewrite = false;        // a new file is written
  std::vector<uint32_t> map;   // old number -> new (0: removed), when moves
  std::vector<uint32_t> back;  // new number -> old, when moves
  std::vector<Remap> remaps;
  std::vector<TreeWork> trees;  // built when the file is chosen or rewritten
  bool build_trees = false;
};

class Rebuilder {
 public:
  Rebuilder(DossierDonnees& dossier, const PlanReconstruction& plan,
            const RebuildObserver& observer, RebuildResult* result)
      : dossier_(dossier),
        env_(dossier.env()),
        plan_(plan),
        observer_(observer),
        result_(result),
        set_(dossier.env(), dossier.Dossier()) {}

  Status Run();

 private:
  Status RunBegun();
  Status Prepare();
  Status ReadHeader(FileWork& w);
  Status MapRecords(FileWork& w);
  Status CountsAgree(const FileWork& w, uint64_t deleted) const;
  Status PlanChains();
  Status ChainSound(const ChainageAReconstruire& c) const;
  std::vector<std::string> Targets() const;
  Status Scan(size_t i);
  Status TakeSlot(size_t i, uint32_t no, const char* slot, std::string* out, uint32_t* next_no);
  Status Renumber(const FileWork& w, uint32_t no, char* record) const;
  Status AddKeys(FileWork& w, const char* record, uint32_t no);
  Status BuildTree(size_t i, size_t t);
  Status Tell(RebuildEvent e) const { return observer_ ? observer_(e) : Status::Ok(); }

  DossierDonnees& dossier_;
  Env* env_;
  const PlanReconstruction& plan_;
  const RebuildObserver& observer_;
  RebuildResult* result_;
  ReplaceSet set_;
  std::vector<FileWork> work_;
};

Status Rebuilder::ReadHeader(FileWork& w) {
  VESK_RETURN_IF_ERROR(
      dossier_.Chemin(w.def->dependance_entreprise, w.def->nom, ".DAT", false, &w.path));
  return ReadDataHeader(env_, w.path, &w.header);
}

// The new numbers of a chosen file's live records: each takes its number minus the deleted
// records met before it.
Status Rebuilder::MapRecords(FileWork& w) {
  w.map.assign(size_t{w.header.last_record} + 1, 0);
  w.back.assign(1, 0);
  uint32_t next = 1;
  VESK_RETURN_IF_ERROR(ForEachSlot(env_, w.path, w.header, [&](uint32_t no, const char* slot) {
    if (!SlotDeleted(w.header, slot)) {
      w.map[no] = next++;
      w.back.push_back(no);
    }
    return Status::Ok();
  }));
  return CountsAgree(w, w.header.last_record - (next - 1));
}

// The header's count of deleted records against the records found deleted: the compaction
// rests on it, so a difference is damage, never guessed around.
Status Rebuilder::CountsAgree(const FileWork& w, uint64_t deleted) const {
  if (deleted == w.header.deleted) return Status::Ok();
  return Status::Corruption(w.path + " : l'en-tête compte " + std::to_string(w.header.deleted) +
                            " enregistrements supprimés, le fichier en a " +
                            std::to_string(deleted));
}

Status Rebuilder::PlanChains() {
  for (const ChainageAReconstruire& c : plan_.chainages) {
    if (c.entete >= work_.size() || c.ligne >= work_.size()) {
      return Status::InvalidArgument("reconstruction : chaînage hors du plan");
    }
    if (c.pos_premiere < 1 || c.pos_derniere < 1 || c.pos_precedente < 1 || c.pos_suivante < 1) {
      return Status::InvalidArgument("reconstruction : position de pointeur impossible");
    }
    FileWork& line = work_[c.ligne];
    if (!line.moves) continue;
    FileWork& header = work_[c.entete];
    VESK_RETURN_IF_ERROR(ChainSound(c));
    // Positions count from 1 in the plan, offsets from 0 in the records.
    auto offset = [](int32_t position) { return static_cast<uint32_t>(position - 1); };
    line.remaps.push_back({offset(c.pos_precedente), c.ligne, "pointeur précédent"});
    line.remaps.push_back({offset(c.pos_suivante), c.ligne, "pointeur suivant"});
    header.remaps.push_back({offset(c.pos_premiere), c.ligne, "pointeur de première ligne"});
    header.remaps.push_back({offset(c.pos_derniere), c.ligne, "pointeur de dernière ligne"});
    header.rewrite = true;
  }
  for (FileWork& w : work_) {
    for (const Remap& r : w.remaps) {
      if (r.offset + 3 > w.header.record_length) {
        result_->refused = true;
        return Status::InvalidArgument(w.path + " : pointeur de chaînage en position " +
                                       std::to_string(r.offset + 1) + " hors de l'enregistrement");
      }
    }
  }
  return Status::Ok();
}

// The lines of a chaining are renumbered only when they are chained as the chaining says:
// renumbering a chain that does not check (a line chained twice, a backward pointer that
// disagrees, a live line under no header) would leave lines unchained for good. Refused,
// naming the header record, and nothing is written.
Status Rebuilder::ChainSound(const ChainageAReconstruire& c) const {
  const ChainToCheck v{work_[c.entete].path,
                       work_[c.ligne].path,
                       static_cast<uint32_t>(c.pos_premiere - 1),
                       static_cast<uint32_t>(c.pos_derniere - 1),
                       static_cast<uint32_t>(c.pos_precedente - 1),
                       static_cast<uint32_t>(c.pos_suivante - 1)};
  std::vector<std::string> problems;
  VESK_RETURN_IF_ERROR(VerifyChain(env_, v, &problems));
  if (problems.empty()) return Status::Ok();
  result_->refused = true;
  return Status::Corruption(ChainRefusal(problems));
}

Status Rebuilder::Prepare() {
  work_.resize(plan_.fichiers.size());
  result_->files.assign(plan_.fichiers.size(), {});
  for (size_t i = 0; i < plan_.fichiers.size(); ++i) {
    FileWork& w = work_[i];
    w.def = &plan_.fichiers[i];
    VESK_RETURN_IF_ERROR(ReadHeader(w));
    if (w.def->choisi && result_->chosen_path.empty()) result_->chosen_path = w.path;
    if (w.def->choisi && w.header.deleted > 0) {
      w.moves = w.rewrite = true;
      VESK_RETURN_IF_ERROR(MapRecords(w));
    }
  }
  VESK_RETURN_IF_ERROR(PlanChains());
  for (FileWork& w : work_) {
    w.build_trees = w.def->choisi || w.rewrite;
    if (!w.build_trees) continue;
    const size_t live = w.header.last_record - w.header.deleted;
    for (const BArbreAReconstruire& t : w.def->arbres) {
      if (t.longueur_cle < 1 || (t.nature != "P" && t.nature != "S")) {
        return Status::InvalidArgument("B-arbre " + t.nom +
                                       " : longueur de clé ou nature impossible");
      }
      TreeWork tw{TreeBuild(t, live), ""};
      VESK_RETURN_IF_ERROR(
          dossier_.Chemin(w.def->dependance_entreprise, t.nom, ".DAB", true, &tw.path));
      w.trees.push_back(std::move(tw));
    }
  }
  return Status::Ok();
}

std::vector<std::string> Rebuilder::Targets() const {
  std::vector<std::string> targets;
  for (const FileWork& w : work_) {
    if (w.rewrite) targets.push_back(w.path);
    for (const TreeWork& t : w.trees) targets.push_back(t.path);
  }
  return targets;
}

// Puts the new numbers into the pointers of a live record (no: its number in the file as it
// stands). A pointer to a record that is not live is damage, named.
Status Rebuilder::Renumber(const FileWork& w, uint32_t no, char* record) const {
  for (const Remap& r : w.remaps) {
    const uint32_t p = DecodePointer(record + r.offset);
    if (p == 0) continue;
    const FileWork& into = work_[r.into];
    if (p > into.header.last_record || into.map[p] == 0) {
      return Status::Corruption(std::string(r.role) + " de l'enregistrement " + std::to_string(no) +
                                " de " + w.path + " : l'enregistrement " + std::to_string(p) +
                                " de " + into.path +
                                (p > into.header.last_record ? " n'existe pas" : " est supprimé"));
    }
    EncodePointer(into.map[p], record + r.offset);
  }
  return Status::Ok();
}

// The keys of a live record into its file's trees. What a key builder throws is kept for the
// caller and stops the rebuild.
Status Rebuilder::AddKeys(FileWork& w, const char* record, uint32_t no) {
  const std::string_view bytes(record, w.header.record_length);
  for (TreeWork& t : w.trees) {
    Status s = t.build.Add(bytes, no);
    if (t.build.error()) result_->key_error = t.build.error();
    VESK_RETURN_IF_ERROR(s);
  }
  return Status::Ok();
}

// One slot of file i as it stands: appended to out (the new file's bytes) unless removed; keys
// taken from a live record under its new number.
Status Rebuilder::TakeSlot(size_t i, uint32_t no, const char* slot, std::string* out,
                           uint32_t* next_no) {
  FileWork& w = work_[i];
  RebuildResult::File& r = result_->files[i];
  const uint32_t length = w.header.record_length;
  const char* record = SlotRecord(w.header, slot);
  if (SlotDeleted(w.header, slot)) {
    if (w.def->choisi && !w.moves) {
      return Status::Corruption(w.path + " : l'en-tête ne compte aucun enregistrement supprimé, " +
                                "l'enregistrement " + std::to_string(no) + " l'est");
    }
    if (w.moves) {
      ++r.removed;
      return Status::Ok();
    }
    if (w.rewrite) NewSlot(out, true, record, length);
    ++*next_no;
    return Status::Ok();
  }
  const uint32_t new_no = (*next_no)++;
  ++r.kept;
  if (w.rewrite) {
    char* copy = NewSlot(out, false, record, length);
    VESK_RETURN_IF_ERROR(Renumber(w, no, copy));
    record = copy;
  }
  if (w.def->choisi) {
    VESK_RETURN_IF_ERROR(
        Tell({RebuildEvent::Kind::kRecord, i, 0, no, new_no, w.header.last_record, w.moves}));
  }
  return AddKeys(w, record, new_no);
}

// Reads file i once: writes its new file when it is rewritten, and gathers its trees' keys.
Status Rebuilder::Scan(size_t i) {
  FileWork& w = work_[i];
  std::unique_ptr<platform::File> out;
  std::string aside;
  if (w.rewrite) {
    aside = ReplaceSet::AsidePath(w.path);
    VESK_RETURN_IF_ERROR(
        Status::FromIo(env_->OpenFile(aside, platform::OpenMode::kCreateAlways, &out)));
  }
  std::string buffer;
  uint64_t at = kDataHeaderSize;
  uint32_t next_no = 1;
  Status s = ForEachSlot(env_, w.path, w.header, [&](uint32_t no, const char* slot) {
    VESK_RETURN_IF_ERROR(TakeSlot(i, no, slot, &buffer, &next_no));
    if (buffer.size() < kChunk) return Status::Ok();
    VESK_RETURN_IF_ERROR(Status::FromIo(out->WriteAt(at, buffer)));
    at += buffer.size();
    buffer.clear();
    return Status::Ok();
  });
  VESK_RETURN_IF_ERROR(s);
  if (w.def->choisi) {
    VESK_RETURN_IF_ERROR(
        Tell({RebuildEvent::Kind::kCompacted, i, 0, 0, 0, result_->files[i].removed, w.moves}));
  }
  if (!w.rewrite) return Status::Ok();
  DataHeader h = w.header;
  h.version = kDataFormatVersion;  // a file of version 1 comes out in the current version
  h.last_record = next_no - 1;
  if (w.moves) h.deleted = 0;
  ++h.change_counter;
  char head[kDataHeaderSize];
  EncodeDataHeader(h, head);
  VESK_RETURN_IF_ERROR(Status::FromIo(out->WriteAt(at, buffer)));
  VESK_RETURN_IF_ERROR(Status::FromIo(out->WriteAt(0, std::span<const char>(head, sizeof head))));
  VESK_RETURN_IF_ERROR(Status::FromIo(out->Sync()));
  result_->files[i].rewritten = true;
  return Tell({RebuildEvent::Kind::kWritten, i, 0, 0, 0, 0, w.moves});
}

Status Rebuilder::BuildTree(size_t i, size_t t) {
  FileWork& w = work_[i];
  TreeWork& tw = w.trees[t];
  VESK_RETURN_IF_ERROR(Tell({RebuildEvent::Kind::kTree, i, t, 0, 0, tw.build.count(), w.moves}));
  VESK_RETURN_IF_ERROR(tw.build.Sort(w.moves ? &w.back : nullptr));
  const uint64_t keys = tw.build.count();
  VESK_RETURN_IF_ERROR(tw.build.Write(env_, ReplaceSet::AsidePath(tw.path), w.def->nom));
  result_->files[i].keys[t] = keys;
  return Status::Ok();
}

// The new files written aside, then put in place.
Status Rebuilder::Run() {
  Status s = Prepare();
  for (size_t i = 0; s.ok() && i < work_.size(); ++i) {
    result_->files[i].keys.assign(work_[i].def->arbres.size(), 0);
  }
  if (s.ok()) {
    s = set_.Begin(Targets(), dossier_.NonceRemplacement());
    if (s.ok()) s = RunBegun();
    result_->in_place = set_.Committed();
    if (!s.ok() && !result_->in_place) {
      // A set that cannot be abandoned keeps its record: the next user undoes it.
      Status a = set_.Abandon();
      if (!a.ok()) s = s.Then(a);
    }
    // An I/O failure now means the new files could not be written or put in place.
    result_->copy_failed = !result_->in_place && (s.code() == Status::Code::kIOError ||
                                                  s.code() == Status::Code::kNotFound);
  }
  // What the files hold refuses the rebuild (damage named, a primary key twice).
  if (s.code() == Status::Code::kCorruption || s.code() == Status::Code::kDuplicate) {
    result_->refused = true;
  }
  return s;
}

Status Rebuilder::RunBegun() {
  Status s;
  for (size_t i = 0; s.ok() && i < work_.size(); ++i) {
    if (work_[i].build_trees) s = Scan(i);
  }
  for (size_t i = 0; s.ok() && i < work_.size(); ++i) {
    for (size_t t = 0; s.ok() && t < work_[i].trees.size(); ++t) s = BuildTree(i, t);
    result_->files[i].trees_rebuilt = s.ok() && !work_[i].trees.empty();
  }
  if (s.ok()) s = set_.Commit();
  return s;
}

}  // namespace

Status Rebuild(DossierDonnees& dossier, const PlanReconstruction& plan,
               const RebuildObserver& observer, RebuildResult* result) {
  *result = RebuildResult{};
  VESK_RETURN_IF_ERROR(dossier.DebutRemplacement());
  Status s;
  {
    Rebuilder r(dossier, plan, observer, result);
    s = r.Run();
  }
  bool reste = false;
  Status e = Status::FromIo(dossier.env()->FileExists(
      platform::JoinPath(dossier.Dossier(), std::string(kReplaceName)), &reste));
  Status f = dossier.FinRemplacement(result->in_place, reste || !e.ok());
  for (const Status* then : {&e, &f}) {
    if (s.ok()) {
      s = *then;
    } else if (!then->ok()) {
      s = s.Then(*then);
    }
  }
  return s;
}

}  // namespace vesk::isam
