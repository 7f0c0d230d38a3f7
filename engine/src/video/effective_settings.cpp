#include "video/effective_settings.h"

#include <algorithm>
#include <utility>

#include "base/clock.h"
#include "base/log.h"
#include "settings/apply_setting.h"

namespace orventa {

SettingsChange CompareSettings(const Config& before, const Config& after) {
  SettingsChange change;
  // Replay length, storage and output folders are taken over live. The settings of
  // recordings count when a recording opens.
  change.restart = before.video != after.video || before.adapter != after.adapter ||
                   before.capture != after.capture;
  change.sound = before.audio != after.audio;
  return change;
}

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

void EffectiveSettings::Rebuild() {
  effective_ = base_;
  for (const SettingOverrides* overrides : {&target_, &session_}) {
    for (const auto& [key, value] : *overrides) {
      if (const Status applied = ApplySetting(effective_, key, value); !applied.ok()) {
        LogWarning("a setting was left out: %s", applied.message().c_str());
      }
    }
  }
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
