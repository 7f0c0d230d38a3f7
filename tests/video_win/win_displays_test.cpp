#include "video/video_win/win_displays.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/fakes/fake_clock.h"

namespace orventa {
namespace {

TEST(WinDisplays, ListsTheMainDisplayAsTheSystemSeesIt) {
  FakeClock clock;
  WinDisplays displays(clock);
  std::vector<DisplayInfo> found;
  ASSERT_TRUE(displays.Read(found).ok());
  ASSERT_EQ(std::count_if(found.begin(), found.end(), [](const auto& d) { return d.primary; }), 1);
  const auto main =
      *std::find_if(found.begin(), found.end(), [](const auto& d) { return d.primary; });
  EXPECT_EQ(main.monitor,
            reinterpret_cast<uintptr_t>(MonitorFromPoint({0, 0}, MONITOR_DEFAULTTOPRIMARY)));
  EXPECT_EQ(main.width, static_cast<uint32_t>(GetSystemMetrics(SM_CXSCREEN)));
  EXPECT_EQ(main.height, static_cast<uint32_t>(GetSystemMetrics(SM_CYSCREEN)));
  EXPECT_TRUE(main.device_name.starts_with("\\\\.\\DISPLAY")) << main.device_name;

  std::vector<DisplayInfo> again;
  ASSERT_TRUE(displays.Read(again).ok());
  EXPECT_EQ(again, found);
  clock.RunFor(11 * kNsPerSecond);
  ASSERT_TRUE(displays.Read(again).ok());
  EXPECT_EQ(again, found);
}

TEST(WinDisplays, NamesAMonitorAsGameListsDo) {
  constexpr struct {
    const char* path;
    const char* id;
  } kCases[] = {
      {R"(\\?\DISPLAY#MSI3CB1#5&2ab2d1a4&0&UID4353#{e6f07b5f-ee97-4a90-b076-33f57bf4eaa7})",
       R"(DISPLAY\MSI3CB1\5&2ab2d1a4&0&UID4353)"},
      {R"(\\?\DISPLAY#Default_Monitor#1&1)", R"(DISPLAY\Default_Monitor\1&1)"},
      {R"(MONITOR\MSI3CB1\{4d36e96e-e325-11ce-bfc1-08002be10318}\0001)", ""},
      {"", ""},
  };
  for (const auto& c : kCases) EXPECT_EQ(StableMonitorId(c.path), c.id) << c.path;
}

}  // namespace
}  // namespace orventa
