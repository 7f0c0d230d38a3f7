#include "video/video_win/display_light.h"

#include <algorithm>
#include <cwchar>

#include "video/video_win/display_paths.h"

using Microsoft::WRL::ComPtr;

namespace orventa {
namespace {

constexpr float kNitsPerUnit = 80.0F;
// Asking goes through the graphics kernel and may take a millisecond.
constexpr uint64_t kStandsNs = kNsPerSecond;

// 0 when the system does not tell.
float SdrWhiteNits(const wchar_t* device_name) {
  for (const DISPLAYCONFIG_PATH_INFO& path : ActiveDisplayPaths()) {
    DISPLAYCONFIG_SOURCE_DEVICE_NAME source{};
    source.header.type = DISPLAYCONFIG_DEVICE_INFO_GET_SOURCE_NAME;
    source.header.size = sizeof(source);
    source.header.adapterId = path.sourceInfo.adapterId;
    source.header.id = path.sourceInfo.id;
    if (DisplayConfigGetDeviceInfo(&source.header) != ERROR_SUCCESS ||
        std::wcscmp(source.viewGdiDeviceName, device_name) != 0) {
      continue;
    }
    DISPLAYCONFIG_SDR_WHITE_LEVEL white{};
    white.header.type = DISPLAYCONFIG_DEVICE_INFO_GET_SDR_WHITE_LEVEL;
    white.header.size = sizeof(white);
    white.header.adapterId = path.targetInfo.adapterId;
    white.header.id = path.targetInfo.id;
    if (DisplayConfigGetDeviceInfo(&white.header) != ERROR_SUCCESS) return 0;
    return static_cast<float>(white.SDRWhiteLevel) / 1000.0F * kNitsPerUnit;
  }
  return 0;
}

}  // namespace

DisplayDescription DescribeOutput(const DXGI_OUTPUT_DESC1& output, float white_nits) {
  DisplayDescription display;
  const float* const primaries[] = {output.RedPrimary, output.GreenPrimary, output.BluePrimary,
                                    output.WhitePoint};
  float* chromaticity = display.chromaticity;
  for (const float* primary : primaries) chromaticity = std::copy_n(primary, 2, chromaticity);

  display.hdr_on = output.ColorSpace == DXGI_COLOR_SPACE_RGB_FULL_G2084_NONE_P2020 &&
                   white_nits > 0 && output.MaxLuminance > 0;
  if (!display.hdr_on) return display;
  display.sdr_white = white_nits / kNitsPerUnit;
  // A display may tell of less than the user has set white to.
  display.peak = std::max(white_nits, output.MaxLuminance) / kNitsPerUnit;
  return display;
}

DisplayDescription DxgiDisplayLight::Describe(HMONITOR monitor) {
  const uint64_t now_ns = clock_.SteadyNs();
  if (monitor == monitor_ && now_ns < stale_at_ns_) return last_;
  last_ = Read(monitor);
  stale_at_ns_ = clock_.SteadyNs() + kStandsNs;
  return last_;
}

DisplayDescription DxgiDisplayLight::Read(HMONITOR monitor) {
  DXGI_OUTPUT_DESC1 output{};
  if (!FindOutput(monitor, output)) return {};
  const bool may_be_hdr = output.ColorSpace == DXGI_COLOR_SPACE_RGB_FULL_G2084_NONE_P2020;
  return DescribeOutput(output, may_be_hdr ? SdrWhiteNits(output.DeviceName) : 0);
}

bool DxgiDisplayLight::FindOutput(HMONITOR monitor, DXGI_OUTPUT_DESC1& out) {
  const bool displays_stand = factory_ != nullptr && factory_->IsCurrent() != FALSE;
  if (displays_stand && monitor == monitor_ && output_ != nullptr) {
    return SUCCEEDED(output_->GetDesc1(&out));
  }
  output_.Reset();
  monitor_ = monitor;
  if (!displays_stand && FAILED(CreateDXGIFactory1(IID_PPV_ARGS(&factory_)))) return false;
  ComPtr<IDXGIAdapter1> adapter;
  for (UINT i = 0; SUCCEEDED(factory_->EnumAdapters1(i, &adapter)); ++i) {
    ComPtr<IDXGIOutput> output;
    for (UINT j = 0; SUCCEEDED(adapter->EnumOutputs(j, &output)); ++j) {
      ComPtr<IDXGIOutput6> described;
      if (FAILED(output.As(&described)) || FAILED(described->GetDesc1(&out)) ||
          out.Monitor != monitor) {
        continue;
      }
      output_ = std::move(described);
      return true;
    }
  }
  return false;
}

}  // namespace orventa
