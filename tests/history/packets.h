// Packets for the tests of the history: small payloads that tell which packet they
// belong to.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "video/replay_buffer.h"

namespace orventa {

inline constexpr uint64_t kSecond = 1'000'000'000;

// The packet's time at the front, and one byte that follows from it behind.
inline Payload PatternPayload(uint64_t pts, size_t size) {
  Payload payload = Payload::Allocate(size);
  const std::span<uint8_t> bytes = payload.mutable_bytes();
  std::fill(bytes.begin(), bytes.end(), static_cast<uint8_t>(pts / 1'000'003));
  for (size_t i = 0; i < std::min<size_t>(size, 8); ++i) {
    bytes[i] = static_cast<uint8_t>(pts >> (i * 8));
  }
  return payload;
}

inline bool HasPattern(const Payload& payload, uint64_t pts, size_t size) {
  if (!payload || payload.size() != size) return false;
  const Payload expected = PatternPayload(pts, size);
  return std::equal(payload.bytes().begin(), payload.bytes().end(), expected.bytes().begin());
}

inline EncodedPacket MakePacket(uint64_t pts, bool keyframe, size_t size = 100) {
  EncodedPacket packet;
  packet.data = PatternPayload(pts, size);
  packet.pts = packet.dts = static_cast<int64_t>(pts);
  packet.keyframe = keyframe;
  return packet;
}

// `seconds` groups of one second, four packets each, from `start` on.
inline void AppendSeconds(ReplayBuffer& history, uint64_t start, uint32_t seconds,
                          size_t size = 100) {
  for (uint32_t i = 0; i < seconds * 4; ++i) {
    history.Append(MakePacket(start + i * (kSecond / 4), i % 4 == 0, size));
  }
}

inline std::vector<uint64_t> TimesOf(const std::vector<BufferedPacket>& packets) {
  std::vector<uint64_t> times;
  for (const BufferedPacket& packet : packets) times.push_back(packet.pts);
  return times;
}

inline std::vector<uint64_t> HeldTimes(ReplayBuffer& history) {
  std::vector<BufferedPacket> packets;
  history.Snapshot(1'000'000, packets, PayloadAccess::Later);
  return TimesOf(packets);
}

}  // namespace orventa
