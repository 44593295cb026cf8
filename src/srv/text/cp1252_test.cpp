#include "srv/text/cp1252.h"

#include <gtest/gtest.h>

#include "srv/erreur_service.h"

namespace vesk::text {
namespace {

TEST(Cp1252Test, EveryByteRoundTrips) {
  std::string all;
  for (int b = 0; b < 256; ++b) all.push_back(static_cast<char>(b));
  const std::string utf8 = DecodeCp1252(all);
  EXPECT_TRUE(IsValidUtf8(utf8));
  EXPECT_EQ(CountChars(utf8), 256u);
  std::string back;
  ASSERT_TRUE(EncodeCp1252(utf8, &back).ok);
  EXPECT_EQ(back, all);
}

TEST(Cp1252Test, UndefinedBytesKeepTheirValue) {
  for (unsigned char b : {0x81, 0x8D, 0x8F, 0x90, 0x9D}) {
    EXPECT_EQ(Cp1252ToCodePoint(b), char32_t{b});
  }
  EXPECT_EQ(DecodeCp1252("\x81"), "\xC2\x81");
  std::string back;
  ASSERT_TRUE(EncodeCp1252("\xC2\x81", &back).ok);
  EXPECT_EQ(back, "\x81");
  // The other C1 controls are not Windows-1252 characters: U+0080 is not the euro byte.
  EXPECT_FALSE(EncodeCp1252("\xC2\x80", &back).ok);
}

TEST(Cp1252Test, MapsTheWindowsSpecificCharacters) {
  EXPECT_EQ(DecodeCp1252("\x80\x85\x8C\x99\xE9"), "€…Œ™é");
  std::string bytes;
  ASSERT_TRUE(EncodeCp1252("Prix : 5 € — « Œuvre »", &bytes).ok);
  EXPECT_EQ(bytes, "Prix : 5 \x80 \x97 \xAB \x8Cuvre \xBB");
  EXPECT_EQ(DecodeCp1252(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST(Cp1252Test, RefusesCharactersItCannotHoldWithTheirPosition) {
  std::string out = "kept";
  TextResult r = EncodeCp1252("aéΩb", &out);
  ASSERT_FALSE(r.ok);
  EXPECT_EQ(r.position, 3u);
  EXPECT_EQ(r.offset, 3u);
  EXPECT_EQ(r.code_point, U'Ω');
  EXPECT_EQ(r.message,
            "le caractère « Ω » (U+03A9) en position 3 n'existe pas dans le jeu Windows-1252");
  EXPECT_EQ(out, "kept");

  r = EncodeCp1252("é😀", &out);
  ASSERT_FALSE(r.ok);
  EXPECT_EQ(r.position, 2u);
  EXPECT_EQ(r.code_point, char32_t{0x1F600});
  EXPECT_NE(r.message.find("U+1F600"), std::string::npos);
  EXPECT_NE(r.message.find("😀"), std::string::npos);

  // An invisible character is named by its number only.
  r = EncodeCp1252("x\xE2\x80\x8B", &out);
  ASSERT_FALSE(r.ok);
  EXPECT_EQ(r.message, "le caractère U+200B en position 2 n'existe pas dans le jeu Windows-1252");
}

TEST(Cp1252Test, RefusesMalformedUtf8) {
  std::string out;
  for (std::string_view bad : {"ab\xE9", "ab\xC3", "ab\xC0\xAF", "ab\xED\xA0\x80", "ab\x80",
                               "ab\xF4\x90\x80\x80", "ab\xE2\x82z"}) {
    const TextResult r = EncodeCp1252(bad, &out);
    ASSERT_FALSE(r.ok) << bad;
    EXPECT_EQ(r.position, 3u) << bad;
    EXPECT_EQ(r.code_point, 0u);
    EXPECT_EQ(r.message.rfind("texte UTF-8 invalide en position 3 (octet 0x", 0), 0u) << r.message;
  }
}

TEST(Cp1252Test, ThrowingHelpersNameOperationAndObject) {
  EXPECT_EQ(EncodeCp1252OrThrow("Clé", "EcrireFichier", "FIC"), "Cl\xE9");
  try {
    RequireCp1252("Ωmega", "EcrireFichier", "FIC");
    FAIL();
  } catch (const ErreurService& e) {
    EXPECT_EQ(e.Operation(), "EcrireFichier");
    EXPECT_EQ(e.Objet(), "FIC");
    EXPECT_NE(e.Message().find("en position 1"), std::string::npos);
  }
}

}  // namespace
}  // namespace vesk::text
