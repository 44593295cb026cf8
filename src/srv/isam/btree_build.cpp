// B-tree bulk loading: an empty tree filled bottom up from entries given in order, as the
// rebuild does. Leaves first (node numbers from 1, in key order), then each inner level over the
// one below, the root last; every node filled to seven eighths of what it holds, evenly.
#include <algorithm>

#include "srv/isam/btree_impl.h"

namespace vesk::isam {

using namespace btree;  // NOLINT: the file's own layout names

namespace {

// The first entry (key and record) of a node's subtree, and the node.
struct Sommet {
  uint32_t node = 0;
  std::string first;  // key_len + 4 bytes: key, then record (little-endian)
};

// How many nodes hold n entries of a level whose nodes hold min to cap: filled to 7/8 of cap
// evenly, never below min (the root alone may hold fewer).
uint64_t NodesFor(uint64_t n, uint32_t min, uint32_t cap) {
  const uint64_t target = std::max<uint64_t>({1, min, cap - cap / 8});
  uint64_t k = (n + target - 1) / target;
  if (k > 1 && n / k < min) k = (n + cap - 1) / cap;
  return std::max<uint64_t>(k, 1);
}

// Entries of node i of k sharing n entries evenly.
uint64_t Share(uint64_t n, uint64_t k, uint64_t i) { return n / k + (i < n % k ? 1 : 0); }

class Chargeur {
 public:
  Chargeur(BTree::Impl& m, const BTree::Entree& entree) : m_(m), entree_(entree) {}

  Status Charge(size_t count);

 private:
  Status Ordre(size_t i, const char* key, uint32_t record, const char* prev_key,
               uint32_t prev_record);
  Status Feuilles(size_t count, std::vector<Sommet>* niveau);
  Status Interieurs(uint32_t level, const std::vector<Sommet>& bas, std::vector<Sommet>* haut);
  Status Noeud(char kind, uint32_t level, uint32_t* no, char** n);

