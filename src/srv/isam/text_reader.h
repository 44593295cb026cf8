// TextReader: reads a text file of the data folder line by line (Windows-1252 on disk, lines
// ended by CR LF or LF; a last line without an end of line counts). Reads ahead in chunks.
// Thread rules: one thread at a time.
#ifndef VESK_SRV_ISAM_TEXT_READER_H_
#define VESK_SRV_ISAM_TEXT_READER_H_

#include <cstdint>
#include <memory>
#include <string>

#include "srv/isam/env.h"
#include "srv/isam/status.h"

namespace vesk::isam {

class TextReader {
 public:
  static Status Open(Env* env, const std::string& path, std::unique_ptr<TextReader>* out);

  // Whether every line has been read.
  Status AtEnd(bool* end);
  // The next line in UTF-8, without its end of line; NotFound after the last line.
  Status ReadLine(std::string* line);
  const std::string& Path() const { return file_->Path(); }

 private:
  explicit TextReader(std::unique_ptr<platform::File> file) : file_(std::move(file)) {}
  // Reads the next chunk of the file after the bytes not yet taken.
  Status Fill();

  std::unique_ptr<platform::File> file_;
  std::string buffer_;
  size_t pos_ = 0;         // first byte of buffer_ not yet taken
  uint64_t file_pos_ = 0;  // file offset after buffer_
  bool eof_ = false;
  std::string bytes_;
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_TEXT_READER_H_
