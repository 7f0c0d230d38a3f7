#include "video/status_board.h"

#include "base/clock.h"

namespace orventa {
namespace {

// Packets may be late by the encoder's depth and a stutter; beyond this plus a few
// frames nothing is being recorded, whatever the pipeline believes.
constexpr uint64_t kPacketsLateNs = 2 * kNsPerSecond;
constexpr uint64_t kPacketsLateFrames = 4;

}  // namespace

bool StatusBoard::IsCapturing(uint64_t now_ns) const {
  const uint64_t at = newest_packet_at_ns_.load(std::memory_order_acquire);
  if (at == kNoPacket) return false;
  // The packet may be younger than the caller's reading of the clock.
  return now_ns <= at || now_ns - at <= kPacketsLateNs + kPacketsLateFrames * interval_ns_;
}

EngineSnapshot StatusBoard::Read(uint64_t now_ns) const {
  EngineSnapshot copy;
  {
    MutexLock lock(mutex_);
    copy = record_;
  }
  copy.capturing = IsCapturing(now_ns);
  copy.microphone_drops = sound_levels_.drops();
  return copy;
}

void StatusBoard::ClearLive() {
  sound_levels_.Clear();
  Update([](EngineSnapshot& record) {
    record.width = record.height = record.fps = 0;
    record.source_width = record.source_height = 0;
    record.encoder_backend.clear();
    record.bitrate_kbps = record.max_bitrate_kbps = 0;
    record.rate_control.clear();
    record.codec.clear();
    record.ten_bit = record.hdr = record.hdr_output = false;
    record.microphone = false;
    record.microphone_trouble.clear();
    record.sound_devices.reset();
  });
}

void StatusBoard::ClearTarget() {
  Update([](EngineSnapshot& record) {
    record.target_description.clear();
    record.target_name.clear();
    record.target_path.clear();
    record.target_window = 0;
    record.target_is_window = false;
    record.target_custom_settings = false;
  });
}

void StatusBoard::SetError(const Status& status) {
  Update([&](EngineSnapshot& record) { record.last_error = status.message(); });
}

}  // namespace orventa
