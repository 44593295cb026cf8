// Recovery of the rollback logs that versions 1 and 2 of the engine wrote: a folder left by
// a crash of such a version is put back to its last commit (or its transaction kept, when the
// files already hold it all) before the redo log takes over. The format is described in
// docs/redo-log.md, "Rollback logs of earlier versions".
#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <vector>

#include "srv/isam/coding.h"
#include "srv/isam/redo_log.h"
#include "srv/isam/redo_log_internal.h"

namespace vesk::isam::redo_log {

namespace {

constexpr uint32_t kVersion = 2;
constexpr char kFileRecord = 'F', kBlockRecord = 'B', kNewBlockRecord = 'N', kNewSizeRecord = 'E';

// What a redo log file says, once read.
struct FileRec {
  std::string path;
  uint64_t original_size = 0, new_size = 0;
  bool has_new = false;  // an E record gave the size after the commit
};
struct BlockRec {
  uint32_t file = 0;
  uint32_t block_size = 0;
  uint64_t block_no = 0;
  uint32_t new_length = 0;
  uint64_t new_hash = 0;
  bool has_new = false;  // an N record gave the new bytes' checksum
  std::string_view original;
};
struct Parsed {
  bool complete = false;
  std::map<uint32_t, FileRec> files;
  std::vector<BlockRec> blocks;
  std::map<std::pair<uint32_t, uint64_t>, size_t> block_at;  // index in blocks
};

bool ParseFile(std::string_view payload, Parsed* out) {
  if (payload.size() < 16) return false;
  uint32_t id = static_cast<uint32_t>(GetLe(payload.data(), 4));
  FileRec f{std::string(payload.substr(16)), GetLe(payload.data() + 4, 8), 0, false};
  if (GetLe(payload.data() + 12, 4) != f.path.size() || !SafeRelative(f.path)) return false;
  return out->files.emplace(id, std::move(f)).second;
}

bool ParseBlock(std::string_view payload, Parsed* out) {
  if (payload.size() < 16) return false;
  BlockRec b;
  b.file = static_cast<uint32_t>(GetLe(payload.data(), 4));
  b.block_size = static_cast<uint32_t>(GetLe(payload.data() + 4, 4));
  b.block_no = GetLe(payload.data() + 8, 8);
  b.original = payload.substr(16);
  if (b.block_no > (uint64_t{1} << 40) || b.block_size == 0) return false;
  auto f = out->files.find(b.file);
  if (f == out->files.end()) return false;
  // A block past the file's original size keeps no original bytes (rollback cuts it off).
  bool appended = b.block_no * b.block_size >= f->second.original_size;
  if (b.original.size() != (appended ? 0 : b.block_size)) return false;
  if (!out->block_at.emplace(std::make_pair(b.file, b.block_no), out->blocks.size()).second) {
    return false;
  }
  out->blocks.push_back(b);
  return true;
}

// The commit's records: the new bytes' checksum of a block (N), a file's new size (E).
bool ParseNew(char type, std::string_view payload, Parsed* out) {
  uint32_t id = payload.size() >= 4 ? static_cast<uint32_t>(GetLe(payload.data(), 4)) : 0;
  if (type == kNewSizeRecord && payload.size() == 12) {
    auto f = out->files.find(id);
    if (f == out->files.end()) return false;
    f->second.new_size = GetLe(payload.data() + 4, 8);
    f->second.has_new = true;
    return true;
  }
  if (type != kNewBlockRecord || payload.size() != 24) return false;
  auto it = out->block_at.find({id, GetLe(payload.data() + 4, 8)});
  if (it == out->block_at.end()) return false;
  BlockRec& b = out->blocks[it->second];
  b.new_length = static_cast<uint32_t>(GetLe(payload.data() + 12, 4));
  b.new_hash = GetLe(payload.data() + 16, 8);
  b.has_new = b.new_length <= b.block_size;
  return b.has_new;
}

// Version 1 (new size and new bytes' checksum inside F and B): moved to the v2 layout.
bool ParseRecordV1(char type, std::string_view payload, Parsed* out) {
  if (type == kFileRecord && payload.size() >= 24) {
    std::string v2(payload.substr(0, 12));
    v2 += payload.substr(20);
    uint32_t id = static_cast<uint32_t>(GetLe(payload.data(), 4));
    if (!ParseFile(v2, out)) return false;
    out->files[id].new_size = GetLe(payload.data() + 12, 8);
    out->files[id].has_new = true;
    return true;
  }
  if (type != kBlockRecord || payload.size() < 32) return false;
  std::string v2(payload.substr(0, 16));
  v2 += payload.substr(32);
  if (!ParseBlock(v2, out)) return false;
  BlockRec& b = out->blocks.back();
  b.original = payload.substr(32);  // v2 was a copy
  b.new_length = static_cast<uint32_t>(GetLe(payload.data() + 16, 4));
  b.new_hash = GetLe(payload.data() + 24, 8);
  b.has_new = b.new_length <= b.block_size;
  return b.has_new;
}

bool ParseRecord(char type, std::string_view payload, Parsed* out) {
  if (type == kFileRecord) return ParseFile(payload, out);
  if (type == kBlockRecord) return ParseBlock(payload, out);
  return ParseNew(type, payload, out);
}

// Reads the records; complete only when the header and all its records check.
Parsed Parse(std::string_view j) {
  Parsed out;
  if (j.size() < kHeaderSize || std::memcmp(j.data(), kMagic, 8) != 0) return out;
  if (GetLe(j.data() + kHeaderHashAt, 8) != Hash64(j.substr(0, kHeaderHashAt), 0)) return out;
  uint64_t version = GetLe(j.data() + 8, 4);
  if ((version != 1 && version != kVersion) || GetLe(j.data() + 12, 4) != kHeaderSize) return out;
  uint64_t nonce = GetLe(j.data() + 16, 8);
  uint64_t count = GetLe(j.data() + 24, 4);
  size_t at = kHeaderSize;
  for (uint64_t i = 0; i < count; ++i) {
    if (j.size() - at < 16) return out;
    uint64_t len = GetLe(j.data() + at + 4, 4);
    if (len > j.size() - at - 16) return out;
    std::string_view rec = j.substr(at, 8 + len);
    if (GetLe(j.data() + at + 8 + len, 8) != Hash64(rec, nonce)) return out;
    bool ok = version == 1 ? ParseRecordV1(rec[0], rec.substr(8), &out)
                           : ParseRecord(rec[0], rec.substr(8), &out);
    if (!ok) return out;
    at += 16 + len;
  }
  out.complete = true;
  return out;
}

// Whether the file already holds the transaction's new bytes everywhere.
Status HoldsNewBytes(platform::File* f, const FileRec& rec, const std::vector<BlockRec>& blocks,
                     uint32_t id, bool* holds) {
  uint64_t size = 0;
  VESK_RETURN_IF_ERROR(Io(f->Size(&size)));
  *holds = rec.has_new && size == rec.new_size;
  std::string buf;
  for (const BlockRec& b : blocks) {
    if (!*holds) return Status::Ok();
    if (b.file != id) continue;
    if (!b.has_new) {
      *holds = false;
      return Status::Ok();
    }
    buf.assign(b.new_length, '\0');
    size_t got = 0;
    VESK_RETURN_IF_ERROR(Io(f->ReadAt(b.block_no * b.block_size, buf, &got)));
    *holds = got == b.new_length && Hash64(buf, 0) == b.new_hash;
  }
  return Status::Ok();
}

Status RollBackFile(platform::File* f, const FileRec& rec, const std::vector<BlockRec>& blocks,
                    uint32_t id) {
  for (const BlockRec& b : blocks) {
    uint64_t at = b.block_no * b.block_size;
    if (b.file != id || at >= rec.original_size) continue;
    size_t n = static_cast<size_t>(std::min<uint64_t>(b.block_size, rec.original_size - at));
    VESK_RETURN_IF_ERROR(Io(f->WriteAt(at, b.original.substr(0, n))));
  }
  VESK_RETURN_IF_ERROR(Io(f->Truncate(rec.original_size)));
  return Io(f->Sync());
}

// A complete redo log: dropped when every file holds its new bytes, otherwise rolled back.
Status RecoverComplete(Env* env, const std::string& dossier, const std::string& path,
                       const Parsed& p, bool* rolled_back) {
  std::map<uint32_t, std::unique_ptr<platform::File>> files;
  bool all_new = true;
  for (const auto& [id, rec] : p.files) {
    VESK_RETURN_IF_ERROR(SansLien(env, dossier, rec.path));
    std::string fpath = platform::JoinPath(dossier, rec.path);
    platform::IoStatus io = env->OpenFile(fpath, platform::OpenMode::kReadWrite, &files[id]);
    if (!io.ok()) {
      return Status::IOError("reprise du journal " + path + " : " + fpath +
                             " ne peut être ouvert (" + io.message + ")");
    }
    bool holds = false;
    if (all_new) VESK_RETURN_IF_ERROR(HoldsNewBytes(files[id].get(), rec, p.blocks, id, &holds));
    all_new = all_new && holds;
  }
  if (!all_new) {
    for (const auto& [id, rec] : p.files) {
      VESK_RETURN_IF_ERROR(RollBackFile(files[id].get(), rec, p.blocks, id));
    }
    *rolled_back = true;
  }
  return Status::Ok();
}

}  // namespace

// Refuses a recorded path one of whose parts, from the folder down, is a symbolic link: writing
// through it could reach a file outside the data folder.
Status SansLien(Env* env, const std::string& dossier, const std::string& relatif) {
  for (size_t fin = 0; fin != std::string::npos;) {
    fin = relatif.find_first_of("/\\", fin + 1);
    const std::string partie = platform::JoinPath(dossier, relatif.substr(0, fin));
    bool lien = false;
    VESK_RETURN_IF_ERROR(Status::FromIo(env->IsLink(partie, &lien)));
    if (lien) {
      return Status::Corruption("reprise du journal : " + partie +
                                " est un lien symbolique, qui peut mener hors du dossier de "
                                "données ; rien n'est récrit");
    }
  }
  return Status::Ok();
}

Status RecoverRollback(Env* env, const std::string& dossier, const std::string& path,
                       std::string_view bytes, bool* rolled_back) {
  Parsed p = Parse(bytes);
  if (!p.complete) return Status::Ok();
  return RecoverComplete(env, dossier, path, p, rolled_back);
}

}  // namespace vesk::isam::redo_log
