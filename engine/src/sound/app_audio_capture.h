// What a game plays, with chosen companions (a voice chat, say) mixed into it while
// they play something. A thread of its own looks for them every few seconds.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/mutex.h"
#include "sound/capture.h"
#include "sound/process_table.h"
#include "sound/sound_sources.h"

namespace orventa {

class AppAudioCapture final : public IAudioCapture {
 public:
  // `base` captures `game_pid`. `apps`: file names of the companions' programs, comma
  // separated. The clock and the sources must outlive this.
  AppAudioCapture(IClock& clock, ISoundSources& sources, std::unique_ptr<IProcessTable> processes,
                  std::unique_ptr<IAudioCapture> base, uint32_t game_pid, const std::string& apps);
  ~AppAudioCapture() override;

  Status Start() override;
  void Stop() override;
  bool IsRunning() const override { return base_->IsRunning(); }
  void SetOrigin(uint64_t origin_ns, uint64_t frames_delivered) override;
  Status Read(uint64_t until_ns, std::vector<int16_t>& out) override;
  SoundFormat Format() const override { return base_->Format(); }
  std::vector<DeviceStint> Trail() const override { return base_->Trail(); }
  std::string Trouble() const override { return base_->Trouble(); }

  // Other companions from now on; looked for at once.
  void SetApps(const std::string& apps);

 private:
  struct Companion {
    uint32_t pid = 0;
    std::unique_ptr<IAudioCapture> capture;
    std::vector<int16_t> pending;  // read and not yet mixed
  };

  // Helper thread.
  void Help();
  void Look(const std::vector<std::string>& apps);
  Status FindCompanions(const std::vector<std::string>& apps, std::vector<uint32_t>& pids);
  void StartCompanions(const std::vector<uint32_t>& pids);

  // Engine thread.
  void TakeResults();
  void Retire(std::vector<Companion>::iterator companion);
  void ReadCompanions(uint64_t until_ns);
  void Mix(std::vector<int16_t>& pending, int16_t* out, size_t count) const;

  IClock& clock_;
  ISoundSources& sources_;
  const std::unique_ptr<IProcessTable> processes_;
  const std::unique_ptr<IAudioCapture> base_;
  const uint32_t game_pid_;

  std::vector<Companion> companions_;  // engine thread
  bool has_origin_ = false;
  uint64_t origin_ns_ = 0;
  uint64_t delivered_ = 0;  // frames

  std::vector<uint32_t> heard_;  // helper thread: those that the engine's thread has or gets
  bool list_failed_ = false;

  Mutex mutex_;
  const std::unique_ptr<IWaitPoint> wake_;
  bool stop_ ORVENTA_GUARDED_BY(mutex_) = false;
  bool look_now_ ORVENTA_GUARDED_BY(mutex_) = false;
  std::vector<std::string> apps_ ORVENTA_GUARDED_BY(mutex_);  // lower case
  std::vector<Companion> added_ ORVENTA_GUARDED_BY(mutex_);
  std::vector<uint32_t> removed_ ORVENTA_GUARDED_BY(mutex_);
  std::vector<uint32_t> failed_ ORVENTA_GUARDED_BY(mutex_);
  // Ended on the helper thread: stopping one waits for its own thread.
  std::vector<Companion> retired_ ORVENTA_GUARDED_BY(mutex_);
  std::unique_ptr<IThread> helper_;
};

}  // namespace orventa
