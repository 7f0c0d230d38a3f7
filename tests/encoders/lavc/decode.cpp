#include "tests/encoders/lavc/decode.h"

#include <gtest/gtest.h>

#include "base/text.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/mastering_display_metadata.h>
#include <libavutil/pixdesc.h>
}

namespace orventa {
namespace {

int Sample(const AVFrame& frame, int plane, int x, int y) {
  const uint8_t* row = frame.data[plane] + ptrdiff_t{y} * frame.linesize[plane];
  if (av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format))->comp[0].depth == 8) {
    return row[x];
  }
  return row[x * 2] | row[x * 2 + 1] << 8;
}

DecodedFrame Describe(const AVFrame& frame) {
  DecodedFrame out;
  out.format = av_get_pix_fmt_name(static_cast<AVPixelFormat>(frame.format));
  out.colour =
      Format("%s %s %s %s", av_color_primaries_name(frame.color_primaries),
             av_color_transfer_name(frame.color_trc), av_color_space_name(frame.colorspace),
             av_color_range_name(frame.color_range));
  for (int y = 0; y < frame.height; ++y) {
    for (int x = 0; x < frame.width; ++x) out.luma.push_back(Sample(frame, 0, x, y));
  }
  for (int plane : {1, 2}) out.chroma[plane - 1] = Sample(frame, plane, 0, 0);
  if (const auto* side = av_frame_get_side_data(&frame, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA)) {
    const auto* mastering = reinterpret_cast<const AVMasteringDisplayMetadata*>(side->data);
    out.max_luminance = av_q2d(mastering->max_luminance);
  }
  if (const auto* side = av_frame_get_side_data(&frame, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL)) {
    out.max_cll = reinterpret_cast<const AVContentLightMetadata*>(side->data)->MaxCLL;
  }
  return out;
}

void TakeFrames(AVCodecContext* context, AVFrame* frame, std::vector<DecodedFrame>& frames) {
  while (avcodec_receive_frame(context, frame) == 0) {
    EXPECT_EQ(frame->decode_error_flags, 0);
    frames.push_back(Describe(*frame));
  }
}

}  // namespace

std::vector<DecodedFrame> Decode(Codec codec, const std::vector<uint8_t>& header,
                                 std::span<const EncodedPacket> packets) {
  static constexpr AVCodecID kIds[] = {AV_CODEC_ID_H264, AV_CODEC_ID_HEVC, AV_CODEC_ID_AV1};
  const AVCodec* decoder = codec == Codec::Av1 ? avcodec_find_decoder_by_name("libdav1d")
                                               : avcodec_find_decoder(kIds[size_t(codec)]);
  EXPECT_NE(decoder, nullptr);
  AVCodecContext* context = avcodec_alloc_context3(decoder);
  context->thread_count = 1;
  context->err_recognition = AV_EF_EXPLODE | AV_EF_CRCCHECK | AV_EF_BITSTREAM;
  EXPECT_EQ(avcodec_open2(context, decoder, nullptr), 0);
  AVPacket* packet = av_packet_alloc();
  AVFrame* frame = av_frame_alloc();
  std::vector<DecodedFrame> frames;
  for (size_t i = 0; i < packets.size(); ++i) {
    std::vector<uint8_t> bytes;
    if (i == 0) bytes = header;
    const auto payload = packets[i].data.bytes();
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    EXPECT_EQ(av_new_packet(packet, static_cast<int>(bytes.size())), 0);
    std::copy(bytes.begin(), bytes.end(), packet->data);
    EXPECT_EQ(avcodec_send_packet(context, packet), 0) << "packet " << i;
    av_packet_unref(packet);
    TakeFrames(context, frame, frames);
  }
  EXPECT_EQ(avcodec_send_packet(context, nullptr), 0);
  TakeFrames(context, frame, frames);
  av_frame_free(&frame);
  av_packet_free(&packet);
  avcodec_free_context(&context);
  return frames;
}

}  // namespace orventa
