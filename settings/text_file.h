// The texts that people edit by hand, as files: reading bears with writers and
// with damage, writing never leaves half a file. One lock of the process keeps a
// reader from the moment of replacement. Any thread; may wait half a second.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/clock.h"
#include "base/files.h"
#include "base/status.h"

namespace orventa {

struct SettingsTextFile {
  std::string text;
  bool existed = false;      // `text` is usable
  bool from_backup = false;  // a file with a zero byte in it was replaced by its ".bak"
  bool unusable = false;     // damaged, and the backup no better
};
// A hundred times what the longest settings file comes to. What is longer is not one,
// and reading it would hold up the start.
inline constexpr uint64_t kMaxSettingsTextBytes = 4 * 1024 * 1024;
// A file that is not there is no failure; one above `max_bytes` is unusable.
Status ReadSettingsText(IClock& clock, const std::string& path, SettingsTextFile& out,
                        uint64_t max_bytes = kMaxSettingsTextBytes);

// Makes UTF-8 of what an editor or a shell of Windows saved as "Unicode", which is full
// of zero bytes and no damage. Any other text stays as it is.
void DecodeSettingsText(std::string& text);

Status WriteSettingsText(const std::string& path, std::string_view text, KeepBackup backup);

}  // namespace orventa
