#include "mp4/repair_plan.h"

#include <algorithm>
#include <optional>

#include "base/clock.h"
#include "base/rescale.h"
#include "mp4/box_reader.h"
#include "mp4/fragment.h"
#include "mp4/moov.h"
#include "mp4/recording_layout.h"
#include "mp4/recovery_block.h"

namespace orventa {
namespace {

Status Refuse(const char* why) {
  return {StatusCode::InvalidArgument, why};
}

// What the top level says, apart from the fragments' samples.
struct Survey {
  std::optional<uint64_t> placeholder;
  std::optional<std::vector<uint8_t>> block;  // the last one's bytes behind its type
  bool has_fragments = false;
  uint64_t end = 0;  // of the last whole box
};

bool IsFragmentHead(const FileBox& box) {
  return box.type == FourCc("moof") && box.size < kMaxMoofBytes;
}

Status KeepBlock(FileBoxReader& boxes, const FileBox& box, Survey& survey) {
  const uint64_t head_bytes = box.header_bytes + kRecoveryUuid.size();
  if (box.size <= head_bytes || box.size >= kMaxRecoveryBlockBytes) return Status::Ok();
  std::span<const uint8_t> bytes;
  if (Status status = boxes.View(box.offset, box.size, bytes); !status.ok()) return status;
  bytes = bytes.subspan(head_bytes);
  survey.block.emplace(bytes.begin(), bytes.end());
  return Status::Ok();
}

Status LookOver(IByteSource& source, Survey& survey) {
  FileBoxReader boxes(source, source.Size(), OpenBox::Damage);
  for (FileBox box; boxes.Next(box);) {
    switch (box.type) {
      case FourCc("free"):
        if (!survey.placeholder && box.size == kPlaceholderBytes) survey.placeholder = box.offset;
        break;
      case FourCc("uuid"):
        if (!boxes.IsUuid(kRecoveryUuid)) break;
        if (Status status = KeepBlock(boxes, box, survey); !status.ok()) return status;
        break;
      case FourCc("mdat"):
      case FourCc("moov"):
        if (!survey.placeholder) return Refuse("already finished");
        break;
      default: survey.has_fragments = survey.has_fragments || IsFragmentHead(box);
    }
  }
  survey.end = boxes.end_of_whole();
  if (!boxes.status().ok()) return boxes.status();
  if (!survey.placeholder || !survey.block) {
    return Refuse("not an interrupted ORVENTA recording");
  }
  return survey.has_fragments ? Status::Ok() : Refuse("nothing was recorded");
}

// The tables of what survived, track by track.
struct Survivors {
  TrackTable video;
  std::vector<TrackTable> sound;
  TrackTable webcam;
  uint64_t webcam_start = 0;  // in its timescale

  explicit Survivors(const RecoveryBlock& block) : sound(block.sound.size()) {
    video.timescale = block.video_timescale;
    webcam.timescale = block.webcam_timescale;
    for (size_t i = 0; i < sound.size(); ++i) sound[i].timescale = block.sound[i].sample_rate;
  }

