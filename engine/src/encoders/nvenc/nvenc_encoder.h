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
#include "media/media_win/adapter_facts.h"
#include "media/media_win/d3d11_picture.h"

namespace orventa {

class NvencEncoder final : public IVideoEncoder {
 public:
  // `settings` as NvencSettings gives them.
  NvencEncoder(const NvencApi& api, const AdapterFacts& adapter, EncoderSettings settings);
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
  using Key = std::pair<ID3D11Texture2D*, uint32_t>;  // and the part of it
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
  // One use of the picture's texture more, and one less.
  Status Hold(const D3d11Picture& picture, Resource*& held);
  void LetGo(Resource& resource);
  Status Register(const D3d11Picture& picture, Resource& resource) const;
  Status Map(Resource& resource) const;
  void Unregister(const Resource& resource) const;
  void ForgetOrphans();
  nvenc::NVENCSTATUS Encode(const EncoderFrame& frame, const Resource& resource,
                            nvenc::NV_ENC_OUTPUT_PTR buffer);
  Status TakePacket(nvenc::NV_ENC_OUTPUT_PTR buffer, EncodedPacket& packet) const;
  Slot& SlotOf(uint64_t number) { return slots_[number % slots_.size()]; }

  const AdapterFacts adapter_;  // its device outlives the session
  const EncoderSettings settings_;
  NvencSession session_;

  nvenc::MASTERING_DISPLAY_INFO mastering_{};
  nvenc::CONTENT_LIGHT_LEVEL light_level_{};
  std::map<Key, Resource> resources_;

  // Picture n lies in slot n % size. collected_ <= ready_ <= submitted_; those from
  // ready_ on are still held back by the driver.
  std::vector<Slot> slots_;
  uint64_t submitted_ = 0;
  uint64_t ready_ = 0;
  uint64_t collected_ = 0;
  bool flushing_ = false;
};

}  // namespace orventa
