// Finding the game: one decision on a crowded desktop, with a question about every
// window whether its program is a game. Paths have been asked about before, as they
// have a second after the service started.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/text.h"
#include "benchmarks/bench.h"
#include "games/targets/find_game.h"
#include "games/targets/known_games.h"
#include "games/targets/listed_games.h"
#include "games/targets/targets_linux/steam_games.h"
#include "tests/fakes/temp_folder.h"

namespace orventa::bench {
namespace {

constexpr size_t kWindows = 200;
constexpr size_t kEntries = 50;
constexpr size_t kSteamGames = 200;
constexpr size_t kRepetitions = 2001;

// Nothing on it is on the list, so that every entry looks at every window.
DesktopSnapshot CrowdedDesktop() {
  DesktopSnapshot desktop;
  desktop.displays.resize(2);
  for (size_t i = 0; i < kWindows; ++i) {
    WindowInfo row;
    row.hwnd = i + 1;
    row.title = Format("Document %zu of the Quarterly Report - \u00C9diteur %zu", i * 37, i % 9);
    row.exe_path = Format("/home/user/Applications/Office Suite %zu/bin/program%zu", i % 9, i % 60);
    row.window_class = Format("Office-Suite-%zu", i % 9);
    row.fills_monitor = i % 3 == 0;
    row.resizable = true;
    desktop.windows.push_back(std::move(row));
  }
  return desktop;
}

GameList LongList() {
  std::string text;
  for (size_t i = 0; i + 1 < kEntries; ++i) {
    constexpr std::string_view kForms[] = {"window:The Report of", "exact:Editor",
                                           "path:/home/user/games", "window:Quarterly"};
    text.append(kForms[i % std::size(kForms)]).append(Format(" Game %zu\n", i));
  }
  text += "any-game\n";
  for (size_t i = 0; i < 5; ++i) text += Format("except window:Chat %zu\n", i);
  return ParseGameList(text);
}

std::unique_ptr<IKnownGames> ManyKnownGames(IClock& clock, const TempFolder& temp) {
  std::filesystem::create_directories(temp / "steamapps");
  std::filesystem::create_directories(temp / "programs");
  std::ofstream installed(temp / "programs/games.txt");
  for (size_t i = 0; i < kSteamGames; ++i) {
    std::ofstream(temp / Format("steamapps/appmanifest_%zu.acf", i))
        << Format("AppState { StateFlags 4 name \"Game %zu\" installdir \"Game %zu\" }", i, i);
    installed << Format("Game\t/home/user/Games/Some Game %zu/game\t\n", i);
  }
  KnownFolders folders;
  folders.local_data = temp.path();
  return AssembleKnownGames(
      clock, folders,
      std::make_unique<ListedGames>(
          clock, std::make_unique<SteamGames>(std::vector<std::string>{temp.path()})));
}

std::vector<Row> MeasureTargets() {
  const std::unique_ptr<IClock> clock = MakeSystemClock();
  const TempFolder temp;
  const std::unique_ptr<IKnownGames> known = ManyKnownGames(*clock, temp);
  DesktopSnapshot desktop = CrowdedDesktop();
  const GameList list = LongList();
  CaptureSource source;
  const auto decide = [&] {
    for (WindowInfo& row : desktop.windows) row.known_game = known->IsKnownGame(row.exe_path);
    if (ResolveCaptureSource(list, {}, desktop, 0, source).ok()) {
      std::fprintf(stderr, "bench: something was found on the desktop without games\n");
      std::exit(1);
    }
  };
  decide();
  std::vector<double> microseconds;
  for (size_t i = 0; i < kRepetitions; ++i) {
    const double start = Seconds();
    decide();
    microseconds.push_back((Seconds() - start) * 1e6);
  }
  return {{"targets.resolve_us", Median(std::move(microseconds))}};
}

const Register kRegister("targets", MeasureTargets);

}  // namespace
}  // namespace orventa::bench
