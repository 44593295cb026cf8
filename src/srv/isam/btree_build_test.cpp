#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "srv/isam/btree.h"

namespace vesk::isam {
namespace {

constexpr char kPath[] = "d/T.DAB";

std::string Key(uint32_t v) {
  std::string s = std::to_string(v);
  return std::string(10 - s.size(), '0') + s;
}

struct Entries {
  std::vector<std::string> keys;
  std::vector<uint32_t> records;
  BTree::Entree Source() const {
    return [this](size_t i, const char** k, uint32_t* r) {
      *k = keys[i].data();
      *r = records[i];
    };
  }
};

std::unique_ptr<BTree> NewTree(MemEnv& env, char nature, uint32_t order = 0) {
  BTreeOptions options;
  options.max_entries = order;
  std::unique_ptr<BTree> t;
  Status s = BTree::Open(&env, kPath, 10, nature, "T", true, options, &t);
  EXPECT_TRUE(s.ok()) << s.message();
  return t;
}

// Every size from the empty tree to several levels, at the smallest order and the real one: the
// loaded tree passes the full check, holds exactly the entries in order, reopens from disk, and
// takes insertions and erasures afterwards.
TEST(BTreeLoad, LoadedTreesAreSoundAtEverySizeAndKeepWorking) {
  for (uint32_t order : {4u, 0u}) {
    for (uint32_t n : {0u, 1u, 3u, 4u, 5u, 9u, 17u, 64u, 100u, 1000u, 5000u}) {
      MemEnv env;
      auto t = NewTree(env, 'P', order);
      Entries e;
      for (uint32_t i = 0; i < n; ++i) {
        e.keys.push_back(Key(i * 2));
        e.records.push_back(n - i);
      }
      ASSERT_TRUE(t->Load(n, e.Source()).ok()) << n;
      t.reset();
      ASSERT_TRUE(BTree::Open(&env, kPath, 10, 'P', "T", false, &t).ok());
      std::vector<std::string> problems;
      ASSERT_TRUE(t->Verify(&problems).ok());
      EXPECT_TRUE(problems.empty()) << "order " << order << " n " << n << ": " << problems[0];
      size_t i = 0;
      ASSERT_TRUE(t->ForEach([&](std::string_view k, uint32_t r) {
                     EXPECT_EQ(k, e.keys[i]);
                     EXPECT_EQ(r, e.records[i]);
                     ++i;
                     return true;
                   }).ok());
      EXPECT_EQ(i, n);
      for (uint32_t x = 0; x < n; x += 7) {  // lookups, found and between two keys
        uint32_t record = 0;
        ASSERT_TRUE(t->Find(Key(x * 2), &record).ok()) << x;
        EXPECT_EQ(record, n - x);
        EXPECT_TRUE(t->Find(Key(x * 2 + 1), &record).IsNotFound());
      }
      for (uint32_t x = 0; x < n; x += 3) ASSERT_TRUE(t->Insert(Key(x * 2 + 1), x + 1).ok());
      for (uint32_t x = 0; x < n; x += 2) ASSERT_TRUE(t->Erase(Key(x * 2), n - x).ok());
      ASSERT_TRUE(t->Verify(&problems).ok());
      EXPECT_TRUE(problems.empty()) << "after changes, order " << order << " n " << n;
    }
  }
}

TEST(BTreeLoad, SecondaryTreesTakeEqualKeysOrderedByRecord) {
  MemEnv env;
  auto t = NewTree(env, 'S', 4);
  Entries e;
  for (uint32_t i = 0; i < 50; ++i) {
    e.keys.push_back(Key(i / 7));
    e.records.push_back(i + 1);
  }
  ASSERT_TRUE(t->Load(50, e.Source()).ok());
  std::vector<std::string> problems;
  ASSERT_TRUE(t->Verify(&problems).ok());
  EXPECT_TRUE(problems.empty());
  uint32_t record = 0;
  ASSERT_TRUE(t->Find(Key(3), &record).ok());
  EXPECT_EQ(record, 22u);
}

// A primary key given twice names both records; entries out of order, a record 0 and a tree
// that is not empty are refused.
TEST(BTreeLoad, RefusesDuplicatesDisorderAndTreesInUse) {
  MemEnv env;
  auto t = NewTree(env, 'P');
  Entries e{{Key(1), Key(2), Key(2)}, {5, 9, 12}};
  Status s = t->Load(3, e.Source());
  EXPECT_TRUE(s.IsDuplicate());
  EXPECT_NE(s.message().find("enregistrements 9 et 12"), std::string::npos) << s.message();

  t.reset();
  t = NewTree(env, 'P');  // the same file, still empty: nothing reached it
  std::vector<std::string> problems;
  ASSERT_TRUE(t->Verify(&problems).ok());
  EXPECT_TRUE(problems.empty());
  MemEnv env_s;
  t = NewTree(env_s, 'S');
  Entries disorder{{Key(2), Key(1)}, {1, 2}};
  EXPECT_FALSE(t->Load(2, disorder.Source()).ok());
  Entries same{{Key(1), Key(1)}, {4, 3}};
  EXPECT_FALSE(t->Load(2, same.Source()).ok());
  Entries zero{{Key(1)}, {0}};
  EXPECT_FALSE(t->Load(1, zero.Source()).ok());

  MemEnv env2;
  auto used = NewTree(env2, 'P');
  ASSERT_TRUE(used->Insert(Key(1), 1).ok());
  Entries one{{Key(5)}, {2}};
  EXPECT_FALSE(used->Load(1, one.Source()).ok());
}

}  // namespace
}  // namespace vesk::isam
