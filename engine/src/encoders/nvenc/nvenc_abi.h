// The binary interface of nvEncodeAPI64.dll, version 13.0, as far as it is used:
// structures, numbers and the table of functions under their published names, with
// the sizes and offsets that the driver expects held at compile time. Stretches of
// fields that stay zero are one array. A structure made with {} is zero but for its
// version, which is what every call wants.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

namespace orventa::nvenc {

inline constexpr uint32_t NVENCAPI_VERSION = 13;  // major, and the minor version from bit 24
// The same version in the words of NvEncodeAPIGetMaxSupportedVersion.
inline constexpr uint32_t kLeastDriverVersion = 13 << 4;

constexpr uint32_t StructVersion(uint32_t version) {
  return NVENCAPI_VERSION | version << 16 | 0x7U << 28;
}
// Some structures carry one more mark.
constexpr uint32_t MarkedVersion(uint32_t version) {
  return StructVersion(version) | 1U << 31;
}

// --- numbers ---

using NVENCSTATUS = int32_t;
inline constexpr NVENCSTATUS NV_ENC_SUCCESS = 0;
inline constexpr NVENCSTATUS NV_ENC_ERR_UNSUPPORTED_DEVICE = 2;
inline constexpr NVENCSTATUS NV_ENC_ERR_DEVICE_NOT_EXIST = 5;
inline constexpr NVENCSTATUS NV_ENC_ERR_INVALID_PTR = 6;
inline constexpr NVENCSTATUS NV_ENC_ERR_INVALID_PARAM = 8;
inline constexpr NVENCSTATUS NV_ENC_ERR_INVALID_CALL = 9;
inline constexpr NVENCSTATUS NV_ENC_ERR_OUT_OF_MEMORY = 10;
inline constexpr NVENCSTATUS NV_ENC_ERR_UNSUPPORTED_PARAM = 12;
inline constexpr NVENCSTATUS NV_ENC_ERR_INVALID_VERSION = 15;
inline constexpr NVENCSTATUS NV_ENC_ERR_NEED_MORE_INPUT = 17;
inline constexpr NVENCSTATUS NV_ENC_ERR_ENCODER_BUSY = 18;

inline constexpr uint32_t NV_ENC_DEVICE_TYPE_DIRECTX = 0;
inline constexpr uint32_t NV_ENC_INPUT_RESOURCE_TYPE_DIRECTX = 0;
inline constexpr uint32_t NV_ENC_INPUT_IMAGE = 0;

inline constexpr uint32_t NV_ENC_BUFFER_FORMAT_NV12 = 0x1;
inline constexpr uint32_t NV_ENC_BUFFER_FORMAT_YUV420_10BIT = 0x10000;  // P010
inline constexpr uint32_t NV_ENC_BUFFER_FORMAT_ARGB = 0x1000000;        // B in the lowest byte

inline constexpr uint32_t NV_ENC_TUNING_INFO_HIGH_QUALITY = 1;
inline constexpr uint32_t NV_ENC_TUNING_INFO_LOW_LATENCY = 2;

inline constexpr uint32_t NV_ENC_SPLIT_AUTO_MODE = 0;
inline constexpr uint32_t NV_ENC_SPLIT_AUTO_FORCED_MODE = 1;
inline constexpr uint32_t NV_ENC_SPLIT_DISABLE_MODE = 15;

inline constexpr uint32_t NV_ENC_PARAMS_RC_CONSTQP = 0;
inline constexpr uint32_t NV_ENC_PARAMS_RC_VBR = 1;
inline constexpr uint32_t NV_ENC_PARAMS_RC_CBR = 2;

inline constexpr uint32_t NV_ENC_PIC_TYPE_P = 0;
inline constexpr uint32_t NV_ENC_PIC_TYPE_B = 1;
inline constexpr uint32_t NV_ENC_PIC_TYPE_I = 2;
inline constexpr uint32_t NV_ENC_PIC_TYPE_IDR = 3;
inline constexpr uint32_t NV_ENC_PIC_STRUCT_FRAME = 1;
inline constexpr uint32_t NV_ENC_PIC_FLAG_FORCEIDR = 2;
inline constexpr uint32_t NV_ENC_PIC_FLAG_EOS = 8;

inline constexpr uint32_t NV_ENC_BIT_DEPTH_8 = 8;
inline constexpr uint32_t NV_ENC_BIT_DEPTH_10 = 10;
inline constexpr uint32_t kChroma420 = 1;  // as chromaFormatIDC

inline constexpr uint32_t NV_ENC_VUI_VIDEO_FORMAT_UNSPECIFIED = 5;

inline constexpr uint32_t NV_ENC_CAPS_NUM_MAX_BFRAMES = 0;
inline constexpr uint32_t NV_ENC_CAPS_WIDTH_MAX = 16;
inline constexpr uint32_t NV_ENC_CAPS_HEIGHT_MAX = 17;
inline constexpr uint32_t NV_ENC_CAPS_SUPPORT_LOSSLESS_ENCODE = 34;
inline constexpr uint32_t NV_ENC_CAPS_SUPPORT_10BIT_ENCODE = 39;

// --- GUIDs ---

inline constexpr GUID NV_ENC_CODEC_H264_GUID = {
    0x6BC82762, 0x4E63, 0x4CA4, {0xAA, 0x85, 0x1E, 0x50, 0xF3, 0x21, 0xF6, 0xBF}};
inline constexpr GUID NV_ENC_CODEC_HEVC_GUID = {
    0x790CDC88, 0x4522, 0x4D7B, {0x94, 0x25, 0xBD, 0xA9, 0x97, 0x5F, 0x76, 0x03}};
inline constexpr GUID NV_ENC_CODEC_AV1_GUID = {
    0x0A352289, 0x0AA7, 0x4759, {0x86, 0x2D, 0x5D, 0x15, 0xCD, 0x16, 0xD2, 0x54}};
inline constexpr GUID NV_ENC_CODEC_PROFILE_AUTOSELECT_GUID = {
    0xBFD6F8E7, 0x233C, 0x4341, {0x8B, 0x3E, 0x48, 0x18, 0x52, 0x38, 0x03, 0xF4}};
inline constexpr GUID NV_ENC_PRESET_GUIDS[] = {  // P1 to P7
    {0xFC0A8D3E, 0x45F8, 0x4CF8, {0x80, 0xC7, 0x29, 0x88, 0x71, 0x59, 0x0E, 0xBF}},
    {0xF581CFB8, 0x88D6, 0x4381, {0x93, 0xF0, 0xDF, 0x13, 0xF9, 0xC2, 0x7D, 0xAB}},
    {0x36850110, 0x3A07, 0x441F, {0x94, 0xD5, 0x36, 0x70, 0x63, 0x1F, 0x91, 0xF6}},
    {0x90A7B826, 0xDF06, 0x4862, {0xB9, 0xD2, 0xCD, 0x6D, 0x73, 0xA0, 0x86, 0x81}},
    {0x21C6E6B4, 0x297A, 0x4CBA, {0x99, 0x8F, 0xB6, 0xCB, 0xDE, 0x72, 0xAD, 0xE3}},
    {0x8E75C279, 0x6299, 0x4AB6, {0x83, 0x02, 0x0B, 0x21, 0x5A, 0x33, 0x5C, 0xF5}},
    {0x84848C12, 0x6F71, 0x4C13, {0x93, 0x1B, 0x53, 0xE2, 0x83, 0xF5, 0x79, 0x74}}};

// --- structures ---

using NV_ENC_INPUT_PTR = void*;
using NV_ENC_OUTPUT_PTR = void*;
using NV_ENC_REGISTERED_PTR = void*;

struct NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS {
  uint32_t version = StructVersion(1);
  uint32_t deviceType;
  void* device;
  void* reserved;
  uint32_t apiVersion;
  uint32_t reserved1[253];
  void* reserved2[64];
};

struct NV_ENC_CAPS_PARAM {
  uint32_t version = StructVersion(1);
  uint32_t capsToQuery;
  uint32_t reserved[62];
};

struct NV_ENC_QP {
  uint32_t qpInterP;
  uint32_t qpInterB;
  uint32_t qpIntra;
};

// Bits of NV_ENC_RC_PARAMS::flags.
inline constexpr uint32_t kRcEnableAq = 1U << 3;
inline constexpr uint32_t kRcEnableLookahead = 1U << 5;
inline constexpr uint32_t kRcAqStrengthShift = 12;
inline constexpr uint32_t kRcAqStrengthMask = 15U << kRcAqStrengthShift;

struct NV_ENC_RC_PARAMS {
  uint32_t version = StructVersion(1);
  uint32_t rateControlMode;
  NV_ENC_QP constQP;
  uint32_t averageBitRate;  // bits a second
  uint32_t maxBitRate;
  uint32_t vbvBufferSize;  // bits
  uint32_t vbvInitialDelay;
  uint32_t flags;
  uint32_t limits[12];
  uint8_t targetQuality;
  uint8_t targetQualityLSB;
  uint16_t lookaheadDepth;
  uint32_t finer[9];
};

struct NV_ENC_CONFIG_H264_VUI_PARAMETERS {  // HEVC has the same
  uint32_t overscanInfoPresentFlag;
  uint32_t overscanInfo;
  uint32_t videoSignalTypePresentFlag;
  uint32_t videoFormat;
  uint32_t videoFullRangeFlag;
  uint32_t colourDescriptionPresentFlag;
  uint32_t colourPrimaries;
  uint32_t transferCharacteristics;
  uint32_t colourMatrix;
  uint32_t chromaSampleLocationFlag;
  uint32_t chromaSampleLocationTop;
  uint32_t chromaSampleLocationBot;
  uint32_t rest[16];
};

// Bits of NV_ENC_CONFIG_H264::flags.
inline constexpr uint32_t kH264OutputAud = 1U << 6;
inline constexpr uint32_t kH264RepeatSpsPps = 1U << 12;
inline constexpr uint32_t kH264EnableFillerData = 1U << 17;

struct NV_ENC_CONFIG_H264 {
  uint32_t flags;
  uint32_t level;
  uint32_t idrPeriod;
  uint32_t tools[15];
  NV_ENC_CONFIG_H264_VUI_PARAMETERS h264VUIParameters;
  uint32_t ltrNumFrames;
  uint32_t ltrTrustMode;
  uint32_t chromaFormatIDC;
  uint32_t maxTemporalLayers;
  uint32_t references[3];
  uint32_t outputBitDepth;
  uint32_t inputBitDepth;
  uint32_t tfLevel;
  uint32_t reserved1[264];
  void* reserved2[64];
};

// Bits of NV_ENC_CONFIG_HEVC::flags.
inline constexpr uint32_t kHevcOutputAud = 1U << 4;
inline constexpr uint32_t kHevcRepeatSpsPps = 1U << 7;
inline constexpr uint32_t kHevcChromaFormatShift = 9;
inline constexpr uint32_t kHevcChromaFormatMask = 3U << kHevcChromaFormatShift;
inline constexpr uint32_t kHevcOutputMaxCll = 1U << 23;
inline constexpr uint32_t kHevcOutputMasteringDisplay = 1U << 24;

struct NV_ENC_CONFIG_HEVC {
  uint32_t level;
  uint32_t tier;
  uint32_t minCUSize;
  uint32_t maxCUSize;
  uint32_t flags;
  uint32_t idrPeriod;
  uint32_t tools[10];
  NV_ENC_CONFIG_H264_VUI_PARAMETERS hevcVUIParameters;
  uint32_t references[6];
  uint32_t outputBitDepth;
  uint32_t inputBitDepth;
  uint32_t numTemporalLayers;
  uint32_t numViews;
  uint32_t reserved1[208];
  void* reserved2[64];
};

// Bits of NV_ENC_CONFIG_AV1::flags.
inline constexpr uint32_t kAv1OutputAnnexB = 1U << 0;
inline constexpr uint32_t kAv1RepeatSeqHdr = 1U << 5;
inline constexpr uint32_t kAv1ChromaFormatShift = 7;
inline constexpr uint32_t kAv1ChromaFormatMask = 3U << kAv1ChromaFormatShift;
inline constexpr uint32_t kAv1OutputMaxCll = 1U << 14;
inline constexpr uint32_t kAv1OutputMasteringDisplay = 1U << 15;

struct NV_ENC_CONFIG_AV1 {
  uint32_t level;
  uint32_t tier;
  uint32_t minPartSize;
  uint32_t maxPartSize;
  uint32_t flags;
  uint32_t idrPeriod;
  uint32_t tools[6];
  void* tileWidths;
  void* tileHeights;
  uint32_t maxTemporalLayersMinus1;
  uint32_t colorPrimaries;
  uint32_t transferCharacteristics;
  uint32_t matrixCoefficients;
  uint32_t colorRange;
  uint32_t chromaSamplePosition;
  uint32_t useBFramesAsRef;
  uint32_t padding;
  void* filmGrainParams;
  uint32_t references[2];
  uint32_t outputBitDepth;
  uint32_t inputBitDepth;
  uint32_t ltrNumFrames;
  uint32_t numTemporalLayers;
  uint32_t tfLevel;
  uint32_t reserved1[230];
  void* reserved3[62];
};

union NV_ENC_CODEC_CONFIG {
  NV_ENC_CONFIG_H264 h264Config;
  NV_ENC_CONFIG_HEVC hevcConfig;
  NV_ENC_CONFIG_AV1 av1Config;
};

struct NV_ENC_CONFIG {
  uint32_t version = MarkedVersion(9);
  GUID profileGUID;
  uint32_t gopLength;  // frames
  int32_t frameIntervalP;
  uint32_t monoChromeEncoding;
  uint32_t frameFieldMode;
  uint32_t mvPrecision;
  NV_ENC_RC_PARAMS rcParams;
  NV_ENC_CODEC_CONFIG encodeCodecConfig;
  uint32_t reserved[278];
  void* reserved2[64];
};

struct NV_ENC_PRESET_CONFIG {
  uint32_t version = MarkedVersion(5);
  uint32_t reserved;
  NV_ENC_CONFIG presetCfg;  // its own version has to be set, too
  uint32_t reserved1[256];
  void* reserved2[64];
};

inline constexpr uint32_t kInitSplitEncodeShift = 5;  // four bits of flags

struct NV_ENC_INITIALIZE_PARAMS {
  uint32_t version = MarkedVersion(7);
  GUID encodeGUID;
  GUID presetGUID;
  uint32_t encodeWidth;
  uint32_t encodeHeight;
  uint32_t darWidth;
  uint32_t darHeight;
  uint32_t frameRateNum;
  uint32_t frameRateDen;
  uint32_t enableEncodeAsync;
  uint32_t enablePTD;
  uint32_t flags;
  uint32_t privDataSize;
  uint32_t reserved;
  void* privData;
  NV_ENC_CONFIG* encodeConfig;
  uint32_t maxEncodeWidth;
  uint32_t maxEncodeHeight;
  uint32_t maxMEHintCountsPerBlock[8];
  uint32_t tuningInfo;
  uint32_t bufferFormat;
  uint32_t numStateBuffers;
  uint32_t outputStatsLevel;
  uint32_t reserved1[284];
  void* reserved2[64];
};

struct NV_ENC_CREATE_BITSTREAM_BUFFER {
  uint32_t version = StructVersion(1);
  uint32_t unused[3];
  NV_ENC_OUTPUT_PTR bitstreamBuffer;  // out
  void* bitstreamBufferPtr;
  uint32_t reserved1[58];
  void* reserved2[64];
};

struct NV_ENC_REGISTER_RESOURCE {
  uint32_t version = StructVersion(5);
  uint32_t resourceType;
  uint32_t width;
  uint32_t height;
  uint32_t pitch;  // 0 for textures
  uint32_t subResourceIndex;
  void* resourceToRegister;
  NV_ENC_REGISTERED_PTR registeredResource;  // out
  uint32_t bufferFormat;
  uint32_t bufferUsage;
  void* pInputFencePoint;
  uint32_t chromaOffset[4];
  uint32_t reserved1[244];
  void* reserved2[61];
};

struct NV_ENC_MAP_INPUT_RESOURCE {
  uint32_t version = StructVersion(4);
  uint32_t subResourceIndex;
  void* inputResource;
  NV_ENC_REGISTERED_PTR registeredResource;
  NV_ENC_INPUT_PTR mappedResource;  // out
  uint32_t mappedBufferFmt;         // out
  uint32_t reserved1[251];
  void* reserved2[63];
};

struct MASTERING_DISPLAY_INFO {
  struct CHROMA_POINTS {
    uint16_t x;
    uint16_t y;
  };
  CHROMA_POINTS g;  // this order, and the units of the codec's own metadata
  CHROMA_POINTS b;
  CHROMA_POINTS r;
  CHROMA_POINTS whitePoint;
  uint32_t maxLuma;
  uint32_t minLuma;
};

struct CONTENT_LIGHT_LEVEL {  // nits
  uint16_t maxContentLightLevel;
  uint16_t maxPicAverageLightLevel;
};

struct NV_ENC_PIC_PARAMS_HEVC {
  uint32_t unused[28];
  void* p3DReferenceDisplayInfo;
  CONTENT_LIGHT_LEVEL* pMaxCll;
  MASTERING_DISPLAY_INFO* pMasteringDisplay;
  uint32_t reserved2[234];
  void* reserved3[58];
};

struct NV_ENC_PIC_PARAMS_AV1 {
  uint32_t unused[22];
  CONTENT_LIGHT_LEVEL* pMaxCll;
  MASTERING_DISPLAY_INFO* pMasteringDisplay;
  uint32_t reserved2[242];
  void* reserved3[59];
};

union NV_ENC_CODEC_PIC_PARAMS {  // nothing of H.264's own is set
  NV_ENC_PIC_PARAMS_AV1 av1PicParams;
  NV_ENC_PIC_PARAMS_HEVC hevcPicParams;
};

struct NV_ENC_PIC_PARAMS {
  uint32_t version = MarkedVersion(7);
  uint32_t inputWidth;
  uint32_t inputHeight;
  uint32_t inputPitch;
  uint32_t encodePicFlags;
  uint32_t frameIdx;
  uint64_t inputTimeStamp;
  uint64_t inputDuration;
  NV_ENC_INPUT_PTR inputBuffer;
  NV_ENC_OUTPUT_PTR outputBitstream;
  void* completionEvent;
  uint32_t bufferFmt;
  uint32_t pictureStruct;
  uint32_t pictureType;
  uint32_t padding;
  NV_ENC_CODEC_PIC_PARAMS codecPicParams;
  uint32_t meHintCountsPerBlock[8];
  void* meExternalHints;
  uint32_t reserved2[8];
  void* reserved5[2];
  uint32_t hints[12];
  void* outputReconBuffer;
  uint32_t reserved3[284];
  void* reserved6[57];
};

struct NV_ENC_LOCK_BITSTREAM {
  uint32_t version = MarkedVersion(2);
  uint32_t flags;  // 0: wait for the picture
  NV_ENC_OUTPUT_PTR outputBitstream;
  uint32_t* sliceOffsets;
  uint32_t frameIdx;
  uint32_t hwEncodeStatus;
  uint32_t numSlices;
  uint32_t bitstreamSizeInBytes;  // out, and the rest
  uint64_t outputTimeStamp;
  uint64_t outputDuration;
  void* bitstreamBufferPtr;
  uint32_t pictureType;
  uint32_t pictureStruct;
  uint32_t statistics[12];
  void* outputStatsPtr;
  uint32_t frameIdxDisplay;
  uint32_t reserved1[219];
  void* reserved2[63];
  uint32_t reservedInternal[8];
};

struct NV_ENC_SEQUENCE_PARAM_PAYLOAD {
  uint32_t version = StructVersion(1);
  uint32_t inBufferSize;
  uint32_t spsId;
  uint32_t ppsId;
  void* spsppsBuffer;
  uint32_t* outSPSPPSPayloadSize;  // where to write it
  uint32_t reserved[250];
  void* reserved2[64];
};

// --- functions ---

struct NV_ENCODE_API_FUNCTION_LIST {
  uint32_t version = StructVersion(2);
  uint32_t reserved;
  void* nvEncOpenEncodeSession;
  NVENCSTATUS (*nvEncGetEncodeGUIDCount)(void* encoder, uint32_t* count);
  void* nvEncGetEncodeProfileGUIDCount;
  void* nvEncGetEncodeProfileGUIDs;
  NVENCSTATUS(*nvEncGetEncodeGUIDs)
  (void* encoder, GUID* guids, uint32_t array_size, uint32_t* count);
  void* nvEncGetInputFormatCount;
  void* nvEncGetInputFormats;
  NVENCSTATUS(*nvEncGetEncodeCaps)
  (void* encoder, GUID codec, NV_ENC_CAPS_PARAM* params, int* value);
  void* nvEncGetEncodePresetCount;
  void* nvEncGetEncodePresetGUIDs;
  void* nvEncGetEncodePresetConfig;
  NVENCSTATUS (*nvEncInitializeEncoder)(void* encoder, NV_ENC_INITIALIZE_PARAMS* params);
  void* nvEncCreateInputBuffer;
  void* nvEncDestroyInputBuffer;
  NVENCSTATUS (*nvEncCreateBitstreamBuffer)(void* encoder, NV_ENC_CREATE_BITSTREAM_BUFFER* params);
  NVENCSTATUS (*nvEncDestroyBitstreamBuffer)(void* encoder, NV_ENC_OUTPUT_PTR buffer);
  NVENCSTATUS (*nvEncEncodePicture)(void* encoder, NV_ENC_PIC_PARAMS* params);
  NVENCSTATUS (*nvEncLockBitstream)(void* encoder, NV_ENC_LOCK_BITSTREAM* params);
  NVENCSTATUS (*nvEncUnlockBitstream)(void* encoder, NV_ENC_OUTPUT_PTR buffer);
  void* nvEncLockInputBuffer;
  void* nvEncUnlockInputBuffer;
  void* nvEncGetEncodeStats;
  NVENCSTATUS (*nvEncGetSequenceParams)(void* encoder, NV_ENC_SEQUENCE_PARAM_PAYLOAD* params);
  void* nvEncRegisterAsyncEvent;
  void* nvEncUnregisterAsyncEvent;
  NVENCSTATUS (*nvEncMapInputResource)(void* encoder, NV_ENC_MAP_INPUT_RESOURCE* params);
  NVENCSTATUS (*nvEncUnmapInputResource)(void* encoder, NV_ENC_INPUT_PTR mapped);
  NVENCSTATUS (*nvEncDestroyEncoder)(void* encoder);
  void* nvEncInvalidateRefFrames;
  NVENCSTATUS(*nvEncOpenEncodeSessionEx)
  (NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS* params, void** encoder);
  NVENCSTATUS (*nvEncRegisterResource)(void* encoder, NV_ENC_REGISTER_RESOURCE* params);
  NVENCSTATUS (*nvEncUnregisterResource)(void* encoder, NV_ENC_REGISTERED_PTR resource);
  void* nvEncReconfigureEncoder;
  void* reserved1;
  void* nvEncCreateMVBuffer;
  void* nvEncDestroyMVBuffer;
  void* nvEncRunMotionEstimationOnly;
  const char* (*nvEncGetLastErrorString)(void* encoder);
  void* nvEncSetIOCudaStreams;
  NVENCSTATUS(*nvEncGetEncodePresetConfigEx)
  (void* encoder, GUID codec, GUID preset, uint32_t tuning, NV_ENC_PRESET_CONFIG* config);
  void* nvEncGetSequenceParamEx;
  void* nvEncRestoreEncoderState;
  void* nvEncLookaheadPicture;
  void* reserved2[275];
};

// The exports of the library.
using GetMaxSupportedVersionFunction = NVENCSTATUS (*)(uint32_t* version);
using CreateInstanceFunction = NVENCSTATUS (*)(NV_ENCODE_API_FUNCTION_LIST* list);

// --- what the driver expects ---

#define ORVENTA_SIZE(type, bytes) static_assert(sizeof(type) == (bytes), #type)
#define ORVENTA_AT(type, field, bytes) static_assert(offsetof(type, field) == (bytes), #field)

ORVENTA_SIZE(NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS, 1552);
ORVENTA_AT(NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS, apiVersion, 24);
ORVENTA_SIZE(NV_ENC_CAPS_PARAM, 256);

ORVENTA_SIZE(NV_ENC_RC_PARAMS, 128);
ORVENTA_AT(NV_ENC_RC_PARAMS, constQP, 8);
ORVENTA_AT(NV_ENC_RC_PARAMS, averageBitRate, 20);
ORVENTA_AT(NV_ENC_RC_PARAMS, flags, 36);
ORVENTA_AT(NV_ENC_RC_PARAMS, targetQuality, 88);
ORVENTA_AT(NV_ENC_RC_PARAMS, lookaheadDepth, 90);

ORVENTA_SIZE(NV_ENC_CONFIG_H264_VUI_PARAMETERS, 112);
ORVENTA_AT(NV_ENC_CONFIG_H264_VUI_PARAMETERS, colourPrimaries, 24);
ORVENTA_AT(NV_ENC_CONFIG_H264_VUI_PARAMETERS, chromaSampleLocationFlag, 36);
ORVENTA_SIZE(NV_ENC_CONFIG_H264, 1792);
ORVENTA_AT(NV_ENC_CONFIG_H264, idrPeriod, 8);
ORVENTA_AT(NV_ENC_CONFIG_H264, h264VUIParameters, 72);
ORVENTA_AT(NV_ENC_CONFIG_H264, chromaFormatIDC, 192);
ORVENTA_AT(NV_ENC_CONFIG_H264, outputBitDepth, 212);
ORVENTA_AT(NV_ENC_CONFIG_H264, reserved2, 1280);
ORVENTA_SIZE(NV_ENC_CONFIG_HEVC, 1560);
ORVENTA_AT(NV_ENC_CONFIG_HEVC, flags, 16);
ORVENTA_AT(NV_ENC_CONFIG_HEVC, idrPeriod, 20);
ORVENTA_AT(NV_ENC_CONFIG_HEVC, hevcVUIParameters, 64);
ORVENTA_AT(NV_ENC_CONFIG_HEVC, outputBitDepth, 200);
ORVENTA_AT(NV_ENC_CONFIG_HEVC, reserved2, 1048);
ORVENTA_SIZE(NV_ENC_CONFIG_AV1, 1552);
ORVENTA_AT(NV_ENC_CONFIG_AV1, idrPeriod, 20);
ORVENTA_AT(NV_ENC_CONFIG_AV1, tileWidths, 48);
ORVENTA_AT(NV_ENC_CONFIG_AV1, colorPrimaries, 68);
ORVENTA_AT(NV_ENC_CONFIG_AV1, colorRange, 80);
ORVENTA_AT(NV_ENC_CONFIG_AV1, filmGrainParams, 96);
ORVENTA_AT(NV_ENC_CONFIG_AV1, outputBitDepth, 112);
ORVENTA_AT(NV_ENC_CONFIG_AV1, reserved3, 1056);

ORVENTA_SIZE(NV_ENC_CODEC_CONFIG, 1792);
ORVENTA_SIZE(NV_ENC_CONFIG, 3584);
ORVENTA_AT(NV_ENC_CONFIG, profileGUID, 4);
ORVENTA_AT(NV_ENC_CONFIG, frameIntervalP, 24);
ORVENTA_AT(NV_ENC_CONFIG, rcParams, 40);
ORVENTA_AT(NV_ENC_CONFIG, encodeCodecConfig, 168);
ORVENTA_AT(NV_ENC_CONFIG, reserved2, 3072);
ORVENTA_SIZE(NV_ENC_PRESET_CONFIG, 5128);
ORVENTA_AT(NV_ENC_PRESET_CONFIG, presetCfg, 8);

ORVENTA_SIZE(NV_ENC_INITIALIZE_PARAMS, 1800);
ORVENTA_AT(NV_ENC_INITIALIZE_PARAMS, presetGUID, 20);
ORVENTA_AT(NV_ENC_INITIALIZE_PARAMS, encodeWidth, 36);
ORVENTA_AT(NV_ENC_INITIALIZE_PARAMS, enablePTD, 64);
ORVENTA_AT(NV_ENC_INITIALIZE_PARAMS, encodeConfig, 88);
ORVENTA_AT(NV_ENC_INITIALIZE_PARAMS, maxEncodeWidth, 96);
ORVENTA_AT(NV_ENC_INITIALIZE_PARAMS, tuningInfo, 136);
ORVENTA_AT(NV_ENC_INITIALIZE_PARAMS, reserved2, 1288);

ORVENTA_SIZE(NV_ENC_CREATE_BITSTREAM_BUFFER, 776);
ORVENTA_AT(NV_ENC_CREATE_BITSTREAM_BUFFER, bitstreamBuffer, 16);
ORVENTA_SIZE(NV_ENC_REGISTER_RESOURCE, 1536);
ORVENTA_AT(NV_ENC_REGISTER_RESOURCE, resourceToRegister, 24);
ORVENTA_AT(NV_ENC_REGISTER_RESOURCE, bufferFormat, 40);
ORVENTA_AT(NV_ENC_REGISTER_RESOURCE, reserved2, 1048);
ORVENTA_SIZE(NV_ENC_MAP_INPUT_RESOURCE, 1544);
ORVENTA_AT(NV_ENC_MAP_INPUT_RESOURCE, mappedResource, 24);
ORVENTA_AT(NV_ENC_MAP_INPUT_RESOURCE, reserved2, 1040);

ORVENTA_SIZE(MASTERING_DISPLAY_INFO, 24);
ORVENTA_SIZE(CONTENT_LIGHT_LEVEL, 4);
ORVENTA_SIZE(NV_ENC_PIC_PARAMS_HEVC, 1536);
ORVENTA_AT(NV_ENC_PIC_PARAMS_HEVC, pMaxCll, 120);
ORVENTA_SIZE(NV_ENC_PIC_PARAMS_AV1, 1544);
ORVENTA_AT(NV_ENC_PIC_PARAMS_AV1, pMaxCll, 88);
ORVENTA_SIZE(NV_ENC_PIC_PARAMS, 3360);
ORVENTA_AT(NV_ENC_PIC_PARAMS, inputTimeStamp, 24);
ORVENTA_AT(NV_ENC_PIC_PARAMS, inputBuffer, 40);
ORVENTA_AT(NV_ENC_PIC_PARAMS, outputBitstream, 48);
ORVENTA_AT(NV_ENC_PIC_PARAMS, pictureStruct, 68);
ORVENTA_AT(NV_ENC_PIC_PARAMS, codecPicParams, 80);
ORVENTA_AT(NV_ENC_PIC_PARAMS, meExternalHints, 1656);
ORVENTA_AT(NV_ENC_PIC_PARAMS, outputReconBuffer, 1760);
ORVENTA_AT(NV_ENC_PIC_PARAMS, reserved6, 2904);

ORVENTA_SIZE(NV_ENC_LOCK_BITSTREAM, 1544);
ORVENTA_AT(NV_ENC_LOCK_BITSTREAM, outputBitstream, 8);
ORVENTA_AT(NV_ENC_LOCK_BITSTREAM, bitstreamSizeInBytes, 36);
ORVENTA_AT(NV_ENC_LOCK_BITSTREAM, outputTimeStamp, 40);
ORVENTA_AT(NV_ENC_LOCK_BITSTREAM, bitstreamBufferPtr, 56);
ORVENTA_AT(NV_ENC_LOCK_BITSTREAM, pictureType, 64);
ORVENTA_AT(NV_ENC_LOCK_BITSTREAM, outputStatsPtr, 120);
ORVENTA_AT(NV_ENC_LOCK_BITSTREAM, reservedInternal, 1512);
ORVENTA_SIZE(NV_ENC_SEQUENCE_PARAM_PAYLOAD, 1544);
ORVENTA_AT(NV_ENC_SEQUENCE_PARAM_PAYLOAD, spsppsBuffer, 16);

ORVENTA_SIZE(NV_ENCODE_API_FUNCTION_LIST, 2552);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncGetEncodeGUIDCount, 16);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncGetEncodeGUIDs, 40);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncGetEncodeCaps, 64);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncInitializeEncoder, 96);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncCreateBitstreamBuffer, 120);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncDestroyBitstreamBuffer, 128);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncEncodePicture, 136);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncLockBitstream, 144);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncUnlockBitstream, 152);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncGetSequenceParams, 184);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncMapInputResource, 208);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncUnmapInputResource, 216);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncDestroyEncoder, 224);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncOpenEncodeSessionEx, 240);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncRegisterResource, 248);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncUnregisterResource, 256);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncGetLastErrorString, 304);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, nvEncGetEncodePresetConfigEx, 320);
ORVENTA_AT(NV_ENCODE_API_FUNCTION_LIST, reserved2, 352);

#undef ORVENTA_AT
#undef ORVENTA_SIZE

}  // namespace orventa::nvenc
