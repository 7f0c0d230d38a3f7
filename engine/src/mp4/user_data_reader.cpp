#include "mp4/user_data_reader.h"

#include <string>
#include <string_view>

#include "base/clock.h"
#include "mp4/box_reader.h"
#include "mp4/fixed_point.h"

namespace orventa {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr size_t kMaxPressesBytes = 0x4000000;
constexpr size_t kMaxCaptionsBytes = 0x1000000;

std::string TextOf(Bytes bytes) {
  return {bytes.begin(), bytes.end()};
}

// A length byte and as many bytes.
std::string ReadText(ByteReader& in) {
  return TextOf(in.Bytes(in.U8()));
}

void ReadChapters(Bytes chpl, std::vector<Mp4Marker>& markers) {
  constexpr uint64_t kUnitNs = 100;
  ByteReader in(chpl);
  const uint8_t version = in.U8();
  in.Skip(3);
  if (version != 0) in.Skip(4);
  for (uint32_t count = in.U8(); count > 0; --count) {
    Mp4Marker marker;
    const uint64_t time = in.U64();
    marker.label = ReadText(in);
    if (in.failed()) return;
    if (time > UINT64_MAX / kUnitNs) continue;
    marker.time_ns = time * kUnitNs;
    markers.push_back(std::move(marker));
  }
}

// What follows the events, each list behind its tag.
void ReadEventExtras(ByteReader& in, std::vector<Mp4GameEvent>& events) {
  uint32_t tag = in.U32();
  if (tag == FourCc("side")) {
    const Bytes sides = in.Bytes(events.size());
    for (size_t i = 0; i < sides.size(); ++i) events[i].side = sides[i];
    tag = in.U32();
  }
  if (tag != FourCc("whom")) return;
  for (Mp4GameEvent& event : events) event.whom = ReadText(in);
}

void ReadEvents(ByteReader& in, std::vector<Mp4GameEvent>& events) {
  const uint32_t count = in.U16();
  while (events.size() < count) {
    Mp4GameEvent event;
    event.time_ns = in.U32() * kNsPerMs;
    event.weight = in.U8();
    event.label = ReadText(in);
    event.detail = ReadText(in);
    if (in.failed()) return;
    events.push_back(std::move(event));
  }
  ReadEventExtras(in, events);
}

WebcamMention ReadWebcam(Bytes body) {
  // Of the whole box; older files end after the place.
  constexpr size_t kWholeBytes = 67;
  constexpr float kLeastCrop = 0.01f;
  constexpr float kMostCropEnd = 1.0001f;
  constexpr uint32_t kShapes = 3;
  WebcamOverlay box;
  (void)ReadBox(body, box);  // what is missing is 0
  WebcamMention webcam;
  webcam.track_id = box.track_id;
  WebcamPlacement& placement = webcam.placement;
  placement.x = OfMillionths(box.place[0]);
  placement.y = OfMillionths(box.place[1]);
  placement.width = OfMillionths(box.place[2]);
  placement.height = OfMillionths(box.place[3]);
  if (body.size() < kWholeBytes) return webcam;

  placement.flip_horizontal = (box.flags & WebcamOverlay::kFlipHorizontal) != 0;
  placement.flip_vertical = (box.flags & WebcamOverlay::kFlipVertical) != 0;
  const float x = OfMillionths(box.crop[0]);
  const float y = OfMillionths(box.crop[1]);
  const float width = OfMillionths(box.crop[2]);
  const float height = OfMillionths(box.crop[3]);
  if (width >= kLeastCrop && height >= kLeastCrop && x + width <= kMostCropEnd &&
      y + height <= kMostCropEnd) {
    placement.crop_x = x;
    placement.crop_y = y;
    placement.crop_width = width;
    placement.crop_height = height;
  }
  placement.shape = box.shape < kShapes ? box.shape : 0;
  placement.radius = OfMillionths(box.radius);
  placement.border = OfMillionths(box.border);
  placement.border_color = box.border_color & 0xFFFFFF;
  return webcam;
}

void ReadPresses(ByteReader& in, Mp4Presses& presses) {
  const uint8_t seal = in.U8();
  if (in.failed() || in.remaining() > kMaxPressesBytes) return;
  const Bytes payload = in.Bytes(in.remaining());
  presses.seal = seal;
  presses.payload.assign(payload.begin(), payload.end());
}

}  // namespace

void ReadUserData(Bytes udta, Mp4Movie& movie, std::optional<WebcamMention>& webcam) {
  BoxReader boxes(udta);
  for (BoxView box; boxes.Next(box);) {
    // Of boxes of one kind the first one counts.
    if (box.type == FourCc("chpl") && movie.markers.empty()) ReadChapters(box.body, movie.markers);
    if (box.IsUuid(kWebcamUuid)) {
      if (!webcam) webcam = ReadWebcam(box.body);
      continue;
    }
    if (box.type != FourCc("uuid") || box.body.size() <= kEventsUuid.size()) continue;
    ByteReader in(box.AfterUuid());
    if (in.U8() != kUuidVersion) continue;
    if (box.IsUuid(kEventsUuid) && movie.events.empty()) ReadEvents(in, movie.events);
    if (box.IsUuid(kInputsUuid) && movie.presses.payload.empty()) ReadPresses(in, movie.presses);
    if (box.IsUuid(kCaptionsUuid) && in.remaining() <= kMaxCaptionsBytes &&
        movie.captions.empty()) {
      movie.captions = TextOf(in.Bytes(in.remaining()));
    }
  }
}

}  // namespace orventa
