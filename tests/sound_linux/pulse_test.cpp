// The captures of Linux against a real sound server: what they hear, how loud, when,
// and what they make of servers and devices that come and go.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/clock.h"
#include "sound/sound_linux/sound_linux.h"
#include "support_linux/private_sound.h"
#include "tests/sound/listener.h"
#include "tools/demo_game/beeper.h"

namespace orventa {
namespace {

constexpr uint32_t kRate = kListenerRate;
constexpr double kTone = 440;
constexpr double kOther = 1250;
constexpr double kLoud = 0.5;  // as TonePlayer plays
constexpr double kQuiet = 0.02;

class PulseTest : public testing::Test {
 protected:
  std::unique_ptr<IAudioCapture> Output(const std::string& device = "") {
    std::unique_ptr<IAudioCapture> capture;
    EXPECT_TRUE(sources_->MakeOutputCapture(device, 0, capture).ok());
    return capture;
  }
  std::unique_ptr<IAudioCapture> Process(uint32_t pid) {
    std::unique_ptr<IAudioCapture> capture;
    EXPECT_TRUE(sources_->MakeProcessCapture(pid, ProcessTree::Only, capture).ok());
    return capture;
  }

  PrivateSound server_;
  const std::unique_ptr<IClock> clock_ = MakeSystemClock();
  const std::unique_ptr<ISoundSources> sources_ = MakeLinuxSound(*clock_);
};

using Words = std::vector<std::string>;

TEST_F(PulseTest, AnOutputIsHeardAsLoudAsItPlaysAndWhereverItGoes) {
  const auto capture = Output();
  Listener listener(*clock_, *capture);
  const TonePlayer tone(server_, kTone);
  ASSERT_TRUE(listener.Hears(kTone, kLoud));
  EXPECT_LT(LevelOf(listener.sound(), kOther), kQuiet);

  // Another default, of another rate; and the first again when that is taken away.
  const std::string remove = server_.AddOutput("headset", 44100);
  const TonePlayer other(server_, kOther, "headset");
  server_.Command("set-default-sink headset");
  ASSERT_TRUE(listener.Hears(kOther, kLoud));
  server_.Command(remove);
  ASSERT_TRUE(listener.Until([&] { return capture->Trail().size() > 2; }));
  // The server had moved the first tone along: it was to be heard all the time.
  const size_t back = listener.sound().size() + size_t{2} * kRate;
  ASSERT_TRUE(listener.Until([&] { return listener.sound().size() > back; }));
  ASSERT_TRUE(listener.Hears(kTone, kLoud));
  EXPECT_EQ(capture->Trail().front().device, "Null Output");
  EXPECT_EQ(Reasons(*capture).front(), "start");
  EXPECT_EQ(Reasons(*capture).at(1), "default changed");
  EXPECT_EQ(capture->Trouble(), "");
}

TEST_F(PulseTest, AChosenOutputIsTakenWhenItComes) {
  const auto capture = Output("headset");
  Listener listener(*clock_, *capture);
  const TonePlayer tone(server_, kTone);
  ASSERT_TRUE(listener.Hears(kTone, kLoud)) << "the default while it is not there";
  server_.AddOutput("headset", 48000);
  const TonePlayer other(server_, kOther, "headset");
  ASSERT_TRUE(listener.Hears(kOther, kLoud));
  EXPECT_EQ(Reasons(*capture), (Words{"start", "chosen device"}));
}

TEST_F(PulseTest, AServerThatDiesAndComesBackCostsSilence) {
  const auto capture = Output();
  const auto process = Process(1);
  Listener listener(*clock_, *capture);
  Listener process_listener(*clock_, *process);
  {
    const TonePlayer tone(server_, kTone);
    ASSERT_TRUE(listener.Hears(kTone, kLoud));
    server_.Kill();
  }
  ASSERT_TRUE(listener.Until([&] { return capture->Trouble() == "not_found"; }));
  ASSERT_TRUE(process_listener.Until([&] { return process->Trouble() == "not_found"; }));
  ASSERT_TRUE(listener.IsSilent());
  std::vector<SoundDevice> devices;
  EXPECT_EQ(sources_->Outputs(devices).code(), StatusCode::BackendUnavailable);
  server_.Start();
  const TonePlayer tone(server_, kTone);
  ASSERT_TRUE(listener.Hears(kTone, kLoud));
  ASSERT_TRUE(process_listener.Until([&] { return process->Trouble().empty(); }));
  EXPECT_EQ(Reasons(*capture), (Words{"start", "lost"}));
}

TEST_F(PulseTest, OneProgramIsHeardWithoutTheOthers) {
  const TonePlayer game(server_, kTone, "", TonePlayer::As::ChildOfShell);
  const TonePlayer other(server_, kOther);
  const auto capture = Process(game.pid());
  Listener listener(*clock_, *capture);
  ASSERT_TRUE(listener.Hears(kTone, kLoud)) << "it is a child that plays";
  EXPECT_LT(LevelOf(listener.sound(), kOther), kQuiet);

  // On to another output while it plays.
  server_.AddOutput("headset", 44100);
  const std::string players = server_.Command("list short sink-inputs");
  server_.Command("move-sink-input " + players.substr(0, players.find('\t')) + " headset");
  const size_t moved = listener.sound().size() + size_t{2} * 2 * kRate;
  ASSERT_TRUE(listener.Until([&] { return listener.sound().size() > moved; }));
  ASSERT_TRUE(listener.Hears(kTone, kLoud));
  EXPECT_LT(LevelOf(listener.sound(), kOther), kQuiet);
}

TEST_F(PulseTest, AProgramThatPlaysLaterAndTwiceIsHeardWhole) {
  const auto capture = Process(static_cast<uint32_t>(getpid()));
  Listener listener(*clock_, *capture);
  ASSERT_TRUE(
      listener.Until([&] { return capture->Trouble().empty() && !capture->Trail().empty(); }));
  ASSERT_TRUE(listener.IsSilent());
  const TonePlayer tone(server_, kTone);
  {
    const TonePlayer other(server_, kOther);
    ASSERT_TRUE(listener.Hears(kOther, kLoud));
    ASSERT_TRUE(listener.Hears(kTone, kLoud));
  }
  ASSERT_TRUE(listener.Until([&] { return LevelOf(listener.sound(), kOther) < kQuiet; }));
  EXPECT_TRUE(listener.Hears(kTone, kLoud));
}

// What is heard at a moment lies at that moment, on every way to it.
TEST_F(PulseTest, SoundLiesWhereItIsHeard) {
  constexpr double kWorstMs = 4;
  const auto everything = Output();
  const auto alone = Process(static_cast<uint32_t>(getpid()));
  Listener listeners[] = {{*clock_, *everything}, {*clock_, *alone}};
  Beeper beeper(*clock_, "test");
  ASSERT_TRUE(listeners[0].Until([&] { return beeper.IsPlaying(); }));
  for (Listener& listener : listeners) {
    std::vector<double> late_ms;
    for (int beep = 0; beep < 3; ++beep) {
      const uint64_t due_ns = clock_->SteadyNs() + 2 * kBeepLeadNs;
      beeper.At(due_ns);
      const auto around = [&](int64_t ms) {
        return 2 * FramesBefore(listener.origin_ns(),
                                due_ns + static_cast<uint64_t>(ms * int64_t{kNsPerMs}), kRate);
      };
      const size_t end = around(200);
      ASSERT_TRUE(listener.Until([&] { return listener.sound().size() > end; }));
      for (size_t i = around(-200); i < end; i += 2) {
        if (std::abs(listener.sound()[i]) < 2000) continue;
        const double frames = (static_cast<double>(i) - static_cast<double>(around(0))) / 2;
        late_ms.push_back(frames * 1000 / kRate);
        break;
      }
    }
    ASSERT_GE(late_ms.size(), 2U) << "beeps were heard";
    std::sort(late_ms.begin(), late_ms.end());
    EXPECT_LT(std::abs(late_ms[late_ms.size() / 2]), kWorstMs);
    std::printf("    %.2f ms late\n", late_ms[late_ms.size() / 2]);
  }
}

TEST_F(PulseTest, DevicesAndPlayingProgramsAreListed) {
  const TonePlayer tone(server_, kTone);
  std::vector<SoundDevice> outputs;
  std::vector<SoundDevice> inputs;
  ASSERT_TRUE(sources_->Outputs(outputs).ok());
  ASSERT_TRUE(sources_->Inputs(inputs).ok());
  ASSERT_EQ(outputs.size(), 2U);
  EXPECT_EQ(outputs[0].id, "speakers");
  EXPECT_EQ(outputs[0].name, "Null Output");
  ASSERT_EQ(inputs.size(), 1U) << "an output's monitor is no microphone";
  EXPECT_EQ(inputs[0].id, "microphone");

  const auto capture = Process(tone.pid());
  Listener listener(*clock_, *capture);
  ASSERT_TRUE(listener.Hears(kTone, kLoud)) << "it plays";
  std::vector<SoundingProcess> playing;
  ASSERT_TRUE(sources_->SoundingProcesses(playing).ok());
  ASSERT_EQ(playing.size(), 1U);
  EXPECT_EQ(playing[0].pid, tone.pid());
  EXPECT_EQ(playing[0].file_name, "pacat");

  std::unique_ptr<IAudioCapture> left_out;
  EXPECT_EQ(sources_->MakeProcessCapture(tone.pid(), ProcessTree::Except, left_out).code(),
            StatusCode::Unsupported);
}

}  // namespace
}  // namespace orventa
