// B-tree file: opening and creating, the header in node 0, checked node access and the
// free-node list.
#include <algorithm>

#include "srv/isam/btree_impl.h"

namespace vesk::isam {

namespace btree {

namespace {

// CRC-32 (reflected 0xEDB88320), eight bytes a step through eight tables.
using CrcTables = std::array<std::array<uint32_t, 256>, 8>;

const CrcTables& Tables() {
  static const CrcTables tables = [] {
    CrcTables t{};
    for (uint32_t i = 0; i < 256; ++i) {
      uint32_t c = i;
      for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
      t[0][i] = c;
    }
    for (uint32_t i = 0; i < 256; ++i) {
      for (int k = 1; k < 8; ++k) t[k][i] = (t[k - 1][i] >> 8) ^ t[0][t[k - 1][i] & 0xFF];
    }
    return t;
  }();
  return tables;
}

uint32_t CrcRun(uint32_t crc, const char* data, size_t n) {
  const CrcTables& t = Tables();
  auto byte = [data](size_t i) {
    return static_cast<uint32_t>(static_cast<unsigned char>(data[i]));
  };
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    uint32_t lo = crc ^ (byte(i) | byte(i + 1) << 8 | byte(i + 2) << 16 | byte(i + 3) << 24);
    uint32_t hi = byte(i + 4) | byte(i + 5) << 8 | byte(i + 6) << 16 | byte(i + 7) << 24;
    crc = t[7][lo & 0xFF] ^ t[6][(lo >> 8) & 0xFF] ^ t[5][(lo >> 16) & 0xFF] ^ t[4][lo >> 24] ^
          t[3][hi & 0xFF] ^ t[2][(hi >> 8) & 0xFF] ^ t[1][(hi >> 16) & 0xFF] ^ t[0][hi >> 24];
  }
  for (; i < n; ++i) crc = t[0][(crc ^ byte(i)) & 0xFF] ^ (crc >> 8);
  return crc;
}

}  // namespace

uint32_t Crc32(const char* data, size_t n) { return CrcRun(0xFFFFFFFFu, data, n) ^ 0xFFFFFFFFu; }

// CRC-32 of a node without its checksum field; never 0 (0 stored means "not computed").
uint32_t NodeChecksum(const char* n, size_t node_len) {
  uint32_t crc = CrcRun(0xFFFFFFFFu, n, node::kChecksumAt);
  crc = CrcRun(crc, n + node::kLinkAt, node_len - node::kLinkAt) ^ 0xFFFFFFFFu;
  return crc == 0 ? 0xFFFFFFFFu : crc;
}

uint32_t NodeLengthFor(uint16_t key_length) {
  uint32_t len = 4096;
  while ((len - node::kHeader) / (key_length + 4u) < kMinEntries ||
         (len - node::kHeader) / (key_length + 8u) < kMinEntries) {
    len *= 2;
  }
  return len;
}

}  // namespace btree

using namespace btree;  // NOLINT: the file's own layout names

namespace {

std::string Quote(char c) { return std::string("'") + c + "'"; }

// Key length, nature, node length and orders (leaf_order and inner_order 0: what a node holds).
void SetGeometry(BTree::Impl& m, uint16_t key_len, char nature, uint32_t leaf_order,
                 uint32_t inner_order) {
  m.key_len = key_len;
  m.nature = nature;
  m.by_record = nature == 'S';
  m.node_len = NodeLengthFor(key_len);
  m.leaf_stride = key_len + 4u;
  m.inner_stride = key_len + 8u;
  m.leaf_cap = (m.node_len - node::kHeader) / m.leaf_stride;
  m.inner_cap = (m.node_len - node::kHeader) / m.inner_stride;
  if (leaf_order != 0) m.leaf_cap = leaf_order;
  if (inner_order != 0) m.inner_cap = inner_order;
  m.leaf_min = m.leaf_cap / 2;
  m.inner_min = m.inner_cap / 2;
  m.scratch.assign(2 * size_t{m.node_len}, '\0');
  m.carry.assign(m.inner_stride, '\0');
}

}  // namespace

