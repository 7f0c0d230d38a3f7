// Sequence headers and packets as encoders, and files of others, may give them,
// and the boxes that a description reads. The first byte picks the codec.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "mp4/annexb.h"
#include "mp4/boxes.h"
#include "mp4/configuration.h"

namespace {

using namespace orventa;

void Require(bool condition) {
  if (!condition) std::abort();
}

void TryConfiguration(Mp4Codec codec, std::span<const uint8_t> header) {
  Mp4VideoTrack track;
  track.codec = codec;
  track.sequence_header.assign(header.begin(), header.end());
  VideoConfiguration configuration;
  const Status status = BuildConfiguration(track, configuration);
  Require(status.ok() != configuration.record.empty());
  Require(status.ok() == status.message().empty());
}

void TryUnits(Mp4Codec codec, std::span<const uint8_t> packet) {
  const SampleLayout layout = MeasureSample(packet, codec);
  uint64_t size = 0;
  uint32_t count = 0;
  SampleUnits units(packet, codec);
  for (std::span<const uint8_t> unit; units.Next(unit); ++count) {
    Require(!unit.empty() && unit.data() >= packet.data() &&
            unit.data() + unit.size() <= packet.data() + packet.size());
    size += kUnitLengthBytes + unit.size();
  }
  Require(layout.size == size && layout.units == count);
}

template <class Box>
void TryBox(std::span<const uint8_t> body) {
  Box box;
  if (!ReadBox(body, box)) return;
  std::vector<uint8_t> bytes;
  ByteWriter out(bytes);
  WriteBox(out, box);
  Box again;
  Require(ReadBox(std::span<const uint8_t>(bytes).subspan(kBoxHeaderBytes), again));
  Require(again == box);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const auto codec = static_cast<Mp4Codec>(data[0] % 3);
  const std::span<const uint8_t> bytes(data + 1, size - 1);
  TryConfiguration(codec, bytes);
  TryUnits(codec, bytes);
  TryBox<MovieHeader>(bytes);
  TryBox<TrackHeader>(bytes);
  TryBox<MediaHeader>(bytes);
  TryBox<ColourInformation>(bytes);
  TryBox<MasteringDisplayColourVolume>(bytes);
  TryBox<ContentLightLevel>(bytes);
  TryBox<SdrWhite>(bytes);
  TryBox<WebcamOverlay>(bytes);
  return 0;
}
