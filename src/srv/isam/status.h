// Status: the result of every storage-engine function. The engine never throws; the service
// classes turn a failing Status into ErreurService at their interface.
// A Status is a value; copy it freely across threads.
#ifndef VESK_SRV_ISAM_STATUS_H_
#define VESK_SRV_ISAM_STATUS_H_

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/platform.h"

namespace vesk::isam {

class Status {
 public:
  enum class Code { kOk, kNotFound, kDuplicate, kLocked, kCorruption, kIOError, kInvalidArgument };

  Status() = default;
  static Status Ok() { return {}; }
  static Status NotFound(std::string_view m) { return {Code::kNotFound, m}; }
  static Status Duplicate(std::string_view m) { return {Code::kDuplicate, m}; }
  static Status Locked(std::string_view m) { return {Code::kLocked, m}; }
  static Status Corruption(std::string_view m) { return {Code::kCorruption, m}; }
  static Status IOError(std::string_view m) { return {Code::kIOError, m}; }
  static Status InvalidArgument(std::string_view m) { return {Code::kInvalidArgument, m}; }
  // The Status of a platform call: kLocked stays Locked, kNotFound NotFound, every other failure
  // is an IOError; each carries the platform's message.
  static Status FromIo(const platform::IoStatus& io) {
    if (io.ok()) return {};
    if (io.code == platform::Code::kLocked) return Locked(io.message);
    if (io.code == platform::Code::kNotFound) return NotFound(io.message);
    return IOError(io.message);
  }

  // This failure, its message followed by what went wrong after it (same code).
  Status Then(const Status& after) const {
    return Status(code_, message() + " ; puis " + after.message());
  }

  Status(const Status& o) : code_(o.code_), message_(o.message_ ? Copy(*o.message_) : nullptr) {}
  Status& operator=(const Status& o) {
    if (this != &o) {
      code_ = o.code_;
      message_ = o.message_ ? Copy(*o.message_) : nullptr;
    }
    return *this;
  }
  Status(Status&&) noexcept = default;
  Status& operator=(Status&&) noexcept = default;
  ~Status() = default;

  bool ok() const { return code_ == Code::kOk; }
  Code code() const { return code_; }
  bool IsNotFound() const { return code_ == Code::kNotFound; }
  bool IsDuplicate() const { return code_ == Code::kDuplicate; }
  bool IsCorruption() const { return code_ == Code::kCorruption; }
  const std::string& message() const { return message_ ? *message_ : Empty(); }

 private:
  Status(Code code, std::string_view message) : code_(code), message_(Copy(message)) {}
  static std::unique_ptr<std::string> Copy(std::string_view m) {
    return std::make_unique<std::string>(m);
  }
  static const std::string& Empty() {
    static const std::string empty;
    return empty;
  }

  // Every engine function returns a Status: a success is a code and a null pointer, cheap to
  // make, move and drop; only a failure carries its message.
  Code code_ = Code::kOk;
  std::unique_ptr<std::string> message_;
};

// Returns from the calling function when expr gives a failing Status.
#define VESK_RETURN_IF_ERROR(expr)     \
  do {                                 \
    ::vesk::isam::Status _st = (expr); \
    if (!_st.ok()) return _st;         \
  } while (0)

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_STATUS_H_
