#include "service/service.h"

#include "base/log.h"
#include "service/exit.h"
#include "service/main_handler.h"
#include "service/service_state.h"
#include "service/start.h"

namespace orventa {
namespace {

int LiveInState(Platform& platform, Beginning beginning) {
  ServiceState state(platform, std::move(beginning.options), std::move(beginning.instance));
  state.started_ns = beginning.started_ns;
  PublishService(&state);
  if (const std::optional<int> code = StartService(state)) {
    PublishService(nullptr);
    return *code;
  }
  MainHandler handler;
  state.loop->Run(handler);
  return ExitService(state);
}

}  // namespace

int RunService(Platform& platform, std::span<const std::string> arguments) {
  Beginning beginning;
  if (const std::optional<int> code = BeginRun(platform, arguments, beginning)) return *code;
  const int code = LiveInState(platform, std::move(beginning));
  CloseLog();
  return code;
}

}  // namespace orventa
