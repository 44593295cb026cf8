// The data file, the record texts and the names, on files in memory.
#include "srv/isam/data_file.h"

#include <gtest/gtest.h>

#include "srv/isam/names.h"
#include "srv/isam/record_text.h"

namespace vesk::isam {
namespace {

class DataFileTest : public ::testing::Test {
 protected:
  Status Open(uint32_t length, bool create = true, bool read_only = false,
              uint16_t version = kDataFormatVersion) {
    DataFile::Options o;
    o.create = create;
    o.read_only = read_only;
    o.version = version;
    o.label = "Clients";
    f_.reset();
    return DataFile::Open(&env_, "d/CLI.DAT", length, o, &f_);
  }
  std::string Rec(std::string_view s) {
    std::string r(s);
    r.resize(f_->RecordLength(), ' ');
    return r;
  }
  std::string Read(uint32_t no) {
    std::string r(f_->RecordLength(), '?');
    EXPECT_TRUE(f_->Read(no, r).ok());
    return r;
  }

  MemEnv env_;
  std::unique_ptr<DataFile> f_;
};

TEST_F(DataFileTest, RecordsLieAfterTheHeaderAndSurviveAReopen) {
  ASSERT_TRUE(Open(10, true, false, kDataFormatVersion1).ok());
  ASSERT_TRUE(f_->Write(1, Rec("un")).ok());
  ASSERT_TRUE(f_->Write(2, Rec("deux")).ok());
  ASSERT_TRUE(f_->Write(1, Rec("UN")).ok());
  EXPECT_EQ(f_->Write(4, Rec("trou")).code(), Status::Code::kNotFound);
  ASSERT_TRUE(f_->Flush().ok());
  const std::string& bytes = *env_.Contents("d/CLI.DAT");
  ASSERT_GE(bytes.size(), kDataHeaderSize + 20);
  EXPECT_EQ(bytes.substr(kDataHeaderSize, 20), "UN        deux      ");
  ASSERT_TRUE(Open(10, false).ok());
  EXPECT_EQ(f_->LastRecord(), 2u);
  EXPECT_EQ(f_->Header().label, "Clients");
  EXPECT_EQ(Read(2), "deux      ");
  std::string r(10, ' ');
  EXPECT_EQ(f_->Read(3, r).code(), Status::Code::kNotFound);
  EXPECT_EQ(f_->Read(0, r).code(), Status::Code::kInvalidArgument);
}

TEST_F(DataFileTest, ViewGivesTheRecordInPlaceOrAcrossTwoBlocks) {
  ASSERT_TRUE(Open(100).ok());  // records 40 and 81 straddle two blocks
  for (uint32_t i = 1; i <= 90; ++i) ASSERT_TRUE(f_->Write(i, Rec("r" + std::to_string(i))).ok());
  ASSERT_TRUE(f_->Flush().ok());
  ASSERT_TRUE(Open(100, false).ok());
  for (uint32_t i = 1; i <= 90; ++i) {
    const char* bytes = nullptr;
    ASSERT_TRUE(f_->View(i, &bytes).ok());
    EXPECT_EQ(std::string(bytes, 100), Rec("r" + std::to_string(i))) << i;
    f_->Prefetch(i + 3);
    f_->PrefetchLocation(i + 6);
  }
  const char* bytes = nullptr;
  EXPECT_EQ(f_->View(91, &bytes).code(), Status::Code::kNotFound);
  EXPECT_EQ(f_->View(0, &bytes).code(), Status::Code::kInvalidArgument);
  f_->Prefetch(0);  // any number is taken
  f_->PrefetchLocation(UINT32_MAX);
}

TEST_F(DataFileTest, DeletionMarksTheRecordAndKeepsTheRest) {
  ASSERT_TRUE(Open(8, true, false, kDataFormatVersion1).ok());
  for (uint32_t i = 1; i <= 3; ++i)
    ASSERT_TRUE(f_->Write(i, Rec("abcdefg" + std::to_string(i))).ok());
  ASSERT_TRUE(f_->MarkDeleted(2).ok());
  EXPECT_EQ(Read(2), "*SUP*fg2");
  EXPECT_FALSE(f_->MarkDeleted(2).ok());
  std::vector<uint32_t> deleted;
  ASSERT_TRUE(f_->DeletedRecords(&deleted).ok());
  EXPECT_EQ(deleted, std::vector<uint32_t>{2});
  // Writing it again brings it back.
  ASSERT_TRUE(f_->Write(2, Rec("revenu")).ok());
  EXPECT_EQ(f_->Deleted(), 0u);
  bool zero = false;
  ASSERT_TRUE(f_->Flush().ok());
  ASSERT_TRUE(f_->TailIsZero(&zero).ok());
  EXPECT_TRUE(zero);
}

// Version 2: a state byte before each record; a record may hold any bytes, zeros or "*SUP*",
// and a deleted one keeps all of its own; a state byte of no meaning is damage, named.
TEST_F(DataFileTest, VersionTwoKeepsAStateByteAndRecordsOfAnyBytes) {
  ASSERT_TRUE(Open(6).ok());
  ASSERT_TRUE(f_->Write(1, std::string(6, '\0')).ok());
  ASSERT_TRUE(f_->Write(2, Rec("*SUP*x")).ok());
  ASSERT_TRUE(f_->Write(3, Rec("trois")).ok());
  ASSERT_TRUE(f_->MarkDeleted(3).ok());
  ASSERT_TRUE(f_->WritePart(2, 0, std::string_view("\0\0\0", 3)).ok());
  ASSERT_TRUE(f_->Flush().ok());
  std::string* bytes = env_.Contents("d/CLI.DAT");
  EXPECT_EQ(bytes->substr(kDataHeaderSize, 21),
            std::string("\x01\0\0\0\0\0\0\x01\0\0\0P*x\x02trois ", 21));
  ASSERT_TRUE(Open(6, false).ok());
  EXPECT_EQ(f_->Header().version, kDataFormatVersion);
  EXPECT_EQ(Read(1), std::string(6, '\0'));
  EXPECT_EQ(Read(3), "trois ");
  bool deleted = true;
  ASSERT_TRUE(f_->IsDeleted(1, &deleted).ok());
  EXPECT_FALSE(deleted);
  std::vector<uint32_t> rendus;
  ASSERT_TRUE(f_->DeletedRecords(&rendus).ok());
  EXPECT_EQ(rendus, std::vector<uint32_t>{3});
  (*env_.Contents("d/CLI.DAT"))[kDataHeaderSize + 7] = 'L';
  ASSERT_TRUE(Open(6, false).ok());
  Status s = f_->IsDeleted(2, &deleted);
  EXPECT_TRUE(s.IsCorruption()) << s.message();
  EXPECT_NE(s.message().find("enregistrement 2 de d/CLI.DAT"), std::string::npos) << s.message();
}

TEST_F(DataFileTest, RefusesRecordsThatWouldLie) {
  ASSERT_TRUE(Open(6, true, false, kDataFormatVersion1).ok());
  EXPECT_EQ(f_->Write(1, std::string(6, '\0')).code(), Status::Code::kInvalidArgument);
  EXPECT_EQ(f_->Write(1, Rec("*SUP*x")).code(), Status::Code::kInvalidArgument);
  EXPECT_EQ(f_->Write(1, Rec("court").substr(0, 5)).code(), Status::Code::kInvalidArgument);
  ASSERT_TRUE(f_->Write(1, std::string("\0\0\0x\0\0", 6)).ok());
  EXPECT_FALSE(f_->WritePart(1, 3, std::string(1, '\0')).ok());
  // Nor may a part written in place (a chaining pointer) make a live record read as deleted.
  ASSERT_TRUE(f_->Write(1, Rec("xSUP*y")).ok());
  EXPECT_EQ(f_->WritePart(1, 0, std::string_view("*", 1)).code(), Status::Code::kInvalidArgument);
  EXPECT_EQ(Read(1), "xSUP*y");
  EXPECT_EQ(f_->LastRecord(), 1u);
}

TEST_F(DataFileTest, OpenRefusesBadLengthsAndForeignOrDamagedFiles) {
  EXPECT_EQ(Open(4).code(), Status::Code::kInvalidArgument);
  EXPECT_EQ(Open(10, false).code(), Status::Code::kNotFound);
  ASSERT_TRUE(Open(10).ok());
  ASSERT_TRUE(f_->Write(1, Rec("x")).ok());
  ASSERT_TRUE(f_->Flush().ok());
  f_.reset();
  Status s = Open(12, false);
  EXPECT_EQ(s.code(), Status::Code::kInvalidArgument);
  EXPECT_NE(s.message().find("12"), std::string::npos);
  std::string* bytes = env_.Contents("d/CLI.DAT");
  std::string good = *bytes;
  (*bytes)[20] ^= 1;  // the deleted count, under the checksum
  EXPECT_TRUE(Open(10, false).IsCorruption());
  *bytes = good;
  (*bytes)[0] = 'X';
  s = Open(10, false);
  EXPECT_TRUE(s.IsCorruption());
  EXPECT_NE(s.message().find("signature"), std::string::npos);
  *bytes = good.substr(0, kDataHeaderSize + 5);  // cut inside record 1
  EXPECT_TRUE(Open(10, false).IsCorruption());
  *bytes = good;
  ASSERT_TRUE(Open(0, false, true).ok());
  EXPECT_EQ(f_->RecordLength(), 10u);
  EXPECT_FALSE(f_->Write(2, Rec("y")).ok());
}

TEST(NamesTest, OnlyLettersAndDigits) {
  EXPECT_TRUE(CheckName("Cli1", "fichier").ok());
  for (std::string_view bad : {"", "../x", "a/b", "a\\b", "..", "a.b", "é", "a b"}) {
    EXPECT_FALSE(CheckName(bad, "fichier").ok()) << bad;
  }
  EXPECT_FALSE(CheckName(std::string(65, 'a'), "fichier").ok());
  std::string upper;
  ASSERT_TRUE(CheckFileName("tva.dom", &upper).ok());
  EXPECT_EQ(upper, "TVA.DOM");
  for (std::string_view bad : {"tva", "tva.", "../tva.dom", "tva.dom.x", ".dom", "t/a.dom"}) {
    EXPECT_FALSE(CheckFileName(bad, &upper).ok()) << bad;
  }
}

TEST(RecordTextTest, Windows1252AndFixedWidth) {
  std::string out;
  ASSERT_TRUE(EncodeFixed("é€", 4, "texte", &out).ok());
  EXPECT_EQ(out, "\xE9\x80  ");
  Status s = EncodeFixed("abcdé", 4, "texte", &out);
  EXPECT_FALSE(s.ok());
  EXPECT_EQ(out, "\xE9\x80  ");  // untouched
  EXPECT_FALSE(EncodeFixed("Ω", 4, "texte", &out).ok());
  std::string text;
  DecodeBytes("\xE9\x81z", &text);
  EXPECT_EQ(text, "é\u0081z");
}

TEST(RecordTextTest, PointersBase256HighByteFirst) {
  char p[3];
  EncodePointer(0x010203, p);
  EXPECT_EQ(std::string(p, 3), "\x01\x02\x03");
  EXPECT_EQ(DecodePointer(p), 0x010203u);
  EXPECT_EQ(DecodePointer("   "), 0u);
  EXPECT_EQ(DecodePointer(std::string(3, '\0').data()), 0u);
  EncodePointer(kMaxPointer, p);
  EXPECT_EQ(DecodePointer(p), kMaxPointer);
}

}  // namespace
}  // namespace vesk::isam
