#include "service/repair.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <map>
#include <utility>

#include "tests/service/fake_platform.h"

namespace orventa {
namespace {

const Status kWhole(StatusCode::InvalidArgument, "already finished");
const Status kInUse(StatusCode::DriverError, "still being written");
const Status kFull(StatusCode::DriveFull, "the drive is full");

class Repair : public testing::Test {
 protected:
  Repair() {
    platform.finish_interrupted = [this](const std::string& path) {
      const std::string name(FileName(path));
      tried.push_back(name);
      platform.clock.SleepUntil(platform.clock.SteadyNs() + takes_ns);
      std::vector<Status>& said = says[name];
      if (said.empty()) return kWhole;
      const Status status = said.front();
      said.erase(said.begin());
      return status;
    };
  }
  // In the default folder of recordings, as the system writes paths.
  std::string PathOf(const std::string& name) const {
    return std::filesystem::path(platform.Folder("videos/ORVENTA/" + name))
        .make_preferred()
        .string();
  }
  std::string Make(const std::string& name) {
    const std::string path = PathOf(name);
    EXPECT_TRUE(CreateFolders(ParentFolder(path)).ok());
    EXPECT_TRUE(WriteFileAtomically(path, "x", KeepBackup::No).ok());
    return path;
  }
  void AskAfter(uint64_t ms, const std::string& verb, const std::string& body) {
    platform.After(ms, [this, verb, body] { answers.push_back(platform.Ask(verb, body)); });
  }
  ptrdiff_t Tries(const std::string& name) const {
    return std::count(tried.begin(), tried.end(), name);
  }

