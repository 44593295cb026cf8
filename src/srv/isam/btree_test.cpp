#include "srv/isam/btree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "srv/isam/btree_impl.h"
#include "srv/isam/redo_log.h"

namespace vesk::isam {
namespace {

constexpr char kPath[] = "d/CLI1.DAB";

std::string Key(int v, size_t len = 8) {
  std::string s = std::to_string(v);
  s.insert(0, len > s.size() ? len - s.size() : 0, '0');
  return s.substr(0, len);
}

class BTreeTest : public ::testing::Test {
 protected:
  Status Open(uint16_t key_length = 8, char nature = 'P', uint32_t max_entries = 0) {
    tree_.reset();
    BTreeOptions options;
    options.max_entries = max_entries;
    return BTree::Open(&env_, kPath, key_length, nature, "CLI", true, options, &tree_);
  }
  void Fill(int n, char nature = 'P', uint32_t order = 4) {
    ASSERT_TRUE(Open(8, nature, order).ok());
    for (int i = 0; i < n; ++i) ASSERT_TRUE(tree_->Insert(Key(i), i + 1).ok());
    ASSERT_TRUE(tree_->Flush().ok());
  }
  std::string& Bytes() { return *env_.Contents(kPath); }
  uint32_t NodeLength() {
    BTreeHeader h;
    EXPECT_TRUE(tree_->Header(&h).ok());
    return h.node_length;
  }
  // Rewrites a header field and its checksum, as a damaged but self-consistent header.
  void PatchHeader32(size_t at, uint32_t value) {
    char* h = Bytes().data();
    btree::Store32(h + at, value);
    btree::Store32(h + btree::hdr::kChecksumAt, btree::Crc32(h, btree::hdr::kChecksumAt));
  }
  void ExpectCorrupt(const Status& st, const std::string& what) {
    EXPECT_TRUE(st.IsCorruption()) << st.message();
    EXPECT_NE(st.message().find(kPath), std::string::npos) << st.message();
    EXPECT_NE(st.message().find(what), std::string::npos) << st.message();
  }

