// How much light the display under a capture gives to what: whether it is in HDR mode,
// where SDR white lies, how far it reaches. Engine thread.
#pragma once

#include <windows.h>

#include <dxgi1_6.h>
#include <wrl/client.h>

#include <cstdint>

#include "base/clock.h"
#include "video/capture.h"

namespace orventa {

class IDisplayLight {
 public:
  virtual ~IDisplayLight() = default;
  // What is there now, to a second: asked once a frame. The defaults for a display
  // that is gone.
  virtual DisplayDescription Describe(HMONITOR monitor) = 0;
};

class DxgiDisplayLight final : public IDisplayLight {
 public:
  // The clock must outlive this.
  explicit DxgiDisplayLight(IClock& clock) : clock_(clock) {}

  DisplayDescription Describe(HMONITOR monitor) override;

 private:
  DisplayDescription Read(HMONITOR monitor);
  bool FindOutput(HMONITOR monitor, DXGI_OUTPUT_DESC1& out);

  IClock& clock_;
  // Knows the displays as they were when it was made.
  Microsoft::WRL::ComPtr<IDXGIFactory1> factory_;
  Microsoft::WRL::ComPtr<IDXGIOutput6> output_;  // of `monitor_`
  HMONITOR monitor_ = nullptr;
  uint64_t stale_at_ns_ = 0;
  DisplayDescription last_;
};

// An output as DXGI describes it, and the nits of its SDR white; 0: not known.
DisplayDescription DescribeOutput(const DXGI_OUTPUT_DESC1& output, float white_nits);

}  // namespace orventa
