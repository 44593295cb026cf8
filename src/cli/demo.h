// The demo dictionary: a small invoicing application (customers, invoices and their lines,
// VAT rates, country codes, payment terms), imported from its text through the component.
// Used from main's thread, after OuvS.
#ifndef VESK_CLI_DEMO_H_
#define VESK_CLI_DEMO_H_

#include <string>

#include "core/session.h"

namespace vesk::cli {

// Writes vesk.ini naming the demo application (unless dossier has one) and imports the demo
// dictionary into the open, empty dictionary of the calling thread (with the domains' .DOM
// files). A dictionary that is the demo's already is left as it is; any other is refused.
void RemplitDemo(Session& s, const std::string& dossier);

// The company of the demo's application files.
inline constexpr const char* kEntrepriseDemo = "01";

// Writes the demo application's data (customers, invoices and their chained lines, a few of
// each deleted, and their B-trees) into the current company's folder, unless its customer file
// holds records already. The files are created first, empty; their records are written in one
// batch, all of them or none, so that a failed run leaves empty files the next run fills.
void RemplitDonneesDemo(Session& s);

}  // namespace vesk::cli

#endif  // VESK_CLI_DEMO_H_
