#include "mp4/mp4_writer.h"

#include <algorithm>
#include <new>
#include <optional>
#include <tuple>
#include <utility>

#include "base/clock.h"
#include "base/files.h"
#include "base/log.h"
#include "base/rescale.h"
#include "mp4/annexb.h"
#include "mp4/failures.h"
#include "mp4/fragment.h"
#include "mp4/moov.h"
#include "mp4/recording_layout.h"
#include "mp4/recovery_block.h"
#include "mp4/sample_entries.h"

namespace orventa {
namespace {

// A track's fragment is written when it lasts a second or has so many bytes.
constexpr uint64_t kFragmentBytes = 0x100000;
// What one sample and the fragment before it may take together lies within the
// 32 bits of a box's size.
constexpr size_t kMaxSampleBytes = 0x7FFFFFFF;

Status Refuse(const char* why) {
  return {StatusCode::InvalidArgument, why};
}

uint64_t PtsOf(const EncodedPacket& packet) {
  return static_cast<uint64_t>(std::max<int64_t>(packet.pts, 0));
}

// One track of any kind: its table of what is in the file, and its samples that
// are not.
struct FragmentTrack {
  uint32_t number = 0;
  bool lists_sync = true;
  TrackTable table;
  uint64_t decode_start = 0;  // of its first sample, in the table's timescale
  std::vector<uint8_t> bytes;
  std::vector<FragmentSample> samples;
  uint64_t ticks = 0;  // the sum of their durations, as far as known
  bool begun = false;
  uint64_t first_pts_ns = 0;

  void Push(size_t size, uint32_t duration, bool sync) {
    samples.push_back({static_cast<uint32_t>(size), duration, sync});
    ticks += duration;
  }
};

// A sample of a picture gets its duration when the next one comes: until then the
// last of `samples` waits with 0.
struct PictureTrack : FragmentTrack {
  Mp4VideoTrack format;
  VideoConfiguration configuration;
  uint64_t last_pts_ns = 0;

  void FinishWaiting(uint64_t next_pts_ns) {
    if (samples.empty()) return;
    samples.back().duration =
        DurationBetween(first_pts_ns, last_pts_ns, next_pts_ns, table.timescale);
    ticks += samples.back().duration;
  }

  // Appends the packet in the form of a file. True: there is a new sample.
  bool TakeSample(const EncodedPacket& packet) {
    const size_t before = bytes.size();
    const auto payload = packet.data.bytes();
    if (NeedsConversion(format)) {
      AppendSample(payload, format.codec, bytes);
    } else {
      bytes.insert(bytes.end(), payload.begin(), payload.end());
    }
    const size_t size = bytes.size() - before;
    if (size == 0) return false;
    const uint64_t pts_ns = PtsOf(packet);
    if (begun) {
      FinishWaiting(pts_ns);
    } else {
      begun = true;
      first_pts_ns = pts_ns;
    }
    last_pts_ns = pts_ns;
    Push(size, 0, packet.keyframe);
    return true;
  }

  bool IsFragmentFull() const {
    return samples.size() > 1 && (ticks >= table.timescale || bytes.size() >= kFragmentBytes);
  }
};

struct SoundTrack : FragmentTrack {
  Mp4AudioTrack format;
};

struct WebcamTrack : PictureTrack {
  std::shared_ptr<const Mp4WebcamTrack> source;
  bool start_latched = false;
};

// Where a track begins against the video.
struct TrackStart {
  uint64_t cut = 0;  // in the track's timescale
  uint64_t delay_ns = 0;
};

TrackStart StartOf(const FragmentTrack& track, uint64_t video_start_ns) {
  TrackStart start;
  if (track.first_pts_ns >= video_start_ns) {
    start.delay_ns = track.first_pts_ns - video_start_ns;
  } else {
    start.cut = Rescale(video_start_ns - track.first_pts_ns, kNsPerSecond, track.table.timescale);
  }
  return start;
}

}  // namespace

// What goes into the final index alone.
struct Mp4Writer::Extras {
  std::vector<Mp4Marker> markers;
  std::vector<Mp4GameEvent> events;
  Mp4Presses presses;
  std::string captions;
  uint64_t end_time_ns = 0;
  std::optional<std::pair<uint16_t, uint16_t>> light;  // maximum, frame average
};

// From Open to Finish.
class Mp4Writer::Recording {
 public:
  Status Open(std::string_view path, const Mp4VideoTrack& video,
              const std::vector<Mp4AudioTrack>& sound,
              std::shared_ptr<const Mp4WebcamTrack> webcam);

