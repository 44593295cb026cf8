// B-tree insertion: the entry goes into its leaf; a full node splits in two and sends its
// separator up, a full root gives a new root.
#include <algorithm>

#include "srv/isam/btree_impl.h"

namespace vesk::isam {

using namespace btree;  // NOLINT: the file's own layout names

namespace {

// Makes room at pos among count entries of stride bytes.
void OpenGap(char* n, uint32_t stride, uint32_t pos, uint32_t count) {
  char* at = BTree::Impl::Entry(n, stride, pos);
  std::memmove(at + stride, at, size_t{count - pos} * stride);
}

// Whether the descent from the root down to level took the last child at every inner level:
// the node reached there is the rightmost of its level.
bool OnRightEdge(const BTree::Impl& m, uint32_t level) {
  for (uint32_t l = level; l < m.levels; ++l) {
    if (m.path_steps[l].index != m.path_steps[l].count) return false;
  }
  return true;
}

// A full leaf gives entries to a sibling only when the sibling has a few free slots, about 1 in
// 32 (fewer would split soon after all).
uint32_t SpareSlots(const BTree::Impl& m) { return std::max(1u, m.leaf_cap / 32); }

// The sibling of the full leaf at path_steps[0] (same parent) with the most free slots, when it
// has SpareSlots or more; *sibling 0 otherwise. Both siblings are read and checked.
Status RoomBeside(BTree::Impl& m, uint32_t* sibling, bool* left) {
  *sibling = 0;
  const Step& up = m.path_steps[1];
  const char* p = nullptr;
  VESK_RETURN_IF_ERROR(m.ReadNode(up.node, 1, &p));
  uint32_t best = m.leaf_cap;
  for (int side = 0; side < 2; ++side) {
    if ((side == 0 && up.index == 0) || (side == 1 && up.index >= up.count)) continue;
    uint32_t no = m.Child(p, side == 0 ? up.index - 1 : up.index + 1);
    const char* s = nullptr;
    VESK_RETURN_IF_ERROR(m.ReadNode(no, 0, &s));
    if (Count(s) + SpareSlots(m) <= m.leaf_cap && Count(s) < best) {
      best = Count(s);
      *sibling = no;
      *left = side == 0;
    }
    VESK_RETURN_IF_ERROR(m.ReadNode(up.node, 1, &p));  // the block may have moved meanwhile
  }
  return Status::Ok();
}

// Inserts (key, record) at pos of the full leaf w by sharing the entries of w and its sibling
// evenly between the two; the separator between them in the parent follows.
Status Redistribute(BTree::Impl& m, char* w, uint32_t pos, const char* key, uint32_t record,
                    uint32_t sibling, bool left) {
  const uint32_t stride = m.leaf_stride;
  const Step& up = m.path_steps[1];
  char *p = nullptr, *s = nullptr;
  VESK_RETURN_IF_ERROR(m.WriteNode(up.node, &p));
  VESK_RETURN_IF_ERROR(m.WriteNode(sibling, &s));
  char* l = left ? s : w;
  char* r = left ? w : s;
  uint32_t cl = Count(l), cr = Count(r);
  uint32_t at = left ? cl + pos : pos;  // the new entry's place in the pair
  char* all = m.scratch.data();
  std::memcpy(all, BTree::Impl::Entry(l, stride, 0), size_t{cl} * stride);
  std::memcpy(all + size_t{cl} * stride, BTree::Impl::Entry(r, stride, 0), size_t{cr} * stride);
  char* gap = all + size_t{at} * stride;
  std::memmove(gap + stride, gap, size_t{cl + cr - at} * stride);
  std::memcpy(all + size_t{at} * stride, key, m.key_len);
  Store32(all + size_t{at} * stride + m.key_len, record);
  uint32_t total = cl + cr + 1;
  uint32_t nl = total / 2;
  std::memcpy(BTree::Impl::Entry(l, stride, 0), all, size_t{nl} * stride);
  std::memcpy(BTree::Impl::Entry(r, stride, 0), all + size_t{nl} * stride,
              size_t{total - nl} * stride);
  SetCount(l, nl);
  SetCount(r, total - nl);
  uint32_t sep = left ? up.index - 1 : up.index;
  std::memcpy(BTree::Impl::Entry(p, m.inner_stride, sep), BTree::Impl::Entry(r, stride, 0),
              m.key_len + 4u);
  return Status::Ok();
}

}  // namespace

Status BTree::Impl::FindForChange(std::string_view key, uint32_t record, uint32_t* leaf,
                                  const char** ln, uint32_t* count, uint32_t* pos) {
  VESK_RETURN_IF_ERROR(CheckKey(key, record));
  VESK_RETURN_IF_ERROR(CheckWritable());
  VESK_RETURN_IF_ERROR(Descend(key.data(), record, leaf, ln, /*ask_leaf=*/false));
  *count = Count(*ln);
  *pos = Search(*ln, leaf_stride, key.data(), record, /*strict=*/false);
  return Status::Ok();
}

Status BTree::Impl::FindAtEdge(std::string_view key, uint32_t record, uint32_t* leaf,
                               const char** ln, uint32_t* count, bool* at_edge) {
  *at_edge = false;
  if (edge_mods != mods) return Status::Ok();
  VESK_RETURN_IF_ERROR(CheckKey(key, record));
  VESK_RETURN_IF_ERROR(CheckWritable());
  const Step& last = path_steps[0];
  VESK_RETURN_IF_ERROR(ReadNode(last.node, 0, ln));
  *count = Count(*ln);
  // The leaf is as the last insert left it, whose entry was its last.
  if (*count != last.count + 1 || *count == 0) return Status::Ok();
  if (Compare(Entry(*ln, leaf_stride, *count - 1), key.data(), record) >= 0) return Status::Ok();
  *leaf = last.node;
  *at_edge = true;
  return Status::Ok();
}

Status BTree::Impl::Insert(std::string_view key, uint32_t record) {
  uint32_t leaf = 0, count = 0, pos = 0;
  const char* ln = nullptr;
  bool at_edge = false;
  VESK_RETURN_IF_ERROR(FindAtEdge(key, record, &leaf, &ln, &count, &at_edge));
  if (at_edge) {
    pos = count;
  } else {
    VESK_RETURN_IF_ERROR(FindForChange(key, record, &leaf, &ln, &count, &pos));
  }
  if (pos < count && Compare(Entry(ln, leaf_stride, pos), key.data(), record) == 0) {
    if (by_record) {
      return Status::Duplicate("B-arbre " + path + " : la clé avec l'enregistrement " +
                               std::to_string(record) + " est déjà présente");
    }
    return Status::Duplicate("B-arbre " + path + " : clé déjà présente");
  }
  path_steps[0] = Step{leaf, pos, count, 0};
  bool shared = false;
  VESK_RETURN_IF_ERROR(ShareFullLeaf(leaf, pos, key, record, &shared));
  if (!shared) {
    if (count == leaf_cap) VESK_RETURN_IF_ERROR(CheckSplitRoom());
    VESK_RETURN_IF_ERROR(PutInLeaf(leaf, pos, count, key, record));
  }
  ++keys;
  Changed();
  // A split changed the path; a pair put before the leaf's end or on another leaf is no append.
  if (!shared && count < leaf_cap && pos == count && OnRightEdge(*this, 0)) edge_mods = mods;
  return Status::Ok();
}

// A full leaf first shares with a sibling that has room, unless the key goes after the last
// one of the tree: an append fills leaves one after the other.
Status BTree::Impl::ShareFullLeaf(uint32_t leaf, uint32_t pos, std::string_view key,
                                  uint32_t record, bool* shared) {
  *shared = false;
  if (path_steps[0].count != leaf_cap || levels <= 1 || OnRightEdge(*this, 0)) {
    return Status::Ok();
  }
  uint32_t sibling = 0;
  bool left = false;
  VESK_RETURN_IF_ERROR(RoomBeside(*this, &sibling, &left));
  if (sibling == 0) return Status::Ok();
  char* w = nullptr;
  VESK_RETURN_IF_ERROR(WriteNode(leaf, &w));
  VESK_RETURN_IF_ERROR(Redistribute(*this, w, pos, key.data(), record, sibling, left));
  *shared = true;
  return Status::Ok();
}

// Every node a split of the full leaf will need is checked before anything changes.
Status BTree::Impl::CheckSplitRoom() {
  uint32_t need = 1;
  uint32_t level = 1;
  for (; level < levels && path_steps[level].count == inner_cap; ++level) ++need;
  if (level == levels) ++need;  // a new root
  if (level == levels && levels == kMaxLevels) {
    return Status::InvalidArgument("B-arbre " + path + " : nombre de niveaux maximal atteint");
  }
  if (free_count < need && allocated > UINT32_MAX - need) {
    return Status::InvalidArgument("B-arbre " + path + " : nombre de noeuds maximal atteint");
  }
  return CheckAllocations(need);
}

// The entry put into its leaf, which splits when full.
Status BTree::Impl::PutInLeaf(uint32_t leaf, uint32_t pos, uint32_t count, std::string_view key,
                              uint32_t record) {
  char* w = nullptr;
  if (count == leaf_cap) {
    VESK_RETURN_IF_ERROR(WriteNode(leaf, &w));
    VESK_RETURN_IF_ERROR(SplitLeaf(w, pos, key.data(), record));
    return InsertInner(1);
  }
  VESK_RETURN_IF_ERROR(ShiftEntries(leaf, pos, count, /*insert=*/true, &w));
  OpenGap(w, leaf_stride, pos, count);
  char* e = Entry(w, leaf_stride, pos);
  std::memcpy(e, key.data(), key_len);
  Store32(e + key_len, record);
  SetCount(w, count + 1);
  return Status::Ok();
}

// Splits the full leaf w while inserting (key, record) at pos; carry receives the separator
// (the first entry of the new right leaf) and the new leaf's number.
Status BTree::Impl::SplitLeaf(char* w, uint32_t pos, const char* key, uint32_t record) {
  uint32_t total = leaf_cap + 1;
  char* s = scratch.data();
  std::memcpy(s, Entry(w, leaf_stride, 0), size_t{pos} * leaf_stride);
  std::memcpy(s + size_t{pos} * leaf_stride, key, key_len);
  Store32(s + size_t{pos} * leaf_stride + key_len, record);
  std::memcpy(s + size_t{pos + 1} * leaf_stride, Entry(w, leaf_stride, pos),
              size_t{leaf_cap - pos} * leaf_stride);
  // Appending after the last key of the tree leaves the left leaf full; the new rightmost one
  // may stay below half full (the one exception to the minimum, see Verify).
  uint32_t left = OnRightEdge(*this, 0) ? leaf_cap : total / 2;
  uint32_t right_no = 0;
  char* r = nullptr;
  VESK_RETURN_IF_ERROR(AllocNode(kLeaf, 0, &right_no, &r));
  std::memcpy(Entry(w, leaf_stride, 0), s, size_t{left} * leaf_stride);
  SetCount(w, left);
  std::memcpy(Entry(r, leaf_stride, 0), s + size_t{left} * leaf_stride,
              size_t{total - left} * leaf_stride);
  SetCount(r, total - left);
  SetLink(r, Link(w));
  SetLink(w, right_no);
  std::memcpy(carry.data(), Entry(r, leaf_stride, 0), key_len + 4u);
  Store32(carry.data() + key_len + 4, right_no);
  return Status::Ok();
}

// Inserts carry (separator and right child) into the inner node of path_steps[level], splitting
// upwards as long as nodes are full.
Status BTree::Impl::InsertInner(uint32_t level) {
  const uint32_t stride = inner_stride;
  for (;; ++level) {
    if (level == levels) return GrowRoot(level);
    const Step& step = path_steps[level];
    char* w = nullptr;
    VESK_RETURN_IF_ERROR(WriteNode(step.node, &w));
    uint32_t count = Count(w);
    if (count < inner_cap) {
      OpenGap(w, stride, step.index, count);
      std::memcpy(Entry(w, stride, step.index), carry.data(), stride);
      SetCount(w, count + 1);
      return Status::Ok();
    }
    VESK_RETURN_IF_ERROR(SplitInner(level, w, count));
  }
}

// A new root above the old one, holding the carried entry.
Status BTree::Impl::GrowRoot(uint32_t level) {
  char* w = nullptr;
  uint32_t new_root = 0;
  VESK_RETURN_IF_ERROR(AllocNode(kInner, level, &new_root, &w));
  SetChild(w, 0, root);
  std::memcpy(Entry(w, inner_stride, 0), carry.data(), inner_stride);
  SetCount(w, 1);
  root = new_root;
  ++levels;
  return Status::Ok();
}

// A full inner node splits: its entries with the carried one in place, the middle one carried
// up to the level above (with the new right node as its child).
Status BTree::Impl::SplitInner(uint32_t level, char* w, uint32_t count) {
  const uint32_t stride = inner_stride;
  const Step& step = path_steps[level];
  uint32_t total = count + 1;
  char* s = scratch.data();
  std::memcpy(s, Entry(w, stride, 0), size_t{step.index} * stride);
  std::memcpy(s + size_t{step.index} * stride, carry.data(), stride);
  std::memcpy(s + size_t{step.index + 1} * stride, Entry(w, stride, step.index),
              size_t{count - step.index} * stride);
  // Appending at the right edge keeps the left node nearly full and one entry on the right.
  uint32_t mid = OnRightEdge(*this, level) ? total - 2 : total / 2;
  uint32_t right_no = 0;
  char* r = nullptr;
  VESK_RETURN_IF_ERROR(AllocNode(kInner, level, &right_no, &r));
  std::memcpy(Entry(w, stride, 0), s, size_t{mid} * stride);
  SetCount(w, mid);
  const char* up = s + size_t{mid} * stride;
  SetChild(r, 0, Load32(up + key_len + 4));
  std::memcpy(Entry(r, stride, 0), up + stride, size_t{total - mid - 1} * stride);
  SetCount(r, total - mid - 1);
  std::memcpy(carry.data(), up, key_len + 4u);
  Store32(carry.data() + key_len + 4, right_no);
  return Status::Ok();
}

}  // namespace vesk::isam
