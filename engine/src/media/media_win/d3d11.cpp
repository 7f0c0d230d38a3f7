#include "media/media_win/d3d11.h"

namespace orventa {

AdapterFacts ReadAdapterFacts(IDXGIAdapter& adapter) {
  AdapterFacts facts;
  DXGI_ADAPTER_DESC description{};
  if (SUCCEEDED(adapter.GetDesc(&description))) {
    facts.vendor_id = description.VendorId;
    facts.device_id = description.DeviceId;
    facts.luid = uint64_t{static_cast<uint32_t>(description.AdapterLuid.HighPart)} << 32 |
                 description.AdapterLuid.LowPart;
  }
  // The only interface that drivers answer about; the version is the whole driver's.
  LARGE_INTEGER version{};
  if (SUCCEEDED(adapter.CheckInterfaceSupport(__uuidof(IDXGIDevice), &version))) {
    facts.driver_version = static_cast<uint64_t>(version.QuadPart);
  }
  return facts;
}

}  // namespace orventa
