// A fake nvEncodeAPI64.dll: it keeps the rules of the real one, writes down whoever
// breaks them, and gives out H.264 that decodes (grey pictures) or, for other codecs,
// bytes of the right kind. What a test turns and sees lies in the DLL; with the
// environment variable ORVENTA_FAKE_NVENC_REPORT set to a file, breaches go there, too.
#pragma once

#include "encoders/nvenc/nvenc_abi.h"

namespace orventa::nvenc {

struct FakeNvenc {
  // Knobs.
  uint32_t max_version = kLeastDriverVersion;
  bool has_av1 = true;
  const char* failing_call = "";  // "NvEncodeAPICreateInstance", "nvEncMapInputResource", ...
  NVENCSTATUS failure = NV_ENC_SUCCESS;
  const char* error_text = "";

  // Alive now.
  int sessions = 0;
  int buffers = 0;
  int registered = 0;
  int mapped = 0;
  // Counted.
  int registrations = 0;
  int maps = 0;
  // Seen.
  void* device = nullptr;
  GUID preset{};
  NV_ENC_INITIALIZE_PARAMS init{};
  NV_ENC_CONFIG config{};
  NV_ENC_PIC_PARAMS picture{};
  MASTERING_DISPLAY_INFO mastering{};

  char breach[256] = "";  // the first one
};

// The DLL's third export, "FakeNvencOf".
using FakeNvencOfFunction = FakeNvenc* (*)();

}  // namespace orventa::nvenc
