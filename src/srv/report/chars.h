// Character-level helpers of the listing layout, written over the shared text helpers of
// src/srv/text: refusing control characters, expanding tabs and line breaks, and wrapping a text
// into lines of a given width (nothing is ever dropped but the spaces where a line is broken).
// Free functions without state; safe from any thread.
#ifndef VESK_SRV_REPORT_CHARS_H_
#define VESK_SRV_REPORT_CHARS_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::report {

// 0 when s holds no control character other than newline, carriage return and tab, else the
// 1-based character position of the first one. s must be valid UTF-8.
size_t FirstControl(std::string_view s);

// s with tabs expanded to the next multiple of 8 characters, "\r\n" and lone "\r" made "\n".
std::string NormalizeBreaks(std::string_view s);

// Cuts s into lines of at most width characters (width >= 1). "\n" always breaks. by_words:
// breaks at the last space that fits, a longer word being cut where it reaches the width; the
// space at a break is dropped, leading spaces of a line are kept. Otherwise lines are cut every
// width characters exactly. An empty s gives one empty line.
std::vector<std::string> Wrap(std::string_view s, size_t width, bool by_words);

// Number of characters of the longest word (run of non-spaces) of s.
size_t LongestWord(std::string_view s);

}  // namespace vesk::report

#endif  // VESK_SRV_REPORT_CHARS_H_
