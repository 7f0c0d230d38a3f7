// The whole engine as Windows runs it: real targets, device, capture, converter and
// NVENC's backend, over a fake of the screen and one of NVENC's library, in virtual
// time. Files stay where ORVENTA_TEST_FOLDER says, with what has to be in them, for
// judge.py.
#include <windows.h>

#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <vector>

#include "base/base_win/win32.h"
#include "base/files.h"
#include "encoders/nvenc/nvenc.h"
#include "encoders/nvenc/nvenc_api.h"
#include "media/media_win/d3d11_device.h"
#include "tests/capture_win/fake_capture.h"
#include "tests/capture_win/game_window.h"
#include "tests/encoders/fakes_win/fake_driver.h"
#include "tests/encoders/nvenc/fake_nvenc.h"
#include "tests/fakes/fake_clock.h"
#include "tests/graphics_win/wine_converter.h"
#include "video/engine.h"
#include "video/game_finder.h"
#include "video/video_win/win_graphics.h"
#include "video/video_win/win_targets.h"

namespace orventa {
namespace {

constexpr uint32_t kFps = 30;
constexpr uint64_t kSec = kNsPerSecond;
constexpr uint64_t kFrame = kSec / kFps;
constexpr wchar_t kTitle[] = L"a game of the engine's test";

const std::wstring& NvencLibrary() {
  static const std::wstring path = FakeLibraryPath(L"nvEncodeAPI64.dll");
  return path;
}

AdapterFacts AsNvidias(const GraphicsDevice& device) {
  AdapterFacts facts = FindAdapterFacts(device);
  facts.vendor_id = 0x10DE;
  facts.driver_version = (uint64_t{15} << 16) | 5500;  // 555.00
  return facts;
}

class NoKnownGames final : public IKnownGames {
 public:
  bool IsKnownGame(const std::string&) override { return false; }
};

class EngineWinTest : public testing::Test {
 protected:
  EngineWinTest() {
    folder = Environment("ORVENTA_TEST_FOLDER");
    if (folder.empty()) folder = testing::TempDir();
    folders.config = folders.local_data = folders.videos = folders.program = folder;
    config.audio.enabled = false;
    config.video.fps = kFps;
    config.storage.replay.directory = config.storage.recording.directory = folder;
    CaptureTargetEntry& entry = list.entries.emplace_back();
    entry.kind = TargetKind::Exact;
    entry.text = Narrow(kTitle);
    fake_nvenc = {};
    Show(320, 180);
    engine = MakeEngine({clock, graphics, finder, targets, {&nvenc}}, folders, config, list);
  }
  ~EngineWinTest() override {
    engine.reset();
    composing = false;
    clock.RunFor(kSec);
    EXPECT_EQ(system.breach, "");
    EXPECT_EQ(system.alive, 0);
    EXPECT_STREQ(fake_nvenc.breach, "");
    EXPECT_EQ(fake_nvenc.alive, 0);
  }

  ConverterParts Parts() {
    ConverterParts parts = test::WineConverterParts(chroma);
    parts.make_target = [this, make = parts.make_target](ID3D11Device& device, PixelFormat format,
                                                         uint32_t width, uint32_t height,
                                                         PlanarTarget& out) {
      const Status made = make(device, format, width, height, out);
      drawn.push_back(out.picture);
      return made;
    };
    return parts;
  }
  void Show(int width, int height) {
    RECT outer = {0, 0, width, height};
    AdjustWindowRect(&outer, WS_OVERLAPPEDWINDOW, FALSE);
    if (!window) window.emplace(DWORD{WS_OVERLAPPEDWINDOW}, kTitle);
    SetWindowPos(window->handle(), nullptr, 0, 0, outer.right - outer.left,
                 outer.bottom - outer.top, SWP_NOMOVE | SWP_NOZORDER);
    system.item_size = screen_size = window->Size();
  }
  void Start() {
    Compose();
    ASSERT_TRUE(engine->Start().ok());
  }
  // The compositor: one picture a frame, a little before the engine looks.
  void Compose() {
    if (!composing) return;
    system.Compose(screen_size, static_cast<int64_t>(clock.SteadyNs() / 100));
    clock.After(kFrame, [this] { Compose(); });
  }
  EngineSnapshot Look() const { return engine->GetStatus(); }

  // For judge.py: a file, its picture, and how many frames it must have.
  void Expect(const std::string& path, uint64_t least, uint64_t most) const {
    const EngineSnapshot now = Look();
    std::ofstream(JoinPath(folder, "expected"), std::ios::app | std::ios::binary)
        << path << '\t' << now.width << '\t' << now.height << '\t' << now.fps << '\t' << least
        << '\t' << most << '\n';
  }

