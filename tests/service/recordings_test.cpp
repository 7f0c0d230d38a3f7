#include <gtest/gtest.h>

#include "tests/service/fake_platform.h"

namespace orventa {
namespace {

constexpr char kDriveNotice[] =
    "The recording stopped because its drive could not be written to. Check the drive is "
    "connected and has space.";

class Recordings : public testing::Test {
 protected:
  void ToggleAfter(uint64_t ms) {
    platform.After(ms, [this] { answers.push_back(platform.Ask("TOGGLE_RECORDING")); });
  }
  void NoteNoticeAfter(uint64_t ms) {
    platform.After(ms, [this] { notices.push_back(platform.Stat("notice")); });
  }
  void FinishAfter(uint64_t ms, std::vector<FinishedRecording> finished) {
    platform.After(ms, [this, finished] {
      platform.engine->ChangeStatus([&](EngineSnapshot& status) {
        status.finished_recordings =
            std::make_shared<const std::vector<FinishedRecording>>(finished);
      });
    });
  }

  FakePlatform platform;
  std::vector<std::string> answers;
  std::vector<std::string> notices;
};

TEST_F(Recordings, AToggleBeginsAndEndsOneAndSaysWhyNot) {
  const Status fine = Status::Ok();
  const Status nothing(StatusCode::NoTarget, "nothing was recorded");
  const struct {
    Status begin;
    Status end;
    const char* notice;
  } kPresses[] = {
      {fine, fine, "Recording started\\nrecording.mp4"},
      {fine, fine, "Recording started\\nrecording.mp4"},  // what ends is told once it is saved
      {{StatusCode::NoTarget, "no window"}, fine, "Nothing on the game list is open to record."},
      {{StatusCode::NoEncoder, "none"}, fine, "No video encoder to record with"},
      {{StatusCode::DriveFull, "full"}, fine, "Could not start recording."},
      {fine, nothing, "Recording started\\nrecording.mp4"},
      {fine, nothing, "Nothing was recorded."},
  };
  uint64_t ms = 100;
  std::vector<std::string> expected;
  for (const auto& press : kPresses) {
    platform.After(ms, [&, this] { platform.engine->SetRecordings(press.begin, press.end); });
    ToggleAfter(ms + 10);
    NoteNoticeAfter(ms + 20);
    expected.emplace_back(press.notice);
    ms += 100;
  }
  platform.CloseAfter(ms);
  EXPECT_EQ(platform.Run(), 0);
  EXPECT_EQ(answers, std::vector<std::string>(std::size(kPresses), "OK"));
  EXPECT_EQ(notices, expected);
  EXPECT_EQ(platform.LogCount("recording stopping: /clips/Some Game/recording.mp4"), 1U);
  EXPECT_EQ(platform.LogCount("stop recording failed: NoTarget: nothing was recorded"), 1U);
  EXPECT_EQ(platform.LogCount("start recording failed: DriveFull: full"), 1U);
}

TEST_F(Recordings, AFileThatIsDoneIsToldAndInTheLibrary) {
  const FinishedRecording rows[] = {
      {1, {}, "/clips/first.mp4", {}, {}, {}},
      {2, {}, "/other/second.mp4", {}, {}, "could not write to /clips"},
      {3, {StatusCode::InvalidArgument, "no pictures"}, "/clips/third.mp4", {}, {}, {}},
      {4, {StatusCode::DriverError, "write error"}, "/clips/fourth.mp4", {}, {}, {}},
  };
  std::vector<FinishedRecording> all;
  uint64_t ms = 1500;
  for (const FinishedRecording& finished : rows) {
    all.push_back(finished);
    FinishAfter(ms, all);
    NoteNoticeAfter(ms + 1000);
    ms += 1000;
  }
  std::string written;
  platform.After(ms + 100, [&] { written = platform.Stat("written_seq"); });
  // The end of the service ends a recording, too.
  FinishAfter(ms + 200, {rows[3], {5, {}, "/clips/last.mp4", {}, {}, {}}});
  platform.CloseAfter(ms + 300);
  EXPECT_EQ(platform.Run({"--from-window"}), 0);
  EXPECT_EQ(notices, (std::vector<std::string>{"Recording saved\\nfirst.mp4",
                                               "Recording saved\\ncould not write to /clips",
                                               "Nothing was recorded.", kDriveNotice}));
  EXPECT_EQ(written, "2");
  EXPECT_EQ(platform.ConfigFile("written.ini"),
            "recording=/clips/first.mp4\nrecording=/other/second.mp4\nrecording=/clips/last.mp4\n");
  EXPECT_EQ(platform.LogCount("recording saved: /clips/last.mp4"), 1U);
}

}  // namespace
}  // namespace orventa
