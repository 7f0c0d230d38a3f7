#include "video/pipeline_builder.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "encoders/encoders.h"

namespace orventa {
namespace {

constexpr uint32_t kFirstFrameRounds = 200;
constexpr uint64_t kFirstFrameStepNs = 10 * kNsPerMs;

// Pictures that an encoder may hold while others are queued and converted into.
uint32_t PoolSize(const IVideoEncoder& encoder) {
  return 2 * encoder.Settings().b_frames + (encoder.SlimPool() ? 6 : 8);
}

}  // namespace

void PublishTarget(StatusBoard& status, const FoundTarget& target) {
  status.Update([&](EngineSnapshot& record) {
    record.target_name = target.name;
    record.target_description = target.description;
    record.target_path = target.path;
    record.target_window = target.IsWindow() ? target.target.window : 0;
    record.target_is_window = target.IsWindow();
    record.target_custom_settings = !target.settings.empty();
    record.no_target = false;
  });
}

PipelineBuilder::PipelineBuilder(EngineCore& core, const FoundTarget& last_target,
                                 const std::optional<SoundLayout>& last_sound)
    : core_(core), last_target_(last_target), last_sound_(last_sound) {}

Status PipelineBuilder::Build(std::unique_ptr<Pipeline>& out) {
  pipeline_ = std::make_unique<Pipeline>();
  if (Status status = FindTargetAndDevice(); !status.ok()) return status;
  TakeSettings();
  if (Status status = OpenCapture(); !status.ok()) return status;
  if (Status status = WaitForFirstFrame(); !status.ok()) return status;
  if (Status status = OpenVideoEncoder(); !status.ok()) return status;
  if (Status status = OpenConverter(); !status.ok()) return status;
  core_.parts.OpenProbe();
  OpenSound();
  if (Status status = DescribeStream(); !status.ok()) return status;
  DescribeSound();
  PublishRunning();
  out = std::move(pipeline_);
  return {};
}

Status PipelineBuilder::FindTargetAndDevice() {
  FoundTarget& target = pipeline_->target;
  const Status found = core_.platform.targets.Find(last_target_.target.window, target);
  if (!found.ok()) core_.recorder.NoteTarget(nullptr);
  // A window of which only the title is known is the same game under its next title.
  if (found.ok() && target.IsWindow() && target.target == last_target_.target &&
      target.path.empty() && target.name == target.description) {
    target.name = last_target_.name;
  }
  // Until something is known to encode, that is searched for even while no game is
  // open: the user has to hear of it.
  if (!found.ok() && core_.device.have_device() && !core_.device.no_encoder()) return found;

  if (Status status = core_.device.Obtain(core_.session.Effective().adapter); !status.ok()) {
    return status;
  }
  core_.orders.retry_encoder = false;
  core_.status.Update([&](EngineSnapshot& record) {
    record.no_encoder = core_.device.no_encoder();
    record.adapter = core_.device.adapter_used();
  });
  if (core_.device.no_encoder()) {
    return {StatusCode::NoEncoder, "no video encoder to record with"};
  }
  pipeline_->device = core_.device.device();
  if (found.ok()) core_.recorder.NoteTarget(&target);
  return found;
}

void PipelineBuilder::TakeSettings() {
  Pipeline& p = *pipeline_;
  CountHistoryReset(core_.session.SetTarget(p.target.settings).history_lost);
  p.config = core_.session.Effective();
  if (core_.recorder.Wanted()) p.config.video = PictureOfRecording(p.config);
  p.interval_ns = kNsPerSecond / std::max(1U, p.config.video.fps);
  p.same_target = p.target.Identity() == last_target_.Identity();
  PublishTarget(core_.status, p.target);
}

Status PipelineBuilder::OpenCapture() {
  Pipeline& p = *pipeline_;
  const CaptureOptions options{.capture_cursor = p.config.capture.capture_cursor,
                               .fps = std::max(1U, p.config.video.fps),
                               .treat_as_sdr = p.config.capture.dynamic_range == DynamicRange::Sdr};
  if (Status status =
          core_.platform.graphics.CreateCapture(*p.device, p.target.target, options, p.capture);
      !status.ok()) {
    return status;
  }
  return p.capture->Start();
}

Status PipelineBuilder::WaitForFirstFrame() {
  Pipeline& p = *pipeline_;
  for (uint32_t round = 0; round < kFirstFrameRounds; ++round) {
    if (core_.orders.stop_requested) return {StatusCode::DriverError, "stopping"};
    if (p.capture->TryAcquire(p.frame) && p.frame.fresh && !p.frame.size_changed) {
      p.captured = {p.frame.width, p.frame.height};
      p.source = EncodedSize(p.captured, 0);
      p.display = p.capture->Display();
      return {};
    }
    core_.clock().SleepUntil(core_.clock().SteadyNs() + kFirstFrameStepNs);
  }
  return {StatusCode::DriverError, "capture produced no frames"};
}

Status PipelineBuilder::OpenVideoEncoder() {
  Pipeline& p = *pipeline_;
  const EncoderSettings wanted = ChooseEncoderSettings(p.config, p.source, p.display);
  p.for_recording = wanted != ChooseEncoderSettings(core_.session.Effective(), p.source, p.display);
  IEncoderBackend* backend = nullptr;
  Status opened = OpenEncoder(core_.platform.backends, p.device.get(), wanted, p.encoder, backend);
  if (opened.ok()) p.backend_name = std::string(backend->Name());
  return opened;
}

Status PipelineBuilder::OpenConverter() {
  Pipeline& p = *pipeline_;
  const EncoderSettings& encoding = p.encoder->Settings();
  p.pool_size = PoolSize(*p.encoder);

  ConverterSettings settings;
  settings.input_width = p.captured.width;
  settings.input_height = p.captured.height;
  if (p.captured != p.source) {
    settings.source_rect = {.width = p.source.width, .height = p.source.height};
  }
  settings.width = encoding.width;
  settings.height = encoding.height;
  settings.pool_size = p.pool_size;
  settings.hdr_input = p.frame.picture->format() == PixelFormat::RgbaHalf;
  settings.ten_bit = encoding.input_format == EncoderInput::P010;
  settings.hdr10 = encoding.transfer == Transfer::Pq;
  settings.sdr_white = p.display.sdr_white;
  settings.peak = p.display.sdr_white > 0 ? p.display.peak / p.display.sdr_white : 1.0F;
  return core_.platform.graphics.CreateConverter(*p.device, settings, p.converter);
}

void PipelineBuilder::OpenSound() {
  Pipeline& p = *pipeline_;
  SoundChain chain;
  if (ISoundSources* sources = core_.platform.sound; sources != nullptr) {
    chain = OpenSoundChain(core_.clock(), *sources, p.config, p.target, last_sound_);
  }
  p.sound = std::make_unique<SoundPump>(std::move(chain), core_.status.sound_levels());
}

Status PipelineBuilder::DescribeStream() {
  Pipeline& p = *pipeline_;
  std::vector<uint8_t> header;
  if (Status status = p.encoder->Header(header); !status.ok()) return status;

  const EncoderSettings& encoding = p.encoder->Settings();
  const bool dropped =
      core_.session.SetVideo(DescribeVideo(encoding, p.display, std::move(header)));
  // Another game's history goes anyway: that is no loss to tell of.
  CountHistoryReset(dropped && p.same_target);
  CountHistoryReset(core_.session.SetBudgetBasis(
      {.source = p.source, .encoder_bitrate_kbps = encoding.bitrate_kbps}));
  return {};
}

void PipelineBuilder::DescribeSound() {
  Pipeline& p = *pipeline_;
  CountHistoryReset(core_.session.SetSound(p.sound->Formats()) && p.same_target);
  std::vector<std::shared_ptr<AudioReplayBuffer>> histories;
  for (const SoundHistory& track : core_.session.sound()) histories.push_back(track.packets);
  p.sound->SetHistories(histories);
}

void PipelineBuilder::PublishRunning() {
  const Pipeline& p = *pipeline_;
  const EncoderSettings& encoding = p.encoder->Settings();
  core_.status.SetFrameInterval(p.interval_ns);
  core_.status.Update([&](EngineSnapshot& record) {
    record.width = encoding.width;
    record.height = encoding.height;
    record.fps = encoding.fps_num / std::max(1U, encoding.fps_den);
    record.source_width = p.source.width;
    record.source_height = p.source.height;
    record.encoder_backend = p.backend_name;
    record.bitrate_kbps = encoding.bitrate_kbps;
    record.max_bitrate_kbps = encoding.max_bitrate_kbps;
    record.rate_control = RateControlWord(encoding.rate_control);
    record.codec = CodecWord(encoding.codec);
    record.ten_bit = encoding.input_format == EncoderInput::P010;
    record.hdr = p.display.hdr_on;
    record.hdr_output = encoding.transfer == Transfer::Pq;
    record.microphone = p.sound->HasMicrophone();
    record.last_error.clear();
  });
}

void PipelineBuilder::CountHistoryReset(bool lost) {
  if (!lost) return;
  core_.status.Update([](EngineSnapshot& record) { ++record.history_resets; });
}

}  // namespace orventa
