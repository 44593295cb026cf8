// A text as a JSON string, for the commands that write JSON (`donnees`, `verifie`): quotes and
// backslashes escaped, control characters as \u00XX, the rest (UTF-8) as it is.
#ifndef VESK_CLI_TEXTE_JSON_H_
#define VESK_CLI_TEXTE_JSON_H_

#include <cstdio>
#include <string>
#include <string_view>

namespace vesk::cli {

inline std::string TexteJson(std::string_view texte) {
  std::string t = "\"";
  for (char c : texte) {
    const auto u = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      t += '\\';
      t += c;
    } else if (u < 0x20) {
      char h[8];
      std::snprintf(h, sizeof h, "\\u%04x", u);
      t += h;
    } else {
      t += c;
    }
  }
  return t + "\"";
}

}  // namespace vesk::cli

#endif  // VESK_CLI_TEXTE_JSON_H_
