// What a stream asks of WASAPI and makes of its answers, on a device that does as it is
// told.
#include "sound/sound_win/wasapi_stream.h"

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "base/base_win/com_object.h"
#include "sound/sound_win/process_loopback.h"
#include "tests/fakes/fake_clock.h"

namespace orventa {
namespace {

using Microsoft::WRL::ComPtr;

using Time = REFERENCE_TIME;
using Wave = const WAVEFORMATEX*;

struct Packet {
  std::vector<float> samples;
  DWORD flags = 0;
  UINT64 ticks = 0;
};

// What the device answers, and what it was asked.
struct Script {
  HRESULT activate = S_OK;
  HRESULT mix_format = S_OK;
  HRESULT raw_properties = S_OK;
  HRESULT raw_initialize = S_OK;
  HRESULT initialize = S_OK;
  HRESULT event = S_OK;
  HRESULT service = S_OK;
  HRESULT start = S_OK;
  WAVEFORMATEX format = ProcessLoopbackFormat();
  std::deque<Packet> packets;
  HRESULT after_packets = AUDCLNT_S_BUFFER_EMPTY;

  std::vector<int> options;
  DWORD flags = 0;
  Time length = 0;
  WAVEFORMATEX asked{};
  HANDLE samples = nullptr;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class FakePackets final : public ComObject<IAudioCaptureClient> {
 public:
  explicit FakePackets(Script& script) : script_(script) {}
  HRESULT STDMETHODCALLTYPE GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64*,
                                      UINT64* ticks) override {
    if (script_.packets.empty()) return script_.after_packets;
    Packet& packet = script_.packets.front();
    *data = reinterpret_cast<BYTE*>(packet.samples.data());
    *frames = static_cast<UINT32>(packet.samples.size() / 2);
    *flags = packet.flags;
    *ticks = packet.ticks;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE ReleaseBuffer(UINT32) override {
    script_.packets.pop_front();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetNextPacketSize(UINT32*) override { return E_NOTIMPL; }

 private:
  Script& script_;
};

class FakeClient final : public ComObject<IAudioClient2> {
 public:
  explicit FakeClient(Script& script) : script_(script) {}
  HRESULT STDMETHODCALLTYPE Initialize(AUDCLNT_SHAREMODE, DWORD flags, Time length, Time,
                                       Wave format, const GUID*) override {
    script_.flags = flags;
    script_.length = length;
    script_.asked = *format;
    return raw_ && FAILED(script_.raw_initialize) ? script_.raw_initialize : script_.initialize;
  }
  HRESULT STDMETHODCALLTYPE GetMixFormat(WAVEFORMATEX** format) override {
    *format = static_cast<WAVEFORMATEX*>(CoTaskMemAlloc(sizeof(WAVEFORMATEX)));
    **format = script_.format;
    return script_.mix_format;
  }
  HRESULT STDMETHODCALLTYPE SetClientProperties(const AudioClientProperties* properties) override {
    EXPECT_EQ(properties->cbSize, 16u);
    EXPECT_EQ(properties->eCategory, AudioCategory_Media);
    script_.options.push_back(properties->Options);
    const bool raw = properties->Options == AUDCLNT_STREAMOPTIONS_RAW;
    if (raw && FAILED(script_.raw_properties)) return script_.raw_properties;
    raw_ = raw;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE SetEventHandle(HANDLE samples) override {
    script_.samples = samples;
    return script_.event;
  }
  HRESULT STDMETHODCALLTYPE GetService(REFIID, void** out) override {
    if (SUCCEEDED(script_.service)) *out = new FakePackets(script_);
    return script_.service;
  }
  HRESULT STDMETHODCALLTYPE Start() override { return script_.start; }
  HRESULT STDMETHODCALLTYPE Stop() override { return S_OK; }

  HRESULT STDMETHODCALLTYPE GetBufferSize(UINT32*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetStreamLatency(Time*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetCurrentPadding(UINT32*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE IsFormatSupported(AUDCLNT_SHAREMODE, Wave, WAVEFORMATEX**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetDevicePeriod(Time*, Time*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Reset() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE IsOffloadCapable(AUDIO_STREAM_CATEGORY, BOOL*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetBufferSizeLimits(Wave, BOOL, Time*, Time*) override {
    return E_NOTIMPL;
  }

 private:
  Script& script_;
  bool raw_ = false;
};

class FakeDevice final : public ComObject<IMMDevice> {
 public:
  explicit FakeDevice(Script& script) : script_(script) {}
  HRESULT STDMETHODCALLTYPE Activate(REFIID, DWORD, PROPVARIANT*, void** out) override {
    if (SUCCEEDED(script_.activate)) *out = new FakeClient(script_);
    return script_.activate;
  }
  HRESULT STDMETHODCALLTYPE OpenPropertyStore(DWORD, IPropertyStore**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetId(LPWSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetState(DWORD*) override { return E_NOTIMPL; }

 private:
  Script& script_;
};

#pragma GCC diagnostic pop

enum Source { kOutput, kMicrophone, kProgram };

class WasapiStreamTest : public testing::Test {
 protected:
  DeviceResult Open(Source source) {
    ComPtr<FakeDevice> device;
    Adopt(device, new FakeDevice(script_));
    ComPtr<IAudioClient> client;
    Adopt(client, new FakeClient(script_));
    DeviceResult result = source == kProgram  ? stream_.OpenProcess(client, Samples())
                          : source == kOutput ? stream_.OpenOutput(*device.Get())
                                              : stream_.OpenMicrophone(*device.Get());
    return result.ok() ? stream_.Start() : result;
  }
  // Any handle that can be told from none.
  HANDLE Samples() { return &script_; }

  Script script_;
  FakeClock clock_;
  CaptureQueue queue_;
  WasapiStream stream_{clock_, queue_};
};

TEST_F(WasapiStreamTest, ASourceIsAskedForAsItMustBe) {
  ASSERT_TRUE(Open(kOutput).ok());
  EXPECT_EQ(script_.flags, 0x20000u);
  EXPECT_EQ(script_.length, 2'000'000);
  EXPECT_TRUE(script_.options.empty());

  using Options = std::vector<int>;
  ASSERT_TRUE(Open(kMicrophone).ok());
  EXPECT_EQ(script_.flags, 0u);
  EXPECT_EQ(std::exchange(script_.options, {}), Options{1});
  script_.raw_properties = E_INVALIDARG;
  ASSERT_TRUE(Open(kMicrophone).ok());
  EXPECT_EQ(std::exchange(script_.options, {}), (Options{1, 0})) << "not unprocessed, then";
  script_.raw_properties = S_OK;
  script_.raw_initialize = AUDCLNT_E_RAW_MODE_UNSUPPORTED;
  ASSERT_TRUE(Open(kMicrophone).ok());
  EXPECT_EQ(script_.options, (Options{1, 0}));

  ASSERT_TRUE(Open(kProgram).ok());
  EXPECT_EQ(script_.flags, 0x60000u);
  EXPECT_EQ(script_.samples, Samples());
  const WAVEFORMATEX floats = {3, 2, 48000, 384000, 8, 32, 0};
  EXPECT_EQ(std::memcmp(&script_.asked, &floats, sizeof(floats)), 0);
}

TEST_F(WasapiStreamTest, PacketsAreQueuedWithTheirTimes) {
  script_.format.nSamplesPerSec = 44100;
  ASSERT_TRUE(Open(kOutput).ok());
  script_.packets = {{{0.5f, -0.5f, 0.25f, 1}, 1, 12'345}, {}, {{1, 1}, 2, 0}};
  script_.after_packets = AUDCLNT_E_DEVICE_INVALIDATED;
  EXPECT_EQ(stream_.Drain(), S_OK);
  EXPECT_EQ(script_.packets.size(), 1u) << "a packet of nothing ends a turn";
  EXPECT_TRUE(IsDeviceGone(stream_.Drain())) << "what came before is kept";
  SoundBatch batch;
  ASSERT_TRUE(queue_.Take(batch).ok());
  ASSERT_EQ(batch.records.size(), 3u);
  EXPECT_EQ(batch.records[0].frames, 0u);
  EXPECT_EQ(batch.records[0].rate, 44100u);
  EXPECT_EQ(batch.records[1].frames, 2u);
  EXPECT_EQ(batch.records[1].device_ns, 1'234'500u);
  EXPECT_EQ(batch.records[1].arrival_ns, clock_.SteadyNs());
  EXPECT_EQ(batch.records[1].flags, kSoundDiscontinuity);
  EXPECT_EQ(batch.stereo, (std::vector<float>{0.5f, -0.5f, 0.25f, 1, 0, 0})) << "silence is told";
}

TEST_F(WasapiStreamTest, AFailureNamesItsCallAndItsTrouble) {
  using T = SoundTrouble;
  constexpr HRESULT kInUse = AUDCLNT_E_DEVICE_IN_USE;
  constexpr HRESULT kGone = AUDCLNT_E_DEVICE_INVALIDATED;
  const struct {
    HRESULT Script::*call;
    Source source;
    HRESULT result;
    const char* says;
    T trouble;
  } rows[] = {
      {&Script::activate, kOutput, E_ACCESSDENIED, "IAudioClient activation failed", T::Denied},
      {&Script::mix_format, kMicrophone, E_FAIL, "GetMixFormat failed", T::Failed},
      {&Script::initialize, kMicrophone, kInUse, "IAudioClient::Initialize failed", T::Busy},
      {&Script::service, kOutput, E_FAIL, "IAudioCaptureClient unavailable", T::Failed},
      {&Script::start, kOutput, kGone, "IAudioClient::Start failed", T::NotFound},
      {&Script::initialize, kProgram, E_FAIL, "could not open that application's audio", T::Failed},
      {&Script::event, kProgram, E_FAIL, "could not arm the audio endpoint", T::Failed},
  };
  for (const auto& row : rows) {
    script_ = {};
    script_.*row.call = row.result;
    const DeviceResult result = Open(row.source);
    EXPECT_EQ(result.status, Status(StatusCode::DriverError, row.says));
    EXPECT_EQ(result.trouble, row.trouble) << row.says;
    EXPECT_FALSE(stream_.IsStarted());
  }
  script_ = {};
  script_.format.wFormatTag = 1;
  EXPECT_EQ(Open(kOutput).status,
            Status(StatusCode::Unsupported, "endpoint mix format is neither float nor 16-bit PCM"));
}

}  // namespace
}  // namespace orventa
