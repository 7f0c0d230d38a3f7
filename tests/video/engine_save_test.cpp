// From the captured picture to the file: everything real but the screen, the
// encoder and the clock.
#include <gtest/gtest.h>

#include "tests/fakes/fake_sound.h"
#include "tests/video/engine_rig.h"
#include "tests/video/file_peek.h"

namespace orventa {
namespace {

struct SaveRig : EngineRig {
  SaveRig() {
    folder = JoinPath(::testing::TempDir(), "orventa-engine-save");
    config.storage.replay.directory = folder;
    config.audio.enabled = false;
    backend.header = [](const EncoderSettings&) { return PlayableHeader(); };
  }
  std::string folder;
};

TEST(EngineSave, ConvertedPicturesReachTheEncoderAndPacketsTheFile) {
  SaveRig rig;
  rig.graphics.real_conversion = true;
  rig.screen.shade = 0xFF;
  int white = 0;
  int others = 0;
  rig.backend.on_frame = [&](const EncoderFrame& frame) {
    const MemoryPicture* picture = frame.picture->InMemory();
    ASSERT_NE(picture, nullptr);
    const PlaneView& luma = picture->plane(0);
    // White is 235 in 8-bit limited range, in the middle as in the corner.
    const bool all = luma.data[0] == 235 && luma.data[180 * luma.stride + 320] == 235;
    ++(all ? white : others);
  };
  rig.StartOnWindow(12 * kSec);
  EXPECT_GT(white, 700);
  EXPECT_EQ(others, 0);

  std::string path;
  const Status saved = rig.engine->SaveReplay(5, path);
  ASSERT_TRUE(saved.ok()) << saved.ToString();
  std::string file;
  ASSERT_TRUE(ReadWholeFile(path, 64U << 20U, file).ok());
  EXPECT_EQ(file.substr(4, 4), "ftyp");
  // Five seconds at most, less than a keyframe interval short of it.
  EXPECT_LE(SampleCount(file), 301U);
  EXPECT_GT(SampleCount(file), 240U);
  EXPECT_EQ(rig.Look().saved_elsewhere, "");
  EXPECT_TRUE(rig.Look().capturing) << "a save disturbs nothing";
  EXPECT_TRUE(RemoveFile(path).ok());
}

TEST(EngineSave, SoundTracksBeginWithThePictureAndLastAsLong) {
  FakeSound sound;
  SaveRig rig;
  rig.sources = &sound;
  rig.config.audio.enabled = rig.config.audio.microphone = true;
  rig.config.audio.separate_tracks = true;
  rig.StartOnWindow(7 * kSec);
  rig.config.video.bitrate_auto = false;  // a pipeline later the sound goes on
  ASSERT_TRUE(rig.engine->ApplySettings(rig.config, rig.list).ok());
  rig.Run(5 * kSec);
  ASSERT_EQ(rig.backend.opened, 2);
  std::string path;
  ASSERT_TRUE(rig.engine->SaveReplay(8, path).ok());
  rig.engine.reset();
  std::string file;
  ASSERT_TRUE(ReadWholeFile(path, 64U << 20U, file).ok());
  const size_t frames = SampleCount(file);
  EXPECT_NEAR(static_cast<double>(frames), 8 * 60, 62) << "out of both pipelines";
  size_t tracks = 0;
  for (size_t at = file.find("elst"); at != std::string::npos; at = file.find("elst", at + 4)) {
    ++tracks;
    EXPECT_EQ(Big32(file, at + 8), 1U) << "no delay";
    const uint32_t cut = Big32(file, at + 16);
    EXPECT_LT(cut, 1024U) << "only the packet that straddles the first picture";
    const double seconds = SampleCount(file.substr(at)) * 1024.0 / 48000;
    EXPECT_NEAR(seconds - cut / 48000.0, static_cast<double>(frames) / 60, 0.022);
  }
  EXPECT_EQ(tracks, 2U);
  EXPECT_TRUE(RemoveFile(path).ok());
}

TEST(EngineSave, NothingHeldIsSaidSo) {
  SaveRig rig;
  rig.Start();
  std::string path;
  EXPECT_EQ(rig.engine->SaveReplay(0, path),
            Status(StatusCode::InvalidArgument, "no replay held yet"));
}

}  // namespace
}  // namespace orventa
