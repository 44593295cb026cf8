#include "srv/tui/texte.h"

#include <algorithm>

#include "srv/erreur_service.h"
#include "srv/text/cp1252.h"
#include "srv/text/utf8.h"

namespace vesk::tui {

std::u32string VersPoints(std::string_view utf8) {
  std::u32string out;
  out.reserve(utf8.size());
  size_t pos = 0;
  while (pos < utf8.size()) {
    char32_t cp = 0;
    if (text::DecodeUtf8(utf8, &pos, &cp)) {
      out.push_back(cp);
    } else {
      out.push_back(U'\uFFFD');
      ++pos;
    }
  }
  return out;
}

std::u32string VersPointsStrict(std::string_view utf8, std::string_view operation,
                                std::string_view objet) {
  text::TextResult r = text::CheckUtf8(utf8);
  if (!r.ok) throw ErreurService(operation, objet, r.message);
  return VersPoints(utf8);
}

std::string VersUtf8(std::u32string_view points) {
  std::string out;
  out.reserve(points.size());
  for (char32_t c : points) text::AppendUtf8(c, &out);
  return out;
}

bool EstCp1252(char32_t c) {
  unsigned char b = 0;
  return text::CodePointToCp1252(c, &b);
}

std::string DecritCaractere(char32_t c) { return text::DescribeCodePoint(c); }

char32_t Minuscule(char32_t c) {
  if (c >= U'A' && c <= U'Z') return c + 32;
  if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return c + 32;
  if (c == 0x152) return 0x153;  // Œ
  if (c == 0x160) return 0x161;  // Š
  if (c == 0x17D) return 0x17E;  // Ž
  if (c == 0x178) return 0xFF;   // Ÿ
  return c;
}

size_t Longueur(std::string_view utf8) { return text::CountChars(utf8); }

namespace {

// The parts of a text that are never separated: its elements (each but the first starting at
// the "-" of a " - "), an element wider than largeur cut into words.
std::vector<std::u32string> Morceaux(std::u32string_view texte, size_t largeur) {
  std::vector<std::u32string_view> elements;
  for (size_t p = texte.find(U" - "); p != std::u32string_view::npos; p = texte.find(U" - ")) {
    elements.push_back(texte.substr(0, p));
    texte.remove_prefix(p + 1);
  }
  elements.push_back(texte);
  std::vector<std::u32string> morceaux;
  for (std::u32string_view e : elements) {
    if (e.size() <= largeur) {
      morceaux.emplace_back(e);
      continue;
    }
    for (size_t p = e.find(U' '); !e.empty(); p = e.find(U' ')) {
      std::u32string_view mot = e.substr(0, p);
      for (; mot.size() > largeur; mot.remove_prefix(largeur)) {
        morceaux.emplace_back(mot.substr(0, largeur));
      }
      if (!mot.empty()) morceaux.emplace_back(mot);
      e.remove_prefix(p == std::u32string_view::npos ? e.size() : p + 1);
    }
  }
  return morceaux;
}

}  // namespace

std::vector<std::u32string> Plie(std::string_view utf8, int largeur) {
  std::vector<std::u32string> lignes;
  const std::u32string texte = VersPoints(utf8);
  if (texte.empty()) return lignes;
  const size_t l = static_cast<size_t>(std::max(largeur, 1));
  for (std::u32string& m : Morceaux(texte, l)) {
    if (!lignes.empty() && lignes.back().size() + 1 + m.size() <= l) {
      lignes.back() += U' ';
      lignes.back() += m;
    } else {
      lignes.push_back(std::move(m));
    }
  }
  return lignes;
}

}  // namespace vesk::tui
