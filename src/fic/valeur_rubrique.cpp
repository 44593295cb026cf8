#include "fic/valeur_rubrique.h"

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "srv/list/liste.h"
#include "srv/text/cp1252.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

// A decimal number as digits: sign, integer digits without leading zeros ("" for 0), and the
// digits after the point.
struct Decimal {
  bool negatif = false;
  std::string entiers;
  std::string fraction;
};

// "-0012.50" or "12" or ".5"; false when the text is not a number.
bool LitDecimal(std::string_view t, Decimal* d) {
  *d = Decimal{};
  size_t i = 0;
  if (i < t.size() && (t[i] == '+' || t[i] == '-')) d->negatif = t[i++] == '-';
  bool chiffre = false;
  for (; i < t.size() && t[i] >= '0' && t[i] <= '9'; ++i) {
    chiffre = true;
    if (!d->entiers.empty() || t[i] != '0') d->entiers += t[i];
  }
  if (i < t.size() && t[i] == '.') {
    for (++i; i < t.size() && t[i] >= '0' && t[i] <= '9'; ++i) {
      chiffre = true;
      d->fraction += t[i];
    }
  }
  if (d->entiers.empty() && d->fraction.find_first_not_of('0') == std::string::npos) {
    d->negatif = false;  // -0 is 0
  }
  return chiffre && i == t.size();
}

// d with exactly n decimals: the extra digits dropped (they must be zeros unless arrondit, which
// rounds half away from zero), zeros added. False when rounding is needed and not allowed.
bool AjusteDecimales(Decimal* d, int n, bool arrondit) {
  const size_t taille = static_cast<size_t>(n);
  if (d->fraction.size() <= taille) {
    d->fraction.append(taille - d->fraction.size(), '0');
    return true;
  }
  const std::string coupe = d->fraction.substr(taille);
  if (coupe.find_first_not_of('0') != std::string::npos && !arrondit) return false;
  const bool hausse = coupe[0] >= '5';
  d->fraction.resize(taille);
  if (!hausse) return true;
  std::string chiffres = d->entiers + d->fraction;  // add one at the last digit kept
  int k = static_cast<int>(chiffres.size()) - 1;
  while (k >= 0 && chiffres[static_cast<size_t>(k)] == '9')
    chiffres[static_cast<size_t>(k--)] = '0';
  if (k < 0) {
    chiffres.insert(chiffres.begin(), '1');
  } else {
    ++chiffres[static_cast<size_t>(k)];
  }
  d->entiers = chiffres.substr(0, chiffres.size() - taille);
  d->fraction = chiffres.substr(chiffres.size() - taille);
  if (d->entiers.find_first_not_of('0') == std::string::npos) d->entiers.clear();
  return true;
}

std::string TexteDecimal(const Decimal& d) {
  std::string t = d.negatif ? "-" : "";
  t += d.entiers.empty() ? "0" : d.entiers;
  if (!d.fraction.empty()) t += "." + d.fraction;
  return t;
}

// The characters d takes as the field shows it: a "-" when negative, the integer digits (none
// before the point of a number below 1 with decimals, else at least "0"), the point and the
// decimals.
int32_t Largeur(const Decimal& d, int16_t decimales) {
  const size_t entiers = d.entiers.empty() ? (decimales > 0 ? 0 : 1) : d.entiers.size();
  return static_cast<int32_t>((d.negatif ? 1 : 0) + entiers +
                              (decimales > 0 ? 1 + static_cast<size_t>(decimales) : 0));
}

// Whether d, with exactly the field's decimals, fits its total of characters.
bool DansLimites(const Decimal& d, const CodageRubrique& c) {
  return Largeur(d, c.decimales) <= c.total;
}

Decimal DepuisReel(double v, int decimales) {
  char tampon[400];
  std::snprintf(tampon, sizeof tampon, "%.*f", decimales, v);
  Decimal d;
  LitDecimal(tampon, &d);
  return d;
}

