#include "sound/device_follower.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/fakes/fake_clock.h"

namespace orventa {
namespace {

class FakeDevice final : public ISoundDevice {
 public:
  bool IsActive(const std::string& id) override { return active.contains(id); }
  std::string DefaultId() override { return default_id; }
  DeviceResult Open(const std::string& id, std::string& name) override {
    opened.push_back(id);
    open_at_ms.push_back(clock->SteadyNs() / kNsPerMs);
    name = "the " + id;
    if (!opens) return {{StatusCode::DriverError, "no"}, SoundTrouble::Busy};
    open = id;
    return {};
  }
  DeviceResult Start() override {
    if (!starts) return {{StatusCode::DriverError, "no start"}, SoundTrouble::None};
    started = true;
    return {};
  }
  void Close() override {
    open.clear();
    started = false;
  }

  FakeClock* clock = nullptr;
  std::set<std::string> active;
  std::string default_id;
  bool opens = true;
  bool starts = true;
  std::vector<std::string> opened;
  std::vector<uint64_t> open_at_ms;
  std::string open;
  bool started = false;
};

class DeviceFollowerTest : public testing::Test {
 protected:
  DeviceFollowerTest() { device_.clock = &clock_; }

  DeviceFollower Make(Following following, std::string chosen = {}) {
    return DeviceFollower(clock_, device_, following, std::move(chosen), "test");
  }
  // As a capture's thread does it.
  void Live(DeviceFollower& follower, uint64_t ms) {
    for (const uint64_t end_ns = clock_.SteadyNs() + ms * kNsPerMs; clock_.SteadyNs() < end_ns;) {
      follower.Check();
      clock_.RunFor(10 * kNsPerMs);
    }
  }
  static std::vector<std::string> Reasons(const DeviceFollower& follower) {
    std::vector<std::string> reasons;
    for (const DeviceStint& stint : follower.Trail()) reasons.push_back(stint.reason);
    return reasons;
  }
  std::vector<uint64_t> Apart() const {
    std::vector<uint64_t> apart;
    for (size_t i = 1; i < device_.open_at_ms.size(); ++i) {
      apart.push_back(device_.open_at_ms[i] - device_.open_at_ms[i - 1]);
    }
    return apart;
  }

  FakeClock clock_;
  FakeDevice device_;
};

using Texts = std::vector<std::string>;

TEST_F(DeviceFollowerTest, GoesWhereTheWantedDeviceIs) {
  DeviceFollower follower = Make(Following::Device, "headset");
  follower.Check();
  EXPECT_EQ(follower.Trouble(), "not_found");
  EXPECT_TRUE(device_.opened.empty());

  device_.default_id = "speakers";
  follower.Notice();
  follower.Check();
  EXPECT_EQ(device_.open, "speakers");
  EXPECT_FALSE(device_.started);
  EXPECT_EQ(follower.Trouble(), "");
  follower.SetRunning(true);
  follower.Check();
  EXPECT_TRUE(device_.started);

  const auto after_news = [&] {
    follower.Notice();
    follower.Check();
    return device_.open;
  };
  device_.active.insert("headset");
  EXPECT_EQ(after_news(), "headset");
  EXPECT_TRUE(device_.started);
  device_.active.clear();
  EXPECT_EQ(after_news(), "speakers");
  device_.default_id.clear();
  EXPECT_EQ(after_news(), "speakers");  // none is better than none
  EXPECT_EQ(follower.Trouble(), "");
  follower.Lose(SoundTrouble::NotFound);
  device_.default_id = "other";
  EXPECT_EQ(after_news(), "other");

  EXPECT_EQ(Reasons(follower), (Texts{"start", "chosen device", "default changed", "lost"}));
  const auto trail = follower.Trail();
  EXPECT_EQ(trail[1].device, "the headset");
  EXPECT_EQ(trail[3].number, trail[0].number + 3);
  for (int i = 0; i < 10; ++i) {
    device_.default_id = std::to_string(i);
    after_news();
  }
  EXPECT_EQ(follower.Trail().size(), kMaxDeviceStints);
  EXPECT_EQ(follower.Trail().back().device, "the 9");
}

TEST_F(DeviceFollowerTest, TriesEverMoreRarely) {
  device_.default_id = "a";
  DeviceFollower follower = Make(Following::Device);
  follower.SetRunning(true);
  Live(follower, 500);
  device_.opens = false;
  follower.Lose(SoundTrouble::Failed);
  Live(follower, 25'000);
  EXPECT_EQ(Apart(), (std::vector<uint64_t>{500, 1000, 2000, 4000, 8000, 8000}));
  EXPECT_EQ(follower.Trouble(), "busy");

  // News of what has just failed do not help it; another device is taken at once.
  const size_t tries = device_.opened.size();
  follower.Notice();
  follower.Check();
  EXPECT_EQ(device_.opened.size(), tries);
  device_.opens = true;
  device_.default_id = "b";
  follower.Notice();
  follower.Check();
  EXPECT_EQ(device_.open, "b");
  EXPECT_EQ(Reasons(follower), (Texts{"start", "retry"}));
}

TEST_F(DeviceFollowerTest, ProcessWithoutATreeFollowsTheOutput) {
  device_.default_id = "a";
  device_.starts = false;
  DeviceFollower follower = Make(Following::DefaultOutput);
  Live(follower, 1000);
  EXPECT_TRUE(device_.opened.empty());  // only while running
  follower.SetRunning(true);
  Live(follower, 3000);
  EXPECT_EQ(follower.Trouble(), "failed");
  EXPECT_EQ(device_.open, "");
  EXPECT_EQ(Apart(), (std::vector<uint64_t>{1000}));
  device_.starts = true;
  Live(follower, 1000);
  ASSERT_TRUE(device_.started);

  device_.default_id = "b";  // untold: seen after ten seconds
  Live(follower, 9000);
  EXPECT_EQ(device_.open, "a");
  Live(follower, 1100);
  EXPECT_EQ(device_.open, "b");
  device_.default_id = "c";
  follower.Notice();
  follower.Check();
  EXPECT_EQ(device_.open, "c");
  follower.Lose(SoundTrouble::Failed);
  Live(follower, 600);
  EXPECT_EQ(Reasons(follower), (Texts{"retry", "default changed", "default changed", "lost"}));
}

TEST_F(DeviceFollowerTest, OneProcessIsOpenedOnceAndAskedForSteadily) {
  device_.default_id = "a";
  device_.opens = false;
  DeviceFollower follower = Make(Following::Nothing);
  follower.SetRunning(true);
  Live(follower, 1600);
  EXPECT_EQ(Apart(), (std::vector<uint64_t>{500, 500, 500}));
  device_.opens = true;
  Live(follower, 500);
  device_.default_id = "b";
  follower.Notice();
  Live(follower, 20'000);
  EXPECT_EQ(device_.opened.size(), 5U);
  EXPECT_EQ(Reasons(follower), Texts{"start"});
}

}  // namespace
}  // namespace orventa
