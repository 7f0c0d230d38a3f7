#include "service/settings_source.h"

#include "settings/apply_setting.h"

namespace orventa {
namespace {

constexpr uint64_t kReadAgainNs = 500 * kNsPerMs;

}  // namespace

Status LoadSettings(const std::string&,
                    const std::vector<std::pair<std::string, std::string>>& overrides,
                    Config& config) {
  config = Config();
  for (const auto& [key, value] : overrides) {
    if (Status status = ApplySetting(config, key, value); !status.ok()) return status;
  }
  return Status::Ok();
}

Status ReadUntil(IClock& clock, uint64_t deadline_steady_ns, const std::function<Status()>& read) {
  for (;;) {
    Status status = read();
    if (status.ok() || clock.SteadyNs() >= deadline_steady_ns) return status;
    clock.SleepUntil(clock.SteadyNs() + kReadAgainNs);
  }
}

}  // namespace orventa
