#include "tests/encoders/amf/fake_amf.h"

#include <cstring>
#include <deque>
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

// --- objects: a table of functions first ---

using Slot = void (*)();
struct Table {
  Slot slots[60];
  Table() {
    for (Slot& slot : slots) {
      slot = +[] { Breach("a function was called that is not the one meant"); };
    }
  }
  template <typename Function>
  void Set(size_t number, Function* function) {
    slots[number] = reinterpret_cast<Slot>(function);
  }
};

template <class T>
struct Object {
  Object() { ++fake.alive; }
  ~Object() { --fake.alive; }
  Object(const Object&) = delete;

  const Table* table = &TableOf();
  int references = 1;
  Map properties;

 private:
  static int32_t Acquire(T* self) { return ++self->references; }
  static int32_t Release(T* self) {
    if (--self->references > 0) return self->references;
    delete self;
    return 0;
  }
  static AMF_RESULT Query(T* self, const AMFGuid& id, void** object) {
    if (std::memcmp(&id, &kBufferId, sizeof(id)) != 0) return Breach("another interface");
    ++self->references;
    *object = self;
    return AMF_OK;
  }
  static AMF_RESULT Get(T* self, const wchar_t* name, AMFVariantStruct* value) {
    const auto found = self->properties.find(name);
    if (found == self->properties.end()) return AMF_NOT_FOUND;
    *value = found->second;
    if (value->type == AMFVariantStruct::Interface) value->object->Acquire();
    return AMF_OK;
  }
  static AMF_RESULT SetOne(T* self, const wchar_t* name, AMFVariantStruct value) {
    self->properties[name] = value;
    return AMF_OK;
  }
  static const Table& TableOf() {
    static const Table table = [] {
      Table made;
      made.Set(0, Acquire);
      made.Set(1, Release);
      made.Set(2, Query);
      made.Set(3, SetOne);
      made.Set(4, Get);
      T::Fill(made);
      return made;
    }();
    return table;
  }
};

template <class T>
void LetGo(T* object) {
  reinterpret_cast<AMFInterface*>(object)->Release();
}

// --- buffers and surfaces ---

struct Buffer : Object<Buffer> {
  explicit Buffer(std::vector<uint8_t> the_bytes) : bytes(std::move(the_bytes)) {}
  ~Buffer() { std::fill(bytes.begin(), bytes.end(), uint8_t{0xEE}); }
  static void Fill(Table& table) {
    table.Set(
        20, +[](Buffer* self) { return self->pts; });
    table.Set(
        24, +[](Buffer* self) { return self->bytes.size(); });
    table.Set(
        25, +[](Buffer* self) { return static_cast<void*>(self->bytes.data()); });
  }
  std::vector<uint8_t> bytes;
  int64_t pts = 0;
};

struct Surface : Object<Surface> {
  static void Fill(Table& table) {
    table.Set(
        19, +[](Surface* self, int64_t pts) { self->pts = pts; });
  }
  int64_t pts = 0;
};

// --- limits ---

struct IoCaps : Object<IoCaps> {
  static void Fill(Table& table) {
    table.Set(
        3, +[](IoCaps*, int32_t* least, int32_t* most) { *least = 128, *most = 4096; });
    table.Set(
        4, +[](IoCaps*, int32_t* least, int32_t* most) { *least = 128, *most = 2304; });
  }
};

struct Caps : Object<Caps> {
  static void Fill(Table& table) {
    table.Set(
        13, +[](Caps*) { return fake.acceleration; });
    table.Set(
        14, +[](Caps*, IoCaps** caps) {
          *caps = new IoCaps;
          return AMF_OK;
        });
  }
};

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

struct Component : Object<Component> {
  explicit Component(uint32_t the_codec) : codec(the_codec) {}
  static void Fill(Table& table) {
    table.Set(3, SetProperty);
    table.Set(17, Init);
    table.Set(19, Terminate);
    table.Set(20, Drain);
    table.Set(22, Submit);
    table.Set(23, Output);
    table.Set(26, GetCaps);
  }
  static AMF_RESULT SetProperty(Component* self, const wchar_t* name, AMFVariantStruct value);
  static AMF_RESULT Init(Component* self, int32_t format, int32_t width, int32_t height);
  static AMF_RESULT Terminate(Component* self);
  static AMF_RESULT Drain(Component* self);
  static AMF_RESULT Submit(Component* self, Surface* surface);
  static AMF_RESULT Output(Component* self, Buffer** out);
  static AMF_RESULT GetCaps(Component* self, Caps** caps);

  const uint32_t codec;
  bool initialised = false;
  bool draining = false;
  std::deque<Surface*> queue;
};

AMF_RESULT Component::SetProperty(Component* self, const wchar_t* name, AMFVariantStruct value) {
  if (self->initialised) return Breach("a property after Init");
  if (self->properties.empty() && name != kNames[self->codec].usage) {
    return Breach("usage is not the first property");
  }
  if (std::wstring_view(name) == fake.refused) return fake.failure;
  if (value.type == AMFVariantStruct::Interface) {
    std::memcpy(&fake.metadata, reinterpret_cast<Buffer*>(value.object)->bytes.data(),
                sizeof(fake.metadata));
    return AMF_OK;
  }
  self->properties[name] = value;
  newest = self->properties;
  return AMF_OK;
}

