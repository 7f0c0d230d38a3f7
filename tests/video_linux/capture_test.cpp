#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/clock.h"
#include "capture_driver.h"
#include "support_linux/private_display.h"
#include "support_linux/x11_painter.h"
#include "video/video_linux/x11_capture.h"

namespace orventa {
namespace {

constexpr uint32_t kRed = 0xC01020;
constexpr uint32_t kGreen = 0x10C020;
constexpr uint32_t kBlue = 0x1020C0;
constexpr uint32_t kBorder = 0xFF00FF;

// One server and what it takes to capture from it.
struct Bench {
  explicit Bench(std::vector<std::string> arguments = {})
      : display("1280x720x24", std::move(arguments)), variable(display.name()) {}

  Status TryCapture(const CaptureTarget& target, bool cursor = false) {
    CaptureOptions options;
    options.capture_cursor = cursor;
    Status status = X11Capture::Create(*clock, target, options, capture);
    if (status.ok()) status = capture->Start();
    if (status.ok()) driver = std::make_unique<CaptureDriver>(*capture);
    return status;
  }

  CaptureDriver& Capture(const CaptureTarget& target, bool cursor = false) {
    const Status status = TryCapture(target, cursor);
    if (!status.ok()) throw std::runtime_error(status.ToString());
    return *driver;
  }

  PrivateDisplay display;
  DisplayVariable variable;
  std::unique_ptr<IClock> clock = MakeSystemClock();
  std::unique_ptr<IVideoCapture> capture;
  std::unique_ptr<CaptureDriver> driver;
};

// Servers that lack an extension are captured too, by the longer road.
class CaptureOnServers : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(CaptureOnServers, ShowsTheDisplayAsDrawn) {
  Bench bench(GetParam());
  X11Painter painter;
  painter.Fill(painter.root(), {0, 0, 1280, 720}, kRed);
  CaptureDriver& driver = bench.Capture({});
  EXPECT_EQ(bench.capture->Width(), 1280U);
  EXPECT_EQ(bench.capture->Height(), 720U);
  ASSERT_TRUE(driver.UntilPixel(1279, 719, kRed));

