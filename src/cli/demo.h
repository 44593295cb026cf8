// The demo dictionary: a small invoicing application (customers, invoices and their lines,
// VAT rates, country codes, payment terms) written through the component's own services, as
// the entry screens would write it. Used from main's thread, after OuvS.
#ifndef VESK_CLI_DEMO_H_
#define VESK_CLI_DEMO_H_

#include <string>

namespace vesk::cli {

// Fills the open dictionary of the calling thread and writes the domains' .DOM files into
// dossier. Entries that already exist are left as they are.
void RemplitDemo(const std::string& dossier);

}  // namespace vesk::cli

#endif  // VESK_CLI_DEMO_H_
