// The one table of settings and the loops over it. A row says where a key stands
// in the file, what it may hold, what it says about itself, and what the engine
// has to do when it changes. Any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "settings/config.h"

namespace orventa {

// Names are "section.key" in lower case.

// Whether this build gives the key a meaning. Every key of the two sections of
// game events is known: their keys are events, which later versions add to.
bool IsKnownKey(std::string_view name);

// Every setting that the file has a line for, in the file's order.
std::vector<std::string> KnownKeys();

// Takes one line's value over. A value that the key cannot hold leaves the config
// as it was; so does a key that no version ever had.
void ApplySetting(Config& config, std::string_view section, std::string_view key,
                  std::string_view value);
// By the whole name, split at its first dot. False: no version ever had such a key.
bool ApplySetting(Config& config, std::string_view name, std::string_view value);

// The value as the file has it; empty for a key that the file does not have.
std::string SettingText(const Config& config, std::string_view name);

// Puts back what is out of range and says so, a line for each, for the user.
std::vector<std::string> Validate(Config& config);

// The settings that differ, by name, in the file's order.
std::vector<std::string> ChangedSettings(const Config& before, const Config& after);

// What a running engine has to do about new settings.
struct SettingEffects {
  bool restart = false;  // build the pipeline anew
  bool sound = false;    // take the sound settings over, live if possible
  bool webcam = false;   // open the camera anew
  bool operator==(const SettingEffects&) const = default;
};
SettingEffects EffectsOfChange(const Config& before, const Config& after);

}  // namespace orventa
