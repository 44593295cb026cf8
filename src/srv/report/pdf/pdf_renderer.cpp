#include "srv/report/pdf/pdf_renderer.h"

#include <cairo-pdf.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <string>

#include "srv/erreur_service.h"

#if defined(__SANITIZE_ADDRESS__)
// fontconfig keeps its font cache for the life of the process: not a leak of ours. Every
// program that renders PDF under LeakSanitizer (tests, the vesk command) gets this rule.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }
#endif

namespace vesk::report {

namespace {

struct CairoDeleter {
  void operator()(cairo_t* cr) const { cairo_destroy(cr); }
  void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
  void operator()(PangoLayout* l) const { g_object_unref(l); }
  void operator()(PangoFontDescription* f) const { pango_font_description_free(f); }
  void operator()(PangoAttrList* a) const { pango_attr_list_unref(a); }
  void operator()(cairo_font_options_t* o) const { cairo_font_options_destroy(o); }
};
template <typename T>
using Owned = std::unique_ptr<T, CairoDeleter>;

struct Font {
  std::string family = "Liberation Sans";
  double size = 8;
  bool bold = false;
  bool underline = false;
};

// A box where one line of text is set: left edge, top, width and the line height.
struct Box {
  double x, y, width, height;
};

class PageDrawer {
 public:
  PageDrawer(cairo_t* cr, const Document& doc) : cr_(cr), doc_(doc) {}

  void Draw(size_t page) {
    const DocumentInfo& info = doc_.info;
    double y = info.margin;
    Heading(page, y);
    y += PageHeadingHeight(!info.subtitle.empty());
    Above above;  // the text line just above, for a continuation
    for (const Block& b : doc_.pages[page].blocks) {
      if (b.kind == Block::Kind::kBlank) {
        y += LineHeight('P');
        above = {};
      } else if (b.kind == Block::Kind::kText) {
        const double lh = LineHeight(b.text.style.size);
        Above here = Continuation(b.text, above);
        Text(b.text.text.substr(here.skip), FontOf(b.text),
             {info.margin + here.indent, y, info.BodyWidth() - here.indent, lh}, b.text.align);
        y += lh;
        above = here;
      } else {
        y += Frame(b.frame, y);
        above = {};
      }
    }
  }

 private:
  // Where a text line was set: its first skip bytes (a continuation's spaces) stand for indent
  // points from the margin.
  struct Above {
    const TextLine* line = nullptr;
    size_t skip = 0;
    double indent = 0;
  };

  static Font FontOf(const TextLine& line) {
    return {line.font, FontSize(line.style.size), line.style.bold, line.underline};
  }
  // The byte after the first n characters of text (UTF-8), at most its size.
  static size_t Octets(const std::string& text, size_t n) {
    size_t bytes = 0;
    for (size_t chars = 0; bytes < text.size(); ++bytes) {
      if ((static_cast<unsigned char>(text[bytes]) & 0xC0) != 0x80 && chars++ == n) break;
    }
    return bytes;
  }
  // A continuation starts under the characters of the line above that its leading spaces
  // stand for (that line being a continuation too, from where it was set); any other line at
  // the margin.
  Above Continuation(const TextLine& line, const Above& above) {
    Above here{&line, 0, 0};
    if (!line.hang || above.line == nullptr || line.align != Align::kLeft) return here;
    const std::string& haut = above.line->text;
    const size_t spaces = std::min(line.text.find_first_not_of(' '), line.text.size());
    const size_t fin = std::max(Octets(haut, spaces), above.skip);
    here.skip = spaces;
    here.indent =
        above.indent + Width(haut.substr(above.skip, fin - above.skip), FontOf(*above.line));
    return here;
  }