  Status AddVideo(const EncodedPacket& packet);
  Status AddAudio(size_t index, const EncodedPacket& packet);
  Status AddWebcam(const EncodedPacket& packet);
  Status AttachWebcam(std::shared_ptr<const Mp4WebcamTrack> webcam);
  Status Finish(const Extras& extras);
  // Closes the file, and deletes it when `status` is a failure and there is nothing
  // in it for a repair.
  Status Close(Status status);

  uint64_t elapsed_ns() const {
    return std::max(video_.last_pts_ns, video_.first_pts_ns) - video_.first_pts_ns;
  }
  uint64_t media_bytes() const { return media_bytes_; }
  // The first failure sticks.
  Status Fail(Status status) {
    if (failure_.ok()) failure_ = std::move(status);
    return failure_;
  }

 private:
  Status PrepareSound(const std::vector<Mp4AudioTrack>& sound);
  void PrepareWebcam(std::shared_ptr<const Mp4WebcamTrack> webcam);
  void BuildHead(std::vector<uint8_t>& head);
  void BuildBlock(std::vector<uint8_t>& out) const;
  Status WriteBlock();
  Status Write(std::span<const uint8_t> bytes);
  Status Flush(FragmentTrack& track, size_t count);
  Status FlushWebcam(size_t count);
  void LatchWebcamStart();
  void EndWaitingSamples(uint64_t end_time_ns);
  Status FlushEverything();
  Status WriteIndex(const Extras& extras);

  std::string path_;
  OutputFile file_;
  Status failure_;
  uint64_t header_offset_ = 0;
  uint64_t write_position_ = 0;
  uint64_t media_bytes_ = 0;
  uint64_t fragments_written_ = 0;  // of the video
  uint32_t sequence_number_ = 0;
  std::vector<uint8_t> head_;  // of the fragment or the block being written

