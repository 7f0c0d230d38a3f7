// Rows of the benchmark table. A row has a stable name with its unit at the end
// and is measured in one process, alone; where it can, it compares against
// something a reader knows, in the same run.
#pragma once

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

}  // namespace orventa::bench