  BTree::Impl& m_;
  const BTree::Entree& entree_;
  uint32_t ecrits_ = 0;
};

Status Chargeur::Ordre(size_t i, const char* key, uint32_t record, const char* prev_key,
                       uint32_t prev_record) {
  if (record == 0) {
    return Status::InvalidArgument("B-arbre " + m_.path + " : entrée " + std::to_string(i + 1) +
                                   " sans numéro d'enregistrement");
  }
  if (prev_key == nullptr) return Status::Ok();
  int c = m_.CompareKeys(prev_key, key);
  if (c == 0 && !m_.by_record) {
    return Status::Duplicate("B-arbre " + m_.path + " : clé en double (enregistrements " +
                             std::to_string(prev_record) + " et " + std::to_string(record) + ")");
  }
  if (c > 0 || (c == 0 && prev_record >= record)) {
    return Status::InvalidArgument("B-arbre " + m_.path + " : entrée " + std::to_string(i + 1) +
                                   " hors d'ordre pour un chargement");
  }
  return Status::Ok();
}

// A new node; the blocks written so far go to the file every 1,024 nodes, so that a large tree
// does not stay whole in memory.
Status Chargeur::Noeud(char kind, uint32_t level, uint32_t* no, char** n) {
  if (++ecrits_ % 1024 == 0) VESK_RETURN_IF_ERROR(m_.pager->Flush());
  return m_.AllocNode(kind, level, no, n);
}

Status Chargeur::Feuilles(size_t count, std::vector<Sommet>* niveau) {
  const uint64_t k = NodesFor(count, m_.leaf_min, m_.leaf_cap);
  niveau->reserve(k);
  const char* prev_key = nullptr;
  uint32_t prev_record = 0;
  std::string prev(m_.key_len, '\0');
  size_t i = 0;
  uint32_t previous_leaf = 0;
  for (uint64_t f = 0; f < k; ++f) {
    uint32_t no = 0;
    char* n = nullptr;
    if (f == 0) {
      no = m_.root;  // the empty leaf of the new tree
      VESK_RETURN_IF_ERROR(m_.WriteNode(no, &n));
    } else {
      VESK_RETURN_IF_ERROR(Noeud(kLeaf, 0, &no, &n));
    }
    const uint64_t entries = Share(count, k, f);
    for (uint64_t e = 0; e < entries; ++e, ++i) {
      const char* key = nullptr;
      uint32_t record = 0;
      entree_(i, &key, &record);
      VESK_RETURN_IF_ERROR(Ordre(i, key, record, prev_key, prev_record));
      char* slot = BTree::Impl::Entry(n, m_.leaf_stride, static_cast<uint32_t>(e));
      std::memcpy(slot, key, m_.key_len);
      Store32(slot + m_.key_len, record);
      if (e == 0) niveau->push_back({no, std::string(slot, m_.leaf_stride)});
      prev.assign(key, m_.key_len);
      prev_key = prev.data();
      prev_record = record;
    }
    SetCount(n, static_cast<uint32_t>(entries));
    if (previous_leaf != 0) {
      char* p = nullptr;
      VESK_RETURN_IF_ERROR(m_.WriteNode(previous_leaf, &p));
      SetLink(p, no);
    }
    previous_leaf = no;
  }
  return Status::Ok();
}

// The level above bas: each inner node takes a run of children, the first entry of each child
// after the first becoming its separator.
Status Chargeur::Interieurs(uint32_t level, const std::vector<Sommet>& bas,
                            std::vector<Sommet>* haut) {
  // An inner node of c separators has c + 1 children.
  const uint64_t k = NodesFor(bas.size(), m_.inner_min + 1, m_.inner_cap + 1);
  size_t c = 0;
  for (uint64_t x = 0; x < k; ++x) {
    const uint64_t children = Share(bas.size(), k, x);
    uint32_t no = 0;
    char* n = nullptr;
    VESK_RETURN_IF_ERROR(Noeud(kInner, level, &no, &n));
    haut->push_back({no, bas[c].first});
    m_.SetChild(n, 0, bas[c].node);
    for (uint64_t j = 1; j < children; ++j) {
      const Sommet& s = bas[c + j];
      char* e = BTree::Impl::Entry(n, m_.inner_stride, static_cast<uint32_t>(j - 1));
      std::memcpy(e, s.first.data(), m_.leaf_stride);
      m_.SetChild(n, static_cast<uint32_t>(j), s.node);
    }
    SetCount(n, static_cast<uint32_t>(children - 1));
    c += children;
  }
  return Status::Ok();
}

Status Chargeur::Charge(size_t count) {
  std::vector<Sommet> niveau, haut;
  VESK_RETURN_IF_ERROR(Feuilles(count, &niveau));
  uint32_t level = 0;
  while (niveau.size() > 1) {
    if (++level >= kMaxLevels) return m_.Corrupt("trop de niveaux pour un chargement");
    haut.clear();
    VESK_RETURN_IF_ERROR(Interieurs(level, niveau, &haut));
    niveau.swap(haut);
  }
  m_.root = niveau.front().node;
  m_.levels = level + 1;
  m_.keys = count;
  m_.Changed();
  VESK_RETURN_IF_ERROR(m_.StoreHeader());
  return m_.pager->Flush();
}

}  // namespace

Status BTree::Load(size_t count, const Entree& entree) {
  Impl& m = *impl_;
  VESK_RETURN_IF_ERROR(m.CheckWritable());
  if (m.keys != 0 || m.levels != 1 || m.allocated != 1 || m.free_count != 0) {
    return Status::InvalidArgument("B-arbre " + m.path +
                                   " : un chargement demande un arbre neuf et vide");
  }
  if (count == 0) return Status::Ok();
  return Chargeur(m, entree).Charge(count);
}

}  // namespace vesk::isam
