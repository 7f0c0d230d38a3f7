// Words of the command line that answer on the console and start no service. Main
// thread.
#pragma once

#include <optional>
#include <span>
#include <string>

namespace orventa {

struct Platform;

// The exit code when the command line holds such a word. --help: 0. --check-config:
// 0 when the service would correct, ignore or miss nothing in the settings file,
// 1 when it would, 2 when the file cannot be read.
std::optional<int> AnswerCommandWord(Platform& platform, std::span<const std::string> arguments);

}  // namespace orventa
