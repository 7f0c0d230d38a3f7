#include "tests/mp4/clip_fixture.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace orventa::test {

std::vector<uint8_t> Hex(std::string_view text) {
  std::vector<uint8_t> bytes;
  std::string digits;
  for (const char c : text) {
    if (c == ' ') continue;
    digits += c;
    if (digits.size() < 2) continue;
    bytes.push_back(static_cast<uint8_t>(std::stoul(digits, nullptr, 16)));
    digits.clear();
  }
  return bytes;
}

BufferedPacket Packet(std::vector<uint8_t> bytes, uint64_t pts_ns, bool keyframe) {
  BufferedPacket packet;
  packet.payload = Payload::Copy(bytes);
  packet.pts = pts_ns;
  packet.dts = pts_ns;
  packet.keyframe = keyframe;
  return packet;
}

std::vector<uint8_t> Slice(size_t payload_bytes, uint32_t seed, bool key) {
  std::vector<uint8_t> bytes = {0, 0, 0, 1, static_cast<uint8_t>(key ? 0x65 : 0x41)};
  for (size_t i = 0; i < payload_bytes; ++i) {
    bytes.push_back(static_cast<uint8_t>(1 + (seed * 31 + i * 7) % 255));
  }
  return bytes;
}

std::vector<uint8_t> LengthPrefixed(const std::vector<uint8_t>& slice) {
  const size_t size = slice.size() - 4;
  std::vector<uint8_t> bytes = slice;
  bytes[2] = static_cast<uint8_t>(size / 256);
  bytes[3] = static_cast<uint8_t>(size % 256);
  return bytes;
}

Mp4Movie VideoMovie(size_t frames, uint32_t fps_num, uint32_t fps_den) {
  Mp4Movie movie;
  movie.video.width = 1280;
  movie.video.height = 720;
  movie.video.fps_num = fps_num;
  movie.video.fps_den = fps_den;
  movie.video.sequence_header = Hex("00000001 6764001FAC 000001 68EE3C80");
  for (size_t i = 0; i < frames; ++i) {
    const uint64_t pts = kStart + i * 1'000'000'000 * fps_den / fps_num;
    const bool key = i % 30 == 0;
    movie.packets.push_back(Packet(Slice(20 + i % 50, static_cast<uint32_t>(i), key), pts, key));
  }
  return movie;
}

Mp4SoundTrack Sound(uint64_t first_pts_ns, size_t frames) {
  Mp4SoundTrack sound;
  sound.format.config = Hex("1190");
  for (size_t i = 0; i < frames; ++i) {
    const std::vector<uint8_t> bytes(8 + i % 5, static_cast<uint8_t>(i));
    sound.packets.push_back(Packet(bytes, first_pts_ns + i * 1024 * 1'000'000'000 / 48000));
  }
  return sound;
}

Mp4WebcamTrack Webcam() {
  Mp4WebcamTrack webcam;
  static_cast<Mp4VideoTrack&>(webcam) = VideoMovie(0).video;
  webcam.width = 640;
  webcam.height = 360;
  webcam.fps_num = 30;
  webcam.placement.x = 0.75f;
  webcam.placement.y = 0.5f;
  webcam.placement.width = 0.25f;
  webcam.placement.height = 0.125f;
  return webcam;
}

std::vector<uint8_t> ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path);
}

Payload FakeDeferred::Read(uint64_t index) {
  if (index >= rows.size() || index >= fail_from || total_reads >= fail_after_reads) return {};
  ++total_reads;
  ++reads[index];
  return Payload::Copy(rows[index]);
}

uint64_t FakeDeferred::Size(uint64_t index) const {
  return index < rows.size() ? rows[index].size() : 0;
}

}  // namespace orventa::test
