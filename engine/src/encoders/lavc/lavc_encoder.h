// One encoder of libavcodec at work, whatever the library behind it. Software is
// done within Submit; hardware runs a frame or two behind. Frames are numbered on
// their way in and get their times back on their way out, so that times survive
// exactly and dts equals pts. Used by one thread at a time.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "encoders/encoder.h"
#include "encoders/lavc/lavc_options.h"
#include "encoders/picture_queue.h"

namespace orventa {

// The render node that VA-API works on; empty when this machine has none.
std::string RenderNode();

Status OpenLavcEncoder(LavcKind kind, const EncoderSettings& settings,
                       std::unique_ptr<IVideoEncoder>& out);

namespace lavc {

struct FreeContext {
  void operator()(AVCodecContext* context) const;
};
struct FreeFrame {
  void operator()(AVFrame* frame) const;
};
struct FreePacket {
  void operator()(AVPacket* packet) const;
};
struct FreeBuffer {
  void operator()(AVBufferRef* buffer) const;
};
struct FreePool {
  void operator()(AVBufferPool* pool) const;
};

}  // namespace lavc

class LavcEncoder final : public IVideoEncoder {
 public:
  LavcEncoder(LavcKind kind, EncoderSettings settings);

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
  // Every library copies or uploads a picture and never writes into it.
  bool AcceptsRepeats() const override { return true; }
  // Frames inside count against the pool, and there can be three of them.
  bool SlimPool() const override { return false; }

 private:
  Status OpenContext();
  Status OpenSurfaces();
  // Some libraries tell their header only with the first packet: encodes a blank
  // picture for it, and leaves the context closed.
  Status LearnHeader();
  Status Check(const EncoderFrame& frame) const;
  Status Send(const EncoderFrame& frame);
  Status FillFrame(const PictureRef& picture);
  Status SplitPlanes(const MemoryPicture& picture);
  Status Upload();
  // Takes every packet that is ready; with nothing sent, never waits.
  Status Receive();
  Status Keep(const AVPacket& packet);
  Status Failed(int error, const char* what) const;

  const LavcKind kind_;
  const EncoderSettings settings_;
  const AVPixelFormat input_format_;

  std::vector<uint8_t> header_;
  std::unique_ptr<AVBufferPool, lavc::FreePool> planes_;  // chroma, or all at 10 bits
  std::unique_ptr<AVCodecContext, lavc::FreeContext> context_;
  std::unique_ptr<AVFrame, lavc::FreeFrame> frame_;
  std::unique_ptr<AVFrame, lavc::FreeFrame> surface_;  // VA-API only
  std::unique_ptr<AVPacket, lavc::FreePacket> packet_;

  // Holds no pictures, for the library does. The times that come back are numbers.
  PictureQueue pictures_;
};

}  // namespace orventa