  PictureTrack video_;
  std::vector<SoundTrack> sound_;
  std::vector<std::optional<size_t>> sound_of_index_;  // the caller's index into `sound_`
  std::optional<WebcamTrack> webcam_;
};

Status Mp4Writer::Recording::Open(std::string_view path, const Mp4VideoTrack& video,
                                  const std::vector<Mp4AudioTrack>& sound,
                                  std::shared_ptr<const Mp4WebcamTrack> webcam) {
  if (Status status = PrepareSound(sound); !status.ok()) return status;
  PrepareWebcam(std::move(webcam));
  video_.format = video;
  video_.number = 1;
  video_.table.timescale = VideoTimescale(video.fps_num, video.fps_den);
  if (Status status = BuildConfiguration(video, video_.configuration); !status.ok()) return status;

  std::vector<uint8_t> head;
  BuildHead(head);
  path_ = path;
  if (!file_.Create(path_).ok()) return OpenFailure(path_);
  const Status written = Write(head);
  return written.ok() ? written : Close(written);
}

Status Mp4Writer::Recording::PrepareSound(const std::vector<Mp4AudioTrack>& sound) {
  for (const Mp4AudioTrack& format : sound) {
    const bool is_track = !format.config.empty() && format.sample_rate != 0 && format.channels != 0;
    sound_of_index_.push_back(is_track ? std::optional(sound_.size()) : std::nullopt);
    if (!is_track) continue;
    if (format.config.size() > kMaxAudioConfigBytes) return Refuse("AudioSpecificConfig too long");
    SoundTrack& track = sound_.emplace_back();
    track.format = format;
    track.number = static_cast<uint32_t>(sound_.size()) + 1;
    track.lists_sync = false;
    track.table.timescale = format.sample_rate;
  }
  return Status::Ok();
}

void Mp4Writer::Recording::PrepareWebcam(std::shared_ptr<const Mp4WebcamTrack> webcam) {
  if (webcam_ || webcam == nullptr || webcam->sequence_header.empty()) return;
  if (webcam->width == 0 || webcam->height == 0) return;
  VideoConfiguration configuration;
  if (!BuildConfiguration(*webcam, configuration).ok()) return;
  WebcamTrack& track = webcam_.emplace();
  track.format = *webcam;
  track.configuration = std::move(configuration);
  track.number = static_cast<uint32_t>(sound_.size()) + 2;
  track.table.timescale = VideoTimescale(webcam->fps_num, webcam->fps_den);
  track.source = std::move(webcam);
}

void Mp4Writer::Recording::BuildHead(std::vector<uint8_t>& head) {
  BuildFtyp(video_.configuration.sample_entry, head);
  header_offset_ = head.size();
  ByteWriter out(head);
  WriteLargeBoxHeader(out, FourCc("free"), kPlaceholderBytes);
  BuildBlock(head);
  MoovParts parts;
  parts.kind = MoovKind::FirstOfRecording;
  parts.video = &video_.format;
  parts.configuration = &video_.configuration;
  parts.video_table = &video_.table;
  (void)BuildMoov(parts, head);
}

void Mp4Writer::Recording::BuildBlock(std::vector<uint8_t>& out) const {
  RecoveryBlock block;
  block.video = video_.format;
  block.video_timescale = video_.table.timescale;
  for (const SoundTrack& track : sound_) {
    block.sound.push_back(track.format);
    if (!video_.begun) continue;
    auto& start = block.sound_starts.emplace_back();
    if (track.begun) start = static_cast<int64_t>(track.first_pts_ns - video_.first_pts_ns);
  }
  if (webcam_) {
    block.webcam = *webcam_->source;
    block.webcam_timescale = webcam_->table.timescale;
  }
  ByteWriter writer(out);
  WriteRecoveryBlock(writer, block);
}

Status Mp4Writer::Recording::WriteBlock() {
  head_.clear();
  BuildBlock(head_);
  return Write(head_);
}

Status Mp4Writer::Recording::Write(std::span<const uint8_t> bytes) {
  const FileResult written = file_.Write(bytes);
  if (!written.ok()) return Fail(WriteFailure(written));
  write_position_ += bytes.size();
  return Status::Ok();
}

Status Mp4Writer::Recording::AddVideo(const EncodedPacket& packet) {
  if (!failure_.ok()) return failure_;
  if (packet.dts != packet.pts) return ReorderedFailure();
  if (packet.data.size() > kMaxSampleBytes) return Refuse("video packet too large");
  const bool first = !video_.begun;
  if (!video_.TakeSample(packet)) return Status::Ok();
  const bool sound_waits = std::any_of(sound_.begin(), sound_.end(),
                                       [](const SoundTrack& track) { return track.begun; });
  if (first && sound_waits) {
    if (Status status = WriteBlock(); !status.ok()) return status;
  }
  return video_.IsFragmentFull() ? Flush(video_, video_.samples.size() - 1) : Status::Ok();
}

Status Mp4Writer::Recording::AddAudio(size_t index, const EncodedPacket& packet) {
  if (!failure_.ok()) return failure_;
  const auto bytes = packet.data.bytes();
  if (index >= sound_of_index_.size() || !sound_of_index_[index] || bytes.empty()) {
    return Status::Ok();
  }
  if (bytes.size() > kMaxSampleBytes) return Refuse("sound packet too large");
  SoundTrack& track = sound_[*sound_of_index_[index]];
  if (!track.begun) {
    track.begun = true;
    track.first_pts_ns = PtsOf(packet);
    if (video_.begun) {
      if (Status status = WriteBlock(); !status.ok()) return status;
    }
  }
  track.bytes.insert(track.bytes.end(), bytes.begin(), bytes.end());
  track.Push(bytes.size(), kAacFrameSamples, true);
  return track.ticks >= track.table.timescale ? Flush(track, track.samples.size()) : Status::Ok();
}

Status Mp4Writer::Recording::AddWebcam(const EncodedPacket& packet) {
  if (!failure_.ok()) return failure_;
  if (!webcam_ || packet.data.size() == 0 || packet.pts != packet.dts) return Status::Ok();
  if (!webcam_->begun && !packet.keyframe) return Status::Ok();
  if (packet.data.size() > kMaxSampleBytes) return Refuse("webcam packet too large");
  if (!webcam_->TakeSample(packet)) return Status::Ok();
  return webcam_->IsFragmentFull() ? FlushWebcam(webcam_->samples.size() - 1) : Status::Ok();
}

Status Mp4Writer::Recording::AttachWebcam(std::shared_ptr<const Mp4WebcamTrack> webcam) {
  if (!failure_.ok()) return failure_;
  if (webcam_) return Status::Ok();
  PrepareWebcam(std::move(webcam));
  return webcam_ ? WriteBlock() : Status::Ok();
}

// Writes the first `count` of the samples that wait. Two writes, straight to the
// system: a process that dies takes none of the fragment with it.
Status Mp4Writer::Recording::Flush(FragmentTrack& track, size_t count) {
  if (count == 0) return Status::Ok();
  const std::span<const FragmentSample> samples(track.samples.data(), count);
  head_.clear();
  ByteWriter out(head_);
  WriteFragmentHead(out, ++sequence_number_, track.number,
                    track.decode_start + track.table.duration, samples);
  size_t media_bytes = 0;
  for (const FragmentSample& sample : samples) media_bytes += sample.size;

  if (Status status = Write(head_); !status.ok()) return status;
  const uint64_t offset = write_position_;
  const std::span<const uint8_t> media(track.bytes.data(), media_bytes);
  if (Status status = Write(media); !status.ok()) return status;

  for (const FragmentSample& sample : samples) {
    track.table.AddSample(sample.size, sample.duration, sample.sync && track.lists_sync);
    track.ticks -= sample.duration;
  }
  track.table.AddChunk(static_cast<uint32_t>(count), offset);
  media_bytes_ += media_bytes;
  if (&track == &video_) ++fragments_written_;
  track.samples.erase(track.samples.begin(),
                      track.samples.begin() + static_cast<std::ptrdiff_t>(count));
  track.bytes.erase(track.bytes.begin(),
                    track.bytes.begin() + static_cast<std::ptrdiff_t>(media_bytes));
  return Status::Ok();
}

Status Mp4Writer::Recording::FlushWebcam(size_t count) {
  LatchWebcamStart();
  return Flush(*webcam_, count);
}

// The decode time of the webcam's first fragment is all that tells a repair when
// the webcam began.
void Mp4Writer::Recording::LatchWebcamStart() {
  if (webcam_->start_latched) return;
  webcam_->start_latched = true;
  if (!video_.begun || webcam_->first_pts_ns <= video_.first_pts_ns) return;
  webcam_->decode_start =
      Rescale(webcam_->first_pts_ns - video_.first_pts_ns, kNsPerSecond, webcam_->table.timescale);
}

void Mp4Writer::Recording::EndWaitingSamples(uint64_t end_time_ns) {
  const auto frame_end_ns = [](const PictureTrack& track, uint32_t default_fps) {
    return track.last_pts_ns +
           FramePeriodNs(track.format.fps_num, track.format.fps_den, default_fps);
  };
  video_.FinishWaiting(std::max(frame_end_ns(video_, kDefaultFps), end_time_ns));
  if (webcam_) webcam_->FinishWaiting(frame_end_ns(*webcam_, kDefaultWebcamFps));
}

Status Mp4Writer::Recording::FlushEverything() {
  Status status = Flush(video_, video_.samples.size());
  for (SoundTrack& track : sound_) {
    if (status.ok()) status = Flush(track, track.samples.size());
  }
  if (status.ok() && webcam_) status = FlushWebcam(webcam_->samples.size());
  return status;
}

Status Mp4Writer::Recording::WriteIndex(const Extras& extras) {
  if (extras.light) std::tie(video_.format.max_cll, video_.format.max_fall) = *extras.light;
  MoovParts parts;
  parts.video = &video_.format;
  parts.configuration = &video_.configuration;
  parts.video_table = &video_.table;
  for (SoundTrack& track : sound_) {
    const TrackStart start = StartOf(track, video_.first_pts_ns);
    // All of it lies before the first picture.
    if (start.cut >= track.table.duration) continue;
    parts.sound.push_back({&track.format, &track.table, start.cut, start.delay_ns});
  }
  if (webcam_ && !webcam_->table.empty()) {
    const TrackStart start = StartOf(*webcam_, video_.first_pts_ns);
    parts.webcam = WebcamEntry{&webcam_->format,
                               &webcam_->source->placement,
                               &webcam_->configuration,
                               &webcam_->table,
                               start.cut,
                               start.delay_ns};
  }
  parts.markers = extras.markers;
  parts.events = extras.events;
  parts.clip_start_ns = video_.first_pts_ns;
  parts.clip_end_ns = video_.last_pts_ns;
  parts.presses = &extras.presses;
  parts.captions = extras.captions;
  std::vector<uint8_t> moov;
  PatchChunkOffsets(parts, BuildMoov(parts, moov), moov);

  const FileResult appended = AppendIndex(file_, moov);
  if (!appended.ok()) return WriteFailure(appended);
  if (!WriteMediaHeader(file_, header_offset_, write_position_).ok()) {
    return {StatusCode::DriverError, "cannot finalise the mdat header"};
  }
  return Status::Ok();
}

Status Mp4Writer::Recording::Finish(const Extras& extras) {
  if (!failure_.ok()) return failure_;
  EndWaitingSamples(extras.end_time_ns);
  if (Status status = FlushEverything(); !status.ok()) return status;
  if (video_.table.empty()) return Refuse("no video samples were written");
  return WriteIndex(extras);
}

Status Mp4Writer::Recording::Close(Status status) {
  const FileResult closed = file_.Close();
  if (status.ok() && !closed.ok()) status = WriteFailure(closed);
  if (status.ok() || fragments_written_ > 0) return status;
  const FileResult removed = RemoveFile(path_);
  if (!removed.ok()) {
    LogWarning("cannot remove '%s': %s", path_.c_str(), removed.Text().c_str());
  }
  return status;
}

namespace {

// Runs what may run out of memory; the recording cannot go on after that, since a
// sample is missing from it.
template <class Recording, class Work>
Status Guarded(const std::unique_ptr<Recording>& recording, Work work) {
  if (recording == nullptr) return Refuse("not open");
  try {
    return work(*recording);
  } catch (const std::bad_alloc&) {
    return recording->Fail(OutOfMemoryFailure());
  }
}

}  // namespace

Mp4Writer::Mp4Writer() : extras_(std::make_unique<Extras>()) {}

Mp4Writer::~Mp4Writer() {
  try {
    (void)Finish();
  } catch (const std::bad_alloc&) {
    // The file stays as a crash would leave it, for the repair.
  }
}

Status Mp4Writer::Open(std::string_view path, const Mp4VideoTrack& video,
                       const std::vector<Mp4AudioTrack>& sound,
                       std::shared_ptr<const Mp4WebcamTrack> webcam) {
  if (recording_ != nullptr) return Refuse("already open");
  try {
    auto recording = std::make_unique<Recording>();
    Status status = recording->Open(path, video, sound, std::move(webcam));
    if (status.ok()) recording_ = std::move(recording);
    return status;
  } catch (const std::bad_alloc&) {
    return OutOfMemoryFailure();
  }
}

bool Mp4Writer::IsOpen() const {
  return recording_ != nullptr;
}

Status Mp4Writer::AddVideo(const EncodedPacket& packet) {
  return Guarded(recording_, [&](Recording& recording) { return recording.AddVideo(packet); });
}

Status Mp4Writer::AddAudio(size_t track, const EncodedPacket& packet) {
  return Guarded(recording_,
                 [&](Recording& recording) { return recording.AddAudio(track, packet); });
}

Status Mp4Writer::AddWebcam(const EncodedPacket& packet) {
  return Guarded(recording_, [&](Recording& recording) { return recording.AddWebcam(packet); });
}

Status Mp4Writer::AttachWebcam(std::shared_ptr<const Mp4WebcamTrack> webcam) {
  return Guarded(recording_,
                 [&](Recording& recording) { return recording.AttachWebcam(std::move(webcam)); });
}

void Mp4Writer::AddMarker(uint64_t time_ns, std::string_view label) {
  extras_->markers.push_back({time_ns, std::string(label)});
}

void Mp4Writer::AddEvent(Mp4GameEvent event) {
  extras_->events.push_back(std::move(event));
}

void Mp4Writer::SetPresses(Mp4Presses presses) {
  extras_->presses = std::move(presses);
}

void Mp4Writer::SetCaptions(std::string captions) {
  extras_->captions = std::move(captions);
}

void Mp4Writer::SetEndTime(uint64_t time_ns) {
  extras_->end_time_ns = time_ns;
}

void Mp4Writer::SetContentLight(uint16_t max_cll, uint16_t max_fall) {
  extras_->light = {max_cll, max_fall};
}

uint64_t Mp4Writer::ElapsedNs() const {
  return recording_ != nullptr ? recording_->elapsed_ns() : last_elapsed_ns_;
}

uint64_t Mp4Writer::SizeOnDisk() const {
  return recording_ != nullptr ? recording_->media_bytes() : last_size_;
}

Status Mp4Writer::Finish() {
  if (recording_ == nullptr) return Status::Ok();
  Status status =
      Guarded(recording_, [&](Recording& recording) { return recording.Finish(*extras_); });
  status = recording_->Close(std::move(status));
  last_elapsed_ns_ = recording_->elapsed_ns();
  last_size_ = recording_->media_bytes();
  recording_.reset();
  *extras_ = {};
  return status;
}

}  // namespace orventa
