// B-tree deletion: the entry leaves its leaf; a node left with fewer than half its capacity
// borrows an entry from a sibling or merges with it, the emptied root gives way to its only
// child, and freed nodes go on the free list.
#include "srv/isam/btree_impl.h"

namespace vesk::isam {

using namespace btree;  // NOLINT: the file's own layout names

namespace {

void CloseGap(char* n, uint32_t stride, uint32_t pos, uint32_t count) {
  char* at = BTree::Impl::Entry(n, stride, pos);
  std::memmove(at, at + stride, size_t{count - pos - 1} * stride);
}

}  // namespace

Status BTree::Impl::Erase(std::string_view key, uint32_t record) {
  uint32_t leaf = 0, count = 0, pos = 0;
  const char* ln = nullptr;
  VESK_RETURN_IF_ERROR(FindForChange(key, record, &leaf, &ln, &count, &pos));
  if (pos >= count || Compare(Entry(ln, leaf_stride, pos), key.data(), record) != 0 ||
      Record(Entry(ln, leaf_stride, pos)) != record) {
    return Status::NotFound("B-arbre " + path + " : la clé avec l'enregistrement " +
                            std::to_string(record) + " est absente");
  }
  path_steps[0] = Step{leaf, pos, count, 0};
  uint32_t top = 0;
  VESK_RETURN_IF_ERROR(PlanRebalance(count - 1, &top));
  char* w = nullptr;
  VESK_RETURN_IF_ERROR(ShiftEntries(leaf, pos, count, /*insert=*/false, &w));
  CloseGap(w, leaf_stride, pos, count);
  SetCount(w, count - 1);
  for (uint32_t level = 0; level < top; ++level) VESK_RETURN_IF_ERROR(Rebalance(level));
  VESK_RETURN_IF_ERROR(CollapseRoot());
  --keys;
  Changed();
  return Status::Ok();
}

// Decides, before anything changes, which levels will rebalance (levels [0, *top)) and with
// which sibling, checking each sibling it will touch.
Status BTree::Impl::PlanRebalance(uint32_t leaf_count, uint32_t* top) {
  uint32_t count = leaf_count;
  uint32_t level = 0;
  for (; level + 1 < levels && count < Min(level); ++level) {
    Step& parent = path_steps[level + 1];
    if (parent.count == 0) {
      return Corrupt("noeud interne " + std::to_string(parent.node) + " sans entrée");
    }
    const char* p = nullptr;
    VESK_RETURN_IF_ERROR(ReadNode(parent.node, level + 1, &p));
    uint32_t sibling = parent.index > 0 ? Child(p, parent.index - 1) : Child(p, 1);
    const char* s = nullptr;
    VESK_RETURN_IF_ERROR(ReadNode(sibling, level, &s));
    path_steps[level].sibling = sibling;
    if (Count(s) > Min(level)) {
      ++level;  // a borrow: the parent keeps its count
      break;
    }
    count = parent.count - 1;  // a merge takes one separator from the parent
  }
  *top = level;
  return Status::Ok();
}

// Restores the minimum fill of the node at path_steps[level] from its planned sibling.
Status BTree::Impl::Rebalance(uint32_t level) {
  Step& me = path_steps[level];
  Step& parent = path_steps[level + 1];
  char *p = nullptr, *n = nullptr, *s = nullptr;
  VESK_RETURN_IF_ERROR(WriteNode(parent.node, &p));
  VESK_RETURN_IF_ERROR(WriteNode(me.node, &n));
  VESK_RETURN_IF_ERROR(WriteNode(me.sibling, &s));
  if (Count(s) > Min(level)) {
    Borrow(level, p, n, s);
    return Status::Ok();
  }
  return Merge(level, p, n, s);
}

// Moves one entry from the sibling s into n through the parent p.
void BTree::Impl::Borrow(uint32_t level, char* p, char* n, char* s) {
  const uint32_t stride = Stride(level);
  const uint32_t kr = key_len + 4u;  // key and record, the part a separator holds
  const uint32_t idx = path_steps[level + 1].index;
  const bool left = idx > 0;
  uint32_t cn = Count(n), cs = Count(s);
  char* sep = Entry(p, inner_stride, left ? idx - 1 : idx);
  if (left) {
    std::memmove(Entry(n, stride, 1), Entry(n, stride, 0), size_t{cn} * stride);
    const char* last = Entry(s, stride, cs - 1);
    if (level == 0) {
      std::memcpy(Entry(n, stride, 0), last, stride);
      std::memcpy(sep, Entry(n, stride, 0), kr);
    } else {
      std::memcpy(Entry(n, stride, 0), sep, kr);
      Store32(Entry(n, stride, 0) + kr, Child(n, 0));
      SetChild(n, 0, Load32(last + kr));
      std::memcpy(sep, last, kr);
    }
  } else {
    char* first = Entry(s, stride, 0);
    if (level == 0) {
      std::memcpy(Entry(n, stride, cn), first, stride);
      std::memcpy(sep, Entry(s, stride, 1), kr);
    } else {
      std::memcpy(Entry(n, stride, cn), sep, kr);
      Store32(Entry(n, stride, cn) + kr, Child(s, 0));
      SetChild(s, 0, Load32(first + kr));
      std::memcpy(sep, first, kr);
    }
    CloseGap(s, stride, 0, cs);
  }
  SetCount(n, cn + 1);
  SetCount(s, cs - 1);
}

// Merges the right node of the pair (n, s) into the left one; their separator in p goes with
// it and the right node is freed.
Status BTree::Impl::Merge(uint32_t level, char* p, char* n, char* s) {
  const uint32_t stride = Stride(level);
  const uint32_t kr = key_len + 4u;
  Step& me = path_steps[level];
  Step& parent = path_steps[level + 1];
  const bool left = parent.index > 0;
  char* l = left ? s : n;
  char* r = left ? n : s;
  uint32_t cl = Count(l), cr = Count(r);
  uint32_t j = left ? parent.index - 1 : parent.index;
  uint32_t right_no = left ? me.node : me.sibling;
  if (level == 0) {
    std::memcpy(Entry(l, stride, cl), Entry(r, stride, 0), size_t{cr} * stride);
    SetLink(l, Link(r));
    SetCount(l, cl + cr);
  } else {
    std::memcpy(Entry(l, stride, cl), Entry(p, inner_stride, j), kr);
    Store32(Entry(l, stride, cl) + kr, Child(r, 0));
    std::memcpy(Entry(l, stride, cl + 1), Entry(r, stride, 0), size_t{cr} * stride);
    SetCount(l, cl + 1 + cr);
  }
  CloseGap(p, inner_stride, j, parent.count);
  SetCount(p, --parent.count);
  return FreeNode(right_no);
}

// An inner root left without separators gives way to its only child.
Status BTree::Impl::CollapseRoot() {
  while (levels > 1) {
    const char* n = nullptr;
    VESK_RETURN_IF_ERROR(ReadNode(root, levels - 1, &n));
    if (Count(n) != 0) return Status::Ok();
    uint32_t old = root;
    root = Child(n, 0);
    --levels;
    VESK_RETURN_IF_ERROR(FreeNode(old));
  }
  return Status::Ok();
}

}  // namespace vesk::isam
