#include "srv/isam/text_reader.h"

#include "srv/isam/record_text.h"

namespace vesk::isam {

namespace {
constexpr size_t kChunk = 64 * 1024;
}  // namespace

Status TextReader::Open(Env* env, const std::string& path, std::unique_ptr<TextReader>* out) {
  std::unique_ptr<platform::File> file;
  VESK_RETURN_IF_ERROR(Status::FromIo(env->OpenFile(path, platform::OpenMode::kRead, &file)));
  out->reset(new TextReader(std::move(file)));
  return Status::Ok();
}

Status TextReader::Fill() {
  buffer_.erase(0, pos_);
  pos_ = 0;
  size_t old = buffer_.size();
  buffer_.resize(old + kChunk);
  size_t read = 0;
  platform::IoStatus io =
      file_->ReadAt(file_pos_, std::span<char>(buffer_.data() + old, kChunk), &read);
  buffer_.resize(old + (io.ok() ? read : 0));
  VESK_RETURN_IF_ERROR(Status::FromIo(io));
  file_pos_ += read;
  if (read == 0) eof_ = true;
  return Status::Ok();
}

Status TextReader::AtEnd(bool* end) {
  while (pos_ == buffer_.size() && !eof_) VESK_RETURN_IF_ERROR(Fill());
  *end = pos_ == buffer_.size();
  return Status::Ok();
}

Status TextReader::ReadLine(std::string* line) {
  bool end = false;
  VESK_RETURN_IF_ERROR(AtEnd(&end));
  if (end) return Status::NotFound(Path() + " : lecture au-delà de la dernière ligne");
  size_t nl = buffer_.find('\n', pos_);
  while (nl == std::string::npos && !eof_) {
    size_t searched = buffer_.size() - pos_;
    VESK_RETURN_IF_ERROR(Fill());
    nl = buffer_.find('\n', searched);
  }
  size_t stop = nl == std::string::npos ? buffer_.size() : nl;
  size_t next = nl == std::string::npos ? buffer_.size() : nl + 1;
  if (stop > pos_ && buffer_[stop - 1] == '\r') --stop;
  DecodeBytes(std::string_view(buffer_).substr(pos_, stop - pos_), line);
  pos_ = next;
  return Status::Ok();
}

}  // namespace vesk::isam
