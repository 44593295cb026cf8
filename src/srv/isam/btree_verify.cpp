// B-tree inspection: the free-node list, figures per level, and the full check of every
// invariant, which reports what is wrong instead of stopping at the first fault.
#include <optional>

#include "srv/isam/btree_impl.h"

namespace vesk::isam {

using namespace btree;  // NOLINT: the file's own layout names

namespace {

constexpr size_t kMaxProblems = 100;

std::string Node(uint32_t no) { return "noeud " + std::to_string(no); }

// The walk of Verify: every node reached from the root, checked against the bounds its
// parent's separators give it.
class Checker {
 public:
  Checker(BTree::Impl& m, std::vector<std::string>* problems)
      : m_(m), problems_(problems), seen_(size_t{m.allocated} + 1, 0) {}

  Status Run();

 private:
  using Bound = std::optional<std::string>;  // key and record of a separator
  void Problem(std::string text);
  bool CheckNode(uint32_t no, const std::string& n, uint32_t level, bool right_edge);
  Status Walk(uint32_t no, uint32_t level, const Bound& lo, const Bound& hi);
  void CheckEntries(uint32_t no, const std::string& n, uint32_t level, const Bound& lo,
                    const Bound& hi);
  Status CheckFreeList();
  int Cmp(const char* a, const char* b) const { return m_.Compare(a, b, Load32(b + m_.key_len)); }

