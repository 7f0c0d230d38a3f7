// The captures of Windows against a sound system, as scripts/with-sound gives one to Wine:
// a microphone that hears 440 Hz, and an output that plays 1250 Hz, whose monitor is a
// microphone as well. Wine hears neither outputs nor single programs and says so.
#include <windows.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "base/base_win/win32.h"
#include "base/clock.h"
#include "sound/sound_win/win_sound.h"
#include "tests/sound/listener.h"

namespace orventa {
namespace {

constexpr double kMicrophone = 440;
constexpr double kSpeakers = 1250;
constexpr double kLoud = 0.5;  // as both play
// Wine's times waver by a packet's length, and what follows them is no pure tone.
constexpr double kUnsteady = 0.2;
constexpr wchar_t kWineKey[] = L"Software\\Wine\\Drivers\\winepulse.drv";
using Words = std::vector<std::string>;

// The system's default microphone under Wine, until it ends.
class DefaultMicrophone {
 public:
  explicit DefaultMicrophone(const std::string& id) {
    const std::wstring wide = Wide(id);
    RegSetKeyValueW(HKEY_CURRENT_USER, kWineKey, L"DefaultInput", REG_SZ, wide.c_str(),
                    static_cast<DWORD>((wide.size() + 1) * sizeof(wchar_t)));
  }
  ~DefaultMicrophone() { RegDeleteKeyValueW(HKEY_CURRENT_USER, kWineKey, L"DefaultInput"); }
};

// A command to the sound server, by a program of Linux that Wine starts.
void TellServer(const std::string& words) {
  std::wstring line = Wide("Z:\\usr\\bin\\pactl " + words);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started{};
  ASSERT_TRUE(CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                             &startup, &started));
  CloseHandle(started.hThread);
  CloseHandle(started.hProcess);
}

class WasapiTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!sources_->Inputs(inputs_).ok() || IdOf("Microphone").empty()) {
      GTEST_SKIP() << "no sound of scripts/with-sound";
    }
  }
  std::string IdOf(const std::string& name) const {
    for (const SoundDevice& input : inputs_) {
      if (input.name == name) return input.id;
    }
    return {};
  }
  std::unique_ptr<IAudioCapture> Microphone(const std::string& device) {
    std::unique_ptr<IAudioCapture> capture;
    EXPECT_TRUE(sources_->MakeMicrophoneCapture(device, kListenerRate, capture).ok());
    return capture;
  }

  const std::unique_ptr<IClock> clock_ = MakeSystemClock();
  const std::unique_ptr<ISoundSources> sources_ = MakeWinSound(*clock_);
  std::vector<SoundDevice> inputs_;
};

TEST_F(WasapiTest, TheDefaultMicrophoneIsFollowed) {
  const auto capture = Microphone("");
  Listener listener(*clock_, *capture);
  ASSERT_TRUE(listener.Hears(kMicrophone, kLoud, kUnsteady));
  {
    const DefaultMicrophone other(IdOf("Monitor of Speakers"));
    ASSERT_TRUE(listener.Hears(kSpeakers, kLoud, kUnsteady));
    EXPECT_EQ(capture->Trail().back().device, "Monitor of Speakers");
  }
  ASSERT_TRUE(listener.Hears(kMicrophone, kLoud, kUnsteady));
  EXPECT_EQ(Reasons(*capture), (Words{"start", "default changed", "default changed"}));
  EXPECT_EQ(capture->Trouble(), "");
}

TEST_F(WasapiTest, AChosenMicrophoneIsTakenAgainWhenItComesBack) {
  const auto capture = Microphone(IdOf("Microphone"));
  Listener listener(*clock_, *capture);
  ASSERT_TRUE(listener.Hears(kMicrophone, kLoud, kUnsteady));
  TellServer("unload-module module-remap-source");
  ASSERT_TRUE(listener.Until([&] { return capture->Trouble() == "failed"; }));
  ASSERT_TRUE(listener.IsSilent());
  TellServer(
      "load-module module-remap-source source_name=microphone master=room.monitor "
      "source_properties=device.description=Microphone");
  ASSERT_TRUE(listener.Hears(kMicrophone, kLoud, kUnsteady));
  EXPECT_EQ(capture->Trouble(), "");
  EXPECT_EQ(Reasons(*capture), (Words{"start", "retry"}));
}

TEST_F(WasapiTest, WhatCannotBeHeardIsToldAndIsSilence) {
  std::unique_ptr<IAudioCapture> capture;
  ASSERT_TRUE(sources_->MakeOutputCapture("no such device", 0, capture).ok());
  Listener listener(*clock_, *capture);
  ASSERT_TRUE(listener.Until(
      [&] { return capture->Trouble() == "failed" && listener.sound().size() > kListenerRate; }));
  EXPECT_TRUE(listener.IsSilent());

  std::unique_ptr<IAudioCapture> process;
  EXPECT_EQ(
      sources_->MakeProcessCapture(GetCurrentProcessId(), ProcessTree::Except, process),
      Status(StatusCode::BackendUnavailable, "that application's audio could not be captured"));
  std::vector<SoundingProcess> sounding;
  EXPECT_EQ(
      sources_->SoundingProcesses(sounding),
      Status(StatusCode::BackendUnavailable, "the sound sessions cannot be listed (0x80004001)"));
}

}  // namespace
}  // namespace orventa
