// Rows of the benchmark table. A row has a stable name with its unit at the end
// and is measured in one process, alone; where it can, it compares against
// something a reader knows, in the same run.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace orventa::bench {

struct Row {
  std::string name;
  double value = 0;
};

using Measure = std::function<std::vector<Row>()>;

// Registers a group of rows under a name that `orventa-bench GROUP...` selects.
struct Register {
  Register(const char* group, Measure measure);
};

// Seconds on the steady clock, for measuring only.
double Seconds();
// The middle value; sorts its copy.
double Median(std::vector<double> values);

// How far the memory of this process rises above where it stood when this was made.
// What the allocator holds free goes back to the system first, and the system's
// record begins anew: a group that ran before cannot hide what this one takes. Ends
// the program where the system does not allow that.
class PeakMemory {
 public:
  PeakMemory();
  double GrowthMb() const;

 private:
  uint64_t before_ = 0;  // bytes
};

}  // namespace orventa::bench
