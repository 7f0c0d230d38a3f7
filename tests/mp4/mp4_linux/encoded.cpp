#include "tests/mp4/mp4_linux/encoded.h"

#include "mp4/annexb.h"
#include "tests/mp4/clip_fixture.h"

namespace orventa::test {
namespace {

using Bytes = std::vector<uint8_t>;

// A frame of 30 a second.
BufferedPacket Frame(Bytes bytes, size_t index, bool key) {
  return Packet(std::move(bytes), kStart + index * 1000 * kMs / 30, key);
}

uint64_t Leb128(const Bytes& bytes, size_t& at) {
  uint64_t value = 0;
  for (uint32_t shift = 0;; shift += 7) {
    const uint8_t byte = bytes.at(at++);
    value |= static_cast<uint64_t>(byte & 0x7F) << shift;
    if (byte < 0x80) return value;
  }
}

}  // namespace

std::string Probe(const std::string& file, const std::string& stream, const std::string& entries) {
  std::string text = Shell("ffprobe -v error -of csv=p=0 -select_streams " + stream +
                           " -show_entries " + entries + " " + file);
  if (text.ends_with(',')) text.pop_back();  // a section that has no entries asked for
  return text;
}

Mp4Movie MovieOf(Mp4Codec codec) {
  Mp4Movie movie;
  movie.video.codec = codec;
  movie.video.width = 320;
  movie.video.height = 180;
  movie.video.fps_num = 30;
  return movie;
}

void AddFrames(const Bytes& stream, Mp4Movie& movie) {
  Bytes frame;
  AnnexBUnits units(stream);
  for (std::span<const uint8_t> unit; units.Next(unit);) {
    frame.insert(frame.end(), {0, 0, 0, 1});
    frame.insert(frame.end(), unit.begin(), unit.end());
    const bool hevc = movie.video.codec == Mp4Codec::Hevc;
    const uint32_t type = hevc ? HevcUnitType(unit) : H264UnitType(unit);
    const bool parameter_set = hevc ? type >= 32 && type <= 34 : type == 7 || type == 8;
    if (parameter_set && movie.packets.empty()) movie.video.sequence_header = frame;
    const bool slice = hevc ? type < 32 : type == 1 || type == 5;
    if (!slice) continue;
    const bool key = hevc ? type >= 16 : type == 5;
    movie.packets.push_back(Frame(std::move(frame), movie.packets.size(), key));
    frame.clear();
  }
}

void AddTemporalUnits(const Bytes& stream, Mp4Movie& movie) {
  Bytes unit;
  bool key = false;
  const auto close = [&] {
    if (!unit.empty()) movie.packets.push_back(Frame(unit, movie.packets.size(), key));
    unit.clear();
    key = false;
  };
  for (size_t at = 0; at < stream.size();) {
    const size_t start = at;
    const uint32_t type = (stream[at++] >> 3) & 15u;
    const uint64_t size = Leb128(stream, at);
    at += size;
    const Bytes obu(stream.begin() + static_cast<std::ptrdiff_t>(start),
                    stream.begin() + static_cast<std::ptrdiff_t>(at));
    if (type == 2) {
      close();
      continue;
    }
    if (type == 1) {
      key = true;
      if (movie.video.sequence_header.empty()) movie.video.sequence_header = obu;
    }
    unit.insert(unit.end(), obu.begin(), obu.end());
  }
  close();
}

Mp4SoundTrack SoundOf(const Bytes& adts, uint64_t first_pts_ns) {
  Mp4SoundTrack sound = Sound(0, 0);
  for (size_t at = 0; at < adts.size();) {
    const size_t size =
        (adts[at + 3] & 3u) << 11 | static_cast<size_t>(adts[at + 4]) << 3 | adts[at + 5] >> 5;
    const uint64_t pts = first_pts_ns + sound.packets.size() * 1024 * 1000 * kMs / 48000;
    sound.packets.push_back(Packet({adts.begin() + static_cast<std::ptrdiff_t>(at + 7),
                                    adts.begin() + static_cast<std::ptrdiff_t>(at + size)},
                                   pts));
    at += size;
  }
  return sound;
}

}  // namespace orventa::test
