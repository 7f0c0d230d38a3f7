#include "tests/mp4/recording_fixture.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

namespace orventa::test {

EncodedPacket Encoded(const BufferedPacket& packet) {
  return {packet.payload, static_cast<int64_t>(packet.pts), static_cast<int64_t>(packet.dts),
          packet.keyframe};
}

void Record(Mp4Writer& writer, const std::string& path, const Mp4Movie& movie) {
  std::vector<Mp4AudioTrack> sound;
  std::vector<std::pair<uint64_t, std::function<Status()>>> calls;
  for (const auto& packet : movie.packets) {
    calls.emplace_back(packet.pts, [&] { return writer.AddVideo(Encoded(packet)); });
  }
  for (const auto& track : movie.sound) {
    const size_t index = sound.size();
    sound.push_back(track.format);
    for (const auto& packet : track.packets) {
      calls.emplace_back(packet.pts,
                         [&, index] { return writer.AddAudio(index, Encoded(packet)); });
    }
  }
  for (const auto& packet : movie.webcam_packets) {
    calls.emplace_back(packet.pts, [&] { return writer.AddWebcam(Encoded(packet)); });
  }
  std::stable_sort(calls.begin(), calls.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  Status status = writer.Open(path, movie.video, sound, movie.webcam);
  for (const auto& [pts, call] : calls) {
    if (status.ok()) status = call();
  }
  if (!status.ok()) throw std::runtime_error(status.ToString());
}

std::vector<uint8_t> Unfinished(std::vector<uint8_t> file) {
  const auto placeholder = Hex("00000001 66726565 00000000 00000010");
  const size_t header = Find(file, "mdat").start;
  std::copy(placeholder.begin(), placeholder.end(),
            file.begin() + static_cast<std::ptrdiff_t>(header));
  return file;
}

std::map<uint32_t, std::vector<Sample>> FragmentsIn(const std::vector<uint8_t>& recording,
                                                    size_t bytes) {
  std::map<uint32_t, std::vector<Sample>> tracks;
  const std::vector<Box> boxes = Boxes(recording);
  for (size_t i = 0; i < boxes.size() && boxes[i].end() <= bytes; ++i) {
    if (boxes[i].type != "mdat") continue;
    const Box traf = Children(boxes[i - 1])[1];
    const Box trun = Children(traf)[2];
    auto& samples = tracks[Children(traf)[0].U32(4)];
    uint64_t offset = boxes[i - 1].start + trun.U32(8);
    for (uint32_t entry = 0; entry < trun.U32(4); ++entry) {
      const size_t at = 12 + 12 * entry;
      samples.push_back({offset, trun.U32(at + 4), trun.U32(at), trun.U32(at + 8) == 0x02000000});
      offset += trun.U32(at + 4);
    }
    if (offset != boxes[i].end()) throw std::runtime_error("samples do not fill their mdat");
  }
  return tracks;
}

Status MemorySource::ReadAt(uint64_t offset, std::span<uint8_t> into) {
  if (offset > bytes_.size() || into.size() > bytes_.size() - offset) {
    throw std::out_of_range("read beyond the end");
  }
  std::ranges::copy(bytes_.subspan(offset, into.size()), into.begin());
  return Status::Ok();
}

}  // namespace orventa::test
