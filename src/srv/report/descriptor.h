// The frame of a listing read from its report descriptor "[PS,n,[columns],[]]": the style of
// its text, the lines kept together at its start, its columns (leaves, left to right) and the
// group headings above them. Free function and plain values; safe from any thread.
#ifndef VESK_SRV_REPORT_DESCRIPTOR_H_
#define VESK_SRV_REPORT_DESCRIPTOR_H_

#include <string>
#include <string_view>
#include <vector>

namespace vesk::report {

// A style code: size P (small), M (medium), G (large); weight S (standard), D (bold).
struct Style {
  char size = 'P';
  bool bold = false;
};
// Reads a two-letter style code ("PS", "GD"...); false when it is not one.
bool ParseStyle(std::string_view code, Style* style);

enum class Align { kLeft, kRight, kCentre };

struct Column {
  std::string key;
  std::string title;
  char type = 'A';   // A text, N number, B boolean
  int width = 0;     // declared width in characters
  int decimals = 0;  // type N only
  Align align = Align::kLeft;
  bool wrap_words = false;      // option A: long texts wrap at word boundaries
  bool repeat_on_page = false;  // option E: value repeated on a continuation page
  int layout_width = 0;         // width used: at least the declared one and the title's words
};

// A group heading over the columns first..last (indexes in Descriptor::columns).
struct Group {
  std::string title;
  int first = 0;
  int last = 0;
  int level = 0;  // 0 for an outermost group
};

struct Descriptor {
  Style style;
  int keep_lines = 1;  // n: frame lines that must fit below the headings where the frame starts
  std::vector<Column> columns;
  std::vector<Group> groups;
  int depth = 0;  // number of group levels

  // Index of the column of that key, -1 when there is none.
  int Find(std::string_view key) const;
  // Width of the frame in characters as the text renderer draws it ("| a | b |").
  int TextWidth() const;
};

// Reads a descriptor; a malformed one throws ErreurService("DefEdt", ...) whose message names
// the faulty part and its character position.
Descriptor ParseDescriptor(std::string_view text);

}  // namespace vesk::report

#endif  // VESK_SRV_REPORT_DESCRIPTOR_H_
