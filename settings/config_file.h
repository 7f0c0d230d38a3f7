// config.ini: read so that no file can stop the service, written so that no crash
// can lose it. Any thread; reads and writes of this process exclude each other.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/files.h"
#include "base/status.h"
#include "settings/config.h"

namespace orventa {

// Beside the program when the system names no folder for settings.
std::string ConfigPath(const KnownFolders& folders);

struct ConfigReadOutcome {
  bool existed = false;              // there was a usable text, the file's own or its backup's
  bool rewrite = false;              // write it back: it lacks lines, or was restored
  bool from_backup = false;          // the file was damaged and its backup stood in
  std::vector<std::string> unknown;  // "section.key", in the file's order
};

// The defaults with the file's lines over them. Fails only when a file that is
// there could not be read for half a second; the config is then untouched.
Status ReadConfig(IClock& clock, const std::string& path, Config& config,
                  ConfigReadOutcome& outcome);
// The same for a text that is no file.
void ReadConfigText(std::string_view text, Config& config, ConfigReadOutcome& outcome);

// The whole file, every key under its comment.
std::string ConfigText(const Config& config);
// Replaces the file; the one before stays as ".bak".
Status WriteConfig(const Config& config, const std::string& path);

// What a reader would correct, ignore or not know, line by line, for people.
struct ConfigFinding {
  uint32_t line = 0;  // from 1; 0: of the whole file
  std::string text;
};
std::vector<ConfigFinding> CheckConfigText(std::string_view text);

}  // namespace orventa
