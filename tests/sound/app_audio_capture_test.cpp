#include "sound/app_audio_capture.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "tests/fakes/fake_clock.h"

namespace orventa {
namespace {

// Plays one level from its origin on.
class LevelCapture final : public IAudioCapture {
 public:
  LevelCapture(int16_t level, std::set<int16_t>& alive, const std::set<int16_t>& broken)
      : level_(level), alive_(alive), broken_(broken) {
    alive_.insert(level);
  }
  ~LevelCapture() override { alive_.erase(level_); }

  Status Start() override { return Status::Ok(); }
  void Stop() override {}
  bool IsRunning() const override { return true; }
  void SetOrigin(uint64_t origin_ns, uint64_t delivered) override {
    origin_ns_ = origin_ns;
    delivered_ = delivered;
  }
  Status Read(uint64_t until_ns, std::vector<int16_t>& out) override {
    if (broken_.contains(level_)) return {StatusCode::DriverError, "broken"};
    const uint64_t target = FramesBefore(origin_ns_, until_ns, 48000);
    EXPECT_LE(target - delivered_, 3U * 48000) << "one that comes later begins then";
    out.insert(out.end(), 2 * static_cast<size_t>(target - delivered_), level_);
    delivered_ = target;
    return Status::Ok();
  }
  SoundFormat Format() const override { return {}; }
  std::vector<DeviceStint> Trail() const override { return {}; }
  std::string Trouble() const override { return {}; }

 private:
  const int16_t level_;
  std::set<int16_t>& alive_;
  const std::set<int16_t>& broken_;
  uint64_t origin_ns_ = 0;
  uint64_t delivered_ = 0;
};

// Processes by number; what one plays has its number as its level.
class FakeSystem final : public ISoundSources, public IProcessTable {
 public:
  Status MakeOutputCapture(const std::string&, uint32_t, std::unique_ptr<IAudioCapture>&) override {
    return {StatusCode::Unsupported, "no outputs"};
  }
  Status MakeMicrophoneCapture(const std::string&, uint32_t,
                               std::unique_ptr<IAudioCapture>&) override {
    return {StatusCode::Unsupported, "no microphones"};
  }
  Status MakeAacEncoder(const AacSettings&, std::unique_ptr<IAacEncoder>&) override {
    return {StatusCode::Unsupported, "no encoders"};
  }
  Status Outputs(std::vector<SoundDevice>&) override { return Status::Ok(); }
  Status Inputs(std::vector<SoundDevice>&) override { return Status::Ok(); }
  Status MakeProcessCapture(uint32_t pid, ProcessTree,
                            std::unique_ptr<IAudioCapture>& out) override {
    out = std::make_unique<LevelCapture>(static_cast<int16_t>(pid), alive, broken);
    return Status::Ok();
  }
  Status SoundingProcesses(std::vector<SoundingProcess>& out) override {
    for (const uint32_t pid : sounding) out.push_back({pid, processes[pid].file_name});
    return Status::Ok();
  }
  Status Refresh() override { return Status::Ok(); }
  std::optional<ProcessInfo> Find(uint32_t pid) override {
    const auto found = processes.find(pid);
    if (found == processes.end()) return std::nullopt;
    return found->second;
  }

  std::map<uint32_t, ProcessInfo> processes;
  std::set<uint32_t> sounding;
  std::set<int16_t> alive;
  std::set<int16_t> broken;
};

// The capture owns its table; the test keeps the system.
class Forwarded final : public IProcessTable {
 public:
  explicit Forwarded(FakeSystem& system) : system_(system) {}
  Status Refresh() override { return Status::Ok(); }
  std::optional<ProcessInfo> Find(uint32_t pid) override { return system_.Find(pid); }

 private:
  FakeSystem& system_;
};

constexpr uint32_t kGame = 100;

class AppAudioCaptureTest : public testing::Test {
 protected:
  AppAudioCaptureTest() {
    system_.processes = {{kGame, {50, 10, "game.exe"}},
                         {50, {1, 5, "Chat.exe"}},
                         {101, {kGame, 11, "chat.exe"}},
                         {200, {1, 20, "CHAT.exe"}},
                         {201, {200, 21, "chat.exe"}},
                         {300, {1, 30, "music.exe"}},
                         {400, {200, 15, "talk.exe"}},  // its parent is younger
                         {1, {0, 1, "init"}}};
    std::unique_ptr<IAudioCapture> base;
    EXPECT_TRUE(system_.MakeProcessCapture(kGame, ProcessTree::Only, base).ok());
    capture_ =
        std::make_unique<AppAudioCapture>(clock_, system_, std::make_unique<Forwarded>(system_),
                                          std::move(base), kGame, " chat.exe, Talk.exe,,");
    capture_->SetOrigin(clock_.SteadyNs(), 0);
    EXPECT_TRUE(capture_->Start().ok());
  }
  // The level of the newest frame after that time.
  int Level(uint64_t ms) {
    clock_.RunFor(ms * kNsPerMs);
    std::vector<int16_t> out;
    EXPECT_TRUE(capture_->Read(clock_.SteadyNs(), out).ok());
    return out.empty() ? -1 : out.back();
  }

  FakeClock clock_;
  FakeSystem system_;
  std::unique_ptr<AppAudioCapture> capture_;
};

TEST_F(AppAudioCaptureTest, MixesChosenProgramsThatAreNotTheGames) {
  EXPECT_EQ(Level(10), 100);
  // Of these the game's own, its ancestor, its child, one's child and one not chosen
  // are passed over.
  system_.sounding = {kGame, 50, 101, 200, 201, 300, 400};
  EXPECT_EQ(Level(2900), 100);
  EXPECT_EQ(Level(200), 100 + 200 + 400);
  system_.sounding.erase(400);
  Level(3000);
  EXPECT_EQ(system_.alive, (std::set<int16_t>{100, 200, 400}));
  EXPECT_EQ(Level(10), 100 + 200);
  clock_.RunFor(1);
  EXPECT_EQ(system_.alive, (std::set<int16_t>{100, 200}));

  capture_->SetApps("music.exe");
  Level(10);
  EXPECT_EQ(Level(10), 100 + 300);
  capture_->Stop();
  EXPECT_EQ(system_.alive, std::set<int16_t>{100});
}

TEST_F(AppAudioCaptureTest, TriesAgainWhatFails) {
  system_.sounding = {200};
  capture_->SetApps("chat.exe");
  Level(10);
  EXPECT_EQ(Level(10), 300);
  system_.broken = {200};
  EXPECT_EQ(Level(10), 100);
  system_.broken.clear();
  EXPECT_EQ(Level(10), 100);
  Level(3000);
  EXPECT_EQ(Level(10), 300);
}

}  // namespace
}  // namespace orventa
