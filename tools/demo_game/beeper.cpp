#include "tools/demo_game/beeper.h"

#include <pulse/pulseaudio.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <vector>

namespace orventa {
namespace {

constexpr uint32_t kRate = 48000;
constexpr int64_t kNoTime = INT64_MIN;
constexpr uint32_t kAheadMs = 200;
constexpr uint64_t kAskEveryNs = 50 * kNsPerMs;
constexpr uint64_t kLookAgainNs = kNsPerSecond;
constexpr float kLoudness = 0.5F;

int64_t ToFrames(int64_t ns) {
  return std::llround(static_cast<double>(ns) * kRate / static_cast<double>(kNsPerSecond));
}

}  // namespace

// Its thread turns the connection; the server asks for sound there.
class Beeper::Player {
 public:
  Player(IClock& clock, const char* program)
      : clock_(clock), program_(program), loop_(pa_mainloop_new()) {
    thread_ = clock.StartThread("beeper", ThreadPriority::FrameClock, [this] { Run(); });
  }

  ~Player() {
    stop_ = true;
    pa_mainloop_wakeup(loop_);
    thread_->Join();
    pa_mainloop_free(loop_);
  }

  void At(uint64_t steady_ns) { due_ns_ = static_cast<int64_t>(steady_ns); }
  bool IsPlaying() const { return timed_; }

 private:
  void Run() {
    bool told = false;
    while (!stop_) {
      if (context_ == nullptr) Connect();
      const bool gone = !Turn(20 * kNsPerMs);
      if (!gone) continue;
      if (!told) std::fprintf(stderr, "%s: no sound server, it goes on in silence\n", program_);
      told = true;
      Disconnect();
      Turn(kLookAgainNs);
    }
    Disconnect();
  }

  // False: there is no connection, or no more.
  bool Turn(uint64_t wait_ns) {
    pa_mainloop_prepare(loop_, static_cast<int>(wait_ns / 1000));
    pa_mainloop_poll(loop_);
    pa_mainloop_dispatch(loop_);
    if (context_ == nullptr || !PA_CONTEXT_IS_GOOD(pa_context_get_state(context_))) return false;
    if (stream_ == nullptr) {
      return pa_context_get_state(context_) != PA_CONTEXT_READY || OpenStream();
    }
    const pa_stream_state_t state = pa_stream_get_state(stream_);
    if (!PA_STREAM_IS_GOOD(state)) return false;
    if (state == PA_STREAM_READY && clock_.SteadyNs() >= next_ask_ns_) AskForTiming();
    return true;
  }

  void Connect() {
    context_ = pa_context_new(pa_mainloop_get_api(loop_), program_);
    pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
  }

  void Disconnect() {
    timed_ = false;
    if (asking_ != nullptr) {
      pa_operation_cancel(asking_);
      pa_operation_unref(asking_);
      asking_ = nullptr;
    }
    if (stream_ != nullptr) {
      pa_stream_set_write_callback(stream_, nullptr, nullptr);
      pa_stream_disconnect(stream_);
      pa_stream_unref(stream_);
      stream_ = nullptr;
    }
    if (context_ != nullptr) {
      pa_context_disconnect(context_);
      pa_context_unref(context_);
      context_ = nullptr;
    }
  }

  bool OpenStream() {
    const pa_sample_spec spec = {PA_SAMPLE_FLOAT32NE, kRate, 1};
    stream_ = pa_stream_new(context_, "flashes", &spec, nullptr);
    if (stream_ == nullptr) return false;
    pa_stream_set_write_callback(stream_, &OnWanted, this);
    written_ = 0;
    constexpr auto kDefault = static_cast<uint32_t>(-1);
    constexpr uint32_t kAhead = kRate / 1000 * kAheadMs * sizeof(float);
    // Nothing is gathered first: a stream that runs dry keeps its place in time.
    const pa_buffer_attr buffer = {kDefault, kAhead, 0, kDefault, kDefault};
    return pa_stream_connect_playback(stream_, nullptr, &buffer, PA_STREAM_ADJUST_LATENCY, nullptr,
                                      nullptr) >= 0;
  }

