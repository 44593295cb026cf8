// The inside of BTree, shared by its implementation files (btree_node.cpp, btree_insert.cpp,
// btree_erase.cpp, btree_cursor.cpp, btree_verify.cpp). The byte layout is described in
// docs/btree-format.md. Thread rules: those of BTree.
#ifndef VESK_SRV_ISAM_BTREE_IMPL_H_
#define VESK_SRV_ISAM_BTREE_IMPL_H_

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "srv/isam/btree.h"
#include "srv/isam/coding.h"
#include "srv/isam/pager.h"

namespace vesk::isam::btree {

// ---- Little-endian fields (coding.h) ----
using isam::Load16;
using isam::Load32;
using isam::Load64;
using isam::Store16;
using isam::Store32;
using isam::Store64;

// The 8 bytes of v, loaded from memory, as a number whose order is their memcmp order.
inline uint64_t ToBigEndian(uint64_t v) {
  if constexpr (std::endian::native == std::endian::little) return __builtin_bswap64(v);
  return v;
}

// CRC-32 (IEEE 802.3, reflected, polynomial 0xEDB88320), as zlib computes it.
uint32_t Crc32(const char* data, size_t n);
// The checksum of node n (node_len bytes) without its checksum field; never 0.
uint32_t NodeChecksum(const char* n, size_t node_len);

// ---- File header (node 0) ----
inline constexpr char kMagic[8] = {'V', 'E', 'S', 'K', '-', 'D', 'A', 'B'};
inline constexpr uint16_t kVersion = 1;
inline constexpr size_t kIndexedNameMax = 64;
namespace hdr {
inline constexpr size_t kMagicAt = 0, kVersionAt = 8, kKeyLenAt = 10, kNodeLenAt = 12,
                        kPtrLenAt = 16, kNatureAt = 18, kDirtyAt = 19, kOrderAt = 20,
                        kInnerOrderAt = 24, kLevelsAt = 28, kKeysAt = 32, kNodesAt = 40,
                        kAllocatedAt = 44, kRootAt = 48, kFreeHeadAt = 52, kFreeCountAt = 56,
                        kChangeAt = 64, kIndexedAt = 72, kChecksumAt = 156, kSize = 160;
}  // namespace hdr

// ---- Nodes ----
inline constexpr char kLeaf = 'L', kInner = 'I', kFree = 'F';
namespace node {
inline constexpr size_t kKindAt = 0, kLevelAt = 1, kCountAt = 2, kChecksumAt = 4, kLinkAt = 8,
                        kChild0At = 12, kHeader = 16;
}  // namespace node
inline constexpr uint32_t kMaxLevels = 32;
inline constexpr uint16_t kMaxKeyLength = 1024;
inline constexpr uint32_t kMinEntries = 50;  // fewest entries a node of the chosen length holds
inline constexpr uint32_t kMinOrder = 4;     // smallest order a file may record

inline char Kind(const char* n) { return n[node::kKindAt]; }
inline uint32_t Count(const char* n) { return Load16(n + node::kCountAt); }
inline void SetCount(char* n, uint32_t c) { Store16(n + node::kCountAt, static_cast<uint16_t>(c)); }
inline uint32_t Link(const char* n) { return Load32(n + node::kLinkAt); }
inline void SetLink(char* n, uint32_t v) { Store32(n + node::kLinkAt, v); }

// Node length for a key length: the smallest power of two from 4 KiB up where a leaf and an
// inner node both hold at least kMinEntries entries.
uint32_t NodeLengthFor(uint16_t key_length);

// One step of a descent: the node and the index taken in it (child index in an inner node,
// entry position in a leaf), plus the sibling chosen for rebalancing.
struct Step {
  uint32_t node = 0;
  uint32_t index = 0;
  uint32_t count = 0;
  uint32_t sibling = 0;
};

}  // namespace vesk::isam::btree

namespace vesk::isam {

struct BTree::Impl {
  std::unique_ptr<Pager> pager;
  std::string path;
  bool read_only = false;

  // Header, kept in memory and stored in node 0 after every change.
  uint32_t node_len = 0;
  uint16_t key_len = 0;
  char nature = 'P';
  bool by_record = false;  // 'S': the record number is part of the order
  uint32_t leaf_cap = 0, inner_cap = 0, leaf_min = 0, inner_min = 0;
  uint32_t leaf_stride = 0, inner_stride = 0;
  uint32_t levels = 0;
  uint64_t keys = 0;
  uint32_t nodes = 0, allocated = 0, root = 0, free_head = 0, free_count = 0;
  std::string indexed_file;
  uint64_t change_counter = 0;
  bool header_changed = false;  // the values above differ from node 0 in the cache
  bool header_dirty = false;    // node 0 changed, its checksum not yet completed

