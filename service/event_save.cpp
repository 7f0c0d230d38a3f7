#include "service/event_save.h"

#include <algorithm>
#include <utility>

#include "service/saving.h"
#include "service/service_state.h"

namespace orventa {
namespace {

constexpr uint64_t kQuietNs = kEventSaveFlushMs * kNsPerMs;
constexpr uint32_t kFlushTimer = static_cast<uint32_t>(ServiceTimer::EventSaveFlush);

// The configured length and the time since the first event; never more than the
// replay holds, where that is known. 0: the whole replay.
uint32_t SecondsToSave(ServiceState& state, const EventSave& event_save) {
  const Config config = CopyConfig(state);
  if (event_save.whole_replay || config.service.save_seconds == 0) return 0;
  const uint64_t since_first_ns = state.clock.SteadyNs() - event_save.first_event_ns;
  const uint64_t wanted =
      config.service.save_seconds + (since_first_ns + kNsPerSecond - 1) / kNsPerSecond;
  const uint32_t held = state.engine ? state.engine->GetStatus().replay_seconds : 0;
  return static_cast<uint32_t>(std::min<uint64_t>(wanted, held == 0 ? UINT32_MAX : held));
}

}  // namespace

void OnEventSaveRequest(ServiceState& state, EventSaveRequest request) {
  if (request == EventSaveRequest::FlushNow) {
    FlushEventSave(state);
    return;
  }
  const uint64_t now_ns = state.clock.SteadyNs();
  if (!state.event_save) {
    state.event_save.emplace();
    state.event_save->first_event_ns = now_ns;
    if (state.engine) state.event_save->game = state.engine->GetStatus().target_name;
  }
  state.event_save->last_event_ns = now_ns;
  if (request == EventSaveRequest::WholeReplay) state.event_save->whole_replay = true;
  state.loop->SetTimer(kFlushTimer, kEventSaveFlushMs);
}

void FlushEventSave(ServiceState& state) {
  state.loop->ClearTimer(kFlushTimer);
  if (!state.event_save) return;
  const EventSave event_save = *std::exchange(state.event_save, std::nullopt);
  RequestSave(state, SecondsToSave(state, event_save), !event_save.whole_replay);
}

void FlushQuietEventSave(ServiceState& state) {
  if (!state.event_save) return;
  if (state.clock.SteadyNs() - state.event_save->last_event_ns >= kQuietNs) FlushEventSave(state);
}

void FlushEventSaveOfGoneGame(ServiceState& state) {
  if (!state.event_save || !state.engine) return;
  if (state.engine->GetStatus().target_name != state.event_save->game) FlushEventSave(state);
}

}  // namespace orventa
