// The backend of a graphics card's encoder: which adapters it is for, whether its maker's
// library is there, and what is asked of both in which order. What differs from maker to
// maker stands in a table, a Card.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "encoders/encoder.h"
#include "media/media_win/adapter_facts.h"

namespace orventa {

template <class Library>
struct Card {
  std::string_view name;
  uint32_t vendor;  // PCI number of its adapters
  // Ok, or why the library cannot be used.
  Status (*loaded)(const Library& library);
  std::vector<EncoderPreset> (*presets)();
  Status (*probe)(const Library& library, const AdapterFacts& adapter,
                  std::vector<CodecCaps>& codecs);
  Status (*open)(const Library& library, const AdapterFacts& adapter,
                 const EncoderSettings& settings, std::unique_ptr<IVideoEncoder>& encoder);
};

template <class Library, const Card<Library>& kCard>
class CardBackend final : public IEncoderBackend {
 public:
  // Both are called at each use. The library that is given lives for the whole process.
  using FindLibrary = const Library& (*)();
  using FindAdapter = AdapterFacts (*)(const GraphicsDevice&);
  CardBackend(FindLibrary library, FindAdapter find_adapter)
      : library_(library), find_adapter_(find_adapter) {}

  std::string_view Name() const override { return kCard.name; }
  std::string LoadMessage() const override { return kCard.loaded(library_()).message(); }
  bool Supports(const GraphicsDevice& device) override {
    AdapterFacts adapter;
    return Find(device, adapter).ok() && adapter.vendor_id == kCard.vendor;
  }
  Status Probe(GraphicsDevice& device, EncoderCaps& caps) override {
    caps = {std::string(Name()), device.AdapterName(), {}};
    AdapterFacts adapter;
    Status status = Find(device, adapter);
    return status.ok() ? kCard.probe(library_(), adapter, caps.codecs) : status;
  }
  std::vector<Codec> Capabilities() const override {
    return {Codec::H264, Codec::Hevc, Codec::Av1};
  }
  std::vector<EncoderPreset> Presets() const override { return kCard.presets(); }
  Status Create(GraphicsDevice& device, const EncoderSettings& settings,
                std::unique_ptr<IVideoEncoder>& encoder) override {
    encoder.reset();
    AdapterFacts adapter;
    Status status = Find(device, adapter);
    return status.ok() ? kCard.open(library_(), adapter, settings, encoder) : status;
  }

 private:
  // The adapter of the device, once both it and the library are there.
  Status Find(const GraphicsDevice& device, AdapterFacts& adapter) const {
    adapter = find_adapter_(device);
    if (!adapter.device) return {StatusCode::InvalidArgument, "null D3D11 device"};
    return kCard.loaded(library_());
  }

  const FindLibrary library_;
  const FindAdapter find_adapter_;
};

// Hands an encoder out once it is open.
template <class Encoder, class Library>
Status OpenCardEncoder(const Library& library, const AdapterFacts& adapter,
                       EncoderSettings settings, std::unique_ptr<IVideoEncoder>& out) {
  auto encoder = std::make_unique<Encoder>(library, adapter, std::move(settings));
  Status status = encoder->Open();
  if (status.ok()) out = std::move(encoder);
  return status;
}

}  // namespace orventa
