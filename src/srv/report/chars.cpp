#include "srv/report/chars.h"

namespace vesk::report {

namespace {

bool IsContinuation(unsigned char c) { return (c & 0xC0) == 0x80; }

// Length of the well-formed sequence at s[pos], 0 when it is malformed.
size_t SequenceLength(std::string_view s, size_t pos) {
  const auto c = static_cast<unsigned char>(s[pos]);
  size_t len = 0;
  char32_t cp = 0;
  if (c < 0x80) return 1;
  if (c >= 0xC2 && c <= 0xDF) {
    len = 2, cp = c & 0x1F;
  } else if (c >= 0xE0 && c <= 0xEF) {
    len = 3, cp = c & 0x0F;
  } else if (c >= 0xF0 && c <= 0xF4) {
    len = 4, cp = c & 0x07;
  } else {
    return 0;
  }
  if (pos + len > s.size()) return 0;
  for (size_t i = 1; i < len; ++i) {
    const auto d = static_cast<unsigned char>(s[pos + i]);
    if (!IsContinuation(d)) return 0;
    cp = (cp << 6) | (d & 0x3F);
  }
  if ((len == 3 && cp < 0x800) || (len == 4 && (cp < 0x10000 || cp > 0x10FFFF))) return 0;
  if (cp >= 0xD800 && cp <= 0xDFFF) return 0;
  return len;
}

}  // namespace

size_t FirstBadUtf8(std::string_view s) {
  size_t position = 1;
  for (size_t pos = 0; pos < s.size(); ++position) {
    const size_t len = SequenceLength(s, pos);
    if (len == 0) return position;
    pos += len;
  }
  return 0;
}

size_t FirstControl(std::string_view s) {
  size_t position = 0;
  for (size_t pos = 0; pos < s.size(); ++pos) {
    const auto c = static_cast<unsigned char>(s[pos]);
    if (IsContinuation(c)) continue;
    ++position;
    if ((c < 0x20 && c != '\n' && c != '\r' && c != '\t') || c == 0x7F) return position;
    // U+0080..U+009F (C1 controls) are encoded C2 80..C2 9F.
    if (c == 0xC2 && pos + 1 < s.size() && static_cast<unsigned char>(s[pos + 1]) < 0xA0) {
      return position;
    }
  }
  return 0;
}

size_t CharCount(std::string_view s) {
  size_t n = 0;
  for (char c : s) n += IsContinuation(static_cast<unsigned char>(c)) ? 0 : 1;
  return n;
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

std::string NormalizeBreaks(std::string_view s) {
  std::string out;
  size_t column = 0;
  for (size_t i = 0; i < s.size(); ++i) {
    const char c = s[i];
    if (c == '\r') {
      if (i + 1 < s.size() && s[i + 1] == '\n') ++i;
      out += '\n';
      column = 0;
    } else if (c == '\n') {
      out += '\n';
      column = 0;
    } else if (c == '\t') {
      do {
        out += ' ';
        ++column;
      } while (column % 8 != 0);
    } else {
      out += c;
      if (!IsContinuation(static_cast<unsigned char>(c))) ++column;
    }
  }
  return out;
}

namespace {

void WrapParagraph(std::string_view para, size_t width, bool by_words,
                   std::vector<std::string>* out) {
  const std::vector<std::string_view> chars = SplitChars(para);
  size_t start = 0;
  if (chars.empty()) out->emplace_back();
  while (start < chars.size()) {
    size_t end = start + width;  // one past the last character of the line
    size_t next = end;           // first character of the next line
    if (end >= chars.size()) {
      end = next = chars.size();
    } else if (by_words) {
      size_t cut = end;  // a space at chars[end] breaks right there
      while (cut > start && chars[cut] != " ") --cut;
      if (cut > start && chars[cut] == " ") {
        end = cut;
        next = cut;
        while (end > start && chars[end - 1] == " ") --end;
        while (next < chars.size() && chars[next] == " ") ++next;
      }
    }
    std::string line;
    for (size_t i = start; i < end; ++i) line += chars[i];
    out->push_back(std::move(line));
    start = next;
  }
}

}  // namespace

std::vector<std::string> Wrap(std::string_view s, size_t width, bool by_words) {
  if (width == 0) width = 1;
  std::vector<std::string> out;
  size_t start = 0;
  while (true) {
    const size_t nl = s.find('\n', start);
    WrapParagraph(s.substr(start, nl == std::string_view::npos ? s.npos : nl - start), width,
                  by_words, &out);
    if (nl == std::string_view::npos) break;
    start = nl + 1;
  }
  return out;
}

size_t LongestWord(std::string_view s) {
  size_t best = 0;
  size_t current = 0;
  for (std::string_view c : SplitChars(s)) {
    current = (c == " " || c == "\n") ? 0 : current + 1;
    if (current > best) best = current;
  }
  return best;
}

std::string_view Trim(std::string_view s) {
  const size_t b = s.find_first_not_of(' ');
  if (b == std::string_view::npos) return {};
  return s.substr(b, s.find_last_not_of(' ') - b + 1);
}

std::string_view TrimRight(std::string_view s) {
  const size_t e = s.find_last_not_of(' ');
  return e == std::string_view::npos ? std::string_view{} : s.substr(0, e + 1);
}

}  // namespace vesk::report
