// One settings line, "section.key" and its value, put into a Config. Used for
// settings given on the command line. Any thread.
#pragma once

#include <string>
#include <string_view>

#include "base/status.h"
#include "settings/config.h"

namespace orventa {

// InvalidArgument, with the config untouched, for a key that is not known or a
// value that the key cannot hold; the message names both.
Status ApplySetting(Config& config, std::string_view key, std::string_view value);

}  // namespace orventa
