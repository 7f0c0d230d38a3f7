// Lets the compiler check printf-style arguments, by GNU's rules on both
// platforms: the C library of Windows has its own, but is not the one called.
#pragma once

#if defined(__clang__)
#define ORVENTA_PRINTF(format_index, first_argument) \
  [[gnu::format(printf, format_index, first_argument)]]
#else
#define ORVENTA_PRINTF(format_index, first_argument) \
  [[gnu::format(gnu_printf, format_index, first_argument)]]
#endif
