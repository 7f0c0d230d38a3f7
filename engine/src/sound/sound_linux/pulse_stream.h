// One stream of sound from the server: what a source hears or an output plays, or what
// one player plays. Puts its packets into a queue, each with the time at which its
// first frame was heard: for a microphone when it reached the device, for something
// that is played when it leaves the output, which is later than the server hands it
// out. A picture is captured when it is seen, so sound that is heard with it comes to
// lie beside it, however much the player or the output holds in its buffers. Used by
// the captures, on the thread that turns their server.
#pragma once

#include <pulse/pulseaudio.h>

#include <cstdint>
#include <memory>
#include <string>

#include "base/clock.h"
#include "sound/capture_queue.h"
#include "sound/device_follower.h"
#include "sound/downmix.h"
#include "sound/sound_linux/pulse_server.h"

namespace orventa {

struct PulseStreamTarget {
  std::string source;                  // empty: the one that hears the player
  uint32_t player = PA_INVALID_INDEX;  // only this one
  pa_sample_spec spec = {PA_SAMPLE_FLOAT32NE, 48000, 2};
  pa_channel_map map = {};
  bool at_once = false;      // gives sound without a Start
  const char* purpose = "";  // for people who look at the server's list of streams
};

class PulseStream {
 public:
  // All must outlive this.
  PulseStream(IClock& clock, PulseServer& server, CaptureQueue& queue);
  ~PulseStream();
  PulseStream(const PulseStream&) = delete;
  PulseStream& operator=(const PulseStream&) = delete;

  // Asks for it. IsPending until the server has answered.
  bool Open(const PulseStreamTarget& target);
  bool IsPending() const;
  bool IsGood() const;  // false once the server or the device has gone
  void Start();
  void Close();
  // Why it is not good.
  DeviceResult Failure() const;

 private:
  struct Drop {
    void operator()(pa_stream* stream) const;
    void operator()(pa_operation* request) const;
  };
  static void OnState(pa_stream* stream, void* self);
  static void OnSound(pa_stream* stream, size_t bytes, void* self);
  static void OnTiming(pa_stream* stream, int success, void* self);
  void AskForTiming();
  void TakeTiming(const pa_timing_info& info);
  void TakeSound();
  void Push(const void* data, size_t bytes, uint64_t arrival_ns);
  uint64_t HeardNs(uint32_t frames, uint64_t arrival_ns);

  IClock& clock_;
  PulseServer& server_;
  CaptureQueue& queue_;
  std::unique_ptr<pa_stream, Drop> stream_;
  std::unique_ptr<pa_operation, Drop> asking_;  // for the timing
  pa_sample_spec spec_ = {};
  Downmix downmix_;
  int error_ = PA_OK;

  // The frame to be read next was heard at next_ns_.
  bool timed_ = false;
  bool untimeable_ = false;  // the server cannot tell
  int64_t next_ns_ = 0;
  uint64_t next_ask_ns_ = 0;

  // How late packets come at the least, over the last seconds: the least of the
  // stretch that is being counted, and of the one before it.
  int64_t least_lag_ns_ = INT64_MAX;
  int64_t former_least_lag_ns_ = INT64_MAX;
  uint64_t stretch_end_ns_ = 0;
};

// The speakers of a device in the order of their bits, and the mask of these; stereo
// and no mask for a device with places that have no bit.
struct PulseSpeakers {
  pa_channel_map map = {};
  uint32_t mask = 0;
};
PulseSpeakers OrderSpeakers(const pa_channel_map& map);

}  // namespace orventa
