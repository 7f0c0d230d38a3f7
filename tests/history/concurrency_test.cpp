// Real threads on one history; what the thread checker is run on.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "tests/fakes/temp_folder.h"
#include "tests/history/packets.h"
#include "video/audio_replay_buffer.h"
#include "video/replay_buffer.h"

namespace orventa {
namespace {

void TakeSnapshots(ReplayBuffer& history, const std::atomic<bool>& done) {
  while (!done) {
    std::vector<BufferedPacket> packets;
    if (!history.Snapshot(3, packets, PayloadAccess::Later)) continue;
    ASSERT_TRUE(packets.front().keyframe);
    for (const BufferedPacket& packet : packets) {
      ASSERT_TRUE(HasPattern(packet.Load(), packet.pts, 100)) << packet.pts;
    }
  }
}

void Hammer(const ReplayBufferOptions& options) {
  auto history = ReplayBuffer::Create(options);
  std::atomic<bool> done{false};
  std::thread saver([&] { TakeSnapshots(*history, done); });
  std::thread control([&] {
    ReplayBufferOptions other = options;
    while (!done) {
      other.seconds = other.seconds == 5 ? 2 : 5;
      history->Reconfigure(other);
      if (history->Stats().packets > 0) history->HoldFor(0, 0);
      history->TakeTrimPending();
    }
  });
  AppendSeconds(*history, 0, 500);
  done = true;
  saver.join();
  control.join();
  EXPECT_EQ(history->Stats().disk_failures, 0U);
}

TEST(HistoryThreads, Pictures) {
  const TempFolder folder;
  ReplayBufferOptions options;
  options.seconds = 5;
  Hammer(options);
  options.directory = folder.path();
  Hammer(options);
}

TEST(HistoryThreads, Sound) {
  AudioReplayBuffer sound;
  std::atomic<bool> done{false};
  std::thread saver([&] {
    std::vector<BufferedPacket> packets;
    while (!done) {
      sound.Span(0, sound.EndTime(), packets);
      for (const BufferedPacket& packet : packets) {
        ASSERT_TRUE(HasPattern(packet.payload, packet.pts, 50));
      }
    }
  });
  sound.Configure(1, 0);
  for (uint64_t i = 0; i < 5000; ++i) sound.Append(MakePacket(i * (kSecond / 50), true, 50));
  done = true;
  saver.join();
}

}  // namespace
}  // namespace orventa
