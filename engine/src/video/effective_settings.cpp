#include "video/effective_settings.h"

#include <algorithm>
#include <utility>

#include "base/clock.h"
#include "base/log.h"
#include "settings/schema.h"

namespace orventa {

void EffectiveSettings::SetBase(const Config& base) {
  base_ = base;
  Rebuild();
}

void EffectiveSettings::SetTarget(SettingOverrides overrides) {
  target_ = std::move(overrides);
  Rebuild();
}

void EffectiveSettings::SetSession(SettingOverrides overrides) {
  session_ = std::move(overrides);
  Rebuild();
}

Config EffectiveSettings::ConfigFor(const SettingOverrides& target) const {
  Config config = base_;
  for (const SettingOverrides* overrides : {&target, &session_}) {
    for (const auto& [key, value] : *overrides) {
      if (!ApplySetting(config, key, value)) {
        LogWarning("a setting was left out: unknown setting: %s", key.c_str());
      }
    }
  }
  // What the user hears of is the file; a game's own lines are only kept in range.
  (void)Validate(config);
  return config;
}

void EffectiveSettings::Rebuild() {
  effective_ = ConfigFor(target_);
}

void EffectiveSettings::KeepForOldTarget(uint64_t now_ns) {
  const uint32_t seconds = ReplaySeconds();
  kept_ = effective_;
  kept_->replay.duration_seconds = seconds;
  kept_until_ns_ = now_ns + seconds * kNsPerSecond;
  SetTarget({});
}

bool EffectiveSettings::ExpireKept(uint64_t now_ns) {
  if (!kept_ || now_ns < kept_until_ns_) return false;
  kept_.reset();
  return true;
}

uint32_t EffectiveSettings::ReplaySeconds() const {
  const uint32_t seconds = effective_.replay.duration_seconds;
  return kept_ ? std::max(seconds, kept_->replay.duration_seconds) : seconds;
}

}  // namespace orventa
