#include "encoders/lavc/lavc_encoder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <utility>

#include "encoders/bitstream.h"
#include "encoders/card_rules.h"
#include "encoders/lavc/planes.h"
#include "media/memory_picture.h"

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/opt.h>
}

namespace orventa {
namespace lavc {

void FreeContext::operator()(AVCodecContext* context) const {
  avcodec_free_context(&context);
}
void FreeFrame::operator()(AVFrame* frame) const {
  av_frame_free(&frame);
}
void FreePacket::operator()(AVPacket* packet) const {
  av_packet_free(&packet);
}
void FreeBuffer::operator()(AVBufferRef* buffer) const {
  av_buffer_unref(&buffer);
}
void FreePool::operator()(AVBufferPool* pool) const {
  av_buffer_pool_uninit(&pool);
}

}  // namespace lavc

namespace {

using BufferRef = std::unique_ptr<AVBufferRef, lavc::FreeBuffer>;

constexpr size_t kRowAlignment = 64;
constexpr int kSurfaces = 16;  // two more than the deepest queue of references and frames

size_t AlignRow(size_t bytes) {
  return (bytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
}

std::string ErrorText(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof(text));
  return text;
}

struct FreeOptions {
  void operator()(AVDictionary* options) const { av_dict_free(&options); }
};
using Options = std::unique_ptr<AVDictionary, FreeOptions>;

Options MakeOptions(const LavcOptionList& list) {
  AVDictionary* options = nullptr;
  for (const auto& [name, value] : list) {
    if (av_dict_set(&options, name.c_str(), value.c_str(), 0) < 0) {
      av_dict_free(&options);
      throw std::bad_alloc();
    }
  }
  return Options(options);
}

// A reference that keeps the picture alive for as long as the library holds it.
BufferRef HoldPicture(const PictureRef& picture, uint8_t* data, size_t bytes) {
  auto* held = new PictureRef(picture);
  const auto let_go = [](void* opaque, uint8_t*) { delete static_cast<PictureRef*>(opaque); };
  AVBufferRef* buffer = av_buffer_create(data, bytes, let_go, held, AV_BUFFER_FLAG_READONLY);
  if (buffer == nullptr) delete held;
  return BufferRef(buffer);
}

}  // namespace

std::string RenderNode() {
  constexpr int kFirstNode = 128;
  constexpr int kNodes = 64;
  for (int node = kFirstNode; node < kFirstNode + kNodes; ++node) {
    std::string path = "/dev/dri/renderD" + std::to_string(node);
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (file < 0) continue;
    close(file);
    return path;
  }
  return {};
}

Status OpenLavcEncoder(LavcKind kind, const EncoderSettings& settings,
                       std::unique_ptr<IVideoEncoder>& out) {
  out.reset();
  EncoderSettings effective;
  if (Status status = EffectiveSettings(kind, settings, effective); !status.ok()) return status;
  auto encoder = std::make_unique<LavcEncoder>(kind, std::move(effective));
  if (Status status = encoder->Open(); !status.ok()) return status;
  out = std::move(encoder);
  return Status::Ok();
}

LavcEncoder::LavcEncoder(LavcKind kind, EncoderSettings settings)
    : kind_(kind),
      settings_(std::move(settings)),
      input_format_(LavcInputFormat(kind, settings_)),
      frame_(av_frame_alloc()),
      surface_(av_frame_alloc()),
      packet_(av_packet_alloc()),
      pictures_(KeyframeDistance(settings_)) {
  if (!frame_ || !surface_ || !packet_) throw std::bad_alloc();
}

Status LavcEncoder::Open() {
  if (Status status = OpenContext(); !status.ok()) return status;
  header_ = SequenceHeader(settings_.codec,
                           {context_->extradata, static_cast<size_t>(context_->extradata_size)});
  if (!header_.empty()) return Status::Ok();
  if (Status status = LearnHeader(); !status.ok()) return status;
  return OpenContext();
}

Status LavcEncoder::OpenContext() {
  const std::string name = LavcEncoderName(kind_, settings_.codec);
  const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str());
  if (codec == nullptr) return {StatusCode::Unsupported, "this libavcodec has no " + name};
  std::unique_ptr<AVCodecContext, lavc::FreeContext> context(avcodec_alloc_context3(codec));
  if (!context) throw std::bad_alloc();
  context_ = std::move(context);
  context_->pix_fmt = input_format_;
  FillContext(kind_, settings_, *context_);
  if (kind_ == LavcKind::VaApi) {
    if (Status status = OpenSurfaces(); !status.ok()) return status;
  }

