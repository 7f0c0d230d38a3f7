#include "encoders/mf/mf_encoder.h"

#include <algorithm>
#include <utility>

#include "base/log.h"
#include "encoders/bitstream.h"
#include "encoders/card_rules.h"
#include "encoders/encoders_win/frame_texture.h"
#include "encoders/mf/mf_options.h"

namespace orventa {
namespace {

using Microsoft::WRL::ComPtr;

// A transform that says nothing for longer than this is stuck.
constexpr uint32_t kSilenceMs = 2000;

// A picture of nothing in particular. Not every card renders to these formats.
Status MakeBlank(ID3D11Device& device, const EncoderSettings& settings,
                 ComPtr<ID3D11Texture2D>& texture) {
  D3D11_TEXTURE2D_DESC wanted{};
  wanted.Width = settings.width;
  wanted.Height = settings.height;
  wanted.MipLevels = wanted.ArraySize = wanted.SampleDesc.Count = 1;
  wanted.Format = settings.input_format == EncoderInput::P010 ? DXGI_FORMAT_P010 : DXGI_FORMAT_NV12;
  wanted.BindFlags = D3D11_BIND_RENDER_TARGET | D3D11_BIND_SHADER_RESOURCE;
  if (SUCCEEDED(device.CreateTexture2D(&wanted, nullptr, &texture))) return Status::Ok();
  wanted.BindFlags = 0;
  return MfStatus(device.CreateTexture2D(&wanted, nullptr, &texture), "CreateTexture2D");
}

}  // namespace

MfEncoder::MfEncoder(const MediaFoundation& mf, const AdapterFacts& adapter,
                     EncoderSettings settings)
    : mf_(mf),
      adapter_(adapter),
      settings_(std::move(settings)),
      session_(mf),
      pictures_(KeyframeDistance(settings_)) {}

Status MfEncoder::Open() {
  Status status = session_.Start();
  if (status.ok()) status = Start();
  if (!status.ok()) return status;
  header_ = transform_->Header();
  return header_.empty() ? LearnHeader() : Status::Ok();
}

Status MfEncoder::Start() {
  transform_.emplace(mf_, adapter_, settings_);
  Status status = transform_->Open();
  return status.ok() ? transform_->Begin() : status;
}

// Some know their header only once they have encoded a picture. This one does so, and
// another takes its place.
Status MfEncoder::LearnHeader() {
  if (Status status = EncodeBlank(); !status.ok()) return status;
  if (header_.empty()) return {StatusCode::DriverError, "the encoder gave no sequence header"};
  return Start();
}

Status MfEncoder::EncodeBlank() {
  ComPtr<ID3D11Texture2D> texture;
  Status status = MakeBlank(*adapter_.device.Get(), settings_, texture);
  if (status.ok()) status = AwaitWanted();
  if (status.ok()) status = transform_->Put(*texture.Get(), 0, 0, true);
  if (status.ok()) status = transform_->Drain();
  if (!status.ok()) return status;
  MfEvents& events = transform_->events();
  while (header_.empty()) {
    const bool drained = events.Drained();
    if (!events.TakePacket()) {
      if (status = events.Failure(); !status.ok()) return status;
      if (drained || !events.Wait(kSilenceMs)) break;
      continue;
    }
    ComPtr<IMFSample> sample;
    if (status = transform_->Take(sample); !status.ok()) return status;
    header_ = transform_->Header();
    if (!header_.empty() || !sample) continue;
    MfBytes packet;
    if (SUCCEEDED(packet.Lock(*sample.Get()))) {
      header_ = SequenceHeader(settings_.codec, packet.bytes());
    }
  }
  return Status::Ok();
}

Status MfEncoder::Submit(const EncoderFrame& frame) {
  const D3d11Picture* picture = nullptr;
  Status status = FrameTexture(frame, settings_, picture);
  if (status.ok()) status = pictures_.CheckNext();
  if (status.ok()) status = AwaitWanted();
  if (status.ok()) {
    status = transform_->Put(*picture->texture(), picture->sub_resource(), frame.pts,
                             pictures_.IsKeyframe(frame));
  }
  if (status.ok()) pictures_.Add(frame, frame.pts);
  return status;
}

Status MfEncoder::AwaitWanted() {
  MfEvents& events = transform_->events();
  while (!events.TakeWanted()) {
    bool taken = false;
    if (Status status = Receive(taken); !status.ok()) return status;
    if (taken || events.Wait(kSilenceMs)) continue;
    return {StatusCode::DriverError, "ProcessInput failed: the encoder's queue stays full"};
  }
  return Status::Ok();
}

Status MfEncoder::Receive(bool& taken) {
  MfEvents& events = transform_->events();
  taken = events.TakePacket();
  if (!taken) return events.Failure();
  ComPtr<IMFSample> sample;
  Status status = transform_->Take(sample);
  if (!status.ok()) return status;
  if (sample) return Keep(*sample.Get());
  const std::vector<uint8_t> header = transform_->Header();
  if (!header.empty() && header != header_) {
    LogWarning("encoder: Quick Sync changed its sequence header while it encoded");
  }
  return Status::Ok();
}

Status MfEncoder::Keep(IMFSample& sample) {
  LONGLONG ticks = 0;
  UINT32 keyframe = FALSE;
  MfBytes packet;
  HRESULT result = sample.GetSampleTime(&ticks);
  if (SUCCEEDED(result)) result = packet.Lock(sample);
  if (FAILED(result)) return MfStatus(result, "reading a packet");
  sample.GetUINT32(MFSampleExtension_CleanPoint, &keyframe);
  // Drivers count time in units of their own and round on the way there and back.
  return pictures_.Keep(static_cast<uint64_t>(std::max(ticks, LONGLONG{0})) * kNsPerMfTick,
                        MfPictureNs(settings_) / 2, keyframe != FALSE,
                        PacketPayload(settings_.codec, packet.bytes()));
}

CollectResult MfEncoder::Collect(EncodedPacket& packet, Status& status) {
  status = Status::Ok();
  // Read first: what it has is told before that it has given all.
  const bool drained = transform_->events().Drained();
  for (bool taken = true; taken && status.ok() && !pictures_.HasPacket();) status = Receive(taken);
  if (pictures_.HasPacket()) {
    packet = pictures_.Take();
    return CollectResult::Packet;
  }
  if (!drained || !status.ok()) return CollectResult::NothingYet;
  if (pictures_.Inside() > 0) LogWarning("encoder: Quick Sync kept pictures for itself");
  return CollectResult::Finished;
}

Status MfEncoder::Drain() {
  return pictures_.BeginDrain() ? transform_->Drain() : Status::Ok();
}

}  // namespace orventa
