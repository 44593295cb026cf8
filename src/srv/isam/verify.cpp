#include "srv/isam/verify.h"

#include <algorithm>
#include <map>

#include "srv/isam/btree.h"
#include "srv/isam/btree_impl.h"
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

// What the verifier knows of one data file.
struct DataInfo {
  std::unique_ptr<DataFile> file;
  std::string name;
  std::vector<uint8_t> deleted;  // by record number - 1
};

class Verifier {
 public:
  Verifier(Env* env, VerifyReport* r) : env_(env), r_(r) {}

  void Folder(const std::string& dir, const std::string& root);
  void Chain(const ChainToCheck& c);

 private:
  void Problem(const std::string& p) {
    if (r_->problems.size() < kMaxProblems) {
      r_->problems.push_back(p);
    } else if (r_->problems.size() == kMaxProblems) {
      r_->problems.push_back("... (les problèmes suivants ne sont pas listés)");
    }
  }
  DataInfo* Data(const std::string& path);
  void ScanData(DataInfo& d);
  void Tree(const std::string& path, const std::string& dir, const std::string& root);
  uint32_t Pointer(DataInfo& d, uint32_t no, uint32_t at, const std::string& what);
  void ChainOfHeader(const ChainToCheck& c, DataInfo& e, DataInfo& l, uint32_t h,
                     const std::string& what, std::vector<uint32_t>& owner);
  void Entries(BTree& tree, const std::string& name, char nature, DataInfo& d);

  Env* env_;
  VerifyReport* r_;
  std::map<std::string, std::unique_ptr<DataInfo>> data_;
};

DataInfo* Verifier::Data(const std::string& path) {
  auto it = data_.find(path);
  if (it != data_.end()) return it->second.get();
  auto d = std::make_unique<DataInfo>();
  d->name = BaseName(path);
  DataFile::Options options;
  options.read_only = true;
  Status s = DataFile::Open(env_, path, 0, options, &d->file);
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
              " est fait de caractères de code 0 avant la fin des données");
    }
  }
  if (deleted != f.Deleted()) {
    Problem(d.name + " : " + std::to_string(deleted) + " enregistrements marqués supprimés, " +
            std::to_string(f.Deleted()) + " comptés dans l'en-tête");
  }
  bool zero = true;
  Status s = f.TailIsZero(&zero);
  if (!s.ok() || !zero) {
    Problem(d.name + " : " +
            (s.ok() ? "données au-delà du dernier enregistrement (" + std::to_string(last) + ")"
                    : s.message()));
  }
  r_->records += last - deleted;
  r_->deleted += deleted;
}

void Verifier::Tree(const std::string& path, const std::string& dir, const std::string& root) {
  std::string name = BaseName(path);
  std::unique_ptr<BTree> tree;
  Status s = BTree::OpenAsMade(env_, path, BTreeOptions{}, &tree);
  if (!s.ok()) {
    Problem(name + " : " + s.message());
    return;
  }
  ++r_->trees;
  std::vector<std::string> problems;
  s = tree->Verify(&problems);
  if (!s.ok()) problems.push_back(s.message());
  for (const std::string& p : problems) Problem(name + " : " + p);
  BTreeHeader h;
  s = tree->Header(&h);
  if (!s.ok()) {
    Problem(name + " : " + s.message());
    return;
  }
  r_->keys += h.keys;
  std::string data_name = h.indexed_file.empty() ? Stem(name) : UpperAscii(h.indexed_file);
  std::string data_path = platform::JoinPath(dir, data_name + ".DAT");
  if (!Exists(env_, data_path) && dir != root)
    data_path = platform::JoinPath(root, data_name + ".DAT");
  if (!Exists(env_, data_path)) {
    if (!h.indexed_file.empty()) Problem(name + " : fichier indexé " + data_name + ".DAT absent");
    return;
  }
  if (DataInfo* d = Data(data_path)) Entries(*tree, name, h.nature, *d);
}

