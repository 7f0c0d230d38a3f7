// Powers of eight floats at a time, without tables: processors that guard their
// gathers against side channels read tables at a third of the speed of plain loads.
// Included only where AVX2 is built for; call only where it runs.
#pragma once

#if defined(__x86_64__)
#include <immintrin.h>

#define ORVENTA_AVX2 __attribute__((target("avx2,fma,f16c")))

namespace orventa::avx2 {

constexpr int kNearestEven = _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC;

ORVENTA_AVX2 inline __m256 Splat(float value) {
  return _mm256_set1_ps(value);
}

// For normal positive floats, to 2e-7 of the result or of 1. With m in [sqrt(1/2),
// sqrt(2)) and s = (m - 1) / (m + 1), ln m = 2 (s + s^3/3 + s^5/5 + ...).
ORVENTA_AVX2 inline __m256 Log2(__m256 x) {
  constexpr float kPerLn2 = 2.88539008F;  // 2 / ln 2
  const __m256i root_half = _mm256_set1_epi32(0x3F3504F3);
  const __m256i bits = _mm256_sub_epi32(_mm256_castps_si256(x), root_half);
  const __m256 exponent = _mm256_cvtepi32_ps(_mm256_srai_epi32(bits, 23));
  const __m256 m = _mm256_castsi256_ps(
      _mm256_add_epi32(_mm256_and_si256(bits, _mm256_set1_epi32(0x007FFFFF)), root_half));
  const __m256 s = _mm256_div_ps(_mm256_sub_ps(m, Splat(1.0F)), _mm256_add_ps(m, Splat(1.0F)));
  const __m256 square = _mm256_mul_ps(s, s);
  __m256 series = Splat(kPerLn2 / 9);
  series = _mm256_fmadd_ps(series, square, Splat(kPerLn2 / 7));
  series = _mm256_fmadd_ps(series, square, Splat(kPerLn2 / 5));
  series = _mm256_fmadd_ps(series, square, Splat(kPerLn2 / 3));
  series = _mm256_fmadd_ps(series, square, Splat(kPerLn2));
  return _mm256_fmadd_ps(series, s, exponent);
}

// For -126 to 127, to 3e-7 of the result: a power of two times a short series of e.
ORVENTA_AVX2 inline __m256 Exp2(__m256 x) {
  const __m256 whole = _mm256_round_ps(x, kNearestEven);
  const __m256 rest = _mm256_mul_ps(_mm256_sub_ps(x, whole), Splat(0.693147181F));
  __m256 series = Splat(1.0F / 720);
  series = _mm256_fmadd_ps(series, rest, Splat(1.0F / 120));
  series = _mm256_fmadd_ps(series, rest, Splat(1.0F / 24));
  series = _mm256_fmadd_ps(series, rest, Splat(1.0F / 6));
  series = _mm256_fmadd_ps(series, rest, Splat(0.5F));
  series = _mm256_fmadd_ps(series, rest, Splat(1.0F));
  series = _mm256_fmadd_ps(series, rest, Splat(1.0F));
  const __m256i power = _mm256_slli_epi32(_mm256_cvtps_epi32(whole), 23);
  return _mm256_castsi256_ps(_mm256_add_epi32(_mm256_castps_si256(series), power));
}

ORVENTA_AVX2 inline __m256 Power(__m256 x, float exponent) {
  return Exp2(_mm256_mul_ps(Log2(x), Splat(exponent)));
}

}  // namespace orventa::avx2

#endif