  // The header's values at the start of the current operation (Mark / RestoreMark).
  struct Counts {
    uint32_t levels = 0, nodes = 0, allocated = 0, root = 0, free_head = 0, free_count = 0;
    uint64_t keys = 0, change_counter = 0;
    bool header_changed = false;
  };
  Counts marked;

  // Cursor hint: the leaf and slot of the last entry SeekAfter gave, valid while mods is still
  // hint_mods.
  uint64_t mods = 0;
  uint32_t hint_leaf = 0, hint_slot = 0;
  uint64_t hint_mods = ~uint64_t{0};

  // The last insert appended its entry to the tree's last leaf without a split: while mods is
  // still edge_mods, path_steps holds the path to that leaf (Descend resets it).
  uint64_t edge_mods = ~uint64_t{0};

  std::array<btree::Step, btree::kMaxLevels + 1> path_steps{};
  std::vector<char> scratch;  // two nodes' worth, for splits
  std::vector<char> carry;    // the entry moving up a level

  // ---- btree_node.cpp ----
  Status Corrupt(const std::string& what) const;
  Status CheckKey(std::string_view key, uint32_t record) const;
  Status CheckWritable() const;
  // The node no at level (0 = leaf), checked: number in range, kind, level and count.
  Status ReadNode(uint32_t no, uint32_t level, const char** out);
  Status WriteNode(uint32_t no, char** out);
  // Leaf no for the insertion (entries [pos, count) move right by one) or the removal (entries
  // after pos move left by one) of entry pos among count: its count and that move are reported,
  // so that an operation's undo keeps a few bytes, not the entries moved.
  Status ShiftEntries(uint32_t no, uint32_t pos, uint32_t count, bool insert, char** out);
  // Checks that the next k nodes AllocNode will give can be given (free list sound).
  Status CheckAllocations(uint32_t k);
  Status AllocNode(char kind, uint32_t level, uint32_t* no, char** out);
  Status FreeNode(uint32_t no);
  Status StoreHeader();
  // The flush hook: the header's values into node 0 when they changed, and its checksum.
  Status StampHeader();
  Status LoadFormat(const char* h);
  Status LoadHeader(const char* h, uint64_t file_size);

  uint32_t Stride(uint32_t level) const { return level == 0 ? leaf_stride : inner_stride; }
  uint32_t Cap(uint32_t level) const { return level == 0 ? leaf_cap : inner_cap; }
  uint32_t Min(uint32_t level) const { return level == 0 ? leaf_min : inner_min; }
  static char* Entry(char* n, uint32_t stride, uint32_t i) {
    return n + btree::node::kHeader + size_t{i} * stride;
  }
  static const char* Entry(const char* n, uint32_t stride, uint32_t i) {
    return n + btree::node::kHeader + size_t{i} * stride;
  }
  uint32_t Record(const char* entry) const { return btree::Load32(entry + key_len); }
  // Child i (0..count) of an inner node.
  uint32_t Child(const char* n, uint32_t i) const {
    return i == 0 ? btree::Load32(n + btree::node::kChild0At)
                  : btree::Load32(Entry(n, inner_stride, i - 1) + key_len + 4);
  }
  void SetChild(char* n, uint32_t i, uint32_t child) const {
    if (i == 0) {
      btree::Store32(n + btree::node::kChild0At, child);
    } else {
      btree::Store32(Entry(n, inner_stride, i - 1) + key_len + 4, child);
    }
  }
  // memcmp of two keys; the first 16 bytes are compared 8 at a time as big-endian numbers,
  // which settles most comparisons without a call (keys often share a long prefix).
  int CompareKeys(const char* a, const char* b) const {
    uint32_t done = 0;
    for (; done + 8 <= key_len && done < 16; done += 8) {
      uint64_t x, y;
      std::memcpy(&x, a + done, 8);
      std::memcpy(&y, b + done, 8);
      if (x != y) return btree::ToBigEndian(x) < btree::ToBigEndian(y) ? -1 : 1;
    }
    return done == key_len ? 0 : std::memcmp(a + done, b + done, key_len - done);
  }
  // Compares an entry with (key, record); the record counts only in an 'S' tree.
  int Compare(const char* entry, const char* key, uint32_t record) const {
    int c = CompareKeys(entry, key);
    if (c != 0 || !by_record) return c;
    uint32_t r = Record(entry);
    return r < record ? -1 : (r > record ? 1 : 0);
  }
  // Whether entry comes strictly after (key, record) in (key, record) order, whatever the
  // nature: a walk's next entry must, or the leaf chain sent it back (a damaged link).
  bool After(const char* entry, const char* key, uint32_t record) const {
    int c = CompareKeys(entry, key);
    return c > 0 || (c == 0 && Record(entry) > record);
  }
  // First position whose entry is >= (key, record), or > it when strict.
  uint32_t Search(const char* n, uint32_t stride, const char* key, uint32_t record,
                  bool strict) const {
    uint32_t lo = 0, hi = btree::Count(n);
    __builtin_prefetch(Entry(n, stride, hi / 4));
    __builtin_prefetch(Entry(n, stride, hi / 2));
    __builtin_prefetch(Entry(n, stride, 3 * hi / 4));
    while (lo < hi) {
      uint32_t mid = (lo + hi) / 2;
      // The next probe is the middle of one half or the other: ask for both lines now, so that
      // the memory latency of the next step overlaps this one.
      __builtin_prefetch(Entry(n, stride, (lo + mid) / 2));
      __builtin_prefetch(Entry(n, stride, (mid + 1 + hi) / 2));
      int c = Compare(Entry(n, stride, mid), key, record);
      if (c < 0 || (strict && c == 0)) {
        lo = mid + 1;
      } else {
        hi = mid;
      }
    }
    return lo;
  }

