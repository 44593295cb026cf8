// The laid-out listing: pages of text lines and framed boxes, built by the Paginator from the
// calls recorded during a listing, and drawn by a renderer (text or PDF). Measures are in points
// (1/72 inch) for the paper and in characters for the columns; the same layout gives the same
// pages in every renderer. Plain values and a single-threaded builder.
#ifndef VESK_SRV_REPORT_LAYOUT_H_
#define VESK_SRV_REPORT_LAYOUT_H_

#include <memory>
#include <string>
#include <vector>

#include "srv/report/descriptor.h"

namespace vesk::report {

// Paper and type measures shared by the paginator and the renderers.
inline constexpr double kA4Short = 595.28;
inline constexpr double kA4Long = 841.89;
inline constexpr double kPointsPerMm = 72.0 / 25.4;
inline constexpr int kDefaultMarginMm = 8;
// One layout character is this fraction of the font size wide (Liberation Sans averages less;
// a renderer narrows the rare line that is wider than its box).
inline constexpr double kCharWidthEm = 0.58;
inline constexpr double kCellPadding = 1.5;  // points on each side of a cell's text
inline constexpr double kFrameExtra = 3.0;   // points added to a frame box for its rules
double FontSize(char size);                  // P 8, M 10, G 12 points
double LineHeight(char size);
// Heights of the page heading: title line, subtitle line when there is one, rule and gap.
double PageHeadingHeight(bool subtitle);
// Width in points of a column drawn at its style size, padding included: its characters, and
// room for the longest word of its title in bold capitals.
double ColumnWidthPoints(const Column& column, char size);
// Width in points of a frame drawn at its own style size, padding and rules included.
double FrameWidthPoints(const Descriptor& frame);

// One line of text inside a cell.
struct Segment {
  std::string text;
  bool bold = false;
  bool underline = false;
};

// A free text line (ImprTexte), already cut to the page width.
struct TextLine {
  std::string text;
  Style style;
  std::string font;  // the family the PDF renderer uses ("Liberation Sans"...)
  Align align = Align::kLeft;
  bool underline = false;
  // A continuation: its leading spaces stand for as many characters of the text line just
  // above, so that it starts under them (a proportional font measures them).
  bool hang = false;
};

// The headings of a frame as a grid: heading lines top to bottom, each cell spanning columns
// first..last and heading rows top..bottom-1 (group levels first, then the column titles).
struct HeadingCell {
  int first = 0;
  int last = 0;
  int top = 0;
  int bottom = 0;
  std::vector<std::string> lines;  // bottom-aligned in the cell's rows, centred
};
struct HeadingGrid {
  std::vector<int> level_rows;  // first row of each group level, then of the column titles
  int rows = 0;
  std::vector<HeadingCell> cells;
};
HeadingGrid MakeHeadings(const Descriptor& frame);

// A frame's part on one page: its headings, then body lines (one Segment per column; a blank
// line has empty segments).
struct FrameBox {
  std::shared_ptr<const Descriptor> frame;
  std::shared_ptr<const HeadingGrid> headings;
  std::vector<std::vector<Segment>> lines;
  bool rule_below = true;  // the box is closed by a rule (always when it goes on overleaf)
};

struct Block {
  enum class Kind { kText, kBlank, kFrame };
  Kind kind = Kind::kBlank;
  TextLine text;   // kText
  FrameBox frame;  // kFrame
};

struct Page {
  std::vector<Block> blocks;
};

struct DocumentInfo {
  std::string title;
  std::string subtitle;
  std::string date;  // "" when the date is not printed
  bool numbers = true;
  bool landscape = false;
  double margin = kDefaultMarginMm * kPointsPerMm;  // points
  double PageWidth() const { return landscape ? kA4Long : kA4Short; }
  double PageHeight() const { return landscape ? kA4Short : kA4Long; }
  double BodyWidth() const { return PageWidth() - 2 * margin; }
  double BodyHeight() const;
  // Characters of a text line of that size across the body.
  int CharsPerLine(char size) const;
};

// An entry of the document's outline: a title and the page (from 0) where what it names
// starts.
struct Signet {
  std::string title;
  size_t page = 0;
};

struct Document {
  DocumentInfo info;
  std::vector<Page> pages;
  std::vector<Signet> outline;  // in the order marked
};

// One filled line of a frame: per column, its text already cut into lines, and the text
// written (before cutting) for the columns that repeat their value on a new page.
struct Row {
  std::vector<std::vector<Segment>> cells;
  std::vector<std::string> values;
};

// Builds the pages. Pages break when the paper is full or, with lines_per_page > 0, when that
// many lines (text, blank, heading and frame lines alike) are on it. A row of a frame is kept on
// one page when it fits on an empty one; headings are repeated on every page of a frame.
class Paginator {
 public:
  Paginator(DocumentInfo info, int lines_per_page);

  void Frame(std::shared_ptr<const Descriptor> frame);
  void AddRow(Row row);
  void Text(TextLine line);  // cut to the page width here
  void Blank(int count);
  void PageBreak();
  void CloseFrame(bool rule);
  // An outline entry for what comes next: it points at the page of the next line placed.
  void Bookmark(std::string title);
  Document Finish();

 private:
  double FrameLine() const { return LineHeight(frame_->style.size); }
  bool Fits(double height, int lines) const;
  bool PageEmpty() const { return pages_.back().blocks.empty(); }
  void NewPage();
  void OpenBox();
  FrameBox& Box() { return pages_.back().blocks.back().frame; }
  void PlaceLine(std::vector<Segment> line);
  void ApplyRepeat(Row& row);
  void AddBlock(Block block, double height);
  // The bookmarks waiting for a line point at the current page.
  void PlaceBookmarks();

  DocumentInfo info_;
  int lines_per_page_;
  std::vector<Page> pages_;
  std::vector<Signet> outline_;
  std::vector<std::string> pending_;  // bookmarks marked before any line followed them
  double used_ = 0;
  int lines_ = 0;
  std::shared_ptr<const Descriptor> frame_;
  std::shared_ptr<const HeadingGrid> headings_;
  bool box_open_ = false;
  bool frame_fresh_ = false;  // no row placed since the frame was declared
  bool repeat_pending_ = false;
  std::vector<std::string> last_values_;
};

}  // namespace vesk::report

#endif  // VESK_SRV_REPORT_LAYOUT_H_