  AVDictionary* options = MakeOptions(LavcOptions(kind_, settings_)).release();
  const int error = avcodec_open2(context_.get(), codec, &options);
  const Options left(options);
  if (error < 0) {
    return Failed(error, "opening");
  }
  if (const AVDictionaryEntry* unknown = av_dict_get(options, "", nullptr, AV_DICT_IGNORE_SUFFIX)) {
    return {StatusCode::Unsupported, name + " does not know the option " + unknown->key};
  }
  return Status::Ok();
}

Status LavcEncoder::OpenSurfaces() {
  AVBufferRef* made = nullptr;
  const std::string node = RenderNode();
  int error = av_hwdevice_ctx_create(&made, AV_HWDEVICE_TYPE_VAAPI, node.c_str(), nullptr, 0);
  if (error < 0) {
    return {StatusCode::BackendUnavailable,
            "VA-API does not open " + node + ": " + ErrorText(error)};
  }
  const BufferRef device(made);
  BufferRef surfaces(av_hwframe_ctx_alloc(device.get()));
  if (!surfaces) throw std::bad_alloc();
  auto* frames = reinterpret_cast<AVHWFramesContext*>(surfaces->data);
  frames->format = AV_PIX_FMT_VAAPI;
  frames->sw_format = input_format_;
  frames->width = context_->width;
  frames->height = context_->height;
  frames->initial_pool_size = kSurfaces;
  error = av_hwframe_ctx_init(surfaces.get());
  if (error < 0) return Failed(error, "making surfaces for");
  context_->hw_frames_ctx = surfaces.release();
  context_->pix_fmt = AV_PIX_FMT_VAAPI;
  return Status::Ok();
}

Status LavcEncoder::Submit(const EncoderFrame& frame) {
  if (Status status = Check(frame); !status.ok()) return status;
  const Status status = Send(frame);
  av_frame_unref(frame_.get());
  av_frame_unref(surface_.get());
  if (!status.ok()) return status;
  pictures_.Add({nullptr, frame.pts, frame.force_keyframe}, pictures_.Submitted());
  return Receive();
}

Status LavcEncoder::Check(const EncoderFrame& frame) const {
  if (Status status = pictures_.CheckNext(); !status.ok()) return status;
  if (frame.picture == nullptr || frame.picture->InMemory() == nullptr) {
    return {StatusCode::InvalidArgument, "null input picture"};
  }
  return CheckPicture(*frame.picture, settings_);
}

Status LavcEncoder::Send(const EncoderFrame& frame) {
  if (Status status = FillFrame(frame.picture); !status.ok()) return status;
  AVFrame* sent = frame_.get();
  if (kind_ == LavcKind::VaApi) {
    if (Status status = Upload(); !status.ok()) return status;
    sent = surface_.get();
  }
  sent->pts = static_cast<int64_t>(pictures_.Submitted());
  sent->pict_type = frame.force_keyframe ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
  sent->color_primaries = context_->color_primaries;
  sent->color_trc = context_->color_trc;
  sent->colorspace = context_->colorspace;
  sent->color_range = context_->color_range;
  const int error = avcodec_send_frame(context_.get(), sent);
  return error < 0 ? Failed(error, "encoding with") : Status::Ok();
}

Status LavcEncoder::FillFrame(const PictureRef& ref) {
  const MemoryPicture& picture = *ref->InMemory();
  const PlaneView& luma = picture.plane(0);
  const PlaneView& chroma = picture.plane(1);
  AVFrame& frame = *frame_;
  frame.format = input_format_;
  frame.width = context_->width;
  frame.height = context_->height;
  if (input_format_ == AV_PIX_FMT_YUV420P10LE) return SplitPlanes(picture);

  frame.buf[0] = HoldPicture(ref, luma.data, luma.stride * picture.height()).release();
  if (frame.buf[0] == nullptr) return Failed(AVERROR(ENOMEM), "holding a picture for");
  frame.data[0] = luma.data;
  frame.linesize[0] = static_cast<int>(luma.stride);
  if (input_format_ == AV_PIX_FMT_YUV420P) return SplitPlanes(picture);
  frame.data[1] = chroma.data;
  frame.linesize[1] = static_cast<int>(chroma.stride);
  return Status::Ok();
}