Status BTree::Impl::Corrupt(const std::string& what) const {
  return Status::Corruption("B-arbre " + path + " endommagé : " + what);
}

Status BTree::Impl::CheckKey(std::string_view key, uint32_t record) const {
  if (key.size() != key_len) {
    return Status::InvalidArgument("B-arbre " + path + " : clé de " + std::to_string(key.size()) +
                                   " octets, la longueur de clé est " + std::to_string(key_len));
  }
  if (record == 0) {
    return Status::InvalidArgument("B-arbre " + path + " : numéro d'enregistrement 0 refusé");
  }
  return Status::Ok();
}

Status BTree::Impl::CheckWritable() const {
  if (pager->Failed()) {
    return Status::IOError("écriture refusée : une écriture précédente a échoué : " + path);
  }
  return Status::Ok();
}

Status BTree::Impl::ReadNode(uint32_t no, uint32_t level, const char** out) {
  if (no == 0 || no > allocated) {
    return Corrupt("numéro de noeud " + std::to_string(no) + " hors limites (1 à " +
                   std::to_string(allocated) + ")");
  }
  const char* n = nullptr;
  VESK_RETURN_IF_ERROR(pager->BlockForRead(no, &n));
  char want = level == 0 ? kLeaf : kInner;
  if (Kind(n) != want) {
    return Corrupt("noeud " + std::to_string(no) + " : nature " + Quote(Kind(n)) + " au lieu de " +
                   Quote(want));
  }
  if (static_cast<unsigned char>(n[node::kLevelAt]) != level) {
    return Corrupt("noeud " + std::to_string(no) + " : niveau " +
                   std::to_string(static_cast<unsigned char>(n[node::kLevelAt])) + " au lieu de " +
                   std::to_string(level));
  }
  if (Count(n) > Cap(level)) {
    return Corrupt("noeud " + std::to_string(no) + " : nombre d'entrées " +
                   std::to_string(Count(n)) + " hors limites (au plus " +
                   std::to_string(Cap(level)) + ")");
  }
  *out = n;
  return Status::Ok();
}

Status BTree::Impl::WriteNode(uint32_t no, char** out) { return pager->BlockForWrite(no, out); }

Status BTree::Impl::ShiftEntries(uint32_t no, uint32_t pos, uint32_t count, bool insert,
                                 char** out) {
  VESK_RETURN_IF_ERROR(pager->RangeForWrite(no, node::kCountAt, node::kCountAt + 2, out));
  auto at = [this](uint32_t i) { return static_cast<uint32_t>(node::kHeader + i * leaf_stride); };
  const int32_t stride = static_cast<int32_t>(leaf_stride);
  if (insert) return pager->ShiftForWrite(no, at(pos), at(count), stride, out);
  return pager->ShiftForWrite(no, at(pos + 1), at(count), -stride, out);
}

Status BTree::Impl::CheckAllocations(uint32_t k) {
  uint32_t no = free_head;
  for (uint32_t i = 0; i < k && no != 0; ++i) {
    if (no > allocated) {
      return Corrupt("liste des noeuds libres : noeud " + std::to_string(no) + " hors limites");
    }
    const char* n = nullptr;
    VESK_RETURN_IF_ERROR(pager->BlockForRead(no, &n));
    if (Kind(n) != kFree) {
      return Corrupt("liste des noeuds libres : le noeud " + std::to_string(no) +
                     " n'est pas libre (nature " + Quote(Kind(n)) + ")");
    }
    no = Link(n);
  }
  return Status::Ok();
}

Status BTree::Impl::AllocNode(char kind, uint32_t level, uint32_t* no, char** out) {
  char* n = nullptr;
  if (free_head != 0) {
    VESK_RETURN_IF_ERROR(WriteNode(free_head, &n));
    *no = free_head;
    free_head = Link(n);
    --free_count;
  } else {
    VESK_RETURN_IF_ERROR(WriteNode(allocated + 1, &n));
    *no = ++allocated;
  }
  std::memset(n, 0, node_len);
  n[node::kKindAt] = kind;
  n[node::kLevelAt] = static_cast<char>(level);
  ++nodes;
  *out = n;
  return Status::Ok();
}

