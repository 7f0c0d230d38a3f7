#include "sound/sound_win/mf_aac.h"

#include <windows.h>

#include <mferror.h>
#include <wrl/client.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "base/base_win/media_foundation.h"
#include "base/clock.h"
#include "base/rescale.h"
#include "sound/aac_queue.h"

namespace orventa {
namespace {

using Microsoft::WRL::ComPtr;

constexpr UINT32 kSampleBits = 16;
constexpr UINT32 kSampleBytes = 2;
constexpr UINT32 kRawPayload = 0;
constexpr UINT32 kProfileLevel = 0x29;
constexpr size_t kWaveHeaderBytes = 12;
constexpr DWORD kDefaultOutputBytes = 4096;

class MfAacEncoder final : public IAacEncoder {
 public:
  explicit MfAacEncoder(const AacSettings& settings) : settings_(settings) {}

  // Once, before anything else.
  Status Open();

  Status Encode(std::span<const int16_t> samples, uint64_t pts) override;
  bool Next(AacPacket& packet, Status& status) override { return finished_.Next(packet, status); }
  Status Flush() override;
  std::span<const uint8_t> Config() const override { return config_; }
  SoundFormat Format() const override { return {settings_.sample_rate, settings_.channels}; }

 private:
  Status Activate();
  Status SetOutputType();
  Status SetInputType();
  Status ReadConfig();
  Status MakeInput(std::span<const int16_t> samples, uint64_t pts, ComPtr<IMFSample>& sample) const;
  // Takes every packet that is ready; a failure waits for Next.
  void Drain();
  HRESULT TakeOutput();
  HRESULT Keep(IMFSample& sample);

