// The service on Linux: its parts, put together.

#include <string>
#include <vector>

#include "base/clock.h"
#include "base/instance.h"
#include "encoders/lavc/lavc.h"
#include "games/targets/known_games.h"
#include "service/channel/channel.h"
#include "service/first_run.h"
#include "service/service.h"
#include "service/service_linux/linux_platform.h"
#include "sound/sound_linux/sound_linux.h"
#include "video/engine.h"
#include "video/game_finder.h"
#include "video/video_linux/video_linux.h"

int main(int argument_count, char** argument_values) {
  using namespace orventa;
  const std::vector<std::string> arguments(argument_values + 1, argument_values + argument_count);

  const std::unique_ptr<IClock> clock = MakeSystemClock();
  const KnownFolders folders = FindKnownFolders();
  const BackendList backends = LavcBackends();
  LinuxProcess process;
  LinuxDesktop desktop(*clock,
                       [&](ILinuxMessageLoop& loop) { return WatchLinuxDisplays(*clock, loop); });

  // What the engine stands on; made when it is.
  const std::unique_ptr<IKnownGames> known_games = MakeKnownGames(*clock, folders);
  const std::unique_ptr<ISoundSources> sound = MakeLinuxSound(*clock);
  std::unique_ptr<IGraphics> graphics;
  std::unique_ptr<IDesktopView> view;
  std::unique_ptr<GameFinder> finder;
  const auto make_engine = [&](const Config& config, const GameList& game_list,
                               std::unique_ptr<ReplayEngine>& engine) {
    graphics = MakeLinuxGraphics(*clock);
    view = MakeLinuxDesktopView(*clock, *known_games);
    finder = std::make_unique<GameFinder>(*view);
    engine = MakeEngine(EnginePlatform{*clock, *graphics, *finder, *view, backends, sound.get()},
                        folders, config, game_list);
    return Status::Ok();
  };

  const auto find_codecs = [&](const std::string& adapter) {
    return AskForCodecs(*MakeLinuxGraphics(*clock), backends, adapter);
  };

  Platform platform{*clock,  folders,     CurrentUserName(), process,    desktop,
                    desktop, make_engine, OpenChannel,       find_codecs};
  return RunService(platform, arguments);
}
