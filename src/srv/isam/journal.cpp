#include "srv/isam/journal.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <unordered_set>

#include "srv/isam/coding.h"

namespace vesk::isam {

namespace {

constexpr char kMagic[8] = {'V', 'E', 'S', 'K', 'J', 'N', 'L', '\x1A'};
constexpr uint32_t kVersion = 2;
constexpr size_t kHeaderSize = 64;
constexpr size_t kHeaderHashAt = 56;
constexpr char kFileRecord = 'F', kBlockRecord = 'B', kNewBlockRecord = 'N', kNewSizeRecord = 'E';
// Records gathered before they are written to the journal file, at most.
constexpr size_t kPendingBytes = size_t{1} << 20;

uint64_t Rotl(uint64_t x, int r) { return (x << r) | (x >> (64 - r)); }

uint64_t Mix(uint64_t x) {
  x ^= x >> 33;
  x *= 0xff51afd7ed558ccdULL;
  x ^= x >> 33;
  x *= 0xc4ceb9fe1a85ec53ULL;
  return x ^ (x >> 33);
}

uint64_t NewNonce() {
  static uint64_t counter = [] {
    std::random_device rd;
    return (uint64_t{rd()} << 32) ^ rd();
  }();
  counter = Mix(counter + 0x9E3779B97F4A7C15ULL + platform::HorlogeNs());
  return counter;
}

// One record: type, payload length, payload (head then tail), checksum seeded with the nonce.
void AppendRecord(std::string& out, char type, std::string_view head, std::span<const char> tail,
                  uint64_t nonce) {
  size_t start = out.size();
  out.push_back(type);
  out.append(3, '\0');
  AppendLe(out, head.size() + tail.size(), 4);
  out += head;
  out.append(tail.data(), tail.size());
  AppendLe(out, Hash64(std::span<const char>(out.data() + start, out.size() - start), nonce), 8);
}

// What a journal file says, once read.
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

Status Io(const platform::IoStatus& io) { return Status::FromIo(io); }

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

}  // namespace

uint64_t Hash64(std::span<const char> bytes, uint64_t seed) {
  constexpr uint64_t kP1 = 0x9E3779B185EBCA87ULL, kP2 = 0xC2B2AE3D27D4EB4FULL;
  uint64_t h = seed ^ (bytes.size() * kP1);
  size_t i = 0;
  for (; i + 8 <= bytes.size(); i += 8) {
    uint64_t w;
    std::memcpy(&w, bytes.data() + i, 8);
    h = Rotl(h ^ (w * kP2), 31) * kP1;
  }
  uint64_t tail = 0;
  for (size_t k = 0; i + k < bytes.size(); ++k) {
    tail |= uint64_t{static_cast<unsigned char>(bytes[i + k])} << (8 * k);
  }
  return Mix(h ^ (tail * kP2) ^ Rotl(h, 17));
}

struct Journal::Entry {
  Watched w;
  uint32_t id = 0;
  bool in_txn = false, in_op = false;
  uint64_t txn_size = 0, op_size = 0;
  std::unordered_set<uint64_t> txn_blocks;
};

struct Journal::OpSaved {
  Entry* e;
  uint64_t no;
  size_t at;  // in op_bytes_
};

Journal::Journal(Env* env, std::string dossier)
    : env_(env), dossier_(std::move(dossier)), path_(platform::JoinPath(dossier_, kJournalName)) {}

Journal::~Journal() = default;

void Journal::Watch(Watched w) {
  auto e = std::make_unique<Entry>();
  e->w = std::move(w);
  e->id = static_cast<uint32_t>(entries_.size());
  Entry* raw = e.get();
  raw->w.pager->SetBeforeChangeHook([this, raw](uint64_t no, std::span<const char> original) {
    return Capture(raw, no, original);
  });
  entries_.push_back(std::move(e));
}

Status Journal::Capture(Entry* e, uint64_t no, std::span<const char> original) {
  if (!e->in_op) {
    e->in_op = true;
    e->op_size = e->w.pager->Size();
    op_entries_.push_back(e);
  }
  if (!e->in_txn) {
    if (txn_entries_.empty()) {
      nonce_ = NewNonce();
      records_ = 0;
      at_ = kHeaderSize;
      pending_.clear();
    }
    e->in_txn = true;
    e->txn_size = e->w.pager->DiskSize();
    txn_entries_.push_back(e);
    std::string head, rel = Relative(e->w.pager->Path());
    AppendLe(head, e->id, 4);
    AppendLe(head, e->txn_size, 8);
    AppendLe(head, rel.size(), 4);
    head += rel;
    AddRecord(kFileRecord, head);
  }
  if (e->txn_blocks.insert(no).second) {
    // A block past the file's size at the start keeps no original bytes: rollback cuts it off.
    bool appended = no * original.size() >= e->txn_size;
    char head[16];
    for (int i = 0; i < 4; ++i) head[i] = static_cast<char>((e->id >> (8 * i)) & 0xFF);
    for (int i = 0; i < 4; ++i)
      head[4 + i] = static_cast<char>((original.size() >> (8 * i)) & 0xFF);
    for (int i = 0; i < 8; ++i) head[8 + i] = static_cast<char>((no >> (8 * i)) & 0xFF);
    AddRecord(kBlockRecord, std::string_view(head, 16),
              appended ? std::span<const char>() : original);
    if (pending_.size() >= kPendingBytes) VESK_RETURN_IF_ERROR(WritePending());
  }
  if (batch_) {
    op_.push_back(OpSaved{e, no, op_bytes_.size()});
    op_bytes_.insert(op_bytes_.end(), original.begin(), original.end());
  }
  return Status::Ok();
}

void Journal::BeginOperation() {
  for (auto& e : entries_) {
    if (e->w.mark) e->w.mark();
  }
}

Status Journal::EndOperation() {
  for (Entry* e : op_entries_) e->w.pager->StartChangeEpoch();
  ForgetOperation();
  return Status::Ok();
}

void Journal::ForgetOperation() {
  for (Entry* e : op_entries_) e->in_op = false;
  op_entries_.clear();
  op_.clear();
  op_bytes_.clear();
}

Status Journal::RollbackOperation() {
  Status first;
  auto keep = [&first](Status s) {
    if (first.ok() && !s.ok()) first = s;
  };
  if (batch_) return RollbackBatchOperation();
  for (auto& e : entries_) {
    if (e->w.undo) e->w.undo();
  }
  for (Entry* e : txn_entries_) {
    keep(e->w.pager->PrepareFlush(false));
    e->w.pager->DiscardChanges();
    if (e->w.reload) keep(e->w.reload());
  }
  ForgetOperation();
  Forget();
  return first;
}

// Inside a batch: the operation's blocks get their bytes back, each file its size and state.
Status Journal::RollbackBatchOperation() {
  Status first;
  auto keep = [&first](Status s) {
    if (first.ok() && !s.ok()) first = s;
  };
  for (auto it = op_.rbegin(); it != op_.rend(); ++it) {
    size_t n = it->e->w.pager->BlockSize();
    keep(it->e->w.pager->RestoreBlock(it->no, std::span<const char>(op_bytes_.data() + it->at, n)));
  }
  for (auto& e : entries_) {
    if (e->w.undo) e->w.undo();
  }
  for (Entry* e : op_entries_) {
    e->w.pager->RestoreSize(e->op_size);
    keep(e->w.pager->PrepareFlush(false));
    if (!e->w.undo && e->w.reload) keep(e->w.reload());
    e->w.pager->StartChangeEpoch();
  }
  ForgetOperation();
  return first;
}

std::string Journal::Relative(const std::string& path) const {
  if (path.size() > dossier_.size() + 1 && path.compare(0, dossier_.size(), dossier_) == 0) {
    return path.substr(dossier_.size() + 1);
  }
  return path;
}

void Journal::AddRecord(char type, std::string_view head, std::span<const char> tail) {
  AppendRecord(pending_, type, head, tail, nonce_);
  ++records_;
}

// The records gathered so far go to the journal file, after those written before (no sync:
// the journal counts only once its header is written, at commit).
Status Journal::WritePending() {
  if (pending_.empty()) return Status::Ok();
  if (!file_) VESK_RETURN_IF_ERROR(Io(env_->OpenFile(path_, platform::OpenMode::kCreate, &file_)));
  platform::IoStatus io = file_->WriteAt(at_, pending_);
  if (!io.ok()) {
    file_.reset();  // a failed journal handle is not written through again
    return Io(io);
  }
  at_ += pending_.size();
  pending_.clear();
  return Status::Ok();
}

// Completes the journal: the new bytes' checksum of every block and each file's new size, then
// the header that counts every record, then (sync) the sync.
Status Journal::WriteJournal(bool sync) {
  for (Entry* e : txn_entries_) {
    std::unordered_set<uint64_t> unseen = e->txn_blocks;
    auto add = [&](uint64_t no, std::span<const char> bytes) {
      std::string head;
      AppendLe(head, e->id, 4);
      AppendLe(head, no, 8);
      AppendLe(head, bytes.size(), 4);
      AppendLe(head, Hash64(bytes, 0), 8);
      AddRecord(kNewBlockRecord, head);
      unseen.erase(no);
    };
    e->w.pager->ForEachDirty(add);
    for (uint64_t no : unseen) add(no, {});  // cut off since: nothing there after the commit
    std::string head;
    AppendLe(head, e->id, 4);
    AppendLe(head, e->w.pager->Size(), 8);
    AddRecord(kNewSizeRecord, head);
  }
  VESK_RETURN_IF_ERROR(WritePending());
  std::string h(kMagic, 8);
  AppendLe(h, kVersion, 4);
  AppendLe(h, kHeaderSize, 4);
  AppendLe(h, nonce_, 8);
  AppendLe(h, records_, 4);
  h.resize(kHeaderHashAt, '\0');
  AppendLe(h, Hash64(h, 0), 8);
  platform::IoStatus io = file_->WriteAt(0, h);
  if (io.ok() && sync) {
    io = file_->Sync();
    ++syncs_;
  }
  if (!io.ok()) file_.reset();
  return Io(io);
}

Status Journal::Invalidate() {
  // No sync: a journal left complete after this point holds the new bytes' checksums (I5).
  platform::IoStatus io = file_->Truncate(0);
  if (!io.ok()) file_.reset();
  return Io(io);
}

Status Journal::Commit(bool sync, const std::function<Status()>& before_files) {
  if (txn_entries_.empty()) {
    Forget();
    return Status::Ok();
  }
  VESK_RETURN_IF_ERROR(PrepareFiles());
  VESK_RETURN_IF_ERROR(WriteJournal(sync));
  if (before_files) VESK_RETURN_IF_ERROR(before_files());
  for (Entry* e : txn_entries_) {
    VESK_RETURN_IF_ERROR(sync ? e->w.pager->Sync() : e->w.pager->Flush());
    if (sync) ++syncs_;
  }
  Status s = Invalidate();
  Forget();
  return s;
}

// Completes every file's lazy bytes (headers) and seals the changed blocks; this may change
// more blocks, and more files join the transaction.
Status Journal::PrepareFiles() {
  for (auto& e : entries_) {
    if (e->w.prepare) VESK_RETURN_IF_ERROR(e->w.prepare());
  }
  for (size_t i = 0; i < txn_entries_.size(); ++i) {
    VESK_RETURN_IF_ERROR(txn_entries_[i]->w.pager->PrepareFlush(true));
  }
  return Status::Ok();
}

void Journal::Abandon() {
  for (Entry* e : txn_entries_) {
    Status ignored = e->w.pager->PrepareFlush(false);
    (void)ignored;
    e->w.pager->DiscardChanges();
  }
  Forget();
}

void Journal::Forget() {
  for (Entry* e : op_entries_) e->in_op = false;
  op_entries_.clear();
  op_.clear();
  op_bytes_.clear();
  for (Entry* e : txn_entries_) {
    e->w.pager->StartChangeEpoch();
    e->in_txn = false;
    e->txn_blocks.clear();
  }
  txn_entries_.clear();
  records_ = 0;
  pending_.clear();
}

bool SafeRelative(std::string_view p) {
  if (p.empty() || p.front() == '/' || p.front() == '\\' || p.find("..") != p.npos) return false;
  return p.find(':') == p.npos;
}

namespace {

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

}  // namespace

namespace {

// A complete journal: dropped when every file holds its new bytes, otherwise rolled back.
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

Status Journal::Recover(Env* env, const std::string& dossier, bool* rolled_back) {
  *rolled_back = false;
  std::string path = platform::JoinPath(dossier, kJournalName);
  bool exists = false;
  VESK_RETURN_IF_ERROR(Io(env->FileExists(path, &exists)));
  if (!exists) return Status::Ok();
  std::unique_ptr<platform::File> j;
  VESK_RETURN_IF_ERROR(Io(env->OpenFile(path, platform::OpenMode::kReadWrite, &j)));
  uint64_t size = 0;
  VESK_RETURN_IF_ERROR(Io(j->Size(&size)));
  if (size == 0) return Status::Ok();
  std::string bytes(static_cast<size_t>(size), '\0');
  size_t got = 0;
  VESK_RETURN_IF_ERROR(Io(j->ReadAt(0, bytes, &got)));
  bytes.resize(got);
  Parsed p = Parse(bytes);
  if (p.complete) VESK_RETURN_IF_ERROR(RecoverComplete(env, dossier, path, p, rolled_back));
  // Complete and dealt with, or incomplete (never followed by a file write): dropped for good.
  VESK_RETURN_IF_ERROR(Io(j->Truncate(0)));
  return Io(j->Sync());
}

}  // namespace vesk::isam