  const AacSettings settings_;
  const MediaFoundation& mf_ = MediaFoundation::OfSystem();
  MfSession session_{mf_};  // outlives everything below
  ComPtr<IMFTransform> transform_;
  bool began_ = false;
  LONGLONG first_ticks_ = 0;  // where the first sound lies
  bool flushed_ = false;
  MfOutput output_;
  std::vector<uint8_t> config_;
  AacQueue finished_;
};

Status MfAacEncoder::Open() {
  Status status = session_.Start();
  if (status.ok()) status = Activate();
  if (status.ok()) status = SetOutputType();
  if (status.ok()) status = SetInputType();
  if (status.ok()) status = ReadConfig();
  if (status.ok()) status = output_.Prepare(mf_, *transform_.Get(), 0, kDefaultOutputBytes);
  if (!status.ok()) return status;
  if (FAILED(transform_->ProcessMessage(MFT_MESSAGE_NOTIFY_BEGIN_STREAMING, 0)) ||
      FAILED(transform_->ProcessMessage(MFT_MESSAGE_NOTIFY_START_OF_STREAM, 0))) {
    return {StatusCode::DriverError, "the AAC encoder would not start"};
  }
  return Status::Ok();
}

Status MfAacEncoder::Activate() {
  const MFT_REGISTER_TYPE_INFO input = {MFMediaType_Audio, MFAudioFormat_PCM};
  const MFT_REGISTER_TYPE_INFO output = {MFMediaType_Audio, MFAudioFormat_AAC};
  constexpr UINT32 kKinds =
      MFT_ENUM_FLAG_SYNCMFT | MFT_ENUM_FLAG_LOCALMFT | MFT_ENUM_FLAG_SORTANDFILTER;
  MfActivations found;
  const HRESULT result =
      mf_.enumerate(MFT_CATEGORY_AUDIO_ENCODER, kKinds, &input, &output, &found.list, &found.count);
  if (FAILED(result) || found.count == 0) {
    return {StatusCode::BackendUnavailable, "no AAC encoder MFT available"};
  }
  if (FAILED(found.list[0]->ActivateObject(IID_PPV_ARGS(&transform_)))) {
    return {StatusCode::DriverError, "could not activate AAC encoder"};
  }
  return Status::Ok();
}

Status MfAacEncoder::SetOutputType() {
  const MfNumber rows[] = {
      {MF_MT_AUDIO_BITS_PER_SAMPLE, kSampleBits},
      {MF_MT_AUDIO_SAMPLES_PER_SECOND, settings_.sample_rate},
      {MF_MT_AUDIO_NUM_CHANNELS, settings_.channels},
      {MF_MT_AUDIO_AVG_BYTES_PER_SECOND, AacBitrate(settings_.bitrate_bps) / 8},
      {MF_MT_AAC_PAYLOAD_TYPE, kRawPayload},
      {MF_MT_AAC_AUDIO_PROFILE_LEVEL_INDICATION, kProfileLevel},
  };
  ComPtr<IMFMediaType> type;
  Status status = MakeMfType(mf_, MFMediaType_Audio, MFAudioFormat_AAC, rows, type);
  if (!status.ok()) return status;
  if (SUCCEEDED(transform_->SetOutputType(0, type.Get(), 0))) return Status::Ok();
  return {StatusCode::Unsupported, "AAC encoder rejected the output type"};
}

Status MfAacEncoder::SetInputType() {
  const UINT32 frame_bytes = settings_.channels * kSampleBytes;
  const MfNumber rows[] = {
      {MF_MT_AUDIO_BITS_PER_SAMPLE, kSampleBits},
      {MF_MT_AUDIO_SAMPLES_PER_SECOND, settings_.sample_rate},
      {MF_MT_AUDIO_NUM_CHANNELS, settings_.channels},
      {MF_MT_AUDIO_BLOCK_ALIGNMENT, frame_bytes},
      {MF_MT_AUDIO_AVG_BYTES_PER_SECOND, settings_.sample_rate * frame_bytes},
  };
  ComPtr<IMFMediaType> type;
  Status status = MakeMfType(mf_, MFMediaType_Audio, MFAudioFormat_PCM, rows, type);
  if (!status.ok()) return status;
  if (SUCCEEDED(transform_->SetInputType(0, type.Get(), 0))) return Status::Ok();
  return {StatusCode::Unsupported, "AAC encoder rejected the input type"};
}

// The AudioSpecificConfig stands behind the end of a wave header.
Status MfAacEncoder::ReadConfig() {
  ComPtr<IMFMediaType> type;
  UINT32 size = 0;
  std::vector<uint8_t> bytes;
  HRESULT result = transform_->GetOutputCurrentType(0, &type);
  if (SUCCEEDED(result)) result = type->GetBlobSize(MF_MT_USER_DATA, &size);
  if (SUCCEEDED(result)) {
    bytes.resize(size);
    result = type->GetBlob(MF_MT_USER_DATA, bytes.data(), size, nullptr);
  }
  if (FAILED(result) || bytes.size() <= kWaveHeaderBytes) {
    return {StatusCode::DriverError, "could not read AudioSpecificConfig from the AAC encoder"};
  }
  config_.assign(bytes.begin() + kWaveHeaderBytes, bytes.end());
  return Status::Ok();
}

Status MfAacEncoder::MakeInput(std::span<const int16_t> samples, uint64_t pts,
                               ComPtr<IMFSample>& sample) const {
  const uint64_t frames = samples.size() / settings_.channels;
  const auto bytes = static_cast<DWORD>(frames * settings_.channels * kSampleBytes);
  ComPtr<IMFMediaBuffer> buffer;
  if (Status status = MakeMfSample(mf_, bytes, sample, buffer); !status.ok()) return status;
  BYTE* data = nullptr;
  if (FAILED(buffer->Lock(&data, nullptr, nullptr))) {
    return {StatusCode::DriverError, "buffer lock failed"};
  }
  std::memcpy(data, samples.data(), bytes);
  buffer->Unlock();
  buffer->SetCurrentLength(bytes);
  const uint64_t length_ns = Rescale(frames, settings_.sample_rate, kNsPerSecond);
  sample->SetSampleTime(static_cast<LONGLONG>(pts / kNsPerMfTick));
  sample->SetSampleDuration(static_cast<LONGLONG>(length_ns / kNsPerMfTick));
  return Status::Ok();
}

Status MfAacEncoder::Encode(std::span<const int16_t> samples, uint64_t pts) {
  if (flushed_) return {StatusCode::InvalidArgument, "the AAC encoder was flushed"};
  if (samples.size() < settings_.channels) return Status::Ok();
  if (samples.size() > MAXDWORD / kSampleBytes) {
    return {StatusCode::OutOfMemory, "MFCreateMemoryBuffer failed"};
  }
  ComPtr<IMFSample> sample;
  if (Status status = MakeInput(samples, pts, sample); !status.ok()) return status;
  if (!began_) first_ticks_ = static_cast<LONGLONG>(pts / kNsPerMfTick);
  began_ = true;
  HRESULT result = transform_->ProcessInput(0, sample.Get(), 0);
  if (result == MF_E_NOTACCEPTING) {
    Drain();
    result = transform_->ProcessInput(0, sample.Get(), 0);
  }
  Drain();
  if (result == MF_E_NOTACCEPTING) {
    return {StatusCode::DriverError, "the AAC encoder would not take more sound"};
  }
  if (FAILED(result)) return {StatusCode::DriverError, "ProcessInput failed"};
  return Status::Ok();
}

Status MfAacEncoder::Flush() {
  if (flushed_) return Status::Ok();
  flushed_ = true;
  if (FAILED(transform_->ProcessMessage(MFT_MESSAGE_NOTIFY_END_OF_STREAM, 0)) ||
      FAILED(transform_->ProcessMessage(MFT_MESSAGE_COMMAND_DRAIN, 0))) {
    return {StatusCode::DriverError, "could not drain the AAC encoder"};
  }
  Drain();
  return Status::Ok();
}

void MfAacEncoder::Drain() {
  for (;;) {
    const HRESULT result = TakeOutput();
    if (result == MF_E_TRANSFORM_NEED_MORE_INPUT) return;
    if (SUCCEEDED(result)) continue;
    finished_.Fail({StatusCode::DriverError, "ProcessOutput failed"});
    return;
  }
}

HRESULT MfAacEncoder::TakeOutput() {
  ComPtr<IMFSample> sample;
  const HRESULT result = output_.Take(*transform_.Get(), sample);
  return FAILED(result) ? result : Keep(*sample.Get());
}

HRESULT MfAacEncoder::Keep(IMFSample& sample) {
  LONGLONG ticks = 0;
  if (const HRESULT result = sample.GetSampleTime(&ticks); FAILED(result)) return result;
  // Priming lies before the first sound; what lies about there is the sound itself.
  const auto half_packet = static_cast<LONGLONG>(
      Rescale(kAacFrames / 2, settings_.sample_rate, kNsPerSecond) / kNsPerMfTick);
  if (ticks + half_packet < first_ticks_) return S_OK;
  MfBytes bytes;
  if (const HRESULT result = bytes.Lock(sample); FAILED(result)) return result;
  if (!bytes.bytes().empty()) {
    finished_.Add(bytes.bytes(),
                  static_cast<uint64_t>(std::max(ticks, LONGLONG{0})) * kNsPerMfTick);
  }
  return S_OK;
}

}  // namespace

Status MakeMfAacEncoder(const AacSettings& settings, std::unique_ptr<IAacEncoder>& out) {
  out.reset();
  if (Status status = CheckAacSettings(settings); !status.ok()) return status;
  auto encoder = std::make_unique<MfAacEncoder>(settings);
  if (Status status = encoder->Open(); !status.ok()) return status;
  out = std::move(encoder);
  return Status::Ok();
}

}  // namespace orventa
