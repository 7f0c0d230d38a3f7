// The binary interface of amfrt64.dll as far as it is used: objects whose table of
// functions is that of a C++ class without a virtual destructor. What is never called
// only holds its place, by number; slots 14 and 15 of a component must not be called
// at all, since compilers disagree about their order. Sizes are in pixels, times in
// units of 100 ns.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orventa::amf {

constexpr uint64_t Version(uint64_t major, uint64_t minor, uint64_t release) {
  return major << 48 | minor << 32 | release << 16;
}
// What this declares is the same in every runtime from the first to the second.
inline constexpr uint64_t kLeastVersion = Version(1, 4, 18);
inline constexpr uint64_t kWrittenForVersion = Version(1, 4, 36);

using AMF_RESULT = int32_t;  // an error unless 0, whatever its sign
inline constexpr AMF_RESULT AMF_OK = 0;
inline constexpr AMF_RESULT AMF_INVALID_ARG = 4;
inline constexpr AMF_RESULT AMF_OUT_OF_RANGE = 5;
inline constexpr AMF_RESULT AMF_OUT_OF_MEMORY = 6;
inline constexpr AMF_RESULT AMF_INVALID_POINTER = 7;
inline constexpr AMF_RESULT AMF_NOT_IMPLEMENTED = 9;
inline constexpr AMF_RESULT AMF_NOT_SUPPORTED = 10;
inline constexpr AMF_RESULT AMF_NOT_FOUND = 11;
inline constexpr AMF_RESULT AMF_INVALID_FORMAT = 14;
inline constexpr AMF_RESULT AMF_NO_DEVICE = 17;
inline constexpr AMF_RESULT AMF_DIRECTX_FAILED = 18;
inline constexpr AMF_RESULT AMF_EOF = 23;
inline constexpr AMF_RESULT AMF_REPEAT = 24;      // nothing yet
inline constexpr AMF_RESULT AMF_INPUT_FULL = 25;  // not taken: the same again, later
inline constexpr AMF_RESULT AMF_INVALID_RESOLUTION = 29;
inline constexpr AMF_RESULT AMF_CODEC_NOT_SUPPORTED = 30;
inline constexpr AMF_RESULT AMF_SURFACE_FORMAT_NOT_SUPPORTED = 31;
inline constexpr AMF_RESULT AMF_ENCODER_NOT_PRESENT = 36;
inline constexpr AMF_RESULT AMF_NEED_MORE_INPUT = 44;  // taken, nothing to give for it yet

inline constexpr int32_t kSurfaceNv12 = 1;
inline constexpr int32_t kSurfaceP010 = 10;
inline constexpr int32_t kMemoryHost = 1;
inline constexpr int32_t kDirectX11_1 = 111;
inline constexpr int32_t kHardware = 0;  // of acceleration

struct AMFGuid {
  uint32_t data1;
  uint16_t data2;
  uint16_t data3;
  uint8_t data4[8];
};
inline constexpr AMFGuid kBufferId = {
    0xB04B7248, 0xB6F0, 0x4321, {0xB6, 0x91, 0xBA, 0xA4, 0x74, 0x0F, 0x9F, 0xCB}};

class AMFInterface;

struct AMFVariantStruct {
  enum Type : int32_t { Empty = 0, Bool = 1, Int64 = 2, Size = 5, Rate = 7, Interface = 12 };
  struct Pair {
    uint32_t first;
    uint32_t second;
  };

  Type type = Empty;
  union {
    uint64_t words[2] = {};
    bool flag;
    int64_t number;
    Pair pair;
    AMFInterface* object;
  };

  static AMFVariantStruct OfBool(bool flag) {
    AMFVariantStruct value;
    value.type = Bool;
    value.flag = flag;
    return value;
  }
  static AMFVariantStruct OfInt(int64_t number) {
    AMFVariantStruct value;
    value.type = Int64;
    value.number = number;
    return value;
  }
  static AMFVariantStruct OfPair(Type type, uint32_t first, uint32_t second) {
    AMFVariantStruct value;
    value.type = type;
    value.pair = {first, second};
    return value;
  }
  static AMFVariantStruct OfObject(AMFInterface* object) {
    AMFVariantStruct value;
    value.type = Interface;
    value.object = object;
    return value;
  }
};
static_assert(sizeof(AMFVariantStruct) == 24);
static_assert(offsetof(AMFVariantStruct, words) == 8);

// Chromaticity in 1/50000, luminance in 1/10000 nit, light levels in nits.
struct AMFHDRMetadata {
  uint16_t primaries[8];  // red, green, blue, white; x and y of each
  uint32_t max_luminance;
  uint32_t min_luminance;
  uint16_t max_content_light;
  uint16_t max_average_light;
};
static_assert(sizeof(AMFHDRMetadata) == 28);

// Reference counting does what a destructor would.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class AMFInterface {
 public:
  virtual int32_t Acquire() = 0;
  virtual int32_t Release() = 0;
  virtual AMF_RESULT QueryInterface(const AMFGuid& id, void** object) = 0;
};

