// Conversion between in-memory UTF-8 texts and the Windows-1252 bytes stored on disk, one byte
// per character. Decoding is total: the five bytes Windows-1252 leaves undefined (0x81, 0x8D,
// 0x8F, 0x90, 0x9D) become U+0081, U+008D, U+008F, U+0090, U+009D, so every byte value
// round-trips. Encoding refuses what Windows-1252 cannot hold, naming the character.
// Free functions without state; safe from any thread. Only the *OrThrow helpers throw.
#ifndef VESK_SRV_TEXT_CP1252_H_
#define VESK_SRV_TEXT_CP1252_H_

#include <string>
#include <string_view>

#include "srv/text/utf8.h"

namespace vesk::text {

// The code point of one Windows-1252 byte.
char32_t Cp1252ToCodePoint(unsigned char byte);
// The Windows-1252 byte of cp into *byte; false when Windows-1252 has no byte for cp.
bool CodePointToCp1252(char32_t cp, unsigned char* byte);

// Appends the UTF-8 text of the Windows-1252 bytes to *out. Never fails.
void AppendDecodedCp1252(std::string_view bytes, std::string* out);
std::string DecodeCp1252(std::string_view bytes);

// Converts the UTF-8 text utf8 to Windows-1252 into *out. On failure (malformed UTF-8 or a
// character Windows-1252 cannot hold) *out is left untouched and the result names the fault,
// e.g. "le caractère « Ω » (U+03A9) en position 3 n'existe pas dans le jeu Windows-1252".
TextResult EncodeCp1252(std::string_view utf8, std::string* out);

// Throwing forms for service code: ErreurService(operation, objet, message) on failure.
std::string EncodeCp1252OrThrow(std::string_view utf8, std::string_view operation,
                                std::string_view objet);
// Checks that utf8 can be stored in Windows-1252, without converting it.
void RequireCp1252(std::string_view utf8, std::string_view operation, std::string_view objet);

// The French description of cp for messages: "« Ω » (U+03A9)", or "U+0085" alone when the
// character would not show (control and invisible formatting characters).
std::string DescribeCodePoint(char32_t cp);

}  // namespace vesk::text

#endif  // VESK_SRV_TEXT_CP1252_H_
