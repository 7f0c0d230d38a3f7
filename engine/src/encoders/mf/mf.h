// Intel's encoder (Quick Sync) on textures of a Direct3D 11 device, by the transform
// that its driver gives to Media Foundation.
//   mf_names.h       what the import headers lack
//   mf_options.cpp   our settings in the words of Media Foundation
//   mf_events.cpp    what a transform tells of itself
//   mf_transform.cpp the transform: finding it, setting it up, pictures in and packets out
//   mf_encoder.cpp   one encoder at work
//   mf_backend.cpp   what there is on an adapter
//
// Wine has Media Foundation, a device manager and textures as samples, but no transform
// of a card and no P010, so this has run against a transform that the tests bring, and
// not on Intel's. Not measured there: whether the header stands in the type from the
// start (else LearnHeader encodes one picture to see it), by how much times are rounded
// (half a picture is allowed), and whether HDR metadata of the types reaches the stream.
#pragma once

#include "encoders/encoder.h"
#include "media/media_win/adapter_facts.h"

namespace orventa {

struct MediaFoundation;

class QsvBackend final : public IEncoderBackend {
 public:
  // Both are called at each use. The library that is given lives for the whole process.
  using Library = const MediaFoundation& (*)();
  using FindAdapter = AdapterFacts (*)(const GraphicsDevice&);
  QsvBackend(Library library, FindAdapter find_adapter)
      : library_(library), find_adapter_(find_adapter) {}

  std::string_view Name() const override { return "Quick Sync"; }
  std::string LoadMessage() const override;
  bool Supports(const GraphicsDevice& device) override;
  Status Probe(GraphicsDevice& device, EncoderCaps& caps) override;
  std::vector<Codec> Capabilities() const override;
  std::vector<EncoderPreset> Presets() const override;
  Status Create(GraphicsDevice& device, const EncoderSettings& settings,
                std::unique_ptr<IVideoEncoder>& encoder) override;

 private:
  Status LoadStatus() const;
  // The adapter of the device, once both it and the library are there.
  Status Find(const GraphicsDevice& device, AdapterFacts& adapter) const;

  const Library library_;
  const FindAdapter find_adapter_;
};

}  // namespace orventa
