// DataFile: one data file (.DAT) of fixed-length records behind a 128-byte header, over a
// Pager. Record n (from 1) lies at 128 + (n - 1) * length. New records go after the last one in
// use; a deleted record begins with "*SUP*" and keeps its other bytes; its number is not reused.
// Thread rules: one thread at a time.
#ifndef VESK_SRV_ISAM_DATA_FILE_H_
#define VESK_SRV_ISAM_DATA_FILE_H_

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "srv/isam/env.h"
#include "srv/isam/pager.h"
#include "srv/isam/status.h"

namespace vesk::isam {

inline constexpr uint32_t kDataHeaderSize = 128;
inline constexpr uint32_t kMinRecordLength = 5;
inline constexpr uint32_t kMaxRecordLength = 32767;
// Version 2 (what new files get) keeps, before each record, a state byte that says whether
// the record is live or deleted, so that a record holds any bytes; version 1 (still read and
// written) marks a deleted record by "*SUP*" over its first bytes.
inline constexpr uint16_t kDataFormatVersion = 2;
inline constexpr uint16_t kDataFormatVersion1 = 1;
inline constexpr char kSlotLive = 1, kSlotDeleted = 2;  // state bytes of version 2
inline constexpr std::string_view kDataMagic = "VESKDAT\x1A";
inline constexpr std::string_view kDeletedMark = "*SUP*";
inline constexpr size_t kLabelLength = 80;
// The most bytes a data file may hold after its last record (all 0): growth ahead by an earlier
// engine. The engine itself writes files to their exact end.
inline constexpr uint64_t kMaxTail = uint64_t{1} << 20;

// The values of a data file's header.
struct DataHeader {
  uint16_t version = kDataFormatVersion;
  uint32_t record_length = 0;
  uint32_t last_record = 0;  // records in use, live or deleted: 1 .. last_record
  uint32_t deleted = 0;      // how many of them are deleted
  uint64_t change_counter = 0;
  uint8_t dirty = 0;
  std::string label;  // Windows-1252 bytes, trailing spaces removed
};

// The header bytes of h (checksum included) into out (kDataHeaderSize bytes); and back, with
// Corruption naming path when the magic, the version, the size or the checksum is wrong.
void EncodeDataHeader(const DataHeader& h, char* out);
// The checksum of a header's first 124 bytes, as stored at offset 124.
uint32_t DataHeaderChecksum(const char* in);
Status DecodeDataHeader(const char* in, const std::string& path, DataHeader* h);

// Record slots, for the tools that read or write a data file's bytes directly (the rebuild):
// slot n (from 1) lies at SlotOffset(h, n) and takes SlotLength(h) bytes, its record's bytes
// from SlotRecord; SlotDeleted tells a record given back.
inline uint32_t SlotHead(const DataHeader& h) { return h.version >= 2 ? 1 : 0; }
inline uint32_t SlotLength(const DataHeader& h) { return h.record_length + SlotHead(h); }
inline uint64_t SlotOffset(const DataHeader& h, uint32_t n) {
  return kDataHeaderSize + uint64_t{n - 1} * SlotLength(h);
}
bool SlotDeleted(const DataHeader& h, const char* slot);
// Whether the slot's state byte is one of the two (version 1 has none: always true).
inline bool SlotSound(const DataHeader& h, const char* slot) {
  return h.version < 2 || slot[0] == kSlotLive || slot[0] == kSlotDeleted;
}
inline const char* SlotRecord(const DataHeader& h, const char* slot) { return slot + SlotHead(h); }
inline char* SlotRecord(const DataHeader& h, char* slot) { return slot + SlotHead(h); }

class DataFile {
 public:
  struct Options {
    bool create = false;     // create the file when it is absent
    bool read_only = false;  // refuse every change
    std::string_view label;  // Windows-1252 bytes kept in the header of a new file
    size_t cache_blocks = 256;
    std::shared_ptr<CachePool> pool;        // when set, a budget shared with other files instead
    uint16_t version = kDataFormatVersion;  // the format of a new file (1: the former one)
  };

  // Opens path. record_length 0 takes the length from the header (tools); otherwise it must be
  // kMinRecordLength to kMaxRecordLength and equal the file's.
  static Status Open(Env* env, const std::string& path, uint32_t record_length,
                     const Options& options, std::unique_ptr<DataFile>* out);
  ~DataFile();

  uint32_t RecordLength() const { return header_.record_length; }
  uint32_t LastRecord() const { return header_.last_record; }
  uint32_t Deleted() const { return header_.deleted; }
  const DataHeader& Header() const { return header_; }
  bool ReadOnly() const { return read_only_; }
  const std::string& Path() const;
  uint64_t FileBytes() const;

