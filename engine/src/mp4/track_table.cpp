#include "mp4/track_table.h"

#include <algorithm>
#include <numeric>

#include "base/bytes.h"
#include "base/clock.h"
#include "base/rescale.h"

namespace orventa {
namespace {

constexpr uint64_t kTimescaleLimit = 298262;

}  // namespace

void TrackTable::Reserve(size_t samples) {
  sizes.reserve(samples);
}

void TrackTable::AddSample(uint32_t size, uint32_t sample_duration, bool sync) {
  sizes.push_back(size);
  if (durations.empty() || durations.back().duration != sample_duration) {
    durations.push_back({0, sample_duration});
  }
  ++durations.back().samples;
  duration += sample_duration;
  if (sync) sync_samples.push_back(static_cast<uint32_t>(sizes.size()));
}

void TrackTable::CutIntoChunks() {
  chunks.clear();
  TrackChunk chunk;
  uint64_t ticks = 0;
  const auto close = [&] {
    chunks.push_back(chunk);
    chunk = {0, chunk.first_sample + chunk.samples};
    ticks = 0;
  };
  for (const DurationRun& run : durations) {
    for (uint32_t i = 0; i < run.samples; ++i) {
      ++chunk.samples;
      ticks += run.duration;
      if (ticks >= timescale) close();
    }
  }
  if (chunk.samples > 0) close();
}

void TrackTable::AddChunk(uint32_t samples, uint64_t offset) {
  TrackChunk chunk;
  chunk.samples = samples;
  chunk.first_sample = sizes.size() - samples;
  chunk.offset = offset;
  chunks.push_back(chunk);
}

uint64_t TrackTable::ChunkBytes(const TrackChunk& chunk) const {
  const auto first = sizes.begin() + static_cast<std::ptrdiff_t>(chunk.first_sample);
  return std::accumulate(first, first + chunk.samples, uint64_t{0});
}

uint64_t TrackTable::MediaBytes() const {
  return std::accumulate(sizes.begin(), sizes.end(), uint64_t{0});
}

void TrackTable::PatchOffsets(std::vector<uint8_t>& moov) const {
  ByteWriter out(moov);
  for (const auto& chunk : chunks) out.PatchU64(chunk.co64_position, chunk.offset);
}

uint32_t VideoTimescale(uint32_t fps_num, uint32_t fps_den) {
  if (fps_num == 0 || fps_den == 0) return kMovieTimescale;
  const uint64_t n = fps_num / std::gcd(fps_num, fps_den);
  const uint64_t multiple = (kMovieTimescale + n - 1) / n * n;
  return multiple < kTimescaleLimit ? static_cast<uint32_t>(multiple) : kMovieTimescale;
}

uint64_t FramePeriodNs(uint32_t fps_num, uint32_t fps_den, uint32_t default_fps) {
  if (fps_num == 0) return Rescale(1, default_fps, kNsPerSecond);
  return Rescale(std::max(fps_den, 1u), fps_num, kNsPerSecond);
}

uint32_t DurationBetween(uint64_t first_ns, uint64_t a_ns, uint64_t b_ns, uint32_t timescale) {
  const auto ticks = [&](uint64_t time_ns) {
    return time_ns > first_ns ? Rescale(time_ns - first_ns, kNsPerSecond, timescale) : 0;
  };
  const uint64_t a = ticks(a_ns);
  const uint64_t b = ticks(b_ns);
  const uint64_t difference = b > a ? b - a : 0;
  return static_cast<uint32_t>(std::clamp<uint64_t>(difference, 1, UINT32_MAX));
}

}  // namespace orventa
