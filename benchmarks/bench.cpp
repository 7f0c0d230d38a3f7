#include "benchmarks/bench.h"

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string_view>

namespace orventa::bench {
namespace {

std::vector<std::pair<std::string, Measure>>& Groups() {
  static std::vector<std::pair<std::string, Measure>> groups;
  return groups;
}

[[noreturn]] void Fail(const char* why) {
  std::fprintf(stderr, "bench: %s\n", why);
  std::exit(1);
}

// A figure of this process in bytes, as the Linux kernel tells it.
uint64_t ProcessMemory(std::string_view name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return std::stoull(line.substr(name.size())) * 1024;
  }
  Fail("the system does not tell this process's memory");
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

PeakMemory::PeakMemory() {
  malloc_trim(0);
  std::ofstream reset("/proc/self/clear_refs");
  reset << "5" << std::flush;
  if (!reset) Fail("the system does not reset the peak of this process's memory");
  before_ = ProcessMemory("VmHWM:");
}

double PeakMemory::GrowthMb() const {
  return static_cast<double>(ProcessMemory("VmHWM:") - before_) / (1U << 20U);
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
