#include "mp4/clip_plan.h"

#include <algorithm>

#include "base/clock.h"
#include "base/rescale.h"
#include "mp4/annexb.h"
#include "mp4/failures.h"
#include "mp4/sample_entries.h"

namespace orventa {
namespace {

constexpr uint64_t kWebcamBudgetShare = 8;

Status Refuse(const char* why) {
  return {StatusCode::InvalidArgument, why};
}

// Turns the packets of a picture track into samples. A sample gets its duration
// when the next one is known, so that a packet that is left out lengthens the
// sample before it and nothing behind it moves.
class PictureWalk {
 public:
  PictureWalk(const Mp4VideoTrack& track, const std::vector<BufferedPacket>& packets,
              uint64_t read_budget, PlannedTrack& out)
      : out_(out), budget_left_(read_budget) {
    out_.packets = &packets;
    out_.codec = track.codec;
    out_.converts = NeedsConversion(track);
    out_.table.timescale = VideoTimescale(track.fps_num, track.fps_den);
  }

  // False when packets are reordered. Ends quietly at a packet that cannot be
  // read: what came before stands.
  bool Walk(size_t first_packet, uint64_t frame_period_ns) {
    const auto& packets = *out_.packets;
    out_.table.Reserve(packets.size() - first_packet);
    out_.samples.reserve(packets.size() - first_packet);
    for (size_t i = first_packet; i < packets.size(); ++i) {
      if (packets[i].dts != packets[i].pts) return false;
      PlannedSample sample;
      sample.packet = static_cast<uint32_t>(i);
      uint64_t size = 0;
      if (!Measure(packets[i], sample, size) || size > UINT32_MAX) break;
      if (size == 0) continue;
      FinishWaiting(packets[i].pts);
      waiting_size_ = static_cast<uint32_t>(size);
      out_.samples.push_back(std::move(sample));
    }
    if (!out_.samples.empty()) FinishWaiting(Waiting().pts + frame_period_ns);
    return true;
  }

 private:
  const BufferedPacket& Waiting() const { return (*out_.packets)[out_.samples.back().packet]; }

  void FinishWaiting(uint64_t next_pts_ns) {
    if (out_.samples.empty()) {
      out_.first_pts_ns = next_pts_ns;
      return;
    }
    const BufferedPacket& packet = Waiting();
    out_.last_pts_ns = packet.pts;
    out_.table.AddSample(
        waiting_size_,
        DurationBetween(out_.first_pts_ns, packet.pts, next_pts_ns, out_.table.timescale),
        packet.keyframe);
  }

  // False when the packet cannot be read.
  bool Measure(const BufferedPacket& packet, PlannedSample& sample, uint64_t& size) {
    if (!out_.converts) {
      size = packet.Size();
      return true;
    }
    Payload loaded;
    if (packet.deferred) {
      loaded = packet.Load();
      if (!loaded) return false;
    }
    const Payload& payload = packet.deferred ? loaded : packet.payload;
    const SampleLayout layout = MeasureSample(payload.bytes(), out_.codec);
    size = layout.size;
    if (packet.deferred) {
      if (loaded.size() > budget_left_) return true;
      budget_left_ -= loaded.size();
      sample.held = std::move(loaded);
    }
    if (layout.units == 1 && layout.first_unit < PlannedSample::kScan) {
      sample.unit_position = static_cast<uint32_t>(layout.first_unit);
    }
    return true;
  }

  PlannedTrack& out_;
  uint64_t budget_left_;
  uint32_t waiting_size_ = 0;
};

Status PlanVideo(const Mp4Movie& movie, PlannedTrack& out) {
  const Mp4VideoTrack& track = movie.video;
  PictureWalk walk(track, movie.packets, movie.read_budget, out);
  if (!walk.Walk(0, FramePeriodNs(track.fps_num, track.fps_den, kDefaultFps))) {
    return ReorderedFailure();
  }
  return out.table.empty() ? Refuse("no decodable video samples") : Status::Ok();
}

void PlanWebcam(const Mp4Movie& movie, uint64_t first_video_ns, std::optional<PlannedWebcam>& out) {
  if (movie.webcam == nullptr || movie.webcam_packets.empty()) return;
  const Mp4WebcamTrack& track = *movie.webcam;
  if (track.width == 0 || track.height == 0) return;
  PlannedWebcam webcam;
  if (!BuildConfiguration(track, webcam.configuration).ok()) return;

  const auto& packets = movie.webcam_packets;
  const auto key = std::find_if(packets.begin(), packets.end(),
                                [](const BufferedPacket& packet) { return packet.keyframe; });
  if (key == packets.end()) return;
  PictureWalk walk(track, packets, movie.read_budget / kWebcamBudgetShare, webcam.track);
  if (!walk.Walk(static_cast<size_t>(key - packets.begin()),
                 FramePeriodNs(track.fps_num, track.fps_den, kDefaultWebcamFps))) {
    return;
  }
  if (webcam.track.table.empty()) return;

  const uint64_t first_ns = webcam.track.first_pts_ns;
  if (first_video_ns > first_ns) {
    webcam.track.cut =
        Rescale(first_video_ns - first_ns, kNsPerSecond, webcam.track.table.timescale);
  } else {
    webcam.track.delay_ns = first_ns - first_video_ns;
  }
  out = std::move(webcam);
}

// Which packets of a sound track become samples. Every sample lasts exactly one
// AAC frame, so neither a gap nor an overlap may shift what follows.
class SoundWalk {
 public:
  SoundWalk(const Mp4SoundTrack& sound, uint64_t first_video_ns, PlannedTrack& out)
      : packets_(sound.packets),
        rate_(sound.format.sample_rate),
        first_video_ns_(first_video_ns),
        frame_ns_(kAacFrameSamples * kNsPerSecond / rate_),
        half_ns_(kAacFrameSamples / 2 * kNsPerSecond / rate_),
        out_(out) {
    out_.packets = &packets_;
    out_.table.timescale = rate_;
  }

