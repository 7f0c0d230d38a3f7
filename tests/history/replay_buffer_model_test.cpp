// Random orders to a history, held against a slow model that follows the same rules
// on plain vectors.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tests/fakes/temp_folder.h"
#include "tests/history/packets.h"
#include "video/replay_buffer.h"

namespace orventa {
namespace {

struct ModelPacket {
  uint64_t pts = 0;
  size_t size = 0;
  bool operator==(const ModelPacket&) const = default;
};
using ModelGroup = std::vector<ModelPacket>;

uint64_t Latest(const ModelGroup& group) {
  uint64_t latest = 0;
  for (const ModelPacket& packet : group) latest = std::max(latest, packet.pts);
  return latest;
}

class Model {
 public:
  explicit Model(const ReplayBufferOptions& options) { Configure(options); }

  void Append(uint64_t pts, bool keyframe, size_t size) {
    if (keyframe) {
      awaits_keyframe_ = false;
      groups_.emplace_back();
    } else if (groups_.empty() || awaits_keyframe_) {
      ++refused;
      return;
    }
    groups_.back().push_back({pts, size});
    Evict();
  }

  void Reconfigure(const ReplayBufferOptions& options) {
    const uint64_t old_budget = budget_;
    Configure(options);
    if (!options.elastic) {
      temp_budget_ = 0;
    } else if (!groups_.empty() && budget_ < std::min(old_budget, Bytes())) {
      temp_budget_ = std::max(temp_budget_, std::min(old_budget, Bytes()));
      temp_until_ = Latest(groups_.back()) + window_;
    }
    Evict();
  }

  void Hold(uint64_t pts, uint64_t hold) {
    trim_from_ = pts;
    trim_at_ = pts + hold;
    if (!groups_.empty()) trims_ = awaits_keyframe_ = true;
  }

  void Clear() {
    groups_.clear();
    temp_budget_ = 0;
    trims_ = awaits_keyframe_ = false;
  }

  std::vector<ModelPacket> Newest(uint32_t seconds) const {
    if (groups_.empty()) return {};
    const uint64_t end = Latest(groups_.back());
    for (size_t g = 0; g < groups_.size(); ++g) {
      if (groups_[g][0].pts + seconds * kSecond >= end) return From(g, UINT64_MAX);
    }
    return From(groups_.size() - 1, UINT64_MAX);
  }

  std::vector<ModelPacket> Range(uint64_t from, uint64_t to) const {
    if (groups_.empty() || to <= from) return {};
    size_t start = 0;
    for (size_t g = 0; g < groups_.size(); ++g) {
      if (groups_[g][0].pts <= from) start = g;
    }
    if (Latest(groups_[start]) < from) ++start;
    return From(start, to);
  }

  uint64_t Bytes() const {
    uint64_t bytes = 0;
    for (const ModelGroup& group : groups_) {
      for (const ModelPacket& packet : group) bytes += packet.size;
    }
    return bytes;
  }
  size_t groups() const { return groups_.size(); }

  uint32_t refused = 0;
  uint32_t evicted = 0;

 private:
  void Configure(const ReplayBufferOptions& options) {
    window_ = options.seconds * kSecond;
    budget_ = options.max_bytes;
  }

  void DropFront() {
    groups_.erase(groups_.begin());
    ++evicted;
  }

  void Evict() {
    if (groups_.empty()) return;
    const uint64_t newest = Latest(groups_.back());
    if (newest >= temp_until_) temp_budget_ = 0;
    while (groups_.size() > 1) {
      const bool covered = newest >= groups_[1][0].pts && newest - groups_[1][0].pts >= window_;
      const bool too_much = Bytes() > budget_ && Bytes() > temp_budget_;
      if (!covered && !too_much) break;
      DropFront();
    }
    if (!trims_) return;
    if (groups_.size() > 1 && groups_.back()[0].pts < trim_at_) return;
    while (groups_.size() > 1 && groups_[0][0].pts < trim_from_) DropFront();
    trims_ = false;
  }

  std::vector<ModelPacket> From(size_t group, uint64_t to) const {
    std::vector<ModelPacket> packets;
    for (; group < groups_.size() && groups_[group][0].pts < to; ++group) {
      for (const ModelPacket& packet : groups_[group]) {
        if (packet.pts < to) packets.push_back(packet);
      }
    }
    return packets;
  }

  std::vector<ModelGroup> groups_;
  uint64_t window_ = 0;
  uint64_t budget_ = 0;
  uint64_t temp_budget_ = 0;
  uint64_t temp_until_ = 0;
  uint64_t trim_from_ = 0;
  uint64_t trim_at_ = 0;
  bool trims_ = false;
  bool awaits_keyframe_ = false;
};

// A snapshot that is looked at long after the history has moved on.
struct KeptSnapshot {
  std::vector<BufferedPacket> packets;
  std::vector<ModelPacket> expected;
};

void ExpectSame(const KeptSnapshot& kept) {
  ASSERT_EQ(kept.packets.size(), kept.expected.size());
  for (size_t i = 0; i < kept.packets.size(); ++i) {
    const BufferedPacket& packet = kept.packets[i];
    ASSERT_EQ(packet.pts, kept.expected[i].pts);
    ASSERT_EQ(packet.dts, kept.expected[i].pts);
    ASSERT_EQ(packet.Size(), kept.expected[i].size);
    ASSERT_TRUE(HasPattern(packet.Load(), packet.pts, kept.expected[i].size)) << packet.pts;
  }
}

class Scenario {
 public:
  Scenario(uint32_t seed, std::string directory, size_t max_packet_bytes)
      : random_(seed),
        max_packet_bytes_(max_packet_bytes),
        directory_(std::move(directory)),
        options_(RandomOptions()),
        history_(ReplayBuffer::Create(options_)),
        model_(options_) {}

