#include "encoders/bitstream.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

namespace orventa {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr uint32_t kObuSequenceHeader = 1;
constexpr uint32_t kObuTemporalDelimiter = 2;

struct Obu {
  uint32_t type = 0;
  Bytes bytes;  // with its header
};

// Takes the first OBU off `rest`; nothing when it does not fit.
std::optional<Obu> TakeObu(Bytes& rest) {
  if (rest.empty()) return std::nullopt;
  const uint32_t header = rest[0];
  const size_t header_bytes = (header & 4U) != 0 ? 2 : 1;
  if (rest.size() < header_bytes) return std::nullopt;
  size_t total = rest.size();  // without a size field it reaches to the end
  if ((header & 2U) != 0) {
    uint64_t size = 0;
    size_t position = header_bytes;
    bool more = true;
    for (uint32_t shift = 0; more; shift += 7) {
      if (shift == 56 || position == rest.size()) return std::nullopt;
      const uint8_t byte = rest[position++];
      size |= uint64_t{byte & 0x7FU} << shift;
      more = (byte & 0x80U) != 0;
    }
    if (size > rest.size() - position) return std::nullopt;
    total = position + static_cast<size_t>(size);
  }
  const Obu obu = {(header >> 3U) & 15U, rest.first(total)};
  rest = rest.subspan(total);
  return obu;
}

std::vector<uint8_t> SequenceObu(Bytes extradata) {
  // An av1C record begins with its marker bit and version, 0x81, which no OBU does.
  if (extradata.size() > 4 && extradata[0] == 0x81) extradata = extradata.subspan(4);
  while (const auto obu = TakeObu(extradata)) {
    if (obu->type == kObuSequenceHeader) return {obu->bytes.begin(), obu->bytes.end()};
  }
  return {};
}

bool IsParameterSet(Codec codec, uint8_t first_byte) {
  if (codec == Codec::H264) {
    const uint32_t type = first_byte & 0x1FU;
    return type == 7 || type == 8;
  }
  const uint32_t type = (first_byte >> 1U) & 0x3FU;
  return type >= 32 && type <= 34;
}

std::vector<uint8_t> ParameterSets(Codec codec, Bytes annex_b) {
  static constexpr std::array<uint8_t, 3> kMark = {0, 0, 1};
  std::vector<uint8_t> header;
  auto start = std::search(annex_b.begin(), annex_b.end(), kMark.begin(), kMark.end());
  while (start != annex_b.end()) {
    const auto unit = start + kMark.size();
    start = std::search(unit, annex_b.end(), kMark.begin(), kMark.end());
    auto end = start;
    while (end != unit && *(end - 1) == 0) --end;  // zeros belong to the next start code
    if (unit == end || !IsParameterSet(codec, *unit)) continue;
    header.insert(header.end(), {0, 0, 0, 1});
    header.insert(header.end(), unit, end);
  }
  return header;
}

}  // namespace

std::vector<uint8_t> SequenceHeader(Codec codec, Bytes extradata) {
  return codec == Codec::Av1 ? SequenceObu(extradata) : ParameterSets(codec, extradata);
}

Payload PacketPayload(Codec codec, Bytes packet) {
  if (codec != Codec::Av1) return Payload::Copy(packet);
  size_t kept = 0;
  Bytes rest = packet;
  while (!rest.empty()) {
    const auto obu = TakeObu(rest);
    if (!obu) return Payload::Copy(packet);
    if (obu->type != kObuTemporalDelimiter) kept += obu->bytes.size();
  }
  Payload payload = Payload::Allocate(kept);
  uint8_t* out = payload.mutable_bytes().data();
  rest = packet;
  while (const auto obu = TakeObu(rest)) {
    if (obu->type == kObuTemporalDelimiter) continue;
    std::memcpy(out, obu->bytes.data(), obu->bytes.size());
    out += obu->bytes.size();
  }
  return payload;
}

}  // namespace orventa
