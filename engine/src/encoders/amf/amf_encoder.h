// One AMF encoder at work. Pictures are textures of the device it was opened on; the
// library reads them where they are, so each is held until its packet is there.
// Packets come in the order of submission. Used by one thread at a time.
#pragma once

#include <vector>

#include "encoders/amf/amf_api.h"
#include "encoders/encoder.h"
#include "encoders/picture_queue.h"
#include "media/media_win/adapter_facts.h"
#include "media/media_win/d3d11_picture.h"

namespace orventa {

class AmfEncoder final : public IVideoEncoder {
 public:
  // `settings` as PlainCardSettings gives them. A context of one encoder only.
  AmfEncoder(const AmfApi& api, const AdapterFacts& adapter, EncoderSettings settings);
  ~AmfEncoder() override;

  // Once, before anything else.
  Status Open();
  // Of the largest picture, since Open; 0 when the library does not tell.
  uint32_t max_width() const { return max_width_; }
  uint32_t max_height() const { return max_height_; }

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
  Status ReadCaps();
  Status Configure();
  Status SetMetadata();
  Status ReadHeader();
  Status Wrap(const D3d11Picture& picture, uint64_t pts, bool keyframe,
              AmfRef<amf::AMFSurface>& surface) const;
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

  AmfContextRef context_;
  AmfRef<amf::AMFComponent> component_;
  uint32_t max_width_ = 0;
  uint32_t max_height_ = 0;
  bool initialised_ = false;
  std::vector<uint8_t> header_;

  // The encoder is told of each keyframe by itself: the library's own period does not go
  // with forced ones, and ends at a thousand.
  PictureQueue pictures_;
  bool finished_ = false;
};

}  // namespace orventa
