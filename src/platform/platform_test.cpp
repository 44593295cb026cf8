// Tests of the platform layer on real files in a fresh temporary folder. The same tests run on
// POSIX and, cross-built, on Windows under Wine.
#include "platform/platform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace vesk::platform {
namespace {

namespace fs = std::filesystem;

std::string Utf8(const fs::path& path) {
  std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

class PlatformTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::random_device random;
    root_path_ = fs::temp_directory_path() /
                 ("vesk-platform-" + std::to_string(random()) + std::to_string(random()));
    fs::create_directories(root_path_);
    root_ = Utf8(root_path_);
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(root_path_, ignored);
  }

  std::string P(std::string_view name) const { return JoinPath(root_, name); }

  std::unique_ptr<File> Open(const std::string& path, OpenMode mode) {
    std::unique_ptr<File> file;
    IoStatus st = OpenFile(path, mode, &file);
    EXPECT_TRUE(st.ok()) << st.message;
    return file;
  }

  void Write(const std::string& path, std::string_view data) {
    auto file = Open(path, OpenMode::kCreateAlways);
    ASSERT_TRUE(file->WriteAt(0, data).ok());
  }

  std::string ReadAll(const std::string& path) {
    auto file = Open(path, OpenMode::kRead);
    if (!file) return "<absent>";
    std::string out(4096, '\0');
    size_t n = 0;
    EXPECT_TRUE(file->ReadAt(0, out, &n).ok());
    out.resize(n);
    return out;
  }

  fs::path root_path_;
  std::string root_;
};

TEST_F(PlatformTest, PositionalWritesAndReadsLeaveHolesOfZeros) {
  auto file = Open(P("data.bin"), OpenMode::kCreate);
  ASSERT_TRUE(file->WriteAt(0, std::string_view("ABCDE")).ok());
  ASSERT_TRUE(file->WriteAt(10, std::string_view("XYZ")).ok());
  ASSERT_TRUE(file->WriteAt(2, std::string_view("cd")).ok());
  uint64_t size = 0;
  ASSERT_TRUE(file->Size(&size).ok());
  EXPECT_EQ(size, 13u);

  std::string out(13, '?');
  size_t n = 0;
  ASSERT_TRUE(file->ReadAt(0, out, &n).ok());
  EXPECT_EQ(n, 13u);
  EXPECT_EQ(out, std::string("ABcdE\0\0\0\0\0XYZ", 13));

  std::string middle(3, '?');
  ASSERT_TRUE(file->ReadAt(3, middle, &n).ok());
  EXPECT_EQ(middle, "dE" + std::string(1, '\0'));
  ASSERT_TRUE(file->Sync().ok());
}

// More pieces than one system call takes, empty ones among them, a piece cut by a call's end:
// the file holds their bytes joined, at the offset, and nothing else moves.
TEST_F(PlatformTest, AWriteOfPiecesLeavesTheirBytesJoined) {
  auto file = Open(P("data.bin"), OpenMode::kCreate);
  ASSERT_TRUE(file->WriteAt(0, std::string(100, '#')).ok());
  std::vector<std::string> texts;
  std::string joined;
  for (int i = 0; i < 3000; ++i) {
    texts.push_back(std::string(static_cast<size_t>(i % 7 == 0 ? 0 : i % 13 + 1),
                                static_cast<char>('a' + i % 26)));
    joined += texts.back();
  }
  std::vector<std::span<const char>> pieces(texts.begin(), texts.end());
  ASSERT_TRUE(file->WriteAtV(5, pieces).ok());
  ASSERT_TRUE(file->WriteAtV(3, std::vector<std::span<const char>>{}).ok());
  uint64_t size = 0;
  ASSERT_TRUE(file->Size(&size).ok());
  ASSERT_EQ(size, 5 + joined.size());
  std::string out(size, '?');
  size_t n = 0;
  ASSERT_TRUE(file->ReadAt(0, out, &n).ok());
  EXPECT_EQ(out, "#####" + joined);
}

