// A fake nvEncodeAPI64.dll: it keeps the rules of the real one, writes down whoever
// breaks them, and gives out H.264 that decodes (grey pictures) or, for other codecs,
// bytes of the right kind.
#pragma once

#include "encoders/nvenc/nvenc_abi.h"
#include "tests/encoders/fakes_win/fake_driver.h"

namespace orventa::nvenc {

struct FakeNvenc : FakeDriver {
  uint32_t max_version = kLeastDriverVersion;
  const char* error_text = "";
  uint32_t most_codecs = 3;

  // Alive now.
  int registered = 0;
  int mapped = 0;
  // Counted.
  int registrations = 0;
  int maps = 0;
  // Seen.
  GUID preset{};
  NV_ENC_INITIALIZE_PARAMS init{};
  NV_ENC_CONFIG config{};
  NV_ENC_PIC_PARAMS picture{};
  MASTERING_DISPLAY_INFO mastering{};
};

// The DLL's third export, "FakeNvencOf".
using FakeNvencOfFunction = FakeNvenc* (*)();

}  // namespace orventa::nvenc