  // False when nothing of the track is heard in the clip.
  bool Walk() {
    size_t i = 0;
    while (i < packets_.size() && !(IsSample(i) && packets_[i].pts + frame_ns_ > first_video_ns_)) {
      ++i;
    }
    if (i == packets_.size()) return false;
    SetStart(packets_[i].pts);
    for (; i < packets_.size(); ++i) {
      if (IsSample(i)) Add(i);
    }
    return out_.cut < out_.table.duration;
  }

 private:
  bool IsSample(size_t i) const {
    const uint64_t size = packets_[i].Size();
    if (size == 0 || size > UINT32_MAX) return false;
    return i + 1 == packets_.size() || packets_[i + 1].pts >= packets_[i].pts + half_ns_;
  }

  void SetStart(uint64_t pts_ns) {
    out_.first_pts_ns = pts_ns;
    if (pts_ns >= first_video_ns_) {
      out_.delay_ns = pts_ns - first_video_ns_;
    } else {
      out_.cut = Rescale(first_video_ns_ - pts_ns, kNsPerSecond, rate_);
    }
  }

  void Add(size_t i) {
    PlannedSample sample;
    sample.packet = static_cast<uint32_t>(i);
    out_.samples.push_back(std::move(sample));
    out_.last_pts_ns = packets_[i].pts;
    out_.table.AddSample(static_cast<uint32_t>(packets_[i].Size()), kAacFrameSamples, false);
  }

  const std::vector<BufferedPacket>& packets_;
  uint32_t rate_;
  uint64_t first_video_ns_;
  uint64_t frame_ns_;
  uint64_t half_ns_;
  PlannedTrack& out_;
};

Status PlanSound(const Mp4SoundTrack& sound, uint64_t first_video_ns,
                 std::vector<PlannedSound>& out) {
  if (sound.format.config.empty() || sound.format.sample_rate == 0) return Status::Ok();
  if (sound.format.config.size() > kMaxAudioConfigBytes) {
    return Refuse("AudioSpecificConfig too long");
  }
  PlannedSound planned;
  planned.format = &sound.format;
  if (SoundWalk(sound, first_video_ns, planned.track).Walk()) out.push_back(std::move(planned));
  return Status::Ok();
}

template <class Visit>
void ForEachTrack(ClipPlan& plan, Visit visit) {
  visit(plan.video);
  for (PlannedSound& sound : plan.sound) visit(sound.track);
  if (plan.webcam) visit(plan.webcam->track);
}

}  // namespace

Status PlanClip(const Mp4Movie& movie, ClipPlan& plan) {
  if (movie.packets.empty()) return Refuse("no video packets to write");
  if (movie.video.width == 0 || movie.video.height == 0) return Refuse("zero track dimensions");
  Status status = BuildConfiguration(movie.video, plan.configuration);
  if (status.ok()) status = PlanVideo(movie, plan.video);
  for (const Mp4SoundTrack& sound : movie.sound) {
    if (!status.ok()) return status;
    status = PlanSound(sound, plan.video.first_pts_ns, plan.sound);
  }
  if (!status.ok()) return status;
  PlanWebcam(movie, plan.video.first_pts_ns, plan.webcam);
  ForEachTrack(plan, [](PlannedTrack& track) { track.table.CutIntoChunks(); });
  return Status::Ok();
}

std::vector<PlannedChunk> WriteOrder(ClipPlan& plan) {
  size_t rounds = 0;
  ForEachTrack(plan,
               [&](PlannedTrack& track) { rounds = std::max(rounds, track.table.chunks.size()); });
  std::vector<PlannedChunk> order;
  for (size_t index = 0; index < rounds; ++index) {
    ForEachTrack(plan, [&](PlannedTrack& track) {
      if (index < track.table.chunks.size()) order.push_back({&track, index});
    });
  }
  return order;
}

}  // namespace orventa
