// One encoder of Media Foundation at work. Pictures are textures of the device it was
// opened on, and each is held until its packet is there. Packets come in the order of
// submission. Used by one thread at a time.
#pragma once

#include <optional>
#include <vector>

#include "encoders/encoder.h"
#include "encoders/mf/mf_transform.h"
#include "encoders/picture_queue.h"

namespace orventa {

class MfEncoder final : public IVideoEncoder {
 public:
  // `settings` as PlainCardSettings gives them. `mf` must outlive it.
  MfEncoder(const MediaFoundation& mf, const AdapterFacts& adapter, EncoderSettings settings);

  // Once, before anything else.
  Status Open();

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
  Status Start();
  Status LearnHeader();
  Status EncodeBlank();
  // Until the transform wants a picture, taking packets out of it meanwhile.
  Status AwaitWanted();
  // Takes what the transform told that it has, if it did.
  Status Receive(bool& taken);
  Status Keep(IMFSample& sample);

  const MediaFoundation& mf_;
  const AdapterFacts adapter_;
  const EncoderSettings settings_;
  MfSession session_;  // outlives everything below
  std::optional<MfTransform> transform_;
  std::vector<uint8_t> header_;
  PictureQueue pictures_;
};

}  // namespace orventa
