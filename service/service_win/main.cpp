// The service on Windows: its parts, put together.

#include <windows.h>

#include <shellapi.h>

#include <string>
#include <vector>

#include "base/base_win/media_foundation.h"
#include "base/base_win/win32.h"
#include "base/clock.h"
#include "base/instance.h"
#include "encoders/amf/amf.h"
#include "encoders/amf/amf_api.h"
#include "encoders/mf/mf.h"
#include "encoders/mf/mf_players.h"
#include "encoders/nvenc/nvenc.h"
#include "encoders/nvenc/nvenc_api.h"
#include "games/targets/known_games.h"
#include "media/media_win/d3d11_device.h"
#include "service/channel/channel.h"
#include "service/first_run.h"
#include "service/service.h"
#include "service/service_win/win_platform.h"
#include "sound/sound_win/win_sound.h"
#include "video/engine.h"
#include "video/game_finder.h"
#include "video/video_win/win_graphics.h"
#include "video/video_win/win_targets.h"

namespace {

std::vector<std::string> Arguments() {
  std::vector<std::string> arguments;
  int count = 0;
  LPWSTR* const words = CommandLineToArgvW(GetCommandLineW(), &count);
  for (int i = 1; words != nullptr && i < count; ++i) {
    arguments.push_back(orventa::Narrow(words[i]));
  }
  LocalFree(words);
  return arguments;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int) {
  using namespace orventa;
  const std::unique_ptr<IClock> clock = MakeSystemClock();
  const KnownFolders folders = FindKnownFolders();
  WinProcess process;
  WinDesktop desktop(*clock);
  WinGraphics graphics(*clock);
  NvencBackend nvenc(NvencApi::OfDriver, FindAdapterFacts);
  AmfBackend amf(AmfApi::OfDriver, FindAdapterFacts);
  QsvBackend qsv(MediaFoundation::OfSystem, FindAdapterFacts);
  const BackendList backends = {&nvenc, &amf, &qsv};
  const std::unique_ptr<ISoundSources> sound = MakeWinSound(*clock);
  const std::unique_ptr<IKnownGames> known_games = MakeKnownGames(*clock, folders);
  WinTargets targets(*clock, *known_games);
  GameFinder finder(targets);
  const auto make_engine = [&](const Config& config, const GameList& game_list,
                               std::unique_ptr<ReplayEngine>& engine) {
    engine = MakeEngine(EnginePlatform{*clock, graphics, finder, targets, backends, sound.get()},
                        folders, config, game_list);
    return Status::Ok();
  };

  const auto find_codecs = [&](const std::string& adapter) {
    return AskForCodecs(graphics, backends, adapter);
  };
  const auto mark_what_plays = [](MachineCodecs& codecs) {
    MarkWhatPlays(MediaFoundation::OfSystem(), codecs);
  };

  Platform platform{*clock,  folders,     CurrentUserName(), process,     desktop,
                    desktop, make_engine, OpenChannel,       find_codecs, mark_what_plays};
  return RunService(platform, Arguments());
}
