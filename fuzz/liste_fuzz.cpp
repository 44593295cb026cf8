// Fuzzes the bracketed-list reader and the list service: no input crashes them, the syntax check
// and the reader agree, a well-formed list is rebuilt exactly from its elements, and taking
// elements off or appending them keeps the list and its count consistent.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "srv/erreur_service.h"
#include "srv/list/liste.h"
#include "srv/list/srv_liste_impl.h"

namespace {

using vesk::ErreurService;
using vesk::SrvListeImpl;
namespace list = vesk::list;

void Require(bool condition, const char* what, std::string_view text) {
  if (condition) return;
  std::fprintf(stderr, "liste_fuzz: %s for \"%.*s\"\n", what, static_cast<int>(text.size()),
               text.data());
  std::abort();
}

// What remains of a list once its first `from` elements are taken.
std::string Rest(const std::vector<std::string_view>& elements, std::size_t from) {
  std::vector<std::string_view> rest(elements.begin() + from, elements.end());
  if (rest.size() == 1 && rest[0].empty()) return "[]";
  std::string out;
  std::size_t bad = 0;
  Require(list::Build(rest, out, bad).ok(), "elements of a list refused by Build", "");
  return out;
}

void CheckMalformed(std::string_view text, const list::Fault& fault) {
  Require(fault.position >= 1 && fault.offset <= text.size(), "fault out of the text", text);
  Require(fault.position == list::CharPosition(text, fault.offset), "position off", text);
  SrvListeImpl srv;
  std::string liste(text);
  std::string element = "x";
  bool refused = false;
  try {
    srv.Extrait(liste, element);
  } catch (const ErreurService&) {
    refused = true;
  }
  Require(refused && liste == text && element == "x", "Extrait took from a bad list", text);
  int16_t position = 0;
  try {
    srv.VerifieSyntaxe(text, position);
    Require(position == static_cast<int16_t>(fault.position), "VerifieSyntaxe disagrees", text);
  } catch (const ErreurService&) {
    Require(fault.position > 32767, "VerifieSyntaxe refused a small position", text);
  }
}

void CheckWellFormed(std::string_view text, const std::vector<std::string_view>& elements) {
  std::string rebuilt;
  std::size_t bad = 0;
  Require(list::Build(elements, rebuilt, bad).ok() && rebuilt == text, "no round trip", text);
  SrvListeImpl srv;
  int32_t nombre = -1;
  srv.NbElements(text, nombre);
  Require(nombre == static_cast<int32_t>(elements.size()), "NbElements disagrees", text);
  std::string texte;
  // The first parts, and the one just past the end.
  for (std::size_t k = 1; k <= elements.size() + 1 && k < 32767; k = k < 16 ? k + 1 : k * 2) {
    srv.Element(text, static_cast<int16_t>(k), texte);
    Require(texte == (k <= elements.size() ? elements[k - 1] : ""), "Element disagrees", text);
  }
  if (elements.size() < 32767) {
    srv.Element(text, static_cast<int16_t>(elements.size() + 1), texte);
    Require(texte.empty(), "Element past the end", text);
  }
  std::string liste(text);
  std::string element;
  for (std::size_t i = 0; i < elements.size() && liste != "[]"; ++i) {
    srv.Extrait(liste, element);
    Require(element == elements[i], "Extrait gave another element", text);
    Require(liste == Rest(elements, i + 1), "Extrait left another list", text);
  }
  srv.Extrait(liste, element);
  Require(liste == "[]" && element.empty(), "Extrait on an emptied list", text);
  liste = "[x]";
  for (std::string_view e : elements) srv.Ajoute(liste, e);
  srv.Extrait(liste, element);
  Require(liste == (elements.empty() ? "[]" : text), "Ajoute did not rebuild the list", text);
}

// The input as an element appended to a list of one element.
void CheckAppend(std::string_view element) {
  const bool acceptable = list::CheckElement(element).ok();
  SrvListeImpl srv;
  std::string liste = "[a]";
  try {
    srv.Ajoute(liste, element);
    Require(acceptable, "Ajoute accepted a bad element", element);
  } catch (const ErreurService&) {
    Require(!acceptable && liste == "[a]", "Ajoute refused a good element or changed the list",
            element);
    return;
  }
  int32_t nombre = 0;
  srv.NbElements(liste, nombre);
  Require(nombre == 2, "Ajoute gave a list of another size", element);
  std::string taken;
  srv.Extrait(liste, taken);
  srv.Extrait(liste, taken);
  Require(taken == element && liste == "[]", "the appended element came back changed", element);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::vector<std::string_view> elements;
  const list::Fault checked = list::Check(text);
  const list::Fault split = list::Split(text, elements);
  Require(checked.kind == split.kind && checked.offset == split.offset, "Check and Split disagree",
          text);
  std::size_t count = 0;
  Require(list::Count(text, count).kind == checked.kind && count == elements.size(),
          "Count disagrees", text);
  if (checked.ok()) {
    CheckWellFormed(text, elements);
  } else {
    CheckMalformed(text, checked);
  }
  CheckAppend(text);
  return 0;
}