Status BTree::Impl::FreeNode(uint32_t no) {
  char* n = nullptr;
  VESK_RETURN_IF_ERROR(WriteNode(no, &n));
  std::memset(n, 0, node_len);
  n[node::kKindAt] = kFree;
  SetLink(n, free_head);
  free_head = no;
  ++free_count;
  --nodes;
  return Status::Ok();
}

Status BTree::Impl::StoreHeader() {
  char* h = nullptr;
  VESK_RETURN_IF_ERROR(pager->BlockForWrite(0, &h));
  std::memcpy(h + hdr::kMagicAt, kMagic, sizeof kMagic);
  Store16(h + hdr::kVersionAt, kVersion);
  Store16(h + hdr::kKeyLenAt, key_len);
  Store32(h + hdr::kNodeLenAt, node_len);
  Store16(h + hdr::kPtrLenAt, 4);
  h[hdr::kNatureAt] = nature;
  Store32(h + hdr::kOrderAt, leaf_cap);
  Store32(h + hdr::kInnerOrderAt, inner_cap);
  Store32(h + hdr::kLevelsAt, levels);
  Store64(h + hdr::kKeysAt, keys);
  Store32(h + hdr::kNodesAt, nodes);
  Store32(h + hdr::kAllocatedAt, allocated);
  Store32(h + hdr::kRootAt, root);
  Store32(h + hdr::kFreeHeadAt, free_head);
  Store32(h + hdr::kFreeCountAt, free_count);
  Store64(h + hdr::kChangeAt, change_counter);
  std::memset(h + hdr::kIndexedAt, 0, kIndexedNameMax);
  std::memcpy(h + hdr::kIndexedAt, indexed_file.data(), indexed_file.size());
  header_changed = false;
  header_dirty = true;
  return Status::Ok();
}

// Puts the header's values into node 0 when they changed and completes its checksum, before
// a flush writes it.
Status BTree::Impl::StampHeader() {
  if (header_changed) VESK_RETURN_IF_ERROR(StoreHeader());
  if (!header_dirty) return Status::Ok();
  char* h = nullptr;
  VESK_RETURN_IF_ERROR(pager->BlockForWrite(0, &h));
  Store32(h + hdr::kChecksumAt, Crc32(h, hdr::kChecksumAt));
  header_dirty = false;
  return Status::Ok();
}

// The format part of the header: magic, version, checksum, key length, nature, lengths, orders.
Status BTree::Impl::LoadFormat(const char* h) {
  if (std::memcmp(h + hdr::kMagicAt, kMagic, sizeof kMagic) != 0) {
    return Corrupt("signature absente, ce n'est pas un fichier B-arbre");
  }
  if (Load16(h + hdr::kVersionAt) != kVersion) {
    return Corrupt("version de format " + std::to_string(Load16(h + hdr::kVersionAt)) +
                   " inconnue (version attendue " + std::to_string(kVersion) + ")");
  }
  if (Load32(h + hdr::kChecksumAt) != Crc32(h, hdr::kChecksumAt)) {
    return Corrupt("somme de contrôle de l'en-tête incorrecte");
  }
  uint16_t key_length = Load16(h + hdr::kKeyLenAt);
  char nat = h[hdr::kNatureAt];
  if (key_length < 1 || key_length > kMaxKeyLength) {
    return Corrupt("longueur de clé " + std::to_string(key_length) + " hors limites");
  }
  if (nat != 'P' && nat != 'S') return Corrupt("nature de table " + Quote(nat) + " inconnue");
  uint32_t order = Load32(h + hdr::kOrderAt), inner_order = Load32(h + hdr::kInnerOrderAt);
  SetGeometry(*this, key_length, nat, 0, 0);
  if (order < kMinOrder || order > leaf_cap || inner_order < kMinOrder || inner_order > inner_cap) {
    return Corrupt("ordre " + std::to_string(order) + " / " + std::to_string(inner_order) +
                   " hors limites (de 4 à " + std::to_string(leaf_cap) + " / " +
                   std::to_string(inner_cap) + ")");
  }
  SetGeometry(*this, key_length, nat, order, inner_order);
  auto field = [&](const char* name, uint64_t got, uint64_t want) {
    return got == want ? Status::Ok()
                       : Corrupt(std::string(name) + " " + std::to_string(got) +
                                 " incohérente (attendue " + std::to_string(want) + ")");
  };
  VESK_RETURN_IF_ERROR(field("longueur de noeud", Load32(h + hdr::kNodeLenAt), node_len));
  return field("longueur de pointeur", Load16(h + hdr::kPtrLenAt), 4);
}

