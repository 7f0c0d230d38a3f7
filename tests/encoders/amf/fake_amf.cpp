#include "tests/encoders/amf/fake_amf.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orventa::amf {
namespace {

FakeAmf fake;
using Map = std::map<std::wstring, AMFVariantStruct>;
Map newest;  // properties of the newest encoder

AMF_RESULT Breach(const char* rule) {
  fake.Break(rule);
  return 2;  // unexpected
}

// What a call answers that the test may want to fail.
AMF_RESULT Answer(const char* call) {
  return fake.Refuses(call) ? fake.failure : AMF_OK;
}

// --- objects: one kind, with another table of functions each ---

using Slot = void (*)();
struct Row {
  template <typename Function>
  Row(size_t the_number, Function* function)
      : number(the_number), slot(reinterpret_cast<Slot>(function)) {}
  size_t number;
  Slot slot;
};

struct Table {
  Slot slots[60];
  Table(std::initializer_list<Row> rows) {
    for (Slot& slot : slots) {
      slot = +[] { Breach("a function was called that is not the one meant"); };
    }
    for (const Row& row : rows) slots[row.number] = row.slot;
  }
};

struct Object {
  explicit Object(const Table& the_table) : table(&the_table) { ++fake.alive; }
  ~Object() {
    std::fill(bytes.begin(), bytes.end(), uint8_t{0xEE});
    --fake.alive;
  }
  Object(const Object&) = delete;
  AMFInterface* AsInterface() { return reinterpret_cast<AMFInterface*>(this); }

