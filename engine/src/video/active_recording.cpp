#include "video/active_recording.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace orventa {
namespace {

constexpr uint64_t kDriveCheckNs = 2 * kNsPerSecond;

Status CouldNotWrite(const Status& why) {
  return {why.code(), "the recording could not be written: " + why.message()};
}

}  // namespace

ActiveRecording::ActiveRecording(IClock& clock, IRecordingDrive& drive, Plan plan, MarksOf marks,
                                 Finished finished)
    : clock_(clock),
      drive_(drive),
      plan_(std::move(plan)),
      marks_(std::move(marks)),
      finished_(std::move(finished)),
      work_(clock.MakeWaitPoint()),
      room_(clock.MakeWaitPoint()),
      sound_done_(plan_.sound.size()),
      file_(drive.NewFile()),
      thread_(clock.StartThread("recording", ThreadPriority::Normal, [this] { Run(); })) {}

ActiveRecording::~ActiveRecording() {
  Close();
  thread_->Join();
}

void ActiveRecording::TakeVideo(const EncodedPacket& packet) {
  if (static_cast<uint64_t>(packet.dts) >= stop_at_) {
    video_done_ = true;
    return;
  }
  if (!opened_) {
    if (!packet.keyframe || static_cast<uint64_t>(packet.pts) < plan_.started_at) return;
    opened_ = true;
  }
  if (WaitForRoom()) return Enqueue(kVideo, packet);
  Fail(CouldNotWrite({StatusCode::DriverError, "the drive does not answer"}));
  Tell(FirstError());  // its thread may never come to it
}

void ActiveRecording::TakeSound(size_t track, const EncodedPacket& packet, uint64_t duration_ns) {
  if (track >= sound_done_.size()) return;
  const auto pts = static_cast<uint64_t>(packet.pts);
  if (pts >= stop_at_) {
    sound_done_[track] = true;
  } else if (pts + duration_ns > plan_.started_at) {
    Enqueue(track, packet);
  }
}

bool ActiveRecording::ReachedStop() const {
  return video_done_ &&
         std::all_of(sound_done_.begin(), sound_done_.end(), [](bool done) { return done; });
}

bool ActiveRecording::WaitForRoom() {
  const uint64_t deadline_ns = clock_.SteadyNs() + kSilentDriveNs;
  MutexLock lock(mutex_);
  while (queued_bytes_ >= kQueueBytes && !closed_ && !failed_) {
    if (clock_.SteadyNs() >= deadline_ns) return false;
    room_->Wait(mutex_, deadline_ns);
  }
  return true;
}

void ActiveRecording::Enqueue(size_t track, const EncodedPacket& packet) {
  bool writer_waits = false;
  {
    MutexLock lock(mutex_);
    if (closed_ || failed_) return;
    writer_waits = queue_.empty();
    queued_bytes_ += packet.data.size();
    queue_.push_back({track, packet});
  }
  if (writer_waits) work_->NotifyAll();
}

void ActiveRecording::Close() {
  {
    MutexLock lock(mutex_);
    closed_ = true;
  }
  work_->NotifyAll();
  room_->NotifyAll();
}

Status ActiveRecording::FirstError() const {
  MutexLock lock(mutex_);
  return first_error_;
}

void ActiveRecording::Run() {
  const Status opened = Guarded([&] { return file_->Open(plan_.path, plan_.video, plan_.sound); });
  if (!opened.ok()) Fail(opened);
  for (Item item; Next(item);) {
    Write(item);
    GiveRoom(item.packet.data.size());
    item = {};
  }
  Tell(End());
  {
    MutexLock lock(mutex_);
    done_ = true;
  }
  room_->NotifyAll();
}

void ActiveRecording::WaitUntilDone(uint64_t steady_ns) {
  MutexLock lock(mutex_);
  while (!done_ && clock_.SteadyNs() < steady_ns) room_->Wait(mutex_, steady_ns);
}

void ActiveRecording::Tell(const Status& result) {
  if (!told_.exchange(true)) finished_(result);
}

bool ActiveRecording::Next(Item& item) {
  MutexLock lock(mutex_);
  while (queue_.empty() && !closed_) work_->Wait(mutex_, kForever);
  if (queue_.empty()) return false;
  item = queue_.take_front();
  return true;
}

// Bytes count as queued until the system has them.
void ActiveRecording::GiveRoom(uint64_t bytes) {
  bool producer_waits = false;
  {
    MutexLock lock(mutex_);
    producer_waits = queued_bytes_ >= kQueueBytes;
    queued_bytes_ -= bytes;
    producer_waits = producer_waits && queued_bytes_ < kQueueBytes;
  }
  if (producer_waits) room_->NotifyAll();
}

// After a failure the queue is only emptied, so that nobody is held back.
void ActiveRecording::Write(const Item& item) {
  if (failed_) return;
  CheckDrive();
  const Status status = Guarded([&] {
    return item.track == kVideo ? file_->AddVideo(item.packet)
                                : file_->AddSound(item.track, item.packet);
  });
  if (!status.ok()) return Fail(CouldNotWrite(status));
  elapsed_ns_.store(file_->ElapsedNs(), std::memory_order_relaxed);
  bytes_.store(file_->Bytes(), std::memory_order_relaxed);
}

void ActiveRecording::CheckDrive() {
  const uint64_t now_ns = clock_.SteadyNs();
  if (now_ns < next_drive_check_ns_) return;
  next_drive_check_ns_ = now_ns + kDriveCheckNs;
  const std::optional<uint64_t> free = drive_.FreeBytes(plan_.path);
  if (!free) return;
  MutexLock lock(mutex_);
  if (*free < queued_bytes_ + kSpareBytes) drive_nearly_full_ = true;
}

Status ActiveRecording::End() {
  Status ended = Guarded([&] { return file_->Finish(marks_(plan_.started_at, stop_at_)); });
  if (!ended.ok() && ended.code() != StatusCode::InvalidArgument) ended = CouldNotWrite(ended);
  file_.reset();
  MutexLock lock(mutex_);
  return first_error_.ok() ? ended : first_error_;
}

void ActiveRecording::Fail(const Status& status) {
  // InvalidArgument is kept for a file that nothing came for.
  const bool taken = status.code() == StatusCode::InvalidArgument;
  MutexLock lock(mutex_);
  if (failed_) return;
  first_error_ = {taken ? StatusCode::DriverError : status.code(), status.message()};
  failed_.store(true, std::memory_order_release);
}

template <typename Job>
Status ActiveRecording::Guarded(Job job) {
  try {
    return job();
  } catch (const std::exception& error) {
    return {StatusCode::DriverError, error.what()};
  } catch (...) {
    return {StatusCode::DriverError, "an unexpected error"};
  }
}

}  // namespace orventa
