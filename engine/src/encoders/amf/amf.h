// AMD's encoder on textures of a Direct3D 11 device. Its library comes with the
// display driver and is bound at run time, so that there need not be one.
//   amf_abi.h      the library's binary interface
//   amf_api.cpp    the library: loading, contexts, what its errors mean
//   amf_options.cpp our settings as properties of its encoders
//   amf_encoder.cpp one encoder at work
//   amf_backend.cpp what there is on an adapter
#pragma once

#include "encoders/encoder.h"
#include "media/media_win/adapter_facts.h"

namespace orventa {

class AmfApi;

class AmfBackend final : public IEncoderBackend {
 public:
  // Both are called at each use. The library that is given lives for the whole process.
  using Library = const AmfApi& (*)();
  using FindAdapter = AdapterFacts (*)(const GraphicsDevice&);
  AmfBackend(Library library, FindAdapter find_adapter)
      : library_(library), find_adapter_(find_adapter) {}

  std::string_view Name() const override { return "AMF"; }
  std::string LoadMessage() const override;
  bool Supports(const GraphicsDevice& device) override;
  Status Probe(GraphicsDevice& device, EncoderCaps& caps) override;
  std::vector<Codec> Capabilities() const override;
  std::vector<EncoderPreset> Presets() const override;
  Status Create(GraphicsDevice& device, const EncoderSettings& settings,
                std::unique_ptr<IVideoEncoder>& encoder) override;

 private:
  // The adapter of the device, once both it and the library are there.
  Status Find(const GraphicsDevice& device, AdapterFacts& adapter) const;

  const Library library_;
  const FindAdapter find_adapter_;
};

}  // namespace orventa
