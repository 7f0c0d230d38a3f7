// Which device a capture uses: takes the one that is wanted, goes over when another
// is, and tries again, ever more rarely, when one cannot be had. A platform's capture
// owns one beside its thread and calls Check there every few milliseconds.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/mutex.h"
#include "base/status.h"
#include "sound/capture.h"

namespace orventa {

enum class SoundTrouble { None, Denied, Busy, NotFound, Failed };
// As IAudioCapture::Trouble says it.
std::string_view SoundTroubleWord(SoundTrouble trouble);

struct DeviceResult {
  Status status;
  SoundTrouble trouble = SoundTrouble::None;  // one of them when the status is not ok

  bool ok() const { return status.ok(); }
};

// The device side of a capture. Called on the thread that calls Check.
class ISoundDevice {
 public:
  virtual ~ISoundDevice() = default;

  // Whether this one could be opened now.
  virtual bool IsActive(const std::string& id) = 0;
  // The id of the system's default in the capture's direction; empty: there is none.
  virtual std::string DefaultId() = 0;
  // Opens it, without sound yet. `id` is one of the above; a process capture opens
  // what it hears, which needs none. `name` is for people.
  virtual DeviceResult Open(const std::string& id, std::string& name) = 0;
  virtual DeviceResult Start() = 0;
  // Fine when nothing is open.
  virtual void Close() = 0;
};

enum class Following {
  Device,         // the chosen device while it is there, else the default
  DefaultOutput,  // one process is left out of what the default output plays
  Nothing,        // one process, on whatever output
};

class DeviceFollower {
 public:
  // `clock` and `device` must outlive this. `chosen` empty: always the default.
  // `what` names the capture in the log.
  DeviceFollower(IClock& clock, ISoundDevice& device, Following following, std::string chosen,
                 std::string what);

  // Devices or the default have changed; any thread, sets a flag only.
  void Notice() { news_.store(true, std::memory_order_release); }

  // The rest on the capture's thread, or before and after that thread runs.
  // While running, an open device is started; a process capture opens nothing before.
  void SetRunning(bool running);
  void Check();
  // The open device fails or is gone: closes it, for the next check that is due.
  void Lose(SoundTrouble trouble);
  void Close();
  bool IsOpen() const { return open_; }

  // Any thread.
  std::vector<DeviceStint> Trail() const;
  std::string Trouble() const;
  void SetTrouble(SoundTrouble trouble);

 private:
  // Whether the flag or the time asks for a look.
  bool IsDue();
  bool IsStillFailed();
  void CheckDevice();
  void CheckProcess();
  std::string WantedId();
  std::string_view ReasonWithoutDevice() const;
  void Open(const std::string& id, std::string_view reason);
  void FailAt(const std::string& id, const DeviceResult& result);
  void Remember(const std::string& name, std::string_view reason);

  IClock& clock_;
  ISoundDevice& device_;
  const Following following_;
  const std::string chosen_;
  const std::string what_;

  std::atomic<bool> news_{false};
  bool running_ = false;
  bool open_ = false;
  bool started_ = false;
  bool was_open_ = false;  // at any time
  bool told_ = false;      // the log knows of the failure
  std::string open_id_;
  uint32_t failures_ = 0;
  std::optional<std::string> failed_id_;
  uint64_t next_look_ns_ = 0;

  mutable Mutex mutex_;
  std::vector<DeviceStint> trail_ ORVENTA_GUARDED_BY(mutex_);
  SoundTrouble trouble_ ORVENTA_GUARDED_BY(mutex_) = SoundTrouble::None;
};

}  // namespace orventa