  MemEnv env_;
  std::unique_ptr<BTree> tree_;
};

TEST_F(BTreeTest, NodeLengthGrowsWithTheKeySoANodeHoldsFiftyEntries) {
  for (auto [key_length, node_length] : {std::pair<uint16_t, uint32_t>{1, 4096},
                                         {16, 4096},
                                         {74, 8192},
                                         {300, 16384},
                                         {500, 32768},
                                         {1024, 65536}}) {
    ASSERT_TRUE(env_.RemoveFile(kPath).ok() || key_length == 1);
    ASSERT_TRUE(Open(key_length, 'S').ok());
    BTreeHeader h;
    ASSERT_TRUE(tree_->Header(&h).ok());
    EXPECT_EQ(h.node_length, node_length) << key_length;
    EXPECT_GE(h.order, 50u);
    EXPECT_GE(h.inner_order, 50u);
    EXPECT_EQ(h.pointer_length, 4);
    EXPECT_EQ(Bytes().size(), 2u * node_length) << "header node and an empty root leaf";
  }
}

TEST(BTreeChecksumTest, IsTheZlibCrc32) {
  EXPECT_EQ(btree::Crc32("123456789", 9), 0xCBF43926u);
  const char fox[] = "The quick brown fox jumps over the lazy dog";  // eight at a time, then a tail
  EXPECT_EQ(btree::Crc32(fox, sizeof fox - 1), 0x414FA339u);
  EXPECT_EQ(btree::Crc32(fox, 0), 0u);
}

TEST_F(BTreeTest, HeaderSurvivesReopen) {
  Fill(500, 'S');
  BTreeHeader before;
  ASSERT_TRUE(tree_->Header(&before).ok());
  EXPECT_GE(before.levels, 3u);
  EXPECT_EQ(before.keys, 500u);
  ASSERT_TRUE(Open(8, 'S').ok());
  BTreeHeader after;
  ASSERT_TRUE(tree_->Header(&after).ok());
  EXPECT_EQ(after.indexed_file, "CLI");
  EXPECT_EQ(after.order, 4u);
  EXPECT_EQ(after.keys, before.keys);
  EXPECT_EQ(after.levels, before.levels);
  EXPECT_EQ(after.root, before.root);
  EXPECT_EQ(after.nodes, before.nodes);
  EXPECT_EQ(after.change_counter, 500u);
  uint32_t record = 0;
  ASSERT_TRUE(tree_->Find(Key(321), &record).ok());
  EXPECT_EQ(record, 322u);
}

TEST_F(BTreeTest, BadArgumentsAreRefused) {
  std::unique_ptr<BTree> t;
  EXPECT_EQ(BTree::Open(&env_, kPath, 0, 'P', "", true, &t).code(), Status::Code::kInvalidArgument);
  EXPECT_EQ(BTree::Open(&env_, kPath, 1025, 'P', "", true, &t).code(),
            Status::Code::kInvalidArgument);
  EXPECT_EQ(BTree::Open(&env_, kPath, 8, 'X', "", true, &t).code(), Status::Code::kInvalidArgument);
  EXPECT_EQ(BTree::Open(&env_, kPath, 8, 'P', std::string(65, 'N'), true, &t).code(),
            Status::Code::kInvalidArgument);
  EXPECT_TRUE(BTree::Open(&env_, kPath, 8, 'P', "", false, &t).IsNotFound());
  EXPECT_EQ(env_.Contents(kPath), nullptr) << "nothing created by a refused open";

  ASSERT_TRUE(Open().ok());
  uint32_t record = 0;
  EXPECT_EQ(tree_->Insert("short", 1).code(), Status::Code::kInvalidArgument);
  EXPECT_EQ(tree_->Insert(Key(1), 0).code(), Status::Code::kInvalidArgument);
  EXPECT_EQ(tree_->Find("toolongkey", &record).code(), Status::Code::kInvalidArgument);
  std::string k;
  EXPECT_EQ(tree_->SeekAfter("x", 1, &k, &record).code(), Status::Code::kInvalidArgument);
}

TEST_F(BTreeTest, OtherKeyLengthOrNatureIsRefusedAndLeavesTheFile) {
  Fill(20);
  std::string before = Bytes();
  Status st = Open(9, 'P');
  EXPECT_EQ(st.code(), Status::Code::kInvalidArgument);
  EXPECT_NE(st.message().find("longueur de clé 8"), std::string::npos) << st.message();
  EXPECT_NE(st.message().find("9"), std::string::npos) << st.message();
  st = Open(8, 'S');
  EXPECT_EQ(st.code(), Status::Code::kInvalidArgument);
  EXPECT_NE(st.message().find("'S'"), std::string::npos) << st.message();
  EXPECT_EQ(Bytes(), before);
}

TEST_F(BTreeTest, DuplicatesDependOnTheNature) {
  Fill(50, 'P');
  std::string before = Bytes();
  EXPECT_TRUE(tree_->Insert(Key(7), 99).IsDuplicate());
  ASSERT_TRUE(tree_->Flush().ok());
  EXPECT_EQ(Bytes(), before) << "a refused insertion writes nothing";
  uint32_t record = 0;
  ASSERT_TRUE(tree_->Find(Key(7), &record).ok());
  EXPECT_EQ(record, 8u);
  EXPECT_TRUE(tree_->Erase(Key(7), 99).IsNotFound()) << "the pair must match";

  ASSERT_TRUE(env_.RemoveFile(kPath).ok());
  ASSERT_TRUE(Open(8, 'S', 4).ok());
  for (uint32_t r : {30u, 10u, 20u}) ASSERT_TRUE(tree_->Insert(Key(5), r).ok());
  EXPECT_TRUE(tree_->Insert(Key(5), 20).IsDuplicate());
  ASSERT_TRUE(tree_->Find(Key(5), &record).ok());
  EXPECT_EQ(record, 10u) << "the first record of the key";
  ASSERT_TRUE(tree_->Erase(Key(5), 10).ok());
  ASSERT_TRUE(tree_->Find(Key(5), &record).ok());
  EXPECT_EQ(record, 20u);
}

TEST_F(BTreeTest, RecordAheadSeesTheWalksLeafAndTheNextOne) {
  Fill(40, 'P');  // leaves of at most 4 entries: the ahead entries often lie in the next leaf
  std::string key;
  uint32_t record = 0;
  EXPECT_EQ(tree_->RecordAhead(1), 0u) << "no walk yet";
  ASSERT_TRUE(tree_->SeekAfter("", 0, &key, &record).ok());
  int found = 0;
  for (int i = 0; i < 40; ++i) {
    ASSERT_EQ(record, static_cast<uint32_t>(i + 1));
    for (uint32_t d = 1; d <= 6; ++d) {
      uint32_t ahead = tree_->RecordAhead(d);
      // Either the record of the entry d places ahead, or nothing when it lies further.
      if (ahead != 0) {
        EXPECT_EQ(ahead, static_cast<uint32_t>(i + 1 + d)) << i << " " << d;
      }
      found += ahead != 0;
    }
    Status s = tree_->SeekAfter(key, record, &key, &record);
    ASSERT_TRUE(s.ok() || (i == 39 && s.IsNotFound()));
  }
  EXPECT_GT(found, 120) << "the entries of the next leaf count";
  ASSERT_TRUE(tree_->SeekAfter(Key(10), 11, &key, &record).ok());
  EXPECT_EQ(tree_->RecordAhead(1), 13u);
  ASSERT_TRUE(tree_->Insert(Key(100), 101).ok());
  EXPECT_EQ(tree_->RecordAhead(1), 0u) << "the tree changed since";
}

// Inside a batch an operation is undone alone from what it kept: for an insertion or an
// erasure inside a leaf, only the bytes its move covered, the moved entries being moved back.
TEST_F(BTreeTest, ABatchUndoesAnInsertionOrErasureInsideALeafByMovingItsEntriesBack) {
  ASSERT_TRUE(Open(8, 'P').ok());
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(tree_->Insert(Key(2 * i), i + 1).ok());
  ASSERT_TRUE(tree_->Flush().ok());
  auto walk = [&] {
    std::vector<std::pair<std::string, uint32_t>> all;
    EXPECT_TRUE(tree_
                    ->ForEach([&](std::string_view k, uint32_t r) {
                      all.emplace_back(std::string(k), r);
                      return true;
                    })
                    .ok());
    return all;
  };
  const auto before = walk();
  RedoLog redo_log(&env_, "d");
  redo_log.Watch({tree_->pager(), nullptr, [&] { return tree_->Reload(); }, [&] { tree_->Mark(); },
                  [&] { tree_->RestoreMark(); }});
  redo_log.SetBatch(true);
  const std::vector<std::function<void()>> operations = {
      [&] { ASSERT_TRUE(tree_->Insert(Key(101), 999).ok()); },  // in the middle of the leaf
      [&] { ASSERT_TRUE(tree_->Erase(Key(100), 51).ok()); },
      [&] {
        ASSERT_TRUE(tree_->Insert(Key(3), 998).ok());
        ASSERT_TRUE(tree_->Erase(Key(150), 76).ok());
        ASSERT_TRUE(tree_->Insert(Key(999), 997).ok());  // after the last entry
      }};
  for (size_t i = 0; i < operations.size(); ++i) {
    redo_log.BeginOperation();
    operations[i]();
    ASSERT_TRUE(redo_log.RollbackOperation().ok());
    EXPECT_EQ(walk(), before) << i;
    std::vector<std::string> problems;
    ASSERT_TRUE(tree_->Verify(&problems).ok());
    EXPECT_TRUE(problems.empty()) << problems.front();
  }
  // An operation that ends well stays.
  redo_log.BeginOperation();
  ASSERT_TRUE(tree_->Insert(Key(101), 999).ok());
  ASSERT_TRUE(redo_log.EndOperation().ok());
  uint32_t record = 0;
  ASSERT_TRUE(tree_->Find(Key(101), &record).ok());
  EXPECT_EQ(record, 999u);
}

TEST_F(BTreeTest, SeekAfterFollowsKeyThenRecordOrder) {
  Fill(30, 'P');
  std::string key;
  uint32_t record = 0;
  ASSERT_TRUE(tree_->SeekAfter("", 0, &key, &record).ok());
  EXPECT_EQ(key, Key(0));
  // In a 'P' tree the key's own entry comes after (key, smaller record).
  ASSERT_TRUE(tree_->SeekAfter(Key(4), 1, &key, &record).ok());
  EXPECT_EQ(std::make_pair(key, record), std::make_pair(Key(4), 5u));
  ASSERT_TRUE(tree_->SeekAfter(Key(4), 5, &key, &record).ok());
  EXPECT_EQ(key, Key(5));
  // An absent key: the next one; past the last: NotFound.
  ASSERT_TRUE(tree_->SeekAfter("00000004x", 0, &key, &record).code() ==
              Status::Code::kInvalidArgument);
  ASSERT_TRUE(tree_->SeekAfter("0000000:", 0, &key, &record).ok());
  EXPECT_EQ(key, Key(10));
  EXPECT_TRUE(tree_->SeekAfter(Key(29), 30, &key, &record).IsNotFound());
  // A walk whose last entry was erased under it goes on from the following one.
  ASSERT_TRUE(tree_->SeekAfter(Key(10), 11, &key, &record).ok());
  ASSERT_TRUE(tree_->Erase(Key(11), 12).ok());
  ASSERT_TRUE(tree_->Insert(Key(11), 50).ok());
  ASSERT_TRUE(tree_->SeekAfter(Key(11), 12, &key, &record).ok());
  EXPECT_EQ(std::make_pair(key, record), std::make_pair(Key(11), 50u));
  // Right after an entry was given (the walk's hint), the same answers as from a descent.
  ASSERT_TRUE(tree_->SeekAfter(Key(11), 50, &key, &record).ok());
  ASSERT_TRUE(tree_->SeekAfter(Key(12), 1, &key, &record).ok());
  EXPECT_EQ(std::make_pair(key, record), std::make_pair(Key(12), 13u));
  ASSERT_TRUE(tree_->SeekAfter(Key(12), UINT32_MAX, &key, &record).ok());
  EXPECT_EQ(std::make_pair(key, record), std::make_pair(Key(13), 14u));
  int walked = 1;
  for (Status st = tree_->SeekAfter("", 0, &key, &record); st.ok();
       st = tree_->SeekAfter(std::string(key), UINT32_MAX, &key, &record)) {
    EXPECT_EQ(key, Key(walked - 1));
    ++walked;
  }
  EXPECT_EQ(walked, 31);
}

TEST_F(BTreeTest, FreedNodesAreListedAndReused) {
  Fill(400, 'P');
  for (int i = 0; i < 350; ++i) ASSERT_TRUE(tree_->Erase(Key(i), i + 1).ok());
  BTreeHeader h;
  ASSERT_TRUE(tree_->Header(&h).ok());
  std::vector<uint32_t> free_nodes;
  ASSERT_TRUE(tree_->FreeNodes(&free_nodes).ok());
  EXPECT_EQ(free_nodes.size(), h.free_count);
  EXPECT_GT(h.free_count, 50u);
  EXPECT_EQ(free_nodes.front(), h.free_head);
  BTreeStats stats;
  ASSERT_TRUE(tree_->Stats(&stats).ok());
  EXPECT_EQ(stats.free_nodes, h.free_count);
  EXPECT_EQ(stats.keys_per_level.back(), 50u);
  EXPECT_EQ(stats.nodes_per_level.size(), h.levels);
  EXPECT_EQ(stats.nodes_per_level.front(), 1u);
  EXPECT_GT(stats.fill_ratio, 0.4);
  EXPECT_LE(stats.fill_ratio, 1.0);
  EXPECT_EQ(stats.file_bytes, (h.allocated + 1ull) * h.node_length);
  // New splits take the freed nodes before the file grows.
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(tree_->Insert(Key(i), i + 1).ok());
  BTreeHeader again;
  ASSERT_TRUE(tree_->Header(&again).ok());
  EXPECT_EQ(again.allocated, h.allocated);
  EXPECT_LT(again.free_count, h.free_count);
  std::vector<std::string> problems;
  ASSERT_TRUE(tree_->Verify(&problems).ok());
  EXPECT_TRUE(problems.empty()) << problems.front();
}

// Appends fill leaves up (the rightmost one may stay short), random inserts share a full leaf
// with a sibling before splitting it; erasing from the short rightmost leaf keeps the tree sound.
TEST_F(BTreeTest, LoadsFillNodesWell) {
  auto fill = [&](const std::vector<int>& order) {
    ASSERT_TRUE(Open(8, 'P', 0).ok());
    for (int v : order) ASSERT_TRUE(tree_->Insert(Key(v), v + 1).ok());
    std::vector<std::string> problems;
    ASSERT_TRUE(tree_->Verify(&problems).ok());
    ASSERT_TRUE(problems.empty()) << problems.front();
  };
  std::vector<int> order(20000);
  for (int i = 0; i < 20000; ++i) order[i] = i;
  ASSERT_NO_FATAL_FAILURE(fill(order));
  BTreeStats stats;
  ASSERT_TRUE(tree_->Stats(&stats).ok());
  EXPECT_GT(stats.fill_ratio, 0.97);
  // Down from the end: the short rightmost leaf borrows or merges each time.
  for (int i = 19999; i >= 19000; --i) ASSERT_TRUE(tree_->Erase(Key(i), i + 1).ok());
  std::vector<std::string> problems;
  ASSERT_TRUE(tree_->Verify(&problems).ok());
  EXPECT_TRUE(problems.empty()) << problems.front();
  uint32_t record = 0;
  EXPECT_TRUE(tree_->Find(Key(18999), &record).ok());
  EXPECT_TRUE(tree_->Find(Key(19000), &record).IsNotFound());

  std::mt19937 rng(7);
  std::shuffle(order.begin(), order.end(), rng);
  ASSERT_NO_FATAL_FAILURE(fill(order));
  ASSERT_TRUE(tree_->Stats(&stats).ok());
  EXPECT_GT(stats.fill_ratio, 0.78);
  int expected = 0;
  ASSERT_TRUE(tree_
                  ->ForEach([&](std::string_view k, uint32_t r) {
                    EXPECT_EQ(k, Key(expected));
                    EXPECT_EQ(r, static_cast<uint32_t>(expected + 1));
                    ++expected;
                    return true;
                  })
                  .ok());
  EXPECT_EQ(expected, 20000);
}

TEST_F(BTreeTest, DamagedHeaderIsReportedNotRepaired) {
  Fill(100);
  const std::string good = Bytes();
  struct Damage {
    std::function<void()> apply;
    std::string what;
  };
  std::vector<Damage> damages = {
      {[&] { Bytes()[0] = 'X'; }, "signature"},
      {[&] { Bytes()[btree::hdr::kVersionAt] = 9; }, "version de format 9"},
      {[&] { Bytes()[btree::hdr::kKeysAt] ^= 1; }, "somme de contrôle"},
      {[&] { PatchHeader32(btree::hdr::kRootAt, 99999); }, "racine 99999"},
      {[&] { PatchHeader32(btree::hdr::kLevelsAt, 0); }, "niveaux"},
      {[&] { PatchHeader32(btree::hdr::kNodeLenAt, 8192); }, "longueur de noeud"},
      {[&] { Bytes().resize(Bytes().size() - 10); }, "tronqué"},
      {[&] { Bytes().resize(100); }, "en-tête incomplet"},
      {[&] { Bytes().clear(); }, "vide"},
  };
  for (const Damage& d : damages) {
    tree_.reset();
    Bytes() = good;
    d.apply();
    std::string damaged = Bytes();
    std::unique_ptr<BTree> t;
    ExpectCorrupt(BTree::Open(&env_, kPath, 8, 'P', "", false, &t), d.what);
    EXPECT_EQ(Bytes(), damaged) << d.what << ": the file stays as it was";
  }
}

TEST_F(BTreeTest, DamagedNodeIsReportedByEveryOperation) {
  Fill(300, 'P');
  BTreeHeader h;
  ASSERT_TRUE(tree_->Header(&h).ok());
  uint32_t node_len = NodeLength();
  // The root's first child gets a number past the file; then a leaf gets an impossible count.
  char* root = Bytes().data() + size_t{h.root} * node_len;
  uint32_t child = btree::Load32(root + btree::node::kChild0At);
  btree::Store32(root + btree::node::kChild0At, 7777);
  btree::Store32(root + btree::node::kChecksumAt, 0);  // no checksum: the structure speaks
  ASSERT_TRUE(Open(8, 'P').ok());
  uint32_t record = 0;
  std::string key;
  ExpectCorrupt(tree_->Find(Key(0), &record), "7777 hors limites");
  ExpectCorrupt(tree_->Insert(Key(0), 5), "7777");
  ExpectCorrupt(tree_->SeekAfter("", 0, &key, &record), "7777");
  ExpectCorrupt(tree_->ForEach([](std::string_view, uint32_t) { return true; }), "7777");
  std::vector<std::string> problems;
  ASSERT_TRUE(tree_->Verify(&problems).ok());
  ASSERT_FALSE(problems.empty());
  EXPECT_NE(problems.front().find("7777"), std::string::npos) << problems.front();

  tree_.reset();
  btree::Store32(root + btree::node::kChild0At, child);
  // Find the leftmost leaf and give it an impossible count.
  char* n = root;
  for (uint32_t level = h.levels - 1; level > 0; --level) {
    n = Bytes().data() + size_t{btree::Load32(n + btree::node::kChild0At)} * node_len;
  }
  btree::Store16(n + btree::node::kCountAt, 60000);
  btree::Store32(n + btree::node::kChecksumAt, 0);
  ASSERT_TRUE(Open(8, 'P').ok());
  ExpectCorrupt(tree_->Find(Key(0), &record), "nombre d'entrées 60000");
  ExpectCorrupt(tree_->Erase(Key(0), 1), "60000");
  ASSERT_TRUE(tree_->Verify(&problems).ok());
  EXPECT_FALSE(problems.empty());
}

TEST_F(BTreeTest, VerifyListsEveryBrokenInvariant) {
  Fill(300, 'P');
  for (int i = 0; i < 200; ++i) ASSERT_TRUE(tree_->Erase(Key(i), i + 1).ok());
  ASSERT_TRUE(tree_->Flush().ok());
  BTreeHeader h;
  ASSERT_TRUE(tree_->Header(&h).ok());
  ASSERT_GE(h.free_count, 2u);
  uint32_t node_len = NodeLength();
  // The free list loops back on its head, and the header counts one key too many.
  char* head = Bytes().data() + size_t{h.free_head} * node_len;
  btree::Store32(head + btree::node::kLinkAt, h.free_head);
  btree::Store32(head + btree::node::kChecksumAt, 0);
  PatchHeader32(btree::hdr::kKeysAt, 101);
  ASSERT_TRUE(Open(8, 'P').ok());
  std::vector<std::string> problems;
  ASSERT_TRUE(tree_->Verify(&problems).ok());
  std::string all;
  for (const auto& p : problems) all += p + "\n";
  EXPECT_NE(all.find("cycle"), std::string::npos) << all;
  EXPECT_NE(all.find("101 clés annoncées, 100"), std::string::npos) << all;
  EXPECT_NE(all.find("perdu"), std::string::npos) << all;
  std::vector<uint32_t> free_nodes;
  EXPECT_TRUE(tree_->FreeNodes(&free_nodes).IsCorruption());
}

TEST_F(BTreeTest, ReloadSeesWhatAnotherHandleWrote) {
  Fill(100, 'P');
  std::unique_ptr<BTree> other;
  ASSERT_TRUE(BTree::Open(&env_, kPath, 8, 'P', "", false, &other).ok());
  std::string key;
  uint32_t record = 0;
  ASSERT_TRUE(other->SeekAfter(Key(50), 51, &key, &record).ok());  // leaves a hint
  for (int i = 100; i < 400; ++i) ASSERT_TRUE(tree_->Insert(Key(i), i + 1).ok());
  ASSERT_TRUE(tree_->Erase(Key(51), 52).ok());
  ASSERT_TRUE(tree_->Flush().ok());
  ASSERT_TRUE(other->Reload().ok());
  ASSERT_TRUE(other->Find(Key(399), &record).ok());
  EXPECT_EQ(record, 400u);
  ASSERT_TRUE(other->SeekAfter(Key(50), 51, &key, &record).ok());
  EXPECT_EQ(key, Key(52));
  std::vector<std::string> problems;
  ASSERT_TRUE(other->Verify(&problems).ok());
  EXPECT_TRUE(problems.empty()) << problems.front();
  ASSERT_TRUE(other->Insert(Key(1000), 7).ok());
  EXPECT_EQ(other->Reload().code(), Status::Code::kInvalidArgument) << "unflushed changes";
}

TEST_F(BTreeTest, ChangesReachTheRedoLogHookBeforeTheyHappen) {
  Fill(10, 'P', 0);
  std::vector<uint64_t> blocks;
  std::vector<std::pair<uint32_t, size_t>> ranges;
  tree_->pager()->SetBeforeChangeHook([&](uint64_t no, uint32_t from, std::span<const char> b) {
    blocks.push_back(no);
    ranges.emplace_back(from, b.size());
    return Status::Ok();
  });
  tree_->pager()->StartChangeEpoch();
  ASSERT_TRUE(tree_->Insert(Key(50), 51).ok());
  ASSERT_TRUE(tree_->Insert(Key(51), 52).ok());
  ASSERT_TRUE(tree_->Flush().ok());
  // The leaf's count and new entry at each insert, then the header once, at the flush.
  EXPECT_EQ(blocks, (std::vector<uint64_t>{1, 1, 1, 1, 0}));
  EXPECT_EQ(ranges[1], std::make_pair(uint32_t{16 + 10 * 12}, size_t{12}))
      << "the eleventh entry (8-byte key, 4-byte record)";
  EXPECT_EQ(ranges.back(), std::make_pair(uint32_t{0}, size_t{4096}));
}

}  // namespace
}  // namespace vesk::isam
