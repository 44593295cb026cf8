// Recovery of redo logs written by hand: the redo log (version 3) replayed up to its last
// complete transaction, and the rollback logs of earlier engines (version 1 with the new
// bytes' checksums inside F and B, version 2 with N and E records at commit).
#include "srv/isam/redo_log.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>

#include "srv/isam/coding.h"
#ifndef _WIN32
#include <unistd.h>
#endif

namespace vesk::isam {
namespace {

constexpr uint64_t kNonce = 0x1234;

// A path of the test folder, as the redo log makes it (the platform's separator).
std::string P(std::string_view nom) { return platform::JoinPath("/d", nom); }

void Record(std::string& j, char type, const std::string& payload) {
  std::string r(1, type);
  r.append(3, '\0');
  AppendLe(r, payload.size(), 4);
  r += payload;
  AppendLe(r, Hash64(r, kNonce), 8);
  j += r;
}

std::string RedoLog(uint32_t version, uint32_t records, const std::string& body) {
  std::string h("VESKJNL\x1A", 8);
  AppendLe(h, version, 4);
  AppendLe(h, 64, 4);
  AppendLe(h, kNonce, 8);
  AppendLe(h, records, 4);
  h.resize(56, '\0');
  AppendLe(h, Hash64(h, 0), 8);
  return h + body;
}

// X.DAT grew from one block of 'o' to two blocks of 'n'; the redo log says so in each layout.
struct Case {
  MemEnv env;
  std::string old_block = std::string(4096, 'o'), new_block = std::string(4096, 'n');
  Case() {
    std::unique_ptr<platform::File> f;
    EXPECT_TRUE(env.OpenFile(P("X.DAT"), platform::OpenMode::kCreate, &f).ok());
    *env.Contents(P("X.DAT")) = new_block + new_block;
    EXPECT_TRUE(env.OpenFile(P("VESK.JNL"), platform::OpenMode::kCreate, &f).ok());
  }
  std::string V1() const {
    std::string body, f, b;
    AppendLe(f, 0, 4), AppendLe(f, 4096, 8), AppendLe(f, 8192, 8), AppendLe(f, 5, 4), f += "X.DAT";
    Record(body, 'F', f);
    AppendLe(b, 0, 4), AppendLe(b, 4096, 4), AppendLe(b, 0, 8), AppendLe(b, 4096, 4),
        AppendLe(b, 0, 4);
    AppendLe(b, Hash64(new_block, 0), 8);
    Record(body, 'B', b + old_block);
    return RedoLog(1, 2, body);
  }
  // Version 2; with_commit false leaves out the N and E records.
  std::string V2(bool with_commit) const {
    std::string body, f, b, n, e;
    AppendLe(f, 0, 4), AppendLe(f, 4096, 8), AppendLe(f, 5, 4), f += "X.DAT";
    Record(body, 'F', f);
    AppendLe(b, 0, 4), AppendLe(b, 4096, 4), AppendLe(b, 0, 8);
    Record(body, 'B', b + old_block);
    std::string appended;
    AppendLe(appended, 0, 4), AppendLe(appended, 4096, 4), AppendLe(appended, 1, 8);
    Record(body, 'B', appended);  // past the original size: no original bytes
    if (!with_commit) return RedoLog(2, 3, body);
    for (uint64_t no : {0, 1}) {
      n.clear();
      AppendLe(n, 0, 4), AppendLe(n, no, 8), AppendLe(n, 4096, 4),
          AppendLe(n, Hash64(new_block, 0), 8);
      Record(body, 'N', n);
    }
    AppendLe(e, 0, 4), AppendLe(e, 8192, 8);
    Record(body, 'E', e);
    return RedoLog(2, 6, body);
  }
  bool Recover(const std::string& redo_log) {
    *env.Contents(P("VESK.JNL")) = redo_log;
    bool rolled = false;
    EXPECT_TRUE(RedoLog::Recover(&env, "/d", &rolled).ok());
    EXPECT_TRUE(env.Contents(P("VESK.JNL"))->empty());
    return rolled;
  }
};

TEST(RedoLogRecoverTest, CompleteLogsOfBothLayoutsAreDroppedWhenTheFilesHoldTheNewBytes) {
  Case c;
  EXPECT_FALSE(c.Recover(c.V1()));
  EXPECT_FALSE(c.Recover(c.V2(true)));
  EXPECT_TRUE(*c.env.Contents(P("X.DAT")) == c.new_block + c.new_block);
}

TEST(RedoLogRecoverTest, HalfWrittenFilesAndMissingCommitRecordsAreRolledBack) {
  for (int layout = 0; layout < 3; ++layout) {
    Case c;
    std::string half = std::string(4096, 'x') + c.new_block;
    *c.env.Contents(P("X.DAT")) = layout == 2 ? c.new_block + c.new_block : half;
    // Version 1 and 2 with a half-written file; version 2 without N and E whatever the file.
    EXPECT_TRUE(c.Recover(layout == 0 ? c.V1() : c.V2(layout == 1))) << layout;
    EXPECT_TRUE(*c.env.Contents(P("X.DAT")) == c.old_block) << layout;
  }
}

TEST(RedoLogRecoverTest, ABlockWithoutItsOriginalBytesInsideTheOriginalSizeIsRefused) {
  Case c;
  std::string body, f, b;
  AppendLe(f, 0, 4), AppendLe(f, 8192, 8), AppendLe(f, 5, 4), f += "X.DAT";
  Record(body, 'F', f);
  AppendLe(b, 0, 4), AppendLe(b, 4096, 4), AppendLe(b, 1, 8);
  Record(body, 'B', b);  // block 1 lies inside the original 8192 bytes: its originals are needed
  EXPECT_FALSE(c.Recover(RedoLog(2, 2, body)));  // incomplete: ignored
  EXPECT_TRUE(*c.env.Contents(P("X.DAT")) == c.new_block + c.new_block);
}

// A redo log (version 3): each record's checksum is seeded with the nonce plus its offset.
struct Redo {
  std::string j = RedoLog(3, 0, "");
  uint32_t count = 0;
  uint64_t start = 64;
  void Add(char type, const std::string& payload) {
    std::string r(1, type);
    r.append(3, '\0');
    AppendLe(r, payload.size(), 4);
    r += payload;
    AppendLe(r, Hash64(r, kNonce + j.size()), 8);
    j += r;
    ++count;
  }
  // One transaction writing block `no` of X.DAT and setting its size.
  void Transaction(uint64_t no, const std::string& block, uint64_t size) {
    std::string f, p, z, c;
    AppendLe(f, 0, 4), AppendLe(f, 5, 4), f += "X.DAT";
    Add('F', f);
    AppendLe(p, 0, 4), AppendLe(p, 4096, 4), AppendLe(p, no, 8);
    Add('P', p + block);
    AppendLe(z, 0, 4), AppendLe(z, size, 8);
    Add('S', z);
    AppendLe(c, count, 4), AppendLe(c, start, 8);
    Add('C', c);
    count = 0;
    start = j.size();
  }
};

TEST(RedoLogRecoverTest, ARedoLogIsReplayedUpToItsLastCompleteTransaction) {
  Case c;
  *c.env.Contents(P("X.DAT")) = c.old_block;  // no commit reached the file
  Redo r;
  r.Transaction(0, c.new_block, 4096);
  r.Transaction(1, std::string(4096, 'm'), 8192);
  const std::string whole = r.j;
  r.Transaction(2, std::string(4096, 't'), 12288);
  // Whole: the three commits; the third torn anywhere in its records: the first two only.
  EXPECT_TRUE(c.Recover(r.j));
  EXPECT_TRUE(*c.env.Contents(P("X.DAT")) ==
              c.new_block + std::string(4096, 'm') + std::string(4096, 't'));
  for (size_t cut : {whole.size() + 1, whole.size() + 30, r.j.size() - 1}) {
    *c.env.Contents(P("X.DAT")) = c.old_block;
    EXPECT_TRUE(c.Recover(r.j.substr(0, cut))) << cut;
    EXPECT_TRUE(*c.env.Contents(P("X.DAT")) == c.new_block + std::string(4096, 'm')) << cut;
  }
  Redo bad = r;
  bad.j = whole;
  std::string f;
  AppendLe(f, 0, 4), AppendLe(f, 8, 4), f += "../X.DAT";  // a path leaving the folder never counts
  bad.Add('F', f);
  std::string commit;
  AppendLe(commit, bad.count, 4), AppendLe(commit, bad.start, 8);
  bad.Add('C', commit);
  *c.env.Contents(P("X.DAT")) = c.old_block;
  EXPECT_TRUE(c.Recover(bad.j));
  EXPECT_TRUE(*c.env.Contents(P("X.DAT")) == c.new_block + std::string(4096, 'm'));
}

TEST(RedoLogRecoverTest, ARedoLogOfAnUnknownVersionIsKeptAndNamed) {
  Case c;
  const std::string j = RedoLog(9, 0, std::string(100, 'z'));
  *c.env.Contents(P("VESK.JNL")) = j;
  bool changed = false;
  Status s = RedoLog::Recover(&c.env, "/d", &changed);
  EXPECT_FALSE(s.ok());
  EXPECT_NE(s.message().find("version 9 inconnue"), std::string::npos) << s.message();
  EXPECT_TRUE(*c.env.Contents(P("VESK.JNL")) == j);
  EXPECT_TRUE(*c.env.Contents(P("X.DAT")) == c.new_block + c.new_block);
}

}  // namespace
}  // namespace vesk::isam

