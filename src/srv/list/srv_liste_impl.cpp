#include "srv/list/srv_liste_impl.h"

#include <limits>
#include <string>

#include "srv/erreur_service.h"
#include "srv/list/liste.h"
#include "srv/text/utf8.h"

namespace vesk {

namespace {

// How much of a list an error shows to name it: its first 40 characters.
constexpr std::size_t kApercu = 40;

std::string Apercu(std::string_view texte) {
  const std::size_t fin = text::CharOffset(texte, kApercu);
  return std::string(texte.substr(0, fin)) + (fin < texte.size() ? "..." : "");
}

void ExigeListe(const list::Fault& fault, std::string_view operation, std::string_view liste) {
  if (!fault.ok()) {
    throw ErreurService(operation, Apercu(liste), "liste mal formée, " + fault.Message());
  }
}

void ExigeElement(const list::Fault& fault, std::string_view operation, std::string_view element) {
  if (!fault.ok()) {
    throw ErreurService(operation, Apercu(element), "élément refusé, " + fault.Message());
  }
}

void Retire(std::string& liste, std::string& element, std::string_view operation) {
  ExigeListe(list::TakeFirst(liste, element), operation, liste);
}

}  // namespace

void SrvListeImpl::Ajoute(std::string& liste, std::string_view element) {
  list::Which fautif = list::Which::kList;
  const list::Fault fault = list::Append(liste, element, fautif);
  if (fautif == list::Which::kList) {
    ExigeListe(fault, "Ajoute", liste);
  } else {
    ExigeElement(fault, "Ajoute", element);
  }
}

void SrvListeImpl::Extrait(std::string& liste, std::string& element) {
  Retire(liste, element, "Extrait");
}

void SrvListeImpl::ExtraitMot(std::string& liste, std::string& element) {
  Retire(liste, element, "ExtraitMot");
}

void SrvListeImpl::Element(std::string_view element, int16_t position, std::string& texte) {
  Exige(position >= 1, "Element", Apercu(element),
        "position " + std::to_string(position) + " : les parties se comptent à partir de 1");
  std::string_view partie;
  const list::Fault fault = list::Part(element, static_cast<std::size_t>(position), partie);
  if (!fault.ok()) {
    throw ErreurService("Element", Apercu(element), "élément mal formé, " + fault.Message());
  }
  texte.assign(partie);
}

void SrvListeImpl::NbElements(std::string_view liste, int32_t& nombre) {
  std::size_t n = 0;
  ExigeListe(list::Count(liste, n), "NbElements", liste);
  Exige(n <= static_cast<std::size_t>(std::numeric_limits<int32_t>::max()), "NbElements",
        Apercu(liste), std::to_string(n) + " éléments, plus qu'un entier de 32 bits ne compte");
  nombre = static_cast<int32_t>(n);
}

void SrvListeImpl::VerifieSyntaxe(std::string_view liste, int16_t& position) {
  const list::Fault fault = list::Check(liste);
  if (fault.ok()) {
    position = 0;
    return;
  }
  Exige(fault.position <= static_cast<std::size_t>(std::numeric_limits<int16_t>::max()),
        "VerifieSyntaxe", Apercu(liste),
        "liste mal formée au-delà du caractère 32767, " + fault.Message());
  position = static_cast<int16_t>(fault.position);
}

}  // namespace vesk
