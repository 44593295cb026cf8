#include "fic/faute_toml.h"

#include <array>
#include <optional>
#include <regex>
#include <utility>

namespace vesk::fic {

namespace {

using Paire = std::pair<std::string_view, std::string_view>;

// What the reader was reading when it stopped.
constexpr std::array<Paire, 23> kPortees{{
    {"array", "d'un tableau"},
    {"boolean", "d'un booléen"},
    {"comment", "d'un commentaire"},
    {"date", "d'une date"},
    {"date-time offset", "d'une date et heure avec décalage"},
    {"date-time", "d'une date et heure"},
    {"floating-point", "d'un nombre à virgule"},
    {"hexadecimal floating-point", "d'un nombre à virgule hexadécimal"},
    {"inline table", "d'une table en ligne"},
    {"key", "d'une clé"},
    {"key-value pair", "d'une ligne « clé = valeur »"},
    {"literal string", "d'une chaîne littérale"},
    {"root table", "du texte"},
    {"string", "d'une chaîne"},
    {"table header", "d'un en-tête de table"},
    {"time", "d'une heure"},
    {"unicode scalar sequence", "d'un caractère \\u"},
    {"value", "d'une valeur"},
    {"integer", "d'un entier"},
    {"decimal integer", "d'un entier"},
    {"binary integer", "d'un entier binaire"},
    {"octal integer", "d'un entier octal"},
    {"hexadecimal integer", "d'un entier hexadécimal"},
}};

// The things "expected X, saw Y" names, other than a quoted text ('=' or 'false').
constexpr std::array<Paire, 22> kChoses{{
    {"EOF", "la fin du texte"},
    {"comma", "une virgule"},
    {"closing '}' (dangling comma)", "« } » après une virgule"},
    {"comma or closing ']'", "une virgule ou « ] »"},
    {"comma or closing '}'", "une virgule ou « } »"},
    {"value", "une valeur"},
    {"value or closing ']'", "une valeur ou « ] »"},
    {"key or closing '}'", "une clé ou « } »"},
    {"key-value pair", "une ligne « clé = valeur »"},
    {"key-value pair or closing '}'", "une ligne « clé = valeur » ou « } »"},
    {"bare key starting character or string delimiter",
     "une clé (lettres, chiffres, « _ », « - ») ou un guillemet"},
    {"keys, tables, whitespace or comments", "une clé, un en-tête de table ou un commentaire"},
    {"a comment or whitespace", "la fin de la ligne ou un commentaire"},
    {"value-terminator", "la fin de la valeur (virgule, crochet ou fin de ligne)"},
    {"decimal digit", "un chiffre"},
    {"digit", "un chiffre"},
    {"decimal digit or '.'", "un chiffre ou « . »"},
    {"hex digit", "un chiffre hexadécimal"},
    {"hexadecimal digit", "un chiffre hexadécimal"},
    {"fractional digits", "des chiffres après la virgule"},
    {"exponent digit or sign", "un chiffre ou un signe d'exposant"},
    {"space or tab", "une espace ou une tabulation"},
}};

// Faults told whole, without a part to translate.
constexpr std::array<Paire, 12> kFautes{{
    {"encountered end-of-file", "le texte s'arrête avant la fin de l'élément"},
    {"leading zeroes are prohibited", "un nombre ne commence pas par des zéros"},
    {"unexpected control character", "caractère de contrôle interdit ici"},
    {"unescaped control characters other than TAB (U+0009) are explicitly prohibited",
     "caractère de contrôle dans une chaîne (une chaîne se ferme sur sa ligne ; \\n, \\t)"},
    {"control characters other than TAB (U+0009) are explicitly prohibited",
     "caractère de contrôle interdit (seule la tabulation est permise)"},
    {"control characters other than TAB (U+0009) are explicitly prohibited in comments",
     "caractère de contrôle dans un commentaire (seule la tabulation est permise)"},
    {"tables with blank bare keys are explicitly prohibited", "nom de table vide"},
    {"could not determine value type",
     "valeur illisible (texte entre guillemets, nombre, true, false, [ ] ou { } attendu)"},
    {"underscores may only follow digits", "un « _ » se place entre deux chiffres"},
    {"underscores must be followed by digits", "un « _ » se place entre deux chiffres"},
    {"values may not begin with underscores", "une valeur ne commence pas par « _ »"},
    {"values greater than U+10FFFF are invalid", "caractère au-delà de U+10FFFF"},
}};

std::optional<std::string_view> Cherche(std::string_view mot, const auto& table) {
  for (const auto& [anglais, francais] : table)
    if (anglais == mot) return francais;
  return std::nullopt;
}

// 'x' gives « x »; a named thing its French; anything else nothing.
std::optional<std::string> Chose(const std::string& chose) {
  const bool citee = chose.size() >= 2 && chose.front() == '\'' && chose.back() == '\'';
  if (citee && (chose.size() == 3 || chose.find('\'', 1) == chose.size() - 1))
    return "« " + chose.substr(1, chose.size() - 2) + " »";
  if (std::optional<std::string_view> f = Cherche(chose, kChoses)) return std::string(*f);
  return std::nullopt;
}

std::optional<std::string> Detail(const std::string& detail) {
  if (std::optional<std::string_view> f = Cherche(detail, kFautes)) return std::string(*f);
  static const std::regex attendu("expected (.+), saw (.+)");
  static const std::regex echappement("unknown escape sequence '(.*)'");
  static const std::regex redefinition("cannot redefine existing [a-z -]+ '(.*)'.*");
  std::smatch m;
  if (std::regex_match(detail, m, attendu)) {
    std::optional<std::string> a = Chose(m[1].str());
    std::optional<std::string> b = Chose(m[2].str());
    if (a && b) return *a + " attendu, trouvé " + *b;
  } else if (std::regex_match(detail, m, echappement)) {
    return "séquence d'échappement inconnue « " + m[1].str() +
           " » (\\\\, \\\", \\n, \\t, \\uXXXX sont connues)";
  } else if (std::regex_match(detail, m, redefinition)) {
    return "« " + m[1].str() + " » est déjà défini plus haut";
  }
  return std::nullopt;
}

}  // namespace

std::string TraduitFauteToml(std::string_view description) {
  constexpr std::string_view kTete = "Error while parsing ";
  std::string portee;
  std::string detail(description);
  if (description.starts_with(kTete)) {
    const size_t deux_points = description.find(": ", kTete.size());
    if (deux_points != std::string_view::npos) {
      const std::string_view quoi = description.substr(kTete.size(), deux_points - kTete.size());
      std::optional<std::string_view> f = Cherche(quoi, kPortees);
      portee = "lecture " + (f ? std::string(*f) : "de « " + std::string(quoi) + " »") + " : ";
      detail = std::string(description.substr(deux_points + 2));
    }
  }
  if (std::optional<std::string> d = Detail(detail)) return portee + *d;
  return portee + "texte TOML illisible (selon le lecteur TOML : « " + detail + " »)";
}

}  // namespace vesk::fic
