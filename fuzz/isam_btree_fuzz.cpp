// Fuzzes the storage engine's B-tree reader: any bytes given as a B-tree file (.DAB) are either
// refused at open with an error naming the damage, or searched, walked, verified and changed
// without a crash or an endless loop.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "srv/isam/btree.h"
#include "srv/isam/env.h"

namespace {

using namespace vesk::isam;

uint16_t Load16(const std::string& b, size_t at) {
  return static_cast<uint16_t>(static_cast<unsigned char>(b[at]) |
                               (static_cast<unsigned char>(b[at + 1]) << 8));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string bytes(reinterpret_cast<const char*>(data), size);
  if (bytes.size() < 20) return 0;
  MemEnv env;
  std::unique_ptr<vesk::platform::File> f;
  if (!env.OpenFile("/f/X.DAB", vesk::platform::OpenMode::kCreate, &f).ok()) std::abort();
  *env.Contents("/f/X.DAB") = bytes;
  uint16_t key_len = Load16(bytes, 10);
  char nature = bytes[18];
  if (key_len < 1 || key_len > 1024 || (nature != 'P' && nature != 'S')) return 0;
  std::unique_ptr<BTree> t;
  BTreeOptions o;
  o.cache_bytes = 1 << 16;
  if (!BTree::Open(&env, "/f/X.DAB", key_len, nature, "", false, o, &t).ok()) return 0;
  std::vector<std::string> problems;
  (void)t->Verify(&problems);
  uint64_t seen = 0;
  (void)t->ForEach([&](std::string_view, uint32_t) { return ++seen < 100000; });
  std::string key(key_len, 'A'), found;
  uint32_t record = 0;
  (void)t->Find(key, &record);
  (void)t->SeekAfter("", 0, &found, &record);
  if (problems.empty()) {
    for (uint32_t i = 1; i <= 40; ++i) {
      key[0] = static_cast<char>('A' + i % 26);
      (void)t->Insert(key, i);
      if (i % 3 == 0) (void)t->Erase(key, i);
    }
    (void)t->Flush();
  }
  return 0;
}
