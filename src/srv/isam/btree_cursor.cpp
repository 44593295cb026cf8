// B-tree lookups: descent, Find, SeekAfter (with its hint for sequential walks) and ForEach.
#include "srv/isam/btree_impl.h"

namespace vesk::isam {

using namespace btree;  // NOLINT: the file's own layout names

namespace {

constexpr uint32_t kCacheLine = 64;  // bytes of a processor cache line

}  // namespace

Status BTree::Impl::Descend(const char* key, uint32_t record, uint32_t* leaf,
                            const char** leaf_node, bool ask_leaf) {
  edge_mods = ~uint64_t{0};  // path_steps is about to name another path
  uint32_t no = root;
  for (uint32_t level = levels - 1; level > 0; --level) {
    const char* n = nullptr;
    VESK_RETURN_IF_ERROR(ReadNode(no, level, &n));
    // The child to follow: the number of separators <= (key, record).
    uint32_t idx = Search(n, inner_stride, key, record, /*strict=*/true);
    path_steps[level] = Step{no, idx, Count(n), 0};
    no = Child(n, idx);
  }
  // The leaf is where a lookup waits on memory: its binary search touches lines all over it.
  // Asking for every line at once lets them arrive together, not one probe after the other.
  const char* cached = nullptr;
  if (ask_leaf && pager->Cached(no, &cached)) {
    for (uint32_t at = 0; at < node_len; at += kCacheLine) __builtin_prefetch(cached + at);
  }
  VESK_RETURN_IF_ERROR(ReadNode(no, 0, leaf_node));
  *leaf = no;
  return Status::Ok();
}

Status BTree::Impl::LeftmostLeaf(uint32_t* leaf, const char** leaf_node) {
  uint32_t no = root;
  for (uint32_t level = levels - 1; level > 0; --level) {
    const char* n = nullptr;
    VESK_RETURN_IF_ERROR(ReadNode(no, level, &n));
    no = Child(n, 0);
  }
  VESK_RETURN_IF_ERROR(ReadNode(no, 0, leaf_node));
  *leaf = no;
  return Status::Ok();
}

Status BTree::Impl::BrokenChain(uint32_t leaf) const {
  return Corrupt("chaînage des feuilles rompu au noeud " + std::to_string(leaf));
}

Status BTree::Impl::EntryAt(uint32_t leaf, uint32_t slot, std::string* key, uint32_t* record,
                            const char* after_key, uint32_t after_record) {
  // Only the root leaf may be empty, so one hop is the rule; more means a damaged chain.
  for (uint32_t hops = 0; hops <= allocated; ++hops) {
    const char* n = nullptr;
    VESK_RETURN_IF_ERROR(ReadNode(leaf, 0, &n));
    if (slot < Count(n)) {
      const char* e = Entry(n, leaf_stride, slot);
      if (after_key != nullptr && !After(e, after_key, after_record)) return BrokenChain(leaf);
      if (key != nullptr) key->assign(e, key_len);
      *record = Record(e);
      hint_leaf = leaf;
      hint_slot = slot;
      hint_mods = mods;
      return Status::Ok();
    }
    leaf = Link(n);
    slot = 0;
    if (leaf == 0) return Status::NotFound("fin du B-arbre " + path);
  }
  return BrokenChain(leaf);
}

Status BTree::Find(std::string_view key, uint32_t* record) {
  Impl& m = *impl_;
  VESK_RETURN_IF_ERROR(m.CheckKey(key, 1));
  uint32_t leaf = 0;
  const char* n = nullptr;
  VESK_RETURN_IF_ERROR(m.Descend(key.data(), 0, &leaf, &n));
  uint32_t pos = m.Search(n, m.leaf_stride, key.data(), 0, /*strict=*/false);
  if (pos < Count(n)) {
    const char* e = Impl::Entry(n, m.leaf_stride, pos);
    if (std::memcmp(e, key.data(), m.key_len) != 0) {
      return Status::NotFound("clé absente du B-arbre " + m.path);
    }
    *record = m.Record(e);
    return Status::Ok();
  }
  // Only in an 'S' tree may the first record of key open the next leaf.
  std::string found;
  Status st = m.EntryAt(leaf, pos, &found, record);
  if (st.IsNotFound() || (st.ok() && found != key)) {
    return Status::NotFound("clé absente du B-arbre " + m.path);
  }
  return st;
}

Status BTree::SeekAfter(std::string_view key, uint32_t record, std::string* found_key,
                        uint32_t* found_record) {
  Impl& m = *impl_;
  uint32_t leaf = 0;
  const char* n = nullptr;
  if (key.empty()) {
    VESK_RETURN_IF_ERROR(m.LeftmostLeaf(&leaf, &n));
    return m.EntryAt(leaf, 0, found_key, found_record);
  }
  if (key.size() != m.key_len) return m.CheckKey(key, 1);
  // A walk asks for the entry after the one it was just given: when the tree has not changed
  // since, that entry is still at the hint. In a 'P' tree the key alone names it, and the walk
  // may pass any record number (a primary walk passes the largest). Whatever the path, the
  // entry given comes after (key, record): a walk only goes forward, so that a damaged tree
  // (a leaf linked back to itself, entries out of order) ends it with Corruption, never in a
  // loop.
  if (m.hint_mods == m.mods && m.ReadNode(m.hint_leaf, 0, &n).ok() && m.hint_slot < Count(n)) {
    const char* e = Impl::Entry(n, m.leaf_stride, m.hint_slot);
    uint32_t r = m.Record(e);
    if ((!m.by_record || r == record) && std::memcmp(e, key.data(), m.key_len) == 0) {
      uint32_t slot = r <= record ? m.hint_slot + 1 : m.hint_slot;
      if (slot < Count(n)) {  // the usual case: the next entry is in the same leaf
        const char* next = Impl::Entry(n, m.leaf_stride, slot);
        if (!m.After(next, key.data(), record)) return m.BrokenChain(m.hint_leaf);
        if (found_key != nullptr) found_key->assign(next, m.key_len);
        *found_record = m.Record(next);
        m.hint_slot = slot;
        return Status::Ok();
      }
      return m.EntryAt(m.hint_leaf, slot, found_key, found_record, key.data(), record);
    }
  }
  VESK_RETURN_IF_ERROR(m.Descend(key.data(), record, &leaf, &n));
  uint32_t pos = 0;
  if (m.by_record) {
    pos = m.Search(n, m.leaf_stride, key.data(), record, /*strict=*/true);
  } else {
    // Ordered by key alone: the entry of key itself comes after (key, record) only when its
    // record is greater.
    pos = m.Search(n, m.leaf_stride, key.data(), record, /*strict=*/false);
    if (pos < Count(n)) {
      const char* e = Impl::Entry(n, m.leaf_stride, pos);
      if (std::memcmp(e, key.data(), m.key_len) == 0 && m.Record(e) <= record) ++pos;
    }
  }
  return m.EntryAt(leaf, pos, found_key, found_record, key.data(), record);
}

uint32_t BTree::RecordAhead(uint32_t distance) {
  Impl& m = *impl_;
  const char* n = nullptr;
  // A cached block that is not a sound leaf (a damaged file) gives nothing: ReadNode, not
  // called here, is what reports it.
  auto leaf = [&m](const char* x) {
    return Kind(x) == kLeaf && x[node::kLevelAt] == 0 && Count(x) <= m.leaf_cap;
  };
  if (m.hint_mods != m.mods || !m.pager->Cached(m.hint_leaf, &n) || !leaf(n)) return 0;
  uint32_t slot = m.hint_slot + distance;
  if (slot >= Count(n)) {
    slot -= Count(n);
    uint32_t next = Link(n);
    if (next == 0 || next > m.allocated || !m.pager->Cached(next, &n) || !leaf(n)) return 0;
  }
  return slot < Count(n) ? m.Record(Impl::Entry(n, m.leaf_stride, slot)) : 0;
}

Status BTree::ForEach(const std::function<bool(std::string_view key, uint32_t record)>& visit) {
  Impl& m = *impl_;
  uint32_t leaf = 0;
  const char* n = nullptr;
  VESK_RETURN_IF_ERROR(m.LeftmostLeaf(&leaf, &n));
  // The last entry of the leaves visited: the next leaf's first entry must come after it, or
  // its link led back (each entry would be visited again and again).
  std::string last;
  uint32_t last_record = 0;
  for (uint32_t hops = 0; hops <= m.allocated; ++hops) {
    for (uint32_t i = 0;; ++i) {
      // Fetched again after each visit: visit may read through the pager.
      VESK_RETURN_IF_ERROR(m.ReadNode(leaf, 0, &n));
      if (i >= Count(n)) break;
      const char* e = Impl::Entry(n, m.leaf_stride, i);
      if (i == 0 && !last.empty() && !m.After(e, last.data(), last_record)) {
        return m.BrokenChain(leaf);
      }
      if (!visit(std::string_view(e, m.key_len), m.Record(e))) return Status::Ok();
    }
    if (Count(n) > 0) {
      const char* e = Impl::Entry(n, m.leaf_stride, Count(n) - 1);
      last.assign(e, m.key_len);
      last_record = m.Record(e);
    }
    leaf = Link(n);
    if (leaf == 0) return Status::Ok();
  }
  return m.BrokenChain(leaf);
}

}  // namespace vesk::isam
