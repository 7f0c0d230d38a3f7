// Settings given for one game or one run, over those of the file. Plain values.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "settings/config.h"

namespace orventa {

// ("section.key", value) as the settings file would have them, in order.
using SettingOverrides = std::vector<std::pair<std::string, std::string>>;

// Applies one setting to a Config; a key or value that it does not know leaves
// the Config as it is.
using SettingApplier =
    std::function<void(Config& config, std::string_view key, std::string_view value)>;

}  // namespace orventa
