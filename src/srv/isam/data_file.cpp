#include "srv/isam/data_file.h"

#include <algorithm>
#include <cstring>

#include "srv/isam/coding.h"

namespace vesk::isam {

namespace {

constexpr size_t kLabelOffset = 36;
constexpr size_t kChecksumOffset = 124;
constexpr uint32_t kBlockSize = 4096;

// FNV-1a, 32 bits.
uint32_t Checksum(const char* p, size_t n) {
  uint32_t h = 2166136261u;
  for (size_t i = 0; i < n; ++i) {
    h ^= static_cast<unsigned char>(p[i]);
    h *= 16777619u;
  }
  return h;
}

bool AllZero(std::span<const char> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](char c) { return c == 0; });
}

std::string RecordName(uint32_t no, const std::string& path) {
  return "enregistrement " + std::to_string(no) + " de " + path;
}

}  // namespace

uint32_t DataHeaderChecksum(const char* in) { return Checksum(in, kChecksumOffset); }

void EncodeDataHeader(const DataHeader& h, char* out) {
  std::memset(out, 0, kDataHeaderSize);
  std::memcpy(out, kDataMagic.data(), kDataMagic.size());
  PutLe(out + 8, h.version, 2);
  PutLe(out + 10, kDataHeaderSize, 2);
  PutLe(out + 12, h.record_length, 4);
  PutLe(out + 16, h.last_record, 4);
  PutLe(out + 20, h.deleted, 4);
  PutLe(out + 24, h.change_counter, 8);
  out[32] = static_cast<char>(h.dirty);
  std::memset(out + kLabelOffset, ' ', kLabelLength);
  std::memcpy(out + kLabelOffset, h.label.data(), std::min(h.label.size(), kLabelLength));
  PutLe(out + kChecksumOffset, Checksum(out, kChecksumOffset), 4);
}

Status DecodeDataHeader(const char* in, const std::string& path, DataHeader* h) {
  if (std::memcmp(in, kDataMagic.data(), kDataMagic.size()) != 0) {
    return Status::Corruption(path + " n'est pas un fichier de données Vesk (signature inconnue)");
  }
  h->version = static_cast<uint16_t>(GetLe(in + 8, 2));
  if (h->version != kDataFormatVersion && h->version != kDataFormatVersion1) {
    return Status::Corruption(path + " : version de format " + std::to_string(h->version) +
                              " inconnue (1 ou " + std::to_string(kDataFormatVersion) + ")");
  }
  if (GetLe(in + 10, 2) != kDataHeaderSize) {
    return Status::Corruption(path + " : taille d'en-tête incorrecte");
  }
  if (GetLe(in + kChecksumOffset, 4) != Checksum(in, kChecksumOffset)) {
    return Status::Corruption(path + " : somme de contrôle de l'en-tête incorrecte");
  }
  h->record_length = static_cast<uint32_t>(GetLe(in + 12, 4));
  h->last_record = static_cast<uint32_t>(GetLe(in + 16, 4));
  h->deleted = static_cast<uint32_t>(GetLe(in + 20, 4));
  h->change_counter = GetLe(in + 24, 8);
  h->dirty = static_cast<uint8_t>(in[32]);
  std::string_view label(in + kLabelOffset, kLabelLength);
  size_t end = label.find_last_not_of(' ');
  h->label = std::string(end == std::string_view::npos ? "" : label.substr(0, end + 1));
  if (h->record_length < kMinRecordLength || h->record_length > kMaxRecordLength) {
    return Status::Corruption(path + " : longueur d'enregistrement " +
                              std::to_string(h->record_length) + " impossible");
  }
  if (h->deleted > h->last_record) {
    return Status::Corruption(path + " : plus d'enregistrements supprimés que d'enregistrements");
  }
  return Status::Ok();
}

bool SlotDeleted(const DataHeader& h, const char* slot) {
  if (h.version >= 2) return slot[0] == kSlotDeleted;
  return std::string_view(slot, kDeletedMark.size()) == kDeletedMark;
}

DataFile::DataFile(std::unique_ptr<Pager> pager, const DataHeader& header, bool read_only)
    : pager_(std::move(pager)), header_(header), read_only_(read_only) {}

DataFile::~DataFile() = default;

