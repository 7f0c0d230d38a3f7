#include "benchmarks/bench.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace orventa::bench {
namespace {

std::vector<std::pair<std::string, Measure>>& Groups() {
  static std::vector<std::pair<std::string, Measure>> groups;
  return groups;
}

}  // namespace

Register::Register(const char* group, Measure measure) {
  Groups().emplace_back(group, std::move(measure));
}

double Seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

}  // namespace orventa::bench

// Prints "name value" lines; the arguments select groups, none means all.
int main(int argc, char** argv) {
  for (auto& [group, measure] : orventa::bench::Groups()) {
    bool wanted = argc == 1;
    for (int i = 1; i < argc; ++i) wanted = wanted || group == argv[i];
    if (!wanted) continue;
    for (const auto& row : measure()) std::printf("%s %.6g\n", row.name.c_str(), row.value);
    std::fflush(stdout);
  }
  return 0;
}
