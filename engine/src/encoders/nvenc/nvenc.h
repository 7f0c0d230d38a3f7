// NVIDIA's encoder on textures of a Direct3D 11 device. Its library comes with the
// display driver and is bound at run time, so that there need not be one.
//   nvenc_abi.h      the library's binary interface
//   nvenc_api.cpp    the library: loading, sessions, what its errors mean
//   nvenc_config.cpp our settings in its words
//   nvenc_encoder.cpp one encoder at work
//   nvenc_backend.cpp what there is on an adapter
#pragma once

#include "encoders/encoder.h"

namespace orventa {

class NvencApi;

class NvencBackend final : public IEncoderBackend {
 public:
  // Called at each use; the library that it gives lives for the whole process.
  using Library = const NvencApi& (*)();
  explicit NvencBackend(Library library) : library_(library) {}

  std::string_view Name() const override { return "NVENC"; }
  std::string LoadMessage() const override;
  bool Supports(const GraphicsDevice& device) override;
  Status Probe(GraphicsDevice& device, EncoderCaps& caps) override;
  std::vector<Codec> Capabilities() const override;
  std::vector<EncoderPreset> Presets() const override;
  Status Create(GraphicsDevice& device, const EncoderSettings& settings,
                std::unique_ptr<IVideoEncoder>& encoder) override;

 private:
  const Library library_;
};

// The one on the driver's own library.
IEncoderBackend& TheNvencBackend();

}  // namespace orventa
