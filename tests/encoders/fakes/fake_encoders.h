// Backends and a device that answer as a test tells them, and remember what they
// were asked.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "encoders/encoder.h"

namespace orventa {

// The packet's time, or -1 for none yet, -2 for the end, -3 for a failure.
inline int64_t CollectPts(IVideoEncoder& encoder, EncodedPacket& packet, Status& status) {
  switch (encoder.Collect(packet, status)) {
    case CollectResult::Packet: return packet.pts;
    case CollectResult::Finished: return -2;
    case CollectResult::NothingYet: break;
  }
  return status.ok() ? -1 : -3;
}

class FakeDevice final : public GraphicsDevice {
 public:
  explicit FakeDevice(std::string name = "Fake 9000", uint64_t key = 1)
      : name_(std::move(name)), key_(key) {}
  const std::string& AdapterName() const override { return name_; }
  uint64_t AdapterKey() const override { return key_; }
  uint32_t RemovedReason() const override { return 0; }
  void Flush() override {}

 private:
  std::string name_;
  uint64_t key_;
};

class IdleEncoder final : public IVideoEncoder {
 public:
  explicit IdleEncoder(EncoderSettings settings) : settings_(std::move(settings)) {}
  Status Submit(const EncoderFrame&) override { return Status::Ok(); }
  CollectResult Collect(EncodedPacket&, Status&) override { return CollectResult::NothingYet; }
  Status Drain() override { return Status::Ok(); }
  Status Header(std::vector<uint8_t>&) override { return Status::Ok(); }
  const EncoderSettings& Settings() const override { return settings_; }
  bool AcceptsRepeats() const override { return true; }
  bool SlimPool() const override { return true; }

 private:
  EncoderSettings settings_;
};

class FakeBackend final : public IEncoderBackend {
 public:
  explicit FakeBackend(std::string name) : name_(std::move(name)) {}

  bool supports = true;
  bool hardware = true;
  std::string load_message;
  Status probe_status;
  std::vector<CodecCaps> codecs;
  // What Create answers; Ok makes an encoder.
  std::function<Status(const EncoderSettings&)> create = [](const EncoderSettings&) {
    return Status::Ok();
  };

  int probes = 0;
  std::vector<EncoderSettings> asked;

  std::string_view Name() const override { return name_; }
  std::string LoadMessage() const override { return load_message; }
  bool UsesHardware() const override { return hardware; }
  bool Supports(const GraphicsDevice&) override { return supports; }
  Status Probe(GraphicsDevice&, EncoderCaps& caps) override {
    ++probes;
    caps.codecs = codecs;
    return probe_status;
  }
  std::vector<Codec> Capabilities() const override { return {}; }
  std::vector<EncoderPreset> Presets() const override { return {}; }
  Status Create(GraphicsDevice&, const EncoderSettings& settings,
                std::unique_ptr<IVideoEncoder>& encoder) override {
    asked.push_back(settings);
    Status status = create(settings);
    if (status.ok()) encoder = std::make_unique<IdleEncoder>(settings);
    return status;
  }

 private:
  std::string name_;
};

}  // namespace orventa
