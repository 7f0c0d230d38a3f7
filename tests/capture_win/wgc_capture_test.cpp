// Screen capture against a fake of the system's, over real textures and real windows.
#include "video/video_win/wgc_capture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "media/media_win/d3d11_device.h"
#include "tests/capture_win/fake_capture.h"
#include "tests/capture_win/game_window.h"
#include "video/video_win/client_crop.h"
#include "video/video_win/win_graphics.h"

using Microsoft::WRL::ComPtr;

namespace orventa {
namespace {

using winrt::DirectXPixelFormat;
using winrt::SizeInt32;

constexpr auto kHalf = DirectXPixelFormat::R16G16B16A16Float;
constexpr auto kCodes = DirectXPixelFormat::B8G8R8A8UIntNormalized;
constexpr CaptureTarget kMonitor = {.kind = CaptureTarget::Kind::PrimaryMonitor};

struct FakeLight final : IDisplayLight {
  DisplayDescription Describe(HMONITOR monitor) override {
    asked = monitor;
    return now;
  }
  DisplayDescription now;
  HMONITOR asked = nullptr;
};

CaptureTarget Target(const GameWindow& window) {
  return {.kind = CaptureTarget::Kind::Window,
          .window = reinterpret_cast<uintptr_t>(window.handle())};
}

class WgcCaptureTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    std::string used;
    const Status status = MakeD3d11Device("", device_, used);
    ASSERT_TRUE(status.ok()) << status.ToString();
  }
  static void TearDownTestSuite() { device_.reset(); }

  ~WgcCaptureTest() override {
    frame = {};
    capture.reset();
    EXPECT_EQ(system.breach, "");
    EXPECT_EQ(system.alive, 0);
  }

  Status Create(const CaptureTarget& target, const CaptureOptions& options = {}) {
    return WgcCapture::Create({*clock, system, light}, device_->device(), target, options, capture);
  }
  void Begin(const CaptureTarget& target, const CaptureOptions& options = {}) {
    Status status = Create(target, options);
    ASSERT_TRUE(status.ok()) << status.ToString();
    status = capture->Start();
    ASSERT_TRUE(status.ok()) << status.ToString();
  }
  bool Take() { return capture->TryAcquire(frame); }
  bool TakeNew(SizeInt32 content, int64_t ticks = 1) {
    system.Compose(content, ticks);
    return Take() && frame.fresh;
  }
  SizeInt32 FrameSize() const {
    return {static_cast<int32_t>(frame.width), static_cast<int32_t>(frame.height)};
  }
  // The first byte of the frame, as FakeCaptureSystem::Compose drew it.
  uint8_t FirstByte() const { return ByteAt(*D3d11Picture::From(*frame.picture)->texture(), 0, 0); }

  static inline std::shared_ptr<D3d11Device> device_;
  const std::unique_ptr<IClock> clock = MakeSystemClock();
  FakeCaptureSystem system;
  FakeLight light;
  std::unique_ptr<IVideoCapture> capture;
  CapturedFrame frame;
};

// A member pointer to a virtual function holds its place in the table.
template <class Function>
size_t SlotOf(Function function) {
  static_assert(sizeof(Function) == 2 * sizeof(uintptr_t));
  uintptr_t words[2];
  std::memcpy(words, &function, sizeof(words));
  return words[0] / sizeof(void*);
}