  FakePlatform platform;
  uint64_t takes_ns = 0;                            // each repair
  std::map<std::string, std::vector<Status>> says;  // by file name; then: it is whole
  std::vector<std::string> tried;
  std::vector<std::string> answers;
};

TEST_F(Repair, TheStartFinishesWhatWasCutOffAndTellsItOnce) {
  const std::string cut = Make("Some Game/cut.MP4");
  const std::string written = Make("written.mp4");
  const std::string side = Make("Some Game/clip.mp4.part");
  const std::string foreign = Make("download.zip.part");
  Make("whole.mp4");
  Make("picture.png");
  says["cut.MP4"] = {Status::Ok()};
  says["written.mp4"] = {kInUse, kFull, Status::Ok()};
  std::vector<std::string> notices;
  for (const uint64_t ms : {500U, 130'000U}) {
    platform.After(ms, [&] { notices.push_back(platform.Stat("notice")); });
  }
  platform.CloseAfter(300'000);
  EXPECT_EQ(platform.Run({"--from-window"}), 0);
  const std::string one =
      "A recording that was interrupted has been repaired and is in your library.";
  EXPECT_EQ(notices, (std::vector<std::string>{one, one}));
  EXPECT_EQ(platform.LogCount("finished an interrupted recording: " + cut), 1U);
  EXPECT_EQ(platform.LogCount("finished an interrupted recording: " + written), 1U);
  EXPECT_EQ(platform.LogCount("repair: " + written + ": DriveFull: the drive is full"), 1U);
  EXPECT_EQ(platform.ConfigFile("written.ini"),
            "recording=" + cut + "\nrecording=" + written + "\n");
  EXPECT_EQ(Tries("cut.MP4"), 1);
  EXPECT_EQ(Tries("whole.mp4"), 1);
  EXPECT_EQ(Tries("written.mp4"), 3);  // at once and each minute, until it was done
  EXPECT_EQ(Tries("picture.png"), 0);
  EXPECT_FALSE(FileExists(side));
  EXPECT_TRUE(FileExists(foreign));
}

TEST_F(Repair, NobodyWaitsForItAndNoFileAtWorkIsTouched) {
  Make("slow.mp4");
  Make("running.mp4");
  const std::string side = Make("clip.mp4.part");
  takes_ns = 10 * kNsPerSecond;
  platform.on_engine = [this](FakeEngine& engine) {
    engine.ChangeStatus([this](EngineSnapshot& status) {
      status.recording = true;
      status.recording_path = PathOf("running.mp4");
    });
  };
  uint64_t saved_after_ms = 0;
  platform.PostAfter(100, ServiceMessage::Command, static_cast<uint64_t>(TrayCommand::SaveClip));
  platform.After(200, [&] { saved_after_ms = platform.Stat("written_seq") == "1" ? 200 : 0; });
  // During the pass: another one follows it.
  platform.After(5000, [&] {
    Make("from the drive.mp4");
    platform.loop->InjectSystemEvent(SystemEvent::VolumeArrived);
  });
  platform.CloseAfter(60'000);
  EXPECT_EQ(platform.Run(), 0);
  EXPECT_EQ(saved_after_ms, 200U);
  EXPECT_EQ(tried, (std::vector<std::string>{"slow.mp4", "from the drive.mp4"}));
  EXPECT_TRUE(FileExists(side)) << "it may have been that save's";
}

TEST_F(Repair, ARecordingThatItsDriveLostWaitsForTheDrive) {
  const std::string path = Make("Some Game/lost.mp4");
  const std::string ended = Make("Some Game/ended.mp4");
  says["lost.mp4"] = {kWhole, Status(StatusCode::DriverError, "cannot read"), Status::Ok()};
  says["ended.mp4"] = {kWhole, kInUse, kWhole};  // its drive came to life again
  platform.After(1500, [&] {
    platform.engine->ChangeStatus([&](EngineSnapshot& status) {
      const Status error(StatusCode::DriverError, "write error");
      status.finished_recordings =
          std::make_shared<const std::vector<FinishedRecording>>(std::vector<FinishedRecording>{
              {1, error, path, {}, {}, {}}, {2, error, ended, {}, {}, {}}});
    });
  });
  platform.CloseAfter(300'000);
  EXPECT_EQ(platform.Run(), 0);
  EXPECT_EQ(Tries("lost.mp4"), 3);
  EXPECT_EQ(Tries("ended.mp4"), 3);
  EXPECT_EQ(platform.ConfigFile("written.ini"),
            "recording=" + path + "\nrecording=" + ended + "\n");
}

TEST_F(Repair, IsAskedForByAVerbWithinItsTime) {
  const std::string path = platform.Folder("videos/a.mp4");
  says["a.mp4"] = {Status::Ok(), Status(StatusCode::DriverError, "cannot read 'a'"), kWhole};
  const std::string other = platform.Folder("videos/b.mp4");
  for (const uint64_t ms : {100U, 200U}) AskAfter(ms, "REPAIR_RECORDING", path + "\r\n");
  AskAfter(300, "REPAIR_RECORDING", other);
  AskAfter(400, "REPAIR_RECORDING", platform.Folder("videos/notes.txt"));
  AskAfter(500, "REPAIR_RECORDING", " ");
  AskAfter(600, "FILES_MOVED", "from=" + other + "\nto=" + path + ".moved\nfrom=x\nto=y\n");
  AskAfter(700, "FILES_MOVED", "from=x\nfrom=y\nto=z\n");
  platform.After(800, [&] { takes_ns = 30 * kNsPerSecond; });
  AskAfter(1000, "REPAIR_RECORDING", path);
  uint64_t answered_ms = 0;
  platform.After(1001, [&] {
    answered_ms = (platform.clock.SteadyNs() - FakeClock::kSteadyStartNs) / kNsPerMs;
  });
  platform.CloseAfter(40'000);
  EXPECT_EQ(platform.Run(), 0);
  EXPECT_EQ(answers, (std::vector<std::string>{
                         "OK", "ERR DriverError cannot read 'a'", "OK", "OK",
                         "ERR InvalidArgument REPAIR_RECORDING needs a path", "OK\nmoved=1\n",
                         "ERR InvalidArgument expected pairs of from= and to=, got: from=y",
                         "ERR DriverError the repair is still running"}));
  EXPECT_EQ(answered_ms, 21'000U);
  EXPECT_EQ(platform.LogCount("repair: DriverError: cannot read 'a'"), 1U);
  EXPECT_EQ(platform.ConfigFile("written.ini"),
            "recording=" + path + "\nrecording=" + path + ".moved\n");
}

TEST_F(Repair, ThatHangsHoldsNoExitUp) {
  Make("stuck.mp4");
  Make("behind it.mp4");
  takes_ns = 100 * kNsPerSecond;
  platform.CloseAfter(1000);
  EXPECT_EQ(platform.Run(), 0);
  EXPECT_EQ(platform.JournalCount("ends process with 0"), 1U);
  EXPECT_EQ(platform.LogCount(
                "exiting while a recording is being repaired; the next start goes on with it"),
            1U);
  EXPECT_EQ(platform.Log().back(), "exit: clean, after 4 s");
  EXPECT_EQ(tried.size(), 1U);
}

}  // namespace
}  // namespace orventa