  void Heading(size_t page, double y) {
    const DocumentInfo& info = doc_.info;
    std::string right = info.date;
    if (info.numbers) {
      if (!right.empty()) right += "    ";
      right += "page " + std::to_string(page + 1) + " / " + std::to_string(doc_.pages.size());
    }
    const double right_width = right.empty() ? 0 : std::min(160.0, info.BodyWidth() / 3);
    const double lh = LineHeight('G');
    Text(info.title, {"Liberation Sans", FontSize('G'), true, false},
         {info.margin, y, info.BodyWidth() - right_width - 6, lh}, Align::kLeft);
    Text(right, {"Liberation Sans", FontSize('P'), false, false},
         {info.margin + info.BodyWidth() - right_width, y, right_width, lh}, Align::kRight);
    y += lh;
    if (!info.subtitle.empty()) {
      Text(info.subtitle, {"Liberation Sans", FontSize('M'), false, false},
           {info.margin, y, info.BodyWidth(), LineHeight('M')}, Align::kLeft);
      y += LineHeight('M');
    }
    cairo_set_line_width(cr_, 0.8);
    cairo_move_to(cr_, info.margin, y + 3);
    cairo_line_to(cr_, info.margin + info.BodyWidth(), y + 3);
    cairo_stroke(cr_);
  }

  // The natural width of text set in font.
  double Width(const std::string& text, const Font& font) {
    if (text.empty()) return 0;
    Owned<PangoLayout> layout = MakeLayout(text, font);
    PangoRectangle ink, logical;
    pango_layout_get_extents(layout.get(), &ink, &logical);
    return static_cast<double>(logical.width) / PANGO_SCALE;
  }

  Owned<PangoLayout> MakeLayout(const std::string& text, const Font& font) {
    Owned<PangoLayout> layout(pango_cairo_create_layout(cr_));
    Owned<cairo_font_options_t> options(cairo_font_options_create());
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
    pango_cairo_context_set_font_options(pango_layout_get_context(layout.get()), options.get());
    pango_layout_context_changed(layout.get());
    Owned<PangoFontDescription> desc(pango_font_description_new());
    pango_font_description_set_family(desc.get(), font.family.c_str());
    pango_font_description_set_absolute_size(desc.get(), font.size * PANGO_SCALE);
    pango_font_description_set_weight(desc.get(),
                                      font.bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    pango_layout_set_font_description(layout.get(), desc.get());
    if (font.underline) {
      Owned<PangoAttrList> attrs(pango_attr_list_new());
      pango_attr_list_insert(attrs.get(), pango_attr_underline_new(PANGO_UNDERLINE_SINGLE));
      pango_layout_set_attributes(layout.get(), attrs.get());
    }
    pango_layout_set_text(layout.get(), text.data(), static_cast<int>(text.size()));
    return layout;
  }

  // Sets text on one line of box, narrowed horizontally when it is wider than the box.
  void Text(const std::string& text, const Font& font, const Box& box, Align align) {
    if (text.empty()) return;
    Owned<PangoLayout> layout = MakeLayout(text, font);
    PangoRectangle ink, logical;
    pango_layout_get_extents(layout.get(), &ink, &logical);
    const double width = static_cast<double>(logical.width) / PANGO_SCALE;
    const double height = static_cast<double>(logical.height) / PANGO_SCALE;
    const double scale = width > box.width && width > 0 ? box.width / width : 1.0;
    const double room = box.width - width * scale;
    const double x = box.x + (align == Align::kRight    ? room
                              : align == Align::kCentre ? room / 2
                                                        : 0);
    cairo_save(cr_);
    cairo_move_to(cr_, x, box.y + (box.height - height) / 2);
    cairo_scale(cr_, scale, 1.0);
    pango_cairo_show_layout(cr_, layout.get());
    cairo_restore(cr_);
  }

  // Draws a frame box from top y; gives its height.
  double Frame(const FrameBox& box, double y) {
    const Descriptor& d = *box.frame;
    const HeadingGrid& g = *box.headings;
    const double size = FontSize(d.style.size);
    const double lh = LineHeight(d.style.size);
    const double full = FrameWidthPoints(d);
    const double sx = full > doc_.info.BodyWidth() ? doc_.info.BodyWidth() / full : 1.0;
    std::vector<double> xs{doc_.info.margin};
    for (const Column& c : d.columns) {
      xs.push_back(xs.back() + ColumnWidthPoints(c, d.style.size) * sx);
    }
    const double pad = kCellPadding * sx;
    const double top = y + 1;
    cairo_set_line_width(cr_, 0.5);
    for (const HeadingCell& c : g.cells) {
      const double x0 = xs[c.first], x1 = xs[c.last + 1];
      const double y0 = top + c.top * lh, y1 = top + c.bottom * lh;
      cairo_rectangle(cr_, x0, y0, x1 - x0, y1 - y0);
      cairo_set_source_rgb(cr_, 0.88, 0.88, 0.88);
      cairo_fill_preserve(cr_);
      cairo_set_source_rgb(cr_, 0, 0, 0);
      cairo_stroke(cr_);
      double line_top = y1 - static_cast<double>(c.lines.size()) * lh;
      for (const std::string& l : c.lines) {
        Text(l, {"Liberation Sans", size, true, false}, {x0 + pad, line_top, x1 - x0 - 2 * pad, lh},
             Align::kCentre);
        line_top += lh;
      }
    }
    const double body = top + g.rows * lh;
    double line_top = body;
    for (const auto& line : box.lines) {
      for (size_t i = 0; i < d.columns.size(); ++i) {
        Text(line[i].text, {"Liberation Sans", size, line[i].bold, line[i].underline},
             {xs[i] + pad, line_top, xs[i + 1] - xs[i] - 2 * pad, lh}, d.columns[i].align);
      }
      line_top += lh;
    }
    for (double x : xs) {
      cairo_move_to(cr_, x, body);
      cairo_line_to(cr_, x, line_top);
    }
    if (box.rule_below) {
      cairo_move_to(cr_, xs.front(), line_top);
      cairo_line_to(cr_, xs.back(), line_top);
    }
    cairo_stroke(cr_);
    return kFrameExtra + (g.rows + box.lines.size()) * lh;
  }

  cairo_t* cr_;
  const Document& doc_;
};

class PdfRenderer : public Renderer {
 public:
  std::string Format() const override { return "PDF"; }
  std::string Extension() const override { return ".pdf"; }