TEST(CaptureAbi, FunctionsStandWhereTheSystemHasThem) {
  using namespace winrt;
  EXPECT_EQ(SlotOf(&IClosable::Close), 6U);
  EXPECT_EQ(SlotOf(&IItemClosedHandler::Invoke), 3U);
  EXPECT_EQ(SlotOf(&IGraphicsCaptureItem::get_Size), 7U);
  EXPECT_EQ(SlotOf(&IGraphicsCaptureItem::add_Closed), 8U);
  EXPECT_EQ(SlotOf(&IGraphicsCaptureItem::remove_Closed), 9U);
  EXPECT_EQ(SlotOf(&IGraphicsCaptureItemInterop::CreateForWindow), 3U);
  EXPECT_EQ(SlotOf(&IGraphicsCaptureItemInterop::CreateForMonitor), 4U);
  EXPECT_EQ(SlotOf(&IDirect3DDxgiInterfaceAccess::GetInterface), 3U);
  EXPECT_EQ(SlotOf(&IDirect3D11CaptureFrame::get_Surface), 6U);
  EXPECT_EQ(SlotOf(&IDirect3D11CaptureFrame::get_SystemRelativeTime), 7U);
  EXPECT_EQ(SlotOf(&IDirect3D11CaptureFrame::get_ContentSize), 8U);
  EXPECT_EQ(SlotOf(&IGraphicsCaptureSession::StartCapture), 6U);
  EXPECT_EQ(SlotOf(&IGraphicsCaptureSession2::put_IsCursorCaptureEnabled), 7U);
  EXPECT_EQ(SlotOf(&IGraphicsCaptureSession3::put_IsBorderRequired), 7U);
  EXPECT_EQ(SlotOf(&IGraphicsCaptureSession5::put_MinUpdateInterval), 7U);
  EXPECT_EQ(SlotOf(&IGraphicsCaptureSessionStatics::IsSupported), 6U);
  EXPECT_EQ(SlotOf(&IDirect3D11CaptureFramePool::Recreate), 6U);
  EXPECT_EQ(SlotOf(&IDirect3D11CaptureFramePool::TryGetNextFrame), 7U);
  EXPECT_EQ(SlotOf(&IDirect3D11CaptureFramePool::CreateCaptureSession), 10U);
  EXPECT_EQ(SlotOf(&IDirect3D11CaptureFramePoolStatics2::CreateFreeThreaded), 6U);
}

TEST_F(WgcCaptureTest, SaysWhatTheSystemRefused) {
  using enum StatusCode;
  const Status unsupported = {Unsupported,
                              "Windows.Graphics.Capture is not available on this system"};
  const Status no_item = {DriverError, "could not create GraphicsCaptureItem for the target"};
  const Status no_wrap = {DriverError, "CreateDirect3D11DeviceFromDXGIDevice failed"};
  const struct {
    const char* failing;
    Status expected;  // begins so
  } kRows[] = {
      {"SessionStatics", unsupported},
      {"IsSupported", unsupported},
      {"WrapDevice", no_wrap},
      {"ItemInterop", no_item},
      {"CreateForMonitor", no_item},
      {"add_Closed", no_item},
      {"PoolStatics", {DriverError, "could not create the capture's frame pool: "}},
      {"CreateFreeThreaded", {DriverError, "could not create the capture's frame pool: "}},
      {"CreateCaptureSession", {DriverError, "could not create the capture session: "}},
      {"StartCapture", {DriverError, "StartCapture failed: "}},
  };
  for (const auto& row : kRows) {
    system.failing = row.failing;
    Status status = Create(kMonitor);
    if (status.ok()) status = capture->Start();
    EXPECT_EQ(status.code(), row.expected.code()) << row.failing;
    EXPECT_TRUE(status.message().starts_with(row.expected.message())) << status.message();
    capture.reset();
    EXPECT_EQ(system.alive, 0) << row.failing;
  }
  system.failing = "CreateForWindow";
  EXPECT_EQ(Create(Target(GameWindow(WS_POPUP))), no_item);
  system.failing.clear();
  EXPECT_EQ(Create({.kind = CaptureTarget::Kind::Window}),
            Status(InvalidArgument, "null window handle"));
  system.supported = false;
  EXPECT_EQ(Create(kMonitor), unsupported);
  system.supported = true;
  for (const SizeInt32 size : {SizeInt32{0, 48}, SizeInt32{64, 0}}) {
    system.item_size = size;
    EXPECT_EQ(Create(kMonitor), Status(DriverError, "capture target reports zero size"));
  }
  EXPECT_EQ(WgcCapture::Create({*clock, system, light}, nullptr, kMonitor, {}, capture),
            Status(InvalidArgument, "null D3D11 device"));
  ComPtr<winrt::IDirect3DDevice> wrapped;
  ComPtr<winrt::IGraphicsCaptureItemInterop> no_device;
  ASSERT_EQ(system.ItemInterop(&no_device), S_OK);
  EXPECT_EQ(WrapDevice(system, *no_device.Get(), wrapped),
            Status(DriverError, "device is not a DXGI device"));
}

