#include "tools/orventactl/service_call.h"

#include <algorithm>
#include <ostream>

#include "base/instance.h"
#include "base/text.h"
#include "service/channel/channel.h"

namespace orventa {

ServiceAnswer AskService(const std::string& request) {
  std::string text;
  switch (CallChannel(ChannelName(ChannelKind::Control, CurrentUserName()), request, text)) {
    case ChannelCallResult::Answered: break;
    case ChannelCallResult::NoService: return {kExitNoService, {}, "ORVENTA is not running"};
    case ChannelCallResult::Broken: return {kExitNoService, {}, "ORVENTA did not answer"};
  }
  if (text != "OK" && !text.starts_with("OK\n")) return {kExitFailed, {}, text};
  return {kExitOk, text.substr(std::min<size_t>(3, text.size())), {}};
}

int Report(const ServiceAnswer& answer, std::ostream& errors) {
  if (answer.exit_code != kExitOk) errors << "orventactl: " << answer.error << "\n";
  return answer.exit_code;
}

std::string_view ValueOf(std::string_view lines, std::string_view key) {
  for (const std::string_view line : Split(lines, '\n')) {
    if (line.starts_with(key) && line.substr(key.size()).starts_with('=')) {
      return line.substr(key.size() + 1);
    }
  }
  return {};
}

}  // namespace orventa
