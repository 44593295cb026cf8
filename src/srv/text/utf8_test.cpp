#include "srv/text/utf8.h"

#include <gtest/gtest.h>

#include <vector>

#include "srv/erreur_service.h"

namespace vesk::text {
namespace {

TEST(Utf8Test, CountsCharactersNotBytes) {
  EXPECT_EQ(CountChars(""), 0u);
  EXPECT_EQ(CountChars("Clé"), 3u);
  EXPECT_EQ(CountChars("€😀a"), 3u);
  EXPECT_EQ(CharOffset("Clé€x", 3), 4u);
  EXPECT_EQ(CharOffset("Clé", 9), 4u);
  EXPECT_EQ(SplitChars("aé€😀"), (std::vector<std::string_view>{"a", "é", "€", "😀"}));
  EXPECT_TRUE(SplitChars("").empty());
}

TEST(Utf8Test, LeftMidRightCutBetweenCharacters) {
  EXPECT_EQ(Left("éèà", 2), "éè");
  EXPECT_EQ(Left("éèà", 0), "");
  EXPECT_EQ(Left("ab", 5), "ab");
  EXPECT_EQ(Right("éèà", 2), "èà");
  EXPECT_EQ(Right("ab", 5), "ab");
  EXPECT_EQ(Right("ab", 0), "");
  EXPECT_EQ(Mid("Début", 2, 3), "ébu");
  EXPECT_EQ(Mid("Début", 3), "but");
  EXPECT_EQ(Mid("Début", 6), "");
  EXPECT_EQ(Mid("Début", 9, 2), "");
  EXPECT_THROW(Mid("Début", 0, 1), ErreurService);
}

TEST(Utf8Test, FixedWidthPadsAndCutsByCharacters) {
  EXPECT_EQ(FixedWidth("AB", 6), "AB    ");
  EXPECT_EQ(FixedWidth("Clé", 4), "Clé ");  // 4 characters, 5 bytes
  EXPECT_EQ(FixedWidth("Échéance", 3), "Éch");
  EXPECT_EQ(FixedWidth("x", 0), "");
  std::string field = "ancien contenu";
  AssignFixed(&field, std::string_view(field).substr(7), 5);  // a view into the field itself
  EXPECT_EQ(field, "conte");
}

TEST(Utf8Test, DecodesAndEncodesCodePoints) {
  std::vector<char32_t> seen;
  EXPECT_TRUE(ForEachCodePoint("aé€😀", [&](char32_t cp) { seen.push_back(cp); }));
  EXPECT_EQ(seen, (std::vector<char32_t>{U'a', U'é', U'€', char32_t{0x1F600}}));
  std::string back;
  for (char32_t cp : seen) AppendUtf8(cp, &back);
  EXPECT_EQ(back, "aé€😀");
  for (char32_t cp : {char32_t{0x7F}, char32_t{0x80}, char32_t{0x7FF}, char32_t{0x800},
                      char32_t{0xFFFF}, char32_t{0x10000}, char32_t{0x10FFFF}}) {
    std::string s;
    AppendUtf8(cp, &s);
    size_t pos = 0;
    char32_t got = 0;
    ASSERT_TRUE(DecodeUtf8(s, &pos, &got));
    EXPECT_EQ(got, cp);
    EXPECT_EQ(pos, s.size());
  }
  EXPECT_FALSE(ForEachCodePoint("a\xFF", [](char32_t) {}));
}

TEST(Utf8Test, CheckNamesTheFirstBadByte) {
  EXPECT_TRUE(IsValidUtf8(std::string("a\0é", 4)));
  const TextResult r = CheckUtf8("éé\xF8x");
  ASSERT_FALSE(r.ok);
  EXPECT_EQ(r.position, 3u);
  EXPECT_EQ(r.offset, 4u);
  EXPECT_EQ(r.message, "texte UTF-8 invalide en position 3 (octet 0xF8)");
  // Overlong forms, surrogates, values past U+10FFFF and cut sequences are all refused.
  for (std::string_view bad :
       {"\xC1\xBF", "\xE0\x9F\xBF", "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF0\x9F\x98", "\xBF"}) {
    EXPECT_FALSE(IsValidUtf8(bad)) << bad;
  }
}

TEST(Utf8Test, AsciiCaseLeavesOtherLettersAlone) {
  EXPECT_TRUE(EqualNoCase("Synchro", "sYNCHRO"));
  EXPECT_TRUE(EqualNoCase("", ""));
  EXPECT_FALSE(EqualNoCase("Clé", "CLÉ"));  // É is not an ASCII letter
  EXPECT_FALSE(EqualNoCase("ab", "abc"));
  EXPECT_FALSE(EqualNoCase("[", "{"));  // 0x5B and 0x7B differ by 32 but are no letters
  EXPECT_EQ(UpperAscii("pdf+txt é_9"), "PDF+TXT é_9");
  EXPECT_EQ(LowerAscii(".PDF ÉTÉ"), ".pdf ÉtÉ");
}

TEST(Utf8Test, TrimDropsOnlyTheGivenBlanks) {
  EXPECT_EQ(Trim("  a b  "), "a b");
  EXPECT_EQ(Trim("    "), "");
  EXPECT_EQ(Trim(""), "");
  EXPECT_EQ(Trim("\t x\t"), "\t x\t");  // spaces only by default
  EXPECT_EQ(Trim("\t x \r\n", " \t\r\n"), "x");
  EXPECT_EQ(TrimRight("  é  "), "  é");
  EXPECT_EQ(TrimRight("   "), "");
}

}  // namespace
}  // namespace vesk::text