TEST_F(PlatformTest, ReadPastEndIsShortAndTruncateShrinksOrGrows) {
  auto file = Open(P("data.bin"), OpenMode::kCreate);
  ASSERT_TRUE(file->WriteAt(0, std::string_view("0123456789")).ok());

  std::string out(8, '?');
  size_t n = 99;
  ASSERT_TRUE(file->ReadAt(6, out, &n).ok());
  EXPECT_EQ(n, 4u);
  EXPECT_EQ(out.substr(0, 4), "6789");
  ASSERT_TRUE(file->ReadAt(1000, out, &n).ok());
  EXPECT_EQ(n, 0u);

  ASSERT_TRUE(file->Truncate(4).ok());
  uint64_t size = 0;
  ASSERT_TRUE(file->Size(&size).ok());
  EXPECT_EQ(size, 4u);
  ASSERT_TRUE(file->Truncate(6).ok());
  ASSERT_TRUE(file->ReadAt(0, out, &n).ok());
  EXPECT_EQ(n, 6u);
  EXPECT_EQ(out.substr(0, 6), std::string("0123\0\0", 6));
}

TEST_F(PlatformTest, OpenModesAndTheirErrors) {
  std::unique_ptr<File> file;
  IoStatus st = OpenFile(P("absent.dat"), OpenMode::kRead, &file);
  EXPECT_EQ(st.code, Code::kNotFound);
  EXPECT_NE(st.message.find("ouverture de"), std::string::npos) << st.message;
  EXPECT_NE(st.message.find("absent.dat"), std::string::npos) << st.message;
  EXPECT_EQ(OpenFile(P("absent.dat"), OpenMode::kReadWrite, &file).code, Code::kNotFound);
  EXPECT_EQ(OpenFile(JoinPath(P("nowhere"), "x.dat"), OpenMode::kCreate, &file).code,
            Code::kNotFound);

  Write(P("f.dat"), "contenu");
  Open(P("f.dat"), OpenMode::kCreate);  // kCreate keeps what is there
  EXPECT_EQ(ReadAll(P("f.dat")), "contenu");
  Open(P("f.dat"), OpenMode::kCreateAlways);
  EXPECT_EQ(ReadAll(P("f.dat")), "");

  auto read_only = Open(P("f.dat"), OpenMode::kRead);
  st = read_only->WriteAt(0, std::string_view("x"));
  EXPECT_FALSE(st.ok());
  EXPECT_NE(st.message.find("f.dat"), std::string::npos) << st.message;

  ASSERT_TRUE(CreateDirectories(P("dossier")).ok());
  st = OpenFile(P("dossier"), OpenMode::kReadWrite, &file);
  EXPECT_EQ(st.code, Code::kAccess) << st.message;
  EXPECT_NE(st.message.find("dossier"), std::string::npos) << st.message;
}

#ifndef _WIN32
// Refusing links, no mode opens a path that is a link: neither a file's nor a dangling one,
// which would otherwise be created where it points.
TEST_F(PlatformTest, ALinkIsNeverOpenedThroughWhenLinksAreRefused) {
  Write(P("cible.dat"), "à garder");
  fs::create_symlink(root_path_ / "cible.dat", root_path_ / "lien.dat");
  fs::create_symlink(root_path_ / "nulle-part.dat", root_path_ / "pendant.dat");
  for (OpenMode mode :
       {OpenMode::kRead, OpenMode::kReadWrite, OpenMode::kCreate, OpenMode::kCreateAlways}) {
    for (const char* lien : {"lien.dat", "pendant.dat"}) {
      std::unique_ptr<File> file;
      IoStatus st = OpenFile(P(lien), mode, &file, Links::kRefuse);
      EXPECT_EQ(st.code, Code::kAccess) << lien;
      EXPECT_NE(st.message.find("lien symbolique refusé"), std::string::npos) << st.message;
    }
  }
  EXPECT_EQ(ReadAll(P("cible.dat")), "à garder");
  EXPECT_FALSE(fs::exists(root_path_ / "nulle-part.dat"));
  std::unique_ptr<File> file;
  EXPECT_TRUE(OpenFile(P("cible.dat"), OpenMode::kReadWrite, &file, Links::kRefuse).ok());
}
#endif

