#include "mp4/recovery_block.h"

#include <algorithm>
#include <array>

#include "mp4/fixed_point.h"
#include "mp4/sample_entries.h"

namespace orventa {
namespace {

// Versions, by what each brought.
constexpr uint32_t kWithBrightness = 2;
constexpr uint32_t kWithChromaticity = 3;
constexpr uint32_t kWithWebcam = 4;
constexpr uint32_t kWithPlacementExtras = 5;
constexpr uint32_t kWithTimescales = 6;
constexpr uint32_t kNewest = kWithTimescales;

// How much of a webcam is told.
enum class WebcamLevel : uint32_t { None = 0, Placement = 1, Extras = 2 };

constexpr uint32_t kMillion = 1'000'000;
constexpr uint32_t kShapes = 3;
// A track in the block takes at least its rate, channels and length.
constexpr size_t kMinSoundBytes = 12;
// `voic` has a bit for so many.
constexpr size_t kMaxVoiceTracks = 32;
constexpr size_t kMinTagBytes = 8;
constexpr uint32_t kVoiceTag = FourCc("voic");
constexpr uint32_t kStartsTag = FourCc("strt");
constexpr size_t kStartBytes = 12;

// The two sides of the block's description: every field as 32 bits.
class BlockWriter {
 public:
  explicit BlockWriter(ByteWriter& out) : out_(out) {}

  void U32(uint32_t value) { out_.U32(value); }
  template <class Enum>
  void Choice(Enum value) {
    out_.U32(static_cast<uint32_t>(value));
  }
  void Bool(bool value) { out_.U32(value ? 1 : 0); }
  void Fraction(float value, uint32_t parts) { out_.U32(FractionIn(value, parts)); }
  void Nits(float value) { out_.U32(WholeNits(value)); }
  void SmallNits(float value) { out_.U32(NearestTenThousandths(value)); }
  void List(const std::vector<uint8_t>& bytes) {
    out_.U32(static_cast<uint32_t>(bytes.size()));
    out_.Bytes(bytes);
  }

 private:
  ByteWriter& out_;
};

class BlockReader {
 public:
  explicit BlockReader(ByteReader& in) : in_(in) {}

  void U32(uint32_t& value) { value = in_.U32(); }
  template <class Enum>
  void Choice(Enum& value) {
    value = static_cast<Enum>(in_.U32());
  }
  void Bool(bool& value) { value = in_.U32() != 0; }
  void Fraction(float& value, uint32_t parts) { value = FractionOf(in_.U32(), parts); }
  void Nits(float& value) { value = static_cast<float>(in_.U32()); }
  void SmallNits(float& value) { value = OfTenThousandths(in_.U32()); }
  void List(std::vector<uint8_t>& bytes) {
    const auto found = in_.Bytes(in_.U32());
    bytes.assign(found.begin(), found.end());
  }

