// One file of a recording: a queue between those who make packets and the one thread
// that writes them to the drive. That thread opens the file, and ends it when nothing
// comes any more, so that nobody but it ever waits for the drive; a picture waits only
// while more is queued than memory should hold, and not for a drive that takes nothing
// any more. Engine thread unless a line says otherwise.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/mutex.h"
#include "base/ring.h"
#include "base/status.h"
#include "media/packet.h"
#include "video/recording_file.h"

namespace orventa {

class ActiveRecording {
 public:
  static constexpr uint64_t kQueueBytes = 32U << 20U;
  // A recording ends while there is room for this and for what is queued, so that the
  // file can be finished and the machine goes on.
  static constexpr uint64_t kSpareBytes = 128U << 20U;
  // A drive that takes nothing for so long has failed. The frame loop must not count the
  // wait for it as a stall of its own, which ends the pipeline.
  static constexpr uint64_t kSilentDriveNs = 20 * kNsPerSecond;

  struct Plan {
    uint32_t id = 0;         // of the recording; its files share it
    bool automatic = false;  // begun by the game list
    std::string path;
    uint64_t started_at = 0;  // pts
    Mp4VideoTrack video;
    std::vector<Mp4AudioTrack> sound;
  };
  // Called on the recording's thread.
  using MarksOf = std::function<TimelineMarks(uint64_t from_pts, uint64_t to_pts)>;
  // `result` as FinishedRecording::result. Called once, by the recording's thread as the
  // file is done, or by the encoder worker as it gives the drive up.
  using Finished = std::function<void(const Status& result)>;

  // Clock and drive must outlive the recording, and what the functions use.
  ActiveRecording(IClock& clock, IRecordingDrive& drive, Plan plan, MarksOf marks,
                  Finished finished);
  // Waits until the file is done.
  ~ActiveRecording();
  ActiveRecording(const ActiveRecording&) = delete;
  ActiveRecording& operator=(const ActiveRecording&) = delete;

  const Plan& plan() const { return plan_; }

  // Encoder worker. Waits while the queue is full.
  void TakeVideo(const EncodedPacket& packet);
  // Never waits: sound is little, and it stops coming when pictures have to wait.
  void TakeSound(size_t track, const EncodedPacket& packet, uint64_t duration_ns);

  // Takes nothing that begins at `pts` or later.
  void StopAt(uint64_t pts) { stop_at_ = pts; }
  // Whether every track has come as far as that.
  bool ReachedStop() const;
  // Nothing comes any more: the file is ended as soon as all has been written.
  void Close();
  // The file has been ended, well or not.
  bool Done() const { return done_; }
  // Waits for that, until the steady clock reaches the time.
  void WaitUntilDone(uint64_t steady_ns);

  // Any thread from here on.
  bool Failed() const { return failed_.load(std::memory_order_acquire); }
  Status FirstError() const;
  // The drive has no room for more than the end of the file.
  bool DriveNearlyFull() const { return drive_nearly_full_; }
  uint64_t ElapsedNs() const { return elapsed_ns_.load(std::memory_order_relaxed); }
  uint64_t Bytes() const { return bytes_.load(std::memory_order_relaxed); }

 private:
  static constexpr size_t kVideo = SIZE_MAX;
  struct Item {
    size_t track = kVideo;  // or a sound track
    EncodedPacket packet;
  };

  // False: the drive gave none in time.
  bool WaitForRoom();
  void Enqueue(size_t track, const EncodedPacket& packet);
  void Run();
  // False: there is nothing, and nothing will come.
  bool Next(Item& item);
  void Write(const Item& item);
  void GiveRoom(uint64_t bytes);
  void CheckDrive();
  Status End();
  void Fail(const Status& status);
  void Tell(const Status& result);
  template <typename Job>
  Status Guarded(Job job);

  IClock& clock_;
  IRecordingDrive& drive_;
  const Plan plan_;
  const MarksOf marks_;
  const Finished finished_;

  mutable Mutex mutex_;
  const std::unique_ptr<IWaitPoint> work_;  // something is queued, or nothing more comes
  const std::unique_ptr<IWaitPoint> room_;  // the queue has room again, or the file is done
  Ring<Item> queue_ ORVENTA_GUARDED_BY(mutex_);
  uint64_t queued_bytes_ ORVENTA_GUARDED_BY(mutex_) = 0;
  bool closed_ ORVENTA_GUARDED_BY(mutex_) = false;
  Status first_error_ ORVENTA_GUARDED_BY(mutex_);

  bool opened_ = false;  // the picture's first keyframe has come; encoder worker only
  std::atomic<uint64_t> stop_at_ = UINT64_MAX;
  std::atomic<bool> video_done_ = false;
  std::vector<bool> sound_done_;  // by track

  std::atomic<bool> failed_ = false;
  std::atomic<bool> told_ = false;
  std::atomic<bool> drive_nearly_full_ = false;
  std::atomic<bool> done_ = false;
  std::atomic<uint64_t> elapsed_ns_ = 0;
  std::atomic<uint64_t> bytes_ = 0;

  // The recording's thread only.
  std::unique_ptr<IRecordingFile> file_;
  uint64_t next_drive_check_ns_ = 0;

  std::unique_ptr<IThread> thread_;  // last: it runs on all of the above
};

}  // namespace orventa
