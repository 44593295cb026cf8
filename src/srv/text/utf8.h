// UTF-8 helpers that count characters (code points), never bytes: validation, decoding, the
// BASIC-style Left/Mid/Right and fixed-length assignment that fields and layouts rely on, and
// the ASCII case and blank helpers that names and keywords share.
// Free functions without state; safe from any thread. Only Mid throws (position 0).
#ifndef VESK_SRV_TEXT_UTF8_H_
#define VESK_SRV_TEXT_UTF8_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::text {

// The outcome of checking or converting a text. When ok is false, position is the 1-based
// character position of the fault, offset its byte offset in the UTF-8 text, code_point the
// refused character (0 when the text is not valid UTF-8) and message a French sentence that
// names it.
struct TextResult {
  bool ok = true;
  size_t position = 0;
  size_t offset = 0;
  char32_t code_point = 0;
  std::string message;

  explicit operator bool() const { return ok; }
};

// Decodes the code point that starts at s[*pos] into *cp and moves *pos past it. Returns false,
// leaving *pos unchanged, on a malformed sequence (stray or missing continuation byte, overlong
// form, surrogate, value above U+10FFFF, sequence cut by the end of s).
bool DecodeUtf8(std::string_view s, size_t* pos, char32_t* cp);

// Appends cp (at most U+10FFFF) to out in UTF-8.
void AppendUtf8(char32_t cp, std::string* out);

// Checks that s is valid UTF-8; on failure the result names the first bad byte.
TextResult CheckUtf8(std::string_view s);
inline bool IsValidUtf8(std::string_view s) { return CheckUtf8(s).ok; }

// The failing TextResult for a malformed sequence at byte offset, being character position.
TextResult MalformedUtf8(std::string_view s, size_t offset, size_t position);

// Calls f(code_point) for each character of s in order. Returns false, having stopped, at the
// first malformed sequence.
template <typename F>
bool ForEachCodePoint(std::string_view s, F&& f) {
  size_t pos = 0;
  char32_t cp = 0;
  while (pos < s.size()) {
    if (!DecodeUtf8(s, &pos, &cp)) return false;
    f(cp);
  }
  return true;
}

// The functions below count characters of valid UTF-8. They never split a character: a
// character starts at every byte that is not a continuation byte (10xxxxxx). Texts are checked
// where they enter (CheckUtf8, the Windows-1252 conversion, the text service).

// Number of characters of s.
size_t CountChars(std::string_view s);
// Byte offset at which character n (0-based) starts; s.size() when s has n characters or fewer.
size_t CharOffset(std::string_view s, size_t n);
// The characters of s, one view each.
std::vector<std::string_view> SplitChars(std::string_view s);

// The first n characters of s (all of s when shorter).
std::string_view Left(std::string_view s, size_t n);
// The last n characters of s (all of s when shorter).
std::string_view Right(std::string_view s, size_t n);
inline constexpr size_t kToEnd = static_cast<size_t>(-1);
// Up to n characters of s from character position start, counted from 1; empty when start lies
// past the end. Position 0 does not exist: it throws ErreurService.
std::string_view Mid(std::string_view s, size_t start, size_t n = kToEnd);

// s as a fixed-length text of width characters, like a BASIC fixed-length string: completed
// with spaces when shorter, cut after width characters when longer.
std::string FixedWidth(std::string_view s, size_t width);
// The same, written into *field (its storage reused). s may view *field itself.
void AssignFixed(std::string* field, std::string_view s, size_t width);

// Names and keywords: only the ASCII letters A-Z and a-z change case; every other byte, and so
// every accented letter, is kept and compared as it is.
bool EqualNoCase(std::string_view a, std::string_view b);
std::string UpperAscii(std::string_view s);
std::string LowerAscii(std::string_view s);

// s without the leading and trailing bytes found in blanks (spaces by default).
std::string_view Trim(std::string_view s, std::string_view blanks = " ");
// s without the trailing bytes found in blanks.
std::string_view TrimRight(std::string_view s, std::string_view blanks = " ");

}  // namespace vesk::text

#endif  // VESK_SRV_TEXT_UTF8_H_