uint64_t Petit(std::string_view o) {
  uint64_t v = 0;
  for (size_t i = o.size(); i-- > 0;) v = v << 8 | static_cast<unsigned char>(o[i]);
  return v;
}

std::string EnPetit(uint64_t v, size_t n) {
  std::string o(n, '\0');
  for (size_t i = 0; i < n; ++i) o[i] = static_cast<char>(v >> (8 * i));
  return o;
}

uint32_t Grand3(std::string_view o) {
  return static_cast<uint32_t>(static_cast<unsigned char>(o[0])) << 16 |
         static_cast<uint32_t>(static_cast<unsigned char>(o[1])) << 8 |
         static_cast<unsigned char>(o[2]);
}

std::string EnGrand3(uint32_t v) {
  return {static_cast<char>(v >> 16), static_cast<char>(v >> 8), static_cast<char>(v)};
}

bool Uniforme(std::string_view o, char c) { return o.find_first_not_of(c) == std::string::npos; }

std::string Hexa(std::string_view o) {
  std::string t;
  char h[8];
  for (char c : o) {
    std::snprintf(h, sizeof h, "%s0x%02X", t.empty() ? "" : " ", static_cast<unsigned char>(c));
    t += h;
  }
  return t;
}

Lecture Lu(Valeur::Genre g, std::string t) { return {{g, std::move(t)}, Defaut::kAucun, ""}; }
Lecture Faute(Defaut d, std::string detail) { return {{}, d, std::move(detail)}; }

Lecture LitMontant(const CodageRubrique& c, std::string_view o) {
  double v = 0;
  if (c.format == 'I' && o.size() == 2) {
    v = static_cast<int16_t>(static_cast<uint16_t>(Petit(o)));
  } else if (c.format == 'S' && o.size() == 4) {
    v = std::bit_cast<float>(static_cast<uint32_t>(Petit(o)));
  } else if (c.format == 'D' && o.size() == 8) {
    v = std::bit_cast<double>(Petit(o));
  } else {
    return Faute(Defaut::kNombre, "format interne " + std::string(1, c.format) + " sur " +
                                      std::to_string(o.size()) + " octets");
  }
  if (!std::isfinite(v)) return Faute(Defaut::kNombre, Hexa(o));
  const Decimal d = DepuisReel(v, c.decimales);
  if (!DansLimites(d, c)) return Faute(Defaut::kLimite, TexteDecimal(d));
  return Lu(Valeur::Genre::kNombre, TexteDecimal(d));
}

Lecture LitNombre(const CodageRubrique& c, std::string_view o) {
  const std::string texte = text::DecodeCp1252(o);
  const std::string_view t = text::Trim(texte);
  if (t.empty()) return Lu(Valeur::Genre::kVide, "");
  Decimal d;
  if (!LitDecimal(t, &d)) return Faute(Defaut::kNombre, std::string(t));
  if (!AjusteDecimales(&d, c.decimales, false) || !DansLimites(d, c)) {
    return Faute(Defaut::kLimite, std::string(t));
  }
  return Lu(Valeur::Genre::kNombre, TexteDecimal(d));
}

Lecture LitDate(std::string_view o) {
  if (Uniforme(o, '\0') || Uniforme(o, ' ')) return Lu(Valeur::Genre::kVide, "");
  std::string t = o.size() == 3 ? TexteDate(static_cast<int32_t>(Grand3(o))) : "";
  if (t.empty()) return Faute(Defaut::kDate, Hexa(o));
  return Lu(Valeur::Genre::kDate, std::move(t));
}

Lecture LitTexte(const CodageRubrique& c, std::string_view o) {
  const std::string texte = text::DecodeCp1252(o);
  std::string t(text::TrimRight(texte));
  if (c.type == 'L' && !t.empty() && !list::Check(t).ok()) return Faute(Defaut::kListe, t);
  return Lu(Valeur::Genre::kTexte, std::move(t));
}

}  // namespace

