#include "mp4/moov_reader.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <optional>
#include <string_view>

#include "mp4/box_reader.h"
#include "mp4/sample_entry_reader.h"
#include "mp4/user_data_reader.h"

namespace orventa {
namespace {

using Bytes = std::span<const uint8_t>;

// A track's boxes, before it is known what the track is for.
struct TrackParts {
  uint32_t track_id = 0;
  uint32_t timescale = 0;
  uint32_t handler = 0;
  std::string_view name;
  Bytes elst;
  Bytes stbl;
};

Bytes BodyAt(Bytes parent, uint32_t type) {
  const auto box = FindBox(parent, type);
  return box ? box->body : Bytes();
}

template <class Box>
Box HeaderIn(Bytes parent) {
  Box box;
  (void)ReadBox(BodyAt(parent, Box::kType), box);  // what is missing is 0
  return box;
}

TrackParts ReadTrackParts(Bytes trak) {
  TrackParts parts;
  parts.track_id = HeaderIn<TrackHeader>(trak).track_id;
  parts.elst = BodyAt(BodyAt(trak, FourCc("edts")), FourCc("elst"));
  const Bytes mdia = BodyAt(trak, FourCc("mdia"));
  parts.timescale = HeaderIn<MediaHeader>(mdia).timescale;
  ByteReader hdlr(BodyAt(mdia, FourCc("hdlr")));
  hdlr.Skip(8);
  parts.handler = hdlr.U32();
  hdlr.Skip(12);
  const Bytes name = hdlr.Bytes(hdlr.remaining());
  parts.name = {reinterpret_cast<const char*>(name.data()), name.size()};
  parts.name = parts.name.substr(0, parts.name.find('\0'));
  parts.stbl = BodyAt(BodyAt(mdia, FourCc("minf")), FourCc("stbl"));
  return parts;
}

class MoovReader {
 public:
  MoovReader(SampleBudget& budget, ReadMoovResult& out)
      : budget_(budget), out_(out), movie_(out.contents.movie) {}

  Status Read(Bytes moov) {
    BoxReader boxes(moov);
    for (BoxView box; boxes.Next(box);) {
      if (box.type == FourCc("mvex")) ReadMovieExtends(box.body);
      if (box.type == FourCc("udta")) ReadUserData(box.body, movie_, webcam_);
      if (box.type != FourCc("trak")) continue;
      TrackParts parts = ReadTrackParts(box.body);
      if (parts.timescale == 0) return RefuseFile("a track has no timescale");
      const bool in_use = parts.handler == kVideoHandler || parts.handler == kSoundHandler;
      if (in_use) tracks_.push_back(parts);
    }
    movie_timescale_ = HeaderIn<MovieHeader>(moov).timescale;
    if (movie_timescale_ == 0) return RefuseFile("the movie has no timescale");

    Status status = FindVideo();
    if (status.ok()) status = FindWebcam();
    if (status.ok()) status = FindSound();
    return status;
  }

 private:
  void ReadMovieExtends(Bytes mvex) {
    out_.fragmented = true;
    BoxReader boxes(mvex);
    for (BoxView box; boxes.Next(box);) {
      if (box.type != FourCc("trex")) continue;
      ByteReader in(box.body);
      in.Skip(4);
      TrackExtends extends;
      extends.track_id = in.U32();
      in.Skip(4);  // description
      extends.default_sample_duration = in.U32();
      extends.default_sample_size = in.U32();
      extends.default_sample_flags = in.U32();
      if (!in.failed()) out_.extends.push_back(extends);
    }
  }

  bool IsWebcam(const TrackParts& parts) const {
    return webcam_ && parts.handler == kVideoHandler && parts.track_id == webcam_->track_id;
  }

  static SampleEntries EntriesOf(const TrackParts& parts) {
    return ReadSampleEntries(BodyAt(parts.stbl, FourCc("stsd")));
  }

  Status ReadSamples(const TrackParts& parts, Mp4Samples& samples, bool& single_description) {
    samples.track_id = parts.track_id;
    samples.timescale = parts.timescale;
    ReadEditList(parts.elst, movie_timescale_, samples);
    return ReadSampleTables(parts.stbl, budget_, samples, single_description);
  }

  // Reads the samples, and the rate by them.
  Status ReadPictures(const TrackParts& parts, const SampleEntries& entries, Mp4VideoTrack& track,
                      Mp4Samples& samples) {
    bool single_description = true;
    Status status = ReadSamples(parts, samples, single_description);
    if (!status.ok()) return status;
    if (!single_description && entries.count > 1) {
      return RefuseFile("the video changes its format on the way");
    }
    FindRate(samples, track);
    return Status::Ok();
  }

  Status ReadVideo(const TrackParts& parts) {
    const SampleEntries entries = EntriesOf(parts);
    Mp4VideoTrack track;
    Mp4Samples samples;
    Status status = ReadVideoEntry(entries.first, track);
    if (status.ok()) status = ReadPictures(parts, entries, track, samples);
    if (!status.ok()) return status;
    if (samples.samples.empty() && !out_.fragmented) return RefuseFile("the video track is empty");
    movie_.video = std::move(track);
    out_.contents.video = std::move(samples);
    return Status::Ok();
  }

  // The first picture track that can be read; when none can, the first one's trouble.
  Status FindVideo() {
    Status trouble = RefuseFile("the file has no video track");
    bool tried = false;
    for (const TrackParts& parts : tracks_) {
      if (parts.handler != kVideoHandler || IsWebcam(parts)) continue;
      Status status = ReadVideo(parts);
      if (status.ok()) return status;
      if (!tried) trouble = std::move(status);
      tried = true;
    }
    return trouble;
  }

