// Fuzzes the storage engine's readers of data files, redo logs and replacement records: any
// bytes given as a data file (.DAT) are either refused at open with an error or read record by
// record without a crash; the same bytes given as the redo log of a folder are either followed
// or ignored, and recovery never fails on them nor leaves the redo log behind; given as the
// replacement record of a rebuild (VESK.REC), they are refused, dropped or followed, never
// leaving the record behind when recovery succeeds.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "srv/isam/data_file.h"
#include "srv/isam/env.h"
#include "srv/isam/redo_log.h"
#include "srv/isam/replace_set.h"

namespace {

using namespace vesk::isam;

void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "isam_datafile_fuzz: %s\n", what);
  std::abort();
}

void AsDataFile(const std::string& bytes) {
  MemEnv env;
  std::unique_ptr<vesk::platform::File> f;
  Require(env.OpenFile("/f/X.DAT", vesk::platform::OpenMode::kCreate, &f).ok(), "mem");
  *env.Contents("/f/X.DAT") = bytes;
  std::unique_ptr<DataFile> df;
  DataFile::Options o;
  o.read_only = true;
  if (!DataFile::Open(&env, "/f/X.DAT", 0, o, &df).ok()) return;
  std::string rec(df->RecordLength(), '\0');
  for (uint32_t no = 1; no <= df->LastRecord() && no <= 4096; ++no) {
    Require(df->Read(no, rec).ok(), "a record inside the file cannot be read");
    bool deleted = false;
    (void)df->IsDeleted(no, &deleted);
  }
  std::vector<uint32_t> deleted;
  if (df->LastRecord() <= 4096) (void)df->DeletedRecords(&deleted);
  bool zero = false;
  (void)df->TailIsZero(&zero);
}

void AsRedoLog(const std::string& bytes) {
  MemEnv env;
  std::unique_ptr<vesk::platform::File> f;
  for (const char* name : {"/f/VESK.JNL", "/f/X.DAT"}) {
    Require(env.OpenFile(name, vesk::platform::OpenMode::kCreate, &f).ok(), "mem");
  }
  *env.Contents("/f/VESK.JNL") = bytes;
  *env.Contents("/f/X.DAT") = std::string(9000, 'x');
  bool rolled = false;
  Status s = RedoLog::Recover(&env, "/f", &rolled);
  if (s.ok()) Require(env.Contents("/f/VESK.JNL")->empty(), "journal left after recovery");
}

void AsReplaceRecord(const std::string& bytes) {
  MemEnv env;
  std::unique_ptr<vesk::platform::File> f;
  for (const char* name : {"/f/VESK.REC", "/f/X.DAT", "/f/X.DAT.ANC", "/f/X.DAT.NEUF"}) {
    Require(env.OpenFile(name, vesk::platform::OpenMode::kCreate, &f).ok(), "mem");
  }
  *env.Contents("/f/VESK.REC") = bytes;
  bool found = false;
  Status s = ReplaceSet::Recover(&env, "/f", "", 0, &found);
  Require(found, "record not seen");
  bool left = false;
  Require(env.FileExists("/f/VESK.REC", &left).ok(), "mem");
  if (s.ok()) Require(!left, "record left after recovery");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string bytes(reinterpret_cast<const char*>(data), size);
  AsDataFile(bytes);
  AsRedoLog(bytes);
  AsReplaceRecord(bytes);
  return 0;
}
