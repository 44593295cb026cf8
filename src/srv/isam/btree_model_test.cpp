// Long random sequences of B-tree operations checked against an ordered set of (key, record)
// pairs, with the full invariant check after every batch and reopenings along the way.
#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <set>

#include "srv/isam/btree.h"

namespace vesk::isam {
namespace {

using Entry = std::pair<std::string, uint32_t>;

struct ModelCase {
  const char* name;
  bool on_disk;  // a temporary folder through Env::Default(), else a MemEnv
  char nature;
  uint16_t key_length;
  uint32_t max_entries;  // 0: the natural order of the node length
  int alphabet;          // distinct key values drawn from
  uint32_t records;      // record numbers drawn from 1 to records
  int target;            // entries the sequence grows to
};

class BTreeModelTest : public ::testing::TestWithParam<ModelCase> {
 protected:
  void SetUp() override {
    const ModelCase& c = GetParam();
    if (c.on_disk) {
      env_ = Env::Default();
      dir_ = (std::filesystem::temp_directory_path() /
              ("vesk_btree_" + std::string(c.name) + "_" + std::to_string(std::random_device{}())))
                 .string();
      ASSERT_TRUE(env_->CreateDirectories(dir_).ok());
    } else {
      env_ = &mem_;
      dir_ = "mem";
    }
    path_ = dir_ + "/T.DAB";
    rng_.seed(1234 + c.key_length + c.nature);
    Reopen();
  }
  void TearDown() override {
    tree_.reset();
    if (GetParam().on_disk) std::filesystem::remove_all(dir_);
  }

  void Reopen() {
    const ModelCase& c = GetParam();
    if (tree_) {
      ASSERT_TRUE(tree_->Flush().ok());
    }
    tree_.reset();
    BTreeOptions options;
    options.max_entries = c.max_entries;
    Status st = BTree::Open(env_, path_, c.key_length, c.nature, "T", true, options, &tree_);
    ASSERT_TRUE(st.ok()) << st.message();
  }

  // A key padded with spaces; long keys share a long prefix so comparisons run deep.
  std::string RandomKey() {
    const ModelCase& c = GetParam();
    int v = std::uniform_int_distribution<int>(0, c.alphabet - 1)(rng_);
    if (c.key_length == 1) return std::string(1, static_cast<char>('!' + v));
    std::string digits = std::to_string(v);
    std::string key(c.key_length, ' ');
    size_t at = c.key_length > 100 ? c.key_length - 20 : 0;
    if (at > 0) key.replace(0, at, at, 'x');
    key.replace(at, digits.size(), digits);
    return key;
  }
  uint32_t RandomRecord() {
    return std::uniform_int_distribution<uint32_t>(1, GetParam().records)(rng_);
  }
  // An entry of the model near a random one (the model is not empty).
  Entry SomeEntry() {
    auto it = model_.lower_bound({RandomKey(), 0});
    return it == model_.end() ? *model_.begin() : *it;
  }
  bool KeyPresent(const std::string& key) {
    auto it = model_.lower_bound({key, 0});
    return it != model_.end() && it->first == key;
  }

