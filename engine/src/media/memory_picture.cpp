#include "media/memory_picture.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace orventa {
namespace {

constexpr size_t kRowAlignment = 64;

constexpr size_t BytesPerPixel(PixelFormat format) {
  switch (format) {
    case PixelFormat::Bgra8: return 4;
    case PixelFormat::RgbaHalf: return 8;
    case PixelFormat::Nv12: return 1;
    case PixelFormat::P010: return 2;
  }
  return 0;
}

constexpr bool IsPlanar(PixelFormat format) {
  return format == PixelFormat::Nv12 || format == PixelFormat::P010;
}

}  // namespace

MemoryPicture::MemoryPicture(PixelFormat format, uint32_t width, uint32_t height,
                             std::array<PlaneView, 2> planes, std::shared_ptr<void> keep_alive)
    : Picture(format, width, height), planes_(planes), keep_alive_(std::move(keep_alive)) {}

std::shared_ptr<MemoryPicture> MemoryPicture::Allocate(PixelFormat format, uint32_t width,
                                                       uint32_t height) {
  const size_t row = size_t{width} * BytesPerPixel(format);
  const size_t stride = (row + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
  const size_t chroma_rows = IsPlanar(format) ? (size_t{height} + 1) / 2 : 0;
  const size_t bytes = stride * (height + chroma_rows);

  // One alignment more than needed: the C++ runtime of Windows has no aligned calloc.
  auto block = std::shared_ptr<void>(std::calloc(1, bytes + kRowAlignment), std::free);
  if (block == nullptr) throw std::bad_alloc();
  void* start = block.get();
  size_t space = bytes + kRowAlignment;
  auto* first = static_cast<uint8_t*>(std::align(kRowAlignment, bytes, start, space));

  std::array<PlaneView, 2> planes;
  planes[0] = {first, stride};
  if (chroma_rows > 0) planes[1] = {first + stride * height, stride};
  return std::make_shared<MemoryPicture>(format, width, height, planes, std::move(block));
}

}  // namespace orventa
