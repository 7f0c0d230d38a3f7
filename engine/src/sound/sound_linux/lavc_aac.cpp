#include "sound/sound_linux/lavc_aac.h"

#include <algorithm>
#include <array>
#include <new>
#include <string>
#include <utility>

#include "base/clock.h"
#include "base/rescale.h"
#include "sound/aac_queue.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace orventa {
namespace {

// More frames than the encoder ever holds back.
constexpr uint64_t kSlots = 8;
constexpr float kFullScale = 32768.0f;

struct FreeContext {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FreeFrame {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct FreePacket {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

Status Failed(const char* what, int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof(text));
  const bool memory = error == AVERROR(ENOMEM);
  return {memory ? StatusCode::OutOfMemory : StatusCode::DriverError,
          std::string(what) + ": " + text};
}

// The library takes frames of exactly 1024, so sound is gathered here. Frames are
// numbered on their way in; a packet comes out with the position of the sound that it
// yields, which leads to the caller's time of the frame it lies in.
class LavcAacEncoder final : public IAacEncoder {
 public:
  explicit LavcAacEncoder(const AacSettings& settings)
      : settings_(settings), frame_(av_frame_alloc()), packet_(av_packet_alloc()) {
    if (!frame_ || !packet_) throw std::bad_alloc();
  }

  // Once, before anything else.
  Status Open();

  Status Encode(std::span<const int16_t> samples, uint64_t pts) override;
  bool Next(AacPacket& packet, Status& status) override { return finished_.Next(packet, status); }
  Status Flush() override;
  std::span<const uint8_t> Config() const override {
    return {context_->extradata, static_cast<size_t>(context_->extradata_size)};
  }
  SoundFormat Format() const override { return {settings_.sample_rate, settings_.channels}; }

 private:
  Status BeginFrame(uint64_t pts);
  void Gather(std::span<const int16_t> samples);
  Status Send();
  void Receive();
  void Keep(const AVPacket& packet);