  void Insert() { InsertPair(RandomKey(), RandomRecord()); }
  void InsertPair(const std::string& key, uint32_t record) {
    bool dup = GetParam().nature == 'P' ? KeyPresent(key) : model_.count({key, record}) != 0;
    Status st = tree_->Insert(key, record);
    if (dup) {
      ASSERT_TRUE(st.IsDuplicate()) << st.message();
    } else {
      ASSERT_TRUE(st.ok()) << st.message();
      model_.insert({key, record});
    }
  }
  // Keys in order after the largest, as a batch loading sorted data gives them: the inserts
  // that go to the end of the last leaf, with now and then the largest key again (an append
  // in an 'S' tree when its record is larger, a duplicate in a 'P' tree) and a lookup between
  // two (another path taken).
  void AppendRun() {
    int run = std::uniform_int_distribution<int>(1, 40)(rng_);
    for (int i = 0; i < run; ++i) {
      if (model_.empty()) {
        ASSERT_NO_FATAL_FAILURE(Insert());
        continue;
      }
      std::string key = model_.rbegin()->first;
      if (rng_() % 8 != 0) {
        size_t at = key.find_last_not_of('\xff');
        if (at == std::string::npos) return;
        key[at] = static_cast<char>(static_cast<unsigned char>(key[at]) + 1);
      }
      ASSERT_NO_FATAL_FAILURE(InsertPair(key, RandomRecord()));
      if (rng_() % 10 == 0) {
        ASSERT_NO_FATAL_FAILURE(Find());
      }
    }
  }
  void Erase() {
    if (model_.empty() || rng_() % 8 == 0) {
      Entry e{RandomKey(), RandomRecord()};
      Status st = tree_->Erase(e.first, e.second);
      ASSERT_EQ(st.ok(), model_.erase(e) == 1) << st.message();
      return;
    }
    Entry e = SomeEntry();
    Status st = tree_->Erase(e.first, e.second);
    ASSERT_TRUE(st.ok()) << st.message();
    model_.erase(e);
  }
  void Find() {
    std::string key = RandomKey();
    uint32_t record = 0;
    Status st = tree_->Find(key, &record);
    auto it = model_.lower_bound({key, 0});
    if (it == model_.end() || it->first != key) {
      ASSERT_TRUE(st.IsNotFound()) << st.message();
    } else {
      ASSERT_TRUE(st.ok()) << st.message();
      ASSERT_EQ(record, it->second);
    }
  }
  // A short walk from a random pair; the tree changes under it now and then.
  void Walk() {
    Entry at{RandomKey(), RandomRecord()};
    for (int step = 0; step < 30; ++step) {
      std::string key;
      uint32_t record = 0;
      Status st = tree_->SeekAfter(at.first, at.second, &key, &record);
      auto it = model_.upper_bound(at);
      if (it == model_.end()) {
        ASSERT_TRUE(st.IsNotFound()) << st.message();
        return;
      }
      ASSERT_TRUE(st.ok()) << st.message();
      ASSERT_EQ(Entry(key, record), *it);
      at = *it;
      if (step % 7 == 3) {
        ASSERT_NO_FATAL_FAILURE(Insert());
      }
      if (step % 11 == 5) {
        ASSERT_NO_FATAL_FAILURE(Erase());
      }
    }
  }
  void CheckAll() {
    std::vector<Entry> seen;
    ASSERT_TRUE(tree_
                    ->ForEach([&](std::string_view k, uint32_t r) {
                      seen.emplace_back(std::string(k), r);
                      return true;
                    })
                    .ok());
    ASSERT_EQ(seen, std::vector<Entry>(model_.begin(), model_.end()));
    std::vector<std::string> problems;
    ASSERT_TRUE(tree_->Verify(&problems).ok());
    ASSERT_TRUE(problems.empty()) << problems.front();
    BTreeHeader h;
    ASSERT_TRUE(tree_->Header(&h).ok());
    ASSERT_EQ(h.keys, model_.size());
    max_levels_ = std::max(max_levels_, h.levels);
  }
  // Operations until the model holds about target entries.
  void Phase(size_t target, int batches) {
    bool grow = model_.size() < target;
    for (int b = 0; b < batches; ++b) {
      for (int i = 0; i < 200; ++i) {
        int roll = std::uniform_int_distribution<int>(0, 99)(rng_);
        bool insert = grow ? roll < 70 : roll < 25;
        if (roll >= 90) {
          ASSERT_NO_FATAL_FAILURE(Find());
        } else if (roll >= 85) {
          ASSERT_NO_FATAL_FAILURE(Walk());
        } else if (grow && roll >= 80) {
          ASSERT_NO_FATAL_FAILURE(AppendRun());
        } else if (insert) {
          ASSERT_NO_FATAL_FAILURE(Insert());
        } else {
          ASSERT_NO_FATAL_FAILURE(Erase());
        }
        if (grow ? model_.size() >= target : model_.size() <= target) return;
      }
      ASSERT_NO_FATAL_FAILURE(CheckAll());
    }
  }

  MemEnv mem_;
  Env* env_ = nullptr;
  std::string dir_, path_;
  std::unique_ptr<BTree> tree_;
  std::mt19937 rng_;
  std::set<Entry> model_;
  uint32_t max_levels_ = 0;
};

TEST_P(BTreeModelTest, RandomSequencesMatchTheModel) {
  const ModelCase& c = GetParam();
  size_t target = static_cast<size_t>(c.target);
  ASSERT_NO_FATAL_FAILURE(Phase(target, 1000));
  ASSERT_NO_FATAL_FAILURE(CheckAll());
  ASSERT_NO_FATAL_FAILURE(Reopen());
  ASSERT_NO_FATAL_FAILURE(CheckAll());
  ASSERT_NO_FATAL_FAILURE(Phase(target / 10, 1000));
  ASSERT_NO_FATAL_FAILURE(Reopen());
  ASSERT_NO_FATAL_FAILURE(Phase(target / 2, 1000));
  ASSERT_NO_FATAL_FAILURE(CheckAll());
  EXPECT_GE(max_levels_, c.max_entries != 0 || c.key_length > 100 ? 3u : 2u);
  // Down to nothing: every merge and root collapse on the way.
  while (!model_.empty()) {
    Entry e = SomeEntry();
    ASSERT_TRUE(tree_->Erase(e.first, e.second).ok());
    model_.erase(e);
    if (model_.size() % 97 == 0) {
      ASSERT_NO_FATAL_FAILURE(CheckAll());
    }
  }
  ASSERT_NO_FATAL_FAILURE(CheckAll());
  BTreeHeader h;
  ASSERT_TRUE(tree_->Header(&h).ok());
  EXPECT_EQ(h.levels, 1u);
  EXPECT_EQ(h.nodes, 1u);
  EXPECT_EQ(h.free_count + h.nodes, h.allocated);
  std::string key;
  uint32_t record = 0;
  EXPECT_TRUE(tree_->SeekAfter("", 0, &key, &record).IsNotFound());
}

INSTANTIATE_TEST_SUITE_P(
    Natures, BTreeModelTest,
    ::testing::Values(ModelCase{"P16_order6", false, 'P', 16, 6, 5000, 1000000, 2500},
                      ModelCase{"S4_order5_dups", false, 'S', 4, 5, 60, 1000, 2000},
                      ModelCase{"S1_tiny", false, 'S', 1, 0, 6, 100000, 2500},
                      ModelCase{"P1_tiny", false, 'P', 1, 4, 200, 1000000, 150},
                      ModelCase{"S500_disk", true, 'S', 500, 0, 3000, 40, 5000},
                      ModelCase{"P500_disk", true, 'P', 500, 0, 100000, 1000000, 5000}),
    [](const ::testing::TestParamInfo<ModelCase>& info) { return info.param.name; });

}  // namespace
}  // namespace vesk::isam
