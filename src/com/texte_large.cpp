#include "com/texte_large.h"

#include <windows.h>

namespace vesk::com {

std::wstring Large(std::string_view texte) {
  if (texte.empty()) return std::wstring();
  const int n =
      ::MultiByteToWideChar(CP_UTF8, 0, texte.data(), static_cast<int>(texte.size()), nullptr, 0);
  std::wstring large(static_cast<size_t>(n > 0 ? n : 0), L'\0');
  if (n > 0) {
    ::MultiByteToWideChar(CP_UTF8, 0, texte.data(), static_cast<int>(texte.size()), large.data(),
                          n);
  }
  return large;
}

std::string Etroit(std::wstring_view texte) {
  if (texte.empty()) return std::string();
  const int n = ::WideCharToMultiByte(CP_UTF8, 0, texte.data(), static_cast<int>(texte.size()),
                                      nullptr, 0, nullptr, nullptr);
  std::string etroit(static_cast<size_t>(n > 0 ? n : 0), '\0');
  if (n > 0) {
    ::WideCharToMultiByte(CP_UTF8, 0, texte.data(), static_cast<int>(texte.size()), etroit.data(),
                          n, nullptr, nullptr);
  }
  return etroit;
}

}  // namespace vesk::com
