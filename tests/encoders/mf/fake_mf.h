// A fake hardware transform of Media Foundation: an asynchronous one with textures as
// input, which keeps the rules of its kind and notes who breaks them. The system finds
// it as it finds real ones, but among those of this process. All but its events runs on
// the test's thread.
#pragma once

#include "base/base_win/media_foundation.h"
#include "tests/encoders/fakes_win/fake_driver.h"

namespace orventa {

struct FakeMf : FakeDriver {
  bool async = true;
  bool takes_textures = true;
  bool forces_keyframes = true;
  bool header_in_type = true;     // else only in the first packet
  bool changes_its_type = false;  // before the first packet
  bool gives_samples = true;
  uint32_t max_width = 4096;
  uint32_t delay = 0;     // pictures that stay inside
  uint32_t queue = 4;     // that are taken before packets have to be
  LONGLONG rounding = 0;  // ticks that times come back too late
  const wchar_t* vendor = L"VEN_8086";
  GUID refused{};  // a property

  // Seen.
  int started = 0;  // streams
  int taken = 0;    // pictures
  LUID luid{};      // of the adapter that was asked for
  Microsoft::WRL::ComPtr<IMFMediaType> in;
  Microsoft::WRL::ComPtr<IMFMediaType> out;
};
extern FakeMf fake_mf;

// A property of the newest transform, or -1.
int64_t FakeMfProperty(const GUID& id);
// The newest transform tells that it failed.
void TellFakeMfError(HRESULT result);

// The system's functions, which find nothing but the fake.
const MediaFoundation& FakeMediaFoundation();

}  // namespace orventa