Status BTree::Impl::LoadHeader(const char* h, uint64_t file_size) {
  VESK_RETURN_IF_ERROR(LoadFormat(h));
  levels = Load32(h + hdr::kLevelsAt);
  keys = Load64(h + hdr::kKeysAt);
  nodes = Load32(h + hdr::kNodesAt);
  allocated = Load32(h + hdr::kAllocatedAt);
  root = Load32(h + hdr::kRootAt);
  free_head = Load32(h + hdr::kFreeHeadAt);
  free_count = Load32(h + hdr::kFreeCountAt);
  change_counter = Load64(h + hdr::kChangeAt);
  if (levels < 1 || levels > kMaxLevels) {
    return Corrupt("nombre de niveaux " + std::to_string(levels) + " hors limites");
  }
  if (allocated < 1 || (uint64_t{allocated} + 1) * node_len > file_size) {
    return Corrupt("fichier tronqué : " + std::to_string(allocated) + " noeuds annoncés, " +
                   std::to_string(file_size) + " octets");
  }
  if (root < 1 || root > allocated) {
    return Corrupt("noeud racine " + std::to_string(root) + " hors limites");
  }
  if (free_head > allocated || free_count > allocated || nodes > allocated) {
    return Corrupt("compteurs de noeuds incohérents");
  }
  const char* name = h + hdr::kIndexedAt;
  indexed_file.assign(name, std::find(name, name + kIndexedNameMax, '\0'));
  return Status::Ok();
}

namespace {

Status CreateTree(BTree::Impl& m, uint16_t key_length, char nature, std::string_view indexed,
                  uint32_t max_entries) {
  SetGeometry(m, key_length, nature, 0, 0);
  if (max_entries != 0) {
    SetGeometry(m, key_length, nature, std::min(max_entries, m.leaf_cap),
                std::min(max_entries, m.inner_cap));
  }
  m.levels = 1;
  m.keys = 0;
  m.nodes = 0;
  m.allocated = 0;
  m.free_head = m.free_count = 0;
  m.indexed_file = std::string(indexed);
  char* n = nullptr;
  VESK_RETURN_IF_ERROR(m.AllocNode(kLeaf, 0, &m.root, &n));
  VESK_RETURN_IF_ERROR(m.StoreHeader());
  return m.pager->Flush();
}

Status CheckArguments(const std::string& path, uint16_t key_length, char nature,
                      std::string_view indexed_file, uint32_t max_entries) {
  if (max_entries != 0 && max_entries < kMinOrder) {
    return Status::InvalidArgument("B-arbre " + path + " : ordre " + std::to_string(max_entries) +
                                   " refusé (4 au moins)");
  }
  if (key_length < 1 || key_length > kMaxKeyLength) {
    return Status::InvalidArgument("B-arbre " + path + " : longueur de clé " +
                                   std::to_string(key_length) + " refusée (de 1 à 1024)");
  }
  if (nature != 'P' && nature != 'S') {
    return Status::InvalidArgument("B-arbre " + path + " : nature " + Quote(nature) +
                                   " refusée (P ou S)");
  }
  if (indexed_file.size() > kIndexedNameMax) {
    return Status::InvalidArgument("B-arbre " + path + " : nom du fichier indexé trop long (" +
                                   std::to_string(indexed_file.size()) + " octets, au plus 64)");
  }
  return Status::Ok();
}

}  // namespace

