// The folder verifier on what it must find by itself: bytes past a data file's last record,
// however far (a sparse file of terabytes is judged by its size, never read), and keys that are
// not their record's.
#include <filesystem>
#include <fstream>

#include "srv/isam/testing/engine.h"

namespace vesk::isam::testing {
namespace {

class VerifyTest : public EngineTest {
 protected:
  // The problems of the folder, with the keys of CLI built from the record's first 4 bytes.
  std::vector<std::string> Problems(bool with_keys = false) {
    EXPECT_TRUE(dossier_->Ecrit().ok());
    std::vector<KeyToCheck> keys;
    if (with_keys) {
      keys.push_back({Path("CLI.DAB"), [](std::string_view record, std::string* key) {
                        *key = std::string(record.substr(0, 4));
                        return Status::Ok();
                      }});
    }
    FolderReport r;
    EXPECT_TRUE(VerifyFolder(Env::Default(), dir_, {}, &r, keys).ok());
    return r.problems;
  }
  void Clients() {
    Proprio& p = Ouvre("Cli", 20);
    int16_t arbre = 0;
    barbre_->B_Arbre(false, "Cli", 4, "P", arbre, "", true);
    for (const char* nom : {"ALFA", "BETA", "GAMA"}) {
      p.champs = std::string(nom) + " client";
      int32_t no = 0;
      barbre_->Insere(arbre, nom, p.fichier, no);
    }
  }
};

// Beyond any record count of the header, never read: terabytes where the file system makes them
// holes; under Windows, whose files are not sparse unless asked (the space would be allocated),
// 64 MiB.
#ifdef _WIN32
constexpr uint64_t kHugeHole = uint64_t{64} << 20;
#else
constexpr uint64_t kHugeHole = uint64_t{8} << 40;
#endif

TEST_F(VerifyTest, BytesPastTheLastRecordAreCheckedWholeWithoutReadingAHugeTail) {
  struct Cas {
    const char* nom;
    uint64_t zeros;  // bytes of code 0 added after the last record
    bool x;          // then one byte "X"
    bool probleme;
  };
  const Cas cas[] = {
      {"growth ahead", kMaxTail, false, false},
      {"an X right after", 0, true, true},
      {"an X after a megabyte", kMaxTail, true, true},
      {"a huge hole", kHugeHole, false, true},
  };
  for (const Cas& c : cas) {
    Reopen();
    std::filesystem::remove(Path("CLI.DAT"));
    std::filesystem::remove(Path("CLI.DAB"));
    Clients();
    ASSERT_TRUE(dossier_->Ecrit().ok());
    const uint64_t size = Size("CLI.DAT");
    std::filesystem::resize_file(Path("CLI.DAT"), size + c.zeros);
    if (c.x) std::ofstream(Path("CLI.DAT"), std::ios::binary | std::ios::app) << "X";
    const std::vector<std::string> p = Problems();
    EXPECT_EQ(!p.empty(), c.probleme) << c.nom << (p.empty() ? "" : " : " + p.front());
  }
}

TEST_F(VerifyTest, AKeyThatIsNotItsRecordsIsNamed) {
  Clients();
  EXPECT_TRUE(Problems(true).empty());
  // The record's bytes change, its key stays.
  donnee_->EcrireFichier(proprios_.front()->fichier, 2, "BETO client");
  const std::vector<std::string> p = Problems(true);
  ASSERT_EQ(p.size(), 1u);
  EXPECT_EQ(p.front(),
            "CLI.DAB : la clé « BETA » de l'enregistrement 2 de CLI.DAT n'est pas celle de "
            "l'enregistrement (« BETO »)");
}

// A file checked alone holds one key per live record in every tree, secondary ones too; each
// problem comes with its kind and record, and every live record is seen once.
TEST_F(VerifyTest, AFileCheckedAloneHasOneKeyPerRecordInEveryTree) {
  Clients();
  int16_t s = 0;
  barbre_->B_Arbre(false, "Cli2", 6, "S", s, "", true);
  const int16_t f = proprios_.front()->fichier;
  barbre_->InsS(s, "client", 1, f);
  barbre_->InsS(s, "client", 3, f);  // 2 has none
  barbre_->InsS(s, "autre ", 3, f);  // 3 has two, one of them not its own
  ASSERT_TRUE(dossier_->Ecrit().ok());
  auto suffixe = [](std::string_view record, std::string* key) {
    *key = std::string(record.substr(5, 6));
    return Status::Ok();
  };
  auto code = [](std::string_view record, std::string* key) {
    *key = std::string(record.substr(0, 4));
    return Status::Ok();
  };
  FileToCheck fv{Path("CLI.DAT"),
                 20,
                 {{Path("CLI.DAB"), code}, {Path("CLI2.DAB"), suffixe}, {Path("CLI3.DAB"), code}},
                 {}};
  std::vector<uint32_t> vus;
  fv.on_record = [&](uint32_t no, std::string_view) { vus.push_back(no); };
  std::vector<std::string> trouves;
  FileTally b;
  ASSERT_TRUE(
      VerifyFile(
          Env::Default(), fv,
          [&](const FileProblem& p) { trouves.push_back(p.kind + " " + std::to_string(p.record)); },
          &b)
          .ok());
  EXPECT_EQ(vus, (std::vector<uint32_t>{1, 2, 3}));
  EXPECT_EQ(trouves, (std::vector<std::string>{"clé fausse 3", "clés multiples 3", "clé absente 2",
                                               "arbre 0"}));
  EXPECT_EQ(b.records, 3u);
  EXPECT_EQ(b.keys, 6u);
  // Records of another length than the dictionary's: the file is not read by its fields.
  fv.record_length = 21;
  vus.clear();
  trouves.clear();
  ASSERT_TRUE(VerifyFile(
                  Env::Default(), fv, [&](const FileProblem& p) { trouves.push_back(p.kind); }, &b)
                  .ok());
  EXPECT_TRUE(vus.empty());
  EXPECT_EQ(trouves, std::vector<std::string>{"fichier"});
}

}  // namespace
}  // namespace vesk::isam::testing