  void Write(const Document& doc, const std::string& path, SuiviProgression& suivi) override {
    Owned<cairo_surface_t> surface(
        cairo_pdf_surface_create(path.c_str(), doc.info.PageWidth(), doc.info.PageHeight()));
    Check(cairo_surface_status(surface.get()), path);
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_TITLE, doc.info.title.c_str());
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_CREATOR, "Vesk");
    {
      Owned<cairo_t> cr(cairo_create(surface.get()));
      PageDrawer drawer(cr.get(), doc);
      for (size_t i = 0; i < doc.pages.size(); ++i) {
        drawer.Draw(i);
        cairo_show_page(cr.get());
        suivi.Avance(static_cast<int64_t>(i + 1));
      }
      for (const Signet& s : doc.outline) {  // the document's bookmarks, at their pages
        const std::string page = "page=" + std::to_string(s.page + 1);
        cairo_pdf_surface_add_outline(surface.get(), CAIRO_PDF_OUTLINE_ROOT, s.title.c_str(),
                                      page.c_str(), static_cast<cairo_pdf_outline_flags_t>(0));
      }
      Check(cairo_status(cr.get()), path);
    }
    cairo_surface_finish(surface.get());
    Check(cairo_surface_status(surface.get()), path);
  }

 private:
  static void Check(cairo_status_t status, const std::string& path) {
    if (status != CAIRO_STATUS_SUCCESS) {
      throw ErreurService(
          "Termine", path,
          std::string("écriture du PDF impossible : ") + cairo_status_to_string(status));
    }
  }
};

}  // namespace

std::unique_ptr<Renderer> MakePdfRenderer() { return std::make_unique<PdfRenderer>(); }

}  // namespace vesk::report
