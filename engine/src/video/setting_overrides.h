// Settings given for one game or one run, over those of the file.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace orventa {

// ("section.key", value) as the settings file would have them, in order.
using SettingOverrides = std::vector<std::pair<std::string, std::string>>;

}  // namespace orventa
