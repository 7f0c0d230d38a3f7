#include "games/targets/find_game.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "games/targets/desktop_geometry.h"

namespace orventa {
namespace {

// A recorded desktop of two monitors, the second one of them the main display.
DesktopSnapshot TwoMonitors() {
  DesktopSnapshot desktop;
  desktop.displays = {{11, "\\\\.\\DISPLAY1", "DISPLAY\\ABC\\1", "", 1920, 1080, false},
                      {12, "\\\\.\\DISPLAY2", "", "Big", 2560, 1440, true}};
  return desktop;
}

// A row by the letters of what it is: f fills, c covers, p on the main display,
// m maximized, r resizable, k known game, F in front.
WindowInfo Row(uint64_t hwnd, const std::string& flags, const std::string& title = "T",
               const std::string& exe = "C:\\G\\g.exe") {
  const auto has = [&](char flag) { return flags.find(flag) != std::string::npos; };
  return {.hwnd = hwnd,
          .title = title,
          .client_width = 1600,
          .client_height = 900,
          .exe_path = exe,
          .window_class = "Class",
          .fills_monitor = has('f'),
          .covers_monitor = has('c'),
          .on_primary = has('p'),
          .maximized = has('m'),
          .resizable = has('r'),
          .known_game = has('k'),
          .foreground = has('F')};
}

// "kind handle description", or "none".
std::string Resolve(const std::string& list, const DesktopSnapshot& desktop,
                    const FindPolicy& policy = {}, uint64_t current = 0) {
  CaptureSource source;
  const Status status = ResolveCaptureSource(ParseGameList(list), policy, desktop, current, source);
  if (status.code() == StatusCode::NoTarget) return "none";
  return std::to_string(static_cast<uint32_t>(source.kind)) + " " + std::to_string(source.handle) +
         " " + source.description;
}

TEST(FindGame, ChoosesDisplays) {
  const struct {
    const char* list;
    const char* found;
  } kCases[] = {
      {"desktop", "0 0 Big: 2560x1440 (Primary Monitor)"},
      {"desktop:1", "1 12 Big: 2560x1440 (Primary Monitor)"},
      {"desktop:2", "none"},
      {"desktop:display\\abc\\1", "1 11 DISPLAY1: 1920x1080"},
      {"desktop:Display1", "1 11 DISPLAY1: 1920x1080"},
      {"desktop:\\\\.\\DISPLAY3\ndesktop:\\\\.\\DISPLAY1", "1 11 DISPLAY1: 1920x1080"},
      {"!desktop\nwindow:x", "none"},
  };
  for (const auto& test : kCases)
    EXPECT_EQ(Resolve(test.list, TwoMonitors()), test.found) << test.list;

  DesktopSnapshot nameless = TwoMonitors();
  nameless.displays.pop_back();
  EXPECT_EQ(Resolve("desktop", nameless), "0 0 Primary display: 1920x1080 (Primary Monitor)");
  EXPECT_EQ(Resolve("desktop", {}), "none");
}

TEST(FindGame, MatchesTitlesAndPathsTopmostFirst) {
  DesktopSnapshot desktop = TwoMonitors();
  desktop.windows = {Row(1, "", "My Game - Lobby", ""),
                     Row(2, "", "my game", "C:\\Spiele\\\xC3\x9C.exe"),
                     Row(3, "", "\u00C9P\u00C9E", "c:\\spiele\\LeagueClient.exe")};
  const struct {
    const char* list;
    const char* found;
  } kCases[] = {
      {"window:GAME", "2 1 My Game - Lobby"},
      {"exact:MY GAME", "2 2 my game"},
      {"window:game\n entry.match_case = 1", "2 2 my game"},
      {"exact:My Game\n entry.match_case = 1", "none"},
      {"window:\u00E9p\u00E9e", "2 3 \u00C9P\u00C9E"},
      {"path:c:\\SPIELE\\\xC3\xBC.EXE\n entry.match_case = 1", "2 2 my game"},
      // What any-game never takes is recorded when asked for by name.
      {"C:\\Spiele\\leagueclient.exe\nexcept window:e", "2 3 \u00C9P\u00C9E"},
      {"window:lobby2\ndesktop\nwindow:lobby", "0 0 Big: 2560x1440 (Primary Monitor)"},
      {"window:my gamex", "none"},
  };
  for (const auto& test : kCases) EXPECT_EQ(Resolve(test.list, desktop), test.found) << test.list;
}

TEST(FindGame, JudgesWindowsForAnyGame) {
  using Max = MaximizedAsGame;
  const struct {
    const char* flags;
    FindPolicy policy;
    bool taken;
    uint64_t current = 0;
  } kCases[] = {
      {"fcp", {}, true},
      {"fp", {}, false},
      {"fp", {}, true, 1},
      {"fp", {}, false, 2},
      {"fF", {}, true},
      {"cF", {}, false},
      {"fFrp", {}, false},
      {"fFmp", {Max::Never, true}, false},
      {"fFrkp", {}, true},
      {"fFrkp", {Max::Never, false}, false},
      {"fFrp", {Max::Primary, true}, true},
      {"fFr", {Max::Primary, true}, false},
      {"fFm", {Max::Any, true}, true},
      {"frF", {Max::Any, true}, true},
      {"fr", {Max::Any, true}, false},
      {"kF", {}, true},
      {"k", {}, false},
      {"k", {}, true, 1},
  };
  for (const auto& test : kCases) {
    DesktopSnapshot desktop = TwoMonitors();
    desktop.windows = {Row(1, test.flags)};
    EXPECT_EQ(Resolve("any-game\ndesktop", desktop, test.policy, test.current),
              test.taken ? "2 1 T" : "0 0 Big: 2560x1440 (Primary Monitor)")
        << test.flags;
  }
}

TEST(FindGame, RanksCandidatesAndStopsAtAnExceptionBehindOne) {
  const struct {
    std::vector<WindowInfo> windows;
    const char* found;
  } kCases[] = {
      {{Row(1, "fc"), Row(2, "fcp")}, "2 2 T"},  // the main display
      {{Row(1, "fcp"), Row(2, "fF")}, "2 2 T"},  // in front beats it
      {{Row(1, "fc"), Row(2, "fc")}, "2 1 T"},   // topmost of equals
      {{Row(1, "fc"), Row(2, "", "Discord"), Row(3, "fF")}, "2 1 T"},
      {{Row(2, "fF", "Discord"), Row(3, "fc")}, "2 3 T"},
      {{Row(1, "fc"), Row(2, "fF", "T", "C:\\steam.exe"), Row(3, "fcp")}, "2 3 T"},
      {{Row(1, "fF", "T", ""), Row(2, "fc")}, "2 1 T"},  // the program is not readable
      {{Row(1, "fF", "T", "C:\\B\\b.exe"), Row(2, "fc")}, "2 2 T"},
      {{Row(1, "fF", "Off")}, "2 1 Off"},  // that exception is disabled
  };
  const std::string list =
      "any-game\nexcept window:discord\nexcept c:\\b\\B.exe\n!except window:off";
  for (const auto& test : kCases) {
    DesktopSnapshot desktop;
    desktop.windows = test.windows;
    EXPECT_EQ(Resolve(list, desktop), test.found)
        << ExplainCaptureSource(ParseGameList(list), {}, desktop, 0);
  }
}

TEST(FindGame, KnowsWhatIsNeverAGame) {
  const struct {
    const char* exe;
    const char* window_class;
    bool eligible;
  } kCases[] = {
      {"C:\\a\\game.exe", "UnityWndClass", true},
      {"", "", true},
      {"C:\\a\\game.exe", "Chrome_WidgetWin_1", false},
      {"C:\\a\\game.exe", "WorkerW", false},
      {"C:\\Program Files\\VLC.EXE", "x", false},
      {"D:\\LeagueClientUx.exe", "x", false},
      {"C:\\steam.exe\\game.exe", "x", true},
      {"/usr/lib/firefox/firefox", "x", false},
      {"/usr/bin/python3.11", "Lutris", false},
      {"/home/u/steam/orventa-demo-game", "steam_app_10", true},
  };
  for (const auto& test : kCases) {
    EXPECT_EQ(EligibleForAnyGame(test.exe, test.window_class), test.eligible)
        << test.exe << " " << test.window_class;
  }
}

TEST(FindGame, ExplainsEveryRowAndEntry) {
  DesktopSnapshot desktop = TwoMonitors();
  desktop.windows = {Row(1, "", "Chat\nroom"),   Row(2, "fF", "Film", "/usr/bin/vlc"),
                     Row(3, "frp", "Wide"),      Row(4, "fcp", "Game"),
                     Row(5, "fc", "Other game"), Row(6, "", "Discord"),
                     Row(7, "fcF", "Late")};
  const std::string text = ExplainCaptureSource(
      ParseGameList("!window:chat\nexact:no\nany-game\nwindow:game\nexcept window:Discord"), {},
      desktop, 4);
  const char* const kLines[] = {
      "display 1: \\\\.\\DISPLAY2, Big, 2560x1440, main display\n",
      "window \"Chat room\", 1600x900, C:\\G\\g.exe, class Class: passed over by any-game: does "
      "not "
      "fill its monitor and is not known as a game\n",
      "/usr/bin/vlc, class Class, in front, fills its monitor: passed over by any-game: a player",
      "maximized and resizable windows are not taken\n",
      "captured now: found by window:game, found by any-game\n",
      "behind the one found by window:game, a game, but any-game found a better one\n",
      "excepted by window:Discord\n",
      "not looked at by any-game",
      "   1. window:chat: disabled\n   2. exact:no: nothing\n-> 3. any-game: Game\n"
      "   4. window:game: Game\n",
  };
  for (const char* line : kLines) EXPECT_NE(text.find(line), std::string::npos) << line << text;
}

TEST(DesktopGeometry, CountsNineTenthsAndWholeMonitors) {
  constexpr DesktopRect kMonitor{1920, 0, 3840, 1080};
  const struct {
    DesktopRect window;
    bool fills;
    bool covers;
  } kCases[] = {
      {{1920, 0, 3840, 1080}, true, true},
      {{1910, -10, 3850, 1090}, true, true},
      {{1920, 0, 3648, 972}, true, false},
      {{1920, 0, 3647, 972}, false, false},
      {{1920, 0, 3648, 971}, false, false},
      {{0, 0, 1920, 1080}, true, false},
      {{2147483647, 0, -2147483647, 9}, false, false},
  };
  for (const auto& test : kCases) {
    EXPECT_EQ(FillsMonitor(test.window, kMonitor), test.fills) << test.window.right;
    EXPECT_EQ(CoversMonitor(test.window, kMonitor), test.covers) << test.window.right;
  }
  EXPECT_FALSE(FillsMonitor(kMonitor, {}));
  EXPECT_FALSE(CoversMonitor({}, {}));
}

}  // namespace
}  // namespace orventa
