#include "video/replay_buffer.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/history/packets.h"

namespace orventa {
namespace {

std::shared_ptr<ReplayBuffer> MakeHistory(uint32_t seconds, uint64_t max_bytes = 1U << 30U,
                                          bool elastic = false) {
  ReplayBufferOptions options;
  options.seconds = seconds;
  options.max_bytes = max_bytes;
  options.elastic = elastic;
  return ReplayBuffer::Create(options);
}

TEST(ReplayBudget, GrowsWithLengthAndBitrateFromAFloor) {
  EXPECT_EQ(ReplayBudgetBytes(0, 50'000), 67'108'864U);
  EXPECT_EQ(ReplayBudgetBytes(6, 50'000), 67'108'864U);
  EXPECT_EQ(ReplayBudgetBytes(60, 40'000), 480'000'000U);
  EXPECT_EQ(ReplayBudgetBytes(3600, 500'000), 360'000'000'000U);
}

TEST(ReplayBuffer, StartsOnAKeyframe) {
  auto history = MakeHistory(60);
  std::vector<BufferedPacket> packets;
  EXPECT_FALSE(history->Snapshot(10, packets, PayloadAccess::Now));
  history->Append(MakePacket(1, false));
  history->Append(MakePacket(2, false));
  EXPECT_EQ(history->Stats().packets_refused, 2U);
  EXPECT_FALSE(history->Snapshot(10, packets, PayloadAccess::Now));
  history->Append(MakePacket(3, true));
  history->Append(MakePacket(4, false));
  ASSERT_TRUE(history->Snapshot(10, packets, PayloadAccess::Now));
  EXPECT_EQ(TimesOf(packets), (std::vector<uint64_t>{3, 4}));
  EXPECT_TRUE(packets[0].keyframe);
  EXPECT_FALSE(packets[1].keyframe);
  EXPECT_EQ(history->Stats().packets_refused, 2U);
}

TEST(ReplayBuffer, SharesPayloadsInMemory) {
  auto history = MakeHistory(60);
  EncodedPacket packet = MakePacket(7, true);
  const Payload mine = packet.data;
  history->Append(std::move(packet));
  std::vector<BufferedPacket> packets;
  ASSERT_TRUE(history->Snapshot(10, packets, PayloadAccess::Later));
  EXPECT_TRUE(packets[0].Load().SharesWith(mine));
  ASSERT_TRUE(history->Snapshot(10, packets, PayloadAccess::Now));
  EXPECT_TRUE(packets[0].payload.SharesWith(mine));
}

TEST(ReplayBuffer, CutsTheSnapshotAtAKeyframeInside) {
  auto history = MakeHistory(60);
  AppendSeconds(*history, 10 * kSecond, 10);
  struct Case {
    uint32_t seconds;
    uint64_t first;
  };
  // The newest packet is at 19.75 s.
  for (const Case& c :
       {Case{100, 10}, Case{10, 10}, Case{9, 11}, Case{5, 15}, Case{1, 19}, Case{0, 19}}) {
    std::vector<BufferedPacket> packets;
    ASSERT_TRUE(history->Snapshot(c.seconds, packets, PayloadAccess::Now));
    EXPECT_EQ(packets.front().pts, c.first * kSecond) << c.seconds;
    EXPECT_TRUE(packets.front().keyframe) << c.seconds;
    EXPECT_EQ(packets.back().pts, 19 * kSecond + kSecond / 4 * 3) << c.seconds;
  }
}

TEST(ReplayBuffer, ALimitTakesEffectAtOnce) {
  auto history = MakeHistory(60, 1U << 20U);
  AppendSeconds(*history, 0, 20);
  ReplayBufferOptions options;
  options.seconds = 60;
  options.max_bytes = 1000;
  EXPECT_TRUE(history->Reconfigure(options));  // 20 s went down to 2
  EXPECT_EQ(history->Stats().groups, 2U);
  EXPECT_FALSE(history->Reconfigure(options));
}

TEST(ReplayBuffer, AnOldTargetGoesOnceTheHoldIsOver) {
  auto history = MakeHistory(600);
  history->HoldFor(10, 20);
  EXPECT_FALSE(history->TakeTrimPending()) << "nothing to hold";
  AppendSeconds(*history, 0, 10);
  history->HoldFor(10 * kSecond, 15 * kSecond);
  history->Append(MakePacket(10 * kSecond, false));  // not before a keyframe
  EXPECT_EQ(history->Stats().packets_refused, 1U);
  AppendSeconds(*history, 10 * kSecond, 15);
  EXPECT_EQ(HeldTimes(*history).front(), 0U);
  AppendSeconds(*history, 25 * kSecond, 1);
  EXPECT_EQ(HeldTimes(*history).front(), 10 * kSecond);
  EXPECT_FALSE(history->TakeTrimPending());

  history->HoldFor(26 * kSecond, 15 * kSecond);
  EXPECT_TRUE(history->TakeTrimPending());
  EXPECT_FALSE(history->TakeTrimPending());
  AppendSeconds(*history, 26 * kSecond, 30);
  EXPECT_EQ(HeldTimes(*history).front(), 10 * kSecond);
}

}  // namespace
}  // namespace orventa
