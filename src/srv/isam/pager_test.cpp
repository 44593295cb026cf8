#include "srv/isam/pager.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace vesk::isam {
namespace {

using platform::IoStatus;
using platform::OpenMode;

// Wraps the files of a MemEnv: records every write and fails the writes after fail_after.
class RecordingEnv : public MemEnv {
 public:
  struct Log {
    std::vector<std::pair<uint64_t, size_t>> writes;
    int fail_after = -1;  // writes allowed before the failures start; -1: never fail
    int syncs = 0;
  };

  IoStatus OpenFile(const std::string& path, OpenMode mode,
                    std::unique_ptr<platform::File>* out) override {
    std::unique_ptr<platform::File> inner;
    IoStatus io = MemEnv::OpenFile(path, mode, &inner);
    if (io.ok()) *out = std::make_unique<LoggedFile>(std::move(inner), &log);
    return io;
  }

  Log log;

 private:
  class LoggedFile : public platform::File {
   public:
    LoggedFile(std::unique_ptr<platform::File> inner, Log* log)
        : inner_(std::move(inner)), log_(log) {}
    IoStatus ReadAt(uint64_t offset, std::span<char> out, size_t* read) override {
      return inner_->ReadAt(offset, out, read);
    }
    IoStatus WriteAt(uint64_t offset, std::span<const char> data) override {
      if (log_->fail_after >= 0 && static_cast<int>(log_->writes.size()) >= log_->fail_after) {
        return IoStatus{platform::Code::kNoSpace, 28, "plus de place : " + Path()};
      }
      log_->writes.emplace_back(offset, data.size());
      return inner_->WriteAt(offset, data);
    }
    IoStatus Sync() override {
      ++log_->syncs;
      return inner_->Sync();
    }
    IoStatus Size(uint64_t* size) override { return inner_->Size(size); }
    IoStatus Truncate(uint64_t size) override { return inner_->Truncate(size); }
    IoStatus Lock(platform::LockKind kind, int timeout_ms) override {
      return inner_->Lock(kind, timeout_ms);
    }
    IoStatus Unlock() override { return inner_->Unlock(); }
    const std::string& Path() const override { return inner_->Path(); }

