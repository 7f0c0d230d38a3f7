#include <gtest/gtest.h>

#include <cstdlib>

#include "convert/geometry.h"
#include "convert/memory_converter.h"
#include "shader_cases.h"
#include "vulkan_painter.h"

// The driver leaves two small objects behind, from code that is unloaded by the end.
extern "C" int __lsan_is_turned_off() {
  return 1;
}

namespace orventa {
namespace {

TEST(Shaders, DrawWhatTheConversionInMemoryDoes) {
  // Filters with float weights; by default the driver takes 8 bits for pictures of codes.
  setenv("GALLIVM_PERF", "no_aos_sampling", 1);
  test::VulkanPainter painter;
  for (const test::ShaderCase& row : test::ShaderCases({192, 96, 48, 32, 24, 16, 12})) {
    const ConverterSettings& settings = row.settings;
    Geometry geometry;
    ASSERT_TRUE(MakeGeometry(settings, geometry).ok());
    const auto out = AllocateBlack(settings.ten_bit ? PixelFormat::P010 : PixelFormat::Nv12,
                                   settings.width, settings.height);
    ConvertShader shader{Plane::Luma, ShaderTransfer::None, settings.ten_bit, geometry.luma_taps};
    if (settings.hdr_input) {
      shader.transfer = settings.hdr10 ? ShaderTransfer::Hdr10 : ShaderTransfer::Sdr;
    }
    const Tone tone = MakeTone(settings.sdr_white, settings.peak, row.drawn, geometry);
    painter.Paint(shader, tone, *row.input, geometry.target, *out);
    shader.plane = Plane::Chroma;
    shader.taps = geometry.chroma_taps;
    painter.Paint(shader, tone, *row.input, geometry.target, *out);
    test::HoldAgainstTwin(row, *out);
  }
}

}  // namespace
}  // namespace orventa
