// Turning captured pictures into the planar frames that encoders take: scaled and
// letterboxed to the encoder's size, tone mapped or PQ-coded, NV12 or P010.
// `IFrameConverter` is what the engine sees; `MemoryConverter` does it in memory
// and is the twin that the shaders are held against. Engine thread.
// colour.h has the arithmetic, geometry.h where every tap falls, reference.h both put
// together plainly; code_frame.h and float_frame.h are the quick ways, sdr_tables.h
// that of screenshots; convert_shaders.h and convert_win/ that of the graphics card.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "base/status.h"
#include "media/picture.h"

namespace orventa {

// What the game really draws on an HDR display.
enum class DrawnClass : uint32_t { HdrOrUnknown = 0, Sdr8Bit = 1, Sdr10Bit = 2 };
inline constexpr std::array kDrawnClasses = {DrawnClass::HdrOrUnknown, DrawnClass::Sdr8Bit,
                                             DrawnClass::Sdr10Bit};

// A rectangle of the source, in pixels. All zero: the whole picture.
struct SourceRect {
  uint32_t left = 0;
  uint32_t top = 0;
  uint32_t width = 0;
  uint32_t height = 0;
  bool operator==(const SourceRect&) const = default;
};

struct ConverterSettings {
  uint32_t input_width = 0;
  uint32_t input_height = 0;
  uint32_t width = 0;  // output, even
  uint32_t height = 0;
  SourceRect source_rect;
  uint32_t pool_size = 8;
  float sdr_white = 1.0F;  // scRGB value of SDR white
  float peak = 1.0F;       // the display's peak as a multiple of SDR white
  bool hdr_input = false;  // scRGB half floats rather than 8-bit codes
  bool ten_bit = false;    // P010 rather than NV12
  bool hdr10 = false;      // write PQ, BT.2020
};

class IFrameConverter {
 public:
  virtual ~IFrameConverter() = default;
  // Writes the next picture of the pool and gives it out. It stays as it is
  // until pool_size further calls. InvalidArgument on a picture of another size
  // or format than the converter was made for.
  virtual Status Convert(const PictureRef& input, PictureRef& output) = 0;
  // Takes new display values; refused for `sdr_white` of 0 or below.
  virtual Status SetTone(float sdr_white, float peak) = 0;
  // Lifts the peak when `ratio` is above it.
  virtual Status RaisePeak(float ratio) = 0;
  virtual void SetDrawnClass(DrawnClass drawn) = 0;
};

// The largest centred rectangle of even position and size with the source's shape.
struct PlacedRect {
  uint32_t left = 0;
  uint32_t top = 0;
  uint32_t width = 0;
  uint32_t height = 0;
  bool operator==(const PlacedRect&) const = default;
};
PlacedRect Letterbox(uint32_t source_width, uint32_t source_height, uint32_t width,
                     uint32_t height);

Status MakeMemoryConverter(const ConverterSettings& settings,
                           std::unique_ptr<IFrameConverter>& out);

}  // namespace orventa