// Wine has none of it, as a system without the feature.
TEST_F(WgcCaptureTest, OfThisSystemIsNotAvailable) {
  WinGraphics graphics(*clock);
  EXPECT_EQ(
      graphics.CreateCapture(*device_, kMonitor, {}, capture),
      Status(StatusCode::Unsupported, "Windows.Graphics.Capture is not available on this system"));
}

TEST_F(WgcCaptureTest, AsksTheSessionForWhatIsWanted) {
  constexpr struct {
    uint32_t fps;
    int64_t ticks;
  } kRates[] = {{1, 5'000'000}, {60, 83'333}, {240, 20'833}, {500, 10'000}, {1000, 10'000}};
  for (const auto& rate : kRates) {
    ASSERT_TRUE(Create(kMonitor, {.capture_cursor = rate.fps == 60, .fps = rate.fps}).ok());
    const FakePoolState& pool = system.pools.back();
    EXPECT_EQ(pool.interval, rate.ticks) << rate.fps;
    EXPECT_EQ(pool.cursor, rate.fps == 60 ? 1 : 0);
    EXPECT_EQ(pool.border, 0);
    EXPECT_EQ(pool.buffers, 3);
    EXPECT_EQ(pool.format, kCodes);
    EXPECT_FALSE(pool.started);
    EXPECT_FALSE(Take());
  }
  EXPECT_EQ(system.monitor, MonitorFromPoint({0, 0}, MONITOR_DEFAULTTOPRIMARY));
  EXPECT_GT(system.entered, 0);
  for (const char* unknown : {"Session2", "Session3", "Session5"}) {
    system.failing = unknown;
    ASSERT_NO_FATAL_FAILURE(Begin(kMonitor)) << unknown;
    const FakePoolState& pool = system.pools.back();
    EXPECT_EQ((pool.cursor < 0) + (pool.border < 0) + (pool.interval < 0), 1) << unknown;
  }
}

