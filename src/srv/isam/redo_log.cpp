#include "srv/isam/redo_log.h"

#include <algorithm>
#include <cstring>
#include <random>

#include "srv/isam/coding.h"
#include "srv/isam/redo_log_internal.h"

namespace vesk::isam {

using redo_log::Io;

namespace {

// Records gathered before they are written to the redo log file, at most.
constexpr size_t kPendingBytes = size_t{1} << 20;
// The redo log file grows by whole steps of zeros, which later commits overwrite: the sync of a
// commit that stays inside the file's size need not record a new size.
constexpr uint64_t kGrowth = uint64_t{1} << 20;

uint64_t Rotl(uint64_t x, int r) { return (x << r) | (x >> (64 - r)); }

}  // namespace

namespace redo_log {

uint64_t NewNonce() {
  static uint64_t counter = [] {
    std::random_device rd;
    return (uint64_t{rd()} << 32) ^ rd();
  }();
  counter = Mix64(counter + 0x9E3779B97F4A7C15ULL + platform::HorlogeNs());
  return counter;
}

void AppendRecord(std::string& out, char type, std::string_view head, std::span<const char> tail,
                  uint64_t seed) {
  size_t start = out.size();
  out.push_back(type);
  out.append(3, '\0');
  AppendLe(out, head.size() + tail.size(), 4);
  out += head;
  out.append(tail.data(), tail.size());
  AppendLe(out, Hash64(std::span<const char>(out.data() + start, out.size() - start), seed), 8);
}

std::string Header(uint32_t version, uint64_t nonce) {
  std::string h(kMagic, 8);
  AppendLe(h, version, 4);
  AppendLe(h, kHeaderSize, 4);
  AppendLe(h, nonce, 8);
  h.resize(kHeaderHashAt, '\0');
  AppendLe(h, Hash64(h, 0), 8);
  return h;
}

bool ReadHeader(std::string_view h, uint32_t* version, uint64_t* nonce) {
  if (h.size() < kHeaderSize || std::memcmp(h.data(), kMagic, 8) != 0) return false;
  if (GetLe(h.data() + kHeaderHashAt, 8) != Hash64(h.substr(0, kHeaderHashAt), 0)) return false;
  if (GetLe(h.data() + 12, 4) != kHeaderSize) return false;
  *version = static_cast<uint32_t>(GetLe(h.data() + 8, 4));
  *nonce = GetLe(h.data() + 16, 8);
  return true;
}

}  // namespace redo_log

uint64_t Hash64(std::span<const char> head, std::span<const char> tail, uint64_t seed) {
  constexpr uint64_t kP1 = 0x9E3779B185EBCA87ULL, kP2 = 0xC2B2AE3D27D4EB4FULL;
  if (head.size() % 8 != 0) {  // the steps would straddle the two: hash them joined
    std::string joined(head.data(), head.size());
    joined.append(tail.data(), tail.size());
    return Hash64({}, joined, seed);
  }
  uint64_t h = seed ^ ((head.size() + tail.size()) * kP1);
  for (size_t i = 0; i + 8 <= head.size(); i += 8) {
    h = Rotl(h ^ (Load64(head.data() + i) * kP2), 31) * kP1;
  }
  size_t i = 0;
  for (; i + 8 <= tail.size(); i += 8) {
    h = Rotl(h ^ (Load64(tail.data() + i) * kP2), 31) * kP1;
  }
  const uint64_t last = GetLe(tail.data() + i, static_cast<int>(tail.size() - i));
  return Mix64(h ^ (last * kP2) ^ Rotl(h, 17));
}

uint64_t Hash64(std::span<const char> bytes, uint64_t seed) { return Hash64({}, bytes, seed); }

struct RedoLog::Entry {
  Watched w;
  bool in_txn = false, in_op = false;
  uint64_t op_size = 0;
};

struct RedoLog::OpSaved {
  Entry* e;
  uint64_t no;
  uint32_t from;  // in the block
  uint32_t size;
  size_t at;       // in op_bytes_
  uint32_t to;     // a move: the bytes [from, to) moved by `by`, the bytes kept those it covered
  int32_t by = 0;  // 0: the bytes kept are the original ones at from
};

RedoLog::RedoLog(Env* env, std::string dossier)
    : env_(env), dossier_(std::move(dossier)), path_(platform::JoinPath(dossier_, kRedoLogName)) {}

RedoLog::~RedoLog() = default;

void RedoLog::Watch(Watched w) {
  auto e = std::make_unique<Entry>();
  e->w = std::move(w);
  Entry* raw = e.get();
  raw->w.pager->SetBeforeChangeHook(
      [this, raw](uint64_t no, uint32_t from, std::span<const char> original) {
        return Capture(raw, no, from, original);
      });
  raw->w.pager->SetBeforeShiftHook([this, raw](uint64_t no, uint32_t from, uint32_t to, int32_t by,
                                               std::span<const char> covered) {
    return CaptureShift(raw, no, from, to, by, covered);
  });
  entries_.push_back(std::move(e));
}

void RedoLog::Join(Entry* e) {
  if (!e->in_op) {
    e->in_op = true;
    e->op_size = e->w.pager->Size();
    op_entries_.push_back(e);
  }
  if (!e->in_txn) {
    e->in_txn = true;
    txn_entries_.push_back(e);
  }
}

// Before bytes of a block change in the operation: the file joins the operation and the
// transaction; inside a batch those bytes are kept to undo the operation alone (a range saved
// twice is put back last from its first, original, bytes).
Status RedoLog::Capture(Entry* e, uint64_t no, uint32_t from, std::span<const char> original) {
  Join(e);
  if (batch_) {
    op_.push_back(
        OpSaved{e, no, from, static_cast<uint32_t>(original.size()), op_bytes_.size(), 0, 0});
    op_bytes_.insert(op_bytes_.end(), original.begin(), original.end());
  }
  return Status::Ok();
}

// A move inside a block (a leaf's entries): only the bytes it covers are kept, the moved ones
// are moved back at the undo.
Status RedoLog::CaptureShift(Entry* e, uint64_t no, uint32_t from, uint32_t to, int32_t by,
                             std::span<const char> covered) {
  Join(e);
  if (batch_) {
    op_.push_back(
        OpSaved{e, no, from, static_cast<uint32_t>(covered.size()), op_bytes_.size(), to, by});
    op_bytes_.insert(op_bytes_.end(), covered.begin(), covered.end());
  }
  return Status::Ok();
}

void RedoLog::BeginOperation() {
  for (auto& e : entries_) {
    if (e->w.mark) e->w.mark();
  }
}

Status RedoLog::EndOperation() {
  for (Entry* e : op_entries_) e->w.pager->StartChangeEpoch();
  ForgetOperation();
  return Status::Ok();
}

void RedoLog::ForgetOperation() {
  for (Entry* e : op_entries_) e->in_op = false;
  op_entries_.clear();
  op_.clear();
  op_bytes_.clear();
}

Status RedoLog::RollbackOperation() {
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
Status RedoLog::RollbackBatchOperation() {
  Status first;
  auto keep = [&first](Status s) {
    if (first.ok() && !s.ok()) first = s;
  };
  for (auto it = op_.rbegin(); it != op_.rend(); ++it) {
    const std::span<const char> kept(op_bytes_.data() + it->at, it->size);
    Pager* p = it->e->w.pager;
    keep(it->by == 0 ? p->RestoreRange(it->no, it->from, kept)
                     : p->RestoreShift(it->no, it->from, it->to, it->by, kept));
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

std::string RedoLog::Relative(const std::string& path) const {
  if (InsideFolder(dossier_, path)) {
    return path.substr(dossier_.size() + 1);
  }
  return path;
}

// The redo log file opened and its end taken from fin when the redo log's header still carries
// fin's nonce (another user may have appended or emptied it since our last commit); otherwise
// the redo log starts again at 0 under a new header and nonce, over whatever bytes it held
// (records of another nonce never count).
Status RedoLog::OpenLog(Fin fin) {
  ClearGathered();
  records_ = 0;
  const bool ours = file_ && fin.end == at_ && fin.nonce == nonce_ && at_ >= redo_log::kHeaderSize;
  if (!ours) {
    VESK_RETURN_IF_ERROR(OpenFile());
    uint64_t size = 0;
    std::string h(redo_log::kHeaderSize, '\0');
    size_t got = 0;
    platform::IoStatus io = file_->Size(&size);
    size_ = size;
    if (io.ok() && fin.end >= redo_log::kHeaderSize && fin.end <= size)
      io = file_->ReadAt(0, h, &got);
    if (!io.ok()) {
      file_.reset();
      return Io(io);
    }
    uint32_t version = 0;
    uint64_t nonce = 0;
    if (got == h.size() && redo_log::ReadHeader(h, &version, &nonce) &&
        version == redo_log::kRedoVersion && nonce == fin.nonce) {
      at_ = fin.end;
      nonce_ = nonce;
      named_all_ = false;  // another user's transactions come before ours
    } else {
      at_ = 0;
      nonce_ = redo_log::NewNonce();
      pending_ = redo_log::Header(redo_log::kRedoVersion, nonce_);
      named_.clear();
      named_all_ = true;
    }
  }
  base_ = at_;
  txn_start_ = at_ + Gathered();
  return Status::Ok();
}

void RedoLog::AddRecord(char type, std::string_view head, std::span<const char> tail) {
  redo_log::AppendRecord(pending_, type, head, tail, nonce_ + at_ + Gathered());
  ++records_;
}

// The record's framing and checksum go to pending_, the block's bytes are named between them.
void RedoLog::AddBlockRecord(std::string_view head, std::span<const char> block) {
  const uint64_t seed = nonce_ + at_ + Gathered();
  const size_t start = pending_.size();
  pending_.push_back(redo_log::kRedoPage);
  pending_.append(3, '\0');
  AppendLe(pending_, head.size() + block.size(), 4);
  pending_ += head;
  const std::span<const char> framed(pending_.data() + start, pending_.size() - start);
  const uint64_t hash = Hash64(framed, block, seed);
  pieces_.push_back(Piece{nullptr, pieced_, pending_.size() - pieced_});
  pieces_.push_back(Piece{block.data(), 0, block.size()});
  pieced_ = pending_.size();
  outside_ += block.size();
  AppendLe(pending_, hash, 8);
  ++records_;
}

void RedoLog::ClearGathered() {
  pending_.clear();
  pieces_.clear();
  pieced_ = 0;
  outside_ = 0;
}

// The records gathered so far go to the redo log file, after those written before, in one
// write; past the file's end, zeros follow them up to the next step (a zero record ends any
// reading).
Status RedoLog::WritePending() {
  const uint64_t records = Gathered();
  if (records == 0) return Status::Ok();
  const uint64_t end = at_ + records;
  if (end > size_) pending_.append((end + kGrowth - 1) / kGrowth * kGrowth - end, '\0');
  const uint64_t written = pending_.size() + outside_;
  spans_.clear();
  for (const Piece& p : pieces_) {
    spans_.emplace_back(p.data != nullptr ? p.data : pending_.data() + p.at, p.size);
  }
  if (pieced_ < pending_.size())
    spans_.emplace_back(pending_.data() + pieced_, pending_.size() - pieced_);
  VESK_RETURN_IF_ERROR(Io(file_->WriteAtV(at_, spans_)));
  size_ = std::max(size_, at_ + written);
  at_ = end;
  ClearGathered();
  return Status::Ok();
}

// The transaction's records: for each file its path, the new bytes of each changed block and
// its size; then the commit record. A failure cuts the transaction off.
Status RedoLog::AppendTransaction(Fin fin) {
  VESK_RETURN_IF_ERROR(OpenLog(fin));
  uint32_t id = 0;
  for (Entry* e : txn_entries_) {
    Pager* pager = e->w.pager;
    const std::string rel = Relative(pager->Path());
    named_.insert(rel);
    std::string head;
    AppendLe(head, id, 4);
    AppendLe(head, rel.size(), 4);
    head += rel;
    AddRecord(redo_log::kRedoFile, head);
    Status s;
    pager->ForEachDirty([&](uint64_t no, std::span<const char> bytes) {
      if (!s.ok() || bytes.empty()) return;
      char h[16];
      Store32(h, id);
      Store32(h + 4, pager->BlockSize());
      Store64(h + 8, no);
      AddBlockRecord(std::string_view(h, 16), bytes);
      if (Gathered() >= kPendingBytes) s = WritePending();
    });
    if (!s.ok()) return CutOff(s);
    head.clear();
    AppendLe(head, id++, 4);
    AppendLe(head, pager->Size(), 8);
    AddRecord(redo_log::kRedoSize, head);
  }
  std::string head;
  AppendLe(head, records_, 4);
  AppendLe(head, txn_start_, 8);
  AddRecord(redo_log::kRedoCommit, head);
  Status s = WritePending();
  return s.ok() ? s : CutOff(s);
}

// A transaction that failed before it counted is cut off the redo log: its first record is
// zeroed, so that reading stops there, and the next transaction begins there. When even that
// fails the handle is dropped: the folder's recovery then decides (the transaction counts if
// its commit record is readable).
Status RedoLog::CutOff(const Status& failure) {
  ClearGathered();
  static constexpr char kZeros[redo_log::kRecordOverhead] = {};
  platform::IoStatus io = file_->WriteAt(base_, kZeros);
  at_ = base_;
  if (!io.ok()) file_.reset();
  return failure;
}

Status RedoLog::Append(Fin fin, const std::function<Status()>& before_redo_log) {
  VESK_RETURN_IF_ERROR(PrepareFiles());
  if (before_redo_log) VESK_RETURN_IF_ERROR(before_redo_log());
  return AppendTransaction(fin);
}

Status RedoLog::SyncAppended() {
  Status s = SyncLog();
  return s.ok() ? s : CutOff(s);
}

Status RedoLog::WriteFiles() {
  for (Entry* e : txn_entries_) VESK_RETURN_IF_ERROR(e->w.pager->Flush());
  Forget();
  return Status::Ok();
}

void RedoLog::LeavePending(bool keep) {
  kept_.clear();
  for (Entry* e : txn_entries_) {
    Pager::Committed* c = nullptr;
    if (keep) c = &kept_.emplace_back(e->w.pager, Pager::Committed{}).second;
    e->w.pager->MarkCommitted(c);
  }
  Forget();
}

Status RedoLog::WriteKept() {
  std::vector<std::pair<Pager*, Pager::Committed>> kept = std::move(kept_);
  kept_.clear();
  for (const auto& [pager, c] : kept) VESK_RETURN_IF_ERROR(pager->WriteCommitted(c));
  return Status::Ok();
}

Status RedoLog::OpenFile() {
  if (file_) return Status::Ok();
  return Io(env_->OpenFile(path_, platform::OpenMode::kCreate, &file_));
}

Status RedoLog::SyncLog() {
  VESK_RETURN_IF_ERROR(sync_failed_);
  VESK_RETURN_IF_ERROR(OpenFile());
  Status s = Io(file_->Sync());
  ++syncs_;
  if (!s.ok()) {
    sync_failed_ =
        Status::IOError("le journal " + path_ +
                        " n'a pu être synchronisé, le dossier doit être rouvert : " + s.message());
    return sync_failed_;
  }
  return s;
}

// Completes every file's lazy bytes (headers) and seals the changed blocks; this may change
// more blocks, and more files join the transaction.
Status RedoLog::PrepareFiles() {
  for (auto& e : entries_) {
    if (e->w.prepare) VESK_RETURN_IF_ERROR(e->w.prepare());
  }
  for (size_t i = 0; i < txn_entries_.size(); ++i) {
    VESK_RETURN_IF_ERROR(txn_entries_[i]->w.pager->PrepareFlush(true));
  }
  return Status::Ok();
}

Status RedoLog::TransactionPaths(std::vector<std::string>* paths) {
  paths->clear();
  if (txn_entries_.empty()) return Status::Ok();
  VESK_RETURN_IF_ERROR(PrepareFiles());
  for (Entry* e : txn_entries_) paths->push_back(e->w.pager->Path());
  return Status::Ok();
}

Status RedoLog::WriteAside(const std::function<std::string(const std::string& path)>& aside) {
  VESK_RETURN_IF_ERROR(PrepareFiles());
  std::string buffer;
  for (Entry* e : txn_entries_) {
    Pager* pager = e->w.pager;
    std::unique_ptr<platform::File> in, out;
    VESK_RETURN_IF_ERROR(Io(env_->OpenFile(pager->Path(), platform::OpenMode::kRead, &in)));
    VESK_RETURN_IF_ERROR(
        Io(env_->OpenFile(aside(pager->Path()), platform::OpenMode::kCreateAlways, &out)));
    const uint64_t size = std::min(pager->DiskSize(), pager->Size());
    for (uint64_t at = 0; at < size; at += kPendingBytes) {
      buffer.resize(static_cast<size_t>(std::min<uint64_t>(kPendingBytes, size - at)));
      size_t got = 0;
      VESK_RETURN_IF_ERROR(Io(in->ReadAt(at, buffer, &got)));
      if (got != buffer.size()) return Status::IOError(pager->Path() + " : lecture courte");
      VESK_RETURN_IF_ERROR(Io(out->WriteAt(at, buffer)));
    }
    Status s;
    pager->ForEachDirty([&](uint64_t no, std::span<const char> bytes) {
      if (s.ok() && !bytes.empty()) s = Io(out->WriteAt(no * pager->BlockSize(), bytes));
    });
    VESK_RETURN_IF_ERROR(s);
    VESK_RETURN_IF_ERROR(Io(out->Truncate(pager->Size())));
    VESK_RETURN_IF_ERROR(Io(out->Sync()));
  }
  return Status::Ok();
}

void RedoLog::Abandon() {
  for (Entry* e : txn_entries_) {
    Status ignored = e->w.pager->PrepareFlush(false);
    (void)ignored;
    e->w.pager->DiscardChanges();
  }
  Forget();
}

void RedoLog::Forget() {
  for (Entry* e : op_entries_) e->in_op = false;
  op_entries_.clear();
  op_.clear();
  op_bytes_.clear();
  for (Entry* e : txn_entries_) {
    e->w.pager->StartChangeEpoch();
    e->in_txn = false;
  }
  txn_entries_.clear();
  records_ = 0;
  ClearGathered();
}

bool InsideFolder(std::string_view dossier, std::string_view path) {
  return path.size() > dossier.size() + 1 && path.substr(0, dossier.size()) == dossier &&
         (path[dossier.size()] == '/' || path[dossier.size()] == '\\');
}

bool SafeRelative(std::string_view p) {
  if (p.empty() || p.front() == '/' || p.front() == '\\' || p.find("..") != p.npos) return false;
  return p.find(':') == p.npos;
}

}  // namespace vesk::isam