AMF_RESULT Component::Init(Component* self, int32_t format, int32_t, int32_t) {
  if (fake.Refuses("Init")) return fake.failure;
  const auto depth =
      self->properties.find(self->codec == 1 ? L"HevcColorBitDepth" : L"Av1ColorBitDepth");
  const bool ten_bit = depth != self->properties.end() && depth->second.number == 10;
  if (format != (ten_bit ? kSurfaceP010 : kSurfaceNv12)) return Breach("surfaces of another depth");
  self->initialised = true;
  auto* header = new Buffer(FakeHeader(self->codec));
  self->properties[kNames[self->codec].header] =
      AMFVariantStruct::OfObject(reinterpret_cast<AMFInterface*>(header));
  return AMF_OK;
}

AMF_RESULT Component::Terminate(Component* self) {
  if (!self->initialised) return Breach("Terminate without Init");
  for (Surface* surface : self->queue) LetGo(surface);
  self->queue.clear();
  LetGo(self->properties[kNames[self->codec].header].object);
  self->initialised = false;
  return AMF_OK;
}

AMF_RESULT Component::Submit(Component* self, Surface* surface) {
  if (!self->initialised || self->draining) return Breach("SubmitInput at the wrong time");
  if (fake.Refuses("SubmitInput")) return fake.failure;
  if (self->queue.size() >= fake.queue) return AMF_INPUT_FULL;
  ++surface->references;
  self->queue.push_back(surface);
  return self->queue.size() > fake.delay ? AMF_OK : AMF_NEED_MORE_INPUT;
}

AMF_RESULT Component::Drain(Component* self) {
  if (self->queue.size() >= fake.queue) return AMF_INPUT_FULL;
  self->draining = true;
  return Answer("Drain");
}

AMF_RESULT Component::Output(Component* self, Buffer** out) {
  if (fake.Refuses("QueryOutput")) return fake.failure;
  if (self->queue.empty()) return self->draining ? AMF_EOF : AMF_REPEAT;
  const bool full = self->queue.size() >= fake.queue;
  if (fake.stuck || (self->queue.size() <= fake.delay && !self->draining && !full)) {
    return AMF_REPEAT;
  }
  Surface* surface = self->queue.front();
  self->queue.pop_front();
  const bool key = surface->properties.contains(kNames[self->codec].force);
  if (self->codec == 2 && key != surface->properties.contains(L"Av1ForceInsertSequenceHeader")) {
    Breach("an AV1 keyframe without its header");
  }
  auto* buffer = new Buffer({0x12, 0x00, 0x32, 0x01, 0x55});  // AV1, as it happens
  buffer->pts = surface->pts;
  buffer->properties[kNames[self->codec].type] = AMFVariantStruct::OfInt(key ? 0 : 2);
  LetGo(surface);
  *out = buffer;
  return AMF_OK;
}

AMF_RESULT Component::GetCaps(Component* self, Caps** caps) {
  if (self->initialised) return Breach("limits asked for after Init");
  *caps = new Caps;
  return AMF_OK;
}

// --- contexts and the factory ---

struct Context : Object<Context> {
  static void Fill(Table& table) {
    table.Set(
        13, +[](Context* self) {
          self->ended = true;
          return fake.alive > 1 ? Breach("the context ended first") : AMF_OK;
        });
    table.Set(
        18, +[](Context*, void* device, int32_t version) {
          if (device == nullptr || version != kDirectX11_1) return Breach("device");
          return Answer("InitDX11");
        });
    table.Set(
        43, +[](Context*, int32_t memory, size_t bytes, Buffer** buffer) {
          if (memory != kMemoryHost) return Breach("memory of the card");
          *buffer = new Buffer(std::vector<uint8_t>(bytes));
          return AMF_OK;
        });
    table.Set(
        49, +[](Context*, void* texture, Surface** surface, void*) {
          if (texture == nullptr) return Breach("no texture");
          if (fake.Refuses("CreateSurfaceFromDX11Native")) return fake.failure;
          *surface = new Surface;
          return AMF_OK;
        });
  }
  ~Context() {
    if (!ended) Breach("the context was not told of its end");
  }
  bool ended = false;
};

AMF_RESULT CreateContext(void*, Context** context) {
  if (fake.Refuses("CreateContext")) return fake.failure;
  *context = new Context;
  return AMF_OK;
}

AMF_RESULT CreateComponent(void*, Context*, const wchar_t* id, Component** component) {
  if (fake.Refuses("CreateComponent")) return fake.failure;
  for (uint32_t codec = 0; codec < (fake.has_av1 ? 3 : 2); ++codec) {
    if (kNames[codec].id != id) continue;
    *component = new Component(codec);
    return AMF_OK;
  }
  return AMF_NOT_FOUND;
}

const Table* Factory() {
  static const Table table = [] {
    Table made;
    made.Set(0, CreateContext);
    made.Set(1, CreateComponent);
    return made;
  }();
  return &table;
}

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
  static const Table* factory = Factory();
  fake.asked_version = version;
  *out = &factory;
  return Answer("AMFInit");
}

}  // extern "C"
