// The rows that a desktop gives, on a bare server and under a window manager.
#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "base/clock.h"
#include "support_linux/child_program.h"
#include "support_linux/private_display.h"
#include "support_linux/x11_painter.h"
#include "video/video_linux/video_linux.h"

namespace orventa {
namespace {

struct FakeKnownGames final : IKnownGames {
  bool IsKnownGame(const std::string& exe_path) override { return exe_path == known; }
  std::string known;
};

class Desktop : public testing::Test {
 protected:
  const WindowInfo* Row(xcb_window_t window) {
    const Status status = view_->TakeSnapshot(desktop_);
    EXPECT_TRUE(status.ok()) << status.ToString();
    for (const WindowInfo& row : desktop_.windows) {
      if (row.hwnd == window) return &row;
    }
    return nullptr;
  }
  // A window manager does what it is asked in its own time.
  bool Until(const std::function<bool()>& condition) {
    const uint64_t end_ns = clock_->SteadyNs() + 10 * kNsPerSecond;
    while (!condition()) {
      if (clock_->SteadyNs() >= end_ns) return false;
      clock_->SleepUntil(clock_->SteadyNs() + 5 * kNsPerMs);
    }
    return true;
  }
  bool UntilRow(xcb_window_t window, const std::function<bool(const WindowInfo&)>& condition) {
    return Until([&] {
      const WindowInfo* const row = Row(window);
      return row != nullptr && condition(*row);
    });
  }
  xcb_window_t Titled(Area area, const std::string& title) {
    const xcb_window_t window = painter_.MakeWindow(area, 0);
    painter_.SetTitle(window, title);
    return window;
  }
  std::string Titles() {
    std::string titles;
    EXPECT_TRUE(view_->TakeSnapshot(desktop_).ok());
    for (const WindowInfo& row : desktop_.windows) titles += row.title + ";";
    return titles;
  }

  PrivateDisplay display_;
  DisplayVariable variable_{display_.name()};
  std::unique_ptr<IClock> clock_ = MakeSystemClock();
  X11Painter painter_;
  FakeKnownGames known_games_;
  std::unique_ptr<IDesktopView> view_ = MakeLinuxDesktopView(*clock_, known_games_);
  DesktopSnapshot desktop_;
};

TEST_F(Desktop, OfABareServerHasItsWindowsTopmostFirst) {
  EXPECT_EQ(Titles(), "");
  const xcb_window_t game = Titled({0, 0, 1280, 720}, "Game: w\xC3\xBCste");
  const auto parent = static_cast<uint32_t>(getppid());
  painter_.SetWord(game, "_NET_WM_PID", "CARDINAL", parent);
  painter_.SetText(game, "WM_CLASS", std::string("first\0Second\xE9\0", 14));
  const xcb_window_t small = painter_.MakeWindow({100, 100, 1152, 648}, 0);
  painter_.SetText(small, "WM_NAME", "gr\xFC\xDF");  // Latin-1
  const xcb_window_t hidden = Titled({0, 0, 9, 9}, "hidden");
  painter_.Unmap(hidden);
  painter_.MakeWindow({0, 0, 9, 9}, 0);  // no title
  const xcb_window_t ours = Titled({0, 0, 9, 9}, "ours");
  painter_.SetWord(ours, "_NET_WM_PID", "CARDINAL", static_cast<uint32_t>(getpid()));
  EXPECT_EQ(Titles(), "gr\xC3\xBC\xC3\x9F;Game: w\xC3\xBCste;");

  const std::string program = Row(game)->exe_path;
  EXPECT_FALSE(program.empty());
  known_games_.known = program;
  painter_.Focus(painter_.MakeWindow({0, 0, 50, 50}, 0, 0, game));
  EXPECT_EQ(*Row(game), (WindowInfo{.hwnd = game,
                                    .title = "Game: w\xC3\xBCste",
                                    .client_width = 1280,
                                    .client_height = 720,
                                    .pid = parent,
                                    .exe_path = program,
                                    .window_class = "Second\xC3\xA9",
                                    .fills_monitor = true,
                                    .covers_monitor = true,
                                    .on_primary = true,
                                    .known_game = true,
                                    .foreground = true}));
  EXPECT_TRUE(Row(small)->fills_monitor) << "nine tenths, wherever it lies";
  EXPECT_FALSE(Row(small)->covers_monitor);
  EXPECT_EQ(Row(small)->exe_path, "");
}

TEST_F(Desktop, FindsWindowsInsideTheFramesOfAnOldManager) {
  const xcb_window_t frame = Titled({0, 0, 200, 200}, "frame");
  const xcb_window_t client = painter_.MakeWindow({10, 30, 100, 100}, 0, 0, frame);
  painter_.SetTitle(client, "client");
  painter_.SetWord(client, "WM_STATE", "WM_STATE", 1);
  Titled({0, 0, 100, 100}, "unmanaged");
  EXPECT_EQ(Titles(), "unmanaged;client;");

  // A manager that lists its windows is believed, also when it lists none.
  painter_.SetWord(painter_.root(), "_NET_CLIENT_LIST_STACKING", "WINDOW", frame);
  EXPECT_EQ(Titles(), "frame;");
  painter_.SetWords(painter_.root(), "_NET_CLIENT_LIST_STACKING", "WINDOW", {});
  EXPECT_EQ(Titles(), "");
}

class ManagedDesktop : public Desktop {
 protected:
  static constexpr uint32_t kRemove = 0;
  static constexpr uint32_t kAdd = 1;

