// A fake amfrt64.dll: objects with tables of functions filled in by number, a queue
// with a length and a delay, and a note of whoever breaks the rules. H.264 that it
// gives out decodes (grey pictures). What a test turns and sees lies in the DLL.
#pragma once

#include <cstdint>

#include "encoders/amf/amf_abi.h"

namespace orventa::amf {

struct FakeAmf {
  // Knobs.
  uint64_t version = kWrittenForVersion;
  bool has_av1 = true;
  int32_t acceleration = kHardware;
  uint32_t delay = 0;             // pictures that stay inside
  uint32_t queue = 16;            // that are taken before the queue is full
  bool stuck = false;             // gives nothing back
  const char* failing_call = "";  // "AMFInit", "Init", "SubmitInput", ...
  const wchar_t* refused = L"";   // a property
  AMF_RESULT failure = AMF_OK;

  // Alive now.
  int contexts = 0;
  int components = 0;
  int surfaces = 0;
  int buffers = 0;
  // Seen.
  uint64_t asked_version = 0;
  void* device = nullptr;
  int inside = 0;
  AMFHDRMetadata metadata{};
  // A property of the newest encoder, or Empty.
  AMFVariantStruct (*property)(const wchar_t* name) = nullptr;

  char breach[256] = "";  // the first one
};

// The DLL's third export, "FakeAmfOf", which also sets everything back.
using FakeAmfOfFunction = FakeAmf* (*)();

}  // namespace orventa::amf
