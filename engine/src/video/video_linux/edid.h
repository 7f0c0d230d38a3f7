// What a monitor says of itself: 128 bytes that display servers and systems hand
// on as they came. Untrusted bytes; pure; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace orventa {

struct MonitorIdentity {
  std::string model;   // "GSM-5B09": maker and product, the same on every one of a kind
  std::string serial;  // of this very one; many monitors have none
  std::string name;    // for people; may be empty
};

// Nothing when the bytes are not a monitor's.
std::optional<MonitorIdentity> ReadEdid(std::span<const uint8_t> bytes);

}  // namespace orventa
