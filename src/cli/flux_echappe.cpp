#include "cli/flux_echappe.h"

#include <cstdio>

#include "srv/text/utf8.h"

namespace vesk::cli {

namespace {

std::string Hexa(const char* format, unsigned valeur) {
  char b[12];
  std::snprintf(b, sizeof b, format, valeur);
  return b;
}

// How many bytes at the end of texte begin a UTF-8 character that the next write completes.
size_t FinCoupee(std::string_view texte) {
  for (size_t n = 1; n <= 3 && n <= texte.size(); ++n) {
    const auto c = static_cast<unsigned char>(texte[texte.size() - n]);
    if ((c & 0xC0) == 0x80) continue;  // a continuation byte: look further back
    const size_t longueur = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
    return longueur > n ? n : 0;
  }
  return 0;
}

}  // namespace

std::string EchappeControles(std::string_view texte) {
  std::string sortie;
  for (size_t i = 0; i < texte.size();) {
    const size_t debut = i;
    char32_t cp = 0;
    if (!text::DecodeUtf8(texte, &i, &cp)) {
      sortie += Hexa("\\x%02X", static_cast<unsigned char>(texte[i++]));
    } else if ((cp < 0x20 && cp != '\n' && cp != '\t') || cp == 0x7F) {
      sortie += Hexa("\\x%02X", static_cast<unsigned>(cp));
    } else if (cp >= 0x80 && cp <= 0x9F) {
      sortie += Hexa("\\u%04X", static_cast<unsigned>(cp));
    } else {
      sortie += texte.substr(debut, i - debut);
    }
  }
  return sortie;
}

TamponEchappe::~TamponEchappe() {
  Ecrit(ligne_.size());
  cible_->pubsync();
}

TamponEchappe::int_type TamponEchappe::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  ligne_ += traits_type::to_char_type(c);
  if (ligne_.back() == '\n' && sync() != 0) return traits_type::eof();
  return c;
}

int TamponEchappe::sync() {
  if (Ecrit(ligne_.size() - FinCoupee(ligne_)) != 0) return -1;
  return cible_->pubsync();
}

int TamponEchappe::Ecrit(size_t n) {
  const std::string echappe = EchappeControles(std::string_view(ligne_).substr(0, n));
  ligne_.erase(0, n);
  const auto taille = static_cast<std::streamsize>(echappe.size());
  return cible_->sputn(echappe.data(), taille) == taille ? 0 : -1;
}

}  // namespace vesk::cli
