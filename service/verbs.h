// What can be asked over the control channels, and the answers: "OK", "OK" with
// lines of text after it, or "ERR <code> <message>". Each channel calls from its
// own thread; what must happen on the main thread is posted there.
#pragma once

#include <string>

#include "base/status.h"
#include "service/channel/channel.h"

namespace orventa {

struct ServiceState;

std::string HandleIpcRequest(ServiceState& state, const ChannelRequest& request);

// The deck's verbs have not moved in: every one of them is unknown.
std::string HandleDeckRequest(const ChannelRequest& request);

// How a failed Status looks on a channel.
std::string ErrorAnswer(const Status& status);

}  // namespace orventa
