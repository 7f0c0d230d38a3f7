#include "sound/resample.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "sound/sample_math.h"

namespace orventa {
namespace {

constexpr double kPassband = 0.92;  // of the lower of the two rates
constexpr double kKaiserBeta = 8.6;
constexpr double kHalfWidth = 16;  // taps

// The modified Bessel function of order 0.
double BesselI0(double x) {
  const double quarter = x * x / 4;
  double sum = 1;
  double term = 1;
  for (int k = 1; k <= 64 && term >= sum * 1e-14; ++k) {
    term *= quarter / (static_cast<double>(k) * k);
    sum += term;
  }
  return sum;
}

double Window(double d) {
  const double x = d / kHalfWidth;
  if (std::abs(x) >= 1) return 0;
  static const double at_centre = BesselI0(kKaiserBeta);
  return BesselI0(kKaiserBeta * std::sqrt(1 - x * x)) / at_centre;
}

double Sinc(double x) {
  if (std::abs(x) < 1e-12) return 1;
  return std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}

ResampleRow MakeRow(size_t phase, double cutoff) {
  std::array<double, kResampleTaps> taps{};
  double sum = 0;
  for (size_t j = 0; j < kResampleTaps; ++j) {
    const double d = static_cast<double>(j) - double{kTapsBefore} -
                     static_cast<double>(phase) / double{kResamplePhases};
    taps[j] = Window(d) * Sinc(cutoff * d);
    sum += taps[j];
  }
  // Each phase by its own sum: a steady level stays exactly that.
  ResampleRow row;
  for (size_t j = 0; j < kResampleTaps; ++j) {
    row.taps[SlotOfTap(j)] = static_cast<float>(taps[j] / sum);
  }
  return row;
}

int16_t FromFullScale(float value) {
  return ToSample(std::clamp(value, -1.0F, 1.0F) * 32767.0F);
}

}  // namespace

ResampleTable::ResampleTable(uint32_t input_rate, uint32_t output_rate) {
  const double cutoff =
      std::min(1.0, static_cast<double>(output_rate) / static_cast<double>(input_rate)) * kPassband;
  rows_.reserve(kResamplePhases + 1);
  for (size_t phase = 0; phase <= kResamplePhases; ++phase) {
    rows_.push_back(MakeRow(phase, cutoff));
  }
}

Resampler ResamplerFor(Instructions instructions) {
  return instructions == Instructions::Avx2 ? resample::Avx2 : resample::Portable;
}

size_t resample::Portable(ResampleRun& run, size_t most, int16_t* out) {
  if (run.frame_count < kResampleTaps) return 0;
  const auto end = static_cast<double>(run.frame_count - kTapsAfter);
  double position = run.position;
  size_t done = 0;
  for (; done < most && position >= double{kTapsBefore} && position < end; ++done) {
    const auto whole = static_cast<size_t>(position);
    const double phase = (position - static_cast<double>(whole)) * double{kResamplePhases};
    const size_t row = std::min(static_cast<size_t>(phase), kResamplePhases - 1);
    const auto blend = static_cast<float>(phase - static_cast<double>(row));
    const auto& near = run.rows[row].taps;
    const auto& far = run.rows[row + 1].taps;
    const float* const frames = run.frames + 2 * (whole - kTapsBefore);
    float left = 0;
    float right = 0;
    for (size_t j = 0; j < kResampleTaps; ++j) {
      const size_t slot = SlotOfTap(j);
      const float tap = near[slot] + blend * (far[slot] - near[slot]);
      left += tap * frames[2 * j];
      right += tap * frames[2 * j + 1];
    }
    out[2 * done] = FromFullScale(left);
    out[2 * done + 1] = FromFullScale(right);
    position += run.step;
  }
  run.position = position;
  return done;
}

}  // namespace orventa