TEST_F(PlatformTest, ExistsRemoveAndRenameOverAnExistingFile) {
  bool exists = true;
  ASSERT_TRUE(FileExists(P("a.dat"), &exists).ok());
  EXPECT_FALSE(exists);
  ASSERT_TRUE(FileExists(JoinPath(P("nowhere"), "a.dat"), &exists).ok());
  EXPECT_FALSE(exists);

  Write(P("a.dat"), "nouveau");
  Write(P("b.dat"), "ancien contenu");
  ASSERT_TRUE(FileExists(P("a.dat"), &exists).ok());
  EXPECT_TRUE(exists);

  IoStatus st = RenameFile(P("a.dat"), P("b.dat"));
  ASSERT_TRUE(st.ok()) << st.message;
  EXPECT_EQ(ReadAll(P("b.dat")), "nouveau");
  ASSERT_TRUE(FileExists(P("a.dat"), &exists).ok());
  EXPECT_FALSE(exists);

  st = RenameFile(P("a.dat"), P("c.dat"));
  EXPECT_EQ(st.code, Code::kNotFound);
  EXPECT_NE(st.message.find("a.dat"), std::string::npos) << st.message;

  ASSERT_TRUE(RemoveFile(P("b.dat")).ok());
  ASSERT_TRUE(FileExists(P("b.dat"), &exists).ok());
  EXPECT_FALSE(exists);
  st = RemoveFile(P("b.dat"));
  EXPECT_EQ(st.code, Code::kNotFound);
  EXPECT_NE(st.message.find("suppression de"), std::string::npos) << st.message;
  EXPECT_TRUE(SyncDirectory(root_).ok());
}

TEST_F(PlatformTest, CreateDirectoriesMakesParentsAndRefusesAFileInTheWay) {
  std::string deep = JoinPath(JoinPath(P("un"), "deux"), "trois");
  ASSERT_TRUE(CreateDirectories(deep).ok());
  ASSERT_TRUE(CreateDirectories(deep).ok());  // already there
  bool is_dir = false;
  ASSERT_TRUE(IsDirectory(deep, &is_dir).ok());
  EXPECT_TRUE(is_dir);
  ASSERT_TRUE(CreateDirectories(deep + "/").ok());

  Write(P("fichier"), "x");
  ASSERT_TRUE(IsDirectory(P("fichier"), &is_dir).ok());
  EXPECT_FALSE(is_dir);
  IoStatus st = CreateDirectories(P("fichier"));
  EXPECT_FALSE(st.ok());
  EXPECT_NE(st.message.find("fichier"), std::string::npos) << st.message;
  EXPECT_FALSE(CreateDirectories(JoinPath(P("fichier"), "dessous")).ok());
  EXPECT_FALSE(CreateDirectories("").ok());
}

TEST_F(PlatformTest, ListDirectoryGivesSortedNamesWithoutDots) {
  Write(P("b.dat"), "");
  Write(P("A.DAT"), "");
  Write(P("c.dab"), "");
  ASSERT_TRUE(CreateDirectories(P("sous")).ok());
  std::vector<std::string> names;
  ASSERT_TRUE(ListDirectory(root_, &names).ok());
  EXPECT_EQ(names, (std::vector<std::string>{"A.DAT", "b.dat", "c.dab", "sous"}));

  ASSERT_TRUE(ListDirectory(P("sous"), &names).ok());
  EXPECT_TRUE(names.empty());
  IoStatus st = ListDirectory(P("absent"), &names);
  EXPECT_EQ(st.code, Code::kNotFound);
  EXPECT_NE(st.message.find("absent"), std::string::npos) << st.message;
}

TEST_F(PlatformTest, AccentedUtf8Paths) {
  std::string folder = JoinPath(P("Société"), "Données été");
  ASSERT_TRUE(CreateDirectories(folder).ok());
  std::string name = "Fiche-é€ß.DAT";
  Write(JoinPath(folder, name), "accentué");
  EXPECT_EQ(ReadAll(JoinPath(folder, name)), "accentué");

  std::vector<std::string> names;
  ASSERT_TRUE(ListDirectory(folder, &names).ok());
  EXPECT_EQ(names, std::vector<std::string>{name});
  ASSERT_TRUE(ListDirectory(root_, &names).ok());
  EXPECT_EQ(names, std::vector<std::string>{"Société"});

  ASSERT_TRUE(RenameFile(JoinPath(folder, name), JoinPath(folder, "Clé.DAT")).ok());
  bool exists = false;
  ASSERT_TRUE(FileExists(JoinPath(folder, "Clé.DAT"), &exists).ok());
  EXPECT_TRUE(exists);
  ASSERT_TRUE(RemoveFile(JoinPath(folder, "Clé.DAT")).ok());
}

