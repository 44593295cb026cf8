// The chainings a dictionary folder describes, read with a record layout given by the caller: the
// engine knows none of its own.
#include "srv/isam/verify.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "srv/isam/data_file.h"

namespace vesk::isam {
namespace {

// A layout unlike the component's: the header file first, then the header's pointers, then the
// line file and the line's pointers, each number on 3 characters.
constexpr DispositionChainages kDisposition{"hdr",   "lin",   {4, 7, 1, 4}, "ch",   {11, 4},
                                            {15, 3}, {18, 3}, {1, 4},       {5, 3}, {8, 3}};

class DictionaryChainsTest : public ::testing::Test {
 protected:
  // A data file of records of length bytes (padded with spaces); the last one deleted when
  // supprime_dernier.
  void Ecrit(const std::string& path, uint32_t length, const std::vector<std::string>& records,
             bool supprime_dernier = false) {
    std::unique_ptr<DataFile> f;
    DataFile::Options o;
    o.create = true;
    ASSERT_TRUE(DataFile::Open(&env_, path, length, o, &f).ok()) << path;
    uint32_t no = 0;
    for (std::string r : records) {
      r.resize(length, ' ');
      ASSERT_TRUE(f->Write(++no, r).ok());
    }
    if (supprime_dernier) {
      ASSERT_TRUE(f->MarkDeleted(no).ok());
    }
    ASSERT_TRUE(f->Flush().ok());
  }
  Status Lit(const std::string& dossier) {
    chains_.clear();
    report_ = VerifyReport();
    return DictionaryChains(&env_, dossier, {dossier + "/01"}, kDisposition, &chains_, &report_);
  }

  MemEnv env_;
  std::vector<ChainToCheck> chains_;
  VerifyReport report_;
};

TEST_F(DictionaryChainsTest, EachPositionOfTheLayoutBecomesAnOffset) {
  ASSERT_TRUE(env_.CreateDirectories("d/01").ok());
  Ecrit("d/HDR.DAT", 12, {"h"});
  Ecrit("d/LIN.DAT", 12, {"l"});
  // FACT headers in the folder, FLIG lines in the company folder only; a record naming files
  // that exist nowhere gives nothing, a deleted record is not read.
  Ecrit("d/CH.DAT", 24, {"FACT 10 20FLIG 30 40", "GONE  1  2NONE  3  4", "?"}, true);
  Ecrit("d/FACT.DAT", 50, {"f"});
  Ecrit("d/01/FLIG.DAT", 50, {"g"});
  ASSERT_TRUE(Lit("d").ok());
  EXPECT_TRUE(report_.problems.empty());
  ASSERT_EQ(chains_.size(), 2u);
  const ChainToCheck& propre = chains_[0];
  EXPECT_EQ(propre.header, "d/HDR.DAT");
  EXPECT_EQ(propre.line, "d/LIN.DAT");
  EXPECT_EQ(std::vector<uint32_t>({propre.first, propre.last, propre.previous, propre.next}),
            std::vector<uint32_t>({3, 6, 0, 3}));
  const ChainToCheck& declare = chains_[1];
  EXPECT_EQ(declare.header, "d/FACT.DAT");
  EXPECT_EQ(declare.line, "d/01/FLIG.DAT");
  EXPECT_EQ(std::vector<uint32_t>({declare.first, declare.last, declare.previous, declare.next}),
            std::vector<uint32_t>({9, 19, 29, 39}));
}

TEST_F(DictionaryChainsTest, ARecordThatDescribesNoChainingIsAProblemNamingIt) {
  struct Cas {
    const char* quoi;
    const char* enregistrement;
  };
  int n = 0;
  for (const Cas& c : {Cas{"no header file", "     10 20FLIG 30 40"},
                       Cas{"a pointer position missing", "FACT 10   FLIG 30 40"},
                       Cas{"a position that is no number", "FACT 10 20FLIG 3x 40"}}) {
    const std::string dossier = "d" + std::to_string(++n);
    Ecrit(dossier + "/CH.DAT", 24, {"FACT  1  2FLIG  3  4", c.enregistrement});
    ASSERT_TRUE(Lit(dossier).ok()) << c.quoi;
    EXPECT_EQ(report_.problems,
              std::vector<std::string>({"CH.DAT : l'enregistrement 2 ne décrit pas un chaînage"}))
        << c.quoi;
  }
}

TEST_F(DictionaryChainsTest, RecordsTooShortForTheLayoutFailNamingTheFile) {
  Ecrit("d/CH.DAT", 19, {"FACT 10 20FLIG 30 40"});
  const Status s = Lit("d");
  EXPECT_FALSE(s.ok());
  EXPECT_NE(s.message().find("d/CH.DAT : enregistrements trop courts"), std::string::npos)
      << s.message();
}

}  // namespace
}  // namespace vesk::isam
