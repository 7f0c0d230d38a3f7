// The Direct3D 11 device behind an opaque one and what encoders ask about its
// adapter. For the platform's own folders only, any thread.
#pragma once

#include <d3d11.h>
#include <wrl/client.h>

#include <cstdint>

namespace orventa {

struct AdapterFacts {
  Microsoft::WRL::ComPtr<ID3D11Device> device;  // none: nothing that encoders could use
  uint32_t vendor_id = 0;                       // PCI number
  LUID luid{};                                  // what the system calls it until it restarts
  // The user-mode driver's version: four parts of 16 bits, the first one highest.
  // 0 when the adapter does not tell.
  uint64_t driver_version = 0;
};

AdapterFacts ReadAdapterFacts(ID3D11Device& device);

}  // namespace orventa
