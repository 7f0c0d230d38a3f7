#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "base/clock.h"
#include "support_linux/private_display.h"
#include "support_linux/x11_painter.h"
#include "video/video_linux/video_linux.h"

namespace orventa {
namespace {

const Status kNothingOpen(StatusCode::NoTarget,
                          "nothing on the capture target list is currently open");

class Targets : public testing::Test {
 protected:
  FoundTarget Found(const std::string& text) {
    FoundTarget found;
    const Status status = MakeLinuxTargets(*clock_, text)->Find(0, found);
    EXPECT_TRUE(status.ok()) << status.ToString();
    return found;
  }

  PrivateDisplay display_;
  DisplayVariable variable_{display_.name()};
  std::unique_ptr<IClock> clock_ = MakeSystemClock();
  X11Painter painter_;
};

TEST_F(Targets, DescribeTheMainDisplay) {
  const FoundTarget found = Found("");
  EXPECT_EQ(found.target.kind, CaptureTarget::Kind::PrimaryMonitor);
  EXPECT_EQ(found.name, "screen");  // Xvfb's only output
  EXPECT_EQ(found.description, "screen: 1280x720 (Primary Monitor)");
  EXPECT_EQ(found.path, "");
}

TEST_F(Targets, AreTheTopmostVisibleWindowsWithTheText) {
  FoundTarget found;
  const auto targets = MakeLinuxTargets(*clock_, "dEmo");
  EXPECT_EQ(targets->Find(0, found), kNothingOpen);

  const xcb_window_t low = painter_.MakeWindow({0, 0, 100, 100}, 0);
  painter_.SetTitle(low, "The Demo: w\xC3\xBCste");
  painter_.SetWord(low, "_NET_WM_PID", "CARDINAL", static_cast<uint32_t>(getpid()));
  const xcb_window_t other = painter_.MakeWindow({0, 0, 100, 100}, 0);
  painter_.SetTitle(other, "Something else");
  ASSERT_TRUE(targets->Find(0, found).ok());
  EXPECT_TRUE(found.IsWindow());
  EXPECT_EQ(found.target.window, low);
  EXPECT_EQ(found.description, "The Demo: w\xC3\xBCste");
  EXPECT_EQ(found.name, found.description);
  EXPECT_TRUE(found.path.ends_with("/test_video_linux")) << found.path;

  const xcb_window_t high = painter_.MakeWindow({0, 0, 100, 100}, 0);
  painter_.SetTitle(high, "DEMO");
  ASSERT_TRUE(targets->Find(0, found).ok());
  EXPECT_EQ(found.target.window, high);
  EXPECT_EQ(found.path, "");

  painter_.Unmap(high);
  ASSERT_TRUE(targets->Find(0, found).ok());
  EXPECT_EQ(found.target.window, low);
  painter_.Destroy(low);
  EXPECT_EQ(targets->Find(0, found), kNothingOpen);
}

TEST_F(Targets, AreFoundInsideTheFramesOfAWindowManager) {
  const xcb_window_t frame = painter_.MakeWindow({0, 0, 200, 200}, 0);
  const xcb_window_t client = painter_.MakeWindow({10, 30, 100, 100}, 0, 0, frame);
  painter_.SetTitle(client, "Demo");
  painter_.SetWord(client, "WM_STATE", "WM_STATE", 1);
  EXPECT_EQ(Found("demo").target.window, client);

  // A manager that lists its windows is believed.
  const xcb_window_t listed = painter_.MakeWindow({0, 0, 100, 100}, 0);
  painter_.SetTitle(listed, "Demo, listed");
  painter_.SetWord(painter_.root(), "_NET_CLIENT_LIST_STACKING", "WINDOW", listed);
  EXPECT_EQ(Found("demo").target.window, listed);
}

TEST_F(Targets, SurviveTheirServer) {
  const auto targets = MakeLinuxTargets(*clock_, "");
  FoundTarget found;
  ASSERT_TRUE(targets->Find(0, found).ok());
  display_.Kill();
  EXPECT_EQ(targets->Find(0, found).code(), StatusCode::DriverError);
  EXPECT_TRUE(targets->IsHiddenOrMinimised(1234));
  EXPECT_FALSE(targets->IsForeground(1234));
  display_.StartAgain();
  EXPECT_TRUE(targets->Find(0, found).ok());

  display_.Freeze();
  EXPECT_EQ(targets->Find(0, found).code(), StatusCode::DriverError);
  EXPECT_EQ(targets->Find(0, found).code(), StatusCode::DriverError);
  display_.Thaw();
  EXPECT_TRUE(targets->Find(0, found).ok());
}

TEST_F(Targets, TellHowAWindowStands) {
  const auto watch = MakeLinuxTargets(*clock_, "");
  const xcb_window_t window = painter_.MakeWindow({0, 0, 100, 100}, 0);
  EXPECT_FALSE(watch->IsHiddenOrMinimised(window));
  painter_.Unmap(window);
  EXPECT_TRUE(watch->IsHiddenOrMinimised(window));
  painter_.Map(window);
  EXPECT_FALSE(watch->IsHiddenOrMinimised(window));
  painter_.SetAtoms(window, "_NET_WM_STATE", "_NET_WM_STATE_HIDDEN");
  EXPECT_TRUE(watch->IsHiddenOrMinimised(window));
  painter_.RemoveProperty(window, "_NET_WM_STATE");
  EXPECT_FALSE(watch->IsHiddenOrMinimised(window));
  painter_.SetWord(window, "WM_STATE", "WM_STATE", 3);  // iconic
  EXPECT_TRUE(watch->IsHiddenOrMinimised(window));

  std::string title = "as it was";
  watch->ReadTitle(window, title);
  EXPECT_EQ(title, "as it was");
  painter_.SetTitle(window, "New");
  watch->ReadTitle(window, title);
  EXPECT_EQ(title, "New");

  painter_.Destroy(window);
  EXPECT_TRUE(watch->IsHiddenOrMinimised(window));
}

TEST_F(Targets, TellWhichWindowIsInFront) {
  const auto watch = MakeLinuxTargets(*clock_, "");
  const xcb_window_t game = painter_.MakeWindow({0, 0, 100, 100}, 0);
  const xcb_window_t inner = painter_.MakeWindow({0, 0, 50, 50}, 0, 0, game);
  const xcb_window_t other = painter_.MakeWindow({0, 0, 100, 100}, 0);
  EXPECT_FALSE(watch->IsForeground(game));
  painter_.Focus(inner);
  EXPECT_TRUE(watch->IsForeground(game));
  EXPECT_FALSE(watch->IsForeground(other));

  // A window manager's word counts more than the focus.
  painter_.SetWord(painter_.root(), "_NET_ACTIVE_WINDOW", "WINDOW", other);
  EXPECT_FALSE(watch->IsForeground(game));
  EXPECT_TRUE(watch->IsForeground(other));
  painter_.SetWord(game, "WM_TRANSIENT_FOR", "WINDOW", other);
  EXPECT_TRUE(watch->IsForeground(game));
  painter_.SetWord(other, "WM_TRANSIENT_FOR", "WINDOW", game);  // a cycle ends
  painter_.SetWord(painter_.root(), "_NET_ACTIVE_WINDOW", "WINDOW", inner);
  EXPECT_FALSE(watch->IsForeground(game));
}

}  // namespace
}  // namespace orventa
