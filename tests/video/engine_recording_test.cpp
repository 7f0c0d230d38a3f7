// Recordings beside the replay: what gets into their files, and what ends them.
#include <gtest/gtest.h>

#include "tests/fakes/fake_sound.h"
#include "tests/fakes/temp_folder.h"
#include "tests/video/engine_rig.h"
#include "tests/video/file_peek.h"

namespace orventa {
namespace {

struct RecordingRig : EngineRig {
  RecordingRig() {
    sources = &sound;
    config.storage.recording.directory = folder.path();
    // Two files of one second would differ in their folders at least.
    config.storage.recording.filename_pattern = "%H-%M-%S";
  }
  ~RecordingRig() { engine.reset(); }

  void StartRecording() {
    const Status status = engine->StartRecording(path);
    ASSERT_TRUE(status.ok()) << status.ToString();
  }
  // Whether it ended well, with the path that it said.
  Status StopRecording() {
    std::string stopped;
    const Status status = engine->StopRecording(stopped);
    EXPECT_EQ(status.ok(), !stopped.empty());
    return status;
  }
  std::vector<FinishedRecording> News() const {
    const EngineSnapshot look = Look();
    return look.finished_recordings ? *look.finished_recordings : std::vector<FinishedRecording>();
  }

  TempFolder folder;
  FakeSound sound;
  std::string path;
};

// Pictures without a hole from a keyframe on, and every sound track as long. The sound of
// a pipeline ends with a whole packet, after which that of the next begins: `lap_ns`.
void ExpectWhole(const FakeRecordingDrive::File& file, size_t pictures, const std::string& what,
                 uint64_t lap_ns = 0) {
  constexpr uint64_t kSoundNs = 1024 * kSec / 48000;
  ASSERT_TRUE(file.finished) << what;
  ASSERT_NEAR(static_cast<double>(file.pictures.size()), static_cast<double>(pictures), 4) << what;
  EXPECT_TRUE(file.pictures.front().keyframe) << what;
  const auto first = static_cast<uint64_t>(file.pictures.front().pts);
  const auto end = static_cast<uint64_t>(file.pictures.back().pts) + kSlot60;
  EXPECT_EQ(end - first, file.pictures.size() * kSlot60) << what;
  ASSERT_EQ(file.sound_pts.size(), file.sound.size()) << what;
  for (const auto& [track, pts] : file.sound_pts) {
    EXPECT_LE(pts.front(), first + lap_ns) << what << ", track " << track;
    EXPECT_GT(pts.front() + kSoundNs, first) << what << ", track " << track;
    EXPECT_GE(pts.back() + kSoundNs + 1, end) << what << ", track " << track;
    EXPECT_LT(pts.back(), end + lap_ns) << what << ", track " << track;
    for (size_t i = 1; i < pts.size(); ++i)
      EXPECT_LE(pts[i] - pts[i - 1] - kSoundNs + 1, 2U) << what;
  }
}

TEST(EngineRecording, TakesWhatTheReplayTakesAndMore) {
  RecordingRig rig;
  rig.config.audio.microphone = rig.config.audio.separate_tracks = true;
  rig.config.replay.duration_seconds = 5;
  rig.config.service.save_seconds = 5;
  rig.StartOnWindow(3300 * kMs);
  std::string none;
  EXPECT_EQ(rig.engine->StopRecording(none), Status(StatusCode::InvalidArgument, "not recording"));
  rig.StartRecording();
  EXPECT_EQ(rig.engine->StartRecording(none),
            Status(StatusCode::InvalidArgument, "already recording"));
  rig.Run(kSec);
  size_t marks = 0;
  ASSERT_TRUE(rig.engine->AddMarker(marks).ok());
  rig.Run(9 * kSec);
  ASSERT_TRUE(rig.engine->AddMarker(marks).ok());
  EXPECT_EQ(marks, 1U) << "the replay no longer reaches the first";
  rig.config.video.bitrate_kbps = 9000;
  rig.config.video.bitrate_auto = false;
  ASSERT_TRUE(rig.engine->ApplySettings(rig.config, rig.list).ok());
  rig.Run(kSec);
  EXPECT_EQ(rig.backend.opened, 1) << "new settings wait";
  EngineSnapshot look = rig.Look();
  EXPECT_TRUE(look.recording);
  EXPECT_NEAR(look.recording_seconds, 11, 0.1);
  EXPECT_EQ(look.recording_path, rig.path);
  ASSERT_TRUE(rig.StopRecording().ok());
  rig.Run(2 * kSec);
  EXPECT_EQ(rig.backend.opened, 2);
  look = rig.Look();
  EXPECT_FALSE(look.recording);
  EXPECT_EQ(look.recordings_saved, 1U);
  ASSERT_EQ(rig.drive.files.size(), 1U);
  const FakeRecordingDrive::File& file = *rig.drive.files[0];
  EXPECT_EQ(file.sound.size(), 2U);
  ExpectWhole(file, 660, "one file");
  ASSERT_EQ(file.marks.markers.size(), 2U);
  EXPECT_EQ(file.marks.markers[1].label, "Marker 2");
  EXPECT_EQ(rig.News(),
            (std::vector<FinishedRecording>{{1, {}, rig.path, "game", rig.folder.path(), ""}}));
}

TEST(EngineRecording, GoesOnInAnotherFileOrEndsWithItsPipeline) {
  struct Row {
    const char* name;
    void (*happen)(RecordingRig& rig);
    size_t files;
    bool goes_on;
  };
  const Row rows[] = {
      {"a switch of the target",
       [](RecordingRig& rig) {
         rig.targets.minimised.insert(7);
         rig.targets.Show(FakeTargets::Window(8, "another"));
       },
       2, true},
      {"a target that closes",
       [](RecordingRig& rig) {
         rig.screen.gone = true;
         rig.targets.found.reset();
       },
       1, false},
      {"a window of another size", [](RecordingRig& rig) { rig.screen.width += 64; }, 2, true},
      {"a card lost once",
       [](RecordingRig& rig) {
         rig.graphics.removed_reason = 1;
         rig.clock.After(kSec, [&] { rig.graphics.removed_reason = 0; });
       },
       2, true},
      {"a card lost again and again",
       [](RecordingRig& rig) {
         for (uint64_t at : {0, 10}) {
           rig.clock.After(at * kSec + 1, [&] { rig.graphics.removed_reason = 1; });
           rig.clock.After(at * kSec + kSec, [&] { rig.graphics.removed_reason = 0; });
         }
       },
       2, false},
      {"sleep", [](RecordingRig& rig) { rig.clock.SuspendFor(100 * kSec); }, 1, false},
  };
  for (const Row& row : rows) {
    RecordingRig rig;
    rig.StartOnWindow(2 * kSec);
    rig.StartRecording();
    rig.Run(4 * kSec);
    row.happen(rig);
    rig.Run(20 * kSec);
    EXPECT_EQ(rig.engine->IsRecording(), row.goes_on) << row.name;
    if (row.goes_on) {
      EXPECT_GT(rig.Look().recording_seconds, 16) << row.name << ": both files count";
      EXPECT_TRUE(rig.StopRecording().ok());
      rig.Run(2 * kSec);
    }
    ASSERT_EQ(rig.drive.files.size(), row.files) << row.name;
    for (const auto& file : rig.drive.files)
      ExpectWhole(*file, file->pictures.size(), row.name, 22 * kMs);
    const std::vector<FinishedRecording> news = rig.News();
    ASSERT_EQ(news.size(), row.files) << row.name;
    EXPECT_NE(news.front().path, news.size() > 1 ? news.back().path : "") << row.name;
    EXPECT_EQ(rig.Look().recordings_saved, row.files) << row.name;
  }
}

TEST(EngineRecording, RunsWhileTheReplayIsStopped) {
  RecordingRig rig;
  rig.targets.Show(FakeTargets::Window(7, "game"));
  rig.Start();
  rig.engine->SetPaused(true);
  rig.Run(2 * kSec);
  EXPECT_EQ(rig.backend.alive, 0);
  rig.StartRecording();
  EXPECT_EQ(rig.StopRecording(), Status(StatusCode::NoTarget, "nothing was recorded"));
  rig.Run(2 * kSec);
  EXPECT_TRUE(rig.drive.files.empty());
  rig.StartRecording();
  rig.Run(5 * kSec);
  EXPECT_TRUE(rig.Look().capturing);
  EXPECT_GT(rig.Look().buffered_seconds, 3) << "the replay fills all the same";
  ASSERT_TRUE(rig.StopRecording().ok());
  rig.Run(2 * kSec);
  EXPECT_EQ(rig.backend.alive, 0) << "back to the pause";
  EXPECT_EQ(rig.Look().buffered_bytes, 0U);
  ASSERT_EQ(rig.drive.files.size(), 1U);
  ExpectWhole(*rig.drive.files[0], 300, "paused");
}

// Whatever goes before or between, a recording's files are whole and the replay is there.
TEST(EngineRecording, EveryOrderOfReplayAndRecordingEndsWhole) {
  constexpr int kSteps = 4;
  constexpr int kOrders = 81;  // 3 things to do, 4 times
  for (int order = 0; order < kOrders; ++order) {
    RecordingRig rig;
    rig.StartOnWindow(500 * kMs);
    bool paused = false;
    size_t recordings = 0;
    std::string what;
    for (int step = 0, left = order; step < kSteps; ++step, left /= 3) {
      switch (left % 3) {
        case 0:
          what += "record ";
          if (rig.engine->IsRecording()) {
            EXPECT_TRUE(rig.StopRecording().ok()) << what;
          } else {
            rig.StartRecording();
            ++recordings;
          }
          break;
        case 1:
          what += "pause ";
          rig.engine->SetPaused(paused = !paused);
          break;
        case 2:
          what += "size ";
          rig.screen.width += 64;
          break;
      }
      rig.Run(2 * kSec);
    }
    if (rig.engine->IsRecording()) {
      EXPECT_TRUE(rig.StopRecording().ok()) << what;
    }
    rig.engine->SetPaused(false);
    rig.Run(3 * kSec);
    EXPECT_TRUE(rig.Look().capturing) << what;
    EXPECT_GT(rig.Look().buffered_seconds, 1) << what;
    EXPECT_GE(rig.drive.files.size(), recordings) << what;
    for (const auto& file : rig.drive.files)
      ExpectWhole(*file, file->pictures.size(), what, 22 * kMs);
  }
}

TEST(EngineRecording, HasItsOwnPictureWhereAsked) {
  RecordingRig rig;
  rig.config.recording_use_video_settings = false;
  rig.config.recording.bitrate_auto = false;
  rig.config.recording.bitrate_kbps = 77'000;
  rig.StartOnWindow(3 * kSec);
  rig.StartRecording();
  rig.Run(3 * kSec);
  EXPECT_EQ(rig.backend.opened, 2);
  EXPECT_EQ(rig.backend.settings.bitrate_kbps, 77'000U);
  EXPECT_GT(rig.Look().buffered_seconds, 5) << "the same header goes on";
  ASSERT_TRUE(rig.StopRecording().ok());
  rig.Run(3 * kSec);
  EXPECT_EQ(rig.backend.opened, 3);
  EXPECT_NE(rig.backend.settings.bitrate_kbps, 77'000U);
  ASSERT_EQ(rig.drive.files.size(), 1U);
  ExpectWhole(*rig.drive.files[0], 174, "own picture", 22 * kMs);
}

TEST(EngineRecording, EndsWhileTheDriveStillHasRoom) {
  RecordingRig rig;
  rig.drive.real = true;
  rig.backend.header = [](const EncoderSettings&) { return PlayableHeader(); };
  // A picture takes a megabyte.
  constexpr uint64_t kSize = 700ULL << 20U;
  uint64_t free = kSize;
  rig.drive.free = [&]() -> std::optional<uint64_t> {
    if (!rig.drive.files.empty()) free = kSize - (rig.drive.files[0]->pictures.size() << 20U);
    return free;
  };
  rig.StartOnWindow(kSec);
  rig.StartRecording();
  rig.Run(9 * kSec);
  EXPECT_TRUE(rig.engine->IsRecording());
  EXPECT_FALSE(rig.Look().drive_nearly_full);
  rig.Run(3 * kSec);
  EXPECT_FALSE(rig.engine->IsRecording());
  const EngineSnapshot look = rig.Look();
  EXPECT_TRUE(look.drive_nearly_full);
  EXPECT_EQ(look.recordings_saved, 1U);
  EXPECT_TRUE(look.capturing);
  EXPECT_LT(free, ActiveRecording::kSpareBytes);
  ExpectWhole(*rig.drive.files[0], 607, "full drive");
  std::string file;
  ASSERT_TRUE(ReadWholeFile(rig.path, 64U << 20U, file).ok());
  EXPECT_EQ(SampleCount(file), 0U) << "of the index for a crash";
  EXPECT_EQ(SampleCount(file.substr(file.rfind("moov"))), rig.drive.files[0]->pictures.size());
}

// A recording of pictures of a megabyte each, every one of which takes the drive so long.
void RecordOnto(RecordingRig& rig, uint64_t write_takes_ns) {
  rig.backend.key_payload = rig.backend.delta_payload = Payload::Allocate(1U << 20U);
  rig.config.replay.max_memory_limited = true;
  rig.config.replay.max_memory_mb = 256;
  rig.StartOnWindow(kSec);
  rig.drive.write_takes_ns = write_takes_ns;
  rig.StartRecording();
}

TEST(EngineRecording, ASlowDriveHoldsThePicturesBackAndLosesNone) {
  RecordingRig rig;
  RecordOnto(rig, 50 * kMs);
  const size_t before = rig.backend.pts.size();
  rig.Run(2 * kSec);
  ASSERT_EQ(rig.drive.files.size(), 1U);
  const FakeRecordingDrive::File& file = *rig.drive.files[0];
  rig.Run(8 * kSec);
  EXPECT_GT(rig.Look().slots_missed, 100U);
  const size_t waiting = rig.backend.pts.size() - before - file.pictures.size();
  EXPECT_LT(waiting, 32U + 8) << "memory is bounded";
  EXPECT_GT(waiting, 28U);
  ASSERT_TRUE(rig.StopRecording().ok());
  rig.Run(4 * kSec);
  rig.drive.write_takes_ns = 0;
  rig.Run(kSec);
  EXPECT_EQ(rig.Look().recordings_saved, 1U);
  for (size_t i = 0; i < file.pictures.size(); ++i) {
    ASSERT_EQ(static_cast<uint64_t>(file.pictures[i].pts), rig.backend.pts[before + i]) << i;
  }
  EXPECT_EQ(rig.Look().restarts, 0U);
}

TEST(EngineRecording, ADriveThatNeverAnswersIsGivenUp) {
  RecordingRig rig;
  rig.sources = nullptr;  // the fake encoders do not hold as much sound as waits here
  RecordOnto(rig, 3600 * kSec);
  rig.Run(25 * kSec);
  EXPECT_FALSE(rig.engine->IsRecording());
  const EngineSnapshot look = rig.Look();
  EXPECT_TRUE(look.capturing);
  EXPECT_EQ(look.restarts, 0U);
  EXPECT_EQ(look.recordings_failed, 1U);
  ASSERT_EQ(rig.News().size(), 1U);
  EXPECT_EQ(rig.News()[0].result,
            Status(StatusCode::DriverError,
                   "the recording could not be written: the drive does not answer"));
  const uint64_t before = rig.clock.SteadyNs();
  rig.engine->Stop();
  EXPECT_LT(rig.clock.SteadyNs() - before, 16 * kSec);
  EXPECT_EQ(rig.Look().recordings_ending, 1U);
  rig.engine.reset();
  EXPECT_TRUE(rig.drive.files[0]->finished) << "the drive has answered after all";
}

TEST(EngineRecording, AFileThatFailsCostsTheReplayNothing) {
  const Status broken(StatusCode::DriverError, "write error");
  const Status unopened(StatusCode::InvalidArgument, "cannot open 'x'");
  struct Row {
    const char* name;
    Status FakeRecordingDrive::*what;
    Status fails;
    const char* told;
  };
  const Row rows[] = {
      {"write", &FakeRecordingDrive::write, broken,
       "the recording could not be written: write error"},
      {"finish", &FakeRecordingDrive::finish, broken,
       "the recording could not be written: write error"},
      {"open", &FakeRecordingDrive::open, unopened, "cannot open 'x'"},
  };
  for (const Row& row : rows) {
    RecordingRig rig;
    rig.StartOnWindow(2 * kSec);
    if (row.what == &FakeRecordingDrive::open) rig.drive.open = row.fails;
    rig.StartRecording();
    rig.Run(2 * kSec);
    rig.drive.*row.what = row.fails;
    rig.Run(2 * kSec);
    EXPECT_EQ(rig.engine->IsRecording(), row.what == &FakeRecordingDrive::finish) << row.name;
    EXPECT_EQ(rig.StopRecording().ok(), row.what == &FakeRecordingDrive::finish) << row.name;
    rig.Run(2 * kSec);
    const EngineSnapshot look = rig.Look();
    EXPECT_EQ(look.recordings_failed, 1U) << row.name;
    EXPECT_EQ(look.recordings_saved, 0U) << row.name;
    ASSERT_EQ(rig.News().size(), 1U) << row.name;
    EXPECT_EQ(rig.News()[0].result, Status(StatusCode::DriverError, row.told)) << row.name;
    EXPECT_EQ(rig.backend.opened, 1) << row.name;
    EXPECT_NEAR(look.buffered_seconds, 8, 0.2) << row.name;
  }
}

TEST(EngineRecording, BeginsByItselfWhereTheListSaysSo) {
  RecordingRig rig;
  FoundTarget game = FakeTargets::Window(7, "game");
  game.record_session = true;
  game.list_index = 1;
  rig.targets.Show(game);
  rig.Start();
  rig.Run(3 * kSec);
  EXPECT_TRUE(rig.engine->IsRecording());
  const auto close = [&] {
    rig.screen.gone = true;
    rig.targets.found.reset();
    rig.Run(3 * kSec);
    rig.screen.gone = false;
  };
  close();
  EXPECT_FALSE(rig.engine->IsRecording());
  rig.targets.Show(game);
  rig.Run(3 * kSec);
  EXPECT_TRUE(rig.engine->IsRecording()) << "opened again";
  ASSERT_TRUE(rig.StopRecording().ok());
  rig.config.video.fps = 30;
  ASSERT_TRUE(rig.engine->ApplySettings(rig.config, rig.list).ok());
  rig.Run(3 * kSec);
  EXPECT_EQ(rig.backend.opened, 3);
  EXPECT_FALSE(rig.engine->IsRecording()) << "the user has ended it";
  close();
  rig.targets.Show(game);
  rig.Run(3 * kSec);
  rig.targets.Show(FakeTargets::Window(8, "better"));
  rig.Run(5 * kSec);
  EXPECT_FALSE(rig.engine->IsRecording()) << "a better target ends it";
  EXPECT_EQ(rig.News().size(), 3U);

  rig.engine->SetPaused(true);
  rig.targets.Show(game);
  rig.Run(3 * kSec);
  EXPECT_FALSE(rig.engine->IsRecording());
  rig.config.service.record_while_paused = true;
  ASSERT_TRUE(rig.engine->ApplySettings(rig.config, rig.list).ok());
  rig.Run(3 * kSec);
  EXPECT_TRUE(rig.engine->IsRecording());
  close();
  EXPECT_FALSE(rig.engine->IsRecording());
  EXPECT_EQ(rig.backend.alive, 0);
}

}  // namespace
}  // namespace orventa
