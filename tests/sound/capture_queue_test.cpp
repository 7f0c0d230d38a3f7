#include "sound/capture_queue.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/clock.h"

namespace orventa {
namespace {

constexpr uint64_t kStartNs = 1000 * kNsPerSecond;

SoundRecord Record(uint64_t device_ns, uint64_t arrival_ns, uint32_t flags = 0) {
  SoundRecord record;
  record.frames = 480;
  record.rate = 48000;
  record.flags = flags;
  record.device_ns = device_ns;
  record.arrival_ns = arrival_ns;
  return record;
}

const std::vector<float> kLoud(960, 0.5F);

TEST(CaptureQueueTest, HoldsASecondAndTheFormatOfIt) {
  CaptureQueue queue;
  SoundBatch batch;
  for (int turn = 0; turn < 2; ++turn) {
    queue.PushFormat(44100);
    queue.PushFormat(48000);
    // Much longer than it holds: what went is moved out of the buffers as well.
    for (uint64_t i = 1; i <= 500; ++i) {
      const bool silent = i == 450;
      queue.PushFrames(Record(i, i, silent ? kSoundSilent : 0), Downmix(), kLoud.data());
    }
    ASSERT_TRUE(queue.Take(batch).ok());
    ASSERT_EQ(batch.records.size() - batch.first_record, 101U);
    EXPECT_EQ(batch.records[batch.first_record].frames, 0U);
    EXPECT_EQ(batch.records[batch.first_record].rate, 48000U);
    EXPECT_EQ(batch.records[batch.first_record + 1].device_ns, 401U);
    ASSERT_EQ(batch.stereo.size() - batch.first_sample, 96'000U);
    EXPECT_EQ(batch.stereo[batch.first_sample + 49 * 960 - 1], 0.5F);
    EXPECT_EQ(batch.stereo[batch.first_sample + 49 * 960], 0.0F);
    EXPECT_LT(batch.stereo.size(), 250'000U);
  }
  queue.PushFrames(Record(1, 1), Downmix(), kLoud.data());
  queue.Fail({StatusCode::DriverError, "broken"});
  EXPECT_EQ(queue.Take(batch).message(), "broken");
  EXPECT_TRUE(batch.records.empty());
  ASSERT_TRUE(queue.Take(batch).ok());
  EXPECT_EQ(batch.records.size(), 1U);
}

// The time that a click is heard at, after `start`, in ms; -1: never.
double HeardMs(QueuedSound& sound, uint64_t until_ms) {
  std::vector<int16_t> out;
  sound.SetOrigin(kStartNs, 0);
  EXPECT_TRUE(sound.Read(kStartNs + until_ms * kNsPerMs, out).ok());
  const auto loudest = std::max_element(out.begin(), out.end());
  if (loudest == out.end() || *loudest < 8000) return -1;
  return static_cast<double>(loudest - out.begin()) / 96;
}

TEST(QueuedSoundTest, TimesFollowFromTheKindOfSource) {
  struct Case {
    SoundTiming timing;
    uint32_t flags;
    uint64_t device_ns;  // of the first packet
    uint64_t arrival_ms;
    double heard_ms;
  };
  const std::vector<Case> cases = {
      {SoundTiming::Direct, 0, kStartNs + 20 * kNsPerMs, 35, 20},
      {SoundTiming::Direct, 0, 0, 35, 25},  // no time: it ended when it arrived
      {SoundTiming::Direct, kSoundBadTime, kStartNs, 35, 25},
      {SoundTiming::Process, 0, kStartNs + 44 * kNsPerMs, 60, 20},
      // The packet of the least lag, the third, says that what is told for the first
      // is heard 5 ms later.
      {SoundTiming::Loopback, 0, kStartNs + 20 * kNsPerMs, 35, 30},
  };
  for (size_t i = 0; i < cases.size(); ++i) {
    const Case& row = cases[i];
    CaptureQueue queue;
    QueuedSound sound(queue, row.timing, 48000);
    queue.PushFormat(48000);
    for (uint64_t packet = 0; packet < 20; ++packet) {
      std::vector<float> frames(960);
      if (packet == 5) frames[0] = 1;
      const uint64_t at_ns = packet * 10 * kNsPerMs;
      uint64_t arrival_ns = kStartNs + row.arrival_ms * kNsPerMs + at_ns;
      if (row.timing == SoundTiming::Loopback) arrival_ns -= 5 * kNsPerMs;
      const uint64_t device_ns = row.device_ns == 0 ? 0 : row.device_ns + at_ns;
      queue.PushFrames(Record(device_ns, arrival_ns, row.flags), Downmix(), frames.data());
    }
    EXPECT_NEAR(HeardMs(sound, 150), row.heard_ms + 50, 0.03) << i;
  }
}

TEST(QueuedSoundTest, LoopbackBelievesTheLeastLagOfFiveSeconds) {
  CaptureQueue queue;
  QueuedSound sound(queue, SoundTiming::Loopback, 48000);
  std::vector<int16_t> out;
  queue.PushFormat(48000);
  // One packet came 4 ms after its time, all others 12 ms; a click in every second.
  sound.SetOrigin(kStartNs, 0);
  for (uint64_t packet = 0; packet < 1200; ++packet) {
    std::vector<float> frames(960);
    if (packet % 100 == 0) frames[0] = 1;
    const uint64_t device_ns = kStartNs + packet * 10 * kNsPerMs;
    const uint64_t lag_ms = packet == 50 ? 4 : 12;
    queue.PushFrames(Record(device_ns, device_ns + lag_ms * kNsPerMs), Downmix(), frames.data());
    ASSERT_TRUE(sound.Read(device_ns, out).ok());
  }
  const auto heard_ms = [&](size_t second) {
    const auto begin = out.begin() + static_cast<ptrdiff_t>(second * 96'000);
    const auto end = begin + 90'000;
    return static_cast<double>(std::max_element(begin, end) - begin) / 96;
  };
  EXPECT_NEAR(heard_ms(0), 12, 0.1);
  EXPECT_LT(heard_ms(5), 8);
  EXPECT_GT(heard_ms(10), 8);  // forgotten; the line follows
}

TEST(QueuedSoundTest, AnotherDeviceMayHaveAnotherRate) {
  CaptureQueue queue;
  QueuedSound sound(queue, SoundTiming::Direct, 48000);
  queue.PushFormat(48000);
  for (uint64_t i = 0; i < 10; ++i) {
    const uint64_t at_ns = kStartNs + i * 10 * kNsPerMs;
    queue.PushFrames(Record(at_ns, at_ns), Downmix(), nullptr);
  }
  queue.PushFormat(96000);
  for (uint64_t i = 0; i < 20; ++i) {
    SoundRecord record = Record(kStartNs + (200 + i * 5) * kNsPerMs, 0);
    record.rate = 96000;
    std::vector<float> frames(960);
    if (i == 10) frames[0] = 1;
    queue.PushFrames(record, Downmix(), frames.data());
  }
  std::vector<int16_t> out;
  sound.SetOrigin(kStartNs, 0);
  ASSERT_TRUE(sound.Read(kStartNs + 280 * kNsPerMs, out).ok());
  ASSERT_EQ(out.size(), 2U * 280 * 48);
  EXPECT_EQ((std::max_element(out.begin(), out.end()) - out.begin()) / 2, 250 * 48);
}

}  // namespace
}  // namespace orventa
