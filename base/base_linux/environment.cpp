#include <cstdlib>

#include "base/text.h"

namespace orventa {

std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

}  // namespace orventa
