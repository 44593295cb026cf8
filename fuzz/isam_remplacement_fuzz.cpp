// Fuzzes the recovery of a rebuild's replacement record (VESK.REC) with records that check: the
// input gives the record's state and targets, and its checksum is made with the folder's key,
// so that the fuzzer reaches what recovery does with them (renames, removals) instead of
// stopping at the checksum. Whatever the record names, recovery never touches a file outside
// the folder, never fails on it without saying why, and leaves no record behind when it
// succeeds. The same bytes written raw (not keyed) never rename or remove anything.
//
// The input: 1 byte the state ('W', 'D' or another), then targets, each: 1 byte whether it
// existed, 1 byte the length of its path, the path.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "srv/isam/coding.h"
#include "srv/isam/env.h"
#include "srv/isam/redo_log.h"
#include "srv/isam/replace_set.h"

namespace {

using namespace vesk::isam;

constexpr uint64_t kCle = 0x0123456789ABCDEFull;

void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "isam_remplacement_fuzz: %s\n", what);
  std::abort();
}

// The record of the input, in the documented layout, its checksum keyed with cle.
std::string Record(const uint8_t* data, size_t size, uint64_t cle) {
  std::string targets;
  uint32_t count = 0;
  for (size_t at = 1; at + 2 <= size; ++count) {
    const size_t len = data[at + 1];
    targets.push_back(static_cast<char>(data[at] & 1));
    AppendLe(targets, len, 2);
    at += 2;
    for (size_t i = 0; i < len; ++i)
      targets.push_back(at < size ? static_cast<char>(data[at++]) : 'x');
  }
  std::string b("VESKREC\x1A\x01\x00", 10);
  b.push_back(size > 0 ? static_cast<char>(data[0]) : 'W');
  b.push_back('\0');
  AppendLe(b, count, 4);
  b += targets;
  std::string hashed = b;
  hashed[10] = '\0';
  AppendLe(b, Hash64(hashed, cle), 8);
  return b;
}

const char* const kFolder[] = {"/f/A.DAT",    "/f/A.DAT.ANC",     "/f/A.DAT.NEUF",
                               "/f/01/B.DAT", "/f/01/B.DAT.NEUF", "/f/VESK.LCK"};
const char* const kOutside[] = {"/x/OUT.DAT", "/x/OUT.DAT.ANC", "/f2/C.DAT", "/C.DAT"};

void Put(MemEnv& env, const std::string& path, const std::string& bytes) {
  std::unique_ptr<vesk::platform::File> f;
  Require(env.OpenFile(path, vesk::platform::OpenMode::kCreate, &f).ok(), "mem");
  *env.Contents(path) = bytes;
}

// Recovers the folder holding record; checks what it may and may not do. keyed: the record
// checks with the key recovery is given.
void Recover(const std::string& record, bool keyed) {
  MemEnv env;
  for (const char* p : kFolder) Put(env, p, p);
  for (const char* p : kOutside) Put(env, p, p);
  Put(env, "/f/VESK.REC", record);
  bool found = false;
  const Status s = ReplaceSet::Recover(&env, "/f", "01", kCle, &found);
  Require(found, "record not seen");
  for (const char* p : kOutside) {
    const std::string* bytes = env.Contents(p);
    Require(bytes != nullptr && *bytes == p, "a file outside the folder was touched");
  }
  std::vector<std::string> names;
  Require(env.ListDirectory("/x", &names).ok() && names.size() == 2, "a file created outside");
  bool left = false;
  Require(env.FileExists("/f/VESK.REC", &left).ok(), "mem");
  if (s.ok()) Require(!left, "record left after recovery");
  if (!s.ok()) Require(!s.message().empty(), "a failure without a message");
  if (keyed) return;
  // Not written by the folder's rebuild: nothing renamed or removed but the record itself.
  for (const char* p : kFolder) {
    const std::string* bytes = env.Contents(p);
    Require(bytes != nullptr && *bytes == p, "a record without the key changed a file");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Recover(Record(data, size, kCle), true);
  Recover(Record(data, size, 0), false);
  return 0;
}
