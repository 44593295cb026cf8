// Little-endian numbers in the engine's files (data files, B-trees, redo log, lock file): 1 to 8
// bytes, the least significant first. Fixed sizes for the hot paths of the B-tree, a byte count
// for the others. And Mix64, the bit mixer of the engine's checksums and hashes. Pure functions;
// any thread.
#ifndef VESK_SRV_ISAM_CODING_H_
#define VESK_SRV_ISAM_CODING_H_

#include <cstdint>
#include <string>

namespace vesk::isam {

// A bijection of 64-bit words whose every output bit depends on every input bit (the finalizer
// of MurmurHash3), for checksums and hashes.
inline uint64_t Mix64(uint64_t x) {
  x ^= x >> 33;
  x *= 0xff51afd7ed558ccdULL;
  x ^= x >> 33;
  x *= 0xc4ceb9fe1a85ec53ULL;
  return x ^ (x >> 33);
}

inline uint16_t Load16(const char* p) {
  const auto* u = reinterpret_cast<const unsigned char*>(p);
  return static_cast<uint16_t>(u[0] | (u[1] << 8));
}
inline uint32_t Load32(const char* p) {
  const auto* u = reinterpret_cast<const unsigned char*>(p);
  return u[0] | (u[1] << 8) | (u[2] << 16) | (static_cast<uint32_t>(u[3]) << 24);
}
inline uint64_t Load64(const char* p) { return Load32(p) | (uint64_t{Load32(p + 4)} << 32); }
inline void Store16(char* p, uint16_t v) {
  p[0] = static_cast<char>(v);
  p[1] = static_cast<char>(v >> 8);
}
inline void Store32(char* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<char>(v >> (8 * i));
}
inline void Store64(char* p, uint64_t v) {
  Store32(p, static_cast<uint32_t>(v));
  Store32(p + 4, static_cast<uint32_t>(v >> 32));
}

// The number held by the bytes bytes at p.
inline uint64_t GetLe(const char* p, int bytes) {
  uint64_t v = 0;
  for (int i = bytes - 1; i >= 0; --i) v = (v << 8) | static_cast<unsigned char>(p[i]);
  return v;
}
// v written as bytes bytes at p.
inline void PutLe(char* p, uint64_t v, int bytes) {
  for (int i = 0; i < bytes; ++i) p[i] = static_cast<char>((v >> (8 * i)) & 0xFF);
}
// v appended to out as bytes bytes.
inline void AppendLe(std::string& out, uint64_t v, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_CODING_H_
