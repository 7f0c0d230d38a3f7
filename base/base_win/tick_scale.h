// Performance counter ticks as nanoseconds, rounded down, exact for any time that
// a machine lives to see.
#pragma once

#include <cstdint>

#include "base/clock.h"

namespace orventa {

constexpr uint64_t TicksToNs(uint64_t ticks, uint64_t ticks_per_second) {
  constexpr uint64_t kUsual = 10'000'000;
  constexpr uint64_t kOfSomeProcessors = 24'000'000;
  if (ticks_per_second == kUsual) return ticks * 100;
  if (ticks_per_second == kOfSomeProcessors) return ticks / 3 * 125 + ticks % 3 * 125 / 3;
  return ticks / ticks_per_second * kNsPerSecond +
         ticks % ticks_per_second * kNsPerSecond / ticks_per_second;
}

}  // namespace orventa
