#include <gtest/gtest.h>

#include "service/notices.h"
#include "tests/service/fake_platform.h"

namespace orventa {
namespace {

class MainHandlerTest : public testing::Test {
 protected:
  void Say(uint64_t ms, SystemEvent event) {
    platform.After(ms, [this, event] { platform.loop->InjectSystemEvent(event); });
  }
  void Command(uint64_t ms, TrayCommand command) {
    platform.PostAfter(ms, ServiceMessage::Command, static_cast<uint64_t>(command));
  }
  // From the engine's start on, without the ends of the channels.
  std::vector<std::string> EngineJournal() const {
    std::vector<std::string> entries;
    for (const std::string& entry : platform.journal) {
      if (entry.starts_with("engine ")) entries.push_back(entry);
    }
    return entries;
  }

  FakePlatform platform;
};

using Journal = std::vector<std::string>;

TEST_F(MainHandlerTest, SleepHoldsTheCaptureAndWakingLetsItGo) {
  Say(100, SystemEvent::Suspending);
  Say(200, SystemEvent::Resumed);
  EXPECT_EQ(platform.RunFor(300), 0);
  EXPECT_EQ(EngineJournal(),
            (Journal{"engine starts", "engine holds for sleep", "engine wakes", "engine stops"}));
  EXPECT_EQ(platform.LogCount("going to sleep: capture held"), 1U);
  EXPECT_EQ(platform.LogCount("woke from sleep"), 1U);
}

TEST_F(MainHandlerTest, ADisplayChangeCanBringAnEncoderBack) {
  platform.StartEngineWith([](EngineSnapshot& status) { status.no_encoder = true; });
  Say(100, SystemEvent::DisplaysChanged);
  platform.After(200, [&] {
    platform.engine->ChangeStatus([](EngineSnapshot& status) { status.no_encoder = false; });
  });
  Say(300, SystemEvent::DisplaysChanged);
  EXPECT_EQ(platform.RunFor(400), 0);
  EXPECT_EQ(EngineJournal(),
            (Journal{"engine starts", "engine takes settings", "engine looks for encoders",
                     "engine takes settings", "engine stops"}));
}

TEST_F(MainHandlerTest, TheReplayStopsAndGoesOnOnlyIfThatChangesSomething) {
  Command(100, TrayCommand::ResumeReplay);  // runs already
  Command(200, TrayCommand::StopReplay);
  Command(300, TrayCommand::StopReplay);  // stopped already
  platform.NoteAfter(400);
  Command(500, TrayCommand::TogglePause);
  EXPECT_EQ(platform.RunFor(600), 0);
  EXPECT_EQ(EngineJournal(),
            (Journal{"engine starts", "engine pauses", "engine goes on", "engine stops"}));
  EXPECT_EQ(platform.notes, (Journal{"Replay stopped"}));
}

TEST_F(MainHandlerTest, TheReplayDoesNotStopDuringARecording) {
  platform.StartEngineWith([](EngineSnapshot& status) { status.recording = true; });
  Command(100, TrayCommand::TogglePause);
  platform.NoteAfter(200);
  EXPECT_EQ(platform.RunFor(300), 0);
  EXPECT_EQ(platform.JournalCount("engine pauses"), 0U);
  EXPECT_EQ(platform.notes, (Journal{"The replay can't start or stop during a recording. Stop the "
                                     "recording first."}));
}

TEST_F(MainHandlerTest, MessagesOfNobodyAndWithTheWrongRecordAreDropped) {
  struct OtherRecord : MessageRecord {};
  platform.PostAfter(100, static_cast<ServiceMessage>(4711), 0);
  platform.PostAfter(100, ServiceMessage::ShowNotice, 0);
  platform.PostAfter(100, ServiceMessage::Command, 9999);
  platform.PostAfter(100, ServiceMessage::Hotkey, 15);
  platform.PostAfter(100, ServiceMessage::EventSave, 3);
  platform.After(100, [&] {
    (void)platform.loop->Post(
        {static_cast<uint32_t>(ServiceMessage::ShowNotice), 0, std::make_unique<OtherRecord>()});
    auto carried = std::make_unique<NoticeMessage>();
    carried->notice.kind = NoticeKind::Problem;
    carried->notice.title = "From another thread";
    (void)platform.loop->Post(
        {static_cast<uint32_t>(ServiceMessage::ShowNotice), 0, std::move(carried)});
  });
  platform.NoteAfter(200, {"notice_seq", "notice"});
  EXPECT_EQ(platform.RunFor(300, {"--from-window"}), 0);
  EXPECT_EQ(platform.notes, (Journal{"1 From another thread"}));
}

}  // namespace
}  // namespace orventa
