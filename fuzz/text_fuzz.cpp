// UTF-8 from outside: whatever the bytes, both conversions give well-formed text and
// a cut keeps what was well-formed so.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "base/text.h"

using orventa::CutUtf8;
using orventa::IsValidUtf8;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string mended = orventa::Utf16ToUtf8(orventa::Utf8ToUtf16(text));
  if (!IsValidUtf8(mended)) std::abort();
  if (IsValidUtf8(text) != (mended == text)) std::abort();
  for (size_t limit = 0; limit <= mended.size(); ++limit) {
    const std::string_view cut = CutUtf8(mended, limit);
    if (!IsValidUtf8(cut) || cut.size() > limit || limit - cut.size() > 3) std::abort();
  }
  return 0;
}
