// The replay history: what a packet costs in time and memory, what a snapshot of an
// hour costs, and how much memory a save from a long history on disk takes.
#include <malloc.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "base/clock.h"
#include "benchmarks/bench.h"
#include "video/clip_saver.h"
#include "video/replay_buffer.h"

namespace orventa::bench {
namespace {

constexpr uint32_t kFps = 60;
constexpr uint32_t kHourSeconds = 3600;
constexpr uint32_t kHourPackets = kHourSeconds * kFps;
// Few enough that the packets of a batch are as warm as those that an encoder has
// just made.
constexpr uint32_t kBatch = kFps;

uint64_t PtsOf(uint64_t frame) {
  return frame * (kNsPerSecond / kFps);
}

EncodedPacket MakePacket(uint64_t frame, size_t size) {
  EncodedPacket packet;
  packet.data = Payload::Allocate(size);
  std::memset(packet.data.mutable_bytes().data(), 0x55, size);
  packet.pts = packet.dts = static_cast<int64_t>(PtsOf(frame));
  packet.keyframe = frame % kFps == 0;
  return packet;
}

std::shared_ptr<ReplayBuffer> HourOfHistory() {
  ReplayBufferOptions options;
  options.seconds = kHourSeconds;
  return ReplayBuffer::Create(options);
}

// Sizes from 200 to 2000 bytes, so that the allocator's rounding counts as it does
// for real packets.
size_t SizeOf(uint64_t frame) {
  return 200 + frame * 7919 % 1801;
}

uint64_t HeapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

// Nanoseconds an append takes; the packets are made beforehand.
double AppendBatch(ReplayBuffer& history, uint64_t first_frame) {
  std::vector<EncodedPacket> packets;
  packets.reserve(kBatch);
  for (uint32_t i = 0; i < kBatch; ++i) {
    packets.push_back(MakePacket(first_frame + i, SizeOf(first_frame + i)));
  }
  const double start = Seconds();
  for (EncodedPacket& packet : packets) history.Append(std::move(packet));
  return (Seconds() - start) * 1e9 / kBatch;
}

double SnapshotMs(ReplayBuffer& history) {
  std::vector<BufferedPacket> packets;
  const double start = Seconds();
  history.Snapshot(kHourSeconds, packets, PayloadAccess::Later);
  const double ms = (Seconds() - start) * 1e3;
  if (packets.size() < kHourPackets - kFps) std::abort();
  return ms;
}

std::vector<Row> MeasureMemory() {
  std::vector<Row> rows;
  auto history = HourOfHistory();
  const uint64_t heap_before = HeapBytes();
  std::vector<double> append_ns;
  uint64_t frame = 0;
  uint64_t payload_bytes = 0;
  for (; frame < kHourPackets; frame += kBatch) {
    append_ns.push_back(AppendBatch(*history, frame));
    for (uint32_t i = 0; i < kBatch; ++i) payload_bytes += SizeOf(frame + i);
  }
  const double overhead =
      static_cast<double>(HeapBytes() - heap_before) - static_cast<double>(payload_bytes);
  // As long again, with an old packet going for every new one.
  for (; frame < 2 * kHourPackets; frame += kBatch)
    append_ns.push_back(AppendBatch(*history, frame));
  std::vector<double> snapshot_ms;
  for (int i = 0; i < 9; ++i) snapshot_ms.push_back(SnapshotMs(*history));
  rows.push_back({"history.append_ns", Median(append_ns)});
  rows.push_back({"history.snapshot_hour_ms", Median(snapshot_ms)});
  rows.push_back({"history.overhead_bytes_per_packet", overhead / kHourPackets});
  return rows;
}

// Parameter sets of a 1280x720 stream; the writer reads no more of them than this.
const std::vector<uint8_t> kSequenceHeader = {0,    0,    0,    1,    0x67, 0x42, 0xC0, 0x1F, 0xDA,
                                              0x01, 0x40, 0x16, 0xE9, 0xA8, 0x08, 0x08, 0x0A, 0,
                                              0,    0,    1,    0x68, 0xCE, 0x3C, 0x80};

EncodedPacket MakeAccessUnit(uint64_t frame, size_t size) {
  EncodedPacket packet = MakePacket(frame, size);
  const uint8_t start[5] = {0, 0, 0, 1, static_cast<uint8_t>(packet.keyframe ? 0x65 : 0x41)};
  std::memcpy(packet.data.mutable_bytes().data(), start, sizeof(start));
  return packet;
}

// Ten minutes at 20 Mbit/s: 1.5 GB.
std::vector<Row> MeasureSave() {
  constexpr uint32_t kSeconds = 600;
  constexpr size_t kFrameBytes = 41'667;
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / "orventa-history-bench";
  std::filesystem::remove_all(folder);
  double growth = 0;
  {
    ClipSources sources;
    ReplayBufferOptions options;
    options.seconds = kSeconds;
    options.max_bytes = uint64_t{1} << 40U;
    options.directory = (folder / "ring").string();
    sources.history = ReplayBuffer::Create(options);
    for (uint32_t frame = 0; frame < kSeconds * kFps; ++frame) {
      sources.history->Append(MakeAccessUnit(frame, kFrameBytes));
    }
    sources.seconds = kSeconds;
    sources.video.width = 1280;
    sources.video.height = 720;
    sources.video.sequence_header = kSequenceHeader;
    sources.config.storage.replay.directory = (folder / "clips").string();

    const auto clock = MakeSystemClock();
    SavedClip saved;
    const PeakMemory peak;
    const Status status = SaveClip(sources, KnownFolders(), *clock, saved);
    growth = peak.GrowthMb();
    if (!status.ok()) {
      std::fprintf(stderr, "history bench: %s\n", status.ToString().c_str());
      std::abort();
    }
  }
  std::filesystem::remove_all(folder);
  return {{"history.save_disk_peak_mb", growth}};
}

std::vector<Row> Measure() {
  std::vector<Row> rows = MeasureSave();
  const std::vector<Row> memory = MeasureMemory();
  rows.insert(rows.end(), memory.begin(), memory.end());
  return rows;
}

const Register kHistory("history", Measure);

}  // namespace
}  // namespace orventa::bench
