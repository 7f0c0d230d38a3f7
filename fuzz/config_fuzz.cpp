// A settings file from outside: whatever the bytes, reading ends, what was read
// stays the same through being written and read again, and what was just written
// and validated has nothing to be found in it but unknown settings.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "settings/config_file.h"
#include "settings/schema.h"

using orventa::Config;
using orventa::ConfigReadOutcome;
using orventa::ConfigText;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  (void)orventa::CheckConfigText(text);

  Config first;
  ConfigReadOutcome outcome;
  orventa::ReadConfigText(text, first, outcome);
  const std::string written = ConfigText(first);
  Config second;
  orventa::ReadConfigText(written, second, outcome);
  if (outcome.rewrite || !outcome.existed) std::abort();
  if (ConfigText(second) != written) std::abort();

  (void)orventa::Validate(second);
  if (!orventa::Validate(second).empty()) std::abort();
  if (orventa::CheckConfigText(ConfigText(second)).size() > second.foreign.size()) std::abort();
  return 0;
}