  void AskForTiming() {
    if (asking_ != nullptr) return;
    asking_ = pa_stream_update_timing_info(stream_, &OnTiming, this);
  }

  static void OnTiming(pa_stream* stream, int success, void* self) {
    auto& me = *static_cast<Player*>(self);
    pa_operation_unref(me.asking_);
    me.asking_ = nullptr;
    me.next_ask_ns_ = me.clock_.SteadyNs() + kAskEveryNs;
    const pa_timing_info* const info = success != 0 ? pa_stream_get_timing_info(stream) : nullptr;
    if (info != nullptr && info->playing != 0) me.TakeTiming(*info);
  }

  // The frame that the output takes next is heard once all before it has been.
  void TakeTiming(const pa_timing_info& info) {
    timeval now = {};
    pa_gettimeofday(&now);
    const auto steady_ns = static_cast<int64_t>(clock_.SteadyNs());
    const int64_t ago_us = (int64_t{now.tv_sec} - info.timestamp.tv_sec) * 1'000'000 +
                           (int64_t{now.tv_usec} - info.timestamp.tv_usec);
    heard_frame_ = info.read_index / static_cast<int64_t>(sizeof(float));
    heard_ns_ = steady_ns + (static_cast<int64_t>(info.sink_usec) - ago_us) * 1000;
    written_ = info.write_index / static_cast<int64_t>(sizeof(float));
    timed_ = true;
  }

  static void OnWanted(pa_stream* stream, size_t bytes, void* self) {
    auto& me = *static_cast<Player*>(self);
    me.sound_.assign(bytes / sizeof(float), 0.0F);
    me.PutTone();
    const size_t size = me.sound_.size() * sizeof(float);
    pa_stream_write(stream, me.sound_.data(), size, nullptr, 0, PA_SEEK_RELATIVE);
    me.written_ += static_cast<int64_t>(me.sound_.size());
  }

  void PutTone() {
    const auto count = static_cast<int64_t>(sound_.size());
    const int64_t due_ns = due_ns_;
    if (timed_ && due_ns != kNoTime && tone_begin_ == kNoTime) {
      const int64_t begin = heard_frame_ + ToFrames(due_ns - heard_ns_);
      if (begin < written_ + count) {
        tone_begin_ = begin;
        int64_t taken = due_ns;
        due_ns_.compare_exchange_strong(taken, kNoTime);
      }
    }
    if (tone_begin_ == kNoTime) return;
    const int64_t length = ToFrames(static_cast<int64_t>(kBeepLengthNs));
    for (int64_t i = 0; i < count; ++i) {
      const int64_t frame = written_ + i - tone_begin_;
      if (frame < 0 || frame >= length) continue;
      const double turns = static_cast<double>(frame) * kBeepHz / kRate;
      sound_[static_cast<size_t>(i)] =
          kLoudness * static_cast<float>(std::sin(2 * std::numbers::pi * turns));
    }
    if (written_ + count >= tone_begin_ + length) tone_begin_ = kNoTime;
  }

  IClock& clock_;
  const char* const program_;
  pa_mainloop* const loop_;
  std::unique_ptr<IThread> thread_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> timed_{false};
  std::atomic<int64_t> due_ns_{kNoTime};

  // The thread's own.
  pa_context* context_ = nullptr;
  pa_stream* stream_ = nullptr;
  pa_operation* asking_ = nullptr;
  uint64_t next_ask_ns_ = 0;
  int64_t written_ = 0;  // frames
  int64_t heard_frame_ = 0;
  int64_t heard_ns_ = 0;          // when that frame is heard
  int64_t tone_begin_ = kNoTime;  // frame
  std::vector<float> sound_;
};

Beeper::Beeper(IClock& clock, const char* program)
    : player_(std::make_unique<Player>(clock, program)) {}

Beeper::~Beeper() = default;

void Beeper::At(uint64_t steady_ns) {
  player_->At(steady_ns);
}

bool Beeper::IsPlaying() const {
  return player_->IsPlaying();
}

}  // namespace orventa