int32_t NumeroJour(int32_t annee, int32_t mois, int32_t jour) {
  if (annee < 1900 || annee > 9999 || mois < 1 || mois > 12 || jour < 1) return 0;
  static constexpr int kJours[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool bissextile = (annee % 4 == 0 && annee % 100 != 0) || annee % 400 == 0;
  if (jour > kJours[mois - 1] + (mois == 2 && bissextile ? 1 : 0)) return 0;
  // Days since 01/03/0000 of the proleptic Gregorian calendar, then from 01/01/1900.
  const int32_t a = mois <= 2 ? annee - 1 : annee;
  const int32_t m = mois <= 2 ? mois + 12 : mois;
  const int32_t jours = 365 * a + a / 4 - a / 100 + a / 400 + (153 * (m - 3) + 2) / 5 + jour;
  return jours - 693901;
}

std::string TexteDate(int32_t numero) {
  if (numero < 1 || numero > NumeroJour(9999, 12, 31)) return "";
  // The inverse of NumeroJour (civil date of a day count from 01/03/0000).
  const int64_t z = int64_t{numero} + 693900;  // days since 01/03/0000, from 0
  const int64_t era = z / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  const int64_t jour = doy - (153 * mp + 2) / 5 + 1;
  const int64_t mois = mp < 10 ? mp + 3 : mp - 9;
  const int64_t annee = yoe + era * 400 + (mois <= 2 ? 1 : 0);
  char t[40];
  std::snprintf(t, sizeof t, "%02d/%02d/%04d", static_cast<int>(jour), static_cast<int>(mois),
                static_cast<int>(annee));
  return t;
}

Lecture LitValeur(const CodageRubrique& c, std::string_view octets) {
  switch (c.type) {
    case 'M':
      return LitMontant(c, octets);
    case 'N':
      return LitNombre(c, octets);
    case 'D':
      return LitDate(octets);
    case 'E':
      if (octets.size() != 3 || Uniforme(octets, '\0') || Uniforme(octets, ' ')) {
        return Lu(Valeur::Genre::kVide, "");
      }
      return Lu(Valeur::Genre::kPointeur, std::to_string(Grand3(octets)));
    case 'B':
      if (octets == "O" || octets == "N") return Lu(Valeur::Genre::kBooleen, std::string(octets));
      return Faute(Defaut::kBooleen, "« " + text::DecodeCp1252(octets) + " »");
    default:
      return LitTexte(c, octets);
  }
}

std::string_view NomDefaut(Defaut d) {
  switch (d) {
    case Defaut::kAucun:
      return "aucun";
    case Defaut::kDate:
      return "date impossible";
    case Defaut::kNombre:
      return "nombre illisible";
    case Defaut::kLimite:
      return "nombre hors limites";
    case Defaut::kBooleen:
      return "booléen ni O ni N";
    case Defaut::kListe:
      return "liste mal formée";
  }
  return "";
}

namespace {

Ecriture Ecrit(std::string octets) { return {true, std::move(octets), ""}; }
Ecriture Refus(std::string raison) { return {false, "", std::move(raison)}; }

// A text into a field of n bytes: padded with spaces, or cut when the cut part is blank (or
// when coupe).
Ecriture EcritTexte(std::string_view utf8, size_t n, bool coupe) {
  std::string octets;
  if (!text::EncodeCp1252(utf8, &octets).ok) return Refus("caractère hors de Windows-1252");
  if (octets.size() > n) {
    if (!coupe && octets.find_first_not_of(' ', n) != std::string::npos) {
      return Refus("texte de " + std::to_string(text::CountChars(text::TrimRight(utf8))) +
                   " caractères pour " + std::to_string(n));
    }
    octets.resize(n);
  }
  octets.resize(n, ' ');
  return Ecrit(std::move(octets));
}

Ecriture EcritNombre(const CodageRubrique& c, const Valeur& v, bool arrondit) {
  if (v.genre == Valeur::Genre::kVide) return Ecrit(OctetsNeufs(c));
  Decimal d;
  if (v.genre != Valeur::Genre::kNombre || !LitDecimal(v.texte, &d)) {
    return Refus("« " + v.texte + " » n'est pas un nombre");
  }
  if (!AjusteDecimales(&d, c.decimales, arrondit)) {
    return Refus(v.texte + " a plus de " + std::to_string(c.decimales) + " décimale(s)");
  }
  if (!DansLimites(d, c)) {
    return Refus(v.texte + " dépasse les " + std::to_string(c.total) +
                 " caractère(s) de la rubrique");
  }
  const std::string t = TexteDecimal(d);
  if (c.type == 'N') return EcritTexte(t, static_cast<size_t>(c.longueur), false);
  const double x = std::strtod(t.c_str(), nullptr);
  if (c.format == 'I') {
    if (x < -32768 || x > 32767 || x != std::trunc(x)) {
      return Refus(t + " hors de [-32768..32767]");
    }
    return Ecrit(EnPetit(static_cast<uint16_t>(static_cast<int16_t>(x)), 2));
  }
  if (c.format == 'S') return Ecrit(EnPetit(std::bit_cast<uint32_t>(static_cast<float>(x)), 4));
  return Ecrit(EnPetit(std::bit_cast<uint64_t>(x), 8));
}

Ecriture EcritDate(const Valeur& v) {
  if (v.genre == Valeur::Genre::kVide) return Ecrit("   ");
  int j = 0, m = 0, a = 0;
  char fin = 0;
  if (v.genre != Valeur::Genre::kDate ||
      std::sscanf(v.texte.c_str(), "%2d/%2d/%4d%c", &j, &m, &a, &fin) != 3) {
    return Refus("« " + v.texte + " » n'est pas une date");
  }
  const int32_t n = NumeroJour(a, m, j);
  if (n == 0) return Refus("« " + v.texte + " » n'est pas une date");
  return Ecrit(EnGrand3(static_cast<uint32_t>(n)));
}

}  // namespace

Ecriture EcritValeur(const CodageRubrique& c, const Valeur& v, bool arrondit) {
  using G = Valeur::Genre;
  switch (c.type) {
    case 'M':
    case 'N':
      return EcritNombre(c, v, arrondit);
    case 'D':
      return EcritDate(v);
    case 'E': {
      if (v.genre == G::kVide) return Ecrit(OctetsNeufs(c));
      const long n = v.genre == G::kPointeur ? std::strtol(v.texte.c_str(), nullptr, 10) : 0;
      if (n < 1 || n > 0xFFFFFF || n == 0x202020) return Refus("« " + v.texte + " » : pointeur");
      return Ecrit(EnGrand3(static_cast<uint32_t>(n)));
    }
    case 'B':
      if (v.genre != G::kBooleen || (v.texte != "O" && v.texte != "N")) {
        return Refus("« " + v.texte + " » n'est ni O ni N");
      }
      return Ecrit(v.texte);
    default:
      if (v.genre != G::kTexte && v.genre != G::kVide) return Refus("valeur d'un autre genre");
      return EcritTexte(v.texte, static_cast<size_t>(c.longueur), arrondit);
  }
}

std::string OctetsNeufs(const CodageRubrique& c) {
  const size_t n = static_cast<size_t>(c.longueur);
  switch (c.type) {
    case 'M':
      return std::string(n, '\0');  // 0 in every internal format: I, S and D alike
    case 'N':
      return std::string("0").append(n > 0 ? n - 1 : 0, ' ').substr(0, n);
    case 'E':
      return std::string(n, '\0');
    case 'B':
      return std::string("O").substr(0, n);
    case 'L':
      return std::string("[]").append(n > 1 ? n - 2 : 0, ' ').substr(0, n);
    default:
      return std::string(n, ' ');
  }
}

}  // namespace vesk::fic
