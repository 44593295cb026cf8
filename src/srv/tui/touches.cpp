#include "srv/tui/touches.h"

#include <array>

#include "srv/text/utf8.h"

namespace vesk::tui {

namespace {

struct NomCode {
  std::string_view nom;
  int16_t code;
};

constexpr std::array<NomCode, 11> kNoms = {{{"Enter", kEntree},
                                            {"Up", kHaut},
                                            {"PgUp", kPageHaut},
                                            {"Esc", kEchap},
                                            {"F1", kF1},
                                            {"F2", kF1 + 1},
                                            {"F3", kF1 + 2},
                                            {"F4", kF1 + 3},
                                            {"F5", kF1 + 4},
                                            {"F6", kF1 + 5},
                                            {"F7", kF1 + 6}}};

}  // namespace

std::string NomTouche(int16_t code) {
  for (const NomCode& n : kNoms) {
    if (n.code == code) return "<" + std::string(n.nom) + ">";
  }
  if (code > kF1 + 6 && code <= kF12) return "<F" + std::to_string(code - kF1 + 1) + ">";
  if (code == kBas) return "<Down>";
  if (code == kPageBas) return "<PgDn>";
  if (code == kTabulation) return "<Tab>";
  return "<code " + std::to_string(code) + ">";
}

std::optional<int16_t> CodeDuNom(std::string_view nom) {
  if (nom.size() < 3 || nom.front() != '<' || nom.back() != '>') return std::nullopt;
  nom = nom.substr(1, nom.size() - 2);
  for (const NomCode& n : kNoms) {
    if (text::EqualNoCase(n.nom, nom)) return n.code;
  }
  return std::nullopt;
}

bool TermineSaisie(int16_t code) {
  return code == kEntree || code == kHaut || code == kPageHaut || code == kEchap ||
         (code >= kF1 && code <= kF1 + 6);
}

std::optional<long> Deplacement(int16_t code, long page, long tout) {
  switch (code) {
    case kHaut:
      return -1;
    case kBas:
      return 1;
    case kPageHaut:
      return -page;
    case kPageBas:
      return page;
    case kOrigine:
      return -tout;
    case kFin:
      return tout;
    default:
      return std::nullopt;
  }
}

}  // namespace vesk::tui
