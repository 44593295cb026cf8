// A renderer draws a laid-out listing into one file of its format. The text renderer lives here
// (portable); the PDF renderer in pdf/ (native builds only). A renderer holds no listing state;
// use one from one thread at a time.
#ifndef VESK_SRV_REPORT_RENDERER_H_
#define VESK_SRV_REPORT_RENDERER_H_

#include <memory>
#include <string>

#include "srv/report/layout.h"
#include "srv/suivi_progression.h"

namespace vesk::report {

class Renderer {
 public:
  virtual ~Renderer() = default;
  // "PDF" or "TXT", and the file extension of that format (".pdf", ".txt").
  virtual std::string Format() const = 0;
  virtual std::string Extension() const = 0;
  // Writes the whole document to path (replacing it); throws ErreurService("Termine", path,
  // ...) when the file cannot be written. suivi is told the pages drawn so far (Avance) in the
  // phase its caller began.
  virtual void Write(const Document& document, const std::string& path,
                     SuiviProgression& suivi) = 0;
};

// The plain-text renderer: the same pages in monospace, frames drawn with "+", "-" and "|",
// pages after the first starting with a form feed. UTF-8, lines ended by "\n".
std::unique_ptr<Renderer> MakeTextRenderer();
// The text of a document as MakeTextRenderer writes it.
std::string RenderText(const Document& document);

}  // namespace vesk::report

#endif  // VESK_SRV_REPORT_RENDERER_H_
