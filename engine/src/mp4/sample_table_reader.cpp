#include "mp4/sample_table_reader.h"

#include <algorithm>
#include <optional>
#include <string>

#include "base/clock.h"
#include "base/rescale.h"
#include "mp4/box_reader.h"

namespace orventa {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr size_t kFullBoxBytes = 4;  // version and flags
// Far beyond every media, so that differences with it fit into 64 bits.
constexpr uint64_t kMaxCut = uint64_t{1} << 62;

// A list of rows of equal size after version, flags and count. Rows that the body
// does not hold are not there, whatever the count says.
class Rows {
 public:
  Rows(Bytes body, size_t row_bytes) : row_bytes_(row_bytes) {
    ByteReader in(body);
    in.Skip(kFullBoxBytes);
    const uint32_t count = in.U32();
    count_ = std::min<size_t>(count, in.remaining() / row_bytes);
    rows_ = in.Bytes(count_ * row_bytes);
  }
  size_t count() const { return count_; }
  ByteReader operator[](size_t row) const {
    return ByteReader(rows_.subspan(row * row_bytes_, row_bytes_));
  }

 private:
  size_t row_bytes_;
  size_t count_ = 0;
  Bytes rows_;
};

Bytes BodyOf(Bytes stbl, uint32_t type) {
  const auto box = FindBox(stbl, type);
  return box ? box->body : Bytes();
}

Status ReadSizes(Bytes stsz, SampleBudget& budget, std::vector<Mp4Sample>& samples) {
  ByteReader in(stsz);
  in.Skip(kFullBoxBytes);
  const uint32_t common_size = in.U32();
  const uint32_t count = in.U32();
  const bool listed = common_size == 0;
  if (in.failed() || (listed && count > in.remaining() / sizeof(uint32_t))) {
    return RefuseFile("the sample size table is short");
  }
  if (Status status = budget.Take(count); !status.ok()) return status;
  samples.reserve(count);
  for (uint32_t i = 0; i < count; ++i) {
    Mp4Sample sample;
    sample.size = listed ? in.U32() : common_size;
    samples.push_back(sample);
  }
  return Status::Ok();
}

// Which samples lie in which chunk: runs of chunks with equally many.
class ChunkRuns {
 public:
  explicit ChunkRuns(Bytes stsc) : rows_(stsc, 12) { Load(); }

  // For chunks in ascending order.
  void MoveTo(uint32_t chunk) {
    while (next_ < rows_.count() && next_first_ <= chunk) {
      ByteReader row = rows_[next_];
      row.Skip(4);
      samples_ = row.U32();
      description_ = row.U32();
      ++next_;
      Load();
    }
  }
  uint32_t samples() const { return samples_; }
  uint32_t description() const { return description_; }

 private:
  void Load() {
    if (next_ < rows_.count()) next_first_ = rows_[next_].U32();
  }

  Rows rows_;
  size_t next_ = 0;
  uint32_t next_first_ = 0;
  uint32_t samples_ = 0;
  uint32_t description_ = 1;
};

Status PlaceSamples(Bytes stbl, uint64_t file_bytes, std::vector<Mp4Sample>& samples,
                    bool& single_description) {
  const auto co64 = FindBox(stbl, FourCc("co64"));
  const size_t offset_bytes = co64 ? sizeof(uint64_t) : sizeof(uint32_t);
  const Rows chunks(co64 ? co64->body : BodyOf(stbl, FourCc("stco")), offset_bytes);
  ChunkRuns runs(BodyOf(stbl, FourCc("stsc")));
  size_t next = 0;
  for (size_t chunk = 0; chunk < chunks.count() && next < samples.size(); ++chunk) {
    runs.MoveTo(static_cast<uint32_t>(chunk + 1));
    uint64_t offset = co64 ? chunks[chunk].U64() : chunks[chunk].U32();
    const size_t end = next + std::min<size_t>(runs.samples(), samples.size() - next);
    if (end > next && runs.description() != 1) single_description = false;
    for (; next < end; ++next) {
      if (offset > file_bytes || samples[next].size > file_bytes - offset) {
        return RefuseFile("the file ends before its last sample");
      }
      samples[next].offset = offset;
      offset += samples[next].size;
    }
  }
  if (next < samples.size()) return RefuseFile("the chunk table does not cover every sample");
  return Status::Ok();
}

// Calls `set(sample, value)` by runs of (samples, value). The last run's value goes
// on where the runs end too early, as players do it.
template <class Set>
void ExpandRuns(Bytes body, std::vector<Mp4Sample>& samples, Set set) {
  const Rows runs(body, 8);
  size_t next = 0;
  uint32_t value = 0;
  for (size_t run = 0; run < runs.count() && next < samples.size(); ++run) {
    ByteReader row = runs[run];
    const uint32_t count = row.U32();
    value = row.U32();
    const size_t end = next + std::min<size_t>(count, samples.size() - next);
    for (; next < end; ++next) set(samples[next], value);
  }
  for (; next < samples.size(); ++next) set(samples[next], value);
}

void MarkSyncSamples(Bytes stbl, std::vector<Mp4Sample>& samples) {
  const auto stss = FindBox(stbl, FourCc("stss"));
  if (!stss) {
    for (Mp4Sample& sample : samples) sample.sync = true;
    return;
  }
  const Rows numbers(stss->body, 4);
  for (size_t row = 0; row < numbers.count(); ++row) {
    const uint32_t number = numbers[row].U32();
    if (number >= 1 && number <= samples.size()) samples[number - 1].sync = true;
  }
}

}  // namespace

