#include <gtest/gtest.h>

#include <cstdlib>

#include "base/base_linux/message_loop.h"
#include "support_linux/private_display.h"
#include "video/video_linux/video_linux.h"

namespace orventa {
namespace {

// Sets a display up anew, then ends the server, and sees what is heard of it.
struct User final : IMessageHandler {
  void OnMessage(Message) override {}
  void OnTimer(uint32_t) override {
    if (++ticks == 1) {
      const char* const kCommand =
          "xrandr --newmode small 50 800 840 900 1000 600 610 620 640 && "
          "xrandr --addmode screen small && xrandr --output screen --mode small";
      EXPECT_EQ(std::system(kCommand), 0);
    } else if (changes > 0 && killed_at == 0) {
      display.Kill();
      killed_at = ticks;
    }
    if (ticks == 200 || (killed_at != 0 && ticks == killed_at + 3)) loop->Quit();
  }
  void OnSystemEvent(SystemEvent event) override {
    EXPECT_EQ(event, SystemEvent::DisplaysChanged);
    changes++;
  }

  PrivateDisplay display;
  DisplayVariable variable{display.name()};
  std::unique_ptr<IClock> clock = MakeSystemClock();
  std::unique_ptr<ILinuxMessageLoop> loop = MakeLinuxMessageLoop(*clock);
  int ticks = 0;
  int changes = 0;
  int killed_at = 0;
};

TEST(DisplayWatch, HearsOfAChangeAndOutlivesTheServer) {
  User user;
  const std::shared_ptr<void> watch = WatchLinuxDisplays(*user.clock, *user.loop);
  ASSERT_NE(watch, nullptr);
  user.loop->SetTimer(1, 50);
  user.loop->Run(user);
  EXPECT_GE(user.changes, 1);
  EXPECT_EQ(WatchLinuxDisplays(*user.clock, *user.loop), nullptr) << "there is no server any more";
  user.loop.reset();  // the watch must outlive it
}

}  // namespace
}  // namespace orventa
