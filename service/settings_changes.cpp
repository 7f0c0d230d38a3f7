#include "service/settings_changes.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "base/log.h"
#include "base/text.h"
#include "service/service_state.h"
#include "settings/schema.h"

namespace orventa {
namespace {

constexpr int kReads = 5;
constexpr uint64_t kReadAgainNs = 75 * kNsPerMs;

// A text that stood still while it was read, and that is the file's own: what a
// backup or the defaults stand in for may be in the middle of being written.
bool ReadForEdit(ServiceState& state, Config& config, uint64_t& stamp)
    ORVENTA_REQUIRES(settings_lock) {
  stamp = StampOf(state.config_path);
  for (int i = 0; i < kReads; ++i) {
    ConfigReadOutcome outcome;
    const Status status = ReadConfigForChange(state, config, outcome);
    const uint64_t stamp_after = StampOf(state.config_path);
    const bool stood_in = outcome.from_backup || IsUnusable(state.config_path, outcome);
    const bool still = stamp_after == std::exchange(stamp, stamp_after);
    if (status.ok() && still && (!stood_in || stamp == state.config_stamp)) return true;
    state.clock.SleepUntil(state.clock.SteadyNs() + kReadAgainNs);
  }
  LogWarning("settings: config.ini kept changing, change not saved");
  return false;
}

void Toggle(ServiceState& state, bool& (*setting)(Config& config), const char* on_title,
            const char* off_title) {
  PersistAndApply(state, [=](Config& config) {
    bool& value = setting(config);
    value = !value;
    return Said{value ? on_title : off_title, {}};
  });
}

// "0.9.8" is older than "0.9.77".
bool IsOlder(std::string_view version, std::string_view than) {
  const auto numbers = [](std::string_view text) {
    std::vector<uint64_t> parts;
    for (const std::string_view part : Split(text, '.')) {
      parts.push_back(ParseUnsigned(part).value_or(0));
    }
    return parts;
  };
  return numbers(version) < numbers(than);
}

}  // namespace

EditResult EditConfig(ServiceState& state, const std::function<bool(Config&)>& change) {
  const MutexLock lock(settings_lock);
  Config config;
  uint64_t read_stamp = 0;
  if (!ReadForEdit(state, config, read_stamp)) return EditResult::Failed;
  if (!change(config)) return EditResult::Nothing;
  if (const Status status = WriteConfig(config, state.config_path); !status.ok()) {
    LogWarning("settings: %s", status.message().c_str());
    return EditResult::Failed;
  }
  // Fails when somebody's edit lies between the two, which the watch then finds.
  state.config_stamp.compare_exchange_strong(read_stamp, StampOf(state.config_path));
  return EditResult::Changed;
}

void PersistAndApply(ServiceState& state, const std::function<Said(Config&)>& change) {
  Said said;
  const EditResult result = EditConfig(state, [&](Config& config) {
    const Config before = config;
    said = change(config);
    return !(config == before);
  });
  if (result == EditResult::Failed) {
    ShowNotification(state, NoticeKind::Problem, "Could not write the settings file.");
  }
  if (result != EditResult::Changed) return;
  AnnounceOwnWrite(state);
  if (said.title.empty()) return;
  ShowNotification(state, NoticeKind::AudioChanged, std::move(said.title), std::move(said.detail));
}

void Remember(ServiceState& state, const std::function<void(Config&)>& change) {
  // A failure has been logged, and leaves the run itself none the worse.
  (void)EditConfig(state, [&](Config& config) {
    const Config before = config;
    change(config);
    return !(config == before);
  });
  const MutexLock lock(state.config_lock);
  change(state.config);
  change(state.config_of_file);
}

void AnnounceOwnWrite(ServiceState& state) {
  state.own_write = true;
  // A loop that has ended has nobody left to apply settings for.
  (void)state.loop->Post({static_cast<uint32_t>(ServiceMessage::SettingsChanged), 0, {}});
}

void ToggleAudio(ServiceState& state) {
  Toggle(
      state, [](Config& config) -> bool& { return config.audio.enabled; }, "System audio on",
      "System audio off");
}

void ToggleMicrophone(ServiceState& state) {
  Toggle(
      state, [](Config& config) -> bool& { return config.audio.microphone; }, "Microphone on",
      "Microphone off");
}

void ToggleMicrophoneMono(ServiceState& state) {
  Toggle(
      state, [](Config& config) -> bool& { return config.audio.microphone_mono; }, "", "");
}

void ToggleWebcam(ServiceState& state) {
  Toggle(
      state, [](Config& config) -> bool& { return config.webcam.enabled; }, "", "");
}

void AdjustMicrophoneLevel(ServiceState& state, int steps) {
  PersistAndApply(state, [steps](Config& config) {
    Config valid = config;  // as it is in force
    (void)Validate(valid);
    const int64_t wanted =
        int64_t{valid.audio.microphone_volume} + int64_t{steps} * valid.hotkeys.microphone_step;
    config.audio.microphone_volume = static_cast<uint32_t>(std::clamp<int64_t>(wanted, 0, 100));
    return Said{Format("Microphone volume %u%%", config.audio.microphone_volume), {}};
  });
}

void TellUpdated(ServiceState& state) {
  const std::string running = ORVENTA_VERSION;
  const std::string seen = CopyConfig(state).updates.last_version_seen;
  if (seen == running) return;
  if (!seen.empty() && IsOlder(seen, running)) {
    ShowNotification(state, NoticeKind::Updated, "ORVENTA has updated to " + running + ".");
  }
  Remember(state, [&](Config& config) { config.updates.last_version_seen = running; });
}

}  // namespace orventa
