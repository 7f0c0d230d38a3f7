#include <gtest/gtest.h>

#include "service/service_state.h"
#include "service/settings_files.h"
#include "tests/service/fake_platform.h"

namespace orventa {
namespace {

using Journal = std::vector<std::string>;

void Write(const std::string& path, const std::string& text) {
  ASSERT_TRUE(WriteFileAtomically(path, text, KeepBackup::No).ok()) << path;
}

TEST(Start, DoesEverythingInItsOrder) {
  FakePlatform platform;
  platform.on_engine = [](FakeEngine&) { EXPECT_NE(CurrentService(), nullptr); };
  EXPECT_EQ(platform.RunFor(500), 0);
  EXPECT_EQ(CurrentService(), nullptr);
  EXPECT_EQ(
      platform.journal,
      (Journal{"takes environment ORVENTA_TEST_CRASH", "honours timers", "looks for media parts",
               "wants instance within 0", "sets identity", "asks what plays", "makes loop",
               "makes engine", "engine starts", "opens channel ORVENTA-tester",
               "opens channel ORVENTA.deck-tester", "opens channel ORVENTA.deck",
               "holds folder config", "holds folder program", "raises graphics priority",
               // and the end, just as much
               "closes channel ORVENTA-tester", "closes channel ORVENTA.deck-tester",
               "closes channel ORVENTA.deck", "engine stops"}));
  EXPECT_EQ(platform.Log(),
            (Journal{"first run: keeping h264, nothing newer both records and plays "
                     "here",
                     "start: version=" ORVENTA_VERSION
                     " autostart=1 background=1 signin=0 window=0 after_crash=0",
                     "ipc: listening", "ipc: deck channel listening",
                     "ipc: deck channel also listening under its old name", "gpu: high scheduling",
                     "exit: clean, after 0 s"}));
}

TEST(Start, ASecondOneSaysSoUnlessItWasSent) {
  const struct {
    std::vector<std::string> arguments;
    size_t dialogs;
  } cases[] = {
      {{}, 1},
      {{"--autostart"}, 0},
      {{"--from-window"}, 0},
      {{"--after-crash"}, 0},
      {{"--after-update", "77"}, 0},
  };
  for (const auto& row : cases) {
    FakePlatform platform;
    platform.instance_held_until_ns = kForever;
    EXPECT_EQ(platform.Run(row.arguments), 0);
    ASSERT_EQ(platform.dialogs.size(), row.dialogs);
    if (row.dialogs == 1) {
      EXPECT_EQ(platform.dialogs[0], "ORVENTA is already running.");
    }
    EXPECT_EQ(platform.JournalCount("makes loop"), 0U);
    // The log belongs to the one that runs.
    EXPECT_TRUE(platform.Log().empty());
  }
}

TEST(Start, AfterACrashWaitsForTheDyingInstance) {
  FakePlatform platform;
  const uint64_t begin_ns = platform.clock.SteadyNs();
  platform.instance_held_until_ns = begin_ns + 4 * kNsPerSecond;
  EXPECT_EQ(platform.RunFor(5000, {"--after-crash"}), 0);
  EXPECT_EQ(platform.JournalCount("wants instance within 30000"), 1U);
  EXPECT_EQ(platform.JournalCount("engine starts"), 1U);
}

TEST(Start, AfterAnUpdateWaitsForTheOldProcessAndThenForItsLock) {
  FakePlatform platform;
  const uint64_t begin_ns = platform.clock.SteadyNs();
  platform.older_process_ends_ns = begin_ns + 2 * kNsPerSecond;
  platform.instance_held_until_ns = begin_ns + 2 * kNsPerSecond;
  EXPECT_EQ(platform.RunFor(3000, {"--after-update", "77"}), 0);
  EXPECT_EQ(
      (Journal{platform.journal.begin() + 3, platform.journal.begin() + 6}),
      (Journal{"wants instance within 0", "waits for process 77", "wants instance within 30000"}));
  EXPECT_EQ(platform.JournalCount("engine starts"), 1U);
}

TEST(Start, AnUpdateWhoseLockStaysHeldGivesUpAfterThirtySeconds) {
  FakePlatform platform;
  const uint64_t begin_ns = platform.clock.SteadyNs();
  platform.instance_held_until_ns = kForever;
  EXPECT_EQ(platform.Run({"--after-update", "77"}), 0);
  EXPECT_EQ(platform.clock.SteadyNs() - begin_ns, 30 * kNsPerSecond);
  EXPECT_TRUE(platform.dialogs.empty());
}

TEST(Start, TellsWhyItCannotAndStaysSilentAtSignIn) {
  const struct {
    void (*break_it)(FakePlatform& platform);
    std::string dialog;  // empty: none even for a user
    size_t engines;
  } cases[] = {
      {[](FakePlatform& p) { p.media_parts_present = false; },
       "ORVENTA needs Windows Media Foundation, which this edition of Windows leaves out. Install "
       "the Media Feature Pack from Optional features in Settings, then start ORVENTA again.",
       0},
      {[](FakePlatform& p) { p.loop_can_be_made = false; }, "", 0},
      {[](FakePlatform& p) {
         p.engine_can_be_made = {StatusCode::DriverError, "no card"};
       },
       "Could not start the capture engine.", 1},
  };
  for (const auto& row : cases) {
    FakePlatform platform;
    row.break_it(platform);
    EXPECT_EQ(platform.Run(), 1) << row.dialog;
    EXPECT_EQ(platform.dialogs, row.dialog.empty() ? Journal{} : Journal{row.dialog});
    EXPECT_EQ(platform.JournalCount("makes engine"), row.engines);
    EXPECT_EQ(CurrentService(), nullptr);

    FakePlatform silent;
    row.break_it(silent);
    EXPECT_EQ(silent.Run({"--autostart"}), 1) << row.dialog;
    EXPECT_TRUE(silent.dialogs.empty()) << row.dialog;
  }
}

TEST(Start, TheWindowComesBackAsTheMarkerSays) {
  const struct {
    const char* marker;  // null: no file
    std::vector<std::string> arguments;
    std::string started;  // empty: no window
    size_t notices;
  } cases[] = {
      {nullptr, {}, "", 1},
      {nullptr, {"--from-window"}, "", 0},
      {"", {}, "starts ORVENTA GUI.exe ", 0},
      {"open", {}, "starts ORVENTA GUI.exe ", 0},
      {"minimized", {}, "starts ORVENTA GUI.exe --minimized", 0},
      {"open", {"--after-crash"}, "", 1},
      {"open", {"--from-window"}, "", 0},
  };
  for (const auto& row : cases) {
    FakePlatform platform;
    Write(platform.Folder("program/ORVENTA GUI.exe"), "program");
    if (row.marker != nullptr) Write(platform.Folder("local/reopen-window"), row.marker);
    platform.NoteAfter(100, {"notice_seq"});
    EXPECT_EQ(platform.RunFor(200, row.arguments), 0);
    const std::string name = row.marker == nullptr ? "(none)" : row.marker;
    EXPECT_EQ(platform.JournalCount(row.started), row.started.empty() ? 0U : 1U) << name;
    EXPECT_EQ(platform.notes.at(0), std::to_string(row.notices)) << name;
    // A window that is asked for by a run from the window itself keeps its marker.
    const bool from_window = row.arguments == Journal{"--from-window"};
    EXPECT_EQ(FileExists(platform.Folder("local/reopen-window")),
              from_window && row.marker != nullptr)
        << name;
  }
}

TEST(Start, WithoutAWindowProgramTheSettingsFileOpens) {
  FakePlatform platform;
  Write(platform.Folder("local/reopen-window"), "open");
  EXPECT_EQ(platform.RunFor(100), 0);
  EXPECT_EQ(platform.JournalCount("opens text config.ini"), 1U);
  EXPECT_EQ(platform.LogCount("ORVENTA GUI.exe not found beside the service; opening the settings "
                              "file instead"),
            1U);
}

TEST(Start, LeftoverSideFilesOfSavesGoAndOthersStay) {
  FakePlatform platform;
  const std::string clips = platform.Folder("clips");
  ASSERT_TRUE(CreateFolders(JoinPath(clips, "Some Game")).ok());
  Write(JoinPath(clips, "a.mp4.part"), "half");
  Write(JoinPath(clips, "Some Game/b.mp4.part"), "half");
  Write(JoinPath(clips, "download.zip.part"), "another program's");
  Write(JoinPath(clips, "c.mp4"), "whole");
  EXPECT_EQ(platform.RunFor(100, {"--set", "storage.replay_directory=" + clips}), 0);
  EXPECT_FALSE(FileExists(JoinPath(clips, "a.mp4.part")));
  EXPECT_FALSE(FileExists(JoinPath(clips, "Some Game/b.mp4.part")));
  EXPECT_TRUE(FileExists(JoinPath(clips, "download.zip.part")));
  EXPECT_TRUE(FileExists(JoinPath(clips, "c.mp4")));
  EXPECT_EQ(platform.LogCount("removed an unfinished save: " + JoinPath(clips, "a.mp4.part")), 1U);
}

TEST(Start, ReadingTheSettingsIsTriedUntilTheDeadline) {
  FakeClock clock;
  const uint64_t begin_ns = clock.SteadyNs();
  const auto after = [&](uint64_t ms) {
    return [&clock, at_ns = begin_ns + ms * kNsPerMs] {
      return clock.SteadyNs() >= at_ns ? Status::Ok() : Status(StatusCode::DriverError, "busy");
    };
  };
  EXPECT_EQ(ReadUntil(clock, begin_ns + 2 * kNsPerSecond, after(1200)), Status::Ok());
  EXPECT_EQ(clock.SteadyNs() - begin_ns, 1500 * kNsPerMs);
  EXPECT_EQ(ReadUntil(clock, begin_ns + 2 * kNsPerSecond, after(9000)).message(), "busy");
  EXPECT_EQ(clock.SteadyNs() - begin_ns, 2000 * kNsPerMs);
}

}  // namespace
}  // namespace orventa
