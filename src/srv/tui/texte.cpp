#include "srv/tui/texte.h"

#include "srv/erreur_service.h"
#include "srv/text/cp1252.h"
#include "srv/text/utf8.h"

namespace vesk::tui {

std::u32string VersPoints(std::string_view utf8) {
  std::u32string out;
  out.reserve(utf8.size());
  size_t pos = 0;
  while (pos < utf8.size()) {
    char32_t cp = 0;
    if (text::DecodeUtf8(utf8, &pos, &cp)) {
      out.push_back(cp);
    } else {
      out.push_back(U'\uFFFD');
      ++pos;
    }
  }
  return out;
}

std::u32string VersPointsStrict(std::string_view utf8, std::string_view operation,
                                std::string_view objet) {
  text::TextResult r = text::CheckUtf8(utf8);
  if (!r.ok) throw ErreurService(operation, objet, r.message);
  return VersPoints(utf8);
}

std::string VersUtf8(std::u32string_view points) {
  std::string out;
  out.reserve(points.size());
  for (char32_t c : points) text::AppendUtf8(c, &out);
  return out;
}

bool EstCp1252(char32_t c) {
  unsigned char b = 0;
  return text::CodePointToCp1252(c, &b);
}

std::string DecritCaractere(char32_t c) { return text::DescribeCodePoint(c); }

char32_t Minuscule(char32_t c) {
  if (c >= U'A' && c <= U'Z') return c + 32;
  if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return c + 32;
  if (c == 0x152) return 0x153;  // Œ
  if (c == 0x160) return 0x161;  // Š
  if (c == 0x17D) return 0x17E;  // Ž
  if (c == 0x178) return 0xFF;   // Ÿ
  return c;
}

size_t Longueur(std::string_view utf8) { return text::CountChars(utf8); }

}  // namespace vesk::tui