// 8 bits: luma stays where it is. 10 bits: its codes move, too.
Status LavcEncoder::SplitPlanes(const MemoryPicture& picture) {
  const bool ten_bit = input_format_ == AV_PIX_FMT_YUV420P10LE;
  const uint32_t width = picture.width();
  const uint32_t height = picture.height();
  const size_t sample = ten_bit ? 2 : 1;
  const size_t luma_stride = AlignRow(width * sample);
  const size_t chroma_stride = AlignRow(width / 2 * sample);
  const size_t luma_bytes = ten_bit ? luma_stride * height : 0;
  const size_t chroma_bytes = chroma_stride * (height / 2);
  if (!planes_) {
    // Room behind the last row: the libraries read whole vectors.
    planes_.reset(av_buffer_pool_init(luma_bytes + 2 * chroma_bytes + kRowAlignment, nullptr));
  }
  AVFrame& frame = *frame_;
  AVBufferRef* buffer = planes_ ? av_buffer_pool_get(planes_.get()) : nullptr;
  if (buffer == nullptr) return Failed(AVERROR(ENOMEM), "splitting planes for");
  frame.buf[ten_bit ? 0 : 1] = buffer;

  const PlaneView first = {buffer->data + luma_bytes, chroma_stride};
  const PlaneView second = {first.data + chroma_bytes, chroma_stride};
  if (ten_bit) {
    const PlaneView luma = {buffer->data, luma_stride};
    LowerTenBits(picture.plane(0), width, height, luma);
    SplitChroma10(picture.plane(1), width / 2, height / 2, first, second);
    frame.data[0] = luma.data;
    frame.linesize[0] = static_cast<int>(luma_stride);
  } else {
    SplitChroma8(picture.plane(1), width / 2, height / 2, first, second);
  }
  frame.data[1] = first.data;
  frame.data[2] = second.data;
  frame.linesize[1] = frame.linesize[2] = static_cast<int>(chroma_stride);
  return Status::Ok();
}

Status LavcEncoder::Upload() {
  int error = av_hwframe_get_buffer(context_->hw_frames_ctx, surface_.get(), 0);
  if (error >= 0) error = av_hwframe_transfer_data(surface_.get(), frame_.get(), 0);
  return error < 0 ? Failed(error, "uploading a picture to") : Status::Ok();
}

Status LavcEncoder::Receive() {
  for (;;) {
    const int error = avcodec_receive_packet(context_.get(), packet_.get());
    if (error == AVERROR(EAGAIN) || error == AVERROR_EOF) return Status::Ok();
    if (error < 0) return Failed(error, "encoding with");
    Status status = Keep(*packet_);
    av_packet_unref(packet_.get());
    if (!status.ok()) return status;
  }
}

Status LavcEncoder::Keep(const AVPacket& packet) {
  return pictures_.Keep(
      static_cast<uint64_t>(packet.pts), 0, (packet.flags & AV_PKT_FLAG_KEY) != 0,
      PacketPayload(settings_.codec, {packet.data, static_cast<size_t>(packet.size)}));
}

CollectResult LavcEncoder::Collect(EncodedPacket& packet, Status& status) {
  status = Status::Ok();
  const bool draining = pictures_.draining();
  if (!pictures_.HasPacket() && !draining) status = Receive();
  if (!pictures_.HasPacket()) {
    return draining && status.ok() ? CollectResult::Finished : CollectResult::NothingYet;
  }
  packet = pictures_.Take();
  return CollectResult::Packet;
}

Status LavcEncoder::Drain() {
  if (!pictures_.BeginDrain()) return Status::Ok();
  const int error = avcodec_send_frame(context_.get(), nullptr);
  if (error < 0 && error != AVERROR_EOF) return Failed(error, "draining");
  return Receive();
}

Status LavcEncoder::LearnHeader() {
  const auto blank =
      MemoryPicture::Allocate(InputPictures(settings_), settings_.width, settings_.height);
  if (Status status = Submit({blank, 0, false}); !status.ok()) return status;
  if (Status status = Drain(); !status.ok()) return status;
  if (pictures_.HasPacket()) {
    header_ = SequenceHeader(settings_.codec, pictures_.Take().data.bytes());
  }
  pictures_ = PictureQueue(KeyframeDistance(settings_));
  context_.reset();
  if (!header_.empty()) return Status::Ok();
  return {StatusCode::Unsupported,
          LavcEncoderName(kind_, settings_.codec) + " gives no sequence header"};
}

Status LavcEncoder::Failed(int error, const char* what) const {
  const bool opening = avcodec_is_open(context_.get()) == 0;
  const bool hardware = kind_ != LavcKind::Software;
  if (error == AVERROR(ENOMEM) && hardware) {
    return {StatusCode::SessionLimitReached, std::string(kGpuBusy)};
  }
  StatusCode code = StatusCode::DriverError;
  if (error == AVERROR(ENOMEM)) {
    code = StatusCode::OutOfMemory;
  } else if (!opening && hardware && (error == AVERROR(EIO) || error == AVERROR(ENODEV))) {
    code = StatusCode::DeviceLost;
  } else if (opening && (error == AVERROR(ENOSYS) || error == AVERROR(EINVAL) ||
                         error == AVERROR(ENOTSUP) || error == AVERROR_PATCHWELCOME)) {
    code = StatusCode::Unsupported;
  } else if (opening && hardware) {
    code = StatusCode::BackendUnavailable;
  }
  return {code, std::string(what) + " " + LavcEncoderName(kind_, settings_.codec) + ": " +
                    ErrorText(error)};
}

}  // namespace orventa