  // ---- btree_cursor.cpp ----
  // Descends from the root towards (key, record), filling path_steps[level] for the inner
  // levels; *leaf receives the leaf reached. ask_leaf: every line of the leaf is asked for
  // as soon as it is known (a lookup; a change goes through the leaf's lines anyway).
  Status Descend(const char* key, uint32_t record, uint32_t* leaf, const char** leaf_node,
                 bool ask_leaf = true);
  Status LeftmostLeaf(uint32_t* leaf, const char** leaf_node);
  // The entry at (leaf, slot), moving on to the following leaves when slot is past the end.
  // With after_key, the entry must come after (after_key, after_record) (After): a walk that a
  // damaged leaf link would send back, or round for ever, gets Corruption instead.
  Status EntryAt(uint32_t leaf, uint32_t slot, std::string* key, uint32_t* record,
                 const char* after_key = nullptr, uint32_t after_record = 0);
  // Corruption for a leaf link that leads back or out of order, from leaf.
  Status BrokenChain(uint32_t leaf) const;

  // ---- btree_insert.cpp / btree_erase.cpp ----
  // Checks a change of (key, record) may be made, and finds the leaf where the pair is or
  // would be: the node, its entry count and the pair's position (path_steps filled).
  Status FindForChange(std::string_view key, uint32_t record, uint32_t* leaf, const char** ln,
                       uint32_t* count, uint32_t* pos);
  // For keys inserted in order: when the last insert appended to the tree's last leaf and
  // nothing changed since, and (key, record) comes after that leaf's last entry, *leaf, *ln
  // and *count describe that leaf (the pair goes at its end) and *at_edge is true; otherwise
  // *at_edge is false and FindForChange is to be used.
  Status FindAtEdge(std::string_view key, uint32_t record, uint32_t* leaf, const char** ln,
                    uint32_t* count, bool* at_edge);
  Status Insert(std::string_view key, uint32_t record);
  // The steps of an insertion into a leaf (path_steps[0] describes it).
  Status ShareFullLeaf(uint32_t leaf, uint32_t pos, std::string_view key, uint32_t record,
                       bool* shared);
  Status CheckSplitRoom();
  Status PutInLeaf(uint32_t leaf, uint32_t pos, uint32_t count, std::string_view key,
                   uint32_t record);
  Status InsertInner(uint32_t level);
  Status GrowRoot(uint32_t level);
  Status SplitInner(uint32_t level, char* w, uint32_t count);
  Status SplitLeaf(char* leaf, uint32_t pos, const char* key, uint32_t record);
  Status Erase(std::string_view key, uint32_t record);
  Status PlanRebalance(uint32_t leaf_count, uint32_t* top);
  Status Rebalance(uint32_t level);
  void Borrow(uint32_t level, char* p, char* n, char* s);
  Status Merge(uint32_t level, char* p, char* n, char* s);
  Status CollapseRoot();
  void Changed();
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_BTREE_IMPL_H_