  // A webcam whose form is not known is left out; one whose samples cannot be
  // trusted means that the file cannot.
  Status FindWebcam() {
    const auto parts = std::find_if(tracks_.begin(), tracks_.end(),
                                    [this](const TrackParts& track) { return IsWebcam(track); });
    if (parts == tracks_.end()) return Status::Ok();
    auto track = std::make_shared<Mp4WebcamTrack>();
    track->placement = webcam_->placement;
    const SampleEntries entries = EntriesOf(*parts);
    if (!ReadVideoEntry(entries.first, *track).ok()) return Status::Ok();
    Mp4Samples samples;
    Status status = ReadPictures(*parts, entries, *track, samples);
    if (!status.ok()) return status;
    if (samples.samples.empty() && !out_.fragmented) return Status::Ok();
    movie_.webcam = std::move(track);
    out_.contents.webcam = std::move(samples);
    return Status::Ok();
  }

  Status FindSound() {
    for (const TrackParts& parts : tracks_) {
      if (parts.handler != kSoundHandler) continue;
      if (Status status = AddSound(parts); !status.ok()) return status;
    }
    return Status::Ok();
  }

  Status AddSound(const TrackParts& parts) {
    const SampleEntries entries = EntriesOf(parts);
    Mp4SoundTrack sound;
    if (!entries.one_type || !ReadSoundEntry(entries.first, sound.format)) {
      out_.contents.sound_left_out = true;
      return Status::Ok();
    }
    Mp4Samples samples;
    bool single_description = true;
    Status status = ReadSamples(parts, samples, single_description);
    if (!status.ok()) return status;
    if (samples.samples.empty() && !out_.fragmented) return Status::Ok();
    if (!single_description && entries.count > 1) {
      out_.contents.sound_left_out = true;
      return Status::Ok();
    }
    if (sound.format.sample_rate == 0) sound.format.sample_rate = parts.timescale;
    sound.format.voice = parts.name == kVoiceName;
    movie_.sound.push_back(std::move(sound));
    out_.contents.sound.push_back(std::move(samples));
    return status;
  }

  SampleBudget& budget_;
  ReadMoovResult& out_;
  Mp4Movie& movie_;
  uint32_t movie_timescale_ = 0;
  std::vector<TrackParts> tracks_;
  std::optional<WebcamMention> webcam_;
};

// How long samples are for the most part.
struct UsualDuration {
  uint32_t ticks = 0;  // the one that more than half of all samples have; 0: none
  // Samples of that duration, or of one tick more or less, and their sum.
  uint64_t near_samples = 0;
  uint64_t near_ticks = 0;
  // Some are a tick off, since the timescale cannot say a frame's length.
  bool rounded = false;
};

UsualDuration FindUsualDuration(const std::vector<Mp4Sample>& samples) {
  UsualDuration usual;
  uint64_t lead = 0;
  for (const Mp4Sample& sample : samples) {
    if (lead == 0) usual.ticks = sample.duration;
    sample.duration == usual.ticks ? ++lead : --lead;
  }
  uint64_t exact = 0;
  for (const Mp4Sample& sample : samples) {
    if (sample.duration == usual.ticks) ++exact;
    if (sample.duration + uint64_t{1} < usual.ticks) continue;
    if (sample.duration > usual.ticks + uint64_t{1}) continue;
    ++usual.near_samples;
    usual.near_ticks += sample.duration;
  }
  // One in ten: a single last sample of another length says nothing.
  usual.rounded = (usual.near_samples - exact) * 10 > samples.size();
  if (exact <= samples.size() / 2) usual.ticks = 0;
  return usual;
}

struct Rate {
  uint64_t num = 0;
  uint64_t den = 0;
};

// A mean as whole frames, as whole ones by 1.001, or in thousandths.
Rate NamedRate(double fps) {
  constexpr uint32_t kParts = 1000;
  constexpr double kLeast = 0.001;
  constexpr double kMost = 1'000'000;
  constexpr double kNtsc = 1.001;
  const double told = std::clamp(fps, kLeast, kMost);
  const double ntsc = std::round(told * kNtsc);
  if (std::abs(told - std::round(told)) >= kLeast && std::abs(told - ntsc / kNtsc) < kLeast) {
    return {static_cast<uint64_t>(ntsc) * kParts, kParts + 1};
  }
  return {static_cast<uint64_t>(std::llround(told * kParts)), kParts};
}

Rate MeanRate(uint64_t samples, uint64_t ticks, uint32_t timescale) {
  if (ticks == 0) return {};
  return NamedRate(static_cast<double>(samples) * timescale / static_cast<double>(ticks));
}

}  // namespace

Status ReadMoov(Bytes moov, SampleBudget& budget, ReadMoovResult& out) {
  return MoovReader(budget, out).Read(moov);
}

void FindRate(const Mp4Samples& samples, Mp4VideoTrack& track) {
  const UsualDuration usual = FindUsualDuration(samples.samples);
  Rate rate = {samples.timescale, usual.ticks};
  if (usual.ticks == 0) {
    rate = MeanRate(samples.samples.size(), samples.Duration(), samples.timescale);
  } else if (usual.rounded) {
    rate = MeanRate(usual.near_samples, usual.near_ticks, samples.timescale);
  }
  if (rate.num == 0 || rate.den == 0) return;
  const uint64_t common = std::gcd(rate.num, rate.den);
  track.fps_num = static_cast<uint32_t>(rate.num / common);
  track.fps_den = static_cast<uint32_t>(rate.den / common);
}

}  // namespace orventa
