// What the repair of an interrupted recording will do, found out by reading alone.
// Used by FinishInterrupted; apart from it, so that any bytes can be tried. Any
// thread.
#pragma once

#include <cstdint>
#include <vector>

#include "base/status.h"
#include "mp4/byte_source.h"

namespace orventa {

struct RepairPlan {
  uint64_t cut_point = 0;      // where the last whole box ends, and the index goes
  uint64_t header_offset = 0;  // of the placeholder
  std::vector<uint8_t> moov;
};

// Reads the heads of boxes and whole `moof` boxes, no samples. Beyond the tables and
// the index it takes little more memory than the longest `moof`, at most 16 MiB.
Status PlanRepair(IByteSource& source, RepairPlan& plan);

}  // namespace orventa
