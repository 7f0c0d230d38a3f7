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

// Sums of left and right in turn to one frame of 16 bits.
ORVENTA_AVX2 inline void StoreFrame(__m256 sums, int16_t* out) {
  __m128 both = _mm_add_ps(_mm256_castps256_ps128(sums), _mm256_extractf128_ps(sums, 1));
  both = _mm_add_ps(both, _mm_movehl_ps(both, both));
  both = _mm_min_ps(_mm_max_ps(both, _mm_set1_ps(-1.0F)), _mm_set1_ps(1.0F));
  const __m128i rounded = _mm_cvtps_epi32(_mm_mul_ps(both, _mm_set1_ps(32767.0F)));
  const int frame = _mm_cvtsi128_si32(_mm_packs_epi32(rounded, rounded));
  std::memcpy(out, &frame, sizeof(frame));
}

}  // namespace

ORVENTA_AVX2 size_t resample::Avx2(ResampleRun& run, size_t most, int16_t* out) {
  if (run.frame_count < kResampleTaps) return 0;
  const auto end = static_cast<double>(run.frame_count - kTapsAfter);
  double position = run.position;
  size_t done = 0;
  for (; done < most && position >= double{kTapsBefore} && position < end; ++done) {
    const auto whole = static_cast<int64_t>(position);
    const double phase = (position - static_cast<double>(whole)) * double{kResamplePhases};
    const int64_t row = std::min(static_cast<int64_t>(phase), int64_t{kResamplePhases} - 1);
    const __m256 blend = _mm256_set1_ps(static_cast<float>(phase - static_cast<double>(row)));
    const float* const near = run.rows[row].taps.data();
    const float* const far = run.rows[row + 1].taps.data();
    const float* const frames = run.frames + 2 * (whole - int64_t{kTapsBefore});
    __m256 low = _mm256_setzero_ps();
    __m256 high = _mm256_setzero_ps();
    for (size_t j = 0; j < kResampleTaps; j += 8) {
      AddEight(near + j, far + j, blend, frames + 2 * j, low, high);
    }
    StoreFrame(_mm256_add_ps(low, high), out + 2 * done);
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
