// A fake amfrt64.dll: objects with tables of functions filled in by number, a queue
// with a length and a delay, and a note of whoever breaks the rules.
#pragma once

#include "encoders/amf/amf_abi.h"
#include "tests/encoders/fakes_win/fake_driver.h"

namespace orventa::amf {

struct FakeAmf : FakeDriver {
  uint64_t version = kWrittenForVersion;
  int32_t acceleration = kHardware;
  uint32_t delay = 0;            // pictures that stay inside
  uint32_t queue = 16;           // that are taken before the queue is full
  bool stuck = false;            // gives nothing back
  const wchar_t* refused = L"";  // a property

  // Seen.
  uint64_t asked_version = 0;
  AMFHDRMetadata metadata{};
  // A property of the newest encoder, or Empty.
  AMFVariantStruct (*property)(const wchar_t* name) = nullptr;
};

// The DLL's third export, "FakeAmfOf".
using FakeAmfOfFunction = FakeAmf* (*)();

}  // namespace orventa::amf