  void Run(uint32_t steps) {
    for (uint32_t i = 0; i < steps; ++i) {
      Step();
      CompareStats();
      if (testing::Test::HasFatalFailure()) return;
    }
    for (const KeptSnapshot& kept : kept_) ExpectSame(kept);
  }

 private:
  uint64_t Below(uint64_t limit) {
    return std::uniform_int_distribution<uint64_t>(0, limit - 1)(random_);
  }

  ReplayBufferOptions RandomOptions() {
    ReplayBufferOptions options;
    options.seconds = static_cast<uint32_t>(1 + Below(40));
    options.max_bytes = 1 + Below(max_packet_bytes_ * 400);
    options.elastic = Below(2) == 0;
    options.directory = directory_;
    return options;
  }

  void Step() {
    const uint64_t what = Below(200);
    if (what < 170) {
      Append();
    } else if (what < 174) {
      model_.Reconfigure(options_ = RandomOptions());
      history_->Reconfigure(options_);
    } else if (what < 177) {
      const uint64_t hold = Below(20) * kSecond;
      model_.Hold(now_, hold);
      history_->HoldFor(now_, hold);
    } else if (what < 178) {
      model_.Clear();
      history_->Clear();
    } else {
      TakeSnapshot();
    }
  }

  void Append() {
    now_ += Below(50) == 0 ? Below(10 * kSecond) : Below(kSecond / 3);
    // Now and then a packet that is shown before its forerunner.
    const uint64_t pts = Below(10) == 0 && now_ > kSecond ? now_ - kSecond / 2 : now_;
    const bool keyframe = Below(8) == 0;
    const size_t size = 1 + Below(max_packet_bytes_);
    model_.Append(keyframe ? now_ : pts, keyframe, size);
    history_->Append(MakePacket(keyframe ? now_ : pts, keyframe, size));
  }

  void TakeSnapshot() {
    KeptSnapshot kept;
    const PayloadAccess access = Below(2) == 0 ? PayloadAccess::Now : PayloadAccess::Later;
    bool found = false;
    if (Below(2) == 0) {
      const uint32_t seconds = static_cast<uint32_t>(Below(60));
      found = history_->Snapshot(seconds, kept.packets, access);
      kept.expected = model_.Newest(seconds);
    } else {
      const uint64_t from = now_ - std::min(now_, Below(60 * kSecond));
      const uint64_t to = from + Below(30 * kSecond);
      found = history_->SnapshotRange(from, to, kept.packets, access);
      kept.expected = model_.Range(from, to);
    }
    ASSERT_EQ(found, !kept.expected.empty());
    ASSERT_EQ(kept.packets.size(), kept.expected.size());
    kept_.push_back(std::move(kept));
    if (kept_.size() <= 3) return;
    ExpectSame(kept_.front());
    kept_.erase(kept_.begin());
  }

  void CompareStats() {
    const ReplayBufferStats stats = history_->Stats();
    ASSERT_EQ(stats.groups, model_.groups());
    ASSERT_EQ(stats.bytes, model_.Bytes());
    ASSERT_EQ(stats.groups_evicted, model_.evicted);
    ASSERT_EQ(stats.packets_refused, model_.refused);
    ASSERT_EQ(stats.disk_failures, 0U);
    ASSERT_EQ(stats.on_disk, !directory_.empty());
  }

  std::mt19937 random_;
  size_t max_packet_bytes_;
  std::string directory_;
  ReplayBufferOptions options_;
  std::shared_ptr<ReplayBuffer> history_;
  Model model_;
  uint64_t now_ = 0;
  std::vector<KeptSnapshot> kept_;
};

TEST(ReplayBufferModel, InMemory) {
  for (uint32_t seed = 0; seed < 30; ++seed) {
    SCOPED_TRACE(seed);
    Scenario(seed, "", 300).Run(1500);
    if (HasFatalFailure()) return;
  }
}

TEST(ReplayBufferModel, OnDisk) {
  for (uint32_t seed = 0; seed < 6; ++seed) {
    SCOPED_TRACE(seed);
    TempFolder folder;
    Scenario(seed, folder / "ring", 300).Run(1000);
    if (HasFatalFailure()) return;
    EXPECT_TRUE(TempFolder::Names(folder / "ring").empty());
  }
}

// Packets so large that the payload files are changed and deleted all the time.
TEST(ReplayBufferModel, OnDiskOverManyFiles) {
  TempFolder folder;
  Scenario(77, folder / "ring", 2U << 20U).Run(400);
  EXPECT_TRUE(TempFolder::Names(folder / "ring").empty());
}

}  // namespace
}  // namespace orventa
