#include "srv/isam/pager.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <new>
#include <unordered_map>
#include <vector>

namespace vesk::isam {

namespace {

constexpr uint64_t kNoBlock = std::numeric_limits<uint64_t>::max();
// Most bytes one coalesced write carries to the file.
constexpr size_t kMaxRunBytes = 1 << 20;
// Blocks found through a plain table (8 bytes of table per block of the file).
constexpr uint64_t kDirectBlocks = uint64_t{1} << 22;

struct Frame {
  uint64_t no = kNoBlock;
  char* data = nullptr;  // a buffer of Impl::chunks
  bool dirty = false;
  bool sealed = false;  // the seal hook ran since the last change
  uint64_t epoch = 0;   // change epoch in which the redo log hook last saw this block
  size_t slot = 0;      // index in Impl::frames
};

bool IsDirty(const Frame& f) { return f.dirty; }

// Where a cached block is. A hit touches only this and the block's bytes.
struct Slot {
  char* data = nullptr;
  Frame* frame = nullptr;
  bool ref = false;  // CLOCK reference bit
};

}  // namespace

struct CachePool::Member {
  Pager::Impl* impl = nullptr;
  uint64_t last_miss = 0;
};

struct Pager::Impl {
  ~Impl();
  Env* env = nullptr;
  std::unique_ptr<platform::File> file;
  std::string path;
  bool writable = false;
  std::string read_only_reason;  // why a file opened for writing was opened for reading only
  uint32_t block_size = 0;
  int shift = 0;
  std::shared_ptr<CachePool> pool;
  CachePool::Member member;
  uint64_t size = 0;       // logical size, flushed or not
  uint64_t disk_size = 0;  // size of the file itself
  bool failed = false;
  std::string failure;

  // Where each cached block's frame is: a table indexed by block number for the first
  // kDirectBlocks blocks, a hash map beyond.
  std::vector<Slot> direct;
  std::unordered_map<uint64_t, Slot> far;
  std::vector<std::unique_ptr<Frame>> frames;
  size_t hand = 0;
  uint64_t generation = 0;                     // frames destroyed
  size_t clean = 0;                            // frames mapped and not dirty
  std::array<Frame*, kRecentBlocks> recent{};  // the frames of the last fetches
  size_t recent_at = 0;

  BeforeChangeHook change_hook;
  BeforeShiftHook shift_hook;
  std::function<Status()> flush_hook;
  SealHook seal_hook;
  CheckHook check_hook;
  uint64_t epoch = 1;
  std::vector<std::span<const char>> run;  // the blocks of a coalesced write
  Counters counters;

