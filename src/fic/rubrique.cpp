#include "fic/rubrique.h"

#include <array>

#include "core/arithmetique.h"
#include "srv/erreur_service.h"
#include "srv/srv_donnee.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

constexpr std::array<RegleType, 7> kTypes = {{
    {'A', "Alpha", 0, false},
    {'M', "Montant Codé I S ou D", 0, true},
    {'N', "Nombre en Alpha", 0, true},
    {'D', "Date Codée No Ordre Base 256", 3, false},
    {'E', "No Enregistrement Codé Base 256", 3, false},
    {'B', "Booléen Codé O ou N", 1, false},
    {'L', "Liste d'Occupation Max Fixée", 0, false},
}};

constexpr std::string_view kSuffixeEntier = " - Nombre Appartient à [-32768..32767]";
constexpr std::string_view kSuffixeDate = " Codée en Base 256";
constexpr size_t kLargeurExemple = 40;

bool Montant(char type) { return type == 'M' || type == 'N'; }

// A numeric picture of total characters: "+" then "9"s, "." before the decimals ("+99999.99");
// a single character is "9".
std::string Image(int16_t total, int16_t decimales) {
  if (total <= 1) return std::string(static_cast<size_t>(total > 0 ? total : 0), '9');
  int32_t entiers = total - 1 - (decimales > 0 ? decimales + 1 : 0);
  std::string image = "+" + std::string(static_cast<size_t>(entiers > 0 ? entiers : 0), '9');
  if (decimales > 0) image += "." + std::string(static_cast<size_t>(decimales), '9');
  return image;
}

}  // namespace

const RegleType* ChercheType(std::string_view type) {
  if (type.size() != 1) return nullptr;
  for (const RegleType& r : kTypes) {
    if (r.type == type[0]) return &r;
  }
  return nullptr;
}

bool ModificationConnue(std::string_view modification) {
  return modification == "U" || modification == "R" || modification == "A" || modification == "S";
}

bool DecimalesValides(char type, int32_t decimales) {
  if (!Montant(type)) return decimales == 0;
  return decimales >= 0 && decimales <= kDecimalesMax;
}

bool TotalValide(char type, int32_t total, int32_t decimales) {
  if (Montant(type)) {
    if (decimales > 0) return total >= decimales + 2 && total <= kTotalMaxDecimales;
    return total >= 1 && total <= kTotalMaxEntier;
  }
  const RegleType* r = ChercheType(std::string_view(&type, 1));
  if (r != nullptr && r->total_fixe > 0) return total == r->total_fixe;
  return total >= 1 && total <= kTotalMax;
}

std::string RegleTotal(char type, int32_t decimales) {
  const std::string t(1, type);
  if (Montant(type) && decimales > 0) {
    return t + " avec " + std::to_string(decimales) + " décimale" + (decimales > 1 ? "s" : "") +
           " : de " + std::to_string(decimales + 2) + " à " + std::to_string(kTotalMaxDecimales) +
           " caractères, signe et point compris";
  }
  if (Montant(type)) {
    return t + " sans décimale : de 1 à " + std::to_string(kTotalMaxEntier) +
           " caractères, signe compris";
  }
  const RegleType* r = ChercheType(t);
  if (r != nullptr && r->total_fixe > 0) {
    return t + " : " + std::to_string(r->total_fixe) + " caractères";
  }
  return t + " : de 1 à " + std::to_string(kTotalMax) + " caractères";
}

bool FormatDemande(char type, int16_t total, int16_t decimales) {
  return type == 'M' && decimales == 0 && total == 5;
}

FormatInterne CalculeFormat(char type, int16_t total, int16_t decimales,
                            const std::function<std::string()>& demande) {
  if (type != 'M') return {'A', total};
  if (decimales == 0 && total <= 4) return {'I', 2};
  if (FormatDemande(type, total, decimales)) {
    return demande() == "S" ? FormatInterne{'S', 4} : FormatInterne{'I', 2};
  }
  int32_t chiffres = decimales == 0 ? total - 1 : total - 2;
  return chiffres <= 7 ? FormatInterne{'S', 4} : FormatInterne{'D', 8};
}

std::string TexteFormatInterne(const FormatInterne& f) {
  return std::string(kFormatInterneTexte) + f.format + std::to_string(f.longueur);
}

std::string ExempleDefaut(char type, std::string_view nom, int16_t total, int16_t decimales,
                          char format, std::string_view date) {
  switch (type) {
    case 'A':
      return std::string(text::Left(nom, total > 0 ? static_cast<size_t>(total) : 0));
    case 'M': {
      std::string e = Image(total, decimales);
      if (format == 'I') e += kSuffixeEntier;
      return std::string(text::Left(e, kLargeurExemple));
    }
    case 'N':
      return Image(total, decimales);
    case 'D':
      return std::string(
          text::Left(std::string(date) + std::string(kSuffixeDate), kLargeurExemple));
    case 'E':
      return "No Enr .DAT en Base 256";
    case 'B':
      return "O";
    case 'L':
      return "[E1,E2,...,En] où Ei=";
    default:
      return "";
  }
}

std::string DomaineDefaut(char type, int16_t decimales, char format) {
  switch (type) {
    case 'A':
      return "a¬Nul";
    case 'M':
      return format == 'I' ? "Ni¬Nul" : format == 'S' ? "Ns¬Nul" : "Nd¬Nul";
    case 'N':
      return decimales == 0 ? "Na>=0" : "Na¬Nul";
    case 'D':
      return "D Appartient à Exerc";
    case 'L':
      return "liste";
    default:
      return "";  // E and B: primitive
  }
}

std::string_view ModificationDefaut(char type) { return type == 'E' || type == 'L' ? "S" : "U"; }

bool DomaineImplicite(std::string_view code) {
  static constexpr std::string_view kImplicites[] = {
      "a¬Nul", "Ni¬Nul", "Ns¬Nul", "Nd¬Nul", "Na>=0", "Na¬Nul", "D Appartient à Exerc", "liste"};
  for (std::string_view d : kImplicites) {
    if (d == code) return true;
  }
  return false;
}

int32_t LongueurProposee(int32_t longueur_reelle) {
  if (longueur_reelle < 1 || longueur_reelle > kLongueurEnrMax) {
    throw ErreurService("LongueurProposee", std::to_string(longueur_reelle),
                        "longueur réelle hors de 1.." + std::to_string(kLongueurEnrMax));
  }
  // 1, 2 and 4 are below the engine's smallest record: 8, the power of two above it.
  if (longueur_reelle < kLongueurEnrMin) return 8;
  int32_t p = 1;
  while (p < longueur_reelle) p = Produit<int32_t>(p, 2);
  return p > kLongueurEnrMax ? kLongueurEnrMax : p;
}

}  // namespace vesk::fic
