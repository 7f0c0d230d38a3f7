// The Direct3D 11 device that captures, converters and encoders of a pipeline share.
// Its immediate context belongs to the engine thread; the system guards it against
// encoders that use it from theirs.
#pragma once

#include <d3d11.h>
#include <wrl/client.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "media/graphics_device.h"
#include "media/media_win/adapter_facts.h"

namespace orventa {

class D3d11Device final : public GraphicsDevice {
 public:
  // `adapter_name` and `adapter_key` as `GraphicsDevice` has them.
  D3d11Device(Microsoft::WRL::ComPtr<ID3D11Device> device, std::string adapter_name,
              uint64_t adapter_key);

  // The device as one of Direct3D; null for any other.
  static D3d11Device* From(GraphicsDevice& device) { return dynamic_cast<D3d11Device*>(&device); }
  static const D3d11Device* From(const GraphicsDevice& device) {
    return dynamic_cast<const D3d11Device*>(&device);
  }

  const std::string& AdapterName() const override { return adapter_name_; }
  uint64_t AdapterKey() const override { return adapter_key_; }
  uint32_t RemovedReason() const override;
  void Flush() override { context_->Flush(); }

  ID3D11Device* device() const { return device_.Get(); }
  ID3D11DeviceContext* context() const { return context_.Get(); }
  // Whether the adapter has memory of its own.
  bool Discrete() const;

 private:
  Microsoft::WRL::ComPtr<ID3D11Device> device_;
  Microsoft::WRL::ComPtr<ID3D11DeviceContext> context_;
  const std::string adapter_name_;
  const uint64_t adapter_key_;
};

// A device on the adapter of that name, else on the best one; `adapter_used` is the
// name of the adapter taken, empty when the system chose it without naming it.
// DeviceLost when no device can be made. Engine thread.
Status MakeD3d11Device(const std::string& adapter_name, std::shared_ptr<D3d11Device>& device,
                       std::string& adapter_used);

// What encoders ask about a device; no device in it when it is not one of Direct3D.
AdapterFacts FindAdapterFacts(const GraphicsDevice& device);

// One adapter of the machine as reports tell it; no device: none could be made.
struct D3d11AdapterReport {
  std::string name;
  uint64_t memory_mb = 0;  // its own
  std::shared_ptr<D3d11Device> device;
};
std::vector<D3d11AdapterReport> ReportD3d11Adapters();

}  // namespace orventa
