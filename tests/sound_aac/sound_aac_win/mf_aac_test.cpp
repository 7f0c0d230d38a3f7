// The encoder on Media Foundation, on a transform that does as the system's promises to
// and otherwise as it is told. Wine has none of its own.
#include "sound/sound_win/mf_aac.h"

#include <windows.h>

#include <mfapi.h>
#include <mferror.h>
#include <mftransform.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include "base/base_win/win32.h"
#include "base/rescale.h"
#include "tests/fakes_win/mf_stand_in.h"
#include "tests/sound_aac/platform_aac.h"

namespace orventa {
namespace {

using Microsoft::WRL::ComPtr;

constexpr uint64_t kTicks = 10'000'000;  // a second

// What the transform answers, and what it was told.
struct Script {
  HRESULT output_type = S_OK;
  HRESULT input_type = S_OK;
  UINT32 header_bytes = 14;  // before and with the AudioSpecificConfig
  int refusals = 0;          // inputs that it takes only later
  HRESULT input = S_OK;
  HRESULT output = S_OK;
  bool gives_samples = false;

  ComPtr<IMFMediaType> in;
  ComPtr<IMFMediaType> out;
};
Script script;

UINT32 Get(IMFMediaType& type, const GUID& key) {
  UINT32 value = 0;
  EXPECT_TRUE(SUCCEEDED(type.GetUINT32(key, &value)));
  return value;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Its first packet is priming and lies before the sound; a packet's byte is its number.
class FakeTransform final : public MfStandIn<ComObject<IMFTransform>> {
 public:
  HRESULT STDMETHODCALLTYPE SetOutputType(DWORD, IMFMediaType* type, DWORD) override {
    script.out = type;
    return script.output_type;
  }
  HRESULT STDMETHODCALLTYPE SetInputType(DWORD, IMFMediaType* type, DWORD) override {
    script.in = type;
    rate_ = Get(*type, MF_MT_AUDIO_SAMPLES_PER_SECOND);
    channels_ = Get(*type, MF_MT_AUDIO_NUM_CHANNELS);
    return script.input_type;
  }
  HRESULT STDMETHODCALLTYPE GetOutputCurrentType(DWORD, IMFMediaType** type) override {
    uint8_t bytes[14] = {};
    const UINT32 config = 2u << 11 | (rate_ == 48000 ? 3u : 4u) << 7 | channels_ << 3;
    bytes[12] = static_cast<uint8_t>(config >> 8);
    bytes[13] = static_cast<uint8_t>(config);
    script.out->SetBlob(MF_MT_USER_DATA, bytes, script.header_bytes);
    return script.out.CopyTo(type);
  }
  HRESULT STDMETHODCALLTYPE GetOutputStreamInfo(DWORD, MFT_OUTPUT_STREAM_INFO* info) override {
    *info = {};
    if (script.gives_samples) info->dwFlags = MFT_OUTPUT_STREAM_PROVIDES_SAMPLES;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR) override {
    if (message == MFT_MESSAGE_COMMAND_DRAIN) frames_ = (frames_ + 1023) / 1024 * 1024 + 1024;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE ProcessInput(DWORD, IMFSample* sample, DWORD) override {
    if (script.refusals > 0) return --script.refusals, MF_E_NOTACCEPTING;
    if (FAILED(script.input)) return script.input;
    LONGLONG length = 0;
    DWORD bytes = 0;
    if (frames_ == 0) sample->GetSampleTime(&first_);
    sample->GetSampleDuration(&length);
    sample->GetTotalLength(&bytes);
    const uint64_t frames = bytes / (2 * channels_);
    EXPECT_EQ(static_cast<uint64_t>(length), frames * kTicks / rate_);
    frames_ += frames;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE ProcessOutput(DWORD, DWORD, MFT_OUTPUT_DATA_BUFFER* data,
                                          DWORD*) override {
    if (FAILED(script.output)) return script.output;
    if (frames_ < (given_ + 1) * 1024) return MF_E_TRANSFORM_NEED_MORE_INPUT;
    EXPECT_EQ(data->pSample == nullptr, script.gives_samples);
    ComPtr<IMFMediaBuffer> buffer;
    if (script.gives_samples) {
      MFCreateSample(&data->pSample);
      MFCreateMemoryBuffer(1, &buffer);
      data->pSample->AddBuffer(buffer.Get());
    } else {
      data->pSample->GetBufferByIndex(0, &buffer);
    }
    BYTE* bytes = nullptr;
    buffer->Lock(&bytes, nullptr, nullptr);
    *bytes = static_cast<BYTE>(given_);
    buffer->Unlock();
    buffer->SetCurrentLength(1);
    const auto ticks = [&](uint64_t frames) {
      return static_cast<LONGLONG>(frames * kTicks / rate_);
    };
    data->pSample->SetSampleTime(first_ + ticks(given_ * 1024) - ticks(1024));
    ++given_;
    return S_OK;
  }

 private:
  UINT32 rate_ = 0;
  UINT32 channels_ = 0;
  LONGLONG first_ = 0;
  uint64_t frames_ = 0;
  uint64_t given_ = 0;
};

#pragma GCC diagnostic pop

}  // namespace

Status test::MakeAacEncoder(const AacSettings& settings, std::unique_ptr<IAacEncoder>& out) {
  const MFT_REGISTER_TYPE_INFO in = {MFMediaType_Audio, MFAudioFormat_PCM};
  const MFT_REGISTER_TYPE_INFO aac = {MFMediaType_Audio, MFAudioFormat_AAC};
  const MfRegistration<FakeTransform> registration(
      MFT_CATEGORY_AUDIO_ENCODER, MFT_ENUM_FLAG_SYNCMFT, std::span(&in, 1), std::span(&aac, 1));
  return MakeMfAacEncoder(settings, out);
}

namespace {

class MfAac : public testing::Test {
 protected:
  ~MfAac() override { script = {}; }
  Status Make(const AacSettings& settings = {}) { return test::MakeAacEncoder(settings, encoder_); }

  std::unique_ptr<IAacEncoder> encoder_;
  const std::vector<int16_t> samples_ = std::vector<int16_t>(size_t{2} * 4096);
  AacPacket packet_;
  Status status_;
};

TEST_F(MfAac, SaysWhatIsMissingOrRefused) {
  const struct {
    void (*spoil)();
    Status status;
  } rows[] = {
      {[] { script.output_type = E_FAIL; },
       {StatusCode::Unsupported, "AAC encoder rejected the output type"}},
      {[] { script.input_type = E_FAIL; },
       {StatusCode::Unsupported, "AAC encoder rejected the input type"}},
      {[] { script.header_bytes = 12; },
       {StatusCode::DriverError, "could not read AudioSpecificConfig from the AAC encoder"}},
  };
  for (const auto& row : rows) {
    script = {};
    row.spoil();
    EXPECT_EQ(Make(), row.status);
    EXPECT_EQ(encoder_, nullptr);
  }
  const Status made = MakeMfAacEncoder({}, encoder_);
  if (made.ok()) GTEST_SKIP() << "this system has an AAC encoder";
  EXPECT_EQ(made, Status(StatusCode::BackendUnavailable, "no AAC encoder MFT available"));
}

TEST_F(MfAac, AsksForTheTypesThatItWasToldOf) {
  ASSERT_TRUE(Make({44100, 1, 64000}).ok());
  EXPECT_EQ(Get(*script.out.Get(), MF_MT_AUDIO_BITS_PER_SAMPLE), 16u);
  EXPECT_EQ(Get(*script.out.Get(), MF_MT_AUDIO_AVG_BYTES_PER_SECOND), 12'000u);
  EXPECT_EQ(Get(*script.out.Get(), MF_MT_AAC_PAYLOAD_TYPE), 0u);
  EXPECT_EQ(Get(*script.out.Get(), MF_MT_AAC_AUDIO_PROFILE_LEVEL_INDICATION), 0x29u);
  EXPECT_EQ(Get(*script.in.Get(), MF_MT_AUDIO_BLOCK_ALIGNMENT), 2u);
  EXPECT_EQ(Get(*script.in.Get(), MF_MT_AUDIO_AVG_BYTES_PER_SECOND), 88'200u);
}

TEST_F(MfAac, AFailureCostsOnlyItsSound) {
  script.gives_samples = true;
  ASSERT_TRUE(Make().ok());
  const auto says = [&](const char* text) { return Status(StatusCode::DriverError, text); };
  script.refusals = 1;
  EXPECT_TRUE(encoder_->Encode(samples_, 0).ok()) << "taken at the second time";
  script.refusals = 2;
  EXPECT_EQ(encoder_->Encode(samples_, 0), says("the AAC encoder would not take more sound"));
  script.input = E_FAIL;
  EXPECT_EQ(encoder_->Encode(samples_, 0), says("ProcessInput failed"));
  script.input = S_OK;
  script.output = E_FAIL;
  EXPECT_TRUE(encoder_->Encode(samples_, 0).ok());
  script.output = S_OK;
  EXPECT_TRUE(encoder_->Flush().ok());

  ASSERT_TRUE(encoder_->Next(packet_, status_));
  EXPECT_EQ(status_, says("ProcessOutput failed"));
  EXPECT_EQ(packet_.bytes, std::vector<uint8_t>{1}) << "number 0 was priming";
  EXPECT_EQ(packet_.pts, 0u);
  int packets = 1;
  for (; encoder_->Next(packet_, status_); ++packets) EXPECT_TRUE(status_.ok());
  EXPECT_EQ(packets, 8);
}

}  // namespace
}  // namespace orventa