namespace vesk::isam {
namespace {

// A block's record is checksummed from its framing and the block where it lies, without a copy:
// the sum must be that of the record's bytes as the redo log holds them.
TEST(RedoLogHashTest, TheSumOfTwoPartsIsThatOfTheirBytesJoined) {
  std::string bytes;
  for (int i = 0; i < 4200; ++i) bytes.push_back(static_cast<char>(i * 37 + i / 7));
  for (size_t head : {0, 3, 8, 13, 24, 64}) {
    for (size_t tail : {0, 1, 7, 8, 9, 100, 4096, 4100}) {
      const std::span<const char> all(bytes.data(), head + tail);
      EXPECT_EQ(Hash64(all.first(head), all.subspan(head), kNonce + head),
                Hash64(all, kNonce + head))
          << head << " + " << tail;
    }
  }
  EXPECT_NE(Hash64(std::span<const char>(bytes.data(), 24), kNonce),
            Hash64(std::span<const char>(bytes.data(), 24), kNonce + 1));
}

std::string ReadWhole(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// A transaction of several MiB over two files on disk (runs of blocks, a gap, a last block cut
// by the file's end): its records are written from the blocks in several writes, and the redo
// log alone, replayed by recovery over files that never received the blocks, gives them back.
TEST(RedoLogCommitTest, ALargeTransactionIsReplayedWholeFromTheRedoLogAlone) {
  namespace fs = std::filesystem;
  const fs::path racine =
      fs::temp_directory_path() / ("vesk-gros-" + std::to_string(std::random_device{}()));
  fs::remove_all(racine);
  fs::create_directories(racine);
  const std::string d = racine.string();
  Env* env = Env::Default();
  std::unique_ptr<Pager> a, b;
  ASSERT_TRUE(
      Pager::Open(env, platform::JoinPath(d, "A.DAT"), platform::OpenMode::kCreate, 4096, 2000, &a)
          .ok());
  ASSERT_TRUE(
      Pager::Open(env, platform::JoinPath(d, "B.DAT"), platform::OpenMode::kCreate, 512, 2000, &b)
          .ok());
  std::string want_a, want_b;
  for (uint64_t no = 0; no < 700; ++no) {
    std::string block(4096, '\0');
    if (no < 600 || no >= 650) {
      for (size_t i = 0; i < block.size(); i += 8) Store64(block.data() + i, no * 1000003 + i);
    }
    want_a += block;
  }
  want_a += std::string(100, 'z');
  for (size_t i = 0; i < 300 * 512; ++i) want_b.push_back(static_cast<char>(i * 7 + i / 512));
  auto redo = std::make_unique<isam::RedoLog>(env, d);
  isam::RedoLog::Watched wa;
  wa.pager = a.get();
  redo->Watch(wa);
  isam::RedoLog::Watched wb;
  wb.pager = b.get();
  redo->Watch(wb);
  for (uint64_t no = 0; no < 700; ++no) {
    if (no >= 600 && no < 650) continue;
    ASSERT_TRUE(a->Write(no * 4096, std::string_view(want_a).substr(no * 4096, 4096)).ok());
  }
  ASSERT_TRUE(a->Write(700 * 4096, std::string(100, 'z')).ok());
  ASSERT_TRUE(b->Write(0, want_b).ok());
  ASSERT_TRUE(redo->Append({}, nullptr).ok());
  redo->Abandon();  // the files never see the blocks
  EXPECT_EQ(fs::file_size(racine / "A.DAT"), 0u);
  redo.reset();  // every handle closed, as after a crash
  a.reset();
  b.reset();
  bool changed = false;
  ASSERT_TRUE(RedoLog::Recover(env, d, &changed).ok());
  EXPECT_TRUE(changed);
  EXPECT_TRUE(ReadWhole(racine / "A.DAT") == want_a);
  EXPECT_TRUE(ReadWhole(racine / "B.DAT") == want_b);
  fs::remove_all(racine);
}

// A path recorded in a redo log stays inside the data folder.
TEST(RedoLogPathTest, OnlyRelativePathsInsideTheFolderAreSafe) {
  for (const char* sur : {"X.DAT", "A/X.DAT", "A\\X.DAT", "ENT1/CLI1.DAB"}) {
    EXPECT_TRUE(SafeRelative(sur)) << sur;
  }
  for (const char* faux : {"", "..", "../X.DAT", "A/../../X.DAT", "A\\..\\X.DAT", "/etc/passwd",
                           "\\X.DAT", "C:\\X.DAT", "c:X.DAT", "C:/X.DAT", "\\\\serveur\\partage\\X",
                           "//serveur/partage/X", "A/B:flux"}) {
    EXPECT_FALSE(SafeRelative(faux)) << faux;
  }
}

#ifndef _WIN32
// A redo log naming a file through a symbolic link that leads out of the folder is refused by
// recovery, which writes nothing there: neither through a file link nor through a folder link.
TEST(RedoLogPathTest, RecoveryNeverWritesThroughASymbolicLink) {
  namespace fs = std::filesystem;
  const fs::path racine = fs::temp_directory_path() / ("vesk-lien-" + std::to_string(::getpid()));
  fs::remove_all(racine);
  fs::create_directories(racine / "d");
  fs::create_directories(racine / "ailleurs");
  Case c;
  const std::string dehors = std::string(4096, 'x') + c.new_block;  // would be rolled back
  std::ofstream(racine / "dehors.dat", std::ios::binary) << dehors;
  std::ofstream(racine / "ailleurs" / "X.DAT", std::ios::binary) << dehors;
  fs::create_symlink(racine / "dehors.dat", racine / "d" / "X.DAT");
  fs::create_directory_symlink(racine / "ailleurs", racine / "d" / "A");
  // Version 2 without its commit records: rolled back whatever the file holds.
  const std::string d = (racine / "d").string();
  for (const std::string& redo_log : {c.V2(false), std::string()}) {
    std::string j = redo_log;
    if (j.empty()) {  // the same redo log naming A/X.DAT
      std::string body, f, b;
      AppendLe(f, 0, 4), AppendLe(f, 4096, 8), AppendLe(f, 7, 4), f += "A/X.DAT";
      Record(body, 'F', f);
      AppendLe(b, 0, 4), AppendLe(b, 4096, 4), AppendLe(b, 0, 8);
      Record(body, 'B', b + c.old_block);
      j = RedoLog(2, 2, body);
    }
    std::ofstream(racine / "d" / "VESK.JNL", std::ios::binary) << j;
    bool rolled = false;
    Status s = RedoLog::Recover(Env::Default(), d, &rolled);
    EXPECT_FALSE(s.ok());
    EXPECT_NE(s.message().find("lien symbolique"), std::string::npos) << s.message();
    EXPECT_FALSE(rolled);
  }
  std::ifstream in(racine / "dehors.dat", std::ios::binary);
  std::string lu((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_TRUE(lu == dehors);
  std::ifstream in2(racine / "ailleurs" / "X.DAT", std::ios::binary);
  std::string lu2((std::istreambuf_iterator<char>(in2)), std::istreambuf_iterator<char>());
  EXPECT_TRUE(lu2 == dehors);
  fs::remove_all(racine);
}
#endif

}  // namespace
}  // namespace vesk::isam
