#include "mp4/user_data.h"

#include <algorithm>
#include <vector>

#include "base/clock.h"
#include "base/text.h"
#include "mp4/boxes.h"
#include "mp4/fixed_point.h"

namespace orventa {
namespace {

constexpr size_t kMaxChapters = 255;
constexpr size_t kMaxEvents = 65535;
constexpr size_t kMaxTextBytes = 255;

// A mark with its time from the clip's start, in the box's own unit.
template <class Mark>
struct Timed {
  uint64_t time = 0;
  const Mark* mark = nullptr;
};

template <class Mark>
std::vector<Timed<Mark>> InClip(std::span<const Mark> marks, const UserData& data, uint64_t unit_ns,
                                size_t most) {
  std::vector<Timed<Mark>> kept;
  for (const Mark& mark : marks) {
    if (mark.time_ns > data.clip_end_ns) continue;
    const uint64_t from_start =
        mark.time_ns > data.clip_start_ns ? mark.time_ns - data.clip_start_ns : 0;
    kept.push_back({from_start / unit_ns, &mark});
  }
  std::stable_sort(kept.begin(), kept.end(),
                   [](const auto& a, const auto& b) { return a.time < b.time; });
  if (kept.size() > most) kept.resize(most);
  return kept;
}

void WriteText(ByteWriter& out, std::string_view text) {
  const std::string_view cut = CutUtf8(text, kMaxTextBytes);
  out.U8(static_cast<uint32_t>(cut.size()));
  out.Text(cut);
}

void WriteChapters(ByteWriter& out, const std::vector<Timed<Mp4Marker>>& chapters) {
  if (chapters.empty()) return;
  BoxScope box(out, FourCc("chpl"));
  out.U32(0x01000000);  // version 1
  out.U32(0);
  out.U8(static_cast<uint32_t>(chapters.size()));
  for (const auto& [time, marker] : chapters) {
    out.U64(time);
    WriteText(out, marker->label);
  }
}

void WriteEvents(ByteWriter& out, const std::vector<Timed<Mp4GameEvent>>& events) {
  if (events.empty()) return;
  BoxScope box(out, FourCc("uuid"));
  out.Bytes(kEventsUuid);
  out.U8(kUuidVersion);
  out.U16(static_cast<uint32_t>(events.size()));
  bool any_side = false;
  bool any_whom = false;
  for (const auto& [time, event] : events) {
    out.U32(static_cast<uint32_t>(std::min<uint64_t>(time, UINT32_MAX)));
    out.U8(event->weight);
    WriteText(out, event->label);
    WriteText(out, event->detail);
    any_side = any_side || event->side != 0;
    any_whom = any_whom || !event->whom.empty();
  }
  if (any_side) {
    out.U32(FourCc("side"));
    for (const auto& timed : events) out.U8(timed.mark->side);
  }
  if (any_whom) {
    out.U32(FourCc("whom"));
    for (const auto& timed : events) WriteText(out, timed.mark->whom);
  }
}

void WritePlacement(ByteWriter& out, const WebcamPlacement& placement, uint32_t track_id) {
  WebcamOverlay box;
  box.track_id = track_id;
  box.place = {Millionths(placement.x), Millionths(placement.y), Millionths(placement.width),
               Millionths(placement.height)};
  box.flags =
      static_cast<uint8_t>((placement.flip_horizontal ? WebcamOverlay::kFlipHorizontal : 0) |
                           (placement.flip_vertical ? WebcamOverlay::kFlipVertical : 0));
  box.crop = {Millionths(placement.crop_x), Millionths(placement.crop_y),
              Millionths(placement.crop_width), Millionths(placement.crop_height)};
  box.shape = static_cast<uint8_t>(placement.shape);
  box.radius = Millionths(placement.radius);
  box.border = Millionths(placement.border);
  box.border_color = placement.border_color & 0xFFFFFF;
  WriteBox(out, box);
}

void WritePresses(ByteWriter& out, const Mp4Presses& presses) {
  BoxScope box(out, FourCc("uuid"));
  out.Bytes(kInputsUuid);
  out.U8(kUuidVersion);
  out.U8(presses.seal);
  out.Bytes(presses.payload);
}

void WriteCaptions(ByteWriter& out, std::string_view captions) {
  BoxScope box(out, FourCc("uuid"));
  out.Bytes(kCaptionsUuid);
  out.U8(kUuidVersion);
  out.Text(captions);
}

}  // namespace

void WriteUserData(ByteWriter& out, const UserData& data) {
  constexpr uint64_t kChapterUnitNs = 100;
  const auto chapters = InClip(data.markers, data, kChapterUnitNs, kMaxChapters);
  const auto events = InClip(data.events, data, kNsPerMs, kMaxEvents);
  const bool has_presses = data.presses != nullptr && !data.presses->payload.empty();
  if (chapters.empty() && events.empty() && data.placement == nullptr && !has_presses &&
      data.captions.empty()) {
    return;
  }
  BoxScope box(out, FourCc("udta"));
  WriteChapters(out, chapters);
  WriteEvents(out, events);
  if (data.placement != nullptr) WritePlacement(out, *data.placement, data.webcam_track_id);
  if (has_presses) WritePresses(out, *data.presses);
  if (!data.captions.empty()) WriteCaptions(out, data.captions);
}

}  // namespace orventa
