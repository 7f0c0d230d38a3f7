#include "video/video_linux/edid.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "base/text.h"

namespace orventa {
namespace {

constexpr size_t kBlockBytes = 128;
constexpr std::array<uint8_t, 8> kMagic = {0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0};
constexpr size_t kMakerAt = 8;  // three letters of five bits, big-endian
constexpr size_t kProductAt = 10;
constexpr size_t kSerialAt = 12;
constexpr std::array<size_t, 4> kDescriptorsAt = {54, 72, 90, 108};
constexpr size_t kTextAt = 5;  // in a descriptor
constexpr size_t kTextBytes = 13;
constexpr uint8_t kSerialText = 0xFF;
constexpr uint8_t kNameText = 0xFC;

// Empty when there is no such descriptor.
std::string DescriptorText(std::span<const uint8_t> bytes, uint8_t kind) {
  for (const size_t at : kDescriptorsAt) {
    const auto descriptor = bytes.subspan(at, kTextAt + kTextBytes);
    // Anything but zeros in front is the timing of a mode.
    if (descriptor[0] != 0 || descriptor[1] != 0 || descriptor[3] != kind) continue;
    std::string text;
    for (const uint8_t c : descriptor.subspan(kTextAt)) {
      if (c == '\n') break;
      text.push_back(c >= 0x20 && c < 0x7F ? static_cast<char>(c) : ' ');
    }
    return std::string(Trim(text));
  }
  return {};
}

}  // namespace

std::optional<MonitorIdentity> ReadEdid(std::span<const uint8_t> bytes) {
  if (bytes.size() < kBlockBytes) return std::nullopt;
  bytes = bytes.first(kBlockBytes);
  const unsigned sum = std::accumulate(bytes.begin(), bytes.end(), 0U);
  if (sum % 256 != 0 || !std::equal(kMagic.begin(), kMagic.end(), bytes.begin())) {
    return std::nullopt;
  }
  MonitorIdentity identity;
  const unsigned maker = bytes[kMakerAt] * 256U + bytes[kMakerAt + 1];
  for (const unsigned shift : {10U, 5U, 0U}) {
    const unsigned letter = (maker >> shift) & 0x1F;
    if (letter < 1 || letter > 26) return std::nullopt;
    identity.model.push_back(static_cast<char>('A' + letter - 1));
  }
  identity.model += Format("-%02X%02X", bytes[kProductAt + 1], bytes[kProductAt]);

  const auto serial = bytes.subspan(kSerialAt, 4);
  if (std::any_of(serial.begin(), serial.end(), [](uint8_t byte) { return byte != 0; })) {
    identity.serial = Format("%02X%02X%02X%02X", serial[3], serial[2], serial[1], serial[0]);
  } else {
    identity.serial = DescriptorText(bytes, kSerialText);
  }
  identity.name = DescriptorText(bytes, kNameText);
  return identity;
}

}  // namespace orventa
