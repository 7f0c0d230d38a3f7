#include "video/encoder_worker.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

namespace orventa {
namespace {

constexpr uint64_t kPollNs = kNsPerMs;
constexpr uint64_t kStuckNs = 5 * kNsPerSecond;
// How long an encoder may keep a frame before it counts as one that runs behind.
constexpr uint64_t kPatienceNs = kNsPerSecond;
constexpr uint64_t kDrainSilenceNs = kNsPerSecond;
constexpr uint64_t kGiveUpLookNs = 100 * kNsPerMs;

// Pool pictures that are not inside the encoder: those queued, the one being
// converted into and the one being handed over.
constexpr uint32_t kPicturesOutside = EncoderWorker::kQueueDepth + 2;

}  // namespace

EncoderWorker::EncoderWorker(IClock& clock, IVideoEncoder& encoder, IPacketSink& sink,
                             uint32_t pool_size)
    : clock_(clock),
      encoder_(encoder),
      sink_(sink),
      max_in_flight_(pool_size > kPicturesOutside ? pool_size - kPicturesOutside : 1),
      changed_(clock.MakeWaitPoint()),
      thread_(clock.StartThread("encoder", ThreadPriority::FrameClock, [this] { Work(); })) {}

EncoderWorker::~EncoderWorker() {
  Stop();
}

bool EncoderWorker::Submit(EncoderFrame frame, const std::atomic<bool>& give_up) {
  uint32_t waiting = 0;
  {
    MutexLock lock(mutex_);
    for (;;) {
      if (Failed()) return false;
      if (queue_length_ < kQueueDepth) break;
      if (give_up) return false;
      changed_->Wait(mutex_, clock_.SteadyNs() + kGiveUpLookNs);
    }
    queue_[(queue_head_ + queue_length_) % kQueueDepth] = std::move(frame);
    waiting = ++queue_length_;
  }
  changed_->NotifyAll();
  NoteDepth(waiting);
  return true;
}

Status EncoderWorker::FirstError() const {
  MutexLock lock(mutex_);
  return first_error_;
}

Status EncoderWorker::Drain() {
  {
    MutexLock lock(mutex_);
    drain_wanted_ = true;
  }
  changed_->NotifyAll();
  MutexLock lock(mutex_);
  while (drain_wanted_) changed_->Wait(mutex_, kForever);
  return first_error_;
}

void EncoderWorker::Stop() {
  stopping_ = true;
  { MutexLock lock(mutex_); }
  changed_->NotifyAll();
  thread_->Join();
}

void EncoderWorker::Work() {
  EncoderFrame frame;
  for (;;) {
    switch (NextTask(frame)) {
      case Task::Encode:
        Guarded([&] { Encode(frame); });
        frame.picture.reset();
        break;
      case Task::Drain: {
        Guarded([&] { DrainEncoder(); });
        MutexLock lock(mutex_);
        drain_wanted_ = false;
        break;
      }
      case Task::Stop: return;
    }
    changed_->NotifyAll();
  }
}

EncoderWorker::Task EncoderWorker::NextTask(EncoderFrame& frame) {
  MutexLock lock(mutex_);
  for (;;) {
    if (stopping_) {
      drain_wanted_ = false;
      return Task::Stop;
    }
    if (queue_length_ > 0) {
      frame = std::move(queue_[queue_head_]);
      queue_head_ = (queue_head_ + 1) % kQueueDepth;
      --queue_length_;
      return Task::Encode;
    }
    if (drain_wanted_) return Task::Drain;
    changed_->Wait(mutex_, kForever);
  }
}

template <typename Job>
void EncoderWorker::Guarded(Job job) {
  // After a failure the encoder is not touched again; its frames are dropped.
  if (Failed()) return;
  constexpr char kUnexpected[] = "an unexpected error stopped the encoder: ";
  try {
    job();
  } catch (const std::exception& error) {
    Fail({StatusCode::DriverError, std::string(kUnexpected) + error.what()});
  } catch (...) {
    Fail({StatusCode::DriverError, std::string(kUnexpected) + "unknown"});
  }
}

void EncoderWorker::Encode(EncoderFrame& frame) {
  if (Status status = encoder_.Submit(frame); !status.ok()) return Fail(std::move(status));
  in_flight_.fetch_add(1, std::memory_order_relaxed);
  NoteDepth(0);
  if (Status status = CollectUpTo(1); !status.ok()) Fail(std::move(status));
}

void EncoderWorker::DrainEncoder() {
  if (Status status = encoder_.Drain(); !status.ok()) return Fail(std::move(status));
  Status status;
  progress_at_ns_ = clock_.SteadyNs();
  while (InFlight() > 0 && !stopping_) {
    if (CollectOne(status)) continue;
    if (!status.ok()) return Fail(std::move(status));
    if (clock_.SteadyNs() - progress_at_ns_ >= kDrainSilenceNs) return;
    PollPause();
  }
}

Status EncoderWorker::CollectUpTo(uint32_t allow) {
  Status status;
  // Silence counts from the hand-over: before it there may have been nothing to give.
  progress_at_ns_ = clock_.SteadyNs();
  while (InFlight() > allow && !stopping_) {
    if (CollectOne(status)) continue;
    if (!status.ok()) return status;
    const uint64_t silence_ns = clock_.SteadyNs() - progress_at_ns_;
    if (InFlight() > max_in_flight_) {
      if (silence_ns >= kStuckNs) {
        return {StatusCode::DriverError, "the encoder stopped giving back frames"};
      }
    } else {
      // An encoder that keeps frames back is waited for once; from then on its
      // packets are taken as they come, so that its latency costs no throughput.
      if (silence_ns >= kPatienceNs) patience_spent_ = true;
      if (patience_spent_) return {};
    }
    PollPause();
  }
  patience_spent_ = false;
  return {};
}

bool EncoderWorker::CollectOne(Status& status) {
  EncodedPacket packet;
  switch (encoder_.Collect(packet, status)) {
    case CollectResult::Packet:
      progress_at_ns_ = clock_.SteadyNs();
      if (InFlight() > 0) in_flight_.fetch_sub(1, std::memory_order_relaxed);
      sink_.Take(std::move(packet));
      return true;
    case CollectResult::Finished: in_flight_ = 0; return true;
    case CollectResult::NothingYet: break;
  }
  return false;
}

void EncoderWorker::PollPause() {
  clock_.SleepUntil(clock_.SteadyNs() + kPollNs);
}

void EncoderWorker::Fail(Status status) {
  {
    MutexLock lock(mutex_);
    if (failed_) return;
    first_error_ = std::move(status);
    failed_.store(true, std::memory_order_release);
  }
  changed_->NotifyAll();
}

void EncoderWorker::NoteDepth(uint32_t waiting) {
  const uint32_t depth = waiting + InFlight();
  uint32_t seen = in_flight_max_.load(std::memory_order_relaxed);
  while (depth > seen &&
         !in_flight_max_.compare_exchange_weak(seen, depth, std::memory_order_relaxed)) {
  }
}

}  // namespace orventa
