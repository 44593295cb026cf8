#include "srv/report/layout.h"

#include <algorithm>
#include <cmath>

#include "srv/report/chars.h"

namespace vesk::report {

double FontSize(char size) { return size == 'G' ? 12.0 : size == 'M' ? 10.0 : 8.0; }

double LineHeight(char size) { return FontSize(size) * 1.3; }

double PageHeadingHeight(bool subtitle) {
  return LineHeight('G') + (subtitle ? LineHeight('M') : 0.0) + 8.0;
}

double ColumnWidthPoints(const Column& column, char size) {
  constexpr double kHeadingCharEm = 0.7;  // most bold capitals
  const double text = std::max(column.layout_width * kCharWidthEm,
                               static_cast<double>(LongestWord(column.title)) * kHeadingCharEm);
  return text * FontSize(size) + 2 * kCellPadding;
}

double FrameWidthPoints(const Descriptor& frame) {
  double width = 0;
  for (const Column& c : frame.columns) width += ColumnWidthPoints(c, frame.style.size);
  return width;
}

double DocumentInfo::BodyHeight() const {
  return PageHeight() - 2 * margin - PageHeadingHeight(!subtitle.empty());
}

int DocumentInfo::CharsPerLine(char size) const {
  const int n = static_cast<int>(std::floor(BodyWidth() / (kCharWidthEm * FontSize(size))));
  return std::max(n, 1);
}

HeadingGrid MakeHeadings(const Descriptor& frame) {
  HeadingGrid grid;
  std::vector<int> heights(frame.depth, 1);
  std::vector<HeadingCell> groups;
  for (const Group& g : frame.groups) {
    int span = -3;
    for (int i = g.first; i <= g.last; ++i) span += frame.columns[i].layout_width + 3;
    HeadingCell cell{g.first, g.last, g.level, 0, Wrap(g.title, span, true)};
    heights[g.level] = std::max(heights[g.level], static_cast<int>(cell.lines.size()));
    groups.push_back(std::move(cell));
  }
  int row = 0;
  for (int h : heights) {
    grid.level_rows.push_back(row);
    row += h;
  }
  grid.level_rows.push_back(row);
  int title_rows = 1;
  for (const Column& c : frame.columns) {
    title_rows = std::max(title_rows, static_cast<int>(Wrap(c.title, c.layout_width, true).size()));
  }
  grid.rows = row + title_rows;
  for (HeadingCell& g : groups) {
    const int level = g.top;
    g.top = grid.level_rows[level];
    g.bottom = grid.level_rows[level + 1];
    grid.cells.push_back(std::move(g));
  }
  for (size_t i = 0; i < frame.columns.size(); ++i) {
    const int index = static_cast<int>(i);
    int depth = 0;
    for (const Group& g : frame.groups) depth += (g.first <= index && index <= g.last) ? 1 : 0;
    grid.cells.push_back({index, index, grid.level_rows[depth], grid.rows,
                          Wrap(frame.columns[i].title, frame.columns[i].layout_width, true)});
  }
  return grid;
}

Paginator::Paginator(DocumentInfo info, int lines_per_page)
    : info_(std::move(info)), lines_per_page_(lines_per_page) {
  pages_.emplace_back();
}

bool Paginator::Fits(double height, int lines) const {
  if (PageEmpty()) return true;
  if (lines_per_page_ > 0 && lines_ + lines > lines_per_page_) return false;
  return used_ + height <= info_.BodyHeight() + 1e-6;
}

void Paginator::NewPage() {
  if (box_open_) {
    Box().rule_below = true;
    box_open_ = false;
    repeat_pending_ = true;
  }
  pages_.emplace_back();
  used_ = 0;
  lines_ = 0;
}

void Paginator::PlaceBookmarks() {
  for (std::string& t : pending_) outline_.push_back({std::move(t), pages_.size() - 1});
  pending_.clear();
}

void Paginator::Bookmark(std::string title) { pending_.push_back(std::move(title)); }

void Paginator::OpenBox() {
  PlaceBookmarks();
  Block block;
  block.kind = Block::Kind::kFrame;
  block.frame.frame = frame_;
  block.frame.headings = headings_;
  pages_.back().blocks.push_back(std::move(block));
  used_ += kFrameExtra + headings_->rows * FrameLine();
  lines_ += headings_->rows;
  box_open_ = true;
}

void Paginator::Frame(std::shared_ptr<const Descriptor> frame) {
  CloseFrame(true);
  frame_ = std::move(frame);
  headings_ = std::make_shared<HeadingGrid>(MakeHeadings(*frame_));
  frame_fresh_ = true;
  repeat_pending_ = false;
  last_values_.assign(frame_->columns.size(), "");
}

void Paginator::PlaceLine(std::vector<Segment> line) {
  const double lh = FrameLine();
  if (box_open_ && !Fits(lh, 1)) NewPage();
  if (!box_open_) {
    if (!Fits(kFrameExtra + (headings_->rows + 1) * lh, headings_->rows + 1)) NewPage();
    OpenBox();
  }
  PlaceBookmarks();
  Box().lines.push_back(std::move(line));
  used_ += lh;
  ++lines_;
}

void Paginator::ApplyRepeat(Row& row) {
  for (size_t i = 0; i < frame_->columns.size(); ++i) {
    const Column& col = frame_->columns[i];
    if (!col.repeat_on_page || last_values_[i].empty()) continue;
    bool empty = true;
    for (const Segment& s : row.cells[i]) empty = empty && s.text.empty();
    if (!empty) continue;
    row.cells[i].clear();
    for (std::string& l : Wrap(last_values_[i] + " (suite)", col.layout_width, col.wrap_words)) {
      row.cells[i].push_back({std::move(l), false, false});
    }
  }
}

void Paginator::AddRow(Row row) {
  const double lh = FrameLine();
  const int rows = headings_->rows;
  size_t height = 1;
  for (const auto& cell : row.cells) height = std::max(height, cell.size());
  const int h = static_cast<int>(height);
  if (!box_open_) {
    const int keep = frame_fresh_ ? std::max(h, frame_->keep_lines) : h;
    if (!Fits(kFrameExtra + (rows + keep) * lh, rows + keep)) NewPage();
  } else if (!Fits(h * lh, h)) {
    // A row that fits on an empty page is not split.
    const bool fits_alone = kFrameExtra + (rows + h) * lh <= info_.BodyHeight() &&
                            (lines_per_page_ == 0 || rows + h <= lines_per_page_);
    if (fits_alone) NewPage();
  }
  if (repeat_pending_) ApplyRepeat(row);
  for (size_t i = 0; i < row.values.size() && i < last_values_.size(); ++i) {
    if (!row.values[i].empty()) last_values_[i] = row.values[i];
  }
  for (const auto& cell : row.cells) height = std::max(height, cell.size());
  for (size_t j = 0; j < height; ++j) {
    std::vector<Segment> line(row.cells.size());
    for (size_t i = 0; i < row.cells.size(); ++i) {
      if (j < row.cells[i].size()) line[i] = std::move(row.cells[i][j]);
    }
    PlaceLine(std::move(line));
  }
  frame_fresh_ = false;
  repeat_pending_ = false;
}

void Paginator::Text(TextLine line) {
  if (box_open_) {
    Box().rule_below = true;
    box_open_ = false;
  }
  const double lh = LineHeight(line.style.size);
  for (std::string& piece : Wrap(line.text, info_.CharsPerLine(line.style.size), true)) {
    if (!Fits(lh, 1)) NewPage();
    PlaceBookmarks();
    Block block;
    block.kind = Block::Kind::kText;
    block.text = line;
    block.text.text = std::move(piece);
    pages_.back().blocks.push_back(std::move(block));
    used_ += lh;
    ++lines_;
  }
}

void Paginator::Blank(int count) {
  for (int i = 0; i < count; ++i) {
    if (PageEmpty()) return;  // a page never starts with blank lines
    if (box_open_) {
      if (!Fits(FrameLine(), 1)) return;  // the rest would only open the next page
      PlaceLine(std::vector<Segment>(frame_->columns.size()));
      continue;
    }
    if (!Fits(LineHeight('P'), 1)) return;
    pages_.back().blocks.push_back(Block{});
    used_ += LineHeight('P');
    ++lines_;
  }
}

void Paginator::PageBreak() {
  if (!PageEmpty()) NewPage();
}

void Paginator::CloseFrame(bool rule) {
  if (box_open_) {
    Box().rule_below = rule;
    box_open_ = false;
  }
  frame_.reset();
  headings_.reset();
}

Document Paginator::Finish() {
  if (box_open_) Box().rule_below = true;
  box_open_ = false;
  if (pages_.size() > 1 && PageEmpty()) pages_.pop_back();  // left by a final page break
  PlaceBookmarks();  // marked after the last line: the last page
  return Document{info_, std::move(pages_), std::move(outline_)};
}

}  // namespace vesk::report
