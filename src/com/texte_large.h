// UTF-8 (the component's texts) to UTF-16 (Windows' and COM's) and back. Functions only.
#ifndef VESK_COM_TEXTE_LARGE_H_
#define VESK_COM_TEXTE_LARGE_H_

#include <string>
#include <string_view>

namespace vesk::com {

// Invalid UTF-8 bytes, or unpaired UTF-16 halves, become U+FFFD.
std::wstring Large(std::string_view texte);
std::string Etroit(std::wstring_view texte);

}  // namespace vesk::com

#endif  // VESK_COM_TEXTE_LARGE_H_