Status DataFile::Open(Env* env, const std::string& path, uint32_t record_length,
                      const Options& options, std::unique_ptr<DataFile>* out) {
  if (record_length != 0 &&
      (record_length < kMinRecordLength || record_length > kMaxRecordLength)) {
    return Status::InvalidArgument("longueur d'enregistrement " + std::to_string(record_length) +
                                   " refusée pour " + path + " (de 5 à 32767)");
  }
  bool exists = false;
  VESK_RETURN_IF_ERROR(Status::FromIo(env->FileExists(path, &exists)));
  if (!exists && !options.create) return Status::NotFound("fichier absent : " + path);
  if (!exists && (options.read_only || record_length == 0)) {
    return Status::InvalidArgument("création impossible de " + path +
                                   (options.read_only ? " en lecture seule" : " sans longueur"));
  }
  platform::OpenMode mode = !exists             ? platform::OpenMode::kCreate
                            : options.read_only ? platform::OpenMode::kRead
                                                : platform::OpenMode::kReadWrite;
  std::unique_ptr<Pager> pager;
  VESK_RETURN_IF_ERROR(Pager::Open(env, path, mode, kBlockSize,
                                   std::max<size_t>(options.cache_blocks, 4), &pager,
                                   options.pool));
  DataHeader header;
  char bytes[kDataHeaderSize];
  // An empty file is one whose creation was cut short: nothing was ever written in it.
  bool fresh =
      !exists || (pager->Size() == 0 && options.create && !options.read_only && record_length != 0);
  if (fresh) {
    if (options.version != kDataFormatVersion && options.version != kDataFormatVersion1) {
      return Status::InvalidArgument("version de format " + std::to_string(options.version) +
                                     " refusée pour " + path);
    }
    header.version = options.version;
    header.record_length = record_length;
    header.label = std::string(options.label.substr(0, kLabelLength));
    EncodeDataHeader(header, bytes);
    VESK_RETURN_IF_ERROR(pager->Write(0, bytes));
    VESK_RETURN_IF_ERROR(pager->Sync());
  } else {
    if (pager->Size() < kDataHeaderSize) {
      return Status::Corruption(path + " : fichier trop court pour contenir un en-tête");
    }
    VESK_RETURN_IF_ERROR(pager->Read(0, bytes));
    VESK_RETURN_IF_ERROR(DecodeDataHeader(bytes, path, &header));
    if (record_length != 0 && header.record_length != record_length) {
      return Status::InvalidArgument(
          path + " : longueur d'enregistrement " + std::to_string(record_length) +
          " demandée, le fichier a des enregistrements de " + std::to_string(header.record_length));
    }
  }
  const bool read_only = options.read_only || !pager->Writable();
  std::unique_ptr<DataFile> file(new DataFile(std::move(pager), header, read_only));
  VESK_RETURN_IF_ERROR(file->CheckSize(header));
  *out = std::move(file);
  return Status::Ok();
}

Status DataFile::CheckSize(const DataHeader& h) const {
  uint64_t need = SlotOffset(h, h.last_record + 1);
  if (pager_->Size() < need) {
    return Status::Corruption(Path() + " : fichier tronqué (" + std::to_string(pager_->Size()) +
                              " octets pour " + std::to_string(h.last_record) +
                              " enregistrements)");
  }
  return Status::Ok();
}

Status DataFile::Prepare() {
  if (read_only_) return Status::Ok();
  return WriteHeader();
}

Status DataFile::Recharge() {
  pager_->DropCache();
  if (pager_->Size() < kDataHeaderSize) {
    return Status::Corruption(Path() + " : fichier trop court pour contenir un en-tête");
  }
  char bytes[kDataHeaderSize];
  VESK_RETURN_IF_ERROR(pager_->Read(0, bytes));
  DataHeader h;
  VESK_RETURN_IF_ERROR(DecodeDataHeader(bytes, Path(), &h));
  if (h.record_length != header_.record_length) {
    return Status::Corruption(Path() + " : longueur d'enregistrement changée (" +
                              std::to_string(h.record_length) + " au lieu de " +
                              std::to_string(header_.record_length) + ")");
  }
  VESK_RETURN_IF_ERROR(CheckSize(h));
  header_ = h;
  header_dirty_ = false;
  return Status::Ok();
}

Status DataFile::Reopen() {
  VESK_RETURN_IF_ERROR(pager_->Reattach());
  return Recharge();
}

const std::string& DataFile::Path() const { return pager_->Path(); }

uint64_t DataFile::FileBytes() const { return pager_->Size(); }

Status DataFile::CheckNumber(uint32_t no, uint32_t last, std::string_view op) const {
  if (no >= 1 && no <= last) return Status::Ok();
  std::string m = std::string(op) + " de l'enregistrement " + std::to_string(no) + " de " + Path();
  if (no == 0) return Status::InvalidArgument(m + " : les numéros commencent à 1");
  return Status::NotFound(m + " : au-delà de la fin du fichier (" +
                          std::to_string(header_.last_record) + " enregistrements)");
}

