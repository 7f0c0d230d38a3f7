// The service on Linux: its parts, put together.

#include <string>
#include <vector>

#include "base/clock.h"
#include "base/instance.h"
#include "encoders/lavc/lavc.h"
#include "service/channel/channel.h"
#include "service/run_options.h"
#include "service/service.h"
#include "service/service_linux/linux_platform.h"
#include "video/engine.h"
#include "video/video_linux/video_linux.h"

int main(int argument_count, char** argument_values) {
  using namespace orventa;
  const std::vector<std::string> arguments(argument_values + 1, argument_values + argument_count);

  const std::unique_ptr<IClock> clock = MakeSystemClock();
  const KnownFolders folders = FindKnownFolders();
  const BackendList backends = LavcBackends();
  LinuxProcess process;
  LinuxDesktop desktop(*clock);

  // What the engine stands on; made when it is.
  std::unique_ptr<IGraphics> graphics;
  std::unique_ptr<IDesktopTargets> targets;
  const auto make_engine = [&](const Config& config, std::unique_ptr<ReplayEngine>& engine) {
    RunOptions options;
    if (Status status = ReadRunOptions(arguments, options); !status.ok()) return status;
    graphics = MakeLinuxGraphics(*clock);
    targets = MakeLinuxTargets(*clock, options.window_title);
    engine = MakeEngine(EnginePlatform{*clock, *graphics, *targets, *targets, backends}, folders,
                        config);
    return Status::Ok();
  };

  Platform platform{*clock,  folders, CurrentUserName(), process,
                    desktop, desktop, make_engine,       OpenChannel};
  return RunService(platform, arguments);
}