TEST_F(WgcCaptureTest, TakesTheNewestAndGivesTheOthersBack) {
  ASSERT_NO_FATAL_FAILURE(Begin(kMonitor));
  EXPECT_FALSE(Take());
  for (int64_t ticks = 1; ticks <= 5; ++ticks) system.Compose({64, 48}, ticks * 1000);
  EXPECT_EQ(system.pools[0].dropped, 2);  // nobody came for three
  ASSERT_TRUE(Take());
  EXPECT_TRUE(frame.fresh);
  EXPECT_EQ(frame.time_ns, 300'000U);
  EXPECT_EQ(FrameSize(), (SizeInt32{64, 48}));
  EXPECT_FALSE(frame.size_changed);
  EXPECT_EQ(system.pools[0].held, 1);
  EXPECT_EQ(frame.picture->format(), PixelFormat::Bgra8);

  const PictureRef first = frame.picture;
  ASSERT_TRUE(Take());
  EXPECT_FALSE(frame.fresh);
  EXPECT_EQ(frame.picture, first);
  EXPECT_EQ(frame.time_ns, 300'000U);
  for (int i = 0; i < 7; ++i) {
    ASSERT_TRUE(TakeNew({64, 48}, 5000 + i));
    EXPECT_EQ(frame.time_ns, (5000U + static_cast<unsigned>(i)) * 100);
    EXPECT_EQ(system.pools[0].held, 1);
  }
  EXPECT_EQ(system.pools[0].dropped, 2);
  EXPECT_EQ(system.pools[0].recreated, 0);

  capture->Stop();
  EXPECT_FALSE(capture->IsRunning());
  EXPECT_FALSE(Take());
  EXPECT_EQ(system.alive, 1) << "all but the device";
  EXPECT_EQ(capture->Start().code(), StatusCode::DriverError);
}

TEST_F(WgcCaptureTest, ThrowsWhenTheSystemGivesUp) {
  for (const char* call : {"TryGetNextFrame", "GetInterface", "get_SystemRelativeTime",
                           "get_ContentSize", "Recreate"}) {
    ASSERT_NO_FATAL_FAILURE(Begin(kMonitor));
    system.Compose({65, 48}, 1);
    system.failing = call;
    EXPECT_THROW(Take(), CaptureError) << call;
    system.failing.clear();
  }
}

TEST_F(WgcCaptureTest, FollowsTheSizeOfItsTarget) {
  ASSERT_NO_FATAL_FAILURE(Begin(kMonitor));
  ASSERT_TRUE(TakeNew({64, 48}));
  ASSERT_TRUE(TakeNew({100, 80}));
  EXPECT_TRUE(frame.size_changed);
  EXPECT_EQ(FrameSize(), (SizeInt32{100, 80}));
  EXPECT_EQ(system.pools[0].recreated, 1);
  EXPECT_EQ(system.pools[0].size, (SizeInt32{100, 80}));
  EXPECT_EQ(system.pools[0].buffers, 3);
  EXPECT_EQ(capture->Width(), 100U);
  ASSERT_TRUE(Take());
  EXPECT_TRUE(frame.size_changed) << "the picture still has the old size";
  ASSERT_TRUE(TakeNew({100, 80}));
  EXPECT_FALSE(frame.size_changed);
  EXPECT_EQ(frame.picture->width(), 100U);
  // Minimised: no pool has such a size.
  ASSERT_TRUE(TakeNew({0, 0}));
  EXPECT_TRUE(frame.size_changed);
  EXPECT_EQ(system.pools[0].recreated, 1);
  ASSERT_TRUE(TakeNew({100, 80}));
  EXPECT_EQ(system.pools[0].recreated, 2);
  ASSERT_TRUE(TakeNew({100, 80}));
  EXPECT_FALSE(frame.size_changed);

  system.late_frame = true;
  ASSERT_TRUE(TakeNew({64, 48}));
  ASSERT_TRUE(Take());
  EXPECT_TRUE(frame.fresh && frame.size_changed) << "of the size of now, on the old texture";
  ASSERT_TRUE(TakeNew({64, 48}));
  EXPECT_FALSE(frame.size_changed);
}

TEST(ClientCrop, IsWhatTheWindowDrawsItself) {
  constexpr RECT kFrame = {100, 50, 300, 250};
  const struct {
    RECT client;
    SizeInt32 content;
    bool valid;
  } kRows[] = {
      {{101, 80, 299, 249}, {200, 200}, true},  {{100, 50, 300, 249}, {200, 200}, true},
      {{100, 50, 300, 250}, {200, 200}, false},  // all of it
      {{100, 50, 300, 250}, {201, 200}, true},   // the picture has a margin
      {{99, 80, 299, 249}, {200, 200}, false},  {{101, 49, 299, 249}, {200, 200}, false},
      {{101, 80, 301, 249}, {200, 200}, false}, {{101, 80, 299, 251}, {200, 200}, false},
      {{101, 80, 101, 249}, {200, 200}, false},  // minimised
  };
  for (const auto& row : kRows) {
    const auto crop = CropToClient(kFrame, row.client, row.content);
    ASSERT_EQ(crop.has_value(), row.valid) << &row - kRows;
    if (!crop) continue;
    EXPECT_EQ(crop->left + 100, static_cast<UINT>(row.client.left));
    EXPECT_EQ(crop->bottom + 50, static_cast<UINT>(row.client.bottom));
    EXPECT_EQ(crop->back - crop->front, 1U);
  }
}

TEST_F(WgcCaptureTest, GivesOnlyTheInsideOfAWindow) {
  const GameWindow window(WS_OVERLAPPEDWINDOW);
  ASSERT_NE(window.ClientSize(), window.Size());
  system.item_size = window.Size();
  ASSERT_NO_FATAL_FAILURE(Begin(Target(window)));
  EXPECT_EQ(system.window, window.handle());
  ASSERT_TRUE(TakeNew(window.Size()));
  EXPECT_FALSE(frame.size_changed);
  EXPECT_EQ(FrameSize(), window.ClientSize());
  EXPECT_EQ(frame.picture->width(), frame.width);
  const POINT inside = window.ClientOffset();
  EXPECT_EQ(FirstByte(), static_cast<uint8_t>(inside.x + 2 * inside.y));

  // The same copy serves every frame; an old frame is not copied again.
  const PictureRef before = frame.picture;
  ASSERT_TRUE(Take());
  ASSERT_TRUE(TakeNew(window.Size()));
  EXPECT_EQ(frame.picture, before);

  // The client area grows over the whole window, whose size stays: seen with the 61st.
  SetWindowLongPtrW(window.handle(), GWL_STYLE, static_cast<LONG_PTR>(WS_POPUP | WS_VISIBLE));
  SetWindowPos(window.handle(), nullptr, 0, 0, 0, 0,
               SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_FRAMECHANGED);
  ASSERT_EQ(window.ClientSize(), window.Size());
  for (int i = 2; i < 60; ++i) {
    ASSERT_TRUE(TakeNew(window.Size()));
    ASSERT_EQ(frame.picture, before) << i;
  }
  ASSERT_TRUE(TakeNew(window.Size()));
  EXPECT_EQ(FrameSize(), window.Size());
  EXPECT_NE(frame.picture, before) << "nothing to copy";
  EXPECT_EQ(FirstByte(), 0);
}

class HdrTest : public WgcCaptureTest {
 protected:
  HdrTest() { light.now = {.hdr_on = true, .sdr_white = 2.5F, .peak = 10.0F}; }
};

TEST_F(HdrTest, TakesEightBitsAndWatchesWhileTheGameDrawsInSdr) {
  const GameWindow window(WS_OVERLAPPEDWINDOW);
  const SizeInt32 size = system.item_size = window.Size();
  ASSERT_NO_FATAL_FAILURE(Begin(Target(window)));
  EXPECT_EQ(system.pools[0].format, kHalf);
  EXPECT_EQ(capture->Display().sdr_white, 2.5F);
  ASSERT_TRUE(TakeNew(size));
  EXPECT_EQ(frame.picture->format(), PixelFormat::RgbaHalf);
  EXPECT_FALSE(capture->IsDrawnSdr());
  EXPECT_TRUE(capture->SetDrawnSdr(false));
  EXPECT_FALSE(capture->TryAcquireSide(frame));

  ASSERT_TRUE(capture->SetDrawnSdr(true));
  EXPECT_TRUE(capture->SetDrawnSdr(true));
  EXPECT_TRUE(capture->IsDrawnSdr());
  ASSERT_EQ(system.pools.size(), 2U);
  EXPECT_EQ(system.pools[0].format, kCodes);
  const FakePoolState& watch = system.pools[1];
  EXPECT_EQ(watch.format, kHalf);
  EXPECT_EQ(watch.buffers, 1);
  EXPECT_EQ(watch.interval, 10'000'000);
  EXPECT_EQ(watch.cursor + watch.border, 0);
  EXPECT_TRUE(watch.started);

  ASSERT_TRUE(TakeNew(size, 7));
  EXPECT_EQ(frame.picture->format(), PixelFormat::Bgra8);
  CapturedFrame side;
  ASSERT_TRUE(capture->TryAcquireSide(side));
  EXPECT_EQ(side.picture->format(), PixelFormat::RgbaHalf);
  EXPECT_EQ(side.picture->width(), static_cast<uint32_t>(size.Width));
  EXPECT_EQ(side.left, static_cast<uint32_t>(window.ClientOffset().x));
  EXPECT_EQ(side.top, static_cast<uint32_t>(window.ClientOffset().y));
  EXPECT_EQ(side.width, frame.width);
  EXPECT_EQ(side.height, frame.height);
  EXPECT_EQ(side.time_ns, 700U);
  EXPECT_FALSE(capture->TryAcquireSide(side));
  system.Compose({size.Width + 1, size.Height}, 8);
  EXPECT_FALSE(capture->TryAcquireSide(side)) << "of another size";
  EXPECT_EQ(watch.held, 0);
  ASSERT_TRUE(Take());

  ASSERT_TRUE(capture->SetDrawnSdr(false));
  EXPECT_EQ(system.pools[0].format, kHalf);
  EXPECT_TRUE(system.pools[1].closed);
  EXPECT_FALSE(capture->TryAcquireSide(side));
}

TEST_F(HdrTest, StaysAsItIsWhenTheSystemRefusesTheOtherRange) {
  ASSERT_NO_FATAL_FAILURE(Begin(kMonitor));
  for (const char* call :
       {"CreateFreeThreaded", "CreateCaptureSession", "StartCapture", "Recreate"}) {
    system.failing = call;
    EXPECT_FALSE(capture->SetDrawnSdr(true)) << call;
    EXPECT_FALSE(capture->IsDrawnSdr());
    EXPECT_TRUE(system.pools.size() == 1 || system.pools.back().closed) << call;
  }
  system.failing.clear();
  ASSERT_TRUE(capture->SetDrawnSdr(true));
  system.failing = "Recreate";
  EXPECT_FALSE(capture->SetDrawnSdr(false));
  EXPECT_TRUE(capture->IsDrawnSdr());
  EXPECT_TRUE(system.pools.back().closed);
}

TEST_F(HdrTest, AsksForTheDisplayUnderTheTarget) {
  ASSERT_NO_FATAL_FAILURE(Begin({.kind = CaptureTarget::Kind::Monitor, .monitor = 0x1234}));
  EXPECT_EQ(system.monitor, light.asked);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(light.asked), 0x1234U);
  light.now.sdr_white = 3.0F;
  EXPECT_EQ(capture->CurrentDisplay().sdr_white, 3.0F);
  EXPECT_EQ(capture->Display().sdr_white, 2.5F);

  ASSERT_NO_FATAL_FAILURE(Begin(kMonitor, {.treat_as_sdr = true}));
  EXPECT_EQ(system.pools.back().format, kCodes);
  EXPECT_FALSE(capture->Display().hdr_on || capture->CurrentDisplay().hdr_on);
  EXPECT_FALSE(capture->SetDrawnSdr(true) || capture->IsDrawnSdr());
}

TEST_F(WgcCaptureTest, NoticesThatItsTargetIsGone) {
  ASSERT_NO_FATAL_FAILURE(Begin(kMonitor));
  EXPECT_FALSE(capture->TargetGone());
  const auto handler = system.closed_handler;
  std::thread([&] { system.CloseItem(); }).join();
  EXPECT_TRUE(capture->TargetGone());
  capture.reset();
  // The system may be in the middle of telling it.
  EXPECT_EQ(handler->Invoke(nullptr, nullptr), S_OK);
  handler->AddRef();
  EXPECT_EQ(handler->Release(), 1U) << "only this test has it now";

  std::optional<GameWindow> window(WS_POPUP);
  ASSERT_NO_FATAL_FAILURE(Begin(Target(*window)));
  EXPECT_FALSE(capture->TargetGone());
  window.reset();
  EXPECT_TRUE(capture->TargetGone());
}

TEST(DisplayLight, IsReadFromWhatTheOutputTells) {
  DXGI_OUTPUT_DESC1 output{};
  output.RedPrimary[0] = 0.68F;
  output.WhitePoint[1] = 0.33F;
  constexpr auto kPq = DXGI_COLOR_SPACE_RGB_FULL_G2084_NONE_P2020;
  constexpr auto kSdr = DXGI_COLOR_SPACE_RGB_FULL_G22_NONE_P709;
  const struct {
    DXGI_COLOR_SPACE_TYPE space;
    float white_nits;
    float max_luminance;
    DisplayDescription expected;
  } kRows[] = {
      {kPq, 200, 1000, {.hdr_on = true, .sdr_white = 2.5F, .peak = 12.5F}},
      {kPq, 480, 400, {.hdr_on = true, .sdr_white = 6.0F, .peak = 6.0F}},
      {kPq, 0, 1000, {}},
      {kPq, 200, 0, {}},
      {kSdr, 200, 1000, {}},
  };
  for (const auto& row : kRows) {
    output.ColorSpace = row.space;
    output.MaxLuminance = row.max_luminance;
    const DisplayDescription found = DescribeOutput(output, row.white_nits);
    EXPECT_EQ(found.hdr_on, row.expected.hdr_on) << &row - kRows;
    EXPECT_EQ(found.sdr_white, row.expected.sdr_white) << &row - kRows;
    EXPECT_EQ(found.peak, row.expected.peak) << &row - kRows;
    EXPECT_EQ(found.chromaticity[0], 0.68F);
    EXPECT_EQ(found.chromaticity[7], 0.33F);
  }

  const std::unique_ptr<IClock> clock = MakeSystemClock();
  DxgiDisplayLight light(*clock);
  const HMONITOR primary = MonitorFromPoint({0, 0}, MONITOR_DEFAULTTOPRIMARY);
  for (const HMONITOR monitor : {primary, static_cast<HMONITOR>(nullptr), primary}) {
    EXPECT_FALSE(light.Describe(monitor).hdr_on);
  }
}

}  // namespace
}  // namespace orventa