Status DataFile::CheckWritable() const {
  if (read_only_ && !pager_->ReadOnlyReason().empty()) {
    return Status::InvalidArgument(Path() + " ne peut être écrit (dossier en lecture seule : " +
                                   pager_->ReadOnlyReason() + ")");
  }
  if (read_only_) return Status::InvalidArgument(Path() + " est ouvert en lecture seule");
  if (pager_->Failed()) {
    return Status::IOError(Path() + " : une écriture a échoué, le fichier doit être rouvert");
  }
  return Status::Ok();
}

Status DataFile::Read(uint32_t no, std::span<char> out) {
  VESK_RETURN_IF_ERROR(CheckNumber(no, header_.last_record, "lecture"));
  return pager_->Read(Offset(no), out.first(header_.record_length));
}

Status DataFile::FindSlot(uint32_t no, const char** slot) {
  if (no == 0 || no > header_.last_record) return CheckNumber(no, header_.last_record, "lecture");
  const uint64_t at = Slot(no);
  const uint32_t length = SlotLength(header_);
  const uint64_t block = at / kBlockSize;
  if ((at + length - 1) / kBlockSize != block) {
    view_scratch_.resize(length);
    VESK_RETURN_IF_ERROR(pager_->Read(at, view_scratch_));
    *slot = view_scratch_.data();
    return Status::Ok();
  }
  const char* data = nullptr;
  VESK_RETURN_IF_ERROR(pager_->BlockForRead(block, &data));
  *slot = data + at % kBlockSize;
  viewed_no_ = no;
  viewed_ = *slot;
  viewed_gen_ = pager_->Generation();
  return Status::Ok();
}

void DataFile::Prefetch(uint32_t no) const {
  if (no >= 1 && no <= header_.last_record) pager_->Prefetch(Slot(no), SlotLength(header_));
}

void DataFile::PrefetchLocation(uint32_t no) const {
  if (no >= 1 && no <= header_.last_record) pager_->PrefetchLocation(Slot(no));
}

Status DataFile::ReadPart(uint32_t no, uint32_t offset, std::span<char> out) {
  VESK_RETURN_IF_ERROR(CheckNumber(no, header_.last_record, "lecture"));
  if (offset + out.size() > header_.record_length) {
    return Status::InvalidArgument(RecordName(no, Path()) + " : zone hors de l'enregistrement");
  }
  return pager_->Read(Offset(no) + offset, out);
}

// What a record of version 1 may not hold: a text that reads as deleted, or only bytes of code
// 0 (the end of the data there). Version 2 takes any bytes.
Status DataFile::CheckBytes(uint32_t no, std::span<const char> bytes) const {
  if (header_.version >= 2) return Status::Ok();
  std::string_view view(bytes.data(), bytes.size());
  if (view.starts_with(kDeletedMark)) {
    return Status::InvalidArgument(RecordName(no, Path()) +
                                   " : un texte commençant par \"*SUP*\" marquerait "
                                   "l'enregistrement comme supprimé");
  }
  if (bytes[0] == 0 && AllZero(bytes)) {
    return Status::InvalidArgument(RecordName(no, Path()) +
                                   " : un enregistrement fait seulement de caractères de code 0 "
                                   "marquerait la fin des données");
  }
  return Status::Ok();
}

Status DataFile::Write(uint32_t no, std::span<const char> bytes) {
  VESK_RETURN_IF_ERROR(CheckWritable());
  VESK_RETURN_IF_ERROR(CheckNumber(no, header_.last_record + 1, "écriture"));
  if (bytes.size() != header_.record_length) {
    return Status::InvalidArgument(RecordName(no, Path()) + " : " + std::to_string(bytes.size()) +
                                   " octets au lieu de " + std::to_string(header_.record_length));
  }
  VESK_RETURN_IF_ERROR(CheckBytes(no, bytes));
  bool revived = false;
  if (no <= header_.last_record && header_.deleted > 0)
    VESK_RETURN_IF_ERROR(IsDeleted(no, &revived));
  if (header_.version >= 2) {
    scratch_.assign(1, kSlotLive);
    scratch_.append(bytes.data(), bytes.size());
    VESK_RETURN_IF_ERROR(pager_->Write(Slot(no), scratch_));
  } else {
    VESK_RETURN_IF_ERROR(pager_->Write(Offset(no), bytes));
  }
  if (no > header_.last_record) header_.last_record = no;
  if (revived) --header_.deleted;
  header_dirty_ = true;
  return Status::Ok();
}