  void SetUp() override {
    // It overlooks what happens while it starts: only an answer shows that it is there.
    const xcb_window_t probe = painter_.MakeWindow({0, 0, 9, 9}, 0);
    ASSERT_TRUE(Until([&] {
      painter_.AskManager(probe, "_NET_REQUEST_FRAME_EXTENTS", {});
      return painter_.HasProperty(probe, "_NET_FRAME_EXTENTS");
    })) << "openbox did not start";
    painter_.Destroy(probe);
  }
  void ChangeState(xcb_window_t window, uint32_t how, const char* state, const char* second = "") {
    painter_.AskManager(window, "_NET_WM_STATE",
                        {how, painter_.Atom(state), *second != 0 ? painter_.Atom(second) : 0, 1});
  }

  ChildProgram manager_{"openbox", {"openbox"}};
};

TEST_F(ManagedDesktop, TellsHowWindowsStand) {
  const xcb_window_t low = Titled({50, 50, 600, 400}, "low");
  const xcb_window_t high = Titled({60, 60, 600, 400}, "high");
  ASSERT_TRUE(Until([&] { return Titles() == "high;low;"; }));
  painter_.AskManager(low, "_NET_ACTIVE_WINDOW", {1});
  ASSERT_TRUE(UntilRow(low, [](const WindowInfo& row) { return row.foreground; }));
  EXPECT_TRUE(Until([&] { return Titles() == "low;high;"; }));
  EXPECT_TRUE(Row(low)->resizable);
  EXPECT_FALSE(Row(low)->fills_monitor);
  EXPECT_FALSE(Row(high)->foreground);

  ChangeState(low, kAdd, "_NET_WM_STATE_MAXIMIZED_HORZ", "_NET_WM_STATE_MAXIMIZED_VERT");
  EXPECT_TRUE(UntilRow(low, [](const WindowInfo& row) {
    return row.maximized && row.resizable && row.covers_monitor;
  })) << "with its frame";
  EXPECT_LT(Row(low)->client_height, 720U);
  ChangeState(low, kAdd, "_NET_WM_STATE_FULLSCREEN");
  EXPECT_TRUE(UntilRow(low, [](const WindowInfo& row) {
    return !row.maximized && !row.resizable && row.covers_monitor && row.client_height == 720;
  })) << "maximised before and after, but not meanwhile";
}

TEST_F(ManagedDesktop, TellsWhichWindowsTheUserCanResize) {
  const xcb_window_t window = Titled({50, 50, 600, 400}, "window");
  ASSERT_TRUE(UntilRow(window, [](const WindowInfo& row) { return row.resizable; }));
  painter_.SetWords(window, "_MOTIF_WM_HINTS", "_MOTIF_WM_HINTS", {2, 0, 0, 0, 0});
  EXPECT_FALSE(Row(window)->resizable) << "without a frame";
  painter_.SetWords(window, "_GTK_FRAME_EXTENTS", "CARDINAL", {1, 1, 1, 1});
  EXPECT_TRUE(Row(window)->resizable) << "with a frame that it draws itself";
  std::vector<uint32_t> hints(18);
  hints[0] = 1U << 4U | 1U << 5U;
  hints[5] = hints[7] = 600;
  hints[6] = hints[8] = 400;
  painter_.SetWords(window, "WM_NORMAL_HINTS", "WM_SIZE_HINTS", hints);
  EXPECT_FALSE(Row(window)->resizable) << "of one size";
  hints[8] = 500;
  painter_.SetWords(window, "WM_NORMAL_HINTS", "WM_SIZE_HINTS", hints);
  EXPECT_TRUE(Row(window)->resizable);
}

TEST_F(ManagedDesktop, LeavesOutWhatIsNoWindowToTheUser) {
  const xcb_window_t window = Titled({50, 50, 600, 400}, "window");
  const auto in = [&] { return Row(window) != nullptr; };
  const auto out = [&] { return Row(window) == nullptr; };
  ASSERT_TRUE(Until(in));

  painter_.AskManager(window, "WM_CHANGE_STATE", {3});
  EXPECT_TRUE(Until(out)) << "minimised";
  EXPECT_TRUE(view_->IsHiddenOrMinimised(window));
  painter_.AskManager(window, "_NET_ACTIVE_WINDOW", {1});
  EXPECT_TRUE(Until(in));
  EXPECT_TRUE(Until([&] { return !view_->IsHiddenOrMinimised(window); }));

  painter_.AskManager(window, "_NET_WM_DESKTOP", {1});
  EXPECT_TRUE(Until(out)) << "on another desktop";
  painter_.AskManager(window, "_NET_WM_DESKTOP", {0xFFFFFFFF});
  EXPECT_TRUE(Until(in)) << "on every desktop";

  ChangeState(window, kAdd, "_NET_WM_STATE_SKIP_TASKBAR");
  EXPECT_TRUE(Until(out)) << "a tool window";
  ChangeState(window, kRemove, "_NET_WM_STATE_SKIP_TASKBAR");
  EXPECT_TRUE(Until(in));
  for (const char* type : {"DOCK", "DESKTOP", "UTILITY", "NOTIFICATION"}) {
    painter_.SetAtoms(window, "_NET_WM_WINDOW_TYPE",
                      (std::string("_NET_WM_WINDOW_TYPE_") + type).c_str());
    EXPECT_TRUE(out()) << type;
  }
}

TEST_F(Desktop, ListsItsDisplays) {
  ASSERT_EQ(std::system("xrandr --setmonitor '*left' 640/169x720/190+0+0 screen >/dev/null 2>&1 && "
                        "xrandr --setmonitor right 640/169x720/190+640+0 none >/dev/null 2>&1"),
            0);
  const xcb_window_t window = Titled({630, 0, 640, 720}, "mostly right");
  EXPECT_FALSE(Row(window)->on_primary);
  EXPECT_TRUE(Row(window)->fills_monitor);
  EXPECT_FALSE(Row(window)->covers_monitor);
  ASSERT_EQ(desktop_.displays.size(), 2U);
  const DisplayInfo expected[] = {{painter_.Atom("left"), "left", "left", "", 640, 720, true},
                                  {painter_.Atom("right"), "right", "right", "", 640, 720, false}};
  for (const DisplayInfo& row : desktop_.displays) {
    EXPECT_EQ(row, expected[row.primary ? 0 : 1]) << row.device_name;
  }
}

TEST_F(Desktop, SurvivesItsServer) {
  ASSERT_TRUE(view_->TakeSnapshot(desktop_).ok());
  display_.Kill();
  EXPECT_EQ(view_->TakeSnapshot(desktop_).code(), StatusCode::DriverError);
  EXPECT_TRUE(view_->IsHiddenOrMinimised(1234));
  EXPECT_FALSE(view_->IsForeground(1234));
  display_.StartAgain();
  EXPECT_TRUE(view_->TakeSnapshot(desktop_).ok());

  display_.Freeze();
  EXPECT_EQ(view_->TakeSnapshot(desktop_).code(), StatusCode::DriverError);
  EXPECT_EQ(view_->TakeSnapshot(desktop_).code(), StatusCode::DriverError);
  display_.Thaw();
  EXPECT_TRUE(view_->TakeSnapshot(desktop_).ok());
}

TEST_F(Desktop, FollowsAWatchedWindow) {
  const xcb_window_t window = painter_.MakeWindow({0, 0, 100, 100}, 0);
  EXPECT_FALSE(view_->IsHiddenOrMinimised(window));
  painter_.Unmap(window);
  EXPECT_TRUE(view_->IsHiddenOrMinimised(window));
  painter_.Map(window);
  EXPECT_FALSE(view_->IsHiddenOrMinimised(window));
  painter_.SetAtoms(window, "_NET_WM_STATE", "_NET_WM_STATE_HIDDEN");
  EXPECT_TRUE(view_->IsHiddenOrMinimised(window));
  painter_.RemoveProperty(window, "_NET_WM_STATE");
  EXPECT_FALSE(view_->IsHiddenOrMinimised(window));
  painter_.SetWord(window, "WM_STATE", "WM_STATE", 3);  // iconic
  EXPECT_TRUE(view_->IsHiddenOrMinimised(window));

  std::string title = "as it was";
  view_->ReadTitle(window, title);
  EXPECT_EQ(title, "as it was");
  painter_.SetTitle(window, "New");
  view_->ReadTitle(window, title);
  EXPECT_EQ(title, "New");

  painter_.Destroy(window);
  EXPECT_TRUE(view_->IsHiddenOrMinimised(window));
}

TEST_F(Desktop, TellsWhichWindowIsInFront) {
  const xcb_window_t game = painter_.MakeWindow({0, 0, 100, 100}, 0);
  const xcb_window_t inner = painter_.MakeWindow({0, 0, 50, 50}, 0, 0, game);
  const xcb_window_t other = painter_.MakeWindow({0, 0, 100, 100}, 0);
  EXPECT_FALSE(view_->IsForeground(game));
  painter_.Focus(inner);
  EXPECT_TRUE(view_->IsForeground(game));
  EXPECT_FALSE(view_->IsForeground(other));

  // A window manager's word counts more than the focus. The game's own dialog in
  // front is the game in front, and not the other way round.
  painter_.SetWord(other, "WM_TRANSIENT_FOR", "WINDOW", game);
  painter_.SetWord(painter_.root(), "_NET_ACTIVE_WINDOW", "WINDOW", other);
  EXPECT_TRUE(view_->IsForeground(other));
  EXPECT_TRUE(view_->IsForeground(game));
  painter_.SetWord(painter_.root(), "_NET_ACTIVE_WINDOW", "WINDOW", game);
  EXPECT_FALSE(view_->IsForeground(other));
  painter_.SetWord(game, "WM_TRANSIENT_FOR", "WINDOW", other);  // a cycle ends
  painter_.SetWord(painter_.root(), "_NET_ACTIVE_WINDOW", "WINDOW", inner);
  EXPECT_FALSE(view_->IsForeground(game));
}

}  // namespace
}  // namespace orventa
