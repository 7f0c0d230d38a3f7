// The one rescaling of times between timescales: rounds half up, and does not
// overflow for any time that a machine lives to see. Totals are rescaled, never
// added up after rescaling.
#pragma once

#include <cstdint>

namespace orventa {

constexpr uint64_t Rescale(uint64_t value, uint64_t from, uint64_t to) {
  return value / from * to + (value % from * to + from / 2) / from;
}

}  // namespace orventa
