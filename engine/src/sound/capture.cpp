#include "sound/capture.h"

#include <atomic>

#include "base/clock.h"

namespace orventa {
namespace {

std::atomic<uint32_t> newest_stint{0};

}  // namespace

uint32_t NextStintNumber() {
  return ++newest_stint;
}

uint32_t NewestStintNumber() {
  return newest_stint;
}

uint64_t FramesBefore(uint64_t origin_ns, uint64_t until_ns, uint32_t rate) {
  if (until_ns <= origin_ns) return 0;
  // Split at whole seconds, so that no product outgrows 64 bits. Frame n lies at
  // n seconds over the rate; one that lies at `until_ns` itself is not earlier.
  const uint64_t span_ns = until_ns - origin_ns;
  const uint64_t part = span_ns % kNsPerSecond * rate;
  return span_ns / kNsPerSecond * rate + (part + kNsPerSecond - 1) / kNsPerSecond;
}

}  // namespace orventa
