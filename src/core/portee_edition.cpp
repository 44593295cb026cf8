#include "core/portee_edition.h"

namespace vesk {

PorteeEdition::PorteeEdition(Session& s, std::string_view titre, bool termine)
    : s_(s), titre_(!titre.empty()), termine_(termine) {
  if (titre_) s_.Ecran().TitreEdition(titre);
}

PorteeEdition::~PorteeEdition() {
  if (ferme_) return;
  try {
    if (termine_) s_.Edition().Termine(0);  // the service abandons a listing left half-way
    if (titre_) s_.Ecran().FinTitreEdition();
  } catch (...) {
    // The error that left the scope is on its way to the host: it is the one reported.
  }
}

void PorteeEdition::Ferme() {
  ferme_ = true;
  if (termine_) s_.Edition().Termine(0);
  if (titre_) s_.Ecran().FinTitreEdition();
}

}  // namespace vesk
