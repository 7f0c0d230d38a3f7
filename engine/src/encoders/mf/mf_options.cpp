#include "encoders/mf/mf_options.h"

#include <d3d11.h>
#include <mferror.h>

#include <array>

#include "base/clock.h"
#include "base/rescale.h"
#include "base/text.h"
#include "encoders/card_rules.h"
#include "encoders/mf/mf_names.h"

namespace orventa {
namespace {

using Microsoft::WRL::ComPtr;

using namespace mf;

struct Meaning {
  HRESULT result;
  StatusCode code;
};

constexpr Meaning kMeanings[] = {
    {E_INVALIDARG, StatusCode::InvalidArgument},
    {E_POINTER, StatusCode::InvalidArgument},
    {MF_E_ATTRIBUTENOTFOUND, StatusCode::Unsupported},
    {MF_E_INVALIDMEDIATYPE, StatusCode::Unsupported},
    {MF_E_UNSUPPORTED_D3D_TYPE, StatusCode::Unsupported},
    {MF_E_TRANSFORM_TYPE_NOT_SET, StatusCode::Unsupported},
    {MF_E_TOPO_CODEC_NOT_FOUND, StatusCode::Unsupported},
    {E_NOTIMPL, StatusCode::Unsupported},
    {E_NOINTERFACE, StatusCode::Unsupported},
    {DXGI_ERROR_UNSUPPORTED, StatusCode::Unsupported},
    {DXGI_ERROR_DEVICE_REMOVED, StatusCode::DeviceLost},
    {DXGI_ERROR_DEVICE_RESET, StatusCode::DeviceLost},
    {DXGI_ERROR_DEVICE_HUNG, StatusCode::DeviceLost},
    {DXGI_ERROR_DRIVER_INTERNAL_ERROR, StatusCode::DeviceLost},
    {MF_E_HW_MFT_FAILED_START_STREAMING, StatusCode::SessionLimitReached},
    {E_OUTOFMEMORY, StatusCode::SessionLimitReached},
};

StatusCode CodeOf(HRESULT result) {
  if (SUCCEEDED(result)) return StatusCode::Ok;
  for (const Meaning& meaning : kMeanings) {
    if (meaning.result == result) return meaning.code;
  }
  return StatusCode::DriverError;
}

UINT32 Profile(const EncoderSettings& settings) {
  const bool ten_bit = settings.input_format == EncoderInput::P010;
  switch (settings.codec) {
    case Codec::H264: break;
    case Codec::Hevc:
      return ten_bit ? UINT32{eAVEncH265VProfile_Main_420_10}
                     : UINT32{eAVEncH265VProfile_Main_420_8};
    case Codec::Av1: return ten_bit ? kAv1Main10 : kAv1Main8;
  }
  return eAVEncH264VProfile_High;
}

// What both types have in common.
std::vector<MfNumber> PictureNumbers(const EncoderSettings& settings) {
  static constexpr std::array<UINT64, 3> kTransfers = {MFVideoTransFunc_709, MFVideoTransFunc_2084,
                                                       MFVideoTransFunc_HLG};
  const bool wide_primaries = settings.colour_primaries == ColourPrimaries::Bt2020;
  const bool wide_matrix = settings.matrix == ColourMatrix::Bt2020;
  return {
      {MF_MT_FRAME_SIZE, PackSize(settings.width, settings.height), MfNumber::Wide},
      {MF_MT_FRAME_RATE, PackSize(settings.fps_num, settings.fps_den), MfNumber::Wide},
      {MF_MT_PIXEL_ASPECT_RATIO, PackSize(1, 1), MfNumber::Wide},
      {MF_MT_INTERLACE_MODE, MFVideoInterlace_Progressive},
      {MF_MT_VIDEO_PRIMARIES,
       UINT64{wide_primaries ? MFVideoPrimaries_BT2020 : MFVideoPrimaries_BT709}},
      {MF_MT_TRANSFER_FUNCTION, kTransfers[static_cast<size_t>(settings.transfer)]},
      {MF_MT_YUV_MATRIX,
       UINT64{wide_matrix ? MFVideoTransferMatrix_BT2020_10 : MFVideoTransferMatrix_BT709}},
      {MF_MT_VIDEO_NOMINAL_RANGE,
       UINT64{settings.full_range ? MFNominalRange_0_255 : MFNominalRange_16_235}},
  };
}

Status MakeType(const MediaFoundation& mf, const EncoderSettings& settings, const GUID& subtype,
                std::vector<MfNumber> numbers, ComPtr<IMFMediaType>& type) {
  const MasteringMetadata& mastering = settings.mastering;
  const bool has_mastering = mastering != MasteringMetadata{};
  if (has_mastering) {
    const MfNumber more[] = {
        {kMaxContentLight, mastering.max_cll},
        {kMaxAverageLight, mastering.max_fall},
        {kMaxMasteringLuminance, MasteringUnits(mastering.max_nits, 1.0F)},
        {kMinMasteringLuminance, MasteringUnits(mastering.min_nits, 10'000.0F)},
    };
    for (const MfNumber& number : more) numbers.push_back(number);
  }
  Status status = MakeMfType(mf, MFMediaType_Video, subtype, numbers, type);
  if (!status.ok() || !has_mastering) return status;
  static_assert(sizeof(MT_CUSTOM_VIDEO_PRIMARIES) == sizeof(mastering.chromaticity));
  return MfStatus(type->SetBlob(MF_MT_CUSTOM_VIDEO_PRIMARIES,
                                reinterpret_cast<const UINT8*>(mastering.chromaticity),
                                sizeof(mastering.chromaticity)),
                  "setting HDR metadata");
}

}  // namespace

Status MfStatus(HRESULT result, const char* call) {
  const StatusCode code = CodeOf(result);
  if (code == StatusCode::Ok) return Status::Ok();
  std::string text = Format("%s failed (0x%08lX)", call, static_cast<unsigned long>(result));
  if (code == StatusCode::SessionLimitReached) {
    text += " (" + std::string(kGpuBusy) + ")";
  }
  return {code, std::move(text)};
}

const GUID& MfCodecSubtype(Codec codec) {
  switch (codec) {
    case Codec::H264: break;
    case Codec::Hevc: return MFVideoFormat_HEVC;
    case Codec::Av1: return MFVideoFormat_AV1;
  }
  return MFVideoFormat_H264;
}

const GUID& MfInputSubtype(EncoderInput input) {
  return input == EncoderInput::P010 ? MFVideoFormat_P010 : MFVideoFormat_NV12;
}

std::vector<MfProperty> MfProperties(const EncoderSettings& settings) {
  using enum MfProperty::Need;
  std::vector<MfProperty> list;
  const auto add = [&](const GUID& id, const char* name, VARTYPE type, uint64_t value,
                       MfProperty::Need need) {
    list.push_back({id, name, type, value, need});
  };
  const auto add_number = [&](const GUID& id, const char* name, uint64_t value,
                              MfProperty::Need need) { add(id, name, VT_UI4, value, need); };
  static constexpr std::array<uint64_t, 3> kModes = {eAVEncCommonRateControlMode_CBR,
                                                     eAVEncCommonRateControlMode_PeakConstrainedVBR,
                                                     eAVEncCommonRateControlMode_Quality};
  add_number(CODECAPI_AVEncCommonRateControlMode, "the rate control",
             kModes[static_cast<size_t>(settings.rate_control)], Always);
  if (settings.rate_control == RateControl::ConstantQp) {
    const uint64_t qp = CodecQp(settings);
    add(CODECAPI_AVEncVideoEncodeQP, "the quantizer", VT_UI8, qp, Always);
    // One each for I, P and B.
    add(CODECAPI_AVEncVideoEncodeFrameTypeQP, "the quantizers", VT_UI8, qp | qp << 16 | qp << 32,
        Wish);
  } else {
    const uint64_t rate = BitsPerSecond(settings.bitrate_kbps);
    const bool constant = settings.rate_control == RateControl::Cbr;
    const uint64_t peak = constant ? rate : BitsPerSecond(settings.max_bitrate_kbps);
    add_number(CODECAPI_AVEncCommonMeanBitRate, "the bitrate", rate, Always);
    add_number(CODECAPI_AVEncCommonMaxBitRate, "the peak bitrate", peak, Wish);
    add_number(CODECAPI_AVEncCommonBufferSize, "the buffer", peak / 8, Wish);  // a second, bytes
  }
  add_number(CODECAPI_AVEncMPVDefaultBPictureCount, "no B-frames", 0, IfKnown);
  add_number(CODECAPI_AVEncMPVGOPSize, "the keyframe distance", KeyframeDistance(settings), Wish);
  // 0 is the fastest, 100 the best.
  add_number(CODECAPI_AVEncCommonQualityVsSpeed, "the preset",
             SpeedPresetIndex(settings.preset) * 50, Wish);
  if (settings.low_latency) {
    add(CODECAPI_AVLowLatencyMode, "low latency", VT_BOOL, 1, Wish);
  }
  return list;
}

Status MakeMfPacketType(const MediaFoundation& mf, const EncoderSettings& settings,
                        ComPtr<IMFMediaType>& type) {
  std::vector<MfNumber> numbers = PictureNumbers(settings);
  numbers.push_back({MF_MT_AVG_BITRATE, BitsPerSecond(settings.bitrate_kbps)});
  numbers.push_back({MF_MT_MPEG2_PROFILE, Profile(settings)});
  return MakeType(mf, settings, MfCodecSubtype(settings.codec), std::move(numbers), type);
}

Status MakeMfPictureType(const MediaFoundation& mf, const EncoderSettings& settings,
                         ComPtr<IMFMediaType>& type) {
  return MakeType(mf, settings, MfInputSubtype(settings.input_format), PictureNumbers(settings),
                  type);
}

uint64_t MfPictureNs(const EncoderSettings& settings) {
  return Rescale(settings.fps_den, settings.fps_num, kNsPerSecond);
}

}  // namespace orventa
