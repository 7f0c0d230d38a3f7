// Where sound comes from, as the engine sees it: 16-bit samples at one steady rate
// on the engine's own clock, whatever the device's clock does and whatever device
// comes and goes. A capture is made, started, read and dropped on the engine's
// thread; Trail and Trouble may be asked from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/status.h"

namespace orventa {

struct SoundFormat {
  uint32_t sample_rate = 48000;  // Hz
  uint32_t channels = 2;         // interleaved

  bool operator==(const SoundFormat&) const = default;
};

// One time that a device was in use.
struct DeviceStint {
  std::string device;          // its name for people
  int64_t opened_wall_ms = 0;  // since 1970
  std::string reason;          // "start", "lost", "retry", "default changed", "chosen device"
  uint32_t number = 0;         // counts the openings of all captures

  bool operator==(const DeviceStint&) const = default;
};
// The number that an opening gets, and the newest that one has got. Any thread; a
// capture gets it under the lock that guards its trail, so that whoever sees a new
// number finds the stint there.
uint32_t NextStintNumber();
uint32_t NewestStintNumber();
// As many as a capture remembers.
inline constexpr size_t kMaxDeviceStints = 8;

class IAudioCapture {
 public:
  virtual ~IAudioCapture() = default;  // stops

  // Fine without a device: one that appears later is taken.
  virtual Status Start() = 0;
  virtual void Stop() = 0;
  virtual bool IsRunning() const = 0;
  // Frame 0 lies at `origin_ns` of the steady clock; `frames_delivered` of them
  // count as read already.
  virtual void SetOrigin(uint64_t origin_ns, uint64_t frames_delivered) = 0;
  // Appends every frame earlier than `until_ns` that has not been read.
  virtual Status Read(uint64_t until_ns, std::vector<int16_t>& out) = 0;
  virtual SoundFormat Format() const = 0;
  virtual std::vector<DeviceStint> Trail() const = 0;
  // Empty when all is well, else "denied", "busy", "not_found" or "failed".
  virtual std::string Trouble() const = 0;
};

// Whole frames of `rate` that lie before `until_ns`, frame 0 lying at `origin_ns`.
uint64_t FramesBefore(uint64_t origin_ns, uint64_t until_ns, uint32_t rate);

}  // namespace orventa
