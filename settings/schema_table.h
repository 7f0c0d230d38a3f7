// The table of settings as the reader and the writer of config.ini see it. For the
// folder's own sources only. Any thread: it is built on first use and constant after.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "settings/config.h"
#include "settings/setting.h"

namespace orventa::schema {

// In the file's order.
const Settings& AllSettings();
// By "section.key"; null for a name that the table does not have.
const Setting* FindSetting(std::string_view name);
// A config as it is before any line is read.
const Config& Defaults();

// One line, its names trimmed and in lower case, its value trimmed. An unknown key
// is ignored.
Taken TakeLine(Config& config, std::string_view section, std::string_view key,
               std::string_view value);
// The same for a name that FindSetting does not find: an event, or an old key.
Taken TakeUnlisted(Config& config, std::string_view section, std::string_view key,
                   std::string_view name, std::string_view value);
bool IsKnown(std::string_view section, std::string_view name);

}  // namespace orventa::schema