Status RefuseFile(std::string_view why) {
  return {StatusCode::InvalidArgument, std::string(why)};
}

Status SampleBudget::Take(uint64_t samples) {
  if (samples > samples_left_ || samples > bytes_left_ / kLeastBytes) {
    return RefuseFile("the sample table is implausibly long");
  }
  samples_left_ -= samples;
  bytes_left_ -= samples * kLeastBytes;
  return Status::Ok();
}

Status SampleBudget::TakeBytes(std::span<const Mp4Sample> samples) {
  for (const Mp4Sample& sample : samples) {
    const uint64_t more = sample.size > kLeastBytes ? sample.size - kLeastBytes : 0;
    if (more > bytes_left_) return RefuseFile("the sample table is implausibly long");
    bytes_left_ -= more;
  }
  return Status::Ok();
}

Status ReadSampleTables(Bytes stbl, SampleBudget& budget, Mp4Samples& track,
                        bool& single_description) {
  single_description = true;
  auto& samples = track.samples;
  Status status = ReadSizes(BodyOf(stbl, FourCc("stsz")), budget, samples);
  if (status.ok()) status = PlaceSamples(stbl, budget.file_bytes(), samples, single_description);
  if (status.ok()) status = budget.TakeBytes(samples);
  if (!status.ok()) return status;

  uint64_t time = 0;
  ExpandRuns(BodyOf(stbl, FourCc("stts")), samples, [&time](Mp4Sample& sample, uint32_t duration) {
    sample.decode_time = time;
    sample.duration = duration;
    time += duration;
  });
  // Signed in every version: version 0 has it unsigned, and is written with
  // negative offsets all the same.
  if (const auto ctts = FindBox(stbl, FourCc("ctts"))) {
    ExpandRuns(ctts->body, samples, [](Mp4Sample& sample, uint32_t offset) {
      sample.composition_offset = static_cast<int32_t>(offset);
    });
    FindReordering(track);
  }
  MarkSyncSamples(stbl, samples);
  return Status::Ok();
}

void ReadEditList(Bytes elst, uint32_t movie_timescale, Mp4Samples& track) {
  ByteReader head(elst);
  const uint8_t version = head.U8();
  head.Skip(3);
  const uint32_t count = head.U32();
  FieldReader fields(elst.subspan(head.position()));
  bool found = false;
  for (uint32_t i = 0; i < count; ++i) {
    EditListEntry entry;
    EditListEntry::Describe(entry, fields, version);
    if (!fields.ok()) return;
    if (found) {
      track.more_edits = true;
      return;
    }
    const uint64_t segment_ns = TicksToNs(entry.segment_duration, movie_timescale);
    if (entry.media_time < 0) {
      track.delay_ns = std::min(track.delay_ns + segment_ns, kMaxSeconds * kNsPerSecond);
      continue;
    }
    found = true;
    track.cut = std::min(static_cast<uint64_t>(entry.media_time), kMaxCut);
    track.segment_ns = segment_ns;
  }
}

void FindReordering(Mp4Samples& track) {
  const auto& samples = track.samples;
  track.reordered = std::any_of(samples.begin(), samples.end(), [&](const Mp4Sample& sample) {
    return sample.composition_offset != samples.front().composition_offset;
  });
}

uint64_t TicksToNs(uint64_t ticks, uint32_t timescale) {
  return Rescale(std::min(ticks, kMaxSeconds * timescale), timescale, kNsPerSecond);
}

}  // namespace orventa
