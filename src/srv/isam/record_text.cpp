#include "srv/isam/record_text.h"

#include <cstring>

#include "srv/text/cp1252.h"
#include "srv/text/utf8.h"

namespace vesk::isam {

namespace {

// Eight bytes at a time: records are mostly ASCII and this runs on every read and write.
bool IsAscii(std::string_view s) {
  const char* p = s.data();
  size_t n = s.size();
  uint64_t any = 0;
  for (; n >= 8; p += 8, n -= 8) {
    uint64_t w;
    std::memcpy(&w, p, 8);
    any |= w;
  }
  for (; n > 0; ++p, --n) any |= static_cast<unsigned char>(*p);
  return (any & 0x8080808080808080ull) == 0;
}

// from (not inside *out), completed with spaces to length (>= from.size()), into *out without
// giving back its storage (string::assign goes through a general replace; records pass here on
// every access).
void CopyPadded(std::string_view from, size_t length, std::string* out) {
  if (out->size() != length) out->resize(length);
  std::memmove(out->data(), from.data(), from.size());
  std::memset(out->data() + from.size(), ' ', length - from.size());
}

// Copies n bytes from (not inside to) and tells whether they were all ASCII, in one pass,
// eight bytes at a time: a record read takes this path.
bool CopyAscii(const char* from, size_t n, char* to) {
  uint64_t any = 0;
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t w;
    std::memcpy(&w, from + i, 8);
    std::memcpy(to + i, &w, 8);
    any |= w;
  }
  for (; i < n; ++i) {
    to[i] = from[i];
    any |= static_cast<unsigned char>(from[i]);
  }
  return (any & 0x8080808080808080ull) == 0;
}

}  // namespace

Status EncodeFixed(std::string_view utf8, size_t length, std::string_view what, std::string* out) {
  if (IsAscii(utf8)) {
    if (utf8.size() > length) {
      return Status::InvalidArgument(std::string(what) + " de " + std::to_string(utf8.size()) +
                                     " caractères, plus long que " + std::to_string(length));
    }
    CopyPadded(utf8, length, out);
    return Status::Ok();
  }
  std::string bytes;
  text::TextResult r = text::EncodeCp1252(utf8, &bytes);
  if (!r.ok) return Status::InvalidArgument(std::string(what) + " : " + r.message);
  if (bytes.size() > length) {
    return Status::InvalidArgument(std::string(what) + " de " + std::to_string(bytes.size()) +
                                   " caractères, plus long que " + std::to_string(length));
  }
  bytes.resize(length, ' ');
  out->swap(bytes);
  return Status::Ok();
}

void DecodeBytes(std::string_view bytes, std::string* out) {
  if (out->size() != bytes.size()) out->resize(bytes.size());
  if (CopyAscii(bytes.data(), bytes.size(), out->data())) return;
  out->clear();
  text::AppendDecodedCp1252(bytes, out);
}

uint32_t DecodePointer(const char* p) {
  if (p[0] == ' ' && p[1] == ' ' && p[2] == ' ') return 0;
  auto b = [p](int i) { return static_cast<uint32_t>(static_cast<unsigned char>(p[i])); };
  return (b(0) << 16) | (b(1) << 8) | b(2);
}

void EncodePointer(uint32_t record, char* p) {
  p[0] = static_cast<char>((record >> 16) & 0xFF);
  p[1] = static_cast<char>((record >> 8) & 0xFF);
  p[2] = static_cast<char>(record & 0xFF);
}

}  // namespace vesk::isam