Status DataFile::WritePart(uint32_t no, uint32_t offset, std::span<const char> bytes) {
  VESK_RETURN_IF_ERROR(CheckWritable());
  VESK_RETURN_IF_ERROR(CheckNumber(no, header_.last_record, "écriture"));
  if (offset + bytes.size() > header_.record_length) {
    return Status::InvalidArgument(RecordName(no, Path()) + " : zone hors de l'enregistrement");
  }
  if (header_.version < 2 && offset < kDeletedMark.size()) {
    // The record must not come to read as deleted, nor as the end of the data.
    bool deleted = false;
    VESK_RETURN_IF_ERROR(IsDeleted(no, &deleted));
    scratch_.resize(header_.record_length);
    VESK_RETURN_IF_ERROR(pager_->Read(Offset(no), scratch_));
    std::memcpy(scratch_.data() + offset, bytes.data(), bytes.size());
    if (!deleted) VESK_RETURN_IF_ERROR(CheckBytes(no, scratch_));
  } else if (header_.version < 2 && AllZero(bytes)) {
    scratch_.resize(header_.record_length);
    VESK_RETURN_IF_ERROR(pager_->Read(Offset(no), scratch_));
    std::memcpy(scratch_.data() + offset, bytes.data(), bytes.size());
    VESK_RETURN_IF_ERROR(CheckBytes(no, scratch_));
  }
  VESK_RETURN_IF_ERROR(pager_->Write(Offset(no) + offset, bytes));
  header_dirty_ = true;
  return Status::Ok();
}

Status DataFile::IsDeleted(uint32_t no, bool* deleted) {
  const char* slot = nullptr;
  VESK_RETURN_IF_ERROR(ViewSlot(no, &slot));
  if (!SlotSound(header_, slot)) {
    return Status::Corruption(RecordName(no, Path()) + " : octet d'état " +
                              std::to_string(static_cast<unsigned char>(slot[0])) +
                              " inconnu (fichier endommagé)");
  }
  *deleted = SlotDeleted(header_, slot);
  return Status::Ok();
}

Status DataFile::MarkDeleted(uint32_t no) {
  VESK_RETURN_IF_ERROR(CheckWritable());
  bool deleted = false;
  VESK_RETURN_IF_ERROR(IsDeleted(no, &deleted));
  if (deleted) return Status::InvalidArgument(RecordName(no, Path()) + " : déjà supprimé");
  if (header_.version >= 2) {
    VESK_RETURN_IF_ERROR(pager_->Write(Slot(no), std::string_view(&kSlotDeleted, 1)));
  } else {
    VESK_RETURN_IF_ERROR(pager_->Write(Offset(no), kDeletedMark));
  }
  ++header_.deleted;
  header_dirty_ = true;
  return Status::Ok();
}

Status DataFile::DeletedRecords(std::vector<uint32_t>* records) {
  records->clear();
  for (uint32_t no = 1; no <= header_.last_record && records->size() < header_.deleted; ++no) {
    bool deleted = false;
    VESK_RETURN_IF_ERROR(IsDeleted(no, &deleted));
    if (deleted) records->push_back(no);
  }
  return Status::Ok();
}

uint64_t DataFile::TailBytes() const {
  const uint64_t from = Slot(header_.last_record + 1);
  const uint64_t size = pager_->Size();
  return size > from ? size - from : 0;
}

Status DataFile::TailIsZero(bool* zero) {
  const uint64_t n = TailBytes();
  *zero = n == 0;
  if (n == 0 || n > kMaxTail) return Status::Ok();
  std::string tail(n, '\0');
  VESK_RETURN_IF_ERROR(pager_->Read(Slot(header_.last_record + 1), tail));
  *zero = AllZero(tail);
  return Status::Ok();
}

Status DataFile::WriteHeader() {
  if (!header_dirty_) return Status::Ok();
  ++header_.change_counter;
  char bytes[kDataHeaderSize];
  EncodeDataHeader(header_, bytes);
  VESK_RETURN_IF_ERROR(pager_->Write(0, bytes));
  header_dirty_ = false;
  return Status::Ok();
}

Status DataFile::Flush() {
  if (read_only_) return Status::Ok();
  VESK_RETURN_IF_ERROR(WriteHeader());
  return pager_->Flush();
}

Status DataFile::Sync() {
  if (read_only_) return Status::Ok();
  VESK_RETURN_IF_ERROR(WriteHeader());
  return pager_->Sync();
}

}  // namespace vesk::isam
