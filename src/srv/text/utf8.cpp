#include "srv/text/utf8.h"

#include <cstdio>

#include "srv/erreur_service.h"

namespace vesk::text {

namespace {

bool IsContinuation(unsigned char b) { return (b & 0xC0) == 0x80; }

}  // namespace

bool DecodeUtf8(std::string_view s, size_t* pos, char32_t* cp) {
  const size_t i = *pos;
  const auto b0 = static_cast<unsigned char>(s[i]);
  if (b0 < 0x80) {
    *cp = b0;
    *pos = i + 1;
    return true;
  }
  size_t len;
  char32_t value;
  char32_t min;
  if (b0 >= 0xC2 && b0 <= 0xDF) {
    len = 2, value = b0 & 0x1F, min = 0x80;
  } else if (b0 >= 0xE0 && b0 <= 0xEF) {
    len = 3, value = b0 & 0x0F, min = 0x800;
  } else if (b0 >= 0xF0 && b0 <= 0xF4) {
    len = 4, value = b0 & 0x07, min = 0x10000;
  } else {
    return false;  // continuation byte, C0/C1 (overlong) or F5..FF
  }
  if (s.size() - i < len) return false;
  for (size_t k = 1; k < len; ++k) {
    const auto b = static_cast<unsigned char>(s[i + k]);
    if (!IsContinuation(b)) return false;
    value = (value << 6) | (b & 0x3F);
  }
  if (value < min || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return false;
  *cp = value;
  *pos = i + len;
  return true;
}

void AppendUtf8(char32_t cp, std::string* out) {
  if (cp < 0x80) {
    out->push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

TextResult MalformedUtf8(std::string_view s, size_t offset, size_t position) {
  char hex[8];
  std::snprintf(hex, sizeof hex, "0x%02X", static_cast<unsigned char>(s[offset]));
  TextResult r;
  r.ok = false;
  r.position = position;
  r.offset = offset;
  r.message =
      "texte UTF-8 invalide en position " + std::to_string(position) + " (octet " + hex + ")";
  return r;
}

TextResult CheckUtf8(std::string_view s) {
  size_t pos = 0;
  size_t position = 1;
  char32_t cp = 0;
  while (pos < s.size()) {
    if (static_cast<unsigned char>(s[pos]) < 0x80) {
      ++pos;
    } else if (!DecodeUtf8(s, &pos, &cp)) {
      return MalformedUtf8(s, pos, position);
    }
    ++position;
  }
  return {};
}

size_t CountChars(std::string_view s) {
  size_t n = 0;
  for (char c : s) n += !IsContinuation(static_cast<unsigned char>(c));
  return n;
}

size_t CharOffset(std::string_view s, size_t n) {
  size_t seen = 0;
  for (size_t i = 0; i < s.size(); ++i) {
    if (!IsContinuation(static_cast<unsigned char>(s[i])) && seen++ == n) return i;
  }
  return s.size();
}

std::vector<std::string_view> SplitChars(std::string_view s) {
  std::vector<std::string_view> out;
  size_t start = 0;
  for (size_t pos = 1; pos <= s.size(); ++pos) {
    if (pos == s.size() || !IsContinuation(static_cast<unsigned char>(s[pos]))) {
      out.push_back(s.substr(start, pos - start));
      start = pos;
    }
  }
  return out;
}

std::string_view Left(std::string_view s, size_t n) { return s.substr(0, CharOffset(s, n)); }

std::string_view Right(std::string_view s, size_t n) {
  if (n == 0) return {};
  size_t seen = 0;
  for (size_t i = s.size(); i-- > 0;) {
    if (!IsContinuation(static_cast<unsigned char>(s[i])) && ++seen == n) return s.substr(i);
  }
  return s;
}

std::string_view Mid(std::string_view s, size_t start, size_t n) {
  Exige(start >= 1, "Mid", "", "la position 0 n'existe pas : les positions commencent à 1");
  const std::string_view rest = s.substr(CharOffset(s, start - 1));
  return n == kToEnd ? rest : Left(rest, n);
}

std::string FixedWidth(std::string_view s, size_t width) {
  std::string field;
  AssignFixed(&field, s, width);
  return field;
}

void AssignFixed(std::string* field, std::string_view s, size_t width) {
  const std::string_view cut = Left(s, width);
  const size_t chars = CountChars(cut);
  field->assign(cut.data(), cut.size());  // assign copes with a view into *field
  field->append(width - chars, ' ');
}

namespace {

char LowerChar(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
char UpperChar(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

}  // namespace

bool EqualNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (LowerChar(a[i]) != LowerChar(b[i])) return false;
  }
  return true;
}

std::string UpperAscii(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = UpperChar(c);
  return out;
}

std::string LowerAscii(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = LowerChar(c);
  return out;
}

std::string_view Trim(std::string_view s, std::string_view blanks) {
  const size_t first = s.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return s.substr(first, s.find_last_not_of(blanks) - first + 1);
}

std::string_view TrimRight(std::string_view s, std::string_view blanks) {
  const size_t last = s.find_last_not_of(blanks);
  return last == std::string_view::npos ? std::string_view{} : s.substr(0, last + 1);
}

}  // namespace vesk::text
