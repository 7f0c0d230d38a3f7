#include "sound/resample.h"

#if defined(__x86_64__)
#include <immintrin.h>

#include <algorithm>
#include <cstring>

#define ORVENTA_AVX2 __attribute__((target("avx2,fma")))

namespace orventa {
namespace {

// Left and right of the frames under eight taps, added to two sums.
ORVENTA_AVX2 inline void AddEight(const float* near, const float* far, __m256 blend,
                                  const float* frames, __m256& low, __m256& high) {
  const __m256 first = _mm256_load_ps(near);
  const __m256 taps = _mm256_fmadd_ps(blend, _mm256_sub_ps(_mm256_load_ps(far), first), first);
  // Each tap twice: once for the left, once for the right.
  low = _mm256_fmadd_ps(_mm256_unpacklo_ps(taps, taps), _mm256_loadu_ps(frames), low);
  high = _mm256_fmadd_ps(_mm256_unpackhi_ps(taps, taps), _mm256_loadu_ps(frames + 8), high);
}

// Where a frame's taps lie in the table, and its first frame under them.
struct Place {
  const float* near;
  const float* far;
  const float* frames;
  float blend;
};

inline Place PlaceOf(const ResampleRun& run, double position) {
  const auto whole = static_cast<int64_t>(position);
  const double phase = (position - static_cast<double>(whole)) * double{kResamplePhases};
  const int64_t row = std::min(static_cast<int64_t>(phase), int64_t{kResamplePhases} - 1);
  return {run.rows[row].taps.data(), run.rows[row + 1].taps.data(),
          run.frames + 2 * (whole - int64_t{kTapsBefore}),
          static_cast<float>(phase - static_cast<double>(row))};
}

// Four sums of left and right in turn.
ORVENTA_AVX2 inline __m256 SumFrame(const Place& at) {
  const __m256 blend = _mm256_set1_ps(at.blend);
  __m256 low = _mm256_setzero_ps();
  __m256 high = _mm256_setzero_ps();
#pragma GCC unroll 4
  for (size_t j = 0; j < kResampleTaps; j += 8) {
    AddEight(at.near + j, at.far + j, blend, at.frames + 2 * j, low, high);
  }
  return _mm256_add_ps(low, high);
}

ORVENTA_AVX2 inline __m256i ToSamples(__m256 full_scale) {
  const __m256 clamped =
      _mm256_min_ps(_mm256_max_ps(full_scale, _mm256_set1_ps(-1.0F)), _mm256_set1_ps(1.0F));
  return _mm256_cvtps_epi32(_mm256_mul_ps(clamped, _mm256_set1_ps(32767.0F)));
}

ORVENTA_AVX2 inline void StoreFour(__m256 a, __m256 b, __m256 c, __m256 d, int16_t* out) {
  const __m256 ab =
      _mm256_add_ps(_mm256_permute2f128_ps(a, b, 0x20), _mm256_permute2f128_ps(a, b, 0x31));
  const __m256 cd =
      _mm256_add_ps(_mm256_permute2f128_ps(c, d, 0x20), _mm256_permute2f128_ps(c, d, 0x31));
  // Now a and c in the lower half, b and d in the upper.
  const __m256i samples =
      ToSamples(_mm256_add_ps(_mm256_shuffle_ps(ab, cd, 0x44), _mm256_shuffle_ps(ab, cd, 0xEE)));
  const __m128i acbd =
      _mm_packs_epi32(_mm256_castsi256_si128(samples), _mm256_extracti128_si256(samples, 1));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                   _mm_shuffle_epi32(acbd, _MM_SHUFFLE(3, 1, 2, 0)));
}

ORVENTA_AVX2 inline void StoreOne(__m256 sums, int16_t* out) {
  __m128 both = _mm_add_ps(_mm256_castps256_ps128(sums), _mm256_extractf128_ps(sums, 1));
  both = _mm_add_ps(both, _mm_movehl_ps(both, both));
  const __m128i samples = _mm256_castsi256_si128(ToSamples(_mm256_castps128_ps256(both)));
  const int frame = _mm_cvtsi128_si32(_mm_packs_epi32(samples, samples));
  std::memcpy(out, &frame, sizeof(frame));
}

}  // namespace

ORVENTA_AVX2 size_t resample::Avx2(ResampleRun& run, size_t most, int16_t* out) {
  if (run.frame_count < kResampleTaps) return 0;
  const auto end = static_cast<double>(run.frame_count - kTapsAfter);
  double position = run.position;
  size_t done = 0;
  const auto inside = [end](double at) { return at >= double{kTapsBefore} && at < end; };
  while (most - done >= 4) {
    const double second = position + run.step;
    const double third = second + run.step;
    const double fourth = third + run.step;
    if (!inside(position) || !inside(fourth)) break;
    StoreFour(SumFrame(PlaceOf(run, position)), SumFrame(PlaceOf(run, second)),
              SumFrame(PlaceOf(run, third)), SumFrame(PlaceOf(run, fourth)), out + 2 * done);
    position = fourth + run.step;
    done += 4;
  }
  for (; done < most && inside(position); ++done) {
    StoreOne(SumFrame(PlaceOf(run, position)), out + 2 * done);
    position += run.step;
  }
  run.position = position;
  return done;
}

}  // namespace orventa

#else

size_t orventa::resample::Avx2(ResampleRun& run, size_t most, int16_t* out) {
  return Portable(run, most, out);
}

#endif