 private:
  ByteReader& in_;
};

template <class Io, class Track>
void DescribeFormat(Io& io, Track& track) {
  io.Choice(track.codec);
  io.U32(track.width);
  io.U32(track.height);
  io.U32(track.fps_num);
  io.U32(track.fps_den);
  io.U32(track.bit_depth);
  io.Choice(track.primaries);
  io.Choice(track.transfer);
  io.Choice(track.matrix);
  io.Bool(track.full_range);
}

template <class Io, class Track>
void DescribeBrightness(Io& io, Track& track, uint32_t version) {
  if (version < kWithBrightness) return;
  io.Nits(track.mastering_max_nits);
  io.Nits(track.sdr_white_nits);
  if (version < kWithChromaticity) return;
  for (auto& value : track.chromaticity) io.Fraction(value, kChromaticityParts);
  io.SmallNits(track.mastering_min_nits);
}

template <class Io, class Track>
void DescribeSound(Io& io, Track& track) {
  io.U32(track.sample_rate);
  io.U32(track.channels);
  io.List(track.config);
}

template <class Io, class Placement>
void DescribePlace(Io& io, Placement& placement) {
  io.Fraction(placement.x, kMillion);
  io.Fraction(placement.y, kMillion);
  io.Fraction(placement.width, kMillion);
  io.Fraction(placement.height, kMillion);
}

// What follows the flags.
template <class Io, class Placement>
void DescribeExtras(Io& io, Placement& placement) {
  io.Fraction(placement.crop_x, kMillion);
  io.Fraction(placement.crop_y, kMillion);
  io.Fraction(placement.crop_width, kMillion);
  io.Fraction(placement.crop_height, kMillion);
  io.Fraction(placement.radius, kMillion);
  io.Fraction(placement.border, kMillion);
  io.U32(placement.shape);
  io.U32(placement.border_color);
}

WebcamLevel LevelOf(const std::optional<Mp4WebcamTrack>& webcam) {
  if (!webcam) return WebcamLevel::None;
  const WebcamPlacement& placement = webcam->placement;
  const bool whole_picture = placement.crop_x == 0 && placement.crop_y == 0 &&
                             placement.crop_width == 1 && placement.crop_height == 1;
  const bool extras = placement.flip_horizontal || placement.flip_vertical || !whole_picture ||
                      placement.shape != 0 || placement.border > 0;
  return extras ? WebcamLevel::Extras : WebcamLevel::Placement;
}

uint32_t VersionOf(const RecoveryBlock& block, WebcamLevel level) {
  if (block.video_timescale != kMovieTimescale) return kWithTimescales;
  if (block.webcam && block.webcam_timescale != kMovieTimescale) return kWithTimescales;
  if (level == WebcamLevel::Extras) return kWithPlacementExtras;
  return level == WebcamLevel::Placement ? kWithWebcam : kWithChromaticity;
}

void WriteWebcam(ByteWriter& out, const Mp4WebcamTrack& webcam, WebcamLevel level) {
  BlockWriter io(out);
  DescribeFormat(io, webcam);
  io.List(webcam.sequence_header);
  DescribePlace(io, webcam.placement);
  if (level != WebcamLevel::Extras) return;
  WebcamPlacement placement = webcam.placement;
  placement.shape = placement.shape < kShapes ? placement.shape : 0;
  placement.border_color &= 0xFFFFFF;
  io.U32((placement.flip_horizontal ? WebcamOverlay::kFlipHorizontal : 0u) |
         (placement.flip_vertical ? WebcamOverlay::kFlipVertical : 0u));
  DescribeExtras(io, placement);
}

void WriteTags(ByteWriter& out, const RecoveryBlock& block) {
  uint32_t voices = 0;
  for (size_t i = 0; i < std::min(block.sound.size(), kMaxVoiceTracks); ++i) {
    if (block.sound[i].voice) voices |= 1u << i;
  }
  if (voices != 0) {
    out.U32(kVoiceTag);
    out.U32(voices);
  }
  if (block.sound_starts.empty()) return;
  out.U32(kStartsTag);
  out.U32(static_cast<uint32_t>(block.sound_starts.size()));
  for (const auto& start : block.sound_starts) {
    out.U32(start ? 1 : 0);
    out.U64(static_cast<uint64_t>(start.value_or(0)));
  }
}

Status Damaged() {
  return {StatusCode::InvalidArgument, "recovery block is damaged"};
}

// False when the block does not hold them, or they cannot be of a track.
bool ReadSound(ByteReader& in, std::vector<Mp4AudioTrack>& sound) {
  const uint32_t count = in.U32();
  if (count > in.remaining() / kMinSoundBytes) return false;
  sound.resize(count);
  BlockReader io(in);
  for (Mp4AudioTrack& track : sound) {
    DescribeSound(io, track);
    // No writer of ours lets a longer one in, and no index could hold it.
    if (track.config.size() > kMaxAudioConfigBytes) return false;
    if (track.sample_rate == 0 || track.channels == 0) return false;
  }
  return !in.failed();
}

void ReadWebcam(ByteReader& in, Mp4WebcamTrack& webcam, WebcamLevel level) {
  BlockReader io(in);
  DescribeFormat(io, webcam);
  io.List(webcam.sequence_header);
  WebcamPlacement& placement = webcam.placement;
  DescribePlace(io, placement);
  if (level != WebcamLevel::Extras) return;
  const uint32_t flags = in.U32();
  placement.flip_horizontal = (flags & WebcamOverlay::kFlipHorizontal) != 0;
  placement.flip_vertical = (flags & WebcamOverlay::kFlipVertical) != 0;
  DescribeExtras(io, placement);
  if (placement.shape >= kShapes) placement.shape = 0;
  placement.border_color &= 0xFFFFFF;
}

WebcamLevel ReadLevel(ByteReader& in, uint32_t version) {
  if (version >= kWithTimescales) return static_cast<WebcamLevel>(in.U32());
  if (version >= kWithPlacementExtras) return WebcamLevel::Extras;
  return version >= kWithWebcam ? WebcamLevel::Placement : WebcamLevel::None;
}

void ReadStarts(ByteReader& in, RecoveryBlock& block) {
  block.sound_starts.resize(block.sound.size());
  for (auto& start : block.sound_starts) {
    const bool known = in.U32() == 1;
    const auto offset = static_cast<int64_t>(in.U64());
    if (known) start = offset;
  }
}

// Ends at what it does not know: a newer build may say more.
void ReadTags(ByteReader& in, RecoveryBlock& block) {
  while (in.remaining() >= kMinTagBytes) {
    const uint32_t tag = in.U32();
    const uint32_t value = in.U32();
    if (tag == kVoiceTag) {
      for (size_t i = 0; i < std::min(block.sound.size(), kMaxVoiceTracks); ++i) {
        block.sound[i].voice = (value >> i & 1) != 0;
      }
    } else if (tag == kStartsTag && value == block.sound.size() &&
               value <= in.remaining() / kStartBytes) {
      ReadStarts(in, block);
    } else {
      return;
    }
  }
}

}  // namespace

void WriteRecoveryBlock(ByteWriter& out, const RecoveryBlock& block) {
  const WebcamLevel level = LevelOf(block.webcam);
  const uint32_t version = VersionOf(block, level);
  BoxScope box(out, FourCc("uuid"));
  out.Bytes(kRecoveryUuid);
  out.U32(version);
  BlockWriter io(out);
  DescribeFormat(io, block.video);
  DescribeBrightness(io, block.video, version);
  io.List(block.video.sequence_header);
  out.U32(static_cast<uint32_t>(block.sound.size()));
  for (const Mp4AudioTrack& track : block.sound) DescribeSound(io, track);
  if (version >= kWithTimescales) io.Choice(level);
  if (block.webcam) WriteWebcam(out, *block.webcam, level);
  if (version >= kWithTimescales) {
    out.U32(block.video_timescale);
    if (block.webcam) out.U32(block.webcam_timescale);
  }
  WriteTags(out, block);
}

Status ReadRecoveryBlock(std::span<const uint8_t> body, RecoveryBlock& block) {
  ByteReader in(body);
  const uint32_t version = in.U32();
  if (version < 1 || version > kNewest) {
    return {StatusCode::InvalidArgument, "recovery block is from a newer build"};
  }
  BlockReader io(in);
  DescribeFormat(io, block.video);
  DescribeBrightness(io, block.video, version);
  io.List(block.video.sequence_header);
  if (!ReadSound(in, block.sound)) return Damaged();
  const WebcamLevel level = ReadLevel(in, version);
  if (level > WebcamLevel::Extras) return Damaged();
  if (level != WebcamLevel::None) ReadWebcam(in, block.webcam.emplace(), level);
  if (version >= kWithTimescales) {
    block.video_timescale = in.U32();
    if (block.webcam) block.webcam_timescale = in.U32();
  }
  if (in.failed() || block.video_timescale == 0 || block.webcam_timescale == 0) return Damaged();
  ReadTags(in, block);
  return Status::Ok();
}

}  // namespace orventa