Status BTree::Open(Env* env, const std::string& path, uint16_t key_length, char nature,
                   std::string_view indexed_file, bool create, std::unique_ptr<BTree>* out) {
  return Open(env, path, key_length, nature, indexed_file, create, BTreeOptions{}, out);
}

Status BTree::Open(Env* env, const std::string& path, uint16_t key_length, char nature,
                   std::string_view indexed_file, bool create, const BTreeOptions& options,
                   std::unique_ptr<BTree>* out) {
  VESK_RETURN_IF_ERROR(CheckArguments(path, key_length, nature, indexed_file, options.max_entries));
  bool exists = false;
  VESK_RETURN_IF_ERROR(Status::FromIo(env->FileExists(path, &exists)));
  if (!exists && !create) return Status::NotFound("B-arbre introuvable : " + path);
  auto impl = std::make_unique<Impl>();
  impl->path = path;
  uint32_t node_len = NodeLengthFor(key_length);
  size_t cache = std::max<size_t>(16, options.cache_bytes / node_len);
  VESK_RETURN_IF_ERROR(
      Pager::Open(env, path, exists ? platform::OpenMode::kReadWrite : platform::OpenMode::kCreate,
                  node_len, cache, &impl->pager, options.pool));
  Impl* m = impl.get();
  m->pager->SetBeforeFlushHook([m] { return m->StampHeader(); });
  // Node checksums: completed when a node is written, checked when it is read from the file.
  m->pager->SetBlockHooks(
      [node_len](uint64_t no, char* n) {
        if (no != 0) Store32(n + node::kChecksumAt, NodeChecksum(n, node_len));
      },
      [m, node_len](uint64_t no, const char* n) {
        uint32_t stored = Load32(n + node::kChecksumAt);
        if (no == 0 || stored == 0 || stored == NodeChecksum(n, node_len)) return Status::Ok();
        return m->Corrupt("noeud " + std::to_string(no) +
                          " : somme de contrôle incorrecte (noeud abîmé sur le disque)");
      });
  uint64_t size = m->pager->Size();
  if (size == 0 && create) {
    VESK_RETURN_IF_ERROR(CreateTree(*m, key_length, nature, indexed_file, options.max_entries));
  } else {
    if (size < hdr::kSize) {
      return m->Corrupt(size == 0 ? "fichier vide" : "en-tête incomplet");
    }
    char h[hdr::kSize];
    VESK_RETURN_IF_ERROR(m->pager->Read(0, h));
    VESK_RETURN_IF_ERROR(m->LoadHeader(h, size));
    if (m->key_len != key_length || m->nature != nature) {
      return Status::InvalidArgument("B-arbre " + path + " : le fichier a la longueur de clé " +
                                     std::to_string(m->key_len) + " et la nature " +
                                     Quote(m->nature) + ", l'ouverture demande la longueur " +
                                     std::to_string(key_length) + " et la nature " + Quote(nature));
    }
  }
  out->reset(new BTree(std::move(impl)));
  return Status::Ok();
}

Status BTree::Reload() {
  Impl& m = *impl_;
  if (m.header_dirty || m.header_changed) {
    return Status::InvalidArgument("B-arbre " + m.path +
                                   " : des modifications ne sont pas encore écrites");
  }
  m.pager->DropCache();
  uint64_t size = m.pager->Size();
  if (size < hdr::kSize) return m.Corrupt(size == 0 ? "fichier vide" : "en-tête incomplet");
  char h[hdr::kSize];
  VESK_RETURN_IF_ERROR(m.pager->Read(0, h));
  if (Load16(h + hdr::kKeyLenAt) != m.key_len || h[hdr::kNatureAt] != m.nature) {
    return m.Corrupt("longueur de clé ou nature changée par un autre programme");
  }
  ++m.mods;  // the cursor hint no longer holds
  return m.LoadHeader(h, size);
}

