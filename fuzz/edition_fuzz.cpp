// Fuzzes the listing layout: the first line of the input is a report descriptor; each further
// line is one call: "T..." a free text line, "B<n>" blank lines, "P" a page break, "F" the end
// of the frame, otherwise a frame line whose cells are separated by "|". A descriptor or a text
// that is refused must come back as ErreurService; everything accepted must lay out and render.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "srv/erreur_service.h"
#include "srv/report/chars.h"
#include "srv/report/descriptor.h"
#include "srv/report/layout.h"
#include "srv/report/renderer.h"
#include "srv/text/utf8.h"

namespace {

using namespace vesk::report;

Row MakeRow(const Descriptor& d, std::string_view line) {
  Row row;
  row.cells.resize(d.columns.size());
  row.values.resize(d.columns.size());
  size_t column = 0;
  while (column < d.columns.size()) {
    const size_t bar = line.find('|');
    const std::string cell(line.substr(0, bar));
    for (std::string& l : Wrap(NormalizeBreaks(cell), d.columns[column].layout_width,
                               d.columns[column].wrap_words || column % 2 == 0)) {
      row.cells[column].push_back({std::move(l), false, false});
    }
    row.values[column++] = cell;
    if (bar == std::string_view::npos) break;
    line.remove_prefix(bar + 1);
  }
  return row;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 8192) return 0;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t newline = input.find('\n');
  std::shared_ptr<const Descriptor> frame;
  try {
    frame = std::make_shared<const Descriptor>(ParseDescriptor(input.substr(0, newline)));
  } catch (const vesk::ErreurService&) {
    return 0;
  }
  if (newline == std::string_view::npos) return 0;
  std::string_view rest = input.substr(newline + 1);
  if (!vesk::text::IsValidUtf8(rest)) return 0;
  DocumentInfo info;
  info.title = "FUZZ";
  info.landscape = (size & 1) != 0;
  Paginator pages(info, static_cast<int>(size % 7 == 0 ? 0 : size % 40));
  pages.Frame(frame);
  while (!rest.empty()) {
    const size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
    const char op = line.empty() ? ' ' : line[0];
    if (op == 'T') {
      TextLine text;
      text.text = NormalizeBreaks(line.substr(1));
      text.style.size = "PMG"[line.size() % 3];
      pages.Text(std::move(text));
    } else if (op == 'B') {
      pages.Blank(line.size() > 1 ? (line[1] & 7) : 1);
    } else if (op == 'P') {
      pages.PageBreak();
    } else if (op == 'F') {
      pages.CloseFrame(true);
      pages.Frame(frame);
    } else {
      pages.AddRow(MakeRow(*frame, line));
    }
  }
  const Document document = pages.Finish();
  const std::string text = RenderText(document);
  if (text.empty()) __builtin_trap();
  return 0;
}
