// Small movies, and payloads that lie elsewhere.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mp4/mp4.h"

namespace orventa::test {

inline constexpr uint64_t kMs = 1'000'000;
// Clips begin somewhere in a session, never at its start.
inline constexpr uint64_t kStart = 5'000 * kMs;

std::vector<uint8_t> Hex(std::string_view text);  // spaces are passed over

// A packet in memory.
BufferedPacket Packet(std::vector<uint8_t> bytes, uint64_t pts_ns, bool keyframe = false);
// One slice of H.264 in Annex B whose bytes depend on `seed`, without zeros.
std::vector<uint8_t> Slice(size_t payload_bytes, uint32_t seed, bool key);
// What the slice becomes in a file.
std::vector<uint8_t> LengthPrefixed(const std::vector<uint8_t>& slice);

// 1280 x 720 H.264 at a rate, with `frames` frames and a keyframe every 30.
Mp4Movie VideoMovie(size_t frames, uint32_t fps_num = 60, uint32_t fps_den = 1);
// AAC-like packets, one every 1024 samples of 48 kHz.
Mp4SoundTrack Sound(uint64_t first_pts_ns, size_t frames);
Mp4WebcamTrack Webcam();

std::vector<uint8_t> ReadFile(const std::string& path);  // throws when it cannot
void WriteFile(const std::string& path, const std::vector<uint8_t>& bytes);

// Payloads that lie elsewhere, with knobs.
class FakeDeferred : public IDeferredPayloads {
 public:
  Payload Read(uint64_t index) override;
  uint64_t Size(uint64_t index) const override;

  std::vector<std::vector<uint8_t>> rows;
  std::vector<uint32_t> reads;      // per row, how often it was read
  uint64_t fail_from = UINT64_MAX;  // rows from here on cannot be read
  uint32_t fail_after_reads = UINT32_MAX;
  uint32_t total_reads = 0;
};
// Moves the payloads of all packets into one.
template <class Kind = FakeDeferred>
std::shared_ptr<Kind> Defer(std::vector<BufferedPacket>& packets) {
  auto deferred = std::make_shared<Kind>();
  for (BufferedPacket& packet : packets) {
    const auto bytes = packet.payload.bytes();
    packet.deferred = deferred;
    packet.deferred_index = deferred->rows.size();
    deferred->rows.emplace_back(bytes.begin(), bytes.end());
    packet.payload = {};
  }
  deferred->reads.resize(deferred->rows.size());
  return deferred;
}

}  // namespace orventa::test
