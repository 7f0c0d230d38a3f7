#include <gtest/gtest.h>

#include "tests/service/fake_platform.h"

namespace orventa {
namespace {

class EventSaveTest : public testing::Test {
 protected:
  EventSaveTest() {
    platform.StartEngineWith([](EngineSnapshot& status) {
      status.target_name = "Some Game";
      status.replay_seconds = 60;
    });
  }
  void EventAt(uint64_t ms, EventSaveRequest request) {
    platform.PostAfter(ms, ServiceMessage::EventSave, static_cast<uint64_t>(request));
  }
  // Runs for a minute.
  std::vector<FakeEngine::SaveSeen> Saves(std::vector<std::string> arguments = {}) {
    std::vector<FakeEngine::SaveSeen> saves;
    platform.After(60'000, [&] { saves = platform.engine->Saves(); });
    EXPECT_EQ(platform.RunFor(60'001, std::move(arguments)), 0);
    return saves;
  }
  uint64_t AtMs(uint64_t ms) const { return FakeClock::kSteadyStartNs + ms * kNsPerMs; }

  FakePlatform platform;
};

using Seen = std::vector<FakeEngine::SaveSeen>;

TEST_F(EventSaveTest, ABurstMakesOneClipThatReachesBackOverAllOfIt) {
  for (const uint64_t ms : {1000U, 3500U, 6400U}) EventAt(ms, EventSaveRequest::Clip);
  // 30 s as set, and 8.4 s since the first event, rounded up.
  EXPECT_EQ(Saves(), (Seen{{39, AtMs(9400)}}));
  EXPECT_EQ(platform.LogCount("clip requested"), 1U);
}

TEST_F(EventSaveTest, NeverLongerThanTheReplay) {
  EventAt(1000, EventSaveRequest::Clip);
  EXPECT_EQ(Saves({"--set", "service.save_seconds=58"}), (Seen{{60, AtMs(4000)}}));
}

TEST_F(EventSaveTest, OneEventForTheWholeReplayIsEnough) {
  EventAt(1000, EventSaveRequest::WholeReplay);
  EventAt(2000, EventSaveRequest::Clip);
  EXPECT_EQ(Saves(), (Seen{{0, AtMs(5000)}}));
  EXPECT_EQ(platform.LogCount("save requested"), 1U);
}

TEST_F(EventSaveTest, AMatchThatEndsFlushesAtOnce) {
  EventAt(1000, EventSaveRequest::Clip);
  EventAt(1500, EventSaveRequest::FlushNow);
  EventAt(9000, EventSaveRequest::FlushNow);  // nothing is open
  EXPECT_EQ(Saves(), (Seen{{31, AtMs(1500)}}));
}

TEST_F(EventSaveTest, AnotherGameFlushesOnTheNextPass) {
  EventAt(1100, EventSaveRequest::Clip);
  platform.After(1200, [&] {
    platform.engine->ChangeStatus(
        [](EngineSnapshot& status) { status.target_name = "Other Game"; });
  });
  EXPECT_EQ(Saves(), (Seen{{31, AtMs(2000)}}));
}

TEST_F(EventSaveTest, ASecondBurstWaitsBehindTheSaveOfTheFirst) {
  platform.on_engine = [](FakeEngine& engine) { engine.SetSaves(10 * kNsPerSecond, nullptr); };
  EventAt(1000, EventSaveRequest::Clip);
  EventAt(5000, EventSaveRequest::Clip);
  EXPECT_EQ(Saves(), (Seen{{33, AtMs(4000)}, {33, AtMs(14'000)}}));
}

}  // namespace
}  // namespace orventa