namespace {

// The header of the B-tree file path, read straight from the file.
Status ReadHead(Env* env, const std::string& path, char (&head)[hdr::kSize]) {
  std::unique_ptr<platform::File> file;
  size_t read = 0;
  VESK_RETURN_IF_ERROR(Status::FromIo(env->OpenFile(path, platform::OpenMode::kRead, &file)));
  VESK_RETURN_IF_ERROR(Status::FromIo(file->ReadAt(0, head, &read)));
  if (read < hdr::kSize || std::memcmp(head + hdr::kMagicAt, kMagic, sizeof kMagic) != 0) {
    return Status::Corruption(path + " n'est pas un fichier B-arbre Vesk (signature inconnue)");
  }
  return Status::Ok();
}

}  // namespace

Status BTree::OpenAsMade(Env* env, const std::string& path, const BTreeOptions& options,
                         std::unique_ptr<BTree>* out) {
  char head[hdr::kSize] = {};
  VESK_RETURN_IF_ERROR(ReadHead(env, path, head));
  return Open(env, path, Load16(head + hdr::kKeyLenAt), head[hdr::kNatureAt], "", false, options,
              out);
}

const std::string& BTree::Path() const { return impl_->path; }

Status BTree::Reopen(Env* env) {
  Impl& m = *impl_;
  if (m.header_dirty || m.header_changed) {
    return Status::InvalidArgument("B-arbre " + m.path +
                                   " : des modifications ne sont pas encore écrites");
  }
  // Checked before the handle leaves its file: a handle never reads a file of another geometry.
  char head[hdr::kSize] = {};
  VESK_RETURN_IF_ERROR(ReadHead(env, m.path, head));
  if (Load32(head + hdr::kNodeLenAt) != m.pager->BlockSize()) {
    return m.Corrupt(
        "longueur de noeud changée par une reconstruction : fermer le dossier et le rouvrir");
  }
  VESK_RETURN_IF_ERROR(m.pager->Reattach());
  uint64_t size = m.pager->Size();
  if (size < hdr::kSize) return m.Corrupt(size == 0 ? "fichier vide" : "en-tête incomplet");
  char h[hdr::kSize];
  VESK_RETURN_IF_ERROR(m.pager->Read(0, h));
  ++m.mods;
  return m.LoadHeader(h, size);
}

BTree::BTree(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
BTree::~BTree() = default;

void BTree::Impl::Changed() {
  ++mods;
  ++change_counter;
  header_changed = true;
}

void BTree::Mark() {
  const Impl& m = *impl_;
  impl_->marked =
      Impl::Counts{m.levels,     m.nodes, m.allocated,      m.root,          m.free_head,
                   m.free_count, m.keys,  m.change_counter, m.header_changed};
}

void BTree::RestoreMark() {
  Impl& m = *impl_;
  const Impl::Counts& c = m.marked;
  m.levels = c.levels;
  m.nodes = c.nodes;
  m.allocated = c.allocated;
  m.root = c.root;
  m.free_head = c.free_head;
  m.free_count = c.free_count;
  m.keys = c.keys;
  m.change_counter = c.change_counter;
  m.header_changed = c.header_changed;
  ++m.mods;  // the cursor hint may name a node put back
}

Status BTree::Insert(std::string_view key, uint32_t record) { return impl_->Insert(key, record); }
Status BTree::Erase(std::string_view key, uint32_t record) { return impl_->Erase(key, record); }
Status BTree::Flush() { return impl_->pager->Flush(); }
Status BTree::Sync() { return impl_->pager->Sync(); }
uint16_t BTree::KeyLength() const { return impl_->key_len; }
char BTree::Nature() const { return impl_->nature; }
Pager* BTree::pager() { return impl_->pager.get(); }

Status BTree::Header(BTreeHeader* header) {
  const Impl& m = *impl_;
  header->node_length = m.node_len;
  header->key_length = m.key_len;
  header->pointer_length = 4;
  header->nature = m.nature;
  header->order = m.leaf_cap;
  header->levels = m.levels;
  header->keys = m.keys;
  header->nodes = m.nodes;
  header->root = m.root;
  header->free_head = m.free_head;
  header->indexed_file = m.indexed_file;
  header->change_counter = m.change_counter;
  header->inner_order = m.inner_cap;
  header->allocated = m.allocated;
  header->free_count = m.free_count;
  return Status::Ok();
}

}  // namespace vesk::isam
