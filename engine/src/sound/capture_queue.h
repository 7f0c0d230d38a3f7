// The way of sound from a device's own thread to the engine's: packets as the device
// gave them, with what is known of their times, and out of them sound on the steady
// clock. A platform's capture pushes records and reads through QueuedSound; all heavy
// work is done by the reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/mutex.h"
#include "base/ring.h"
#include "base/status.h"
#include "sound/downmix.h"
#include "sound/sound_clock.h"

namespace orventa {

// Flags of a record, by the values that Windows gives them.
inline constexpr uint32_t kSoundDiscontinuity = 1;
inline constexpr uint32_t kSoundSilent = 2;
inline constexpr uint32_t kSoundBadTime = 4;

struct SoundRecord {
  uint32_t frames = 0;  // 0: from here on the rate is another
  uint32_t rate = 0;    // Hz, never 0 in the queue
  uint32_t flags = 0;
  uint64_t device_ns = 0;   // steady clock, by the device; 0: unknown
  uint64_t arrival_ns = 0;  // steady clock, just after the packet was got
};

// What was queued, taken out in one piece.
struct SoundBatch {
  std::vector<SoundRecord> records;
  std::vector<float> stereo;  // the frames of all records, interleaved
  size_t first_record = 0;    // those before it have been dropped
  size_t first_sample = 0;
};

// Any thread. Holds one second of sound; older records go.
class CaptureQueue {
 public:
  // The device gives this rate from now on.
  void PushFormat(uint32_t rate);
  // `data` in the form that `downmix` was made for; null or kSoundSilent: silence.
  void PushFrames(const SoundRecord& record, const Downmix& downmix, const void* data);
  // The next Take answers with this.
  void Fail(Status status);

  // Swaps what is queued for `batch`, whose buffers are used again. On failure the
  // batch is empty and nothing is taken.
  Status Take(SoundBatch& batch);

 private:
  void Trim() ORVENTA_REQUIRES(mutex_);

  Mutex mutex_;
  SoundBatch queued_ ORVENTA_GUARDED_BY(mutex_);
  uint64_t frames_ ORVENTA_GUARDED_BY(mutex_) = 0;
  Status failure_ ORVENTA_GUARDED_BY(mutex_);
};

// How the time of a packet follows from its record.
enum class SoundTiming {
  Direct,    // a microphone, or a platform that works the time out itself
  Loopback,  // what an output plays: the time runs ahead of what arrives
  Process,   // what a process plays: told a constant too late
};

// Engine thread.
class QueuedSound {
 public:
  // The queue must outlive this.
  QueuedSound(CaptureQueue& queue, SoundTiming timing, uint32_t output_rate);

  void SetOrigin(uint64_t origin_ns, uint64_t frames_delivered);
  // As IAudioCapture::Read.
  Status Read(uint64_t until_ns, std::vector<int16_t>& out);
  uint32_t rate() const { return clock_.output_rate(); }

 private:
  struct Lag {
    uint64_t arrival_ns = 0;
    int64_t ns = 0;  // of the arrival behind the device's time
  };
  uint64_t TimeOf(const SoundRecord& record);
  int64_t LeastLag(const SoundRecord& record);
  void GiveBackRoom();

  CaptureQueue& queue_;
  const SoundTiming timing_;
  SoundClock clock_;
  SoundBatch batch_;
  Ring<Lag> lags_;  // each greater than the one before it
};

}  // namespace orventa
