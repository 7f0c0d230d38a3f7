#include <gtest/gtest.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/fakes/temp_folder.h"
#include "tests/history/packets.h"
#include "video/replay_buffer.h"

namespace orventa {
namespace {

constexpr size_t kPacketBytes = 100'000;

// A drive of four megabytes.
class FullDrive : public testing::Test {
 protected:
  void SetUp() override {
    if (mount("tmpfs", folder_.path().c_str(), "tmpfs", 0, "size=4m") != 0) {
      GTEST_SKIP() << "mounting a small drive is not permitted here";
    }
    mounted_ = true;
    ReplayBufferOptions options;
    options.seconds = 600;
    options.directory = folder_ / "ring";
    history_ = ReplayBuffer::Create(options);
  }
  void TearDown() override {
    history_.reset();
    if (mounted_) umount(folder_.path().c_str());
  }

  // Groups of a second and ten packets.
  void AppendGroups(uint64_t from_second, uint64_t count) {
    for (uint64_t i = 0; i < count * 10; ++i) {
      history_->Append(
          MakePacket(from_second * kSecond + i * (kSecond / 10), i % 10 == 0, kPacketBytes));
    }
  }

  TempFolder folder_;
  bool mounted_ = false;
  std::shared_ptr<ReplayBuffer> history_;
};

TEST_F(FullDrive, CostsTheGroupAtWorkAndResumesAtAKeyframe) {
  const std::string filler = folder_ / "filler";
  std::ofstream(filler) << std::string(1'500'000, 'x');
  AppendGroups(0, 3);  // room for two and a half
  ReplayBufferStats stats = history_->Stats();
  EXPECT_EQ(stats.groups, 2U);
  EXPECT_EQ(stats.packets, 20U);
  EXPECT_EQ(stats.bytes, 20 * kPacketBytes);
  EXPECT_EQ(stats.disk_failures, 1U);
  EXPECT_GT(stats.packets_refused, 0U);

  AppendGroups(3, 2);  // still full: each keyframe tries again
  EXPECT_EQ(history_->Stats().disk_failures, 3U);
  EXPECT_EQ(history_->Stats().groups, 2U);

  std::filesystem::remove(filler);
  AppendGroups(5, 1);
  EXPECT_EQ(history_->Stats().disk_failures, 3U);
  std::vector<BufferedPacket> packets;
  ASSERT_TRUE(history_->Snapshot(600, packets, PayloadAccess::Now));
  ASSERT_EQ(packets.size(), 30U);
  EXPECT_EQ(packets[20].pts, 5 * kSecond);
  for (const BufferedPacket& packet : packets) {
    EXPECT_TRUE(HasPattern(packet.payload, packet.pts, kPacketBytes)) << packet.pts;
  }
}

TEST_F(FullDrive, AnUnreadableFileCutsASnapshotShort) {
  AppendGroups(0, 2);
  std::vector<BufferedPacket> later;
  ASSERT_TRUE(history_->Snapshot(600, later, PayloadAccess::Later));
  std::filesystem::resize_file(folder_ / "ring/orventa-buffer-0.bin", 15 * kPacketBytes + 1);

  std::vector<BufferedPacket> now;
  ASSERT_TRUE(history_->Snapshot(600, now, PayloadAccess::Now));
  EXPECT_EQ(now.size(), 15U);
  EXPECT_EQ(history_->Stats().disk_failures, 1U);

  EXPECT_TRUE(later[14].Load());
  EXPECT_FALSE(later[15].Load());
  EXPECT_FALSE(later[19].Load());
  later.clear();
  EXPECT_EQ(history_->Stats().disk_failures, 3U);
}

}  // namespace
}  // namespace orventa
