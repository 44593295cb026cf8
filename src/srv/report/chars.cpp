#include "srv/report/chars.h"

#include <algorithm>

#include "srv/text/utf8.h"

namespace vesk::report {

size_t FirstControl(std::string_view s) {
  size_t position = 0;
  size_t found = 0;
  text::ForEachCodePoint(s, [&](char32_t cp) {
    ++position;
    const bool control = (cp < 0x20 && cp != '\n' && cp != '\r' && cp != '\t') ||
                         (cp >= 0x7F && cp <= 0x9F);  // DEL and the C1 controls
    if (control && found == 0) found = position;
  });
  return found;
}

std::string NormalizeBreaks(std::string_view s) {
  std::string out;
  size_t column = 0;
  while (!s.empty()) {
    const size_t stop = std::min(s.find_first_of("\r\n\t"), s.size());
    out.append(s.substr(0, stop));
    column += text::CountChars(s.substr(0, stop));
    if (stop == s.size()) break;
    const char c = s[stop];
    s.remove_prefix(stop + 1);
    if (c == '\t') {
      const size_t spaces = 8 - column % 8;
      out.append(spaces, ' ');
      column += spaces;
      continue;
    }
    if (c == '\r' && !s.empty() && s.front() == '\n') s.remove_prefix(1);
    out += '\n';
    column = 0;
  }
  return out;
}

namespace {

void WrapParagraph(std::string_view para, size_t width, bool by_words,
                   std::vector<std::string>* out) {
  const std::vector<std::string_view> chars = text::SplitChars(para);
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
  for (std::string_view c : text::SplitChars(s)) {
    current = (c == " " || c == "\n") ? 0 : current + 1;
    if (current > best) best = current;
  }
  return best;
}

}  // namespace vesk::report
