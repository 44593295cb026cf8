#include "srv/isam/tree_build.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "srv/isam/btree.h"
#include "srv/isam/names.h"
#include "srv/isam/record_text.h"

namespace vesk::isam {

namespace {

constexpr size_t kChunk = size_t{1} << 20;  // bytes read at a time

uint64_t BigEndian8(const char* p, size_t n) {
  uint64_t v = 0;
  for (size_t i = 0; i < 8; ++i) v = v << 8 | (i < n ? static_cast<unsigned char>(p[i]) : 0u);
  return v;
}

std::string Shown(std::string_view bytes) {
  std::string text;
  DecodeBytes(bytes, &text);
  const size_t end = text.find_last_not_of(' ');
  return end == std::string::npos ? std::string() : text.substr(0, end + 1);
}

using Order = std::vector<std::pair<uint64_t, uint32_t>>;

// Sorts by the 64-bit first member, stable (entries of equal value keep their order): radix
// passes of 16 bits, from the lowest, each skipped when every entry has the same digit.
void RadixSort(Order& v) {
  Order tmp(v.size());
  std::vector<size_t> count(size_t{1} << 16);
  for (int shift = 0; shift < 64; shift += 16) {
    std::fill(count.begin(), count.end(), 0);
    for (const auto& e : v) ++count[(e.first >> shift) & 0xFFFF];
    if (count[(v.front().first >> shift) & 0xFFFF] == v.size()) continue;
    size_t at = 0;
    for (size_t& c : count) {
      const size_t n = c;
      c = at;
      at += n;
    }
    for (const auto& e : v) tmp[count[(e.first >> shift) & 0xFFFF]++] = e;
    v.swap(tmp);
  }
}

// The bytes all keys share at their start: the sort compares from there on.
size_t CommonPrefix(const std::string& packed, size_t count, size_t k) {
  const size_t stride = k + 4;
  size_t common = k;
  const char* first = packed.data();
  for (size_t e = 1; e < count && common > 0; ++e) {
    const char* key = first + e * stride;
    size_t i = 0;
    while (i < common && key[i] == first[i]) ++i;
    common = i;
  }
  return common;
}

}  // namespace

Status ReadDataHeader(Env* env, const std::string& path, DataHeader* h) {
  std::unique_ptr<platform::File> f;
  VESK_RETURN_IF_ERROR(Status::FromIo(env->OpenFile(path, platform::OpenMode::kRead, &f)));
  char bytes[kDataHeaderSize];
  size_t got = 0;
  VESK_RETURN_IF_ERROR(Status::FromIo(f->ReadAt(0, bytes, &got)));
  if (got < kDataHeaderSize) {
    return Status::Corruption(path + " : fichier trop court pour contenir un en-tête");
  }
  VESK_RETURN_IF_ERROR(DecodeDataHeader(bytes, path, h));
  uint64_t size = 0;
  VESK_RETURN_IF_ERROR(Status::FromIo(f->Size(&size)));
  if (size < SlotOffset(*h, h->last_record + 1)) {
    return Status::Corruption(path + " : fichier tronqué (" + std::to_string(size) +
                              " octets pour " + std::to_string(h->last_record) +
                              " enregistrements)");
  }
  return Status::Ok();
}

Status ForEachSlot(Env* env, const std::string& path, const DataHeader& h,
                   const std::function<Status(uint32_t no, const char* slot)>& visit) {
  std::unique_ptr<platform::File> f;
  VESK_RETURN_IF_ERROR(Status::FromIo(env->OpenFile(path, platform::OpenMode::kRead, &f)));
  const uint32_t slot = SlotLength(h);
  const uint32_t per_chunk = std::max<uint32_t>(1, static_cast<uint32_t>(kChunk / slot));
  std::string buffer(size_t{per_chunk} * slot, '\0');
  for (uint32_t first = 1; first <= h.last_record; first += per_chunk) {
    const uint32_t n = std::min(per_chunk, h.last_record - first + 1);
    size_t got = 0;
    std::span<char> part(buffer.data(), size_t{n} * slot);
    VESK_RETURN_IF_ERROR(Status::FromIo(f->ReadAt(SlotOffset(h, first), part, &got)));
    if (got != part.size()) return Status::Corruption(path + " : fichier tronqué");
    for (uint32_t k = 0; k < n; ++k) {
      const char* s = &buffer[k * slot];
      if (!SlotSound(h, s)) {
        return Status::Corruption(
            "enregistrement " + std::to_string(first + k) + " de " + path + " : octet d'état " +
            std::to_string(static_cast<unsigned char>(s[0])) + " inconnu (fichier endommagé)");
      }
      VESK_RETURN_IF_ERROR(visit(first + k, s));
    }
  }
  return Status::Ok();
}

char* NewSlot(std::string* out, bool deleted, const char* record, uint32_t length) {
  out->push_back(deleted ? kSlotDeleted : kSlotLive);
  out->append(record, length);
  return out->data() + out->size() - length;
}

TreeBuild::TreeBuild(const BArbreAReconstruire& def, size_t expected)
    : def_(&def),
      key_length_(static_cast<uint16_t>(def.longueur_cle)),
      nature_(def.nature.empty() ? 'P' : def.nature[0]) {
  packed_.reserve(expected * (key_length_ + 4u));
}

// The plan's builder takes the record as text and gives the key as text, which is written back
// as bytes padded to the tree's length.
Status TreeBuild::Add(std::string_view record, uint32_t no) {
  try {
    DecodeBytes(record, &text_);
    key_text_.clear();
    def_->cle(text_, key_text_);
  } catch (...) {
    error_ = std::current_exception();
    return Status::InvalidArgument("clé de " + def_->nom);
  }
  VESK_RETURN_IF_ERROR(EncodeFixed(key_text_, key_length_, "clé de " + def_->nom, &key_));
  packed_ += key_;
  char r[4];
  std::memcpy(r, &no, 4);
  packed_.append(r, 4);
  ++count_;
  return Status::Ok();
}

// Each entry sorts by the 8 bytes after the prefix all keys share, the rest of the key compared
// only between equal ones; records come in ascending order, so a secondary tree's entries of
// one key stay by record.
Status TreeBuild::Sort(const std::vector<uint32_t>* shown) {
  const size_t k = key_length_, stride = k + 4;
  const size_t from = count_ == 0 ? 0 : CommonPrefix(packed_, count_, k);
  const size_t rest = k - from > 8 ? k - from - 8 : 0;
  const char* base = packed_.data();
  order_.resize(count_);
  for (size_t e = 0; e < count_; ++e) {
    order_[e] = {BigEndian8(base + e * stride + from, k - from), static_cast<uint32_t>(e)};
  }
  if (count_ > 0) RadixSort(order_);
  if (rest > 0) {  // runs of equal 8 bytes sorted by the rest of the key, then by entry
    auto less = [&](const std::pair<uint64_t, uint32_t>& a,
                    const std::pair<uint64_t, uint32_t>& b) {
      const int c = std::memcmp(base + a.second * stride + from + 8,
                                base + b.second * stride + from + 8, rest);
      return c != 0 ? c < 0 : a.second < b.second;
    };
    for (size_t i = 0, j = 0; i < count_; i = j) {
      for (j = i + 1; j < count_ && order_[j].first == order_[i].first;) ++j;
      if (j - i > 1) std::sort(order_.begin() + i, order_.begin() + j, less);
    }
  }
  if (nature_ != 'P') return Status::Ok();
  for (size_t e = 1; e < count_; ++e) {
    const char* a = base + order_[e - 1].second * stride;
    const char* b = base + order_[e].second * stride;
    if (order_[e - 1].first != order_[e].first || std::memcmp(a, b, k) != 0) continue;
    uint32_t ra = 0, rb = 0;
    std::memcpy(&ra, a + k, 4);
    std::memcpy(&rb, b + k, 4);
    if (shown != nullptr) {
      ra = (*shown)[ra];
      rb = (*shown)[rb];
    }
    return Status::Duplicate("B-Arbre " + def_->nom + " : clé « " + Shown({a, k}) +
                             " » en double (enregistrements " + std::to_string(ra) + " et " +
                             std::to_string(rb) + ")");
  }
  return Status::Ok();
}

Status TreeBuild::Write(Env* env, const std::string& path, const std::string& indexed) {
  std::unique_ptr<BTree> tree;
  VESK_RETURN_IF_ERROR(
      BTree::Open(env, path, key_length_, nature_, UpperAscii(indexed), true, &tree));
  const size_t stride = key_length_ + 4u;
  VESK_RETURN_IF_ERROR(tree->Load(count_, [&](size_t e, const char** key, uint32_t* record) {
    const char* entry = packed_.data() + order_[e].second * stride;
    *key = entry;
    std::memcpy(record, entry + key_length_, 4);
  }));
  VESK_RETURN_IF_ERROR(tree->Sync());
  packed_ = std::string();
  order_ = {};
  return Status::Ok();
}

void TreeBuild::Drain(const std::function<void(std::string_view key, uint32_t record)>& visit) {
  const size_t stride = key_length_ + 4u;
  for (size_t e = 0; e < count_; ++e) {
    const char* entry = packed_.data() + order_[e].second * stride;
    uint32_t record = 0;
    std::memcpy(&record, entry + key_length_, 4);
    visit(std::string_view(entry, key_length_), record);
  }
  packed_ = std::string();
  order_ = {};
}

}  // namespace vesk::isam