  const Table* table;  // first of all
  int references = 1;
  Map properties;
  std::vector<uint8_t> bytes;  // buffers
  int64_t pts = 0;             // and surfaces
  uint32_t codec = 0;          // encoders
  bool initialised = false;
  bool ended = false;  // and contexts
  std::deque<Object*> queue;
};

int32_t Acquire(Object* self) {
  return ++self->references;
}
int32_t Release(Object* self) {
  const int left = --self->references;
  if (left == 0) delete self;
  return left;
}
AMF_RESULT Query(Object* self, const AMFGuid& id, void** object) {
  if (std::memcmp(&id, &kBufferId, sizeof(id)) != 0) return Breach("another interface");
  Acquire(self);
  *object = self;
  return AMF_OK;
}
AMF_RESULT SetProperty(Object* self, const wchar_t* name, AMFVariantStruct value) {
  self->properties[name] = value;
  return AMF_OK;
}
AMF_RESULT GetProperty(Object* self, const wchar_t* name, AMFVariantStruct* value) {
  const auto found = self->properties.find(name);
  if (found == self->properties.end()) return AMF_NOT_FOUND;
  *value = found->second;
  if (value->type == AMFVariantStruct::Interface) value->object->Acquire();
  return AMF_OK;
}
AMF_RESULT Hand(Object** out, Object* made) {
  *out = made;
  return AMF_OK;
}

const Table kBuffer = {{0, Acquire},
                       {1, Release},
                       {2, Query},
                       {3, SetProperty},
                       {4, GetProperty},
                       {20, +[](Object* self) { return self->pts; }},
                       {24, +[](Object* self) { return self->bytes.size(); }},
                       {25, +[](Object* self) { return static_cast<void*>(self->bytes.data()); }}};
Object* MakeBuffer(std::vector<uint8_t> bytes) {
  auto* buffer = new Object(kBuffer);
  buffer->bytes = std::move(bytes);
  return buffer;
}

const Table kSurface = {{0, Acquire},
                        {1, Release},
                        {3, SetProperty},
                        {19, +[](Object* self, int64_t pts) { self->pts = pts; }}};

const Table kInputCaps = {
    {1, Release},
    {3, +[](Object*, int32_t* least, int32_t* most) { *least = 128, *most = 4096; }},
    {4, +[](Object*, int32_t* least, int32_t* most) { *least = 128, *most = 2304; }}};
const Table kCaps = {
    {1, Release},
    {13, +[](Object*) { return fake.acceleration; }},
    {14, +[](Object*, Object** out) { return Hand(out, new Object(kInputCaps)); }}};

// --- encoders ---

constexpr struct {
  std::wstring_view id;
  std::wstring_view usage;
  const wchar_t* header;
  const wchar_t* force;
  const wchar_t* type;
} kNames[] = {
    {L"AMFVideoEncoderVCE_AVC", L"Usage", L"ExtraData", L"ForcePictureType", L"OutputDataType"},
    {L"AMFVideoEncoderHW_HEVC", L"HevcUsage", L"HevcExtraData", L"HevcForcePictureType",
     L"HevcOutputDataType"},
    {L"AMFVideoEncoderHW_AV1", L"Av1Usage", L"Av1ExtraData", L"Av1ForceFrameType",
     L"Av1OutputFrameType"}};

AMF_RESULT SetEncoderProperty(Object* self, const wchar_t* name, AMFVariantStruct value) {
  if (self->initialised) return Breach("a property after Init");
  if (self->properties.empty() && name != kNames[self->codec].usage) {
    return Breach("usage is not the first property");
  }
  if (std::wstring_view(name) == fake.refused) return fake.failure;
  if (value.type == AMFVariantStruct::Interface) {
    const void* bytes = reinterpret_cast<Object*>(value.object)->bytes.data();
    std::memcpy(&fake.metadata, bytes, sizeof(fake.metadata));
    return AMF_OK;
  }
  self->properties[name] = value;
  newest = self->properties;
  return AMF_OK;
}

AMF_RESULT Init(Object* self, int32_t format, int32_t, int32_t) {
  if (fake.Refuses("Init")) return fake.failure;
  const auto depth =
      self->properties.find(self->codec == 1 ? L"HevcColorBitDepth" : L"Av1ColorBitDepth");
  const bool ten_bit = depth != self->properties.end() && depth->second.number == 10;
  if (format != (ten_bit ? kSurfaceP010 : kSurfaceNv12)) return Breach("surfaces of another depth");
  self->initialised = true;
  self->properties[kNames[self->codec].header] =
      AMFVariantStruct::OfObject(MakeBuffer(FakeHeader(self->codec))->AsInterface());
  return AMF_OK;
}

AMF_RESULT Terminate(Object* self) {
  if (!self->initialised) return Breach("Terminate without Init");
  for (Object* surface : self->queue) Release(surface);
  self->queue.clear();
  self->properties[kNames[self->codec].header].object->Release();
  self->initialised = false;
  return AMF_OK;
}

AMF_RESULT Submit(Object* self, Object* surface) {
  if (!self->initialised || self->ended) return Breach("SubmitInput at the wrong time");
  if (fake.Refuses("SubmitInput")) return fake.failure;
  if (self->queue.size() >= fake.queue) return AMF_INPUT_FULL;
  Acquire(surface);
  self->queue.push_back(surface);
  return self->queue.size() > fake.delay ? AMF_OK : AMF_NEED_MORE_INPUT;
}

AMF_RESULT Drain(Object* self) {
  if (self->queue.size() >= fake.queue) return AMF_INPUT_FULL;
  self->ended = true;
  return Answer("Drain");
}

AMF_RESULT Output(Object* self, Object** out) {
  if (fake.Refuses("QueryOutput")) return fake.failure;
  if (self->queue.empty()) return self->ended ? AMF_EOF : AMF_REPEAT;
  const bool full = self->queue.size() >= fake.queue;
  if (fake.stuck || (self->queue.size() <= fake.delay && !self->ended && !full)) {
    return AMF_REPEAT;
  }
  Object* surface = self->queue.front();
  self->queue.pop_front();
  const bool key = surface->properties.contains(kNames[self->codec].force);
  if (self->codec == 2 && key != surface->properties.contains(L"Av1ForceInsertSequenceHeader")) {
    Breach("an AV1 keyframe without its header");
  }
  *out = MakeBuffer({0x12, 0x00, 0x32, 0x01, 0x55});  // AV1, as it happens
  (*out)->pts = surface->pts;
  (*out)->properties[kNames[self->codec].type] = AMFVariantStruct::OfInt(key ? 0 : 2);
  Release(surface);
  return AMF_OK;
}

AMF_RESULT GetCaps(Object* self, Object** out) {
  if (self->initialised) return Breach("limits asked for after Init");
  return Hand(out, new Object(kCaps));
}

const Table kComponent = {{1, Release},     {3, SetEncoderProperty},
                          {4, GetProperty}, {17, Init},
                          {19, Terminate},  {20, Drain},
                          {22, Submit},     {23, Output},
                          {26, GetCaps}};

// --- contexts and the factory ---

const Table kContext = {{1,
                         +[](Object* self) {
                           if (!self->ended) Breach("the context was not told of its end");
                           return Release(self);
                         }},
                        {13,
                         +[](Object* self) {
                           self->ended = true;
                           return fake.alive > 1 ? Breach("the context ended first") : AMF_OK;
                         }},
                        {18,
                         +[](Object*, void* device, int32_t version) {
                           if (device == nullptr || version != kDirectX11_1)
                             return Breach("device");
                           return Answer("InitDX11");
                         }},
                        {43,
                         +[](Object*, int32_t memory, size_t bytes, Object** out) {
                           if (memory != kMemoryHost) return Breach("memory of the card");
                           return Hand(out, MakeBuffer(std::vector<uint8_t>(bytes)));
                         }},
                        {49, +[](Object*, void* texture, Object** out, void*) {
                           if (texture == nullptr) return Breach("no texture");
                           if (fake.Refuses("CreateSurfaceFromDX11Native")) return fake.failure;
                           return Hand(out, new Object(kSurface));
                         }}};

const Table kFactory = {{0,
                         +[](void*, Object** out) {
                           if (fake.Refuses("CreateContext")) return fake.failure;
                           return Hand(out, new Object(kContext));
                         }},
                        {1, +[](void*, Object*, const wchar_t* id, Object** out) {
                           if (fake.Refuses("CreateComponent")) return fake.failure;
                           uint32_t codec = 0;
                           while (codec < 3 && kNames[codec].id != id) ++codec;
                           if (codec >= (fake.has_av1 ? 3U : 2U)) return AMF_NOT_FOUND;
                           Hand(out, new Object(kComponent));
                           (*out)->codec = codec;
                           return AMF_OK;
                         }}};

}  // namespace
}  // namespace orventa::amf

extern "C" {

__declspec(dllexport) orventa::amf::FakeAmf* FakeAmfOf() {
  using namespace orventa::amf;
  fake.property = [](const wchar_t* name) {
    const auto found = newest.find(name);
    return found == newest.end() ? AMFVariantStruct{} : found->second;
  };
  return &fake;
}

__declspec(dllexport) orventa::amf::AMF_RESULT AMFQueryVersion(uint64_t* version) {
  using namespace orventa::amf;
  *version = fake.version;
  return Answer("AMFQueryVersion");
}

__declspec(dllexport) orventa::amf::AMF_RESULT AMFInit(uint64_t version, void** out) {
  using namespace orventa::amf;
  static const Table* factory = &kFactory;
  fake.asked_version = version;
  *out = &factory;
  return Answer("AMFInit");
}

}  // extern "C"
