#include "sound/app_audio_capture.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_sound.h"

namespace orventa {
namespace {

using Processes = std::map<uint32_t, ProcessInfo>;

class FakeTable final : public IProcessTable {
 public:
  explicit FakeTable(Processes processes) : processes_(std::move(processes)) {}
  Status Refresh() override { return Status::Ok(); }
  std::optional<ProcessInfo> Find(uint32_t pid) override {
    const auto found = processes_.find(pid);
    if (found == processes_.end()) return std::nullopt;
    return found->second;
  }

 private:
  const Processes processes_;
};

// Processes by number; what one plays has its number as its level.
class FakeSystem final : public FakeSound {
 public:
  Status MakeProcessCapture(uint32_t pid, ProcessTree,
                            std::unique_ptr<IAudioCapture>& out) override {
    const auto level = static_cast<int16_t>(pid);
    players[pid].play = [level](uint64_t) { return std::pair(level, level); };
    out = std::make_unique<FakeSoundCapture>(players[pid]);
    return Status::Ok();
  }
  Status SoundingProcesses(std::vector<SoundingProcess>& out) override {
    for (const uint32_t pid : sounding) out.push_back({pid, processes[pid].file_name});
    return Status::Ok();
  }
  // Those that are being captured.
  std::set<uint32_t> Heard() const {
    std::set<uint32_t> heard;
    for (const auto& [pid, player] : players) {
      if (player.alive > 0) heard.insert(pid);
    }
    return heard;
  }

  Processes processes;
  std::set<uint32_t> sounding;
  std::map<uint32_t, FakeSource> players;
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
    auto table = std::make_unique<FakeTable>(system_.processes);
    capture_ = std::make_unique<AppAudioCapture>(clock_, system_, std::move(table), std::move(base),
                                                 kGame, " chat.exe, Talk.exe,,");
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
  EXPECT_EQ(system_.players[200].most_read, 48U * 200) << "one that comes later begins then";
  system_.sounding.erase(400);
  Level(3000);
  EXPECT_EQ(system_.Heard(), (std::set<uint32_t>{100, 200, 400}));
  EXPECT_EQ(Level(10), 100 + 200);
  clock_.RunFor(1);
  EXPECT_EQ(system_.Heard(), (std::set<uint32_t>{100, 200}));

  capture_->SetApps("music.exe");
  Level(10);
  EXPECT_EQ(Level(10), 100 + 300);
  capture_->Stop();
  EXPECT_EQ(system_.Heard(), std::set<uint32_t>{100});
}

TEST_F(AppAudioCaptureTest, TriesAgainWhatFails) {
  system_.sounding = {200};
  capture_->SetApps("chat.exe");
  Level(10);
  EXPECT_EQ(Level(10), 300);
  system_.players[200].read = {StatusCode::DriverError, "broken"};
  EXPECT_EQ(Level(10), 100);
  system_.players[200].read = {};
  EXPECT_EQ(Level(10), 100);
  Level(3000);
  EXPECT_EQ(Level(10), 300);
}

}  // namespace
}  // namespace orventa
