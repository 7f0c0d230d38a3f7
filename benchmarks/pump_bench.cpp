// What sound costs the engine in a frame slot: two devices of their own clocks, gate
// and volumes, two tracks. Encoders take everything and give nothing.
#include <atomic>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "benchmarks/bench.h"
#include "sound/capture_queue.h"
#include "tests/fakes/counted_heap.h"
#include "video/sound_pump.h"

namespace orventa::bench {
namespace {

constexpr uint32_t kRate = 48000;
constexpr uint64_t kSlotNs = kNsPerSecond / 60;
constexpr uint64_t kBeginNs = 1000 * kNsPerSecond;

// A device that gives packets of 10 ms.
class PacketCapture final : public IAudioCapture {
 public:
  PacketCapture() : sound_(queue_, SoundTiming::Direct, kRate), packet_(size_t{2} * kRate / 100) {
    queue_.PushFormat(kRate);
    for (size_t i = 0; i < packet_.size(); ++i) {
      packet_[i] = 0.5F * std::sin(static_cast<float>(i) / 20);
    }
  }
  void GiveUntil(uint64_t until_ns) {
    for (; at_ns_ < until_ns; at_ns_ += 10 * kNsPerMs) {
      queue_.PushFrames({kRate / 100, kRate, 0, at_ns_, at_ns_ + 10 * kNsPerMs}, downmix_,
                        packet_.data());
    }
  }
  Status Start() override { return {}; }
  void Stop() override {}
  bool IsRunning() const override { return true; }
  void SetOrigin(uint64_t origin_ns, uint64_t delivered) override {
    sound_.SetOrigin(origin_ns, delivered);
  }
  Status Read(uint64_t until_ns, std::vector<int16_t>& out) override {
    return sound_.Read(until_ns, out);
  }
  SoundFormat Format() const override { return {kRate, 2}; }
  std::vector<DeviceStint> Trail() const override { return {}; }
  std::string Trouble() const override { return {}; }

 private:
  CaptureQueue queue_;
  QueuedSound sound_;
  Downmix downmix_;
  std::vector<float> packet_;
  uint64_t at_ns_ = kBeginNs;
};

class NoEncoding final : public IAacEncoder {
 public:
  Status Encode(std::span<const int16_t>, uint64_t) override { return {}; }
  bool Next(AacPacket&, Status&) override { return false; }
  Status Flush() override { return {}; }
  std::span<const uint8_t> Config() const override { return {}; }
  SoundFormat Format() const override { return {kRate, 2}; }
};

std::vector<Row> MeasurePump() {
  SoundChain chain;
  auto system = std::make_unique<PacketCapture>();
  auto microphone = std::make_unique<PacketCapture>();
  PacketCapture& system_device = *system;
  PacketCapture& microphone_device = *microphone;
  chain.system = std::move(system);
  chain.microphone = std::move(microphone);
  for (const bool from_microphone : {false, true}) {
    SoundTrack& track = chain.tracks.emplace_back();
    track.encoder = std::make_unique<NoEncoding>();
    track.from_microphone = from_microphone;
  }
  chain.layout.settings.system_volume = 80;
  chain.layout.settings.microphone_volume = 80;
  chain.layout.settings.microphone_gate = true;
  SoundLevels levels;
  SoundPump pump(std::move(chain), levels);
  pump.Begin(kBeginNs, 0);

  constexpr uint64_t kWarmSlots = 600;
  std::atomic<uint64_t> allocations = 0;
  std::vector<double> seconds;
  for (uint64_t slot = 10; slot < 3600; ++slot) {
    const uint64_t now_ns = kBeginNs + slot * kSlotNs;
    system_device.GiveUntil(now_ns);
    microphone_device.GiveUntil(now_ns);
    CountAllocationsInto(slot < kWarmSlots ? nullptr : &allocations);
    const double begun = Seconds();
    pump.Pump(now_ns, now_ns - 100 * kNsPerMs, false);
    const double took = Seconds() - begun;
    CountAllocationsInto(nullptr);
    seconds.push_back(took);
  }
  return {{"sound.pump_us", Median(std::move(seconds)) * 1e6},
          {"sound.pump_allocations", static_cast<double>(allocations)}};
}

const Register kPump("pump", MeasurePump);

}  // namespace
}  // namespace orventa::bench