TEST_F(PlatformTest, ExclusiveAndSharedLocksOfTwoFileObjects) {
  Write(P("verrou"), "");
  auto a = Open(P("verrou"), OpenMode::kReadWrite);
  auto b = Open(P("verrou"), OpenMode::kReadWrite);
  ASSERT_TRUE(a->Lock(LockKind::kExclusive, 0).ok());
  ASSERT_TRUE(a->Lock(LockKind::kExclusive, 0).ok());  // held already
  EXPECT_EQ(b->Lock(LockKind::kShared, 0).code, Code::kLocked);

  uint64_t start = HorlogeNs();
  IoStatus st = b->Lock(LockKind::kExclusive, 100);
  uint64_t waited_ms = (HorlogeNs() - start) / 1000000;
  EXPECT_EQ(st.code, Code::kLocked);
  EXPECT_NE(st.message.find("verrou"), std::string::npos) << st.message;
  EXPECT_GE(waited_ms, 90u);

  ASSERT_TRUE(a->Unlock().ok());
  ASSERT_TRUE(b->Lock(LockKind::kShared, 0).ok());
  ASSERT_TRUE(a->Lock(LockKind::kShared, 0).ok());  // shared with shared
  EXPECT_EQ(a->Lock(LockKind::kExclusive, 0).code, Code::kLocked);
  auto c = Open(P("verrou"), OpenMode::kRead);
  EXPECT_TRUE(c->Lock(LockKind::kShared, 0).ok());
  IoStatus refused = c->Lock(LockKind::kExclusive, 0);  // a reader may not lock for writing
  EXPECT_EQ(refused.code, Code::kAccess);
  EXPECT_NE(refused.message.find("lecture seule"), std::string::npos) << refused.message;
  c.reset();
  ASSERT_TRUE(b->Unlock().ok());
  ASSERT_TRUE(b->Unlock().ok());  // nothing held: nothing to do
  ASSERT_TRUE(a->Lock(LockKind::kExclusive, 0).ok());

  // Closing the file releases its lock.
  a.reset();
  EXPECT_TRUE(b->Lock(LockKind::kExclusive, 0).ok());
}

TEST_F(PlatformTest, LocksAreAdvisory) {
  Write(P("verrou"), "0123");
  auto a = Open(P("verrou"), OpenMode::kReadWrite);
  auto b = Open(P("verrou"), OpenMode::kReadWrite);
  ASSERT_TRUE(a->Lock(LockKind::kExclusive, 0).ok());
  IoStatus st = b->WriteAt(2, std::string_view("ab"));
  EXPECT_TRUE(st.ok()) << st.message;
  std::string out(4, '?');
  size_t n = 0;
  st = b->ReadAt(0, out, &n);
  EXPECT_TRUE(st.ok()) << st.message;
  EXPECT_EQ(out, "01ab");
  ASSERT_TRUE(b->Lock(LockKind::kShared, 0).code == Code::kLocked);
  ASSERT_TRUE(a->Lock(LockKind::kShared, 0).ok());  // a converts: b may share now
  EXPECT_TRUE(b->Lock(LockKind::kShared, 0).ok());
  EXPECT_TRUE(a->WriteAt(0, std::string_view("Z")).ok());
}

TEST_F(PlatformTest, LockWaitsUntilTheHolderLetsGo) {
  Write(P("verrou"), "");
  auto a = Open(P("verrou"), OpenMode::kReadWrite);
  auto b = Open(P("verrou"), OpenMode::kReadWrite);
  ASSERT_TRUE(a->Lock(LockKind::kExclusive, 0).ok());
  std::thread holder([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(a->Unlock().ok());
  });
  IoStatus st = b->Lock(LockKind::kExclusive, 20000);
  holder.join();
  EXPECT_TRUE(st.ok()) << st.message;
}