   private:
    std::unique_ptr<platform::File> inner_;
    Log* log_;
  };
};

constexpr uint32_t kBlock = 4096;

std::unique_ptr<Pager> OpenPager(Env* env, size_t cache = 16, OpenMode mode = OpenMode::kCreate) {
  std::unique_ptr<Pager> pager;
  Status st = Pager::Open(env, "d/F.DAT", mode, kBlock, cache, &pager);
  EXPECT_TRUE(st.ok()) << st.message();
  return pager;
}

std::string Pattern(size_t n, int seed) {
  std::string s(n, '\0');
  for (size_t i = 0; i < n; ++i) s[i] = static_cast<char>((i * 7 + seed) % 251);
  return s;
}

TEST(PagerTest, RangesAcrossBlocksSurviveFlushAndReopen) {
  RecordingEnv env;
  auto pager = OpenPager(&env);
  std::string data = Pattern(3 * kBlock + 100, 3);
  ASSERT_TRUE(pager->Write(kBlock - 50, data).ok());
  EXPECT_EQ(pager->Size(), kBlock - 50 + data.size());
  std::string back(data.size(), '\0');
  ASSERT_TRUE(pager->Read(kBlock - 50, back).ok());
  EXPECT_EQ(back, data);
  EXPECT_TRUE(env.log.writes.empty()) << "nothing reaches the file before Flush";
  ASSERT_TRUE(pager->Sync().ok());
  EXPECT_EQ(env.log.syncs, 1);
  // Exact logical size on disk, not rounded up to a block.
  EXPECT_EQ(env.Contents("d/F.DAT")->size(), kBlock - 50 + data.size());

  pager = OpenPager(&env, 2);
  std::string again(data.size(), '\0');
  ASSERT_TRUE(pager->Read(kBlock - 50, again).ok());
  EXPECT_EQ(again, data);
  // Past the end: zeros, and the count of bytes that lay before it.
  char tail[300];
  size_t got = 99;
  ASSERT_TRUE(pager->Read(pager->Size() - 10, tail, &got).ok());
  EXPECT_EQ(got, 10u);
  EXPECT_EQ(std::string(tail + 10, 290), std::string(290, '\0'));
}

TEST(PagerTest, FlushWritesDirtyBlocksInOrderCoalescingNeighbours) {
  RecordingEnv env;
  auto pager = OpenPager(&env);
  for (uint64_t no : {7, 2, 3, 9, 0}) {
    char* block = nullptr;
    ASSERT_TRUE(pager->BlockForWrite(no, &block).ok());
    std::memset(block, static_cast<int>('a' + no), kBlock);
  }
  ASSERT_TRUE(pager->Flush().ok());
  std::vector<std::pair<uint64_t, size_t>> expected = {
      {0, kBlock}, {2 * kBlock, 2 * kBlock}, {7 * kBlock, kBlock}, {9 * kBlock, kBlock}};
  EXPECT_EQ(env.log.writes, expected);
  EXPECT_EQ((*env.Contents("d/F.DAT"))[3 * kBlock], 'd');
  EXPECT_EQ((*env.Contents("d/F.DAT"))[5 * kBlock], '\0') << "untouched block reads as zeros";
  // A second flush has nothing left to write.
  ASSERT_TRUE(pager->Flush().ok());
  EXPECT_EQ(env.log.writes.size(), expected.size());
}

TEST(PagerTest, CleanCacheStaysBoundedAndRecentBlocksStayValid) {
  RecordingEnv env;
  auto pager = OpenPager(&env, 4);
  for (uint64_t no = 0; no < 64; ++no) {
    std::string b(kBlock, static_cast<char>(no));
    ASSERT_TRUE(pager->Write(no * kBlock, b).ok());
  }
  ASSERT_TRUE(pager->Flush().ok());
  uint64_t reads = pager->counters().block_reads;
  // Every block again: most were dropped and come back from the file.
  for (uint64_t no = 0; no < 64; ++no) {
    const char* b = nullptr;
    ASSERT_TRUE(pager->BlockForRead(no, &b).ok());
    ASSERT_EQ(b[100], static_cast<char>(no));
  }
  EXPECT_GE(pager->counters().block_reads - reads, 56u);
  EXPECT_GT(pager->counters().evictions, 0u);
  // Pointers of the last kRecentBlocks fetches stay usable even with a tiny cache.
  std::vector<const char*> held;
  for (uint64_t no = 10; no < 10 + Pager::kRecentBlocks; ++no) {
    const char* b = nullptr;
    ASSERT_TRUE(pager->BlockForRead(no, &b).ok());
    held.push_back(b);
  }
  for (size_t i = 0; i < held.size(); ++i) EXPECT_EQ(held[i][0], static_cast<char>(10 + i));
}

TEST(PagerTest, FailedWriteRefusesEveryLaterWrite) {
  RecordingEnv env;
  auto pager = OpenPager(&env);
  ASSERT_TRUE(pager->Write(0, Pattern(kBlock, 1)).ok());
  ASSERT_TRUE(pager->Write(5 * kBlock, Pattern(10, 2)).ok());
  env.log.fail_after = 1;
  Status st = pager->Flush();
  EXPECT_EQ(st.code(), Status::Code::kIOError);
  EXPECT_TRUE(pager->Failed());
  env.log.fail_after = -1;  // the file works again, the pager does not trust it
  for (Status later : {pager->Write(0, Pattern(4, 3)), pager->Flush(), pager->Sync()}) {
    EXPECT_FALSE(later.ok());
    EXPECT_NE(later.message().find("écriture refusée : une écriture précédente a échoué"),
              std::string::npos)
        << later.message();
  }
  char* block = nullptr;
  EXPECT_FALSE(pager->BlockForWrite(1, &block).ok());
  // Reading still works.
  std::string back(kBlock, '\0');
  EXPECT_TRUE(pager->Read(0, back).ok());
}

TEST(PagerTest, ChangeHookSeesTheOriginalBytesOfEachChange) {
  RecordingEnv env;
  auto pager = OpenPager(&env);
  ASSERT_TRUE(pager->Write(0, Pattern(3 * kBlock, 5)).ok());
  ASSERT_TRUE(pager->Flush().ok());
  const std::string disk = Pattern(3 * kBlock, 5);
  struct Seen {
    uint64_t no;
    uint32_t from;
    std::string bytes;
    bool operator==(const Seen&) const = default;
  };
  std::vector<Seen> seen;
  bool refuse = false;
  pager->SetBeforeChangeHook([&](uint64_t no, uint32_t from, std::span<const char> original) {
    if (refuse) return Status::IOError("journal plein");
    seen.push_back({no, from, std::string(original.data(), original.size())});
    return Status::Ok();
  });
  pager->StartChangeEpoch();
  // Ranges: each write reports the bytes it changes, across blocks too.
  ASSERT_TRUE(pager->Write(10, std::string("xyz")).ok());
  ASSERT_TRUE(pager->Write(kBlock - 1, std::string("ab")).ok());
  ASSERT_TRUE(pager->Write(11, std::string("Q")).ok());
  // A whole block is reported once per epoch, and its ranges are not reported after it.
  char* block = nullptr;
  ASSERT_TRUE(pager->BlockForWrite(2, &block).ok());
  block[0] = 'W';
  ASSERT_TRUE(pager->BlockForWrite(2, &block).ok());
  ASSERT_TRUE(pager->RangeForWrite(2, 8, 9, &block).ok());
  ASSERT_TRUE(pager->Write(2 * kBlock + 100, std::string("v")).ok());
  EXPECT_FALSE(pager->RangeForWrite(2, 9, 9, &block).ok()) << "empty range";
  EXPECT_FALSE(pager->RangeForWrite(2, 9, kBlock + 1, &block).ok()) << "past the block";
  EXPECT_FALSE(pager->ShiftForWrite(2, 10, 5, 4, &block).ok()) << "reversed";
  EXPECT_FALSE(pager->ShiftForWrite(2, 0, 8, -1, &block).ok()) << "before the block";
  EXPECT_FALSE(pager->ShiftForWrite(2, 8, kBlock, 1, &block).ok()) << "past the block";
  EXPECT_FALSE(pager->ShiftForWrite(2, 8, 16, 0, &block).ok()) << "no move";
  std::vector<Seen> expected = {{0, 10, disk.substr(10, 3)},
                                {0, kBlock - 1, disk.substr(kBlock - 1, 1)},
                                {1, 0, disk.substr(kBlock, 1)},
                                {0, 11, "y"},
                                {2, 0, disk.substr(2 * kBlock, kBlock)}};
  EXPECT_EQ(seen, expected);

  // Putting the first bytes back, latest first, gives the block its bytes again.
  for (auto it = seen.rbegin(); it != seen.rend(); ++it) {
    ASSERT_TRUE(pager->RestoreRange(it->no, it->from, it->bytes).ok());
  }
  std::string back(3 * kBlock, '\0');
  ASSERT_TRUE(pager->Read(0, back).ok());
  EXPECT_EQ(back, disk);

  pager->StartChangeEpoch();
  refuse = true;
  EXPECT_FALSE(pager->Write(kBlock, std::string("Z")).ok());
  std::string b(1, '\0');
  ASSERT_TRUE(pager->Read(kBlock, b).ok());
  EXPECT_EQ(b, disk.substr(kBlock, 1)) << "a refused change leaves the block untouched";
  EXPECT_FALSE(pager->RestoreRange(7, 0, "x").ok()) << "a block that is not in the cache";
}

TEST(PagerTest, RefusesBadArgumentsAndWritesWhenReadOnly) {
  RecordingEnv env;
  std::unique_ptr<Pager> pager;
  EXPECT_EQ(Pager::Open(&env, "d/F.DAT", OpenMode::kCreate, 5000, 4, &pager).code(),
            Status::Code::kInvalidArgument);
  EXPECT_TRUE(Pager::Open(&env, "d/ABSENT.DAT", OpenMode::kRead, kBlock, 4, &pager).IsNotFound());
  ASSERT_TRUE(OpenPager(&env)->Write(0, std::string("abc")).ok());  // never flushed
  pager = OpenPager(&env, 4, OpenMode::kRead);
  EXPECT_EQ(pager->Size(), 0u);
  Status st = pager->Write(0, std::string("abc"));
  EXPECT_EQ(st.code(), Status::Code::kInvalidArgument);
  EXPECT_NE(st.message().find("lecture seule"), std::string::npos);
}

// Two files sharing one budget: the clean blocks of both stay within it, the active file takes
// the idle one's room, and a block read in place lately stays valid while the other file loads.
TEST(CachePoolTest, FilesShareOneBudgetAndTheActiveOneTakesTheRoom) {
  MemEnv env;
  constexpr uint32_t kBlock = 4096;
  auto pool = std::make_shared<CachePool>(size_t{32} * kBlock);
  std::unique_ptr<Pager> a, b;
  ASSERT_TRUE(Pager::Open(&env, "/a", OpenMode::kCreate, kBlock, 0, &a, pool).ok());
  ASSERT_TRUE(Pager::Open(&env, "/b", OpenMode::kCreate, kBlock, 0, &b, pool).ok());
  std::vector<char> block(kBlock);
  for (uint64_t no = 0; no < 64; ++no) {
    block[0] = static_cast<char>(no);
    ASSERT_TRUE(a->Write(no * kBlock, block).ok());
    ASSERT_TRUE(b->Write(no * kBlock, block).ok());
  }
  ASSERT_TRUE(a->Flush().ok());
  ASSERT_TRUE(b->Flush().ok());
  EXPECT_LE(pool->held_bytes(), pool->budget());
  const char* held = nullptr;
  ASSERT_TRUE(a->BlockForRead(5, &held).ok());
  uint64_t b_reads = b->counters().block_reads;
  for (int round = 0; round < 2; ++round) {
    for (uint64_t no = 0; no < 20; ++no) {
      const char* p = nullptr;
      ASSERT_TRUE(b->BlockForRead(no, &p).ok());
      EXPECT_EQ(p[0], static_cast<char>(no));
      EXPECT_LE(pool->held_bytes(), pool->budget());
    }
  }
  // The second round found all 20 blocks of b in memory: a gave its room (but its last 8).
  EXPECT_EQ(b->counters().block_reads - b_reads, 20u);
  EXPECT_GT(a->counters().evictions, 0u);
  EXPECT_EQ(held[0], 5);
  // Changed blocks count too: clean ones give way to them, down to the last 8 fetched of each.
  for (uint64_t no = 100; no < 124; ++no) ASSERT_TRUE(a->Write(no * kBlock, block).ok());
  EXPECT_LE(pool->held_bytes(), size_t{24 + 8 + 8} * kBlock);
  ASSERT_TRUE(a->Flush().ok());
  EXPECT_LE(pool->held_bytes(), pool->budget());
  b.reset();  // a file closed gives its blocks back
  EXPECT_LE(pool->held_bytes(), pool->budget());
  ASSERT_TRUE(a->BlockForRead(63, &held).ok());
  EXPECT_EQ(held[0], 63);
}

// A growing cache takes its memory made ahead on another thread and moves it into large pages
// there once past 64 MiB, while its blocks are written: every block keeps its bytes.
TEST(CachePoolTest, BlocksKeepTheirBytesWhileTheCacheGrowsPastItsOrdinaryPages) {
  MemEnv env;
  constexpr uint64_t kBlocks = 20000;  // 78 MiB
  auto pool = std::make_shared<CachePool>(size_t{96} << 20);
  std::unique_ptr<Pager> a;
  ASSERT_TRUE(Pager::Open(&env, "/a", OpenMode::kCreate, kBlock, 0, &a, pool).ok());
  std::vector<char> block(kBlock);
  for (uint64_t no = 0; no < kBlocks; ++no) {
    std::memcpy(block.data(), &no, sizeof no);
    block[kBlock - 1] = static_cast<char>(no % 251);
    ASSERT_TRUE(a->Write(no * kBlock, block).ok());
  }
  for (uint64_t no = 0; no < kBlocks; ++no) {
    const char* p = nullptr;
    ASSERT_TRUE(a->BlockForRead(no, &p).ok());
    uint64_t got = 0;
    std::memcpy(&got, p, sizeof got);
    ASSERT_EQ(got, no);
    ASSERT_EQ(p[kBlock - 1], static_cast<char>(no % 251)) << no;
  }
  EXPECT_EQ(a->counters().block_reads, 0u);
}

}  // namespace
}  // namespace vesk::isam