  // The whole record no (1 .. LastRecord) into out (RecordLength bytes).
  Status Read(uint32_t no, std::span<char> out);
  // The bytes of record no (RecordLength of them) where they lie: in the cache when its slot
  // sits in one block, otherwise copied into a buffer of the file. Valid until the next call on
  // this file; the record is then reached without a copy of its own.
  Status View(uint32_t no, const char** bytes) {
    const char* slot = nullptr;
    VESK_RETURN_IF_ERROR(ViewSlot(no, &slot));
    *bytes = SlotRecord(header_, slot);
    return Status::Ok();
  }
  // Asks for record no to be brought near the processor, without reading anything from the
  // file (a walk calls it for a record it will read a few steps later); PrefetchLocation, for a
  // record further ahead, only for where its block sits in the cache. Any number is taken.
  void Prefetch(uint32_t no) const;
  void PrefetchLocation(uint32_t no) const;
  // out.size() bytes of record no from byte offset within it.
  Status ReadPart(uint32_t no, uint32_t offset, std::span<char> out);
  // Writes record no (1 .. LastRecord + 1; one past the last appends). bytes is exactly
  // RecordLength long; in a file of version 1 it may neither be made only of bytes of code 0
  // (that marks the end of the data there) nor begin with "*SUP*" (MarkDeleted does that).
  // Writing over a deleted record brings it back to life.
  Status Write(uint32_t no, std::span<const char> bytes);
  // Changes bytes of the live or deleted record no in place, from offset (in a file of version
  // 1, a live record may not become what Write refuses).
  Status WritePart(uint32_t no, uint32_t offset, std::span<const char> bytes);
  // Marks live record no deleted: its state byte (version 2, every byte kept), or "*SUP*" over
  // its first 5 bytes (version 1).
  Status MarkDeleted(uint32_t no);
  Status IsDeleted(uint32_t no, bool* deleted);
  // Whether the bytes after the last record are growth ahead: at most kMaxTail of them, all 0.
  // A longer tail is not read (a sparse file of terabytes would take hours): its length alone
  // makes it damage.
  Status TailIsZero(bool* zero);
  // How many bytes lie after the last record's slot.
  uint64_t TailBytes() const;
  // Numbers of the deleted records, in order (reads the whole file).
  Status DeletedRecords(std::vector<uint32_t>* records);

  // Writes the header and every changed block; Sync also forces them to stable storage.
  Status Flush();
  Status Sync();
  bool HasChanges() const { return header_dirty_; }
  // Puts the header (change counter raised) into the cache when something changed, without
  // writing the file: the redo log then sees every byte the next flush will write.
  Status Prepare();
  // Forgets the cached blocks and rereads the header (through the cache's changed blocks, if
  // any): after another program changed the file, or after a rollback.
  Status Recharge();
  // Opens the file again by its path (a rebuild replaced it) and rereads its header.
  Status Reopen();
  Pager* pager() { return pager_.get(); }
  // The in-memory header at the start of an operation (Mark), put back when the operation is
  // undone inside a batch (RestoreMark): the header reaches the cache only at commit.
  void Mark() {
    marked_ = header_;
    marked_dirty_ = header_dirty_;
  }
  void RestoreMark() {
    header_ = marked_;
    header_dirty_ = marked_dirty_;
  }

 private:
  DataFile(std::unique_ptr<Pager> pager, const DataHeader& header, bool read_only);
  Status CheckNumber(uint32_t no, uint32_t last, std::string_view op) const;
  // The bytes of slot no (its state byte, in version 2, then its record) where they lie: in the
  // cache when the slot sits in one block, otherwise copied. Valid until the next call. The
  // slot viewed last is given again (a lookup's deletion check, then the owner's read): its
  // place holds while no block left the cache. Number 0 is never a slot: it goes to FindSlot,
  // which refuses it (a fresh handle has viewed_no_ 0 and no place, and a damaged B-tree entry
  // may name record 0).
  Status ViewSlot(uint32_t no, const char** slot) {
    if (no != 0 && no == viewed_no_ && no <= header_.last_record &&
        pager_->Generation() == viewed_gen_) {
      *slot = viewed_;
      return Status::Ok();
    }
    return FindSlot(no, slot);
  }
  Status FindSlot(uint32_t no, const char** slot);
  Status CheckWritable() const;
  Status WriteHeader();
  Status CheckSize(const DataHeader& h) const;
  // Where the slot of record no begins, and its record's bytes.
  uint64_t Slot(uint32_t no) const { return SlotOffset(header_, no); }
  uint64_t Offset(uint32_t no) const { return Slot(no) + SlotHead(header_); }
  Status CheckBytes(uint32_t no, std::span<const char> bytes) const;

  std::unique_ptr<Pager> pager_;
  DataHeader header_;
  bool read_only_;
  bool header_dirty_ = false;
  DataHeader marked_;
  bool marked_dirty_ = false;
  std::string scratch_;
  // The slot viewed last from the cache (0: none), where, and the pager's generation then; and
  // the copy of a slot that lies across two blocks.
  uint32_t viewed_no_ = 0;
  const char* viewed_ = nullptr;
  uint64_t viewed_gen_ = 0;
  std::string view_scratch_;
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_DATA_FILE_H_
