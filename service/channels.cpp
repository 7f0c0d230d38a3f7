#include "service/channels.h"

#include <array>
#include <string>
#include <utility>

#include "base/log.h"
#include "service/service_state.h"
#include "service/verbs.h"

namespace orventa {
namespace {

struct ChannelRow {
  ChannelKind kind;
  const char* opened;
  const char* failed;  // empty: nobody misses it
};

constexpr std::array kChannels = {
    ChannelRow{ChannelKind::Control, "ipc: listening", "ipc: could not create the control channel"},
    ChannelRow{ChannelKind::Deck, "ipc: deck channel listening",
               "ipc: could not create the deck channel"},
    ChannelRow{ChannelKind::OldDeck, "ipc: deck channel also listening under its old name", ""},
};

ChannelOptions OptionsFor(ServiceState& state, ChannelKind kind) {
  ChannelOptions options;
  options.name = ChannelName(kind, state.platform.user_name);
  if (kind != ChannelKind::Control) {
    options.handler = HandleDeckRequest;
    return options;
  }
  options.label_integrity = true;
  options.handler = [&state](const ChannelRequest& request) {
    return HandleIpcRequest(state, request);
  };
  options.on_disconnect = [&state] { state.window_connected = false; };
  return options;
}

}  // namespace

void OpenControlChannels(ServiceState& state) {
  for (const ChannelRow& row : kChannels) {
    const auto index = static_cast<size_t>(row.kind);
    if (state.channels.at(index)) continue;
    if (state.platform.open_channel(state.clock, OptionsFor(state, row.kind),
                                    state.channels.at(index))) {
      LogInfo("%s", row.opened);
    } else if (*row.failed != '\0' && !std::exchange(state.channel_failure_told.at(index), true)) {
      LogWarning("%s", row.failed);
    }
  }
}

void CloseControlChannels(ServiceState& state) {
  for (auto& channel : state.channels) channel.reset();
}

}  // namespace orventa
