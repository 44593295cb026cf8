// Fuzzes the recovery of the rollback journal with journals that pass its checksums: the input
// is read as a version and a list of records (type, payload) that are framed, counted and
// hashed as the engine does, so that recovery goes past the checks into the records
// themselves. Whatever they say, recovery ends in "ignored", "dropped" or "rolled back" (or a
// clear error), never a crash; it leaves no journal behind when it succeeds; it creates no file
// and grows none past what a record could name.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "srv/isam/coding.h"
#include "srv/isam/env.h"
#include "srv/isam/journal.h"

namespace {

using namespace vesk::isam;

void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "journal_fuzz: %s\n", what);
  std::abort();
}

constexpr uint64_t kNonce = 0x5eed;

// One record as the journal frames it: type, 3 zero bytes, length, payload, seeded hash.
void Record(std::string& j, char type, std::string_view payload) {
  std::string r(1, type);
  r.append(3, '\0');
  AppendLe(r, payload.size(), 4);
  r += payload;
  AppendLe(r, Hash64(r, kNonce), 8);
  j += r;
}

// The journal made of the input: byte 0 the version (1 or 2), then records, each a type byte
// (F, B, N, E or any), a length byte (times 64 past 200) and the payload.
std::string JournalDe(const std::string& in) {
  std::string body;
  uint32_t records = 0;
  for (size_t i = 1; i + 2 <= in.size(); ++records) {
    const char type = "FBNEX"[static_cast<unsigned char>(in[i]) % 5];
    size_t n = static_cast<unsigned char>(in[i + 1]);
    if (n > 200) n = (n - 200) * 64;
    i += 2;
    const std::string payload = in.substr(i, n);
    i += payload.size();
    Record(body, type, payload);
  }
  std::string h("VESKJNL\x1A", 8);
  AppendLe(h, in.empty() ? 2 : 1 + static_cast<unsigned char>(in[0]) % 2, 4);
  AppendLe(h, 64, 4);
  AppendLe(h, kNonce, 8);
  AppendLe(h, records, 4);
  h.resize(56, '\0');
  AppendLe(h, Hash64(h, 0), 8);
  return h + body;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string in(reinterpret_cast<const char*>(data), size);
  MemEnv env;
  std::unique_ptr<vesk::platform::File> f;
  for (const char* name : {"/f/VESK.JNL", "/f/X.DAT", "/f/A/Y.DAT"}) {
    Require(env.OpenFile(name, vesk::platform::OpenMode::kCreate, &f).ok(), "mem");
  }
  *env.Contents("/f/VESK.JNL") = JournalDe(in);
  *env.Contents("/f/X.DAT") = std::string(9000, 'x');
  *env.Contents("/f/A/Y.DAT") = std::string(100, 'y');
  bool rolled = false;
  Status s = Journal::Recover(&env, "/f", &rolled);
  if (s.ok()) Require(env.Contents("/f/VESK.JNL")->empty(), "journal left after recovery");
  std::vector<std::string> names;
  Require(env.ListDirectory("/f", &names).ok(), "list");
  for (const std::string& n : names) {
    Require(n == "VESK.JNL" || n == "X.DAT" || n == "A", "recovery created a file");
  }
  for (const char* name : {"/f/X.DAT", "/f/A/Y.DAT"}) {
    Require(env.Contents(name)->size() <= (uint64_t{1} << 32), "a file grew out of range");
  }
  return 0;
}
