#include "video/encoder_worker.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "media/memory_picture.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_encoder.h"

namespace orventa {
namespace {

constexpr uint64_t kMs = kNsPerMs;
constexpr uint64_t kSec = kNsPerSecond;

struct CollectingSink final : IPacketSink {
  void Take(EncodedPacket packet) override { pts.push_back(static_cast<uint64_t>(packet.pts)); }
  std::vector<uint64_t> pts;
};

struct WorkerRig {
  explicit WorkerRig(uint32_t pool_size) : pool(pool_size) {}

  void Begin() {
    encoder = std::make_unique<FakeEncoder>(backend, EncoderSettings{});
    worker = std::make_unique<EncoderWorker>(clock, *encoder, sink, pool);
  }
  // Submits frames `interval_ns` apart, as the frame loop does.
  void Feed(uint64_t frames, uint64_t interval_ns) {
    for (uint64_t i = 0; i < frames && worker->Submit({.picture = picture, .pts = next}, give_up);
         ++i) {
      ++next;
      clock.RunFor(interval_ns);
    }
  }

  uint64_t Took(const std::function<void()>& what) const {
    const uint64_t before = clock.SteadyNs();
    what();
    return clock.SteadyNs() - before;
  }

  FakeClock clock;
  FakeEncoderBackend backend{clock};
  CollectingSink sink;
  PictureRef picture = MemoryPicture::Allocate(PixelFormat::Nv12, 2, 2);
  std::atomic<bool> give_up = false;
  uint32_t pool;
  uint64_t next = 0;
  std::unique_ptr<FakeEncoder> encoder;
  std::unique_ptr<EncoderWorker> worker;
};

TEST(EncoderWorker, EveryFrameComesOutInOrderWhateverTheLatency) {
  for (const uint64_t latency_ms : {0, 1, 20, 45}) {
    for (const uint32_t pool : {6U, 8U, 12U}) {
      WorkerRig rig(pool);
      rig.backend.latency_ns = latency_ms * kMs;
      rig.Begin();
      rig.Feed(50, 20 * kMs);
      EXPECT_TRUE(rig.worker->Drain().ok());
      ASSERT_EQ(rig.sink.pts.size(), 50U) << latency_ms << " ms, pool " << pool;
      for (uint64_t i = 0; i < 50; ++i) ASSERT_EQ(rig.sink.pts[i], i);
      // Frames inside and waiting never outnumber the pool's pictures.
      EXPECT_LE(rig.backend.deepest + EncoderWorker::kQueueDepth + 1, pool);
    }
  }
}

TEST(EncoderWorker, AnEncoderThatRunsBehindIsWaitedForOnce) {
  WorkerRig rig(12);
  rig.backend.frames_behind = 4;
  rig.Begin();
  rig.Feed(1, 20 * kMs);
  EXPECT_LE(rig.Took([&] { rig.Feed(200, 20 * kMs); }), 200 * 20 * kMs + 1100 * kMs);
  EXPECT_EQ(rig.sink.pts.size(), 201U - 4U);
  EXPECT_TRUE(rig.worker->Drain().ok());
  EXPECT_EQ(rig.sink.pts.size(), 201U);
}

TEST(EncoderWorker, AStuckEncoderFailsAfterFiveSecondsAndReleasesTheCaller) {
  WorkerRig rig(6);
  rig.Begin();
  rig.Feed(10, 10 * kMs);
  rig.backend.stuck = true;
  const uint64_t took = rig.Took([&] { rig.Feed(1000, 10 * kMs); });
  EXPECT_GE(took, 5 * kSec);
  EXPECT_LE(took, 5 * kSec + 200 * kMs);
  EXPECT_TRUE(rig.worker->Failed());
  EXPECT_EQ(rig.worker->FirstError(),
            Status(StatusCode::DriverError, "the encoder stopped giving back frames"));
  // Nothing is owed to an encoder that failed.
  EXPECT_EQ(rig.Took([&] { EXPECT_FALSE(rig.worker->Drain().ok()); }), 0U);
}

TEST(EncoderWorker, ALongPauseIsNoSilenceOfTheEncoder) {
  WorkerRig rig(6);
  rig.backend.latency_ns = 15 * kMs;
  rig.Begin();
  rig.Feed(5, 20 * kMs);
  rig.clock.RunFor(20 * kSec);
  rig.backend.frames_behind = 1;
  rig.Feed(5, 20 * kMs);
  EXPECT_FALSE(rig.worker->Failed());
}

TEST(EncoderWorker, TheFirstErrorStays) {
  WorkerRig rig(8);
  rig.Begin();
  rig.Feed(3, 20 * kMs);
  rig.backend.throws = true;
  rig.Feed(1, 20 * kMs);
  rig.backend.throws = false;
  rig.backend.submit = {StatusCode::DeviceLost, "lost"};
  rig.Feed(3, 20 * kMs);
  EXPECT_EQ(rig.worker->FirstError(),
            Status(StatusCode::DriverError,
                   "an unexpected error stopped the encoder: the encoder broke"));
}

TEST(EncoderWorker, DrainAndStopEndInBoundedTime) {
  WorkerRig rig(8);
  rig.Begin();
  rig.backend.stuck = true;
  rig.Feed(1, 20 * kMs);
  EXPECT_LE(rig.Took([&] { EXPECT_TRUE(rig.worker->Drain().ok()); }), kSec + 10 * kMs);

  // One frame with the worker and a full queue; no more fit.
  for (int i = 0; i < 4; ++i)
    ASSERT_TRUE(rig.worker->Submit({.picture = rig.picture}, rig.give_up));
  rig.clock.After(300 * kMs, [&] { rig.give_up = true; });
  const auto submit = [&] { return rig.worker->Submit({.picture = rig.picture}, rig.give_up); };
  EXPECT_LE(rig.Took([&] { EXPECT_FALSE(submit()); }), 400 * kMs);
  EXPECT_LE(rig.Took([&] { rig.worker->Stop(); }), 10 * kMs);
}

}  // namespace
}  // namespace orventa
