// One question to the running service, and its answer taken apart.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

namespace orventa {

// What a tool's words end with.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitNoService = 2;

struct ServiceAnswer {
  int exit_code = kExitNoService;
  std::string data;   // what stands behind "OK", when the service said so
  std::string error;  // why not, for people
};
ServiceAnswer AskService(const std::string& request);
// Prints the reason of one that is not OK. Returns its exit code.
int Report(const ServiceAnswer& answer, std::ostream& errors);

// The value of a key in "key=value" lines; empty when it is not there.
std::string_view ValueOf(std::string_view lines, std::string_view key);

}  // namespace orventa
