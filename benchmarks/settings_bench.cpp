// Reading a settings file that has every line, and writing one, without the wait for
// the medium: each a single time is what a key press or a change costs.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/files.h"
#include "benchmarks/bench.h"
#include "settings/config_file.h"

namespace orventa::bench {
namespace {

constexpr int kRounds = 201;

void Demand(bool fine, const std::string& what) {
  if (fine) return;
  std::fprintf(stderr, "bench: cannot %s\n", what.c_str());
  std::exit(1);
}

void PlainWrite(const std::string& path, const std::string& text) {
  OutputFile file;
  Demand(file.Create(path + ".tmp").ok(), "create " + path);
  Demand(file.Write({reinterpret_cast<const uint8_t*>(text.data()), text.size()}).ok(), "write");
  Demand(file.Close().ok() && MoveReplacing(path + ".tmp", path).ok(), "replace " + path);
}

std::vector<Row> Measure() {
  // In memory: file systems of drives wait for the medium when a file is replaced.
  const std::string path = "/dev/shm/orventa-settings-bench.ini";
  const std::unique_ptr<IClock> clock = MakeSystemClock();
  std::vector<double> reads, writes;
  for (int i = 0; i < kRounds; ++i) {
    Config config;
    config.video.fps = 30 + static_cast<uint32_t>(i);
    double began = Seconds();
    PlainWrite(path, ConfigText(config));
    writes.push_back((Seconds() - began) * 1e3);

    Config read;
    ConfigReadOutcome outcome;
    began = Seconds();
    const Status status = ReadConfig(*clock, path, read, outcome);
    reads.push_back((Seconds() - began) * 1e6);
    Demand(status.ok() && read == config, "read back what was written");
  }
  (void)RemoveFile(path);
  return {{"settings.read_us", Median(reads)}, {"settings.write_ms", Median(writes)}};
}

const Register kRegister("settings", Measure);

}  // namespace
}  // namespace orventa::bench
