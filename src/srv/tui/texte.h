// The few text operations the screens need, on code points: UTF-8 to and from code-point
// strings, the Windows-1252 test of a typed character, and case folding for searches.
// The one place where the screens meet the text helpers. Free functions; safe from any thread.
#ifndef VESK_SRV_TUI_TEXTE_H_
#define VESK_SRV_TUI_TEXTE_H_

#include <string>
#include <string_view>
#include <vector>

namespace vesk::tui {

// The code points of a UTF-8 text; a malformed sequence shows as U+FFFD (display only).
std::u32string VersPoints(std::string_view utf8);
// The code points of a UTF-8 text that must be valid: ErreurService(operation, objet, ...)
// naming the faulty position otherwise.
std::u32string VersPointsStrict(std::string_view utf8, std::string_view operation,
                                std::string_view objet);
std::string VersUtf8(std::u32string_view points);
// Whether Windows-1252 holds c (so that it can be stored in a record).
bool EstCp1252(char32_t c);
// "« Ω » (U+03A9)": the character named for a message.
std::string DecritCaractere(char32_t c);
// Lower case of c for searches (ASCII and Latin-1 letters); other characters unchanged.
char32_t Minuscule(char32_t c);
// Number of characters of a UTF-8 text.
size_t Longueur(std::string_view utf8);
// A help or message text folded to lines of at most largeur characters, never cutting an
// element: the text is broken before each " - " that separates its elements, the elements are
// put side by side while they fit, and only an element wider than a line is broken between
// words (a word wider than a line, at the width). "" gives no line.
std::vector<std::u32string> Plie(std::string_view utf8, int largeur);

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_TEXTE_H_
