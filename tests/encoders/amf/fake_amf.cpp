#include "tests/encoders/amf/fake_amf.h"

#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/encoders/grey_h264.h"

namespace orventa::amf {
namespace {

FakeAmf fake;
using Map = std::map<std::wstring, AMFVariantStruct>;
Map newest;  // properties of the newest encoder

AMF_RESULT Breach(const char* rule) {
  if (fake.breach[0] == '\0') std::snprintf(fake.breach, sizeof(fake.breach), "%s", rule);
  return 2;  // unexpected
}

bool Refused(const char* call) {
  return std::string_view(call) == fake.failing_call;
}

using Slot = void (*)();
template <typename Function>
Slot AsSlot(Function* function) {
  return reinterpret_cast<Slot>(function);
}
void UnexpectedSlot() {
  Breach("a function was called that is not the one meant");
}

struct Table {
  Slot slots[60];
  Table() {
    for (Slot& slot : slots) slot = UnexpectedSlot;
  }
};

// What every object begins with.
struct Object {
  explicit Object(const Table& the_table, int& the_alive) : table(&the_table), alive(&the_alive) {
    ++*alive;
  }
  const Table* table;
  int* alive;
  int references = 1;
  Map properties;
};

template <typename T>
int32_t Acquire(T* self) {
  return ++self->references;
}
template <typename T>
int32_t Release(T* self) {
  if (--self->references > 0) return self->references;
  --*self->alive;
  delete self;
  return 0;
}
template <typename T>
AMF_RESULT SetProperty(T* self, const wchar_t* name, AMFVariantStruct value) {
  if (std::wstring_view(name) == fake.refused) return fake.failure;
  self->properties[name] = value;
  return AMF_OK;
}
template <typename T>
AMF_RESULT GetProperty(T* self, const wchar_t* name, AMFVariantStruct* value) {
  const auto found = self->properties.find(name);
  if (found == self->properties.end()) return AMF_NOT_FOUND;
  *value = found->second;
  if (value->type == AMFVariantStruct::Interface) value->object->Acquire();
  return AMF_OK;
}
template <typename T>
AMF_RESULT Query(T* self, const AMFGuid& id, void** object) {
  if (std::memcmp(&id, &kBufferId, sizeof(id)) != 0) return Breach("another interface");
  ++self->references;
  *object = self;
  return AMF_OK;
}

template <typename T>
struct Counted : Table {
  Counted() {
    slots[0] = AsSlot(Acquire<T>);
    slots[1] = AsSlot(Release<T>);
    slots[2] = AsSlot(Query<T>);
    slots[3] = AsSlot(SetProperty<T>);
    slots[4] = AsSlot(GetProperty<T>);
  }
};

// --- buffers and surfaces ---

struct Buffer : Object {
  explicit Buffer(std::vector<uint8_t> the_bytes);
  ~Buffer() { std::fill(bytes.begin(), bytes.end(), uint8_t{0xEE}); }
  std::vector<uint8_t> bytes;
  int64_t pts = 0;
};
struct BufferTable : Counted<Buffer> {
  BufferTable() {
    slots[20] = AsSlot(+[](Buffer* self) { return self->pts; });
    slots[24] = AsSlot(+[](Buffer* self) { return self->bytes.size(); });
    slots[25] = AsSlot(+[](Buffer* self) { return static_cast<void*>(self->bytes.data()); });
  }
};
const BufferTable buffer_table;
Buffer::Buffer(std::vector<uint8_t> the_bytes)
    : Object(buffer_table, fake.buffers), bytes(std::move(the_bytes)) {}

struct Surface : Object {
  Surface();
  int64_t pts = 0;
};
struct SurfaceTable : Counted<Surface> {
  SurfaceTable() {
    slots[19] = AsSlot(+[](Surface* self, int64_t pts) { self->pts = pts; });
  }
};
const SurfaceTable surface_table;
Surface::Surface() : Object(surface_table, fake.surfaces) {}

// --- encoders ---

constexpr std::wstring_view kIds[] = {L"AMFVideoEncoderVCE_AVC", L"AMFVideoEncoderHW_HEVC",
                                      L"AMFVideoEncoderHW_AV1"};
constexpr const wchar_t* kUsage[] = {L"Usage", L"HevcUsage", L"Av1Usage"};
constexpr const wchar_t* kHeader[] = {L"ExtraData", L"HevcExtraData", L"Av1ExtraData"};
constexpr const wchar_t* kForce[] = {L"ForcePictureType", L"HevcForcePictureType",
                                     L"Av1ForceFrameType"};
constexpr const wchar_t* kType[] = {L"OutputDataType", L"HevcOutputDataType",
                                    L"Av1OutputFrameType"};

struct Component : Object {
  explicit Component(size_t the_codec);
  const size_t codec;
  bool initialised = false;
  bool draining = false;
  std::optional<GreyH264> h264;
  std::deque<Surface*> queue;
};

AMF_RESULT SetEncoderProperty(Component* self, const wchar_t* name, AMFVariantStruct value) {
  if (self->initialised) return Breach("a property after Init");
  if (self->properties.empty() && std::wstring_view(name) != kUsage[self->codec]) {
    return Breach("usage is not the first property");
  }
  if (value.type == AMFVariantStruct::Interface) {
    std::memcpy(&fake.metadata, reinterpret_cast<Buffer*>(value.object)->bytes.data(),
                sizeof(fake.metadata));
    return AMF_OK;
  }
  const AMF_RESULT result = SetProperty(self, name, value);
  newest = self->properties;
  return result;
}

AMFVariantStruct Object64(void* object) {
  AMFVariantStruct value;
  value.type = AMFVariantStruct::Interface;
  value.object = static_cast<AMFInterface*>(object);
  return value;
}

AMF_RESULT Init(Component* self, int32_t format, int32_t width, int32_t height) {
  if (Refused("Init")) return fake.failure;
  const auto depth =
      self->properties.find(self->codec == 1 ? L"HevcColorBitDepth" : L"Av1ColorBitDepth");
  const bool ten_bit = depth != self->properties.end() && depth->second.number == 10;
  if (format != (ten_bit ? kSurfaceP010 : kSurfaceNv12)) return Breach("surfaces of another depth");
  self->initialised = true;
  std::vector<uint8_t> header = {0x12, 0x00, 0x0A, 0x02, 0x00, 0x80};
  if (self->codec == 0) {
    self->h264.emplace(static_cast<uint32_t>(width), static_cast<uint32_t>(height));
    header = self->h264->Header();
  } else if (self->codec == 1) {
    header = {0, 0, 0, 1, 0x40, 1, 0x80, 0, 0, 0, 1, 0x42, 1, 0x80, 0, 0, 0, 1, 0x44, 1, 0x80};
  }
  self->properties[kHeader[self->codec]] = Object64(new Buffer(std::move(header)));
  return AMF_OK;
}

AMF_RESULT Terminate(Component* self) {
  if (!self->initialised) return Breach("Terminate without Init");
  for (Surface* surface : self->queue) Release(surface);
  self->queue.clear();
  Release(reinterpret_cast<Buffer*>(self->properties[kHeader[self->codec]].object));
  self->initialised = false;
  return AMF_OK;
}

AMF_RESULT Submit(Component* self, Surface* surface) {
  if (!self->initialised || self->draining) return Breach("SubmitInput at the wrong time");
  if (Refused("SubmitInput")) return fake.failure;
  if (self->queue.size() >= fake.queue) return AMF_INPUT_FULL;
  Acquire(surface);
  self->queue.push_back(surface);
  ++fake.inside;
  return self->queue.size() > fake.delay ? AMF_OK : AMF_NEED_MORE_INPUT;
}

AMF_RESULT Drain(Component* self) {
  if (self->queue.size() >= fake.queue) return AMF_INPUT_FULL;
  self->draining = true;
  return Refused("Drain") ? fake.failure : AMF_OK;
}

AMF_RESULT Output(Component* self, Buffer** out) {
  if (Refused("QueryOutput")) return fake.failure;
  if (self->queue.empty()) return self->draining ? AMF_EOF : AMF_REPEAT;
  const bool full = self->queue.size() >= fake.queue;
  if (fake.stuck || (self->queue.size() <= fake.delay && !self->draining && !full)) {
    return AMF_REPEAT;
  }
  Surface* surface = self->queue.front();
  self->queue.pop_front();
  --fake.inside;
  const bool key = surface->properties.contains(kForce[self->codec]);
  if (self->codec == 2 && key != surface->properties.contains(L"Av1ForceInsertSequenceHeader")) {
    Breach("an AV1 keyframe without its header");
  }
  auto* buffer = new Buffer(self->h264 ? self->h264->Picture(key)
                                       : std::vector<uint8_t>{0x12, 0x00, 0x32, 0x01, 0x55});
  buffer->pts = surface->pts;
  AMFVariantStruct type;
  type.type = AMFVariantStruct::Int64;
  type.number = key ? 0 : 2;
  buffer->properties[kType[self->codec]] = type;
  Release(surface);
  *out = buffer;
  return AMF_OK;
}

// --- limits ---

struct IoCaps : Object {
  IoCaps();
};
struct IoCapsTable : Counted<IoCaps> {
  IoCapsTable() {
    slots[3] = AsSlot(+[](IoCaps*, int32_t* least, int32_t* most) { *least = 128, *most = 4096; });
    slots[4] = AsSlot(+[](IoCaps*, int32_t* least, int32_t* most) { *least = 128, *most = 2304; });
  }
};
const IoCapsTable io_caps_table;
IoCaps::IoCaps() : Object(io_caps_table, fake.buffers) {}

struct Caps : Object {
  Caps();
};
struct CapsTable : Counted<Caps> {
  CapsTable() {
    slots[13] = AsSlot(+[](Caps*) { return fake.acceleration; });
    slots[14] = AsSlot(+[](Caps*, IoCaps** caps) {
      *caps = new IoCaps;
      return AMF_OK;
    });
  }
};
const CapsTable caps_table;
Caps::Caps() : Object(caps_table, fake.buffers) {}

AMF_RESULT GetCaps(Component* self, Caps** caps) {
  if (self->initialised) return Breach("limits asked for after Init");
  if (Refused("GetCaps")) return AMF_NOT_SUPPORTED;
  *caps = new Caps;
  return AMF_OK;
}

struct ComponentTable : Counted<Component> {
  ComponentTable() {
    slots[3] = AsSlot(SetEncoderProperty);
    slots[17] = AsSlot(Init);
    slots[19] = AsSlot(Terminate);
    slots[20] = AsSlot(Drain);
    slots[22] = AsSlot(Submit);
    slots[23] = AsSlot(Output);
    slots[26] = AsSlot(GetCaps);
  }
};
const ComponentTable component_table;
Component::Component(size_t the_codec)
    : Object(component_table, fake.components), codec(the_codec) {}

// --- contexts and the factory ---

struct Context : Object {
  Context();
};
struct ContextTable : Counted<Context> {
  ContextTable() {
    slots[13] = AsSlot(+[](Context*) {
      return fake.components + fake.surfaces > 0 ? Breach("the context ended first") : AMF_OK;
    });
    slots[18] = AsSlot(+[](Context*, void* device, int32_t version) {
      if (device == nullptr || version != kDirectX11_1) return Breach("device");
      fake.device = device;
      return Refused("InitDX11") ? fake.failure : AMF_OK;
    });
    slots[43] = AsSlot(+[](Context*, int32_t memory, size_t bytes, Buffer** buffer) {
      if (memory != kMemoryHost) return Breach("memory of the card");
      *buffer = new Buffer(std::vector<uint8_t>(bytes));
      return AMF_OK;
    });
    slots[49] = AsSlot(+[](Context*, void* texture, Surface** surface, void*) {
      if (texture == nullptr) return Breach("no texture");
      if (Refused("CreateSurfaceFromDX11Native")) return fake.failure;
      *surface = new Surface;
      return AMF_OK;
    });
  }
};
const ContextTable context_table;
Context::Context() : Object(context_table, fake.contexts) {}

struct FactoryTable : Table {
  FactoryTable() {
    slots[0] = AsSlot(+[](void*, Context** context) {
      if (Refused("CreateContext")) return fake.failure;
      *context = new Context;
      return AMF_OK;
    });
    slots[1] = AsSlot(+[](void*, Context*, const wchar_t* id, Component** component) {
      if (Refused("CreateComponent")) return fake.failure;
      for (size_t codec = 0; codec < (fake.has_av1 ? 3 : 2); ++codec) {
        if (kIds[codec] != id) continue;
        *component = new Component(codec);
        return AMF_OK;
      }
      return AMF_NOT_FOUND;
    });
  }
};
const FactoryTable factory_table;
const Table* const factory = &factory_table;

AMFVariantStruct PropertyOfNewest(const wchar_t* name) {
  const auto found = newest.find(name);
  return found == newest.end() ? AMFVariantStruct{} : found->second;
}

}  // namespace
}  // namespace orventa::amf

extern "C" {

__declspec(dllexport) orventa::amf::FakeAmf* FakeAmfOf() {
  using namespace orventa::amf;
  fake.property = PropertyOfNewest;
  return &fake;
}

__declspec(dllexport) orventa::amf::AMF_RESULT AMFQueryVersion(uint64_t* version) {
  using namespace orventa::amf;
  *version = fake.version;
  return Refused("AMFQueryVersion") ? fake.failure : AMF_OK;
}

__declspec(dllexport) orventa::amf::AMF_RESULT AMFInit(uint64_t version, void** out) {
  using namespace orventa::amf;
  if (Refused("AMFInit")) return fake.failure;
  fake.asked_version = version;
  *out = const_cast<const Table**>(&factory);
  return AMF_OK;
}

}  // extern "C"