void Verifier::Entries(BTree& tree, const std::string& name, char nature, DataInfo& d) {
  std::vector<uint8_t> seen(d.deleted.size(), 0);
  Status s = tree.ForEach([&](std::string_view, uint32_t no) {
    if (no < 1 || no > d.deleted.size()) {
      Problem(name + " : une clé renvoie à l'enregistrement " + std::to_string(no) +
              ", au-delà de la fin de " + d.name);
    } else if (d.deleted[no - 1]) {
      Problem(name + " : une clé renvoie à l'enregistrement supprimé " + std::to_string(no) +
              " de " + d.name);
    } else if (nature == 'P' && seen[no - 1]++) {
      Problem(name + " : l'enregistrement " + std::to_string(no) + " de " + d.name +
              " a plusieurs clés");
    }
    return true;
  });
  if (!s.ok()) Problem(name + " : " + s.message());
  if (nature != 'P') return;
  for (size_t i = 0; i < seen.size(); ++i) {
    if (!d.deleted[i] && !seen[i]) {
      Problem(name + " : l'enregistrement " + std::to_string(i + 1) + " de " + d.name +
              " n'a pas de clé");
    }
  }
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

std::vector<std::string> SubFolders(Env* env, const std::string& folder) {
  std::vector<std::string> names, out;
  if (!env->ListDirectory(folder, &names).ok()) return out;
  for (const std::string& n : names) {
    if (n.find('.') != std::string::npos || !CheckName(n, "entreprise").ok()) continue;
    std::vector<std::string> inside;
    std::string path = platform::JoinPath(folder, n);
    if (env->ListDirectory(path, &inside).ok()) out.push_back(path);
  }
  return out;
}

Status VerifyFolder(Env* env, const std::string& folder, const std::vector<ChainToCheck>& chains,
                    VerifyReport* report) {
  std::vector<std::string> names;
  VESK_RETURN_IF_ERROR(Status::FromIo(env->ListDirectory(folder, &names)));
  Verifier v(env, report);
  v.Folder(folder, folder);
  for (const std::string& sub : SubFolders(env, folder)) v.Folder(sub, folder);
  for (const ChainToCheck& c : chains) v.Chain(c);
  return Status::Ok();
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

namespace {

// The number written in decimal in bytes (spaces around it allowed), 0 when it is not one.
uint32_t Decimal(std::string_view bytes) {
  uint32_t v = 0;
  bool digit = false;
  for (char c : bytes) {
    if (c == ' ') continue;
    if (c < '0' || c > '9' || v > 100000) return 0;
    v = v * 10 + static_cast<uint32_t>(c - '0');
    digit = true;
  }
  return digit ? v : 0;
}

std::string Trimmed(std::string_view s) {
  size_t end = s.find_last_not_of(' ');
  return std::string(end == std::string_view::npos ? "" : s.substr(0, end + 1));
}

// The bytes of a field of a record.
std::string_view Field(std::string_view record, const TrancheChamp& t) {
  return record.substr(static_cast<size_t>(t.position - 1), static_cast<size_t>(t.largeur));
}

// The 0-based offset of a pointer at a 1-based position (0 stays 0: no position).
uint32_t Offset(int64_t position) { return position > 0 ? static_cast<uint32_t>(position - 1) : 0; }

// The shortest record that holds every field of a chaining record.
uint32_t ChainRecordLength(const DispositionChainages& layout) {
  uint32_t length = 0;
  for (const TrancheChamp& t :
       {layout.chainl, layout.pnea, layout.pnes, layout.chaine, layout.ppe, layout.pde}) {
    length = std::max(length, static_cast<uint32_t>(t.position - 1 + t.largeur));
  }
  return length;
}

// A record of the file of chainings: its line and header files (upper case) and the 0-based
// offsets of its pointers (first, last, previous, next). False when it describes no chaining
// (a bad name or a position missing).
bool DescribedChain(std::string_view r, const DispositionChainages& layout, std::string* lines,
                    std::string* head, uint32_t offsets[4]) {
  *lines = UpperAscii(Trimmed(Field(r, layout.chainl)));
  *head = UpperAscii(Trimmed(Field(r, layout.chaine)));
  const uint32_t pos[4] = {Decimal(Field(r, layout.ppe)), Decimal(Field(r, layout.pde)),
                           Decimal(Field(r, layout.pnea)), Decimal(Field(r, layout.pnes))};
  if (!CheckName(*lines, "fichier").ok() || !CheckName(*head, "fichier").ok() ||
      std::find(std::begin(pos), std::end(pos), 0u) != std::end(pos)) {
    return false;
  }
  for (int i = 0; i < 4; ++i) offsets[i] = pos[i] - 1;
  return true;
}

}  // namespace

Status DictionaryChains(Env* env, const std::string& folder,
                        const std::vector<std::string>& subfolders,
                        const DispositionChainages& layout, std::vector<ChainToCheck>* chains,
                        VerifyReport* report) {
  const PositionsChainage& own = layout.propre;
  std::string header = platform::JoinPath(folder, UpperAscii(layout.entete) + ".DAT");
  std::string line = platform::JoinPath(folder, UpperAscii(layout.ligne) + ".DAT");
  if (Exists(env, header) && Exists(env, line)) {
    chains->push_back({header, line, Offset(own.premiere), Offset(own.derniere),
                       Offset(own.precedente), Offset(own.suivante)});
  }
  const std::string name = UpperAscii(layout.fichier) + ".DAT";
  std::string chain = platform::JoinPath(folder, name);
  if (!Exists(env, chain)) return Status::Ok();
  std::unique_ptr<DataFile> f;
  DataFile::Options options;
  options.read_only = true;
  VESK_RETURN_IF_ERROR(DataFile::Open(env, chain, 0, options, &f));
  if (f->RecordLength() < ChainRecordLength(layout)) {
    return Status::Corruption(chain + " : enregistrements trop courts");
  }
  std::string rec(f->RecordLength(), '\0');
  std::vector<std::string> folders = {folder};
  folders.insert(folders.end(), subfolders.begin(), subfolders.end());
  for (uint32_t no = 1; no <= f->LastRecord(); ++no) {
    VESK_RETURN_IF_ERROR(f->Read(no, rec));
    bool deleted = false;
    VESK_RETURN_IF_ERROR(f->IsDeleted(no, &deleted));
    if (deleted) continue;
    std::string lines, head;
    uint32_t pos[4];
    if (!DescribedChain(rec, layout, &lines, &head, pos)) {
      report->problems.push_back(name + " : l'enregistrement " + std::to_string(no) +
                                 " ne décrit pas un chaînage");
      continue;
    }
    for (const std::string& dir : folders) {
      std::string e = platform::JoinPath(dir, head + ".DAT");
      std::string l = platform::JoinPath(dir, lines + ".DAT");
      if (!Exists(env, e)) e = platform::JoinPath(folder, head + ".DAT");
      if (Exists(env, l) && Exists(env, e)) {
        chains->push_back({e, l, pos[0], pos[1], pos[2], pos[3]});
      }
    }
  }
  return Status::Ok();
}

}  // namespace vesk::isam
