#include "service/sound_news.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>

#include "base/log.h"
#include "service/service_state.h"

namespace orventa {
namespace {

// A device that comes and goes is not told of every time.
constexpr uint64_t kToldAgainNs = 3 * kNsPerSecond;

struct TroubleText {
  std::string_view word;  // empty: any other
  const char* text;
};

constexpr std::array kMicrophoneTexts = {
    TroubleText{"denied",
                "Windows is not letting apps use the microphone, so this game is being recorded "
                "without it. You can allow it in Windows' microphone privacy settings."},
    TroubleText{"busy",
                "Another app is using the microphone on its own, so this game is being recorded "
                "without it. Close that app, and ORVENTA picks it up again."},
    TroubleText{"not_found", "No microphone was found, so this game is being recorded without it."},
    TroubleText{"",
                "The microphone could not be opened, so this game is being recorded without it."},
};

}  // namespace

void WatchMicrophone(ServiceState& state, const EngineSnapshot& snapshot) {
  const std::string& trouble = snapshot.microphone_trouble;
  SeenByPass& seen = state.seen;
  if (std::exchange(seen.microphone_trouble, trouble) == trouble || trouble.empty()) return;
  const uint64_t now_ns = state.clock.SteadyNs();
  if (seen.microphone_told == trouble && now_ns - seen.microphone_told_ns < kToldAgainNs) return;
  seen.microphone_told = trouble;
  seen.microphone_told_ns = now_ns;
  LogWarning("sound: the microphone is left out: %s", trouble.c_str());
  const auto row = std::find_if(
      kMicrophoneTexts.begin(), kMicrophoneTexts.end(),
      [&](const TroubleText& known) { return known.word.empty() || known.word == trouble; });
  ShowNotification(state, NoticeKind::Problem, row->text);
}

void TellSoundDevices(ServiceState& state, const EngineSnapshot& snapshot) {
  if (snapshot.sound_devices == nullptr) return;
  for (const DeviceStint& stint : *snapshot.sound_devices) {
    if (stint.number <= state.seen.sound_stint) continue;
    state.seen.sound_stint = stint.number;
    const LocalTime at = state.clock.ToLocal(stint.opened_wall_ms);
    LogInfo("sound: now on %s (%s, opened %02d:%02d:%02d.%03d)", stint.device.c_str(),
            stint.reason.c_str(), at.hour, at.minute, at.second, at.millisecond);
  }
}

}  // namespace orventa
