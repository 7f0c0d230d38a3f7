// An encoder that gives a small packet for every frame, with knobs for whatever
// encoders do to their users. The backend outlives its encoders and counts them.
#pragma once

#include <array>
#include <deque>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/clock.h"
#include "encoders/encoder.h"

namespace orventa {

struct FakeEncoderBackend final : IEncoderBackend {
  explicit FakeEncoderBackend(IClock& the_clock) : clock(the_clock) {
    pts.reserve(1U << 20U);
    pictures.reserve(1U << 20U);
  }

  std::string_view Name() const override { return "Fake"; }
  bool Supports(const GraphicsDevice&) override { return true; }
  Status Probe(GraphicsDevice&, EncoderCaps& caps) override {
    ++probes;
    caps.name = "Fake";
    if (exists)
      caps.codecs.push_back({.codec = Codec::H264, .max_width = 8192, .max_height = 8192});
    return {};
  }
  std::vector<Codec> Capabilities() const override { return {Codec::H264}; }
  std::vector<EncoderPreset> Presets() const override { return {}; }
  Status Create(GraphicsDevice& device, const EncoderSettings& settings,
                std::unique_ptr<IVideoEncoder>& encoder) override;

  IClock& clock;

  // Knobs.
  bool exists = true;
  Status create;               // what opening one answers
  Status submit;               // what every frame answers
  uint64_t latency_ns = 0;     // from frame to packet
  uint32_t frames_behind = 0;  // packets come only while more frames are inside
  bool stuck = false;          // no packet comes any more
  bool throws = false;         // every frame throws
  bool accepts_repeats = true;
  bool slim_pool = true;
  // The sequence header of an encoder with these settings.
  std::function<std::vector<uint8_t>(const EncoderSettings&)> header =
      [](const EncoderSettings& s) {
        return std::vector<uint8_t>{static_cast<uint8_t>(s.codec), static_cast<uint8_t>(s.width),
                                    static_cast<uint8_t>(s.width >> 8U),
                                    static_cast<uint8_t>(s.height),
                                    static_cast<uint8_t>(s.height >> 8U)};
      };
  std::function<void(const EncoderFrame&)> on_frame;  // may be empty
  Payload key_payload = Payload::Copy(std::array<uint8_t, 5>{0, 0, 0, 1, 0x65});
  Payload delta_payload = Payload::Copy(std::array<uint8_t, 5>{0, 0, 0, 1, 0x41});

  // Counters.
  int probes = 0;
  int opened = 0;
  int alive = 0;
  EncoderSettings settings;              // of the newest encoder
  std::vector<uint64_t> pts;             // of every frame taken
  std::vector<const Picture*> pictures;  // likewise
  uint32_t deepest = 0;                  // frames ever inside at once
};

class FakeEncoder final : public IVideoEncoder {
 public:
  FakeEncoder(FakeEncoderBackend& backend, const EncoderSettings& settings)
      : backend_(backend), settings_(settings) {
    ++backend_.opened;
    ++backend_.alive;
    backend_.settings = settings;
  }
  ~FakeEncoder() override { --backend_.alive; }

  Status Submit(const EncoderFrame& frame) override {
    if (backend_.throws) throw std::runtime_error("the encoder broke");
    if (!backend_.submit.ok()) return backend_.submit;
    const uint64_t keyframe_every =
        uint64_t{settings_.keyframe_seconds} * settings_.fps_num / settings_.fps_den;
    if (backend_.on_frame) backend_.on_frame(frame);
    inside_[(head_ + count_) % kInside] = {
        .pts = frame.pts,
        .ready_at_ns = backend_.clock.SteadyNs() + backend_.latency_ns,
        .keyframe = frame.force_keyframe || frames_ % keyframe_every == 0};
    ++frames_;
    if (++count_ > backend_.deepest) backend_.deepest = count_;
    backend_.pts.push_back(frame.pts);
    backend_.pictures.push_back(frame.picture.get());
    return {};
  }
  CollectResult Collect(EncodedPacket& packet, Status&) override {
    if (count_ == 0) return draining_ ? CollectResult::Finished : CollectResult::NothingYet;
    const Frame& oldest = inside_[head_];
    const bool behind = !draining_ && count_ <= backend_.frames_behind;
    if (backend_.stuck || behind || backend_.clock.SteadyNs() < oldest.ready_at_ns) {
      return CollectResult::NothingYet;
    }
    packet.data = oldest.keyframe ? backend_.key_payload : backend_.delta_payload;
    packet.pts = packet.dts = static_cast<int64_t>(oldest.pts);
    packet.keyframe = oldest.keyframe;
    head_ = (head_ + 1) % kInside;
    --count_;
    return CollectResult::Packet;
  }
  Status Drain() override {
    draining_ = true;
    return {};
  }
  Status Header(std::vector<uint8_t>& bytes) override {
    bytes = backend_.header(settings_);
    return {};
  }
  const EncoderSettings& Settings() const override { return settings_; }
  bool AcceptsRepeats() const override { return backend_.accepts_repeats; }
  bool SlimPool() const override { return backend_.slim_pool; }

 private:
  struct Frame {
    uint64_t pts = 0;
    uint64_t ready_at_ns = 0;
    bool keyframe = false;
  };
  FakeEncoderBackend& backend_;
  EncoderSettings settings_;
  static constexpr uint32_t kInside = 64;
  std::array<Frame, kInside> inside_ = {};  // a ring, so that encoding never allocates
  uint32_t head_ = 0;
  uint32_t count_ = 0;
  uint64_t frames_ = 0;
  bool draining_ = false;
};

inline Status FakeEncoderBackend::Create(GraphicsDevice&, const EncoderSettings& wanted,
                                         std::unique_ptr<IVideoEncoder>& encoder) {
  if (!create.ok()) return create;
  encoder = std::make_unique<FakeEncoder>(*this, wanted);
  return {};
}

}  // namespace orventa
