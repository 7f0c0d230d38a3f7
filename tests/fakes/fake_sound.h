// Sound with knobs: devices that are there or not, play what the test says, and
// encoders that note what they are given. Left to themselves, samples tell the time
// at which they were heard.
#pragma once

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "sound/sound_sources.h"

namespace orventa {

struct FakeSource {
  Status make;   // what making a capture of it answers
  Status start;  // what starting one answers
  uint32_t rate = 48000;
  Status read;
  std::string trouble;
  std::vector<DeviceStint> trail;
  // (left, right) at a time of the steady clock.
  std::function<std::pair<int16_t, int16_t>(uint64_t at_ns)> play = [](uint64_t at_ns) {
    const int16_t ms = MsMark(at_ns);
    return std::pair(ms, ms);
  };
  static int16_t MsMark(uint64_t at_ns) { return static_cast<int16_t>(at_ns / kNsPerMs % 32000); }

  int alive = 0;
  uint64_t most_read = 0;  // frames at once
};

class FakeSoundCapture final : public IAudioCapture {
 public:
  explicit FakeSoundCapture(FakeSource& source) : source_(source), rate_(source.rate) {
    ++source_.alive;
  }
  ~FakeSoundCapture() override { --source_.alive; }
  Status Start() override { return source_.start; }
  void Stop() override {}
  bool IsRunning() const override { return true; }
  void SetOrigin(uint64_t origin_ns, uint64_t frames_delivered) override {
    origin_ns_ = origin_ns;
    delivered_ = frames_delivered;
  }
  Status Read(uint64_t until_ns, std::vector<int16_t>& out) override {
    if (!source_.read.ok()) return source_.read;
    const uint64_t end = FramesBefore(origin_ns_, until_ns, rate_);
    source_.most_read = std::max(source_.most_read, end - std::min(end, delivered_));
    for (; delivered_ < end; ++delivered_) {
      const auto [left, right] = source_.play(origin_ns_ + delivered_ * kNsPerSecond / rate_);
      out.push_back(left);
      out.push_back(right);
    }
    return {};
  }
  SoundFormat Format() const override { return {rate_, 2}; }
  std::vector<DeviceStint> Trail() const override { return source_.trail; }
  std::string Trouble() const override { return source_.trouble; }

 private:
  FakeSource& source_;
  const uint32_t rate_;
  uint64_t origin_ns_ = 0;
  uint64_t delivered_ = 0;
};

class FakeSound : public ISoundSources {
 public:
  struct Heard {
    uint64_t pts = 0;
    std::vector<int16_t> samples;
  };
  struct Encoder {
    AacSettings settings;
    std::vector<Heard> heard;
  };

  Status MakeOutputCapture(const std::string& device, uint32_t,
                           std::unique_ptr<IAudioCapture>& out) override {
    made += "output(" + device + ") ";
    return Make(output, out);
  }
  Status MakeMicrophoneCapture(const std::string&, uint32_t,
                               std::unique_ptr<IAudioCapture>& out) override {
    made += "microphone ";
    return Make(microphone, out);
  }
  Status MakeProcessCapture(uint32_t pid, ProcessTree tree,
                            std::unique_ptr<IAudioCapture>& out) override {
    const bool only = tree == ProcessTree::Only;
    made += only ? "only(" + std::to_string(pid) + ") " : "except ";
    return Make(only ? game : all, out);
  }
  Status MakeAacEncoder(const AacSettings& settings, std::unique_ptr<IAacEncoder>& out) override;
  Status SoundingProcesses(std::vector<SoundingProcess>&) override { return {}; }
  Status Outputs(std::vector<SoundDevice>&) override { return {}; }
  Status Inputs(std::vector<SoundDevice>&) override { return {}; }

  // Knobs.
  FakeSource all;   // all but this program
  FakeSource game;  // one process
  FakeSource output;
  FakeSource microphone;
  std::function<Status(const AacSettings&)> encoder = [](const AacSettings&) { return Status(); };
  bool refuse = false;     // encoders take nothing
  bool keep_heard = true;  // off: encoding costs nothing

  // Counters.
  uint64_t packets_given = 0;
  std::string made;  // captures asked for, in order
  std::vector<std::shared_ptr<Encoder>> encoders;

 private:
  static Status Make(FakeSource& source, std::unique_ptr<IAudioCapture>& out) {
    if (!source.make.ok()) return source.make;
    out = std::make_unique<FakeSoundCapture>(source);
    return {};
  }
};

// Packets of one byte: whether anything in them is to be heard.
class FakeAacEncoder final : public IAacEncoder {
 public:
  FakeAacEncoder(FakeSound& sound, std::shared_ptr<FakeSound::Encoder> notes)
      : sound_(sound), notes_(std::move(notes)) {}

  Status Encode(std::span<const int16_t> samples, uint64_t pts) override {
    if (sound_.refuse)
      return {StatusCode::DriverError, "the AAC encoder would not take more sound"};
    if (sound_.keep_heard) notes_->heard.push_back({pts, {samples.begin(), samples.end()}});
    const SoundFormat format = Format();
    for (size_t i = 0; i < samples.size(); i += format.channels) {
      if (inside_ == 0) pts_ = pts + i / format.channels * kNsPerSecond / format.sample_rate;
      audible_ = audible_ || samples[i] != 0;
      if (++inside_ == kAacFrames) Finish();
    }
    return {};
  }
  bool Next(AacPacket& packet, Status& status) override {
    status = {};
    if (count_ == 0) return false;
    packet.bytes.assign(1, waiting_[0].second ? 1 : 0);
    packet.pts = waiting_[0].first;
    std::move(waiting_.begin() + 1, waiting_.begin() + count_, waiting_.begin());
    --count_;
    ++sound_.packets_given;
    return true;
  }
  Status Flush() override {
    if (inside_ > 0) Finish();
    return {};
  }
  std::span<const uint8_t> Config() const override {
    return Format().channels == 2 ? kStereo : kMono;
  }
  SoundFormat Format() const override {
    return {notes_->settings.sample_rate, notes_->settings.channels};
  }

 private:
  static constexpr std::array<uint8_t, 2> kStereo = {0x11, 0x90};
  static constexpr std::array<uint8_t, 2> kMono = {0x11, 0x88};

  void Finish() {
    waiting_.at(static_cast<size_t>(count_++)) = {pts_, audible_};
    inside_ = 0;
    audible_ = false;
  }

  FakeSound& sound_;
  std::shared_ptr<FakeSound::Encoder> notes_;
  uint32_t inside_ = 0;
  uint64_t pts_ = 0;
  bool audible_ = false;
  std::array<std::pair<uint64_t, bool>, 512> waiting_ = {};  // so that it never allocates
  int count_ = 0;
};

inline Status FakeSound::MakeAacEncoder(const AacSettings& settings,
                                        std::unique_ptr<IAacEncoder>& out) {
  if (Status status = encoder(settings); !status.ok()) return status;
  encoders.push_back(std::make_shared<Encoder>(Encoder{settings, {}}));
  out = std::make_unique<FakeAacEncoder>(*this, encoders.back());
  return {};
}

}  // namespace orventa
