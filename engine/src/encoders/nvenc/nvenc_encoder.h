// One NVENC encoder at work. Pictures are textures of the device it was opened on;
// each is registered with the driver once and then mapped for as long as it is being
// encoded, however often it was submitted. With B-frames, packets come in coding
// order. Used by one thread at a time.
#pragma once

#include <wrl/client.h>

#include <map>
#include <memory>
#include <vector>

#include "encoders/encoder.h"
#include "encoders/nvenc/nvenc_api.h"
#include "media/media_win/d3d11.h"

namespace orventa {

class NvencEncoder final : public IVideoEncoder {
 public:
  // `settings` as NvencSettings gives them.
  NvencEncoder(const NvencApi& api, const D3d11Device& device, EncoderSettings settings);
  ~NvencEncoder() override;

  // Once, before anything else.
  Status Open();

  Status Submit(const EncoderFrame& frame) override;
  CollectResult Collect(EncodedPacket& packet, Status& status) override;
  Status Drain() override;
  Status Header(std::vector<uint8_t>& bytes) override;
  const EncoderSettings& Settings() const override { return settings_; }
  bool AcceptsRepeats() const override { return true; }
  bool SlimPool() const override { return true; }

 private:
  // A texture that the driver knows.
  struct Resource {
    Microsoft::WRL::ComPtr<ID3D11Texture2D> texture;
    nvenc::NV_ENC_REGISTERED_PTR registered = nullptr;
    nvenc::NV_ENC_INPUT_PTR mapped = nullptr;
    uint32_t mapped_format = 0;
    uint32_t uses = 0;  // submitted pictures that are not collected; mapped while not 0
  };
  // A submitted picture and the buffer that its packet, or another one's, goes into.
  struct Slot {
    nvenc::NV_ENC_OUTPUT_PTR buffer = nullptr;
    PictureRef picture;
    Resource* resource = nullptr;
  };

  Status CheckCodec() const;
  Status Initialise();
  Status MakeBuffers();
  Status Check(const EncoderFrame& frame, const D3d11Picture*& picture) const;
  // Finds the picture's texture among those registered, or registers it.
  Status Register(const D3d11Picture& picture, Resource*& resource);
  void ForgetOrphans();
  // One use of the texture more, and one less.
  Status Hold(Resource& resource);
  void LetGo(Resource& resource);
  nvenc::NVENCSTATUS Encode(const EncoderFrame& frame, const Resource& resource,
                            nvenc::NV_ENC_OUTPUT_PTR buffer);
  Status TakePacket(nvenc::NV_ENC_OUTPUT_PTR buffer, EncodedPacket& packet) const;
  Slot& SlotOf(uint64_t number) { return slots_[number % slots_.size()]; }

  const Microsoft::WRL::ComPtr<ID3D11Device> device_;  // outlives the session
  const uint64_t driver_version_;
  const EncoderSettings settings_;
  NvencSession session_;

  nvenc::MASTERING_DISPLAY_INFO mastering_{};
  nvenc::CONTENT_LIGHT_LEVEL light_level_{};
  std::map<ID3D11Texture2D*, Resource> resources_;

  // Picture n lies in slot n % size. collected_ <= ready_ <= submitted_; those from
  // ready_ on are still held back by the driver.
  std::vector<Slot> slots_;
  uint64_t submitted_ = 0;
  uint64_t ready_ = 0;
  uint64_t collected_ = 0;
  bool flushing_ = false;
};

}  // namespace orventa
