// A graphics card with knobs: whether devices can be made, when they are lost, and
// what conversion costs. Captures show a FakeScreen. Converters give out pictures
// of a pool without looking at what comes in, or are the real ones for memory.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/fakes/fake_screen.h"
#include "video/engine_platform.h"

namespace orventa {

class FakeDevice final : public GraphicsDevice {
 public:
  FakeDevice(uint64_t key, const uint32_t& removed_reason, int& alive)
      : key_(key), removed_reason_(removed_reason), alive_(alive) {
    ++alive_;
  }
  ~FakeDevice() override { --alive_; }

  const std::string& AdapterName() const override { return name_; }
  uint64_t AdapterKey() const override { return key_; }
  uint32_t RemovedReason() const override { return lost_ ? lost_reason_ : Look(); }
  void Flush() override { ++flushes; }

  int flushes = 0;

 private:
  // Once lost, a device stays lost.
  uint32_t Look() const {
    lost_reason_ = removed_reason_;
    lost_ = lost_reason_ != 0;
    return lost_reason_;
  }

  std::string name_ = "Fake adapter";
  uint64_t key_;
  const uint32_t& removed_reason_;
  int& alive_;
  mutable bool lost_ = false;
  mutable uint32_t lost_reason_ = 0;
};

class FakeConverter final : public IFrameConverter {
 public:
  FakeConverter(const ConverterSettings& settings, int& conversions)
      : settings_(settings), conversions_(conversions) {
    for (uint32_t i = 0; i < settings.pool_size; ++i) {
      pool_.push_back(
          MemoryPicture::Allocate(settings.ten_bit ? PixelFormat::P010 : PixelFormat::Nv12,
                                  settings.width, settings.height));
    }
  }

  Status Convert(const PictureRef& input, PictureRef& output) override {
    if (input->width() != settings_.input_width || input->height() != settings_.input_height) {
      return {StatusCode::InvalidArgument, "picture of another size"};
    }
    ++conversions_;
    output = pool_[next_++ % pool_.size()];
    return {};
  }
  Status SetTone(float, float) override { return {}; }
  Status RaisePeak(float) override { return {}; }
  void SetDrawnClass(DrawnClass) override {}

 private:
  ConverterSettings settings_;
  int& conversions_;
  std::vector<PictureRef> pool_;
  size_t next_ = 0;
};

class FakeGraphics final : public IGraphics {
 public:
  explicit FakeGraphics(FakeScreen& the_screen) : screen(the_screen), adapter_key(NextKey()) {}

  Status MakeDevice(const std::string&, std::shared_ptr<GraphicsDevice>& device,
                    std::string& adapter_used) override {
    if (!make_device.ok()) return make_device;
    removed_reason = 0;
    ++devices_made;
    device = std::make_shared<FakeDevice>(adapter_key, removed_reason, devices_alive);
    adapter_used = "Fake adapter";
    return {};
  }
  Status CreateCapture(GraphicsDevice&, const CaptureTarget& target, const CaptureOptions&,
                       std::unique_ptr<IVideoCapture>& capture) override {
    captured.push_back(target);
    if (!create_capture.ok()) return create_capture;
    capture = std::make_unique<FakeCapture>(screen);
    return {};
  }
  Status CreateConverter(GraphicsDevice&, const ConverterSettings& settings,
                         std::unique_ptr<IFrameConverter>& converter) override {
    converter_settings = settings;
    if (real_conversion) return MakeMemoryConverter(settings, converter);
    converter = std::make_unique<FakeConverter>(settings, conversions);
    return {};
  }

  // A key that no other card of this process has, since answers are remembered by it.
  static uint64_t NextKey() {
    static std::atomic<uint64_t> key = 0;
    return ++key;
  }

  FakeScreen& screen;

  // Knobs.
  Status make_device;
  Status create_capture;
  uint32_t removed_reason = 0;  // not 0: the device of now is lost
  uint64_t adapter_key;
  bool real_conversion = false;

  // Counters.
  int devices_made = 0;
  int devices_alive = 0;
  int conversions = 0;
  std::vector<CaptureTarget> captured;
  ConverterSettings converter_settings;  // of the newest converter
};

}  // namespace orventa