  painter.Fill(painter.root(), {100, 50, 1, 1}, kGreen);
  painter.Fill(painter.root(), {1279, 719, 1, 1}, kBlue);
  ASSERT_TRUE(driver.UntilPixel(1279, 719, kBlue));
  EXPECT_EQ(PixelOf(driver.frame, 100, 50), kGreen);
  EXPECT_EQ(PixelOf(driver.frame, 99, 50), kRed);
  EXPECT_EQ(PixelOf(driver.frame, 101, 50), kRed);
  EXPECT_EQ(PixelOf(driver.frame, 100, 51), kRed);
  EXPECT_EQ(driver.size_changes, 0);
  EXPECT_FALSE(bench.capture->TargetGone());
}

INSTANTIATE_TEST_SUITE_P(Servers, CaptureOnServers,
                         testing::Values(std::vector<std::string>{},
                                         std::vector<std::string>{"-extension", "MIT-SHM"},
                                         std::vector<std::string>{"-extension", "DAMAGE"},
                                         std::vector<std::string>{"-extension", "RANDR"},
                                         std::vector<std::string>{"-extension", "Composite"}));

class Capture : public testing::Test {
 protected:
  Bench bench;
  X11Painter painter;
};

TEST_F(Capture, TakesNothingWhileNothingIsDrawn) {
  CaptureDriver& driver = bench.Capture({});
  ASSERT_TRUE(driver.Until([](const CapturedFrame&) { return true; }));
  driver.Settle();
  const uint64_t time_ns = driver.frame.time_ns;
  const PictureRef picture = driver.frame.picture;
  for (int i = 0; i < 50; ++i) {
    ASSERT_TRUE(driver.Take());
    EXPECT_FALSE(driver.frame.fresh);
  }
  EXPECT_EQ(driver.frame.picture, picture);
  EXPECT_EQ(driver.frame.time_ns, time_ns);

  painter.Fill(painter.root(), {0, 0, 10, 10}, kRed);
  ASSERT_TRUE(driver.Until([](const CapturedFrame& frame) { return frame.fresh; }));
  EXPECT_GT(driver.frame.time_ns, time_ns);
}

TEST_F(Capture, LeavesAPictureThatSomebodyHoldsAsItIs) {
  painter.Fill(painter.root(), {0, 0, 1280, 720}, kRed);
  CaptureDriver& driver = bench.Capture({});
  ASSERT_TRUE(driver.UntilPixel(0, 0, kRed));
  const CapturedFrame held = driver.frame;
  for (uint32_t colour = 1; colour < 20; ++colour) {
    painter.Fill(painter.root(), {0, 0, 1280, 720}, colour);
    ASSERT_TRUE(driver.UntilPixel(5, 5, colour));
    ASSERT_EQ(PixelOf(held, 5, 5), kRed);
  }
  // Every picture held: the newest one is repeated, nothing is overwritten.
  std::vector<CapturedFrame> all = {held};
  for (uint32_t colour = 100; all.size() < 4; ++colour) {
    painter.Fill(painter.root(), {0, 0, 1280, 720}, colour);
    ASSERT_TRUE(driver.UntilPixel(5, 5, colour));
    all.push_back(driver.frame);
  }
  painter.Fill(painter.root(), {0, 0, 1280, 720}, kGreen);
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(driver.Take());
    EXPECT_FALSE(driver.frame.fresh);
    EXPECT_EQ(PixelOf(driver.frame, 5, 5), 102U);
  }
  all.clear();
  EXPECT_TRUE(driver.UntilPixel(5, 5, kGreen));
}

TEST_F(Capture, ShowsOnlyItsOwnDisplay) {
  ASSERT_EQ(std::system("xrandr --setmonitor left 640/169x720/190+0+0 screen >/dev/null 2>&1 && "
                        "xrandr --setmonitor right 640/169x720/190+640+0 none >/dev/null 2>&1"),
            0);
  painter.Fill(painter.root(), {0, 0, 640, 720}, kRed);
  painter.Fill(painter.root(), {640, 0, 640, 720}, kBlue);

  CaptureTarget target;
  target.kind = CaptureTarget::Kind::Monitor;
  target.monitor = painter.Atom("right");
  CaptureDriver& driver = bench.Capture(target);
  ASSERT_TRUE(driver.UntilPixel(0, 0, kBlue));
  EXPECT_EQ(driver.frame.width, 640U);
  EXPECT_EQ(PixelOf(driver.frame, 639, 719), kBlue);

  EXPECT_EQ(driver.FreshOf([&] {
    painter.Fill(painter.root(), {100, 100, 50, 50}, kGreen);
  }),
            0)
      << "on the other display";

  ASSERT_EQ(std::system("xrandr --delmonitor right >/dev/null 2>&1"), 0);
  EXPECT_TRUE(driver.Until([&](const CapturedFrame&) { return bench.capture->TargetGone(); }));
  EXPECT_FALSE(driver.frame.fresh);

  const Status again = bench.TryCapture(target);
  EXPECT_EQ(again.code(), StatusCode::DriverError);
}

TEST_F(Capture, FollowsTheSizeOfTheDisplay) {
  CaptureDriver& driver = bench.Capture({});
  ASSERT_TRUE(driver.Until([](const CapturedFrame& frame) { return frame.width == 1280; }));
  ASSERT_EQ(std::system("xrandr --newmode small 50 800 840 900 1000 600 610 620 640 && "
                        "xrandr --addmode screen small && xrandr --output screen --mode small"),
            0);
  ASSERT_TRUE(driver.Until([](const CapturedFrame& frame) { return frame.width == 800; }));
  EXPECT_EQ(driver.frame.height, 600U);
  EXPECT_EQ(driver.size_changes, 1);
  EXPECT_EQ(bench.capture->Width(), 800U);
}

TEST_F(Capture, ShowsACoveredWindowWithoutItsBorder) {
  const xcb_window_t window = painter.MakeWindow({100, 100, 200, 150}, kRed, 3);
  painter.Fill(window, {10, 10, 20, 20}, kGreen);
  CaptureDriver& driver = bench.Capture(WindowTarget(window));
  EXPECT_EQ(bench.capture->Width(), 200U);
  EXPECT_EQ(bench.capture->Height(), 150U);

  painter.MakeWindow({50, 50, 400, 400}, kBlue);
  painter.Fill(window, {199, 149, 1, 1}, kGreen);
  ASSERT_TRUE(driver.UntilPixel(199, 149, kGreen));
  EXPECT_EQ(PixelOf(driver.frame, 0, 0), kRed);
  EXPECT_EQ(PixelOf(driver.frame, 10, 10), kGreen);
  EXPECT_EQ(PixelOf(driver.frame, 29, 29), kGreen);
  EXPECT_EQ(PixelOf(driver.frame, 30, 30), kRed);

  // Drawn while it is covered.
  painter.Fill(window, {0, 0, 200, 150}, kBlue);
  EXPECT_TRUE(driver.UntilPixel(100, 75, kBlue));
}

TEST_F(Capture, FollowsTheSizeOfAWindow) {
  const xcb_window_t window = painter.MakeWindow({0, 0, 200, 150}, kRed);
  CaptureDriver& driver = bench.Capture(WindowTarget(window));
  ASSERT_TRUE(driver.UntilPixel(199, 149, kRed));

  painter.Resize(window, 321, 243);
  painter.Fill(window, {0, 0, 321, 243}, kGreen);
  ASSERT_TRUE(driver.Until([](const CapturedFrame& frame) { return frame.size_changed; }));
  EXPECT_EQ(driver.frame.width, 321U);
  EXPECT_EQ(driver.frame.height, 243U);
  EXPECT_EQ(bench.capture->Width(), 321U);
  // The settled size comes in a fresh frame, though nothing more is drawn.
  ASSERT_TRUE(
      driver.Until([](const CapturedFrame& frame) { return frame.fresh && !frame.size_changed; }));
  EXPECT_EQ(PixelOf(driver.frame, 320, 242), kGreen);
  EXPECT_EQ(driver.size_changes, 1);

  painter.Resize(window, 40, 30);
  ASSERT_TRUE(driver.Until([](const CapturedFrame& frame) { return frame.width == 40; }));
  EXPECT_EQ(driver.size_changes, 2);
}

TEST_F(Capture, RepeatsTheLastFrameOfAHiddenWindowUntilItIsBack) {
  const xcb_window_t frame = painter.MakeWindow({0, 0, 300, 300}, kBlue);
  const xcb_window_t window = painter.MakeWindow({20, 20, 200, 150}, kRed, 0, frame);
  CaptureDriver& driver = bench.Capture(WindowTarget(window));
  ASSERT_TRUE(driver.UntilPixel(50, 50, kRed));

  // Once the window itself, once the frame that a window manager puts around it.
  for (const xcb_window_t hidden : {window, frame}) {
    driver.Settle();
    painter.Unmap(hidden);
    driver.Settle();
    const uint32_t before = PixelOf(driver.frame, 50, 50);
    EXPECT_EQ(driver.FreshOf([&] { painter.Fill(painter.root(), {0, 0, 300, 300}, kBorder); }), 0);
    EXPECT_EQ(PixelOf(driver.frame, 50, 50), before);
    EXPECT_FALSE(bench.capture->TargetGone());

    painter.Map(hidden);
    const uint32_t colour = hidden == window ? kGreen : kBlue;
    painter.Fill(window, {0, 0, 200, 150}, colour);
    ASSERT_TRUE(driver.UntilPixel(50, 50, colour));
  }
}

TEST_F(Capture, TellsThatAWindowIsGone) {
  const xcb_window_t window = painter.MakeWindow({0, 0, 200, 150}, kRed);
  CaptureDriver& driver = bench.Capture(WindowTarget(window));
  ASSERT_TRUE(driver.UntilPixel(5, 5, kRed));
  EXPECT_FALSE(bench.capture->TargetGone());
  painter.Destroy(window);
  EXPECT_TRUE(driver.Until([&](const CapturedFrame&) { return bench.capture->TargetGone(); }));
  EXPECT_EQ(PixelOf(driver.frame, 5, 5), kRed);  // the last frame stays usable
  EXPECT_EQ(bench.TryCapture(WindowTarget(window)),
            Status(StatusCode::DriverError, "the window to capture is not there"));
}

TEST(CaptureRefusals, NameWhatIsLacking) {
  Bench bench({"-extension", "Composite"});
  X11Painter painter;
  const xcb_window_t window = painter.MakeWindow({0, 0, 200, 150}, kRed);
  EXPECT_EQ(bench.TryCapture(WindowTarget(window)),
            Status(StatusCode::Unsupported, "the X server has no Composite extension"));
  EXPECT_EQ(bench.TryCapture(WindowTarget(0)),
            Status(StatusCode::InvalidArgument, "null window handle"));
  CaptureTarget monitor;
  monitor.kind = CaptureTarget::Kind::Monitor;
  monitor.monitor = 0xFFFFFF;
  EXPECT_EQ(bench.TryCapture(monitor).code(), StatusCode::DriverError);

  const PrivateDisplay shallow("640x480x16");
  const DisplayVariable variable(shallow.name());
  EXPECT_EQ(bench.TryCapture({}).code(), StatusCode::Unsupported);
}

TEST_F(Capture, ThrowsWhenTheServerDies) {
  CaptureDriver& driver = bench.Capture({}, true);
  ASSERT_TRUE(driver.Until([](const CapturedFrame&) { return true; }));
  const CapturedFrame held = driver.frame;
  bench.display.Kill();
  EXPECT_THROW(driver.Until([](const CapturedFrame&) { return false; }), CaptureError);
  EXPECT_THROW(driver.Take(), CaptureError);
  EXPECT_EQ(PixelOf(held, 0, 0), PixelOf(held, 1, 0));  // its memory is still there
  bench.capture->Stop();
  EXPECT_FALSE(driver.Take());

  EXPECT_EQ(bench.TryCapture({}).code(), StatusCode::DriverError);
  bench.display.StartAgain();
  EXPECT_TRUE(bench.Capture({}).Until([](const CapturedFrame& frame) { return frame.fresh; }));
}

TEST_F(Capture, ThrowsWhenTheServerHangs) {
  CaptureDriver& driver = bench.Capture({}, true);
  ASSERT_TRUE(driver.Until([](const CapturedFrame&) { return true; }));
  bench.display.Freeze();
  EXPECT_THROW(driver.Until([](const CapturedFrame&) { return false; }), CaptureError);
  const Status status = bench.TryCapture({});
  EXPECT_EQ(status, Status(StatusCode::DriverError,
                           "the X server " + bench.display.name() + " does not answer"));
  bench.display.Thaw();
  EXPECT_TRUE(bench.TryCapture({}).ok());
}

TEST_F(Capture, DrawsThePointerWhereItIs) {
  const xcb_window_t window = painter.MakeWindow({100, 100, 400, 300}, kRed);
  painter.SetSquareCursor(window, 8, kGreen);
  painter.MovePointer(150, 150);
  CaptureDriver& driver = bench.Capture(WindowTarget(window), true);
  ASSERT_TRUE(driver.UntilPixel(50, 50, kGreen));
  EXPECT_EQ(PixelOf(driver.frame, 57, 57), kGreen);
  EXPECT_EQ(PixelOf(driver.frame, 58, 57), kRed);
  EXPECT_EQ(PixelOf(driver.frame, 49, 50), kRed);

  driver.Settle();
  driver.fresh = 0;
  painter.MovePointer(155, 150);
  ASSERT_TRUE(driver.UntilPixel(62, 50, kGreen));
  EXPECT_EQ(PixelOf(driver.frame, 54, 50), kRed);  // nothing stays where it was
  EXPECT_EQ(driver.fresh, 1);

  // Somebody keeps the picture: the pointer moves in another one.
  const CapturedFrame held = driver.frame;
  painter.MovePointer(200, 200);
  ASSERT_TRUE(driver.UntilPixel(100, 100, kGreen));
  EXPECT_EQ(PixelOf(driver.frame, 55, 50), kRed);
  EXPECT_EQ(PixelOf(held, 55, 50), kGreen);

  painter.SetSquareCursor(window, 16, kBlue);
  ASSERT_TRUE(driver.UntilPixel(115, 115, kBlue));

  painter.MovePointer(600, 600);  // away: one frame without it, then none
  ASSERT_TRUE(driver.UntilPixel(100, 100, kRed));
  EXPECT_EQ(driver.FreshOf([&] { painter.MovePointer(700, 600); }), 0);
}

TEST_F(Capture, LeavesThePointerOutWhenToldTo) {
  painter.Fill(painter.root(), {0, 0, 1280, 720}, kRed);
  painter.SetSquareCursor(painter.root(), 8, kGreen);
  painter.MovePointer(50, 50);
  CaptureDriver& driver = bench.Capture({}, false);
  ASSERT_TRUE(driver.UntilPixel(50, 50, kRed));
  EXPECT_EQ(driver.FreshOf([&] { painter.MovePointer(60, 60); }), 0);
}

}  // namespace
}  // namespace orventa
