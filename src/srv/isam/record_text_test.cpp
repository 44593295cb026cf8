#include "srv/isam/record_text.h"

#include <gtest/gtest.h>

namespace vesk::isam {
namespace {

// The buffer is reused from one call to the next: a longer or shorter former content must not
// show through, on the ASCII path as on the Windows-1252 one.
TEST(RecordTextTest, EncodeFixedPadsAndReusesTheBuffer) {
  std::string out = "former content, longer than the record";
  ASSERT_TRUE(EncodeFixed("abc", 6, "texte", &out).ok());
  EXPECT_EQ(out, "abc   ");
  ASSERT_TRUE(EncodeFixed("", 3, "texte", &out).ok());
  EXPECT_EQ(out, "   ");
  ASSERT_TRUE(EncodeFixed("0123456789abcdefXY", 18, "texte", &out).ok());
  EXPECT_EQ(out, "0123456789abcdefXY");
  ASSERT_TRUE(EncodeFixed("été", 5, "clé", &out).ok());
  EXPECT_EQ(out, "\xE9t\xE9  ");
  Status s = EncodeFixed("abcdefghi", 8, "clé", &out);
  EXPECT_FALSE(s.ok());
  EXPECT_NE(s.message().find("clé de 9 caractères"), std::string::npos) << s.message();
  EXPECT_EQ(out, "\xE9t\xE9  ");  // a refused text leaves the buffer alone
}

TEST(RecordTextTest, EveryByteRoundTrips) {
  std::string bytes;
  for (int b = 1; b < 256; ++b) bytes.push_back(static_cast<char>(b));
  std::string text = "former";
  DecodeBytes(bytes, &text);
  std::string back = "x";
  ASSERT_TRUE(EncodeFixed(text, bytes.size(), "texte", &back).ok());
  EXPECT_EQ(back, bytes);
  // An ASCII text after a longer one: nothing of the former is left.
  DecodeBytes("ab", &text);
  EXPECT_EQ(text, "ab");
  DecodeBytes("", &text);
  EXPECT_EQ(text, "");
}

}  // namespace
}  // namespace vesk::isam
