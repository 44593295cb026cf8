#include <algorithm>
#include <span>

#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "srv/report/renderer.h"
#include "srv/text/utf8.h"

namespace vesk::report {

namespace {

std::string Spaces(size_t n) { return std::string(n, ' '); }

std::string Aligned(std::string_view text, size_t width, Align align) {
  const size_t len = text::CountChars(text);
  const size_t room = len < width ? width - len : 0;
  const size_t left = align == Align::kRight ? room : align == Align::kCentre ? room / 2 : 0;
  return Spaces(left) + std::string(text) + Spaces(room - left);
}

// A grid of characters for drawing a frame's headings and rules.
class Canvas {
 public:
  Canvas(int width, int height) : cells_(height, std::vector<std::string>(width, " ")) {}

  void Rect(int x0, int x1, int y0, int y1) {
    for (int x = x0; x <= x1; ++x) {
      Horizontal(x, y0);
      Horizontal(x, y1);
    }
    for (int y = y0; y <= y1; ++y) {
      Vertical(x0, y);
      Vertical(x1, y);
    }
    for (int y : {y0, y1}) cells_[y][x0] = cells_[y][x1] = "+";
  }
  void Put(int x, int y, std::string_view text) {
    for (std::string_view c : text::SplitChars(text)) {
      if (x < static_cast<int>(cells_[y].size())) cells_[y][x++] = std::string(c);
    }
  }
  void AppendTo(std::vector<std::string>* out) const {
    for (const auto& row : cells_) {
      std::string line;
      for (const std::string& c : row) line += c;
      out->push_back(std::move(line));
    }
  }

 private:
  void Horizontal(int x, int y) {
    std::string& c = cells_[y][x];
    c = (c == "|" || c == "+") ? "+" : "-";
  }
  void Vertical(int x, int y) {
    std::string& c = cells_[y][x];
    c = (c == "-" || c == "+") ? "+" : "|";
  }
  std::vector<std::vector<std::string>> cells_;
};

class TextWriter {
 public:
  explicit TextWriter(const Document& doc) : doc_(doc) {
    width_ = doc.info.CharsPerLine('P');
    for (const Page& p : doc.pages) {
      for (const Block& b : p.blocks) {
        if (b.kind == Block::Kind::kFrame) width_ = std::max(width_, b.frame.frame->TextWidth());
      }
    }
  }

  std::string Render() {
    std::string out;
    for (size_t i = 0; i < doc_.pages.size(); ++i) {
      std::vector<std::string> lines;
      Heading(i + 1, &lines);
      for (const Block& b : doc_.pages[i].blocks) Draw(b, &lines);
      if (i > 0) out += '\f';
      for (const std::string& l : lines) {
        out += text::TrimRight(l);
        out += '\n';
      }
    }
    return out;
  }

 private:
  void Heading(size_t page, std::vector<std::string>* lines) const {
    std::string right = doc_.info.date;
    if (doc_.info.numbers) {
      if (!right.empty()) right += "  ";
      right += "page " + std::to_string(page) + " / " + std::to_string(doc_.pages.size());
    }
    const size_t used = text::CountChars(doc_.info.title) + text::CountChars(right);
    const size_t room = static_cast<size_t>(width_) > used + 2 ? width_ - used : 2;
    lines->push_back(doc_.info.title + Spaces(right.empty() ? 0 : room) + right);
    if (!doc_.info.subtitle.empty()) lines->push_back(doc_.info.subtitle);
    lines->push_back(std::string(width_, '='));
  }

  void Draw(const Block& b, std::vector<std::string>* lines) const {
    if (b.kind == Block::Kind::kBlank) {
      lines->emplace_back();
    } else if (b.kind == Block::Kind::kText) {
      lines->push_back(Aligned(b.text.text, width_, b.text.align));
    } else {
      DrawFrame(b.frame, lines);
    }
  }

  void DrawFrame(const FrameBox& box, std::vector<std::string>* lines) const {
    const Descriptor& d = *box.frame;
    const HeadingGrid& g = *box.headings;
    std::vector<int> xs{0};
    for (const Column& c : d.columns) xs.push_back(xs.back() + c.layout_width + 3);
    // Text row of heading row r: one rule row above, plus one per group level passed.
    auto y = [&g](int r) {
      int row = 1 + r;
      for (size_t l = 1; l < g.level_rows.size(); ++l) row += g.level_rows[l] <= r ? 1 : 0;
      return row;
    };
    Canvas canvas(xs.back() + 1, y(g.rows - 1) + 2);
    for (const HeadingCell& c : g.cells) {
      const int top = y(c.top), bottom = y(c.bottom - 1);
      canvas.Rect(xs[c.first], xs[c.last + 1], top - 1, bottom + 1);
      const int width = xs[c.last + 1] - xs[c.first] - 3;
      int row = bottom - static_cast<int>(c.lines.size()) + 1;
      for (const std::string& l : c.lines) {
        canvas.Put(xs[c.first] + 2, row++, Aligned(l, width, Align::kCentre));
      }
    }
    canvas.AppendTo(lines);
    for (const auto& line : box.lines) {
      std::string text = "|";
      for (size_t i = 0; i < d.columns.size(); ++i) {
        const Column& c = d.columns[i];
        text += " " + Aligned(line[i].text, c.layout_width, c.align) + " |";
      }
      lines->push_back(std::move(text));
    }
    if (box.rule_below) {
      std::string rule = "+";
      for (const Column& c : d.columns) rule += std::string(c.layout_width + 2, '-') + "+";
      lines->push_back(std::move(rule));
    }
  }

  const Document& doc_;
  int width_ = 0;
};

class TextRenderer : public Renderer {
 public:
  std::string Format() const override { return "TXT"; }
  std::string Extension() const override { return ".txt"; }
  void Write(const Document& document, const std::string& path, SuiviProgression& suivi) override {
    const std::string text = RenderText(document);
    suivi.Avance(static_cast<int64_t>(document.pages.size()));
    std::unique_ptr<platform::File> file;
    platform::IoStatus s = platform::OpenFile(path, platform::OpenMode::kCreateAlways, &file);
    if (s.ok()) s = file->WriteAt(0, std::span<const char>(text.data(), text.size()));
    if (s.ok()) s = file->Sync();
    if (!s.ok()) {
      throw ErreurService("Termine", path, "écriture de l'édition impossible : " + s.message);
    }
  }
};

}  // namespace

std::string RenderText(const Document& document) { return TextWriter(document).Render(); }

std::unique_ptr<Renderer> MakeTextRenderer() { return std::make_unique<TextRenderer>(); }

}  // namespace vesk::report