  nvenc::FakeNvenc& fake_nvenc =
      SharedWithFake<nvenc::FakeNvencOfFunction>(NvencLibrary(), "FakeNvencOf");
  FakeClock clock;
  FakeCaptureSystem system;
  test::ChromaPlanes chroma;
  std::vector<PictureRef> drawn;
  WinGraphics graphics{clock, {system, Parts()}};
  NvencBackend nvenc{[]() -> const NvencApi& {
                       static const NvencApi api(NvencLibrary().c_str(), 0);
                       return api;
                     },
                     AsNvidias};
  NoKnownGames known_games;
  WinTargets targets{clock, known_games};
  GameFinder finder{targets};
  std::optional<GameWindow> window;
  winrt::SizeInt32 screen_size{};
  bool composing = true;
  std::string folder;
  KnownFolders folders;
  Config config;
  GameList list;
  std::unique_ptr<ReplayEngine> engine;
};

TEST_F(EngineWinTest, PicturesOfAWindowReachClipAndRecording) {
  ASSERT_NO_FATAL_FAILURE(Start());
  clock.RunFor(10 * kSec);
  const EngineSnapshot now = Look();
  EXPECT_EQ(now.last_error, "");
  ASSERT_TRUE(now.capturing);
  EXPECT_EQ(now.encoder_backend, "NVENC");
  EXPECT_EQ(now.target_description, Narrow(kTitle));
  EXPECT_EQ(now.source_width, 320U);
  EXPECT_EQ(now.source_height, 180U);
  EXPECT_EQ(now.restarts + now.history_resets + now.slots_missed, 0U);
  EXPECT_GT(now.frames_captured, 290U);

  std::string path;
  const Status saved = engine->SaveReplay(0, path);
  ASSERT_TRUE(saved.ok()) << saved.ToString();
  // One or two are still on their way through the encoder.
  ASSERT_NO_FATAL_FAILURE(Expect(path, now.frames_captured - 3, now.frames_captured));

  ASSERT_TRUE(engine->StartRecording(path).ok());
  clock.RunFor(5 * kSec);
  ASSERT_TRUE(engine->StopRecording(path).ok());
  clock.RunFor(2 * kSec);
  const auto finished = Look().finished_recordings;
  ASSERT_TRUE(finished != nullptr && finished->size() == 1);
  EXPECT_TRUE(finished->front().result.ok()) << finished->front().result.ToString();
  ASSERT_NO_FATAL_FAILURE(Expect(finished->front().path, 4 * kFps, 5 * kFps + 2));

  // What the encoder was given is the inside of the window, in studio swing.
  engine->Stop();
  const POINT inside = window->ClientOffset();
  ASSERT_FALSE(drawn.empty());
  ID3D11Texture2D* const luma = D3d11Picture::From(*drawn.back())->texture();
  for (const auto& [x, y] : {std::pair(0, 0), {10, 5}, {100, 20}}) {
    const double code = static_cast<double>(inside.x + x + 2 * (inside.y + y));
    EXPECT_NEAR(ByteAt(*luma, static_cast<size_t>(x), static_cast<size_t>(y)),
                16 + code * 219 / 255, 1)
        << x << "," << y;
  }
}

TEST_F(EngineWinTest, ASystemWithoutCaptureIsAskedAgainEverLater) {
  system.supported = false;
  ASSERT_NO_FATAL_FAILURE(Start());
  clock.RunFor(31 * kSec);  // at 0, 2, 6, 14 and 30 s
  EXPECT_EQ(system.entered, 5);
  EXPECT_EQ(Look().last_error, "Windows.Graphics.Capture is not available on this system");
  EXPECT_FALSE(Look().capturing);
  system.supported = true;
  clock.RunFor(35 * kSec);
  EXPECT_TRUE(Look().capturing);
  EXPECT_EQ(Look().last_error, "");
}

TEST_F(EngineWinTest, FollowsItsWindowToAnotherSizeAndToItsEnd) {
  ASSERT_NO_FATAL_FAILURE(Start());
  clock.RunFor(4 * kSec);
  ASSERT_TRUE(Look().capturing);
  Show(400, 226);
  clock.RunFor(4 * kSec);
  EXPECT_EQ(Look().source_width, 400U);
  EXPECT_EQ(Look().source_height, 226U);
  EXPECT_EQ(Look().history_resets, 1U);
  EXPECT_TRUE(Look().capturing);

  window.reset();
  system.CloseItem();
  clock.RunFor(3 * kSec);
  EXPECT_TRUE(Look().no_target);
  Show(320, 180);
  clock.RunFor(4 * kSec);
  EXPECT_TRUE(Look().capturing);
  EXPECT_EQ(Look().last_error, "");
}

}  // namespace
}  // namespace orventa
