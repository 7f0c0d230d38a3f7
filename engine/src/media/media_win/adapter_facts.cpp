#include "media/media_win/adapter_facts.h"

#include <dxgi.h>

namespace orventa {

AdapterFacts ReadAdapterFacts(ID3D11Device& device) {
  using Microsoft::WRL::ComPtr;
  AdapterFacts facts;
  facts.device = &device;
  ComPtr<IDXGIDevice> dxgi_device;
  ComPtr<IDXGIAdapter> adapter;
  if (FAILED(device.QueryInterface(IID_PPV_ARGS(&dxgi_device))) ||
      FAILED(dxgi_device->GetAdapter(&adapter))) {
    return facts;
  }
  DXGI_ADAPTER_DESC description{};
  if (SUCCEEDED(adapter->GetDesc(&description))) {
    facts.vendor_id = description.VendorId;
    facts.luid = description.AdapterLuid;
  }
  // The only interface that drivers answer about; the version is the whole driver's.
  LARGE_INTEGER version{};
  if (SUCCEEDED(adapter->CheckInterfaceSupport(__uuidof(IDXGIDevice), &version))) {
    facts.driver_version = static_cast<uint64_t>(version.QuadPart);
  }
  return facts;
}

}  // namespace orventa
