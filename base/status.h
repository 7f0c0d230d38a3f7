// The result of every operation that can fail, returned by value: a code that a
// caller acts on, and a message that names what failed. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace orventa {

enum class StatusCode : uint32_t {
  Ok = 0,
  Unsupported = 1,
  BackendUnavailable = 2,
  SessionLimitReached = 3,
  DeviceLost = 4,
  InvalidArgument = 5,
  DriverError = 6,
  OutOfMemory = 7,
  DriveFull = 8,
  NoTarget = 9,
  Refused = 10,
  NoEncoder = 11,
};

// The word that control answers and logs show; "Unknown" for any other value.
std::string_view StatusCodeWord(StatusCode code);

class [[nodiscard]] Status {
 public:
  Status() = default;
  Status(StatusCode code, std::string message) : code_(code), message_(std::move(message)) {}

  static Status Ok() { return {}; }

  bool ok() const { return code_ == StatusCode::Ok; }
  StatusCode code() const { return code_; }
  const std::string& message() const { return message_; }

  // The code's word, then ": " and the message when there is one.
  std::string ToString() const;

  bool operator==(const Status&) const = default;

 private:
  StatusCode code_ = StatusCode::Ok;
  std::string message_;
};

}  // namespace orventa
