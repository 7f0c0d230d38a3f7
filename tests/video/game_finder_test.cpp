#include "video/game_finder.h"

#include <gtest/gtest.h>

namespace orventa {
namespace {

struct FakeRows final : IDesktopRows {
  Status TakeSnapshot(DesktopSnapshot& out) override {
    out = desktop;
    return status;
  }
  DesktopSnapshot desktop;
  Status status;
};

WindowInfo Window(uint64_t handle, std::string title, std::string exe_path) {
  WindowInfo window;
  window.hwnd = handle;
  window.title = std::move(title);
  window.exe_path = std::move(exe_path);
  window.fills_monitor = window.covers_monitor = true;
  return window;
}

class Finder : public testing::Test {
 protected:
  FoundTarget Found(GameList list) {
    finder_.SetGameList(list, {});
    FoundTarget found;
    found.record_session = true;  // of an answer before
    found.settings = {{"x", "y"}};
    const Status status = finder_.Find(0, found);
    EXPECT_TRUE(status.ok()) << status.ToString();
    return found;
  }

  FakeRows rows_;
  GameFinder finder_{rows_};
};

TEST_F(Finder, GivesTheEngineWhatTheEntrySays) {
  rows_.desktop.windows = {Window(5, "Level 3 - Falling Blocks", "/games/Blocks.EXE")};
  const FoundTarget named =
      Found(ParseGameList("window:no such\nwindow:blocks\n  entry.record_session = true\n"
                          "  video.fps = 30\n"));
  EXPECT_EQ(named.target, (CaptureTarget{.kind = CaptureTarget::Kind::Window, .window = 5}));
  EXPECT_EQ(named.name, "blocks");
  EXPECT_EQ(named.Identity(), "blocks");
  EXPECT_EQ(named.description, "Level 3 - Falling Blocks");
  EXPECT_EQ(named.path, "/games/Blocks.EXE");
  EXPECT_EQ(named.list_index, 1U);
  EXPECT_FALSE(named.any_game);
  EXPECT_TRUE(named.record_session);
  EXPECT_EQ(named.settings, (SettingOverrides{{"video.fps", "30"}}));

  const FoundTarget game = Found(ParseGameList("any-game\n"));
  EXPECT_EQ(game.name, "Blocks") << "by its program, whatever its title";
  EXPECT_TRUE(game.any_game);
  EXPECT_FALSE(game.record_session);
  EXPECT_TRUE(game.settings.empty());

  rows_.desktop.windows[0].exe_path.clear();
  EXPECT_EQ(Found(ParseGameList("any-game\n")).name, "Level 3 - Falling Blocks");
}

TEST_F(Finder, TellsDisplaysApart) {
  rows_.desktop.displays = {{1, "DP-1", "GSM-1", "", 640, 480, false},
                            {2, "DP-2", "", "", 1280, 720, true}};
  const FoundTarget main = Found(ParseGameList("desktop\n"));
  EXPECT_EQ(main.target, CaptureTarget{});
  EXPECT_EQ(main.Identity(), "DP-2");
  EXPECT_EQ(main.name, "");
  const FoundTarget second = Found(ParseGameList("desktop:gsm-1\n"));
  EXPECT_EQ(second.target, (CaptureTarget{.kind = CaptureTarget::Kind::Monitor, .monitor = 1}));
  EXPECT_EQ(second.Identity(), "GSM-1");
}

TEST_F(Finder, SaysWhatANewListBrings) {
  const GameList list = ParseGameList("any-game\n");
  EXPECT_EQ(finder_.SetGameList(list, {}), WishesChange::List);
  EXPECT_EQ(finder_.SetGameList(list, {}), WishesChange::None);
  EXPECT_EQ(finder_.SetGameList(list, {.windowed_as_game = false}), WishesChange::Policy);
  EXPECT_EQ(finder_.SetGameList({}, {}), WishesChange::List);
}

TEST_F(Finder, FailsAsTheDesktopDoes) {
  rows_.status = {StatusCode::DriverError, "no X server"};
  FoundTarget found;
  finder_.SetGameList(ParseGameList("desktop\n"), {});
  EXPECT_EQ(finder_.Find(0, found), rows_.status);
  EXPECT_NE(finder_.Explain(0).find("no X server"), std::string::npos);
  rows_.status = {};
  EXPECT_EQ(finder_.Find(0, found).code(), StatusCode::NoTarget);
}

}  // namespace
}  // namespace orventa