  const AacSettings settings_;
  std::unique_ptr<AVCodecContext, FreeContext> context_;
  std::unique_ptr<AVFrame, FreeFrame> frame_;  // keeps its memory
  std::unique_ptr<AVPacket, FreePacket> packet_;
  uint32_t gathered_ = 0;                  // of frame_, fewer than kAacFrames
  uint64_t sent_ = 0;                      // frames of 1024
  std::array<uint64_t, kSlots> starts_{};  // frame n begins at [n % kSlots]
  bool flushed_ = false;
  AacQueue finished_;
};

Status LavcAacEncoder::Open() {
  const AVCodec* codec = avcodec_find_encoder_by_name("aac");
  if (codec == nullptr) {
    return {StatusCode::BackendUnavailable, "no AAC encoder in libavcodec available"};
  }
  context_.reset(avcodec_alloc_context3(codec));
  if (!context_) throw std::bad_alloc();
  context_->profile = FF_PROFILE_AAC_LOW;
  context_->sample_fmt = AV_SAMPLE_FMT_FLTP;
  context_->sample_rate = static_cast<int>(settings_.sample_rate);
  context_->time_base = {1, context_->sample_rate};
  context_->bit_rate = AacBitrate(settings_.bitrate_bps);
  context_->thread_count = 1;
  // Else the library writes its name into the stream every few seconds.
  context_->flags |= AV_CODEC_FLAG_BITEXACT;
  // Failures come back as codes; what else it has to say at its end is no news.
  context_->log_level_offset = AV_LOG_VERBOSE - AV_LOG_WARNING;
  av_channel_layout_default(&context_->ch_layout, static_cast<int>(settings_.channels));
  int error = avcodec_open2(context_.get(), codec, nullptr);
  if (error < 0) return Failed("could not open the AAC encoder", error);
  if (context_->frame_size != static_cast<int>(kAacFrames)) {
    return {StatusCode::Unsupported, "the AAC encoder takes no packets of 1024 samples"};
  }
  if (context_->extradata_size <= 0) {
    return {StatusCode::DriverError, "could not read AudioSpecificConfig from the AAC encoder"};
  }

  frame_->format = context_->sample_fmt;
  frame_->sample_rate = context_->sample_rate;
  frame_->nb_samples = context_->frame_size;
  error = av_channel_layout_copy(&frame_->ch_layout, &context_->ch_layout);
  if (error >= 0) error = av_frame_get_buffer(frame_.get(), 0);
  return error < 0 ? Failed("could not make a frame for the AAC encoder", error) : Status::Ok();
}

Status LavcAacEncoder::Encode(std::span<const int16_t> samples, uint64_t pts) {
  if (flushed_) return {StatusCode::InvalidArgument, "the AAC encoder was flushed"};
  const size_t channels = settings_.channels;
  const size_t frames = samples.size() / channels;
  for (size_t at = 0; at < frames;) {
    if (gathered_ == 0) {
      const uint64_t start = pts + Rescale(at, settings_.sample_rate, kNsPerSecond);
      if (Status status = BeginFrame(start); !status.ok()) return status;
    }
    const size_t count = std::min<size_t>(frames - at, kAacFrames - gathered_);
    Gather(samples.subspan(at * channels, count * channels));
    at += count;
    if (gathered_ < kAacFrames) break;
    if (Status status = Send(); !status.ok()) return status;
  }
  return Status::Ok();
}

Status LavcAacEncoder::BeginFrame(uint64_t pts) {
  // Copies only if the library still holds the frame, which it does not by now.
  const int error = av_frame_make_writable(frame_.get());
  if (error < 0) return Failed("could not make a frame for the AAC encoder", error);
  starts_[sent_ % kSlots] = pts;
  return Status::Ok();
}

void LavcAacEncoder::Gather(std::span<const int16_t> samples) {
  const size_t channels = settings_.channels;
  const size_t count = samples.size() / channels;
  for (size_t channel = 0; channel < channels; ++channel) {
    float* plane = reinterpret_cast<float*>(frame_->data[channel]) + gathered_;
    for (size_t i = 0; i < count; ++i) {
      plane[i] = static_cast<float>(samples[i * channels + channel]) / kFullScale;
    }
  }
  gathered_ += static_cast<uint32_t>(count);
}

Status LavcAacEncoder::Send() {
  gathered_ = 0;
  frame_->pts = static_cast<int64_t>(sent_ * kAacFrames);
  const int error = avcodec_send_frame(context_.get(), frame_.get());
  if (error < 0) return Failed("the AAC encoder would not take more sound", error);
  ++sent_;
  Receive();
  return Status::Ok();
}

void LavcAacEncoder::Receive() {
  for (;;) {
    const int error = avcodec_receive_packet(context_.get(), packet_.get());
    if (error == AVERROR(EAGAIN) || error == AVERROR_EOF) return;
    if (error < 0) {
      finished_.Fail(Failed("the AAC encoder failed", error));
      return;
    }
    Keep(*packet_);
    av_packet_unref(packet_.get());
  }
}

// The library's time of a packet is the position of the first frame that a decoder
// gives for it: it counts its own delay, so that priming lies before position 0.
void LavcAacEncoder::Keep(const AVPacket& packet) {
  if (packet.pts < 0 && packet.pts != AV_NOPTS_VALUE) return;
  const auto position = static_cast<uint64_t>(packet.pts);
  const uint64_t frame = position / kAacFrames;
  if (frame >= sent_ || sent_ - frame > kSlots) {
    finished_.Fail({StatusCode::DriverError, "the AAC encoder gave a packet out of order"});
    return;
  }
  const uint64_t into_frame = Rescale(position % kAacFrames, settings_.sample_rate, kNsPerSecond);
  finished_.Add({packet.data, static_cast<size_t>(packet.size)},
                starts_[frame % kSlots] + into_frame);
}

Status LavcAacEncoder::Flush() {
  if (flushed_) return Status::Ok();
  flushed_ = true;
  if (gathered_ > 0) {
    const std::array<int16_t, size_t{2} * kAacFrames> silence{};
    Gather(std::span(silence).first((kAacFrames - gathered_) * settings_.channels));
    if (Status status = Send(); !status.ok()) return status;
  }
  const int error = avcodec_send_frame(context_.get(), nullptr);
  if (error < 0) return Failed("could not drain the AAC encoder", error);
  Receive();
  return Status::Ok();
}

}  // namespace

Status MakeLavcAacEncoder(const AacSettings& settings, std::unique_ptr<IAacEncoder>& out) {
  out.reset();
  if (Status status = CheckAacSettings(settings); !status.ok()) return status;
  auto encoder = std::make_unique<LavcAacEncoder>(settings);
  if (Status status = encoder->Open(); !status.ok()) return status;
  out = std::move(encoder);
  return Status::Ok();
}

}  // namespace orventa
