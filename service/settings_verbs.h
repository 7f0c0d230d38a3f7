// The verbs about settings and game list. Each channel calls from its own thread.
#pragma once

#include <string>

#include "base/thread_annotations.h"
#include "service/channel/channel.h"
#include "service/settings_files.h"

namespace orventa {

std::string GetConfig(ServiceState& state, const ChannelRequest& request);
std::string GetGameList(ServiceState& state, const ChannelRequest& request);

// The body's lines "section.key=value", all of them or none.
std::string SetConfig(ServiceState& state, const ChannelRequest& request)
    ORVENTA_REQUIRES(settings_lock);
// The body is the whole list; the file gets its written form.
std::string SetGameList(ServiceState& state, const ChannelRequest& request)
    ORVENTA_REQUIRES(settings_lock);

// Why the game on screen is captured, or is not.
std::string Targets(ServiceState& state, const ChannelRequest& request);

}  // namespace orventa