  BTree::Impl& m_;
  std::vector<std::string>* problems_;
  size_t more_ = 0;
  std::vector<uint8_t> seen_;  // 1: in the tree, 2: on the free list
  uint64_t keys_ = 0;
  uint32_t tree_nodes_ = 0;
  std::vector<std::pair<uint32_t, uint32_t>> leaves_;  // leaf and its link, in key order
};

void Checker::Problem(std::string text) {
  if (problems_->size() < kMaxProblems) {
    problems_->push_back(std::move(text));
  } else {
    ++more_;
  }
}

void Checker::CheckEntries(uint32_t no, const std::string& n, uint32_t level, const Bound& lo,
                           const Bound& hi) {
  uint32_t stride = m_.Stride(level), count = Count(n.data());
  for (uint32_t i = 0; i < count; ++i) {
    const char* e = BTree::Impl::Entry(n.data(), stride, i);
    if (i > 0 && Cmp(e - stride, e) >= 0) {
      Problem(Node(no) + " : entrées " + std::to_string(i) + " et " + std::to_string(i + 1) +
              " hors d'ordre");
    }
  }
  if (count == 0) return;
  const char* first = BTree::Impl::Entry(n.data(), stride, 0);
  const char* last = BTree::Impl::Entry(n.data(), stride, count - 1);
  if (lo && Cmp(first, lo->data()) < 0) {
    Problem(Node(no) + " : première entrée avant le séparateur qui le borne à gauche");
  }
  if (hi && Cmp(last, hi->data()) >= 0) {
    Problem(Node(no) + " : dernière entrée après le séparateur qui le borne à droite");
  }
}

// Kind, level and count of a node; false when its entries cannot be read.
bool Checker::CheckNode(uint32_t no, const std::string& n, uint32_t level, bool right_edge) {
  char want = level == 0 ? kLeaf : kInner;
  uint32_t count = Count(n.data());
  if (Kind(n.data()) != want || static_cast<unsigned char>(n[node::kLevelAt]) != level) {
    Problem(Node(no) + " : nature ou niveau faux (attendu " + std::string(1, want) + " au niveau " +
            std::to_string(level) + ")");
    return false;
  }
  if (count > m_.Cap(level)) {
    Problem(Node(no) + " : " + std::to_string(count) + " entrées, plus que l'ordre " +
            std::to_string(m_.Cap(level)));
    return false;
  }
  // Appends leave the rightmost node of a level (no right bound) with as little as one entry.
  if (no != m_.root && count < m_.Min(level) && (!right_edge || count == 0)) {
    Problem(Node(no) + " : " + std::to_string(count) + " entrées, moins que le minimum " +
            std::to_string(m_.Min(level)));
  }
  return true;
}

Status Checker::Walk(uint32_t no, uint32_t level, const Bound& lo, const Bound& hi) {
  if (no == 0 || no > m_.allocated) {
    Problem("numéro de noeud " + std::to_string(no) + " hors limites au niveau " +
            std::to_string(level));
    return Status::Ok();
  }
  if (seen_[no] != 0) {
    Problem(Node(no) + " atteint plusieurs fois");
    return Status::Ok();
  }
  seen_[no] = 1;
  ++tree_nodes_;
  const char* block = nullptr;
  VESK_RETURN_IF_ERROR(m_.pager->BlockForRead(no, &block));
  std::string n(block, m_.node_len);
  if (!CheckNode(no, n, level, !hi)) return Status::Ok();
  uint32_t count = Count(n.data());
  CheckEntries(no, n, level, lo, hi);
  if (level == 0) {
    keys_ += count;
    leaves_.emplace_back(no, Link(n.data()));
    return Status::Ok();
  }
  if (count == 0) Problem(Node(no) + " : noeud interne sans entrée");
  const uint32_t kr = m_.key_len + 4u;
  for (uint32_t i = 0; i <= count; ++i) {
    Bound clo =
        i == 0 ? lo : Bound(std::string(BTree::Impl::Entry(n.data(), m_.inner_stride, i - 1), kr));
    Bound chi =
        i == count ? hi : Bound(std::string(BTree::Impl::Entry(n.data(), m_.inner_stride, i), kr));
    VESK_RETURN_IF_ERROR(Walk(m_.Child(n.data(), i), level - 1, clo, chi));
  }
  return Status::Ok();
}

Status Checker::CheckFreeList() {
  uint32_t count = 0;
  for (uint32_t no = m_.free_head; no != 0;) {
    if (no > m_.allocated) {
      Problem("liste des noeuds libres : " + Node(no) + " hors limites");
      break;
    }
    if (seen_[no] == 2) {
      Problem("liste des noeuds libres : cycle au " + Node(no));
      break;
    }
    if (seen_[no] == 1) Problem("liste des noeuds libres : le " + Node(no) + " est dans l'arbre");
    seen_[no] = 2;
    ++count;
    const char* n = nullptr;
    VESK_RETURN_IF_ERROR(m_.pager->BlockForRead(no, &n));
    if (Kind(n) != kFree) Problem("liste des noeuds libres : le " + Node(no) + " n'est pas libre");
    no = Link(n);
  }
  if (count != m_.free_count) {
    Problem("en-tête : " + std::to_string(m_.free_count) + " noeuds libres annoncés, " +
            std::to_string(count) + " dans la liste");
  }
  return Status::Ok();
}

Status Checker::Run() {
  VESK_RETURN_IF_ERROR(Walk(m_.root, m_.levels - 1, std::nullopt, std::nullopt));
  if (keys_ != m_.keys) {
    Problem("en-tête : " + std::to_string(m_.keys) + " clés annoncées, " + std::to_string(keys_) +
            " dans les feuilles");
  }
  if (tree_nodes_ != m_.nodes) {
    Problem("en-tête : " + std::to_string(m_.nodes) + " noeuds annoncés, " +
            std::to_string(tree_nodes_) + " dans l'arbre");
  }
  for (size_t i = 0; i < leaves_.size(); ++i) {
    uint32_t want = i + 1 < leaves_.size() ? leaves_[i + 1].first : 0;
    if (leaves_[i].second != want) {
      Problem("chaînage des feuilles rompu au " + Node(leaves_[i].first));
    }
  }
  VESK_RETURN_IF_ERROR(CheckFreeList());
  for (uint32_t no = 1; no <= m_.allocated; ++no) {
    if (seen_[no] == 0) Problem(Node(no) + " perdu : ni dans l'arbre ni dans la liste des libres");
  }
  if (m_.pager->Size() < (uint64_t{m_.allocated} + 1) * m_.node_len) {
    Problem("fichier plus court que ses " + std::to_string(m_.allocated) + " noeuds");
  }
  if (more_ > 0) problems_->push_back("... et " + std::to_string(more_) + " autres problèmes");
  return Status::Ok();
}

}  // namespace

Status BTree::Verify(std::vector<std::string>* problems) {
  problems->clear();
  Checker checker(*impl_, problems);
  return checker.Run();
}

Status BTree::FreeNodes(std::vector<uint32_t>* nodes) {
  Impl& m = *impl_;
  nodes->clear();
  for (uint32_t no = m.free_head; no != 0;) {
    if (no > m.allocated || nodes->size() >= m.allocated) {
      return m.Corrupt("liste des noeuds libres hors limites ou bouclée");
    }
    nodes->push_back(no);
    const char* n = nullptr;
    VESK_RETURN_IF_ERROR(m.pager->BlockForRead(no, &n));
    if (Kind(n) != kFree) return m.Corrupt("liste des noeuds libres : " + Node(no) + " non libre");
    no = Link(n);
  }
  return Status::Ok();
}

Status BTree::Stats(BTreeStats* stats) {
  Impl& m = *impl_;
  *stats = BTreeStats{};
  uint64_t held = 0, room = 0;
  std::vector<uint32_t> current{m.root}, next;
  for (uint32_t level = m.levels; level-- > 0;) {
    uint64_t keys = 0;
    next.clear();
    for (uint32_t no : current) {
      const char* n = nullptr;
      VESK_RETURN_IF_ERROR(m.ReadNode(no, level, &n));
      keys += Count(n);
      room += m.Cap(level);
      if (level > 0) {
        for (uint32_t i = 0; i <= Count(n); ++i) next.push_back(m.Child(n, i));
      }
      // A tree has no more nodes than the file: more children than that means inner nodes
      // that share them, and the next levels would grow without end.
      if (next.size() > m.allocated) {
        return m.Corrupt("noeuds internes partageant leurs enfants au niveau " +
                         std::to_string(level));
      }
    }
    held += keys;
    stats->keys_per_level.push_back(keys);
    stats->nodes_per_level.push_back(static_cast<uint32_t>(current.size()));
    current.swap(next);
  }
  stats->fill_ratio = room == 0 ? 0 : static_cast<double>(held) / static_cast<double>(room);
  stats->free_nodes = m.free_count;
  stats->file_bytes = m.pager->Size();
  return Status::Ok();
}

}  // namespace vesk::isam