// The aside lock: exclusive against itself, apart from the main lock; waiting for it to be free
// takes nothing, returns at once when nobody holds it, and wakes every waiter when its holder
// lets go.
TEST_F(PlatformTest, WaitingForTheAsideLockWakesEveryWaiterAndTakesNothing) {
  Write(P("verrou"), "");
  auto a = Open(P("verrou"), OpenMode::kReadWrite);
  auto b = Open(P("verrou"), OpenMode::kReadWrite);
  auto c = Open(P("verrou"), OpenMode::kReadWrite);
  ASSERT_TRUE(b->WaitAside().ok());  // free: at once
  ASSERT_TRUE(a->LockAside(0).ok());
  EXPECT_EQ(b->LockAside(0).code, Code::kLocked);
  EXPECT_TRUE(b->Lock(LockKind::kExclusive, 0).ok());  // the main lock is apart
  ASSERT_TRUE(b->Unlock().ok());
  std::atomic<int> woken{0};
  auto wait = [&](File* f) {
    EXPECT_TRUE(f->WaitAside().ok());
    ++woken;
  };
  std::thread wb(wait, b.get()), wc(wait, c.get());
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(woken.load(), 0) << "a waiter went while the lock was held";
  ASSERT_TRUE(a->UnlockAside().ok());
  wb.join();
  wc.join();
  EXPECT_EQ(woken.load(), 2);
  // The waiters hold nothing: the lock can be taken at once, by any of them.
  ASSERT_TRUE(c->LockAside(0).ok());
  EXPECT_EQ(a->LockAside(0).code, Code::kLocked);
  ASSERT_TRUE(c->UnlockAside().ok());
  EXPECT_TRUE(b->LockAside(0).ok());
}

TEST(PlatformMisc, JoinPathAddsOneSeparator) {
#ifdef _WIN32
  EXPECT_EQ(JoinPath("a", "b"), "a\\b");
  EXPECT_EQ(JoinPath("C:", "b"), "C:b");
#else
  EXPECT_EQ(JoinPath("a", "b"), "a/b");
#endif
  EXPECT_EQ(JoinPath("a/", "b"), "a/b");
  EXPECT_EQ(JoinPath("", "b"), "b");
}

TEST(PlatformMisc, ClockAndEnvironment) {
  DateHeure now = Maintenant();
  EXPECT_GE(now.annee, 2024);
  EXPECT_TRUE(now.mois >= 1 && now.mois <= 12);
  EXPECT_TRUE(now.jour >= 1 && now.jour <= 31);
  EXPECT_TRUE(now.heure >= 0 && now.heure <= 23);
  EXPECT_TRUE(now.minute >= 0 && now.minute <= 59);
  EXPECT_TRUE(now.seconde >= 0 && now.seconde <= 60);

  uint64_t before = HorlogeNs();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  uint64_t after = HorlogeNs();
  EXPECT_GE(after - before, 15000000u);

  EXPECT_EQ(Environnement("VESK_VARIABLE_QUI_N_EXISTE_PAS"), "");
  EXPECT_FALSE(Environnement("PATH").empty());
  ConsoleUtf8();
  ConsoleUtf8();
}

TEST(PlatformMisc, CacheMemoryIsAlignedZeroedAndWritable) {
  for (size_t size : {size_t{4096}, kAlignementMemoireCache, 3 * kAlignementMemoireCache + 4096}) {
    MemoireCache ordinaire(size, false);  // moved into large pages later: its bytes stay
    ASSERT_NE(ordinaire.data(), nullptr) << size;
    for (size_t i = 0; i < size; i += 4096) ordinaire.data()[i] = static_cast<char>(i / 4096);
    ordinaire.PasseEnGrandesPages();
    for (size_t i = 0; i < size; i += 4096) {
      ASSERT_EQ(ordinaire.data()[i], static_cast<char>(i / 4096)) << size << " " << i;
    }
    MemoireCache m(size);
    ASSERT_NE(m.data(), nullptr) << size;
    EXPECT_EQ(m.size(), size);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(m.data()) % kAlignementMemoireCache, 0u);
    EXPECT_EQ(m.data()[0], 0);
    EXPECT_EQ(m.data()[size - 1], 0);
    std::memset(m.data(), 'v', size);
    EXPECT_EQ(m.data()[size / 2], 'v');
  }
}

