// Fuzzes the recovery of the redo log with redo logs that pass its checksums: the input is read
// as a version and a list of records (type, payload) that are framed, counted and hashed as the
// engine does, so that recovery goes past the checks into the records themselves. A redo
// redo log (version 3) gets its commit records and file records right often enough for its
// transactions to count. Whatever the records say, recovery ends in "ignored", "dropped",
// "rolled back" or "replayed" (or a clear error), never a crash; it leaves no redo log behind
// when it succeeds; it creates no file.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "srv/isam/coding.h"
#include "srv/isam/env.h"
#include "srv/isam/redo_log.h"

namespace {

using namespace vesk::isam;

void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "redo_log_fuzz: %s\n", what);
  std::abort();
}

constexpr uint64_t kNonce = 0x5eed;

// One record as the redo log frames it: type, 3 zero bytes, length, payload, hash seeded with
// the nonce (plus the record's offset in a redo log).
void Record(std::string& j, char type, std::string_view payload, bool redo) {
  std::string r(1, type);
  r.append(3, '\0');
  AppendLe(r, payload.size(), 4);
  r += payload;
  AppendLe(r, Hash64(r, kNonce + (redo ? 64 + j.size() : 0)), 8);
  j += r;
}

// A redo record made sensible from the fuzzer's payload: an even first byte makes a commit
// record count its transaction, and a file record name one of the folder's files; block
// numbers and sizes stay small (a redo log may name any size the checks allow, which a memory
// folder could not hold).
std::string Redo(char type, std::string p, uint32_t count, uint64_t start) {
  const bool fix = !p.empty() && (static_cast<unsigned char>(p[0]) & 1) == 0;
  if (type == 'C' && fix) {
    p.clear();
    AppendLe(p, count, 4);
    AppendLe(p, start, 8);
  } else if (type == 'F' && fix && p.size() >= 2) {
    const std::string name = p[1] & 1 ? "A/Y.DAT" : "X.DAT";
    std::string f;
    AppendLe(f, static_cast<unsigned char>(p[1]) % 3, 4);
    AppendLe(f, name.size(), 4);
    p = f + name;
  } else if (type == 'P' && p.size() >= 16) {
    Store32(p.data() + 4, uint32_t{1} << (static_cast<unsigned char>(p[4]) % 13));
    Store64(p.data() + 8, static_cast<unsigned char>(p[8]) % 64);
  } else if (type == 'S' && p.size() == 12) {
    Store64(p.data() + 4, Load64(p.data() + 4) % (uint64_t{1} << 20));
  }
  return p;
}

// The redo log made of the input: byte 0 the version (1, 2 or 3), then records, each a type
// byte, a length byte (times 64 past 200) and the payload.
std::string RedoLogOf(const std::string& in) {
  const uint32_t version = in.empty() ? 2 : 1 + static_cast<unsigned char>(in[0]) % 3;
  const bool redo = version == 3;
  std::string body;
  uint32_t records = 0, count = 0;
  uint64_t start = 64;
  for (size_t i = 1; i + 2 <= in.size(); ++records) {
    const char type = (redo ? "FPSCX" : "FBNEX")[static_cast<unsigned char>(in[i]) % 5];
    size_t n = static_cast<unsigned char>(in[i + 1]);
    if (n > 200) n = (n - 200) * 64;
    i += 2;
    std::string payload = in.substr(i, n);
    i += payload.size();
    if (redo) payload = Redo(type, payload, count, start);
    Record(body, type, payload, redo);
    ++count;
    if (type == 'C') count = 0, start = 64 + body.size();
  }
  std::string h("VESKJNL\x1A", 8);
  AppendLe(h, version, 4);
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
  *env.Contents("/f/VESK.JNL") = RedoLogOf(in);
  *env.Contents("/f/X.DAT") = std::string(9000, 'x');
  *env.Contents("/f/A/Y.DAT") = std::string(100, 'y');
  bool rolled = false;
  Status s = RedoLog::Recover(&env, "/f", &rolled);
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
