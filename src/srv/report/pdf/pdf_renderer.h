// The PDF renderer of listings: A4 pages drawn with cairo, texts set with pango in the
// Liberation fonts ("Arial" is Liberation Sans). Native builds only. A renderer holds no state
// between documents; one thread at a time.
#ifndef VESK_SRV_REPORT_PDF_PDF_RENDERER_H_
#define VESK_SRV_REPORT_PDF_PDF_RENDERER_H_

#include <memory>

#include "srv/report/renderer.h"

namespace vesk::report {

std::unique_ptr<Renderer> MakePdfRenderer();

}  // namespace vesk::report

#endif  // VESK_SRV_REPORT_PDF_PDF_RENDERER_H_
