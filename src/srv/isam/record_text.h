// Record texts: the UTF-8 text of a record in memory and its Windows-1252 bytes on disk, one
// byte per character, completed with spaces to the record length. Pure ASCII texts take a
// copy-only path. Free functions without state; safe from any thread.
#ifndef VESK_SRV_ISAM_RECORD_TEXT_H_
#define VESK_SRV_ISAM_RECORD_TEXT_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "srv/isam/status.h"

namespace vesk::isam {

// The bytes of utf8 in Windows-1252, completed with spaces to length, into *out (its storage
// reused). InvalidArgument when a character has no Windows-1252 byte, or when the text holds
// more than length characters (never cut). what names the text in the message ("texte", "clé").
Status EncodeFixed(std::string_view utf8, size_t length, std::string_view what, std::string* out);

// The UTF-8 text of Windows-1252 bytes into *out (its storage reused). Never fails.
void DecodeBytes(std::string_view bytes, std::string* out);

// A chaining pointer: a record number in 3 bytes, base 256, high byte first. Three bytes of
// code 0 and three spaces both read as 0 (none).
inline constexpr uint32_t kMaxPointer = 0xFFFFFF;
uint32_t DecodePointer(const char* p);
void EncodePointer(uint32_t record, char* p);

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_RECORD_TEXT_H_
