// --check-config: says what the service would correct, ignore or not know in a
// settings file. Starts nothing and changes nothing. Main thread.
#pragma once

#include <optional>
#include <span>
#include <string>

namespace orventa {

struct Platform;

// The exit code when the command line asks for it: 0 nothing to correct, 1 there
// is, 2 the file cannot be read.
std::optional<int> RunConfigCheck(Platform& platform, std::span<const std::string> arguments);

}  // namespace orventa
