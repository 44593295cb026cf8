#include "srv/tui/srv_choix_impl.h"

#include "srv/tui/liste_choix.h"
#include "srv/tui/texte.h"

namespace vesk::tui {

void SrvChoixImpl::Choix(std::string_view colonnes, std::string_view titre, std::string_view liste,
                         bool& choisi, std::string& element) {
  VersPointsStrict(liste, "Choix", titre);
  std::vector<std::string> elements = ElementsDeListe(liste, "Choix");
  ListeChoix choix(LitColonnes(colonnes, "Choix"), std::string(titre), elements, false, "Choix");
  std::optional<std::vector<size_t>> r = choix.Execute(*console_);
  choisi = r.has_value() && !r->empty();
  if (choisi) element = elements[r->front()];
}

void SrvChoixImpl::ChoixMultiple(std::string_view colonnes, std::string_view titre,
                                 std::string_view liste, bool& choisi, std::string& elements) {
  VersPointsStrict(liste, "ChoixMultiple", titre);
  std::vector<std::string> tous = ElementsDeListe(liste, "ChoixMultiple");
  ListeChoix choix(LitColonnes(colonnes, "ChoixMultiple"), std::string(titre), tous, true,
                   "ChoixMultiple");
  std::optional<std::vector<size_t>> r = choix.Execute(*console_);
  choisi = r.has_value() && !r->empty();
  elements = "[";
  if (choisi) {
    for (size_t i = 0; i < r->size(); ++i) {
      if (i > 0) elements += ',';
      elements += tous[(*r)[i]];
    }
  }
  elements += "]";
}

}  // namespace vesk::tui
