#include "service/saving.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "service/actions.h"
#include "tests/service/fake_platform.h"

namespace orventa {
namespace {

constexpr auto kSaveReplay = static_cast<uint64_t>(TrayCommand::SaveReplay);
const std::vector<std::string> kSaveNews = {"notice_warning", "written_seq", "notice"};
constexpr auto kSaveClip = static_cast<uint64_t>(TrayCommand::SaveClip);

FakeEngine::SaveEnd Answers(Status status) {
  return [status](std::string&) { return status; };
}

TEST(Saving, OneIsWrittenOneWaitsAndTheNewestRequestWins) {
  FakePlatform platform;
  platform.on_engine = [](FakeEngine& engine) {
    engine.SetSaves(5 * kNsPerSecond, nullptr);
    engine.ChangeStatus([](EngineSnapshot& status) { status.clip_seconds = 30; });
  };
  const uint64_t begin_ns = platform.clock.SteadyNs();
  platform.PostAfter(1000, ServiceMessage::Command, kSaveReplay);
  platform.PostAfter(2000, ServiceMessage::Command, kSaveReplay);
  platform.PostAfter(3000, ServiceMessage::Command, kSaveClip);
  std::vector<FakeEngine::SaveSeen> saves;
  platform.After(20'000, [&] { saves = platform.engine->Saves(); });
  EXPECT_EQ(platform.RunFor(20'001), 0);
  EXPECT_EQ(saves, (std::vector<FakeEngine::SaveSeen>{{0, begin_ns + 1 * kNsPerSecond},
                                                      {30, begin_ns + 6 * kNsPerSecond}}));
  EXPECT_EQ(platform.LogCount("save waits for the save being written"), 1U);
  EXPECT_EQ(platform.LogCount("clip waits for the save being written, in place of the one waiting"),
            1U);
  EXPECT_EQ(platform.LogCount("save: /clips/Some Game/clip.mp4"), 2U);
  // Up while anything is being written, and not a moment longer.
  EXPECT_EQ(platform.JournalCount("raises block: Saving a replay"), 2U);
  EXPECT_EQ(platform.JournalCount("lowers block"), 2U);
}

TEST(Saving, TheUserHearsWhereTheClipIs) {
  FakePlatform platform;
  platform.PostAfter(1000, ServiceMessage::Command, kSaveClip);
  platform.NoteAfter(1100, kSaveNews);
  EXPECT_EQ(platform.RunFor(2000), 0);
  EXPECT_EQ(platform.notes.at(0), "0 1 Clip saved\\nin Some Game");
}

TEST(Saving, AFallbackFolderIsToldInsteadOfThePlace) {
  FakePlatform platform;
  platform.on_engine = [](FakeEngine& engine) {
    engine.SetSaves(0, [](std::string& path) {
      path = "/elsewhere/clip.mp4";
      return Status::Ok();
    });
    engine.ChangeStatus([](EngineSnapshot& status) {
      status.saved_elsewhere = "/elsewhere";
      status.saved_elsewhere_reason = "could not write to /clips";
    });
  };
  platform.PostAfter(1000, ServiceMessage::Command, kSaveReplay);
  platform.NoteAfter(1100);
  EXPECT_EQ(platform.RunFor(2000), 0);
  EXPECT_EQ(platform.notes.at(0), "Replay saved\\ncould not write to /clips");
}

TEST(Saving, FailuresAreToldAndCounted) {
  const struct {
    FakeEngine::SaveEnd end;
    std::string log;
    std::string notice;
  } cases[] = {
      {Answers({StatusCode::InvalidArgument, "no replay held yet"}),
       "save failed: InvalidArgument: no replay held yet",
       "Replay not saved\\nThe replay is stopped, so there is nothing to save."},
      {[](std::string&) -> Status { throw std::bad_alloc(); },
       "save failed: OutOfMemory: the replay could not be saved",
       "Replay not saved\\nThe replay could not be saved."},
      {[](std::string&) -> Status { throw std::runtime_error("odd"); },
       "save failed: Unknown: the replay could not be saved",
       "Replay not saved\\nThe replay could not be saved."},
  };
  for (const auto& row : cases) {
    FakePlatform platform;
    platform.on_engine = [&](FakeEngine& engine) {
      engine.SetSaves(0, row.end);
      engine.ChangeStatus([](EngineSnapshot& status) { status.paused = true; });
    };
    platform.PostAfter(1000, ServiceMessage::Command, kSaveReplay);
    platform.NoteAfter(1100, kSaveNews);
    EXPECT_EQ(platform.RunFor(2000), 0);
    EXPECT_EQ(platform.LogCount(row.log), 1U) << row.log;
    EXPECT_EQ(platform.notes.at(0), "1 0 " + row.notice);
  }
}

TEST(Saving, EveryFailureHasItsSentence) {
  const Status nothing(StatusCode::InvalidArgument, "no replay held yet");
  const Status stopped(StatusCode::InvalidArgument, "engine is not running");
  const char* const paused_text = "The replay is stopped, so there is nothing to save.";
  const char* const no_game_text =
      "Nothing to save yet. ORVENTA keeps a replay once a game on the game list is open.";
  const char* const drive_text = "The drive is full. Free up some space and save again.";
  const char* const folder_text =
      "The folder could not be written to. Check the drive is connected and has space.";
  const struct {
    FailedSave failed;
    const char* text;
  } cases[] = {
      {{nothing, true, true, false}, paused_text},
      {{stopped, true, false, false}, paused_text},
      {{nothing, false, true, false}, no_game_text},
      {{stopped, false, true, true}, no_game_text},
      {{nothing, false, false, false}, "Nothing to save yet."},
      {{stopped, false, false, false}, "Nothing to save yet."},
      {{{StatusCode::DriverError, "there was not enough memory to save the replay"}},
       "There was not enough memory to save the replay."},
      {{{StatusCode::DriverError, "the replay could not be read back from the drive"}},
       "The replay could not be read back from the drive."},
      {{{StatusCode::DriveFull, "cannot open /x"}}, drive_text},
      {{{StatusCode::DriverError, "odd"}, false, false, true}, drive_text},
      {{{StatusCode::InvalidArgument, "no writable output directory for replays"}}, folder_text},
      {{{StatusCode::DriverError, "cannot open /x: denied"}}, folder_text},
      {{{StatusCode::InvalidArgument, "the clip could not be moved into place: in use"}},
       folder_text},
      {{{StatusCode::DriverError, "the replay could not be saved"}},
       "The replay could not be saved."},
      // Compared exactly: a longer message is another message.
      {{{StatusCode::InvalidArgument, "no replay held yet, sorry"}},
       "The replay could not be saved."},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(FailedSaveText(row.failed), row.text) << row.failed.status.ToString();
  }
}

TEST(Saving, WithoutAnEncoderTheRequestIsRefusedAloud) {
  FakePlatform platform;
  platform.StartEngineWith([](EngineSnapshot& status) { status.no_encoder = true; });
  std::vector<FakeEngine::SaveSeen> saves;
  platform.PostAfter(100, ServiceMessage::Command, kSaveReplay);
  platform.NoteAfter(200);
  platform.After(200, [&] { saves = platform.engine->Saves(); });
  EXPECT_EQ(platform.RunFor(300), 0);
  EXPECT_EQ(platform.notes.at(0), "No video encoder to record with");
  EXPECT_TRUE(saves.empty());
  EXPECT_EQ(platform.LogCount("refused: no video encoder to record with"), 1U);
}

TEST(Saving, PressesTooCloseTogetherAreOne) {
  FakePlatform platform;
  const auto press = [&](uint64_t ms, HotkeyAction action) {
    platform.PostAfter(ms, ServiceMessage::Hotkey, 2000 + static_cast<uint64_t>(action));
  };
  press(1000, HotkeyAction::SaveReplay);
  press(1699, HotkeyAction::SaveReplay);   // the same press
  press(1699, HotkeyAction::TogglePause);  // another action has its own time
  press(1700, HotkeyAction::SaveReplay);
  std::vector<FakeEngine::SaveSeen> saves;
  platform.After(3000, [&] { saves = platform.engine->Saves(); });
  EXPECT_EQ(platform.RunFor(3001), 0);
  EXPECT_EQ(saves.size(), 2U);
  EXPECT_EQ(platform.JournalCount("engine pauses"), 1U);
  EXPECT_EQ(platform.LogCount("replay paused"), 1U);
}

}  // namespace
}  // namespace orventa