class AMFPropertyStorage : public AMFInterface {
 public:
  virtual AMF_RESULT SetProperty(const wchar_t* name, AMFVariantStruct value) = 0;
  // An object in `value` comes with a reference.
  virtual AMF_RESULT GetProperty(const wchar_t* name, AMFVariantStruct* value) = 0;
  virtual void Slot5() = 0;
  virtual void Slot6() = 0;
  virtual void Slot7() = 0;
  virtual void Slot8() = 0;
  virtual void Slot9() = 0;
  virtual void Slot10() = 0;
  virtual void Slot11() = 0;
  virtual void Slot12() = 0;
};

class AMFData : public AMFPropertyStorage {
 public:
  virtual void Slot13() = 0;
  virtual void Slot14() = 0;
  virtual void Slot15() = 0;
  virtual void Slot16() = 0;
  virtual void Slot17() = 0;
  virtual void Slot18() = 0;
  virtual void SetPts(int64_t pts) = 0;
  virtual int64_t GetPts() = 0;
  virtual void Slot21() = 0;
  virtual void Slot22() = 0;
};

class AMFBuffer : public AMFData {
 public:
  virtual void Slot23() = 0;
  virtual size_t GetSize() = 0;
  virtual void* GetNative() = 0;
};

class AMFSurface : public AMFData {};

class AMFIOCaps : public AMFInterface {
 public:
  virtual void GetWidthRange(int32_t* least, int32_t* most) = 0;
  virtual void GetHeightRange(int32_t* least, int32_t* most) = 0;
};

class AMFCaps : public AMFPropertyStorage {
 public:
  virtual int32_t GetAccelerationType() = 0;
  virtual AMF_RESULT GetInputCaps(AMFIOCaps** caps) = 0;
};

class AMFComponent : public AMFPropertyStorage {
 public:
  virtual void Slot13() = 0;
  virtual void Slot14() = 0;
  virtual void Slot15() = 0;
  virtual void Slot16() = 0;
  virtual AMF_RESULT Init(int32_t format, int32_t width, int32_t height) = 0;
  virtual void Slot18() = 0;
  virtual AMF_RESULT Terminate() = 0;
  virtual AMF_RESULT Drain() = 0;
  virtual void Slot21() = 0;
  virtual AMF_RESULT SubmitInput(AMFData* data) = 0;
  virtual AMF_RESULT QueryOutput(AMFData** data) = 0;
  virtual void Slot24() = 0;
  virtual void Slot25() = 0;
  virtual AMF_RESULT GetCaps(AMFCaps** caps) = 0;
};

class AMFContext : public AMFPropertyStorage {
 public:
  virtual AMF_RESULT Terminate() = 0;
  virtual void Slot14() = 0;
  virtual void Slot15() = 0;
  virtual void Slot16() = 0;
  virtual void Slot17() = 0;
  virtual AMF_RESULT InitDX11(void* device, int32_t version) = 0;
  virtual void Slot19() = 0;
  virtual void Slot20() = 0;
  virtual void Slot21() = 0;
  virtual void Slot22() = 0;
  virtual void Slot23() = 0;
  virtual void Slot24() = 0;
  virtual void Slot25() = 0;
  virtual void Slot26() = 0;
  virtual void Slot27() = 0;
  virtual void Slot28() = 0;
  virtual void Slot29() = 0;
  virtual void Slot30() = 0;
  virtual void Slot31() = 0;
  virtual void Slot32() = 0;
  virtual void Slot33() = 0;
  virtual void Slot34() = 0;
  virtual void Slot35() = 0;
  virtual void Slot36() = 0;
  virtual void Slot37() = 0;
  virtual void Slot38() = 0;
  virtual void Slot39() = 0;
  virtual void Slot40() = 0;
  virtual void Slot41() = 0;
  virtual void Slot42() = 0;
  virtual AMF_RESULT AllocBuffer(int32_t memory, size_t bytes, AMFBuffer** buffer) = 0;
  virtual void Slot44() = 0;
  virtual void Slot45() = 0;
  virtual void Slot46() = 0;
  virtual void Slot47() = 0;
  virtual void Slot48() = 0;
  // Wraps the texture, which stays where it is.
  virtual AMF_RESULT CreateSurfaceFromDX11Native(void* texture, AMFSurface** surface,
                                                 void* observer) = 0;
};

class AMFFactory {  // one a process, not counted
 public:
  virtual AMF_RESULT CreateContext(AMFContext** context) = 0;
  virtual AMF_RESULT CreateComponent(AMFContext* context, const wchar_t* id,
                                     AMFComponent** component) = 0;
};

#pragma GCC diagnostic pop

// The exports of the library.
using QueryVersionFunction = AMF_RESULT (*)(uint64_t* version);
using InitFunction = AMF_RESULT (*)(uint64_t version, AMFFactory** factory);

}  // namespace orventa::amf
