// The list of what the service wrote, from outside: whatever the bytes, reading ends,
// every fact fits its line, and what was read stays the same through being written and
// read again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "library/written_list.h"

using orventa::WrittenFact;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto facts = orventa::ReadWrittenList({reinterpret_cast<const char*>(data), size});
  for (const WrittenFact& fact : facts) {
    const bool fits = !fact.key.empty() && !fact.path.empty() &&
                      fact.key.find_first_of("=\r\n") == std::string::npos &&
                      fact.path.find_first_of("\r\n") == std::string::npos;
    if (!fits) std::abort();
  }
  if (orventa::ReadWrittenList(orventa::WrittenListText(facts)) != facts) std::abort();
  return 0;
}
