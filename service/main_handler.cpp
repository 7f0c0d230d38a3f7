#include "service/main_handler.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/log.h"
#include "service/actions.h"
#include "service/event_save.h"
#include "service/exit.h"
#include "service/later.h"
#include "service/pass.h"
#include "service/repair.h"
#include "service/saving.h"
#include "service/service_state.h"
#include "service/settings_reload.h"

namespace orventa {
namespace {

void OnShowNotice(ServiceState& state, const Message& message) {
  const auto* carried = dynamic_cast<const NoticeMessage*>(message.record.get());
  if (carried == nullptr) return;
  const NoticeRecord& notice = carried->notice;
  ShowNotification(state, notice.kind, notice.title, notice.detail, notice.path);
}

void OnEventSave(ServiceState& state, const Message& message) {
  if (message.value > static_cast<uint64_t>(EventSaveRequest::FlushNow)) return;
  OnEventSaveRequest(state, static_cast<EventSaveRequest>(message.value));
}

// Self-posted hotkeys carry the action in their last three digits.
void OnHotkey(ServiceState& state, const Message& message) {
  RunHotkeyAction(state, static_cast<HotkeyAction>(message.value % 1000));
}

void OnRepair(ServiceState& state, const Message& message) {
  const auto* findings = dynamic_cast<const RepairFindings*>(message.record.get());
  if (findings != nullptr) OnRepairEnded(state, *findings);
}

struct MessageRow {
  ServiceMessage id;
  void (*handle)(ServiceState& state, const Message& message);
};

// Messages of features that are not here are nobody's and are dropped.
constexpr std::array kMessages = {
    MessageRow{ServiceMessage::SaveEnded,
               [](ServiceState& s, const Message& m) { OnSaveEnded(s, m.value != 0); }},
    MessageRow{ServiceMessage::SettingsChanged,
               [](ServiceState& s, const Message&) { OnSettingsChanged(s); }},
    MessageRow{ServiceMessage::ShowNotice, OnShowNotice},
    MessageRow{ServiceMessage::CheckHotkeyMethod,
               [](ServiceState& s, const Message&) { CheckHotkeyMethod(s); }},
    MessageRow{ServiceMessage::EventSave, OnEventSave},
    MessageRow{ServiceMessage::ShutdownBlock,
               [](ServiceState& s, const Message& m) { SetShutdownBlock(s, m.value != 0); }},
    MessageRow{ServiceMessage::RepairEnded, OnRepair},
    MessageRow{ServiceMessage::Command,
               [](ServiceState& s, const Message& m) {
                 RunTrayCommand(s, static_cast<TrayCommand>(m.value));
               }},
    MessageRow{ServiceMessage::Hotkey, OnHotkey},
};

struct TimerRow {
  ServiceTimer id;
  void (*handle)(ServiceState& state);
};

constexpr std::array kTimers = {
    TimerRow{ServiceTimer::Pass, RunPass},
    TimerRow{ServiceTimer::TrayHover, WatchTrayHover},
    TimerRow{ServiceTimer::HeldKeys, WatchHeldKeys},
    TimerRow{ServiceTimer::EventSaveFlush, FlushEventSave},
    TimerRow{ServiceTimer::KeyPolling, PollKeys},
    TimerRow{ServiceTimer::NoticeQueue, RunNoticeQueue},
};

void OnSuspending(ServiceState& state) {
  LogInfo("going to sleep: capture held");
  state.engine->NotifySuspending();
}

void OnResumed(ServiceState& state) {
  LogInfo("woke from sleep");
  state.engine->NotifyResumed();
}

void OnDisplaysChanged(ServiceState& state) {
  LogInfo("display changed: rebuilding capture");
  NoteDisplays(state);
  // What the engine could not take it tells through its status.
  (void)state.engine->ApplySettings(CopyConfig(state), CopyGameList(state));
  if (state.engine->HasNoEncoder()) state.engine->RetryEncoder();
}

// The one record, when there is something to handle events with.
ServiceState* ReadyService() {
  ServiceState* state = CurrentService();
  return state != nullptr && state->engine ? state : nullptr;
}

}  // namespace

void MainHandler::OnMessage(Message message) {
  ServiceState* state = ReadyService();
  if (state == nullptr) return;
  const auto row = std::find_if(kMessages.begin(), kMessages.end(), [&](const MessageRow& known) {
    return static_cast<uint32_t>(known.id) == message.id;
  });
  if (row != kMessages.end()) row->handle(*state, message);
}

void MainHandler::OnTimer(uint32_t timer_id) {
  ServiceState* state = ReadyService();
  if (state == nullptr) return;
  const auto row = std::find_if(kTimers.begin(), kTimers.end(), [&](const TimerRow& known) {
    return static_cast<uint32_t>(known.id) == timer_id;
  });
  if (row != kTimers.end()) row->handle(*state);
}

void MainHandler::OnSystemEvent(SystemEvent event) {
  ServiceState* state = ReadyService();
  if (state == nullptr) return;
  switch (event) {
    case SystemEvent::Suspending: OnSuspending(*state); break;
    case SystemEvent::Resumed: OnResumed(*state); break;
    case SystemEvent::DisplaysChanged: OnDisplaysChanged(*state); break;
    case SystemEvent::ThemeChanged: RedrawForTheme(*state); break;
    case SystemEvent::VolumeArrived: StartRepairPass(*state); break;
    case SystemEvent::TrayRebuilt: RestoreTrayIcon(*state); break;
    case SystemEvent::CloseRequested: EndService(*state); break;
    case SystemEvent::SessionEnding: EndSession(*state); break;
  }
}

}  // namespace orventa
