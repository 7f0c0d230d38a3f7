#include <gtest/gtest.h>

#include "base/text.h"
#include "tests/service/fake_platform.h"

namespace orventa {
namespace {

constexpr char kNotResponding[] = "ERR Unsupported ORVENTA is not responding right now";

TEST(Verbs, AnswerAsTheirRowsSay) {
  FakePlatform platform;
  std::vector<std::string> answers;
  size_t saves = 0;
  platform.After(100, [&] {
    for (const char* verb : {"HELLO", "SAVE", "SAVE_CLIP", "save", "", "LEVELS"}) {
      answers.push_back(platform.Ask(verb));
    }
  });
  platform.After(200, [&] { saves = platform.engine->Saves().size(); });
  platform.After(300, [&] { answers.push_back(platform.Ask("EXIT")); });
  EXPECT_EQ(platform.Run(), 0);
  EXPECT_EQ(answers, (std::vector<std::string>{"OK\nprotocol=1\nname=ORVENTA\nnotice_seq=1\n", "OK",
                                               "OK", "ERR InvalidArgument unknown verb: save",
                                               "ERR InvalidArgument unknown verb: ",
                                               "OK\nsystem_level=0.5000\nmicrophone_open=1\n"
                                               "notice_seq=1\n",
                                               "OK"}));
  EXPECT_EQ(saves, 2U);
  EXPECT_EQ(platform.LogCount("exit: clean, after 0 s"), 1U);
}

TEST(Verbs, SoundNewsAreToldOnce) {
  FakePlatform platform;
  const auto set = [&](uint32_t at_ms, const char* trouble, uint32_t newest) {
    platform.After(at_ms, [&platform, trouble, newest] {
      std::vector<DeviceStint> stints(1, {"Speakers", 0, "start", 1});
      if (newest > 1) stints.push_back({"Headphones", 3'723'004, "default changed", newest});
      platform.engine->ChangeStatus([&](EngineSnapshot& status) {
        status.microphone_trouble = trouble;
        status.sound_devices = std::make_shared<const std::vector<DeviceStint>>(std::move(stints));
      });
    });
  };
  set(100, "busy", 1);
  set(1500, "", 1);
  set(2500, "busy", 1);  // too soon to be told again
  set(3500, "failed", 7);
  platform.NoteAfter(7000);
  EXPECT_EQ(platform.RunFor(8000), 0);
  EXPECT_EQ(platform.LogCount("sound: the microphone is left out: busy"), 1U);
  EXPECT_EQ(platform.notes.at(0),
            "The microphone could not be opened, so this game is being recorded without it.");
  EXPECT_EQ(platform.LogCount("sound: now on Speakers (start, opened 00:00:00.000)"), 1U);
  EXPECT_EQ(platform.LogCount("sound: now on Headphones (default changed, opened 01:02:03.004)"),
            1U);
}

TEST(Verbs, TheDeckHasNoneYet) {
  FakePlatform platform;
  std::vector<std::string> answers;
  platform.After(100, [&] {
    for (const char* name : {"ORVENTA.deck-tester", "ORVENTA.deck"}) {
      answers.push_back(platform.channels.at(name).handler({"SAVE", "", ""}));
    }
    platform.loop->Close();
  });
  EXPECT_EQ(platform.Run(), 0);
  EXPECT_EQ(answers, (std::vector<std::string>(2, "ERR InvalidArgument unknown verb: SAVE")));
}

TEST(Verbs, ASaveWithoutAnEncoderIsAnsweredAndTold) {
  FakePlatform platform;
  platform.StartEngineWith([](EngineSnapshot& status) { status.no_encoder = true; });
  std::string answer;
  platform.After(100, [&] { answer = platform.Ask("SAVE_CLIP"); });
  platform.NoteAfter(200);
  EXPECT_EQ(platform.RunFor(300), 0);
  EXPECT_EQ(answer, "ERR NoEncoder no video encoder to record with");
  EXPECT_EQ(platform.notes.at(0), "No video encoder to record with");
}

TEST(Verbs, ASaveToAStuckMainThreadIsRefusedInTime) {
  FakePlatform platform;
  // A sign-out keeps the main thread for as long as the save takes.
  platform.on_engine = [](FakeEngine& engine) { engine.SetSaves(10 * kNsPerSecond, nullptr); };
  platform.PostAfter(100, ServiceMessage::Command, static_cast<uint64_t>(TrayCommand::SaveReplay));
  platform.After(200, [&] { platform.loop->InjectSystemEvent(SystemEvent::SessionEnding); });
  std::string answer;
  std::string stats;
  uint64_t took_ns = 0;
  platform.After(1000, [&] {
    const uint64_t began_ns = platform.clock.SteadyNs();
    answer = platform.Ask("SAVE");
    took_ns = platform.clock.SteadyNs() - began_ns;
    stats = platform.Stat("saving");
  });
  EXPECT_EQ(platform.RunFor(20'000), 0);
  EXPECT_EQ(answer, kNotResponding);
  EXPECT_EQ(took_ns, 200 * kNsPerMs);
  EXPECT_EQ(stats, "1");
}

TEST(Verbs, StatsKeepsOneLineAKeyInItsOrder) {
  FakePlatform platform;
  platform.StartEngineWith([](EngineSnapshot& status) {
    status.target_description = "a title\r\nrunning=0";
    status.buffered_seconds = 12.345;
    status.width = 1920;
    status.encoder_backend = "x264";
    status.ten_bit = false;
  });
  std::string answer;
  platform.After(100, [&] {
    answer = platform.Ask("STATS");
    (void)platform.Ask("STATS");
  });
  EXPECT_EQ(platform.RunFor(200, {"--from-window"}), 0);
  size_t at = 0;
  // Each a whole line, but for those with dots.
  for (const std::string_view expected :
       Split("OK, notice_seq=0, written_seq=0, notice_warning=0, notice=, running=1, capturing=0, "
             "recording_seconds=0.00, width=1920, encoder_backend=x264, microphone_trouble=, "
             "system_level=0.50, microphone_level=0.25, hdr=0, replay_seconds=0, clip_seconds=0, "
             "target_description=a title\\nrunning=0, target_is_window=0, buffered_seconds=12.3.., "
             "frames_captured=0, adapter=, history_resets=0, saving=0, no_target=0, no_encoder=0, "
             "settings_written=.., gamelist_written=.., last_error=",
             ',')) {
    std::string line(Trim(expected));
    line.ends_with("..") ? line.resize(line.size() - 2) : line.resize(line.size() + 1, '\n');
    const size_t found = answer.find(line, at);
    ASSERT_NE(found, std::string::npos) << line << "\nin\n" << answer;
    at = found;
  }
  EXPECT_EQ(platform.LogCount("encoding on the default adapter with x264 8-bit"), 1U);
}

}  // namespace
}  // namespace orventa
