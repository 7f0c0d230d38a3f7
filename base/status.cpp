#include "base/status.h"

#include <array>
#include <cstddef>

namespace orventa {

std::string_view StatusCodeWord(StatusCode code) {
  static constexpr std::array<std::string_view, 12> kWords = {"Ok",
                                                              "Unsupported",
                                                              "BackendUnavailable",
                                                              "SessionLimitReached",
                                                              "DeviceLost",
                                                              "InvalidArgument",
                                                              "DriverError",
                                                              "OutOfMemory",
                                                              "DriveFull",
                                                              "NoTarget",
                                                              "Refused",
                                                              "NoEncoder"};
  const auto index = static_cast<size_t>(code);
  return index < kWords.size() ? kWords[index] : "Unknown";
}

std::string Status::ToString() const {
  std::string text(StatusCodeWord(code_));
  if (!message_.empty()) {
    text += ": ";
    text += message_;
  }
  return text;
}

}  // namespace orventa
