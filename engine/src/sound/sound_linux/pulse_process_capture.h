// What one process and those that it started play: each of their streams by itself,
// on whatever output it is, mixed here. Silence while they play nothing, and until an
// origin is set nothing at all.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/mutex.h"
#include "sound/capture.h"
#include "sound/capture_queue.h"
#include "sound/process_table.h"
#include "sound/sound_linux/pulse_server.h"
#include "sound/sound_linux/pulse_stream.h"
#include "sound/sound_linux/pulse_thread.h"

namespace orventa {

// A stream's sound on its way: the queue is filled by one thread and read by another.
struct PulseVoice {
  explicit PulseVoice(uint32_t rate) : sound(queue, SoundTiming::Direct, rate) {}
  CaptureQueue queue;
  QueuedSound sound;                // engine thread
  std::atomic<uint64_t> end_ns{0};  // when its stream was closed; 0: it is open
};

class PulseProcessListener final : public IPulseListener {
 public:
  PulseProcessListener(IClock& clock, PulseServer& server, uint32_t pid, uint32_t rate,
                       std::unique_ptr<IProcessTable> processes);

  // Engine thread. Moves the voices that are new to the end of `voices`.
  void TakeVoices(std::vector<std::shared_ptr<PulseVoice>>& voices);

  bool Serve(bool news) override;
  bool IsActive(const std::string&) override { return true; }
  std::string DefaultId() override { return {}; }
  DeviceResult Open(const std::string& id, std::string& name) override;
  DeviceResult Start() override;
  void Close() override;

 private:
  struct Player {
    uint32_t index = PA_INVALID_INDEX;
    std::shared_ptr<PulseVoice> voice;
    std::unique_ptr<PulseStream> stream;
  };
  bool IsOurs(uint32_t pid);
  bool IsFollowed(const PulsePlayer& player) const;
  void Follow(const PulsePlayer& player);
  void End(Player& player);

  IClock& clock_;
  PulseServer& server_;
  const uint32_t pid_;
  const uint32_t rate_;
  const std::unique_ptr<IProcessTable> processes_;
  std::vector<Player> players_;

  Mutex mutex_;
  std::vector<std::shared_ptr<PulseVoice>> added_ ORVENTA_GUARDED_BY(mutex_);
};

class PulseProcessCapture final : public IAudioCapture {
 public:
  // The clock must outlive this.
  PulseProcessCapture(IClock& clock, uint32_t pid, std::unique_ptr<IProcessTable> processes);

  Status Start() override;
  void Stop() override { thread_.Stop(); }
  bool IsRunning() const override { return thread_.IsRunning(); }
  void SetOrigin(uint64_t origin_ns, uint64_t frames_delivered) override;
  Status Read(uint64_t until_ns, std::vector<int16_t>& out) override;
  SoundFormat Format() const override;
  std::vector<DeviceStint> Trail() const override { return thread_.Trail(); }
  std::string Trouble() const override { return thread_.Trouble(); }

 private:
  PulseServer server_;
  PulseProcessListener listener_;
  PulseThread thread_;

  // Engine thread.
  std::vector<std::shared_ptr<PulseVoice>> voices_;
  std::vector<int16_t> scratch_;
  bool has_origin_ = false;
  uint64_t origin_ns_ = 0;
  uint64_t delivered_ = 0;  // frames
};

}  // namespace orventa