  Slot* Lookup(uint64_t no) {
    if (no < kDirectBlocks) {
      return no < direct.size() && direct[no].frame != nullptr ? &direct[no] : nullptr;
    }
    auto it = far.find(no);
    return it == far.end() ? nullptr : &it->second;
  }
  void Map(uint64_t no, Frame* f) {
    Slot slot{f->data, f, false};
    if (no >= kDirectBlocks) {
      far[no] = slot;
      return;
    }
    if (no >= direct.size()) {
      direct.resize(
          std::min<uint64_t>(kDirectBlocks, std::max<uint64_t>(no + 1, 2 * direct.size())));
    }
    direct[no] = slot;
  }
  void Unmap(uint64_t no) {
    if (no >= kDirectBlocks) {
      far.erase(no);
    } else if (no < direct.size()) {
      direct[no] = Slot{};
    }
  }
  void Remember(Frame* f) { recent[recent_at++ % kRecentBlocks] = f; }
  bool Recent(const Frame* f) const {
    return std::find(recent.begin(), recent.end(), f) != recent.end();
  }
  Status CheckWritable() const;
  // The bytes (and frame, when asked) of block no, loaded from the file when load is true
  // (zeros otherwise).
  Status Fetch(uint64_t no, bool load, char** data, Frame** frame = nullptr);
  Frame* NewFrame();
  Frame* Victim();
  bool EvictOne();
  void AddClean(size_t n) {
    clean += n;
    pool->clean_bytes_ += n * block_size;
  }
  void SubClean(size_t n) {
    clean -= n;
    pool->clean_bytes_ -= n * block_size;
  }
  void Destroy(Frame* f);
  void Trim();
  Status Load(Frame* f);
  // report false: the hook was told already (a shift), only the marking is done.
  Status BeforeChange(Frame* f, uint32_t from, uint32_t to, bool report = true);
  void Seal(Frame* f) {
    if (seal_hook && !f->sealed) seal_hook(f->no, f->data);
    f->sealed = true;
  }
  // The one walk over the frames: those for which keep holds, in block order when in_order.
  std::vector<Frame*> Select(const std::function<bool(const Frame&)>& keep, bool in_order) const;
  void DestroyWhere(const std::function<bool(const Frame&)>& gone);
  Status WriteRun(std::vector<Frame*>& dirty, size_t begin, size_t end);
  Status FailWrite(const platform::IoStatus& io);
};

Status Pager::Impl::CheckWritable() const {
  if (!writable && !read_only_reason.empty()) {
    return Status::InvalidArgument(
        "écriture refusée : " + path +
        " ne peut être écrit (dossier en lecture seule : " + read_only_reason + ")");
  }
  if (!writable)
    return Status::InvalidArgument("écriture refusée : fichier ouvert en lecture seule : " + path);
  if (failed) {
    return Status::IOError("écriture refusée : une écriture précédente a échoué : " + path + " (" +
                           failure + ")");
  }
  return Status::Ok();
}

Status Pager::Impl::FailWrite(const platform::IoStatus& io) {
  failed = true;
  failure = io.message;
  return Status::FromIo(io);
}

CachePool::CachePool(size_t budget_bytes) : budget_(budget_bytes) {}
CachePool::~CachePool() = default;

// Block buffers come from chunks of 2 MiB (or one block, when larger). A small cache keeps
// ordinary pages: the short jobs that fill it would otherwise wait while the system gathers
// memory for each large page. Once the pool passes kOrdinaires bytes, its chunks go to large
// pages, those it had included (moved once): blocks read at random over a large cache then
// cost few address-translation misses (measured in docs/engine-speed.md, under Large pages).
// Once the pool has two chunks it is growing: the next chunk is made ahead on another thread,
// and the move into large pages done there, while the blocks of the last chunk fill
// (docs/engine-speed.md, Fresh memory made ahead). A dropped frame's buffer waits in spare for
// the next block of its size, whichever pager of the pool it serves.
char* CachePool::Buffer(uint32_t block_size) {
  auto it = std::find_if(spare_.begin(), spare_.end(),
                         [block_size](const auto& s) { return s.first == block_size; });
  if (it == spare_.end()) it = spare_.insert(spare_.end(), {block_size, {}});
  if (it->second.empty()) {
    const size_t count = std::max<size_t>(1, platform::kAlignementMemoireCache / block_size);
    char* first = NewChunk(count * block_size);
    for (size_t i = count; i-- > 0;) it->second.push_back(first + i * block_size);
  }
  char* buffer = it->second.back();
  it->second.pop_back();
  return buffer;
}

char* CachePool::NewChunk(size_t size) {
  constexpr size_t kOrdinaires = size_t{64} << 20;
  size_t alloue = 0;
  for (const auto& c : chunks_) alloue += c->size();
  chunks_.push_back(avance_.Prends(size, alloue >= kOrdinaires));
  char* first = chunks_.back()->data();
  if (first == nullptr) {
    chunks_.pop_back();
    throw std::bad_alloc();
  }
  // The chunks taken so far go to large pages when the next one is to have them.
  std::vector<platform::MemoireCache*> a_passer;
  if (!grandes_pages_ && alloue + size >= kOrdinaires) {
    for (const auto& c : chunks_) a_passer.push_back(c.get());
    grandes_pages_ = true;
  }
  if (chunks_.size() >= 2 && alloue + 2 * size <= budget_) {
    avance_.Prepare(size, grandes_pages_, std::move(a_passer));
  } else {
    for (platform::MemoireCache* c : a_passer) c->PasseEnGrandesPages();
  }
  return first;
}

void CachePool::Give(char* buffer, uint32_t block_size) {
  for (auto& s : spare_) {
    if (s.first == block_size) s.second.push_back(buffer);
  }
}

// The member whose last miss is the oldest gives a clean block; the next one when it cannot.
bool CachePool::EvictOne() {
  uint64_t after = 0;  // members that missed at or before this were tried
  for (size_t tries = 0; tries < members_.size(); ++tries) {
    Member* coldest = nullptr;
    for (Member* m : members_) {
      if (m->impl->clean > 0 && (tries == 0 || m->last_miss > after) &&
          (coldest == nullptr || m->last_miss < coldest->last_miss)) {
        coldest = m;
      }
    }
    if (coldest == nullptr) return false;
    if (coldest->impl->EvictOne()) return true;
    after = coldest->last_miss;
  }
  return false;
}

Pager::Impl::~Impl() {
  if (!pool) return;
  for (auto& f : frames) pool->Give(f->data, block_size);
  pool->clean_bytes_ -= clean * block_size;
  pool->held_bytes_ -= frames.size() * block_size;
  std::erase(pool->members_, &member);
}

bool Pager::Impl::EvictOne() {
  Frame* f = Victim();
  if (f == nullptr) return false;
  Destroy(f);
  ++counters.evictions;
  return true;
}

Frame* Pager::Impl::NewFrame() {
  auto f = std::make_unique<Frame>();
  f->data = pool->Buffer(block_size);
  pool->held_bytes_ += block_size;
  f->slot = frames.size();
  frames.push_back(std::move(f));
  return frames.back().get();
}

// CLOCK over the clean frames that were not fetched lately; null when none may go.
Frame* Pager::Impl::Victim() {
  size_t n = frames.size();
  for (size_t step = 0; step < 2 * n + 1; ++step) {
    if (hand >= n) hand = 0;
    Frame* f = frames[hand++].get();
    if (f->dirty || Recent(f)) continue;
    Slot* slot = Lookup(f->no);
    if (slot != nullptr && slot->ref) {
      slot->ref = false;
      continue;
    }
    return f;
  }
  return nullptr;
}

void Pager::Impl::Destroy(Frame* f) {
  ++generation;
  std::replace(recent.begin(), recent.end(), f, static_cast<Frame*>(nullptr));
  if (f->no != kNoBlock) {
    Unmap(f->no);
    if (!f->dirty) SubClean(1);
  }
  size_t slot = f->slot;
  if (slot + 1 != frames.size()) {
    std::swap(frames[slot], frames.back());
    frames[slot]->slot = slot;
  }
  pool->Give(f->data, block_size);
  pool->held_bytes_ -= block_size;
  frames.pop_back();
}

// Drops clean blocks until at most capacity remain.
void Pager::Impl::Trim() {
  while (pool->Full(0) && pool->EvictOne()) {
  }
}

Status Pager::Impl::Load(Frame* f) {
  uint64_t offset = f->no << shift;
  size_t got = 0;
  if (offset < disk_size) {
    platform::IoStatus io = file->ReadAt(offset, std::span<char>(f->data, block_size), &got);
    if (!io.ok()) return Status::FromIo(io);
    ++counters.block_reads;
  }
  if (got < block_size) std::memset(f->data + got, 0, block_size - got);
  if (got > 0 && check_hook) return check_hook(f->no, f->data);
  return Status::Ok();
}

Status Pager::Impl::Fetch(uint64_t no, bool load, char** data, Frame** frame) {
  if (Slot* slot = Lookup(no); slot != nullptr) {
    slot->ref = true;
    Remember(slot->frame);
    *data = slot->data;
    if (frame != nullptr) *frame = slot->frame;
    return Status::Ok();
  }
  member.last_miss = ++pool->tick_;
  if (pool->Full(block_size)) pool->EvictOne();  // when none may go, the pool runs over
  Frame* f = NewFrame();
  f->no = no;
  f->dirty = false;
  f->epoch = 0;
  Status st = load ? Load(f) : Status::Ok();
  if (!load) std::memset(f->data, 0, block_size);
  if (!st.ok()) {
    f->no = kNoBlock;
    Destroy(f);
    return st;
  }
  Map(no, f);
  AddClean(1);
  Remember(f);
  *data = f->data;
  if (frame != nullptr) *frame = f;
  return Status::Ok();
}

// Redo log hook, then dirty marking, before the frame's bytes [from, to) change.
Status Pager::Impl::BeforeChange(Frame* f, uint32_t from, uint32_t to, bool report) {
  // A block reported whole in this epoch stays dirty, hence in memory with its epoch, until a
  // flush, and the redo log starts a new epoch at each flush it makes: it is reported once.
  if (report && change_hook && f->epoch != epoch) {
    VESK_RETURN_IF_ERROR(
        change_hook(f->no, from, std::span<const char>(f->data + from, to - from)));
    if (from == 0 && to == block_size) f->epoch = epoch;
  }
  if (!f->dirty) {
    f->dirty = true;
    SubClean(1);
  }
  f->sealed = false;
  return Status::Ok();
}

std::vector<Frame*> Pager::Impl::Select(const std::function<bool(const Frame&)>& keep,
                                        bool in_order) const {
  std::vector<Frame*> chosen;
  for (const auto& f : frames) {
    if (keep(*f)) chosen.push_back(f.get());
  }
  if (in_order) {
    std::sort(chosen.begin(), chosen.end(), [](Frame* a, Frame* b) { return a->no < b->no; });
  }
  return chosen;
}

void Pager::Impl::DestroyWhere(const std::function<bool(const Frame&)>& gone) {
  for (Frame* f : Select(gone, false)) Destroy(f);
}

Status Pager::Open(Env* env, const std::string& path, platform::OpenMode mode, uint32_t block_size,
                   size_t cache_blocks, std::unique_ptr<Pager>* out,
                   std::shared_ptr<CachePool> pool) {
  if (block_size < 512 || block_size > (1u << 24) || (block_size & (block_size - 1)) != 0) {
    return Status::InvalidArgument("taille de bloc " + std::to_string(block_size) +
                                   " refusée (puissance de deux de 512 à 16 Mio) : " + path);
  }
  auto impl = std::make_unique<Impl>();
  impl->env = env;
  impl->path = path;
  impl->writable = mode != platform::OpenMode::kRead;
  impl->block_size = block_size;
  while ((1u << impl->shift) < block_size) ++impl->shift;
  platform::IoStatus io = env->OpenFile(path, mode, &impl->file);
  if (io.code == platform::Code::kAccess && mode == platform::OpenMode::kReadWrite) {
    // A folder the user may not write (its modes, a read-only mount) is still read: the file
    // is opened for reading, and every write is refused saying why.
    if (env->OpenFile(path, platform::OpenMode::kRead, &impl->file).ok()) {
      impl->writable = false;
      impl->read_only_reason = io.message;
      io = platform::IoStatus::Ok();
    }
  }
  VESK_RETURN_IF_ERROR(Status::FromIo(io));
  if (!pool) pool = std::make_shared<CachePool>(std::max<size_t>(cache_blocks, 1) * block_size);
  impl->pool = std::move(pool);
  impl->member.impl = impl.get();
  impl->pool->members_.push_back(&impl->member);
  VESK_RETURN_IF_ERROR(Status::FromIo(impl->file->Size(&impl->disk_size)));
  impl->size = impl->disk_size;
  out->reset(new Pager(std::move(impl)));
  return Status::Ok();
}

Pager::Pager(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Pager::~Pager() = default;

Status Pager::Read(uint64_t offset, std::span<char> out, size_t* read) {
  Impl& m = *impl_;
  uint64_t avail = offset < m.size ? m.size - offset : 0;
  size_t before_end = static_cast<size_t>(std::min<uint64_t>(avail, out.size()));
  if (read != nullptr) *read = before_end;
  size_t done = 0;
  while (done < before_end) {
    uint64_t pos = offset + done;
    char* block = nullptr;
    VESK_RETURN_IF_ERROR(m.Fetch(pos >> m.shift, true, &block));
    size_t in_block = static_cast<size_t>(pos & (m.block_size - 1));
    size_t n = std::min<size_t>(m.block_size - in_block, before_end - done);
    std::memcpy(out.data() + done, block + in_block, n);
    done += n;
  }
  if (before_end < out.size()) std::memset(out.data() + before_end, 0, out.size() - before_end);
  return Status::Ok();
}

Status Pager::Write(uint64_t offset, std::span<const char> data) {
  Impl& m = *impl_;
  VESK_RETURN_IF_ERROR(m.CheckWritable());
  size_t done = 0;
  while (done < data.size()) {
    uint64_t pos = offset + done;
    uint64_t no = pos >> m.shift;
    size_t in_block = static_cast<size_t>(pos & (m.block_size - 1));
    size_t n = std::min<size_t>(m.block_size - in_block, data.size() - done);
    // A whole block past the end of the file needs no read: its old bytes are zeros.
    bool load = !(n == m.block_size && (no << m.shift) >= m.disk_size);
    Frame* f = nullptr;
    char* block = nullptr;
    VESK_RETURN_IF_ERROR(m.Fetch(no, load, &block, &f));
    VESK_RETURN_IF_ERROR(
        m.BeforeChange(f, static_cast<uint32_t>(in_block), static_cast<uint32_t>(in_block + n)));
    std::memcpy(block + in_block, data.data() + done, n);
    done += n;
  }
  m.size = std::max(m.size, offset + data.size());
  return Status::Ok();
}

Status Pager::BlockForRead(uint64_t block_no, const char** data) {
  char* block = nullptr;
  VESK_RETURN_IF_ERROR(impl_->Fetch(block_no, true, &block));
  *data = block;
  return Status::Ok();
}

void Pager::PrefetchLocation(uint64_t offset) const {
  Impl& m = *impl_;
  uint64_t no = offset >> m.shift;
  if (no < m.direct.size()) __builtin_prefetch(&m.direct[no]);
}

uint64_t Pager::Generation() const { return impl_->generation; }

bool Pager::Cached(uint64_t block_no, const char** data) const {
  const Slot* slot = impl_->Lookup(block_no);
  if (slot == nullptr) return false;
  *data = slot->data;
  return true;
}

void Pager::Prefetch(uint64_t offset, size_t size) const {
  Impl& m = *impl_;
  constexpr uint64_t kLine = 64;
  const uint64_t end = offset + size;
  uint64_t at = offset & ~(kLine - 1);
  while (at < end) {
    // The lines of one block at a time, its place looked up once.
    const uint64_t no = at >> m.shift;
    const uint64_t stop = std::min(end, (no + 1) << m.shift);
    const Slot* slot = m.Lookup(no);
    for (; at < stop; at += kLine) {
      if (slot != nullptr) __builtin_prefetch(slot->data + (at & (m.block_size - 1)));
    }
  }
}

Status Pager::BlockForWrite(uint64_t block_no, char** data) {
  return RangeForWrite(block_no, 0, impl_->block_size, data);
}

Status Pager::RangeForWrite(uint64_t block_no, uint32_t from, uint32_t to, char** data) {
  Impl& m = *impl_;
  VESK_RETURN_IF_ERROR(m.CheckWritable());
  if (from >= to || to > m.block_size) {
    return Status::InvalidArgument("zone " + std::to_string(from) + ".." + std::to_string(to) +
                                   " hors du bloc " + std::to_string(block_no) + " de " + m.path);
  }
  Frame* f = nullptr;
  char* block = nullptr;
  VESK_RETURN_IF_ERROR(m.Fetch(block_no, true, &block, &f));
  VESK_RETURN_IF_ERROR(m.BeforeChange(f, from, to));
  m.size = std::max(m.size, (block_no + 1) << m.shift);
  *data = block;
  return Status::Ok();
}

// Writes dirty[begin, end), consecutive blocks, as one write.
Status Pager::Impl::WriteRun(std::vector<Frame*>& dirty, size_t begin, size_t end) {
  uint64_t first = dirty[begin]->no << shift;
  if (first >= size) return Status::Ok();
  uint64_t stop = std::min<uint64_t>(size, (dirty[end - 1]->no + 1) << shift);
  for (size_t i = begin; i < end; ++i) Seal(dirty[i]);
  size_t bytes = static_cast<size_t>(stop - first);
  run.clear();
  for (size_t i = begin; i < end; ++i) {
    size_t at = (i - begin) << shift;
    if (at < bytes) run.emplace_back(dirty[i]->data, std::min<size_t>(block_size, bytes - at));
  }
  platform::IoStatus io = file->WriteAtV(first, run);
  if (!io.ok()) return FailWrite(io);
  counters.block_writes += end - begin;
  disk_size = std::max(disk_size, stop);
  return Status::Ok();
}

Status Pager::Flush() {
  Impl& m = *impl_;
  if (m.failed) return m.CheckWritable();
  if (m.flush_hook) VESK_RETURN_IF_ERROR(m.flush_hook());
  std::vector<Frame*> dirty = m.Select(IsDirty, true);
  if (dirty.empty()) return Status::Ok();
  VESK_RETURN_IF_ERROR(m.CheckWritable());
  size_t max_blocks = std::max<size_t>(1, kMaxRunBytes >> m.shift);
  size_t begin = 0;
  for (size_t i = 1; i <= dirty.size(); ++i) {
    bool breaks =
        i == dirty.size() || dirty[i]->no != dirty[i - 1]->no + 1 || i - begin >= max_blocks;
    if (!breaks) continue;
    VESK_RETURN_IF_ERROR(m.WriteRun(dirty, begin, i));
    for (size_t j = begin; j < i; ++j) {
      dirty[j]->dirty = false;
      m.AddClean(1);
    }
    begin = i;
  }
  // A logical size beyond the last block written is kept.
  if (m.disk_size < m.size) {
    platform::IoStatus io = m.file->Truncate(m.size);
    if (!io.ok()) return m.FailWrite(io);
    m.disk_size = m.size;
  }
  m.Trim();
  return Status::Ok();
}

Status Pager::Sync() {
  VESK_RETURN_IF_ERROR(Flush());
  VESK_RETURN_IF_ERROR(impl_->CheckWritable());
  platform::IoStatus io = impl_->file->Sync();
  if (!io.ok()) return impl_->FailWrite(io);
  return Status::Ok();
}

Status Pager::PrepareFlush(bool seal) {
  Impl& m = *impl_;
  if (m.flush_hook) VESK_RETURN_IF_ERROR(m.flush_hook());
  if (!seal) return Status::Ok();
  for (Frame* f : m.Select(IsDirty, false)) m.Seal(f);
  return Status::Ok();
}

void Pager::ForEachDirty(
    const std::function<void(uint64_t block_no, std::span<const char>)>& visit) {
  Impl& m = *impl_;
  for (Frame* f : m.Select(IsDirty, true)) {
    uint64_t first = f->no << m.shift;
    size_t n =
        first >= m.size ? 0 : static_cast<size_t>(std::min<uint64_t>(m.block_size, m.size - first));
    visit(f->no, std::span<const char>(f->data, n));
  }
}

Status Pager::ShiftForWrite(uint64_t block_no, uint32_t from, uint32_t to, int32_t by,
                            char** data) {
  Impl& m = *impl_;
  VESK_RETURN_IF_ERROR(m.CheckWritable());
  const int64_t lo = std::min<int64_t>(from, int64_t{from} + by);
  const int64_t hi = std::max<int64_t>(to, int64_t{to} + by);
  if (by == 0 || from > to || lo < 0 || hi > m.block_size) {
    return Status::InvalidArgument("déplacement de " + std::to_string(from) + ".." +
                                   std::to_string(to) + " hors du bloc " +
                                   std::to_string(block_no) + " de " + m.path);
  }
  Frame* f = nullptr;
  char* block = nullptr;
  VESK_RETURN_IF_ERROR(m.Fetch(block_no, true, &block, &f));
  const bool told = m.shift_hook && m.change_hook && f->epoch != m.epoch;
  if (told) {
    const uint32_t covered = by > 0 ? to : static_cast<uint32_t>(int64_t{from} + by);
    VESK_RETURN_IF_ERROR(m.shift_hook(
        block_no, from, to, by,
        std::span<const char>(block + covered, static_cast<size_t>(by > 0 ? by : -by))));
  }
  VESK_RETURN_IF_ERROR(
      m.BeforeChange(f, static_cast<uint32_t>(lo), static_cast<uint32_t>(hi), !told));
  m.size = std::max(m.size, (block_no + 1) << m.shift);
  *data = block;
  return Status::Ok();
}

Status Pager::RestoreShift(uint64_t block_no, uint32_t from, uint32_t to, int32_t by,
                           std::span<const char> covered) {
  Impl& m = *impl_;
  Slot* slot = m.Lookup(block_no);
  const int64_t lo = std::min<int64_t>(from, int64_t{from} + by);
  const int64_t hi = std::max<int64_t>(to, int64_t{to} + by);
  if (slot == nullptr || !slot->frame->dirty || from > to || lo < 0 || hi > m.block_size ||
      covered.size() != static_cast<size_t>(by > 0 ? by : -by)) {
    return Status::InvalidArgument("retour arrière impossible : bloc " + std::to_string(block_no) +
                                   " absent du cache de " + m.path);
  }
  char* d = slot->data;
  std::memmove(d + from, d + from + by, to - from);
  std::memcpy(d + (by > 0 ? to : from + by), covered.data(), covered.size());
  slot->frame->sealed = false;
  return Status::Ok();
}

Status Pager::RestoreRange(uint64_t block_no, uint32_t from, std::span<const char> bytes) {
  Impl& m = *impl_;
  Slot* slot = m.Lookup(block_no);
  if (slot == nullptr || !slot->frame->dirty || from + bytes.size() > m.block_size) {
    return Status::InvalidArgument("retour arrière impossible : bloc " + std::to_string(block_no) +
                                   " absent du cache de " + m.path);
  }
  std::memcpy(slot->data + from, bytes.data(), bytes.size());
  slot->frame->sealed = false;
  return Status::Ok();
}

void Pager::RestoreSize(uint64_t size) {
  Impl& m = *impl_;
  if (size >= m.size) return;
  uint64_t first_cut = (size + m.block_size - 1) >> m.shift;
  m.DestroyWhere([&](const Frame& f) { return f.no != kNoBlock && f.no >= first_cut; });
  m.size = size;
}

void Pager::DiscardChanges() {
  Impl& m = *impl_;
  m.DestroyWhere([](const Frame& f) { return f.dirty; });
  m.size = m.disk_size;
}

void Pager::MarkCommitted(Committed* keep) {
  Impl& m = *impl_;
  if (keep != nullptr) {
    keep->disk_size = m.disk_size;
    keep->size = m.size;
    ForEachDirty([&](uint64_t no, std::span<const char> bytes) {
      if (!bytes.empty()) keep->blocks.emplace_back(no, std::string(bytes.data(), bytes.size()));
    });
  }
  for (Frame* f : m.Select(IsDirty, false)) {
    f->dirty = false;
    m.AddClean(1);
  }
  m.disk_size = m.size;
  m.Trim();
}

Status Pager::WriteCommitted(const Committed& c) {
  Impl& m = *impl_;
  VESK_RETURN_IF_ERROR(m.CheckWritable());
  uint64_t end = c.disk_size;
  for (const auto& [no, bytes] : c.blocks) {
    platform::IoStatus io = m.file->WriteAt(no << m.shift, bytes);
    if (!io.ok()) return m.FailWrite(io);
    ++m.counters.block_writes;
    end = std::max<uint64_t>(end, (no << m.shift) + bytes.size());
  }
  // A logical size beyond the last block written is kept, as by Flush.
  if (end < c.size) {
    platform::IoStatus io = m.file->Truncate(c.size);
    if (!io.ok()) return m.FailWrite(io);
  }
  return Status::Ok();
}

uint64_t Pager::DiskSize() const { return impl_->disk_size; }

void Pager::SetBlockHooks(SealHook seal, CheckHook check) {
  impl_->seal_hook = std::move(seal);
  impl_->check_hook = std::move(check);
}

uint64_t Pager::Size() const { return impl_->size; }

void Pager::DropCache() {
  Impl& m = *impl_;
  m.DestroyWhere([](const Frame& f) { return !f.dirty; });
  if (m.frames.empty()) {
    uint64_t size = 0;
    if (m.file->Size(&size).ok()) m.size = m.disk_size = size;
  }
}

bool Pager::Writable() const { return impl_->writable; }
const std::string& Pager::ReadOnlyReason() const { return impl_->read_only_reason; }

Status Pager::Reattach() {
  Impl& m = *impl_;
  m.DestroyWhere([](const Frame& f) { return !f.dirty; });
  if (!m.frames.empty()) {
    return Status::InvalidArgument(m.path + " : des modifications ne sont pas encore écrites");
  }
  std::unique_ptr<platform::File> file;
  VESK_RETURN_IF_ERROR(Status::FromIo(m.env->OpenFile(
      m.path, m.writable ? platform::OpenMode::kReadWrite : platform::OpenMode::kRead, &file)));
  uint64_t size = 0;
  VESK_RETURN_IF_ERROR(Status::FromIo(file->Size(&size)));
  m.file = std::move(file);
  m.size = m.disk_size = size;
  m.failed = false;
  m.failure.clear();
  return Status::Ok();
}

bool Pager::Failed() const { return impl_->failed; }
uint32_t Pager::BlockSize() const { return impl_->block_size; }
const std::string& Pager::Path() const { return impl_->path; }

void Pager::SetBeforeChangeHook(BeforeChangeHook hook) { impl_->change_hook = std::move(hook); }
void Pager::SetBeforeShiftHook(BeforeShiftHook hook) { impl_->shift_hook = std::move(hook); }

void Pager::StartChangeEpoch() { ++impl_->epoch; }

void Pager::SetBeforeFlushHook(std::function<Status()> hook) {
  impl_->flush_hook = std::move(hook);
}

const Pager::Counters& Pager::counters() const { return impl_->counters; }

}  // namespace vesk::isam
