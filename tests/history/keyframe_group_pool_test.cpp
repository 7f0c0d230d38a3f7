// Groups that are used again: nothing of an old one may show in a new one, nothing may
// be held for ever, and a group that somebody still reads may not be taken.
#include "video/keyframe_group_pool.h"

#include <gtest/gtest.h>

#include <deque>
#include <vector>

#include "base/ring.h"
#include "tests/history/packets.h"

namespace orventa {
namespace {

TEST(Ring, IsAQueueAtEveryLengthAndPlace) {
  Ring<uint32_t> ring;
  std::deque<uint32_t> expected;
  uint32_t random = 1;
  for (uint32_t i = 0; i < 20'000; ++i) {
    random = random * 1'664'525 + 1'013'904'223;
    const uint32_t choice = (random >> 24U) % 8;
    // Lengths swing, so that it grows with its first element at any place.
    const bool growing = i / 500 % 2 == 0;
    if (expected.empty() || choice < (growing ? 6U : 3U)) {
      ring.push_back(i);
      expected.push_back(i);
    } else if (choice == 7) {
      ASSERT_EQ(ring.take_back(), expected.back());
      expected.pop_back();
    } else {
      ASSERT_EQ(ring.take_front(), expected.front());
      expected.pop_front();
    }
    ASSERT_EQ(ring.size(), expected.size());
    if (expected.empty()) continue;
    ASSERT_EQ(ring.front(), expected.front());
    ASSERT_EQ(ring.back(), expected.back());
    ASSERT_EQ(ring[expected.size() / 2], expected[expected.size() / 2]);
  }
}

KeyframeGroupRef Filled(KeyframeGroupPool& pool, size_t packets) {
  KeyframeGroupRef group = pool.Take(packets);
  for (size_t i = 0; i < packets; ++i) {
    group.mutable_group().packets.push_back({PatternPayload(i, 20), i, i, 0, 20});
  }
  group.mutable_group().start_pts = 1;
  group.mutable_group().end_pts = packets;
  group.mutable_group().bytes = packets * 20;
  group.mutable_group().segment = 9;
  return group;
}

TEST(KeyframeGroupPool, AGroupComesBackEmptyWithItsRoom) {
  const auto pool = KeyframeGroupPool::Create();
  KeyframeGroupRef group = Filled(*pool, 60);
  const void* room = group->packets.data();
  KeyframeGroupRef reader = group;
  group = KeyframeGroupRef();
  EXPECT_EQ(pool->kept(), 0U);
  EXPECT_TRUE(HasPattern(reader->packets[59].payload, 59, 20));
  reader = KeyframeGroupRef();
  ASSERT_EQ(pool->kept(), 1U);

  group = pool->Take(60);
  EXPECT_EQ(pool->kept(), 0U);
  EXPECT_TRUE(group->packets.empty());
  EXPECT_EQ(group->packets.data(), room);
  EXPECT_EQ(group->start_pts | group->end_pts | group->bytes | group->segment, 0U);
}

TEST(KeyframeGroupPool, KeepsFewGroupsOfCommonSize) {
  const auto pool = KeyframeGroupPool::Create();
  Filled(*pool, KeyframeGroupPool::kMaxKeptPackets + 1);
  EXPECT_EQ(pool->kept(), 0U);
  {
    std::vector<KeyframeGroupRef> groups;
    for (int i = 0; i < 100; ++i) groups.push_back(Filled(*pool, 1000));
  }
  EXPECT_EQ(pool->kept(), KeyframeGroupPool::kMaxKept);

  // A history of short groups does not hold the room of long ones.
  EXPECT_LT(pool->Take(10)->packets.capacity(), 100U);
  EXPECT_GE(pool->Take(1500)->packets.capacity(), 1500U);
}

TEST(KeyframeGroupPool, GroupsOutliveItsOwner) {
  auto pool = KeyframeGroupPool::Create();
  const std::weak_ptr<KeyframeGroupPool> watch = pool;
  KeyframeGroupRef group = Filled(*pool, 3);
  pool.reset();
  EXPECT_TRUE(HasPattern(group->packets[2].payload, 2, 20));
  group = KeyframeGroupRef();
  EXPECT_TRUE(watch.expired()) << "a group in its own pool keeps it alive";
}

TEST(DroppedGroups, LetGoOfAnyNumberAtTheirEnd) {
  const auto pool = KeyframeGroupPool::Create();
  const KeyframeGroupRef reader = Filled(*pool, 2);
  {
    DroppedGroups dropped;
    for (int i = 0; i < 100'000; ++i) dropped.Add(pool->Take(1));
    dropped.Add(reader);
    EXPECT_EQ(pool->kept(), 0U);
  }
  EXPECT_EQ(pool->kept(), KeyframeGroupPool::kMaxKept);
  EXPECT_TRUE(HasPattern(reader->packets[1].payload, 1, 20));
}

}  // namespace
}  // namespace orventa
