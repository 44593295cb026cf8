#include "srv/isam/verify.h"

#include <algorithm>
#include <map>
#include <random>
#include <utility>

#include "srv/isam/btree.h"
#include "srv/isam/btree_impl.h"
#include "srv/isam/coding.h"
#include "srv/isam/data_file.h"
#include "srv/isam/names.h"
#include "srv/isam/record_text.h"

namespace vesk::isam {

namespace {

constexpr size_t kMaxProblems = 1000;

std::string Extension(const std::string& name) {
  size_t dot = name.rfind('.');
  return dot == std::string::npos ? "" : UpperAscii(name.substr(dot));
}

std::string Stem(const std::string& name) {
  size_t dot = name.rfind('.');
  return UpperAscii(name.substr(0, dot));
}

std::string BaseName(const std::string& path) {
  size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool Exists(Env* env, const std::string& path) {
  bool e = false;
  return env->FileExists(path, &e).ok() && e;
}

// The entries (record number, key) of a tree, or the keys its records give, summed as a
// multiset: two 64-bit keyed hashes of each entry added up, and the count. The sums of a tree and
// of its records are equal when the tree holds exactly one key per live record, its record's;
// any difference (a key missing, extra, doubled, wrong or on another record) changes them, but
// with a chance of about 2^-128 for a given fault. The seeds are drawn for each check, so no file
// can be made to match them. Both sides are read in their own order: the records in the file's,
// the tree in its keys', so that a file of any size is checked in one pass over each, with no
// record read out of order.
struct EntrySum {
  uint64_t a = 0, b = 0, n = 0;
  bool operator==(const EntrySum&) const = default;
};

struct Seeds {
  uint64_t a, b;
};

uint64_t EntryHash(uint64_t seed, uint32_t no, std::string_view key) {
  uint64_t h = Mix64(seed ^ ((uint64_t{no} << 32) | key.size()));
  size_t i = 0;
  for (; i + 8 <= key.size(); i += 8) h = Mix64(h ^ Load64(key.data() + i)) + i;
  if (i < key.size()) h = Mix64(h ^ GetLe(key.data() + i, static_cast<int>(key.size() - i)) ^ 0x80);
  return Mix64(h + seed);
}

void AddEntry(const Seeds& seeds, uint32_t no, std::string_view key, EntrySum* sum) {
  sum->a += EntryHash(seeds.a, no, key);
  sum->b += EntryHash(seeds.b, no, key);
  ++sum->n;
}

// The keys a file's records give for one of its trees, summed while the file is read.
struct RecordKeys {
  const KeyToCheck* check = nullptr;
  uint16_t key_length = 0;
  EntrySum sum;
  bool summed = true;  // false when a record's key could not be built or is too long for the tree
};

// What the verifier knows of one data file.
struct DataInfo {
  std::unique_ptr<DataFile> file;
  std::string name;
  std::vector<uint8_t> deleted;  // by record number - 1
};

class Verifier {
 public:
  Verifier(Env* env, FolderReport* r, const std::vector<KeyToCheck>& keys)
      : env_(env), r_(r), keys_(keys) {}

  void Folder(const std::string& dir, const std::string& root);
  void Chain(const ChainToCheck& c);
  void File(const FileToCheck& f);
  // Problems go to sink (all of them) instead of the report; every tree holds one key per
  // live record; visit sees each live record.
  void Alone(const std::function<void(const FileProblem&)>& sink,
             std::function<void(uint32_t, std::string_view)> visit) {
    sink_ = sink;
    visit_ = std::move(visit);
    strict_ = true;
  }
  // Reads the data file at path (its problems reported) before a chaining is checked.
  void Load(const std::string& path) { Data(path); }

 private:
  void Problem(const std::string& p, std::string_view kind = kKindFile, uint32_t no = 0) {
    if (sink_) {
      sink_({std::string(kind), no, p});
    } else if (r_->problems.size() < kMaxProblems) {
      r_->problems.push_back(p);
    } else if (r_->problems.size() == kMaxProblems) {
      r_->problems.push_back("... (les problèmes suivants ne sont pas listés)");
    }
  }
  DataInfo* Data(const std::string& path);
  void ScanData(DataInfo& d);
  void Tree(const std::string& path, const std::string& dir, const std::string& root);
  std::unique_ptr<BTree> OpenTree(const std::string& path, const std::string& name, BTreeHeader* h);
  uint32_t Pointer(DataInfo& d, uint32_t no, uint32_t at, const std::string& what);
  void ChainOfHeader(const ChainToCheck& c, DataInfo& e, DataInfo& l, uint32_t h,
                     const std::string& what, std::vector<uint32_t>& owner);
  void Entries(BTree& tree, const std::string& name, char nature, DataInfo& d,
               const KeyToCheck* check);
  std::vector<RecordKeys> KeysToSum(const FileToCheck& f);
  void SumKeys(uint32_t no, std::string_view record);
  bool TreeMatches(BTree& tree, const RecordKeys& keys);

  Env* env_;
  FolderReport* r_;
  const std::vector<KeyToCheck>& keys_;
  std::map<std::string, std::unique_ptr<DataInfo>> data_;
  std::function<void(const FileProblem&)> sink_;
  std::function<void(uint32_t, std::string_view)> visit_;
  bool strict_ = false;
  uint32_t length_ = 0;  // the record length asked of the data files (0: theirs)
  std::vector<RecordKeys>* sums_ = nullptr;  // the trees whose keys the file's reading sums
  std::string key_;                          // a record's key being summed
  Seeds seeds_{};
};

DataInfo* Verifier::Data(const std::string& path) {
  auto it = data_.find(path);
  if (it != data_.end()) return it->second.get();
  auto d = std::make_unique<DataInfo>();
  d->name = BaseName(path);
  DataFile::Options options;
  options.read_only = true;
  Status s = DataFile::Open(env_, path, length_, options, &d->file);
  DataInfo* out = nullptr;
  if (!s.ok()) {
    Problem(d->name + " : " + s.message());
  } else {
    ++r_->files;
    ScanData(*d);
    out = d.get();
  }
  if (!s.ok()) d.reset();
  data_[path] = std::move(d);
  return out;
}

void Verifier::ScanData(DataInfo& d) {
  DataFile& f = *d.file;
  uint32_t last = f.LastRecord();
  d.deleted.assign(last, 0);
  std::string rec(f.RecordLength(), '\0');
  uint32_t deleted = 0;
  for (uint32_t no = 1; no <= last; ++no) {
    Status s = f.Read(no, rec);
    if (!s.ok()) {
      Problem(d.name + " : " + s.message());
      return;
    }
    bool supprime = false;
    s = f.IsDeleted(no, &supprime);
    if (!s.ok()) {
      Problem(d.name + " : " + s.message());
      return;
    }
    if (supprime) {
      d.deleted[no - 1] = 1;
      ++deleted;
    } else if (f.Header().version < 2 &&
               std::all_of(rec.begin(), rec.end(), [](char c) { return c == 0; })) {
      Problem(d.name + " : l'enregistrement " + std::to_string(no) +
                  " est fait de caractères de code 0 avant la fin des données",
              kKindFile, no);
    } else {
      if (visit_) visit_(no, rec);
      if (sums_ != nullptr) SumKeys(no, rec);
    }
  }
  if (deleted != f.Deleted()) {
    Problem(d.name + " : " + std::to_string(deleted) + " enregistrements marqués supprimés, " +
            std::to_string(f.Deleted()) + " comptés dans l'en-tête");
  }
  // The whole file is checked against its header: a tail longer than growth ahead is damage by
  // its length (never read: it may be terabytes of holes), a shorter one must be zeros.
  bool zero = true;
  Status s = f.TailIsZero(&zero);
  if (!s.ok()) {
    Problem(d.name + " : " + s.message());
  } else if (f.TailBytes() > kMaxTail) {
    Problem(d.name + " : " + std::to_string(f.TailBytes()) +
            " octets au-delà du dernier enregistrement (" + std::to_string(last) +
            "), plus que les " + std::to_string(kMaxTail) + " octets de zéros admis");
  } else if (!zero) {
    Problem(d.name + " : données au-delà du dernier enregistrement (" + std::to_string(last) + ")");
  }
  r_->records += last - deleted;
  r_->deleted += deleted;
}

// Opens the tree at path and checks its own invariants; null when it cannot be read.
std::unique_ptr<BTree> Verifier::OpenTree(const std::string& path, const std::string& name,
                                          BTreeHeader* h) {
  std::unique_ptr<BTree> tree;
  Status s = BTree::OpenAsMade(env_, path, BTreeOptions{}, &tree);
  if (!s.ok()) {
    Problem(name + " : " + s.message(), kKindTree);
    return nullptr;
  }
  ++r_->trees;
  std::vector<std::string> problems;
  s = tree->Verify(&problems);
  if (!s.ok()) problems.push_back(s.message());
  for (const std::string& p : problems) Problem(name + " : " + p, kKindTree);
  s = tree->Header(h);
  if (!s.ok()) {
    Problem(name + " : " + s.message(), kKindTree);
    return nullptr;
  }
  r_->keys += h->keys;
  return tree;
}

void Verifier::Tree(const std::string& path, const std::string& dir, const std::string& root) {
  std::string name = BaseName(path);
  BTreeHeader h;
  std::unique_ptr<BTree> tree = OpenTree(path, name, &h);
  if (tree == nullptr) return;
  std::string data_name = h.indexed_file.empty() ? Stem(name) : UpperAscii(h.indexed_file);
  std::string data_path = platform::JoinPath(dir, data_name + ".DAT");
  if (!Exists(env_, data_path) && dir != root)
    data_path = platform::JoinPath(root, data_name + ".DAT");
  if (!Exists(env_, data_path)) {
    if (!h.indexed_file.empty()) Problem(name + " : fichier indexé " + data_name + ".DAT absent");
    return;
  }
  const KeyToCheck* check = nullptr;
  for (const KeyToCheck& c : keys_) {
    if (c.tree == path) check = &c;
  }
  if (DataInfo* d = Data(data_path)) Entries(*tree, name, h.nature, *d, check);
}

void Verifier::Entries(BTree& tree, const std::string& name, char nature, DataInfo& d,
                       const KeyToCheck* check) {
  // A primary tree, and every tree of a file checked alone, holds one key per live record.
  EntryCheck entries(name, d.name, d.deleted, nature == 'P' || strict_, check,
                     [this](const FileProblem& p) { Problem(p.text, p.kind, p.record); });
  Status s = tree.ForEach([&](std::string_view key, uint32_t no) {
    entries.Entry(key, no, [&](std::string* record) {
      record->resize(d.file->RecordLength());
      return d.file->Read(no, *record);
    });
    return true;
  });
  if (!s.ok()) Problem(name + " : " + s.message(), kKindTree);
  entries.End();
}

void Verifier::Folder(const std::string& dir, const std::string& root) {
  std::vector<std::string> names;
  Status s = Status::FromIo(env_->ListDirectory(dir, &names));
  if (!s.ok()) {
    Problem(dir + " : " + s.message());
    return;
  }
  for (const std::string& n : names) {
    if (Extension(n) == ".DAT") Data(platform::JoinPath(dir, n));
  }
  for (const std::string& n : names) {
    if (Extension(n) == ".DAB") Tree(platform::JoinPath(dir, n), dir, root);
  }
}

void Verifier::Chain(const ChainToCheck& c) {
  DataInfo* e = Exists(env_, c.header) ? Data(c.header) : nullptr;
  DataInfo* l = Exists(env_, c.line) ? Data(c.line) : nullptr;
  const std::string what = "chaînage " + BaseName(c.line) + " sous " + BaseName(c.header);
  if (e == nullptr || l == nullptr) {
    Problem(what + " : fichier absent ou illisible");
    return;
  }
  uint32_t le = e->file->RecordLength(), ll = l->file->RecordLength();
  if (std::max(c.first, c.last) + 3 > le || std::max(c.previous, c.next) + 3 > ll) {
    Problem(what + " : position de pointeur hors de l'enregistrement");
    return;
  }
  std::vector<uint32_t> owner(l->deleted.size(), 0);
  for (uint32_t h = 1; h <= e->deleted.size(); ++h) {
    if (!e->deleted[h - 1]) ChainOfHeader(c, *e, *l, h, what, owner);
  }
  for (size_t i = 0; i < owner.size(); ++i) {
    if (!l->deleted[i] && owner[i] == 0) {
      Problem(what + " : la ligne " + std::to_string(i + 1) + " n'est chaînée sous aucun en-tête");
    }
  }
}

// The trees of f whose keys are summed while the file is read: each that opens, with its key
// length (a tree that does not is left to the exact walk, which says why).
std::vector<RecordKeys> Verifier::KeysToSum(const FileToCheck& f) {
  std::random_device random;
  seeds_ = {(uint64_t{random()} << 32) ^ random(), (uint64_t{random()} << 32) ^ random()};
  std::vector<RecordKeys> sums(f.trees.size());
  for (size_t i = 0; i < f.trees.size(); ++i) {
    sums[i].check = &f.trees[i];
    std::unique_ptr<BTree> tree;
    BTreeHeader h;
    sums[i].summed = Exists(env_, f.trees[i].tree) &&
                     BTree::OpenAsMade(env_, f.trees[i].tree, BTreeOptions{}, &tree).ok() &&
                     tree->Header(&h).ok();
    sums[i].key_length = h.key_length;
  }
  return sums;
}

void Verifier::SumKeys(uint32_t no, std::string_view record) {
  for (RecordKeys& k : *sums_) {
    if (!k.summed) continue;
    if (!k.check->make_key(record, &key_).ok() || key_.size() > k.key_length) {
      k.summed = false;  // the exact walk reports it against the tree's entry
      continue;
    }
    key_.resize(k.key_length, ' ');
    AddEntry(seeds_, no, key_, &k.sum);
  }
}

// Whether the tree's entries are exactly the keys its file's records gave.
bool Verifier::TreeMatches(BTree& tree, const RecordKeys& keys) {
  if (!keys.summed) return false;
  EntrySum sum;
  Status s = tree.ForEach([&](std::string_view key, uint32_t no) {
    AddEntry(seeds_, no, key, &sum);
    return true;
  });
  return s.ok() && sum == keys.sum;
}

// Each tree is first compared with its records as two sums (one pass over each, in its own
// order); only a tree whose sums differ is walked again entry by entry, each entry's record
// read to say what is wrong.
void Verifier::File(const FileToCheck& f) {
  length_ = f.record_length;
  std::vector<RecordKeys> sums = KeysToSum(f);
  sums_ = &sums;
  DataInfo* d = Data(f.data);
  sums_ = nullptr;
  if (d == nullptr) return;
  for (size_t i = 0; i < f.trees.size(); ++i) {
    const KeyToCheck& c = f.trees[i];
    const std::string name = BaseName(c.tree);
    if (!Exists(env_, c.tree)) {
      if (r_->records > 0) {
        Problem(name + " : B-arbre absent, " + d->name + " a des enregistrements en service",
                kKindTree);
      }
      continue;
    }
    BTreeHeader h;
    std::unique_ptr<BTree> tree = OpenTree(c.tree, name, &h);
    if (tree == nullptr) continue;
    if (!h.indexed_file.empty() && UpperAscii(h.indexed_file) != Stem(d->name)) {
      Problem(name + " : indexe " + UpperAscii(h.indexed_file) + ".DAT, pas " + d->name, kKindTree);
      continue;
    }
    if (!TreeMatches(*tree, sums[i])) Entries(*tree, name, h.nature, *d, &c);
  }
}

uint32_t Verifier::Pointer(DataInfo& d, uint32_t no, uint32_t at, const std::string& what) {
  char p[3] = {};
  Status s = d.file->ReadPart(no, at, p);
  if (!s.ok()) Problem(what + " : " + s.message());
  return DecodePointer(p);
}

// The lines chained under header h: each live, chained once, its backward pointer on the line
// before it, the header's last-line pointer on the last. owner receives each line's header.
void Verifier::ChainOfHeader(const ChainToCheck& c, DataInfo& e, DataInfo& l, uint32_t h,
                             const std::string& what, std::vector<uint32_t>& owner) {
  const std::string head = what + ", en-tête " + std::to_string(h);
  uint32_t prev = 0;
  for (uint32_t no = Pointer(e, h, c.first, what); no != 0; no = Pointer(l, no, c.next, what)) {
    if (no > owner.size() || l.deleted[no - 1] || owner[no - 1] != 0) {
      Problem(head + " : la ligne " + std::to_string(no) +
              (no > owner.size() ? " est au-delà de la fin du fichier"
               : l.deleted[no - 1]
                   ? " est supprimée"
                   : " est déjà chaînée (sous l'en-tête " + std::to_string(owner[no - 1]) + ")"));
      return;  // the walk stops; no second report for the end
    }
    owner[no - 1] = h;
    ++r_->chained_lines;
    if (Pointer(l, no, c.previous, what) != prev) {
      Problem(head + " : le pointeur arrière de la ligne " + std::to_string(no) +
              " ne désigne pas " + std::to_string(prev));
    }
    prev = no;
  }
  if (Pointer(e, h, c.last, what) != prev) {
    Problem(head + " : le pointeur de dernière ligne ne désigne pas " + std::to_string(prev));
  }
}

}  // namespace

EntryCheck::EntryCheck(std::string tree, std::string data, const std::vector<uint8_t>& deleted,
                       bool one_per_record, const KeyToCheck* check,
                       std::function<void(const FileProblem&)> problem)
    : tree_(std::move(tree)),
      data_(std::move(data)),
      deleted_(deleted),
      one_(one_per_record),
      check_(check),
      problem_(std::move(problem)),
      seen_(deleted.size(), 0) {}

void EntryCheck::Entry(std::string_view key, uint32_t no,
                       const std::function<Status(std::string*)>& record) {
  const std::string n = std::to_string(no);
  if (no < 1 || no > deleted_.size()) {
    problem_(
        {std::string(kKindOrphanKey), no,
         tree_ + " : une clé renvoie à l'enregistrement " + n + ", au-delà de la fin de " + data_});
  } else if (deleted_[no - 1] == kNoRecord) {
    problem_({std::string(kKindOrphanKey), no,
              tree_ + " : une clé renvoie à l'enregistrement " + n + ", absent de " + data_});
  } else if (deleted_[no - 1]) {
    problem_({std::string(kKindOrphanKey), no,
              tree_ + " : une clé renvoie à l'enregistrement supprimé " + n + " de " + data_});
  } else if (one_ && seen_[no - 1]++) {
    problem_({std::string(kKindManyKeys), no,
              tree_ + " : l'enregistrement " + n + " de " + data_ + " a plusieurs clés"});
  } else if (check_ != nullptr) {
    KeyOf(key, no, record);
  }
}

// The key of record no must be what check builds from its bytes, padded with spaces.
void EntryCheck::KeyOf(std::string_view key, uint32_t no,
                       const std::function<Status(std::string*)>& read) {
  Status s = read(&record_);
  if (s.ok()) s = check_->make_key(record_, &expected_);
  if (!s.ok()) {
    problem_({std::string(kKindWrongKey), no,
              tree_ + " : clé de l'enregistrement " + std::to_string(no) + " de " + data_ + " : " +
                  s.message()});
    return;
  }
  if (expected_.size() < key.size()) expected_.resize(key.size(), ' ');
  if (expected_ == key) return;
  std::string shown, want;
  DecodeBytes(key, &shown);
  DecodeBytes(expected_, &want);
  problem_({std::string(kKindWrongKey), no,
            tree_ + " : la clé « " + shown + " » de l'enregistrement " + std::to_string(no) +
                " de " + data_ + " n'est pas celle de l'enregistrement (« " + want + " »)"});
}

void EntryCheck::End() {
  if (!one_) return;
  for (size_t i = 0; i < seen_.size(); ++i) {
    if (!deleted_[i] && !seen_[i]) {
      problem_({std::string(kKindNoKey), static_cast<uint32_t>(i + 1),
                tree_ + " : l'enregistrement " + std::to_string(i + 1) + " de " + data_ +
                    " n'a pas de clé"});
    }
  }
}

std::vector<std::string> CompanyFolders(Env* env, const std::string& dir) {
  std::vector<std::string> names, out;
  if (!env->ListDirectory(dir, &names).ok()) return out;
  for (const std::string& n : names) {
    if (n.find('.') != std::string::npos || !CheckName(n, "entreprise").ok()) continue;
    std::vector<std::string> inside;
    std::string path = platform::JoinPath(dir, n);
    if (env->ListDirectory(path, &inside).ok()) out.push_back(path);
  }
  return out;
}

Status VerifyFolder(Env* env, const std::string& dir, const std::vector<ChainToCheck>& chains,
                    FolderReport* report, const std::vector<KeyToCheck>& keys) {
  std::vector<std::string> names;
  VESK_RETURN_IF_ERROR(Status::FromIo(env->ListDirectory(dir, &names)));
  Verifier v(env, report, keys);
  v.Folder(dir, dir);
  for (const std::string& sub : CompanyFolders(env, dir)) v.Folder(sub, dir);
  for (const ChainToCheck& c : chains) v.Chain(c);
  return Status::Ok();
}

Status VerifyFile(Env* env, const FileToCheck& f,
                  const std::function<void(const FileProblem&)>& problem, FileTally* tally) {
  FolderReport r;
  Verifier v(env, &r, f.trees);
  v.Alone(problem, f.on_record);
  v.File(f);
  *tally = {r.records, r.deleted, r.keys};
  return Status::Ok();
}

Status VerifyChain(Env* env, const ChainToCheck& chain, std::vector<std::string>* problems) {
  FolderReport r;
  Verifier v(env, &r, {});
  v.Load(chain.header);
  v.Load(chain.line);
  const size_t before = r.problems.size();
  v.Chain(chain);
  problems->assign(r.problems.begin() + static_cast<std::ptrdiff_t>(before), r.problems.end());
  return Status::Ok();
}

std::string ChainRefusal(const std::vector<std::string>& problems) {
  std::string refusal = problems.front();
  if (problems.size() > 1) {
    refusal += " (et " + std::to_string(problems.size() - 1) + " autre(s) problème(s))";
  }
  return refusal +
         " : les lignes ne peuvent être renumérotées sans être perdues ; rien n'est écrit";
}

std::vector<ChainToCheck> DeclaredChains(DossierDonnees& d) {
  std::vector<ChainToCheck> out;
  for (const ChainageOuvert& c : d.Chainages()) {
    FichierOuvert* e = d.Fichier(c.entete);
    FichierOuvert* l = d.Fichier(c.ligne);
    if (e == nullptr || l == nullptr) continue;
    out.push_back(
        {e->fichier->Path(), l->fichier->Path(), c.premiere, c.derniere, c.precedente, c.suivante});
  }
  return out;
}

}  // namespace vesk::isam
