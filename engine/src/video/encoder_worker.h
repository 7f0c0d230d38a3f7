// The thread between the frame loop and a video encoder: a short queue of frames in,
// packets out to the sink. One a pipeline, which owns it and outlives nothing of it:
// clock, encoder and sink must outlive the worker.
// Submit, Drain and Stop are called on the engine thread.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "base/clock.h"
#include "base/mutex.h"
#include "base/status.h"
#include "encoders/encoder.h"
#include "video/packet_sink.h"

namespace orventa {

class EncoderWorker {
 public:
  static constexpr uint32_t kQueueDepth = 3;

  // `pool_size`: pictures that the converter gives out before it reuses the first.
  EncoderWorker(IClock& clock, IVideoEncoder& encoder, IPacketSink& sink, uint32_t pool_size);
  ~EncoderWorker();
  EncoderWorker(const EncoderWorker&) = delete;
  EncoderWorker& operator=(const EncoderWorker&) = delete;

  // Queues a frame; blocks while the queue is full. False: given up, because the
  // encoder failed or `give_up` was set.
  bool Submit(EncoderFrame frame, const std::atomic<bool>& give_up);
  // Whether FirstError() is one. Cheap: asked once a frame.
  bool Failed() const { return failed_.load(std::memory_order_acquire); }
  Status FirstError() const;
  // Encodes what is queued and collects all that is inside. The first error, if any.
  Status Drain();
  // Ends the thread; frames not yet encoded are dropped.
  void Stop();

  // The most frames that were ever waiting or inside the encoder.
  uint32_t InFlightMax() const { return in_flight_max_.load(std::memory_order_relaxed); }

 private:
  enum class Task { Encode, Drain, Stop };

  void Work();
  Task NextTask(EncoderFrame& frame);
  template <typename Job>
  void Guarded(Job job);
  void Encode(EncoderFrame& frame);
  void DrainEncoder();
  // Collects until at most `allow` frames are inside, as far as waiting for them
  // is worth it.
  Status CollectUpTo(uint32_t allow);
  // Polls once; false when the encoder has nothing to give now.
  bool CollectOne(Status& status);
  void PollPause();
  void Fail(Status status);
  void NoteDepth(uint32_t waiting);
  uint32_t InFlight() const { return in_flight_.load(std::memory_order_relaxed); }

  IClock& clock_;
  IVideoEncoder& encoder_;
  IPacketSink& sink_;
  const uint32_t max_in_flight_;

  mutable Mutex mutex_;
  const std::unique_ptr<IWaitPoint> changed_;
  std::array<EncoderFrame, kQueueDepth> queue_ ORVENTA_GUARDED_BY(mutex_);
  uint32_t queue_head_ ORVENTA_GUARDED_BY(mutex_) = 0;
  uint32_t queue_length_ ORVENTA_GUARDED_BY(mutex_) = 0;
  bool drain_wanted_ ORVENTA_GUARDED_BY(mutex_) = false;
  Status first_error_ ORVENTA_GUARDED_BY(mutex_);

  std::atomic<bool> failed_ = false;
  std::atomic<bool> stopping_ = false;
  std::atomic<uint32_t> in_flight_ = 0;  // handed to the encoder and not come back
  std::atomic<uint32_t> in_flight_max_ = 0;

  // Worker thread only.
  uint64_t progress_at_ns_ = 0;  // the newest packet or hand-over, steady clock
  bool patience_spent_ = false;  // a frame stays inside for longer than waiting is worth

  std::unique_ptr<IThread> thread_;  // last: it runs on all of the above
};

}  // namespace orventa