// A block made ahead is the block asked for: its size, aligned, zero; asked with another size,
// the block made is of the size asked; blocks moved into large pages meanwhile keep their bytes;
// a preparation left under way goes with its owner.
TEST(PlatformMisc, CacheMemoryMadeAheadIsTheBlockAskedFor) {
  const size_t size = 2 * kAlignementMemoireCache;
  MemoireAvance avance;
  for (int round = 0; round < 3; ++round) {
    avance.Prepare(size, true);
    std::unique_ptr<MemoireCache> m = avance.Prends(size, true);
    ASSERT_NE(m->data(), nullptr);
    EXPECT_EQ(m->size(), size);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(m->data()) % kAlignementMemoireCache, 0u);
    for (size_t i = 0; i < size; i += 4096) ASSERT_EQ(m->data()[i], 0) << i;
    std::memset(m->data(), 'v', size);
  }
  // Blocks moved into large pages on the other thread keep their bytes.
  MemoireCache ordinaire(size, false);
  std::memset(ordinaire.data(), 'o', size);
  avance.Prepare(size, true, {&ordinaire});
  std::unique_ptr<MemoireCache> autre = avance.Prends(kAlignementMemoireCache, false);
  ASSERT_NE(autre->data(), nullptr);
  EXPECT_EQ(autre->size(), kAlignementMemoireCache);
  EXPECT_EQ(avance.Prends(4096, true)->size(), 4096u);  // nothing prepared: made now
  for (size_t i = 0; i < size; i += 4096) ASSERT_EQ(ordinaire.data()[i], 'o') << i;
  MemoireAvance laissee;
  laissee.Prepare(size, true);
}

// Records, in a list owned by the test, the contents it had when destroyed.
struct Temoin {
  Temoin(std::vector<std::string>* f, std::string c) : fins(f), contenu(std::move(c)) {}
  ~Temoin() { fins->push_back(contenu); }
  std::vector<std::string>* fins;
  std::string contenu;
};

TEST(PlatformMisc, ParThreadKeepsOneObjectPerThreadAndDestroysItIntact) {
  static ParThread<Temoin> par_thread;
  std::vector<std::string> fins;
  par_thread.Remplace(std::make_unique<Temoin>(&fins, "principal"));
  std::thread autre([&] {
    EXPECT_EQ(par_thread.Pointeur(), nullptr);
    par_thread.Remplace(std::make_unique<Temoin>(&fins, "premier"));
    par_thread.Remplace(std::make_unique<Temoin>(&fins, "second"));
    par_thread.Pointeur()->contenu += " modifié";
  });
  autre.join();
  // Destroyed at the end of its thread, contents intact.
  EXPECT_EQ(fins, (std::vector<std::string>{"premier", "second modifié"}));
  ASSERT_NE(par_thread.Pointeur(), nullptr);
  EXPECT_EQ(par_thread.Pointeur()->contenu, "principal");
  par_thread.Remplace(nullptr);
  EXPECT_EQ(fins.back(), "principal");
  EXPECT_EQ(par_thread.Pointeur(), nullptr);
}

}  // namespace
}  // namespace vesk::platform

#ifndef _WIN32
namespace vesk::platform {
namespace {

// The system's errors reach the user in French, with the path at fault.
TEST(PlatformMessagesTest, SystemErrorsAreToldInFrench) {
  std::unique_ptr<File> f;
  IoStatus absent = OpenFile("/nonexistent-vesk/x.dat", OpenMode::kRead, &f);
  EXPECT_EQ(absent.code, Code::kNotFound);
  EXPECT_NE(absent.message.find("/nonexistent-vesk/x.dat : fichier ou dossier introuvable"),
            std::string::npos)
      << absent.message;
  IoStatus dossier = RemoveFile("/");
  EXPECT_FALSE(dossier.ok());
  EXPECT_EQ(dossier.message.find("such"), std::string::npos) << dossier.message;
}

}  // namespace
}  // namespace vesk::platform
#endif
