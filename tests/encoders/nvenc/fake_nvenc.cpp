#include "tests/encoders/nvenc/fake_nvenc.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/encoders/grey_h264.h"

namespace orventa::nvenc {
namespace {

FakeNvenc fake;

struct Resource {
  void* texture = nullptr;
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t format = 0;
  bool mapped = false;
};

struct Buffer {
  enum class State { Free, Held, Full, Locked };
  State state = State::Free;
  NV_ENC_INPUT_PTR input = nullptr;  // submitted with it, whatever comes out in it
  NV_ENC_PIC_PARAMS picture{};
  uint32_t type = NV_ENC_PIC_TYPE_P;
  std::vector<uint8_t> bytes;
};

struct Session {
  bool initialised = false;
  bool ended = false;
  std::optional<GreyH264> h264;
  uint64_t pictures = 0;
  std::list<Resource> resources;
  std::list<Buffer> buffers;
  std::deque<Buffer*> held;
};
std::list<Session> sessions;

NVENCSTATUS Breach(const char* call, const char* rule) {
  fake.Break(std::string(call) + ": " + rule);
  return NV_ENC_ERR_INVALID_CALL;
}

template <typename T>
T* Find(std::list<T>& list, const void* handle) {
  for (T& item : list) {
    if (&item == handle) return &item;
  }
  return nullptr;
}
template <typename T>
void Drop(std::list<T>& list, const T& gone) {
  list.remove_if([&](const T& item) { return &item == &gone; });
}

// What each call begins with: is there such a session, in the right state, is the
// structure of the right version; and does the test want the call to fail.
#define CHECK(rule, text) \
  if (!(rule)) return Breach(kCall, text)
#define ENTER(name, initialised_wanted)                                                     \
  const char* const kCall = name;                                                           \
  Session* session = Find(sessions, encoder);                                               \
  CHECK(session != nullptr, "no such session");                                             \
  CHECK(session->initialised == (initialised_wanted), "initialised too early or too late"); \
  if (fake.Refuses(kCall)) return fake.failure
#define FIND(Kind, name, list, handle, state) \
  Kind* name = Find(session->list, handle);   \
  CHECK(name != nullptr && (state), "no such " #name ", or in another state")
#define VERSION(type, params) CHECK((params)->version == (type{}).version, "struct version")
#define ENTER_WITH(type, name, initialised_wanted) \
  ENTER(name, initialised_wanted);                 \
  VERSION(type, params)

NVENCSTATUS Open(NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS* params, void** encoder) {
  constexpr const char* kCall = "nvEncOpenEncodeSessionEx";
  VERSION(NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS, params);
  CHECK(params->apiVersion == NVENCAPI_VERSION && params->reserved == nullptr, "api version");
  CHECK(params->deviceType == NV_ENC_DEVICE_TYPE_DIRECTX && params->device != nullptr, "device");
  *encoder = &sessions.emplace_back();  // as the real one may, also on failure
  ++fake.alive;
  return fake.Refuses(kCall) ? fake.failure : NV_ENC_SUCCESS;
}

NVENCSTATUS Destroy(void* encoder) {
  constexpr const char* kCall = "nvEncDestroyEncoder";
  Session* session = Find(sessions, encoder);
  CHECK(session != nullptr, "no such session");
  const bool clean = session->resources.empty() && session->buffers.empty();
  Drop(sessions, *session);
  --fake.alive;
  CHECK(clean, "something was left in the session");
  return NV_ENC_SUCCESS;
}

const char* LastError(void* encoder) {
  if (Find(sessions, encoder) == nullptr) Breach("nvEncGetLastErrorString", "no such session");
  return fake.error_text;
}

NVENCSTATUS GuidCount(void* encoder, uint32_t* count) {
  ENTER("nvEncGetEncodeGUIDCount", false);
  *count = std::min(fake.most_codecs, fake.has_av1 ? 3U : 2U);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Guids(void* encoder, GUID* guids, uint32_t size, uint32_t* count) {
  ENTER("nvEncGetEncodeGUIDs", false);
  const GUID all[] = {NV_ENC_CODEC_HEVC_GUID, NV_ENC_CODEC_H264_GUID, NV_ENC_CODEC_AV1_GUID};
  CHECK(guids != nullptr, "nowhere to write");
  *count = std::min(size, fake.has_av1 ? 3U : 2U);
  std::copy(all, all + *count, guids);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Caps(void* encoder, GUID codec, NV_ENC_CAPS_PARAM* params, int* value) {
  ENTER_WITH(NV_ENC_CAPS_PARAM, "nvEncGetEncodeCaps", false);
  const bool h264 = codec == NV_ENC_CODEC_H264_GUID;
  const std::map<uint32_t, int> values = {
      {NV_ENC_CAPS_WIDTH_MAX, h264 ? 4096 : 8192},
      {NV_ENC_CAPS_HEIGHT_MAX, h264 ? 4095 : 8191},
      {NV_ENC_CAPS_NUM_MAX_BFRAMES, h264 ? 4 : 0},
      {NV_ENC_CAPS_SUPPORT_10BIT_ENCODE, 1},
      {NV_ENC_CAPS_SUPPORT_LOSSLESS_ENCODE, codec != NV_ENC_CODEC_AV1_GUID}};
  CHECK(values.contains(params->capsToQuery), "unknown capability");
  *value = values.at(params->capsToQuery);
  return NV_ENC_SUCCESS;
}

// Gives everything a value that the caller is to change.
NVENCSTATUS Preset(void* encoder, GUID codec, GUID preset, uint32_t tuning,
                   NV_ENC_PRESET_CONFIG* params) {
  ENTER_WITH(NV_ENC_PRESET_CONFIG, "nvEncGetEncodePresetConfigEx", false);
  CHECK(params->presetCfg.version == NV_ENC_CONFIG{}.version, "struct version within");
  CHECK(tuning == NV_ENC_TUNING_INFO_HIGH_QUALITY || tuning == NV_ENC_TUNING_INFO_LOW_LATENCY,
        "tuning");
  if (codec == NV_ENC_CODEC_AV1_GUID && !fake.has_av1) return NV_ENC_ERR_UNSUPPORTED_PARAM;
  fake.preset = preset;
  NV_ENC_CONFIG& config = params->presetCfg;
  config.gopLength = 0xFFFFFFFF;
  config.frameIntervalP = 3;
  config.rcParams.flags = kRcEnableLookahead | kRcAqStrengthMask;
  config.rcParams.lookaheadDepth = 16;
  NV_ENC_CODEC_CONFIG& own = config.encodeCodecConfig;
  if (codec == NV_ENC_CODEC_H264_GUID) own.h264Config.flags = 0xFFFF'FFFF >> 10;
  if (codec == NV_ENC_CODEC_HEVC_GUID) own.hevcConfig.flags = kHevcRepeatSpsPps | kHevcOutputAud;
  if (codec == NV_ENC_CODEC_AV1_GUID) own.av1Config.flags = kAv1OutputAnnexB;
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Initialise(void* encoder, NV_ENC_INITIALIZE_PARAMS* params) {
  ENTER_WITH(NV_ENC_INITIALIZE_PARAMS, "nvEncInitializeEncoder", false);
  CHECK(params->encodeConfig != nullptr, "no configuration");
  VERSION(NV_ENC_CONFIG, params->encodeConfig);
  CHECK(params->encodeWidth > 0 && params->encodeWidth <= params->maxEncodeWidth, "width");
  CHECK(params->encodeHeight > 0 && params->encodeHeight <= params->maxEncodeHeight, "height");
  CHECK(params->frameRateNum > 0 && params->frameRateDen > 0, "frame rate");
  CHECK(params->presetGUID == fake.preset, "another preset than was asked for");
  CHECK(params->encodeConfig->gopLength >= uint32_t(params->encodeConfig->frameIntervalP), "GOP");
  fake.init = *params;
  fake.config = *params->encodeConfig;
  session->initialised = true;
  if (params->encodeGUID == NV_ENC_CODEC_H264_GUID) {
    session->h264.emplace(params->encodeWidth, params->encodeHeight);
  }
  return NV_ENC_SUCCESS;
}

NVENCSTATUS CreateBuffer(void* encoder, NV_ENC_CREATE_BITSTREAM_BUFFER* params) {
  ENTER_WITH(NV_ENC_CREATE_BITSTREAM_BUFFER, "nvEncCreateBitstreamBuffer", true);
  params->bitstreamBuffer = &session->buffers.emplace_back();
  return NV_ENC_SUCCESS;
}

NVENCSTATUS DestroyBuffer(void* encoder, NV_ENC_OUTPUT_PTR handle) {
  ENTER("nvEncDestroyBitstreamBuffer", true);
  FIND(Buffer, buffer, buffers, handle, buffer->state != Buffer::State::Locked);
  Drop(session->buffers, *buffer);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Register(void* encoder, NV_ENC_REGISTER_RESOURCE* params) {
  ENTER_WITH(NV_ENC_REGISTER_RESOURCE, "nvEncRegisterResource", true);
  CHECK(params->resourceType == NV_ENC_INPUT_RESOURCE_TYPE_DIRECTX && params->pitch == 0 &&
            params->bufferUsage == NV_ENC_INPUT_IMAGE && params->resourceToRegister != nullptr,
        "not a texture");
  for (const Resource& resource : session->resources) {
    CHECK(resource.texture != params->resourceToRegister, "registered already");
  }
  session->resources.push_back(
      {params->resourceToRegister, params->width, params->height, params->bufferFormat, false});
  params->registeredResource = &session->resources.back();
  ++fake.registered;
  ++fake.registrations;
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Unregister(void* encoder, NV_ENC_REGISTERED_PTR handle) {
  ENTER("nvEncUnregisterResource", true);
  FIND(Resource, resource, resources, handle, !resource->mapped);
  Drop(session->resources, *resource);
  --fake.registered;
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Map(void* encoder, NV_ENC_MAP_INPUT_RESOURCE* params) {
  ENTER_WITH(NV_ENC_MAP_INPUT_RESOURCE, "nvEncMapInputResource", true);
  FIND(Resource, resource, resources, params->registeredResource, !resource->mapped);
  resource->mapped = true;
  params->mappedResource = resource;
  params->mappedBufferFmt = resource->format;
  ++fake.mapped;
  ++fake.maps;
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Unmap(void* encoder, NV_ENC_INPUT_PTR handle) {
  ENTER("nvEncUnmapInputResource", true);
  FIND(Resource, resource, resources, handle, resource->mapped);
  resource->mapped = false;
  --fake.mapped;
  return NV_ENC_SUCCESS;
}

void Fill(Session& session, Buffer& buffer, uint32_t type, const NV_ENC_PIC_PARAMS& picture) {
  buffer.picture = picture;
  buffer.type = type;
  buffer.state = Buffer::State::Full;
  if (session.h264) {
    buffer.bytes = session.h264->Picture(type == NV_ENC_PIC_TYPE_IDR);
  } else {
    buffer.bytes = {0x12, 0x00, 0x32, 0x01, static_cast<uint8_t>(type)};  // AV1, as it happens
  }
}

// Coding order: the picture that B-frames wait for goes before them.
void Release(Session& session) {
  std::vector<NV_ENC_PIC_PARAMS> pictures;
  for (const Buffer* buffer : session.held) pictures.push_back(buffer->picture);
  if (pictures.empty()) return;
  std::rotate(pictures.rbegin(), pictures.rbegin() + 1, pictures.rend());
  for (size_t i = 0; i < pictures.size(); ++i) {
    Fill(session, *session.held[i], i == 0 ? NV_ENC_PIC_TYPE_P : NV_ENC_PIC_TYPE_B, pictures[i]);
  }
  session.held.clear();
}

NVENCSTATUS Encode(void* encoder, NV_ENC_PIC_PARAMS* params) {
  ENTER(params->encodePicFlags == NV_ENC_PIC_FLAG_EOS ? "nvEncEncodePicture(EOS)"
                                                      : "nvEncEncodePicture",
        true);
  VERSION(NV_ENC_PIC_PARAMS, params);
  CHECK(!session->ended, "after the end");
  if ((params->encodePicFlags & NV_ENC_PIC_FLAG_EOS) != 0) {
    CHECK(params->inputBuffer == nullptr && params->outputBitstream == nullptr, "end of stream");
    session->ended = true;
    Release(*session);
    return NV_ENC_SUCCESS;
  }
  FIND(Resource, resource, resources, params->inputBuffer, resource->mapped);
  FIND(Buffer, buffer, buffers, params->outputBitstream, buffer->state == Buffer::State::Free);
  CHECK(params->inputWidth == resource->width && params->inputHeight == resource->height &&
            params->inputPitch == params->inputWidth && params->bufferFmt == resource->format,
        "another picture than was registered");
  CHECK(params->pictureStruct == NV_ENC_PIC_STRUCT_FRAME, "picture structure");
  fake.picture = *params;
  buffer->input = params->inputBuffer;
  const auto* mastering = fake.init.encodeGUID == NV_ENC_CODEC_AV1_GUID
                              ? params->codecPicParams.av1PicParams.pMasteringDisplay
                              : params->codecPicParams.hevcPicParams.pMasteringDisplay;
  if (mastering != nullptr) fake.mastering = *mastering;

  const bool idr = session->pictures % fake.config.gopLength == 0 ||
                   (params->encodePicFlags & NV_ENC_PIC_FLAG_FORCEIDR) != 0;
  session->pictures = idr ? 1 : session->pictures + 1;
  if (idr) {
    Release(*session);
    Fill(*session, *buffer, NV_ENC_PIC_TYPE_IDR, *params);
    return NV_ENC_SUCCESS;
  }
  buffer->picture = *params;
  buffer->state = Buffer::State::Held;
  session->held.push_back(buffer);
  if (session->held.size() < size_t(fake.config.frameIntervalP)) return NV_ENC_ERR_NEED_MORE_INPUT;
  Release(*session);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Lock(void* encoder, NV_ENC_LOCK_BITSTREAM* params) {
  ENTER_WITH(NV_ENC_LOCK_BITSTREAM, "nvEncLockBitstream", true);
  FIND(Buffer, buffer, buffers, params->outputBitstream, buffer->state == Buffer::State::Full);
  FIND(Resource, input, resources, buffer->input, input->mapped);
  buffer->state = Buffer::State::Locked;
  params->bitstreamBufferPtr = buffer->bytes.data();
  params->bitstreamSizeInBytes = static_cast<uint32_t>(buffer->bytes.size());
  params->outputTimeStamp = buffer->picture.inputTimeStamp;
  params->pictureType = buffer->type;
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Unlock(void* encoder, NV_ENC_OUTPUT_PTR handle) {
  ENTER("nvEncUnlockBitstream", true);
  FIND(Buffer, buffer, buffers, handle, buffer->state == Buffer::State::Locked);
  buffer->state = Buffer::State::Free;
  std::fill(buffer->bytes.begin(), buffer->bytes.end(), uint8_t{0xEE});
  return NV_ENC_SUCCESS;
}

NVENCSTATUS SequenceParams(void* encoder, NV_ENC_SEQUENCE_PARAM_PAYLOAD* params) {
  ENTER_WITH(NV_ENC_SEQUENCE_PARAM_PAYLOAD, "nvEncGetSequenceParams", true);
  const uint32_t other = fake.init.encodeGUID == NV_ENC_CODEC_HEVC_GUID ? 1 : 2;
  const std::vector<uint8_t> header = session->h264 ? session->h264->Header() : FakeHeader(other);
  if (params->inBufferSize < header.size()) return NV_ENC_ERR_INVALID_PARAM;
  std::memcpy(params->spsppsBuffer, header.data(), header.size());
  *params->outSPSPPSPayloadSize = static_cast<uint32_t>(header.size());
  return NV_ENC_SUCCESS;
}

}  // namespace
}  // namespace orventa::nvenc

extern "C" {

__declspec(dllexport) orventa::nvenc::FakeNvenc* FakeNvencOf() {
  return &orventa::nvenc::fake;
}

__declspec(dllexport) orventa::nvenc::NVENCSTATUS
    NvEncodeAPIGetMaxSupportedVersion(uint32_t* version) {
  using namespace orventa::nvenc;
  *version = fake.max_version;
  return fake.Refuses("NvEncodeAPIGetMaxSupportedVersion") ? fake.failure : NV_ENC_SUCCESS;
}

__declspec(dllexport) orventa::nvenc::NVENCSTATUS
    NvEncodeAPICreateInstance(orventa::nvenc::NV_ENCODE_API_FUNCTION_LIST* list) {
  using namespace orventa::nvenc;
  constexpr const char* kCall = "NvEncodeAPICreateInstance";
  VERSION(NV_ENCODE_API_FUNCTION_LIST, list);
  if (fake.Refuses(kCall)) return fake.failure;
  list->nvEncGetEncodeGUIDCount = GuidCount;
  list->nvEncGetEncodeGUIDs = Guids;
  list->nvEncGetEncodeCaps = Caps;
  list->nvEncInitializeEncoder = Initialise;
  list->nvEncCreateBitstreamBuffer = CreateBuffer;
  list->nvEncDestroyBitstreamBuffer = DestroyBuffer;
  list->nvEncEncodePicture = Encode;
  list->nvEncLockBitstream = Lock;
  list->nvEncUnlockBitstream = Unlock;
  list->nvEncGetSequenceParams = SequenceParams;
  list->nvEncMapInputResource = Map;
  list->nvEncUnmapInputResource = Unmap;
  list->nvEncDestroyEncoder = Destroy;
  list->nvEncOpenEncodeSessionEx = Open;
  list->nvEncRegisterResource = Register;
  list->nvEncUnregisterResource = Unregister;
  list->nvEncGetLastErrorString = LastError;
  list->nvEncGetEncodePresetConfigEx = Preset;
  return NV_ENC_SUCCESS;
}

}  // extern "C"
