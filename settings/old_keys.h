// Names that settings once had: read for what they meant, never written. For the
// folder's own sources only.
#pragma once

#include <string_view>

#include "settings/config.h"
#include "settings/setting.h"

namespace orventa::schema {

struct OldKey {
  std::string_view name;  // section.key
  Taken (*read)(Config& config, std::string_view value);
  std::string_view now;  // the setting that took its place; empty: none
};
// Null when no version ever called a setting so.
const OldKey* FindOldKey(std::string_view name);

}  // namespace orventa::schema
