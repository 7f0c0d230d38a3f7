// One AMF encoder at work. Pictures are textures of the device it was opened on; the
// library reads them where they are, so each is held until its packet is there.
// Packets come in the order of submission. Used by one thread at a time.
#pragma once

#include <array>
#include <vector>

#include "encoders/amf/amf_api.h"
#include "encoders/encoder.h"
#include "media/media_win/adapter_facts.h"

namespace orventa {

class AmfEncoder final : public IVideoEncoder {
 public:
  // `settings` as AmfSettings gives them. A context of one encoder only.
  AmfEncoder(const AmfApi& api, const AdapterFacts& adapter, EncoderSettings settings);
  ~AmfEncoder() override;

  // Once, before anything else.
  Status Open();
  // The largest picture; zeros when the library does not tell.
  void ReadLimits(uint32_t& width, uint32_t& height) const;

  Status Submit(const EncoderFrame& frame) override;
  CollectResult Collect(EncodedPacket& packet, Status& status) override;
  Status Drain() override;
  Status Header(std::vector<uint8_t>& bytes) override {
    bytes = header_;
    return Status::Ok();
  }
  const EncoderSettings& Settings() const override { return settings_; }
  bool AcceptsRepeats() const override { return false; }
  bool SlimPool() const override { return false; }

 private:
  // More pictures than the library's own queue takes.
  static constexpr uint64_t kSlots = 64;
  struct Slot {
    uint64_t pts = 0;  // ns; the library counts in a coarser unit
    PictureRef picture;
    EncodedPacket packet;
  };

  Status Configure();
  Status SetMetadata();
  Status ReadHeader();
  Status Check(const EncoderFrame& frame) const;
  Status Wrap(const EncoderFrame& frame, bool keyframe, AmfRef<amf::AMFSurface>& surface) const;
  // Makes a call again for as long as the library's queue is full, taking packets out
  // of it meanwhile.
  template <typename Call>
  Status Insist(const char* name, Call call);
  // Takes one packet if one is ready.
  Status Receive(bool& taken);
  Status Keep(amf::AMFData& data);

  const AmfApi& api_;
  const AdapterFacts adapter_;  // its device outlives the context
  const EncoderSettings settings_;
  const uint64_t keyframe_distance_;

  AmfContextRef context_;
  AmfRef<amf::AMFComponent> component_;
  bool initialised_ = false;
  std::vector<uint8_t> header_;

  // Picture n lies in slot n % kSlots. collected_ <= encoded_ <= submitted_.
  std::array<Slot, kSlots> slots_;
  uint64_t submitted_ = 0;
  uint64_t encoded_ = 0;
  uint64_t collected_ = 0;
  uint64_t since_keyframe_ = 0;
  bool draining_ = false;
  bool finished_ = false;
};

}  // namespace orventa
