#include "srv/isam/replace_set.h"

#include <gtest/gtest.h>

#include "srv/isam/fault_env.h"
#include "srv/isam/redo_log.h"

namespace vesk::isam {
namespace {

const std::string kDir = "d";

// The path of rel (parts separated by "/") in the folder, with the platform's separator, as the
// engine joins them.
std::string P(std::string_view rel) {
  std::string path = kDir;
  for (size_t at = 0; at <= rel.size();) {
    const size_t slash = std::min(rel.find('/', at), rel.size());
    path = platform::JoinPath(path, rel.substr(at, slash - at));
    at = slash + 1;
  }
  return path;
}

const std::vector<std::string> kTargets = {P("A.DAT"), P("A.DAB"), P("01/B.DAT")};
// The folder's replacement key, as its state word holds it.
constexpr uint64_t kCle = 0x5EC7E7C1E;

std::string Read(Env& env, const std::string& path) {
  std::unique_ptr<platform::File> f;
  if (!env.OpenFile(path, platform::OpenMode::kRead, &f).ok()) return "<absent>";
  uint64_t size = 0;
  EXPECT_TRUE(f->Size(&size).ok());
  std::string b(size, '\0');
  size_t got = 0;
  EXPECT_TRUE(f->ReadAt(0, b, &got).ok());
  return b;
}

platform::IoStatus Write(Env& env, const std::string& path, const std::string& bytes) {
  std::unique_ptr<platform::File> f;
  platform::IoStatus s = env.OpenFile(path, platform::OpenMode::kCreateAlways, &f);
  if (s.ok()) s = f->WriteAt(0, bytes);
  if (s.ok()) s = f->Sync();
  return s;
}

bool Exists(Env& env, const std::string& path) {
  bool e = false;
  EXPECT_TRUE(env.FileExists(path, &e).ok());
  return e;
}

// The old set: A.DAT and A.DAB exist, 01/B.DAT does not (the set creates it).
void OldSet(Env& env) {
  ASSERT_TRUE(env.CreateDirectories(P("01")).ok());
  ASSERT_TRUE(Write(env, P("A.DAT"), "ancien A.DAT").ok());
  ASSERT_TRUE(Write(env, P("A.DAB"), "ancien A.DAB").ok());
}

// Begins the set, writes the aside files and commits.
Status Replace(Env& env) {
  ReplaceSet set(&env, kDir);
  VESK_RETURN_IF_ERROR(set.Begin(kTargets, kCle));
  for (const std::string& t : kTargets) {
    VESK_RETURN_IF_ERROR(Status::FromIo(Write(env, ReplaceSet::AsidePath(t), "neuf " + t)));
  }
  return set.Commit();
}

// Either the whole old set or the whole new set, and nothing of the replacement left.
void ExpectOneSet(Env& env, const std::string& when) {
  const bool nouveau = Read(env, P("A.DAT")) == "neuf " + P("A.DAT");
  if (nouveau) {
    for (const std::string& t : kTargets) EXPECT_EQ(Read(env, t), "neuf " + t) << when;
  } else {
    EXPECT_EQ(Read(env, P("A.DAT")), "ancien A.DAT") << when;
    EXPECT_EQ(Read(env, P("A.DAB")), "ancien A.DAB") << when;
    EXPECT_FALSE(Exists(env, P("01/B.DAT"))) << when;
  }
  for (const std::string& t : kTargets) {
    EXPECT_FALSE(Exists(env, t + ".NEUF")) << when << " " << t;
    EXPECT_FALSE(Exists(env, t + ".ANC")) << when << " " << t;
  }
  EXPECT_FALSE(Exists(env, P("VESK.REC"))) << when;
}

TEST(ReplaceSet, CommitPutsTheNewSetInPlaceAndAbandonKeepsTheOld) {
  MemEnv env;
  OldSet(env);
  {
    ReplaceSet set(&env, kDir);
    ASSERT_TRUE(set.Begin(kTargets, kCle).ok());
    ASSERT_TRUE(Write(env, P("A.DAT.NEUF"), "neuf").ok());
    ASSERT_TRUE(set.Abandon().ok());
  }
  ExpectOneSet(env, "abandon");
  EXPECT_EQ(Read(env, P("A.DAT")), "ancien A.DAT");
  ASSERT_TRUE(Replace(env).ok());
  ExpectOneSet(env, "commit");
  EXPECT_EQ(Read(env, P("01/B.DAT")), "neuf " + P("01/B.DAT"));
  MemEnv other;
  ReplaceSet set(&other, kDir);
  EXPECT_FALSE(set.Begin({"e/X.DAT"}, kCle).ok());
  EXPECT_FALSE(set.Begin({P("../X.DAT")}, kCle).ok());
  EXPECT_FALSE(set.Begin({P("A.DAT"), P("A.DAT")}, kCle).ok());  // its .ANC would be overwritten
  // A file already beside a target would be taken for the set's own: refused, left alone.
  ASSERT_TRUE(Write(env, P("A.DAB.ANC"), "à garder").ok());
  ReplaceSet again(&env, kDir);
  Status s = again.Begin(kTargets, kCle);
  EXPECT_NE(s.message().find("A.DAB.ANC existe déjà"), std::string::npos) << s.message();
  EXPECT_EQ(Read(env, P("A.DAB.ANC")), "à garder");
}

// A rename that fails at any step of the swap: Commit reports it and the old set is back.
TEST(ReplaceSet, AFailedRenamePutsTheOldSetBack) {
  for (uint64_t n = 1; n <= 5; ++n) {
    MemEnv base;
    FaultEnv env(&base);
    OldSet(env);
    env.FailRenameAt(n);
    Status s = Replace(env);
    EXPECT_FALSE(s.ok()) << n;
    EXPECT_NE(s.message().find("échec simulé"), std::string::npos) << s.message();
    ExpectOneSet(env, "rename " + std::to_string(n));
    EXPECT_EQ(Read(env, P("A.DAT")), "ancien A.DAT");
  }
}

// The power goes at every write, sync, rename and removal in turn: after the reboot, Recover
// leaves exactly one set, and the new one once the state said so.
TEST(ReplaceSet, APowerLossAtAnyStepLeavesOneSetAfterRecovery) {
  for (uint64_t n = 1;; ++n) {
    MemEnv base;
    FaultEnv env(&base);
    OldSet(env);
    env.PowerLossAt(n, FaultEnv::Loss::kTear, n);
    Status s = Replace(env);
    if (!env.PoweredOff()) {
      ASSERT_TRUE(s.ok()) << s.message();
      ExpectOneSet(env, "sans panne");
      break;
    }
    env.Reboot();
    bool found = false;
    Status r = ReplaceSet::Recover(&env, kDir, "01", kCle, &found);
    ASSERT_TRUE(r.ok()) << n << ": " << r.message();
    ExpectOneSet(env, "panne " + std::to_string(n));
    ASSERT_LT(n, 200u);
  }
}

// A record as the format gives it (docs/file-formats.md), in state W, naming one path (that
// existed, or not), its checksum keyed with cle.
std::string Record(const std::string& path, uint64_t cle = kCle, bool existed = true) {
  std::string b("VESKREC\x1A", 8);
  b += std::string("\x01\x00W\x00\x01\x00\x00\x00", 8);
  b.push_back(existed ? 1 : 0);
  b.push_back(static_cast<char>(path.size()));
  b.push_back('\0');
  b += path;
  std::string hashed = b;
  hashed[10] = '\0';
  uint64_t h = Hash64(hashed, cle);
  for (int i = 0; i < 8; ++i) b.push_back(static_cast<char>(h >> (8 * i)));
  return b;
}

// A record cut while written is dropped; one naming a file outside the folder is refused and
// kept, nothing renamed; a sound one in state W is undone.
TEST(ReplaceSet, RecoverDropsCutRecordsAndRefusesPathsOutsideTheFolder) {
  MemEnv env;
  OldSet(env);
  ASSERT_TRUE(Write(env, P("VESK.REC"), Record("A.DAT").substr(0, 20)).ok());
  bool found = false;
  ASSERT_TRUE(ReplaceSet::Recover(&env, kDir, "01", kCle, &found).ok());
  EXPECT_TRUE(found);
  EXPECT_FALSE(Exists(env, P("VESK.REC")));

  // Damaged after the aside files were made (one in the company's sub-folder): kept, named.
  ASSERT_TRUE(Write(env, P("01/B.DAT.NEUF"), "neuf").ok());
  ASSERT_TRUE(Write(env, P("VESK.REC"), Record("A.DAT").substr(0, 20)).ok());
  Status abime = ReplaceSet::Recover(&env, kDir, "01", kCle, &found);
  EXPECT_NE(abime.message().find("B.DAT.NEUF existe"), std::string::npos) << abime.message();
  EXPECT_TRUE(Exists(env, P("VESK.REC")) && Exists(env, P("01/B.DAT.NEUF")));
  ASSERT_TRUE(env.RemoveFile(P("01/B.DAT.NEUF")).ok());

  ASSERT_TRUE(Write(env, P("VESK.REC"), Record("../A.DAT")).ok());
  Status s = ReplaceSet::Recover(&env, kDir, "01", kCle, &found);
  EXPECT_TRUE(s.IsCorruption()) << s.message();
  EXPECT_TRUE(Exists(env, P("VESK.REC")));

  ASSERT_TRUE(env.RenameFile(P("A.DAT"), P("A.DAT.ANC")).ok());
  ASSERT_TRUE(Write(env, P("A.DAT"), "neuf").ok());
  ASSERT_TRUE(Write(env, P("VESK.REC"), Record("A.DAT")).ok());
  ASSERT_TRUE(ReplaceSet::Recover(&env, kDir, "01", kCle, &found).ok());
  EXPECT_EQ(Read(env, P("A.DAT")), "ancien A.DAT");
  EXPECT_FALSE(Exists(env, P("A.DAT.ANC")));
  EXPECT_FALSE(Exists(env, P("VESK.REC")));
}

// A record that does not check with the folder's key was not written by its rebuild: made by
// hand (with the key of another folder, none, or while no replacement was announced), it is
// dropped and never renames or removes a file, even one it says the set created.
TEST(ReplaceSet, ARecordWithoutTheFoldersKeyTouchesNothing) {
  const std::pair<uint64_t, std::optional<uint64_t>> cas[] = {
      {0, kCle}, {kCle + 1, kCle}, {kCle, std::nullopt}};
  for (const auto& [ecrite, attendue] : cas) {
    MemEnv env;
    OldSet(env);
    ASSERT_TRUE(Write(env, P("VESK.REC"), Record("A.DAT", ecrite, false)).ok());
    bool found = false;
    ASSERT_TRUE(ReplaceSet::Recover(&env, kDir, "01", attendue, &found).ok());
    EXPECT_EQ(Read(env, P("A.DAT")), "ancien A.DAT") << ecrite;
    EXPECT_FALSE(Exists(env, P("VESK.REC")));
  }
}

}  // namespace
}  // namespace vesk::isam
