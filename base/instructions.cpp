#include "base/instructions.h"

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace orventa {

Instructions BestInstructions() {
#if defined(__x86_64__)
  // Not every compiler's __builtin_cpu_supports knows "f16c".
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  const bool half_floats = __get_cpuid(1, &a, &b, &c, &d) != 0 && (c & bit_F16C) != 0;
  if (half_floats && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) {
    return Instructions::Avx2;
  }
#endif
  return Instructions::Portable;
}

}  // namespace orventa
