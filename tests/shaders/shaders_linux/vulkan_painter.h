// Runs the conversion's shaders on Mesa's software Vulkan driver: another compiler and
// another rasteriser than Direct3D's, on the very text that the program carries.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "convert/colour.h"
#include "convert/convert_shaders.h"
#include "convert/converter.h"
#include "media/memory_picture.h"

namespace orventa::test {

class VulkanPainter {
 public:
  // Throws std::exception when there is no such driver.
  VulkanPainter();
  ~VulkanPainter();

  // Draws one plane of `out`, as FrameConverter does.
  void Paint(const ConvertShader& shader, const Tone& tone, const MemoryPicture& input,
             const PlacedRect& target, const MemoryPicture& out);

 private:
  struct Vulkan;
  const std::vector<uint32_t>& Compiled(const ShaderSource& source);

  std::unique_ptr<Vulkan> vulkan_;
  std::map<std::string, std::vector<uint32_t>> compiled_;
};

}  // namespace orventa::test
