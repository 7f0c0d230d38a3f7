// Converting a frame on one core, beside two libraries that do the like. Frames are
// noise, so that no branch is lucky; runs alternate, since machines are noisy.
#include <libyuv.h>
extern "C" {
#include <libswscale/swscale.h>
}

#include <array>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "benchmarks/bench.h"
#include "convert/converter.h"
#include "convert/half.h"
#include "media/memory_picture.h"

namespace orventa::bench {
namespace {

constexpr uint32_t kWidth = 1920;
constexpr uint32_t kHeight = 1080;
constexpr int kRuns = 41;

uint32_t NextNoise(uint32_t& state) {
  state ^= state << 13;
  state ^= state >> 17;
  state ^= state << 5;
  return state;
}

std::shared_ptr<MemoryPicture> NoiseCodes(uint32_t width, uint32_t height) {
  auto picture = MemoryPicture::Allocate(PixelFormat::Bgra8, width, height);
  uint32_t state = 1;
  for (size_t y = 0; y < height; ++y) {
    for (size_t x = 0; x < width; ++x) {
      const uint32_t pixel = NextNoise(state);
      std::memcpy(picture->plane(0).data + y * picture->plane(0).stride + 4 * x, &pixel, 4);
    }
  }
  return picture;
}

// Light up to five times SDR white: a part of the pixels is rolled off.
std::shared_ptr<MemoryPicture> NoiseLight(uint32_t width, uint32_t height) {
  auto picture = MemoryPicture::Allocate(PixelFormat::RgbaHalf, width, height);
  uint32_t state = 1;
  for (size_t y = 0; y < height; ++y) {
    for (size_t x = 0; x < width; ++x) {
      std::array<uint16_t, 4> pixel{};
      for (uint16_t& channel : pixel) {
        const float unit = static_cast<float>(NextNoise(state) >> 8) * 0x1p-24F;
        channel = FloatToHalf(unit * unit * unit * 5.0F);
      }
      std::memcpy(picture->plane(0).data + y * picture->plane(0).stride + 8 * x, pixel.data(), 8);
    }
  }
  return picture;
}

// A converter with a frame for it; throws when there is none.
class Work {
 public:
  Work(const ConverterSettings& settings, PictureRef input) : input_(std::move(input)) {
    const Status status = MakeMemoryConverter(settings, converter_);
    if (!status.ok()) throw std::runtime_error(status.ToString());
  }
  void operator()() {
    PictureRef out;
    const Status status = converter_->Convert(input_, out);
    if (!status.ok()) throw std::runtime_error(status.ToString());
  }

 private:
  PictureRef input_;
  std::unique_ptr<IFrameConverter> converter_;
};

ConverterSettings To1080p(uint32_t input_width, uint32_t input_height) {
  ConverterSettings settings;
  settings.input_width = input_width;
  settings.input_height = input_height;
  settings.width = kWidth;
  settings.height = kHeight;
  return settings;
}

// Processor time: everything here runs on one thread, and what else the machine does
// is no part of it.
double Milliseconds(const std::function<void()>& work) {
  const std::clock_t start = std::clock();
  work();
  return static_cast<double>(std::clock() - start) * 1e3 / CLOCKS_PER_SEC;
}

// The median of each, the works taking turns.
std::vector<double> Medians(const std::vector<std::function<void()>>& works) {
  std::vector<std::vector<double>> times(works.size());
  for (const auto& work : works) work();
  for (int run = 0; run < kRuns; ++run) {
    for (size_t i = 0; i < works.size(); ++i) times[i].push_back(Milliseconds(works[i]));
  }
  std::vector<double> medians;
  for (auto& values : times) medians.push_back(Median(std::move(values)));
  return medians;
}

std::vector<Row> Convert() {
  const auto codes = NoiseCodes(kWidth, kHeight);
  const auto light = NoiseLight(kWidth, kHeight);
  const auto theirs = MemoryPicture::Allocate(PixelFormat::Nv12, kWidth, kHeight);
  const PlaneView from = codes->plane(0);
  const PlaneView luma = theirs->plane(0);
  const PlaneView chroma = theirs->plane(1);

  Work direct(To1080p(kWidth, kHeight), codes);
  Work scaled(To1080p(2560, 1440), NoiseCodes(2560, 1440));
  ConverterSettings settings = To1080p(kWidth, kHeight);
  settings.ten_bit = true;
  Work wide(settings, codes);
  settings.hdr_input = true;
  settings.hdr10 = true;
  Work hdr10(settings, light);
  settings.ten_bit = false;
  settings.hdr10 = false;
  settings.peak = 4.0F;
  Work sdr(settings, light);

  const auto libyuv_run = [&] {
    libyuv::ARGBToNV12(from.data, static_cast<int>(from.stride), luma.data,
                       static_cast<int>(luma.stride), chroma.data, static_cast<int>(chroma.stride),
                       kWidth, kHeight);
  };
  const std::unique_ptr<SwsContext, decltype(&sws_freeContext)> context(
      sws_getContext(kWidth, kHeight, AV_PIX_FMT_BGRA, kWidth, kHeight, AV_PIX_FMT_NV12,
                     SWS_BILINEAR, nullptr, nullptr, nullptr),
      sws_freeContext);
  if (context == nullptr) throw std::runtime_error("no swscale context");
  const auto swscale_run = [&] {
    const std::array<const uint8_t*, 4> source = {from.data};
    const std::array<int, 4> source_stride = {static_cast<int>(from.stride)};
    const std::array<uint8_t*, 4> target = {luma.data, chroma.data};
    const std::array<int, 4> target_stride = {static_cast<int>(luma.stride),
                                              static_cast<int>(chroma.stride)};
    sws_scale(context.get(), source.data(), source_stride.data(), 0, kHeight, target.data(),
              target_stride.data());
  };

  const std::vector<double> near = Medians({std::ref(direct), libyuv_run, swscale_run});
  const std::vector<double> far =
      Medians({std::ref(scaled), std::ref(hdr10), std::ref(sdr), std::ref(wide)});
  return {{"convert.bgra_nv12_1080p_ms", near[0]},   {"convert.vs_libyuv", near[0] / near[1]},
          {"convert.vs_swscale", near[0] / near[2]}, {"convert.scaled_1440p_1080p_ms", far[0]},
          {"convert.hdr_p010_1080p_ms", far[1]},     {"convert.hdr_sdr_1080p_ms", far[2]},
          {"convert.bgra_p010_1080p_ms", far[3]}};
}

const Register kRegister("convert", Convert);

}  // namespace
}  // namespace orventa::bench
