#include "srv/text/cp1252.h"

#include <cstdio>

#include "srv/erreur_service.h"

namespace vesk::text {

namespace {

// Code points of bytes 0x80..0x9F; the five undefined bytes keep their own value.
constexpr char16_t kHigh[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  // 80-87
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,  // 88-8F
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 90-97
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,  // 98-9F
};

// True for characters that would not show in a message: controls, invisible formatting
// characters, byte-order mark and non-characters.
bool IsInvisible(char32_t cp) {
  return cp < 0x20 || (cp >= 0x7F && cp <= 0xA0) || cp == 0xAD || (cp >= 0x200B && cp <= 0x200F) ||
         (cp >= 0x2028 && cp <= 0x202F) || (cp >= 0x2060 && cp <= 0x206F) || cp == 0xFEFF ||
         (cp >= 0xFFF9 && cp <= 0xFFFB) || (cp & 0xFFFE) == 0xFFFE ||
         (cp >= 0xFDD0 && cp <= 0xFDEF) || (cp >= 0xE0000 && cp <= 0xE007F);
}

// Checks utf8 and, when out is not null, appends its Windows-1252 bytes to *out.
TextResult Encode(std::string_view utf8, std::string* out) {
  size_t pos = 0;
  size_t position = 1;
  char32_t cp = 0;
  unsigned char byte = 0;
  while (pos < utf8.size()) {
    const size_t start = pos;
    if (static_cast<unsigned char>(utf8[pos]) < 0x80) {
      byte = static_cast<unsigned char>(utf8[pos++]);
    } else if (!DecodeUtf8(utf8, &pos, &cp)) {
      return MalformedUtf8(utf8, pos, position);
    } else if (!CodePointToCp1252(cp, &byte)) {
      TextResult r;
      r.ok = false;
      r.position = position;
      r.offset = start;
      r.code_point = cp;
      r.message = "le caractère " + DescribeCodePoint(cp) + " en position " +
                  std::to_string(position) + " n'existe pas dans le jeu Windows-1252";
      return r;
    }
    if (out != nullptr) out->push_back(static_cast<char>(byte));
    ++position;
  }
  return {};
}

}  // namespace

char32_t Cp1252ToCodePoint(unsigned char byte) {
  return (byte & 0xE0) == 0x80 ? kHigh[byte - 0x80] : byte;
}

bool CodePointToCp1252(char32_t cp, unsigned char* byte) {
  if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) {
    *byte = static_cast<unsigned char>(cp);
    return true;
  }
  if (cp > 0x2122) return false;
  for (unsigned i = 0; i < 32; ++i) {
    if (kHigh[i] == cp) {
      *byte = static_cast<unsigned char>(0x80 + i);
      return true;
    }
  }
  return false;
}

void AppendDecodedCp1252(std::string_view bytes, std::string* out) {
  out->reserve(out->size() + bytes.size() + bytes.size() / 4);
  for (char c : bytes) {
    const auto b = static_cast<unsigned char>(c);
    if (b < 0x80) {
      out->push_back(c);
    } else {
      AppendUtf8(Cp1252ToCodePoint(b), out);
    }
  }
}

std::string DecodeCp1252(std::string_view bytes) {
  std::string out;
  AppendDecodedCp1252(bytes, &out);
  return out;
}

TextResult EncodeCp1252(std::string_view utf8, std::string* out) {
  std::string bytes;
  bytes.reserve(utf8.size());
  TextResult r = Encode(utf8, &bytes);
  if (r.ok) *out = std::move(bytes);
  return r;
}

std::string EncodeCp1252OrThrow(std::string_view utf8, std::string_view operation,
                                std::string_view objet) {
  std::string bytes;
  bytes.reserve(utf8.size());
  const TextResult r = Encode(utf8, &bytes);
  if (!r.ok) throw ErreurService(operation, objet, r.message);
  return bytes;
}

void RequireCp1252(std::string_view utf8, std::string_view operation, std::string_view objet) {
  const TextResult r = Encode(utf8, nullptr);
  if (!r.ok) throw ErreurService(operation, objet, r.message);
}

std::string DescribeCodePoint(char32_t cp) {
  char hex[12];
  std::snprintf(hex, sizeof hex, "U+%04X", static_cast<unsigned>(cp));
  if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF) || IsInvisible(cp)) return hex;
  std::string text = "« ";
  AppendUtf8(cp, &text);
  text += " » (";
  text += hex;
  text += ")";
  return text;
}

}  // namespace vesk::text