  // Null for a number that no track has.
  TrackTable* TableOf(uint32_t track_number, bool has_webcam) {
    if (track_number == 1) return &video;
    if (track_number < 2) return nullptr;
    const size_t index = track_number - 2;
    if (index < sound.size()) return &sound[index];
    return has_webcam && index == sound.size() ? &webcam : nullptr;
  }
};

// Enters a fragment that lies whole before `end`.
void Take(const FragmentHead& fragment, uint64_t moof_offset, uint64_t end, TrackTable& table,
          bool lists_sync) {
  const int64_t first = static_cast<int64_t>(moof_offset) + fragment.data_offset;
  const uint64_t bytes = fragment.MediaBytes();
  if (first < 0 || static_cast<uint64_t>(first) > end ||
      bytes > end - static_cast<uint64_t>(first)) {
    return;
  }
  for (const FragmentSample& sample : fragment.samples) {
    table.AddSample(sample.size, sample.duration, sample.sync && lists_sync);
  }
  table.AddChunk(static_cast<uint32_t>(fragment.samples.size()), static_cast<uint64_t>(first));
}

// A hole, where a fragment is not whole or not of any track, ends nothing.
Status CollectFragments(IByteSource& source, const RecoveryBlock& block, uint64_t end,
                        Survivors& survivors) {
  FileBoxReader boxes(source, end, OpenBox::Damage);
  FragmentHead fragment;
  for (FileBox box; boxes.Next(box);) {
    if (!IsFragmentHead(box)) continue;
    std::span<const uint8_t> moof;
    if (Status status = boxes.View(box.offset, box.size, moof); !status.ok()) return status;
    if (!ReadFragmentHead(moof, fragment) || fragment.samples.empty()) continue;
    TrackTable* table = survivors.TableOf(fragment.track_number, block.webcam.has_value());
    if (table == nullptr) continue;
    const bool is_webcam = table == &survivors.webcam;
    const bool is_first = table->empty();
    Take(fragment, box.offset, end, *table, is_webcam || table == &survivors.video);
    if (is_webcam && is_first && !table->empty()) survivors.webcam_start = fragment.decode_time;
  }
  return boxes.status();
}

SoundEntry EntryOf(const RecoveryBlock& block, size_t index, const TrackTable& video,
                   TrackTable& table) {
  SoundEntry entry{&block.sound[index], &table, 0, 0};
  if (index >= block.sound_starts.size() || !block.sound_starts[index]) return entry;
  const int64_t start_ns = *block.sound_starts[index];
  const auto distance_ns = start_ns < 0 ? uint64_t{0} - static_cast<uint64_t>(start_ns)
                                        : static_cast<uint64_t>(start_ns);
  if (start_ns < 0) {
    entry.cut = Rescale(distance_ns, kNsPerSecond, table.timescale);
    if (entry.cut >= table.duration) entry.cut = 0;
  } else if (distance_ns < Rescale(video.duration, video.timescale, kNsPerSecond)) {
    entry.delay_ns = distance_ns;
  }
  return entry;
}

Status BuildIndex(const RecoveryBlock& block, Survivors& survivors, std::vector<uint8_t>& moov) {
  VideoConfiguration configuration;
  if (Status status = BuildConfiguration(block.video, configuration); !status.ok()) return status;
  MoovParts parts;
  parts.video = &block.video;
  parts.configuration = &configuration;
  parts.video_table = &survivors.video;
  for (size_t i = 0; i < block.sound.size(); ++i) {
    parts.sound.push_back(EntryOf(block, i, survivors.video, survivors.sound[i]));
  }
  VideoConfiguration webcam_configuration;
  if (!survivors.webcam.empty() && BuildConfiguration(*block.webcam, webcam_configuration).ok()) {
    const uint64_t delay_ns = Rescale(survivors.webcam_start, block.webcam_timescale, kNsPerSecond);
    parts.webcam = WebcamEntry{
        &*block.webcam, &block.webcam->placement, &webcam_configuration, &survivors.webcam, 0,
        delay_ns};
  }
  const MoovResult built = BuildMoov(parts, moov);
  PatchChunkOffsets(parts, built, moov);
  return Status::Ok();
}

}  // namespace

Status PlanRepair(IByteSource& source, RepairPlan& plan) {
  Survey survey;
  if (Status status = LookOver(source, survey); !status.ok()) return status;
  RecoveryBlock block;
  if (Status status = ReadRecoveryBlock(*survey.block, block); !status.ok()) return status;
  Survivors survivors(block);
  if (Status status = CollectFragments(source, block, survey.end, survivors); !status.ok()) {
    return status;
  }
  if (survivors.video.empty()) return Refuse("no whole video fragments survived");
  plan.cut_point = survey.end;
  plan.header_offset = *survey.placeholder;
  return BuildIndex(block, survivors, plan.moov);
}

}  // namespace orventa
