// The settings in force: the user's own, what the captured game asks for, what
// was given for this run, and for a while the replay length from before a change
// of the target. A plain value; the owner locks.
#pragma once

#include <cstdint>
#include <optional>

#include "settings/config.h"
#include "video/setting_overrides.h"

namespace orventa {

class EffectiveSettings {
 public:
  explicit EffectiveSettings(const Config& base) : base_(base), effective_(base) {}

  const Config& config() const { return effective_; }
  bool HasSessionOverrides() const { return !session_.empty(); }

  void SetBase(const Config& base);
  void SetTarget(SettingOverrides overrides);
  void SetSession(SettingOverrides overrides);

  // What would be in force for a target with these settings.
  Config ConfigFor(const SettingOverrides& target) const;

  // The target went: its settings stay in force for the history for as long as
  // the history it left is, and no longer for what comes next.
  void KeepForOldTarget(uint64_t now_ns);
  // True when what was kept has just ended.
  bool ExpireKept(uint64_t now_ns);
  void ForgetKept() { kept_.reset(); }
  const std::optional<Config>& kept() const { return kept_; }

  // The longer of the lengths in force.
  uint32_t ReplaySeconds() const;

 private:
  void Rebuild();

  Config base_;
  SettingOverrides target_;
  SettingOverrides session_;
  Config effective_;
  std::optional<Config> kept_;
  uint64_t kept_until_ns_ = 0;  // steady clock
};

}  // namespace orventa
