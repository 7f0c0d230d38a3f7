#include "convert/code_rows.h"

#if defined(__x86_64__)
#include <immintrin.h>

#include <cstring>

#define ORVENTA_AVX2 __attribute__((target("avx2")))

namespace orventa::code_rows {
namespace {

// 16-bit words of a BGRA pixel, by pairs of 32 bits: (b, r) and (g, a). pmaddwd then
// does a pixel's dot product in two steps without shuffling channels apart.
struct Pixels {
  __m256i br;
  __m256i ga;
};

constexpr uint32_t Pair(int16_t low, int16_t high) {
  return static_cast<uint16_t>(low) | static_cast<uint32_t>(static_cast<uint16_t>(high)) << 16;
}
constexpr int PairBr(const Weights& w) {
  return static_cast<int>(Pair(w.b, w.r));
}
constexpr int PairGa(const Weights& w) {
  return static_cast<int>(Pair(w.g, 0));
}

ORVENTA_AVX2 inline __m256i Load(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}
ORVENTA_AVX2 inline void Store(void* to, __m256i value) {
  _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}

ORVENTA_AVX2 inline Pixels LoadPixels(const uint8_t* bgra) {
  const __m256i v = Load(bgra);
  return {_mm256_and_si256(v, _mm256_set1_epi16(0x00FF)), _mm256_srli_epi16(v, 8)};
}

ORVENTA_AVX2 inline __m256i Dot(const Pixels& p, const Weights& w, int32_t bias) {
  const __m256i sum = _mm256_add_epi32(_mm256_madd_epi16(p.br, _mm256_set1_epi32(PairBr(w))),
                                       _mm256_madd_epi16(p.ga, _mm256_set1_epi32(PairGa(w))));
  return _mm256_add_epi32(sum, _mm256_set1_epi32(bias));
}

ORVENTA_AVX2 inline __m256i LumaCodes(const Pixels& p) {
  return _mm256_srli_epi32(Dot(p, kLuma, kLumaBias), kLumaBits);
}

// Four times eight 32-bit values to 32 bytes in order.
ORVENTA_AVX2 inline __m256i PackBytes(__m256i a, __m256i b, __m256i c, __m256i d) {
  const __m256i bytes = _mm256_packus_epi16(_mm256_packs_epi32(a, b), _mm256_packs_epi32(c, d));
  return _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

ORVENTA_AVX2 inline __m256i AddPairs(__m256i a, __m256i b) {
  const __m256 x = _mm256_castsi256_ps(a);
  const __m256 y = _mm256_castsi256_ps(b);
  return _mm256_add_epi16(_mm256_castps_si256(_mm256_shuffle_ps(x, y, 0x88)),
                          _mm256_castps_si256(_mm256_shuffle_ps(x, y, 0xDD)));
}

// Sums of four pixels: columns 0-7 in `a`, 8-15 in `b`. The order of the eight sites
// is 0 1 4 5 2 3 6 7.
ORVENTA_AVX2 inline Pixels SumsOfFour(const Pixels& upper_a, const Pixels& lower_a,
                                      const Pixels& upper_b, const Pixels& lower_b) {
  return {
      AddPairs(_mm256_add_epi16(upper_a.br, lower_a.br), _mm256_add_epi16(upper_b.br, lower_b.br)),
      AddPairs(_mm256_add_epi16(upper_a.ga, lower_a.ga), _mm256_add_epi16(upper_b.ga, lower_b.ga))};
}

// A site a 32-bit value: Cb in the low word, Cr in the high one.
ORVENTA_AVX2 inline __m256i ChromaCodes(const Pixels& sums) {
  const __m256i cb = _mm256_srli_epi32(Dot(sums, kCb, kChromaSumBias), kChromaBits + 2);
  const __m256i cr = _mm256_srli_epi32(Dot(sums, kCr, kChromaSumBias), kChromaBits + 2);
  return _mm256_or_si256(cb, _mm256_slli_epi32(cr, 16));
}

ORVENTA_AVX2 void Direct(const uint8_t* upper, const uint8_t* lower, size_t width,
                         uint8_t* luma_upper, uint8_t* luma_lower, uint8_t* chroma) {
  // Sites 0 1 4 5 | 2 3 6 7 and, from the second half, 8 9 12 13 | 10 11 14 15, packed
  // lane by lane: in pairs of sites (32 bits) 0 2 4 6 | 1 3 5 7.
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  size_t x = 0;
  for (; x + 32 <= width; x += 32) {
    const uint8_t* above = upper + 4 * x;
    const uint8_t* below = lower + 4 * x;
    const Pixels a0 = LoadPixels(above);
    const Pixels a1 = LoadPixels(above + 32);
    const Pixels a2 = LoadPixels(above + 64);
    const Pixels a3 = LoadPixels(above + 96);
    Store(luma_upper + x, PackBytes(LumaCodes(a0), LumaCodes(a1), LumaCodes(a2), LumaCodes(a3)));
    const Pixels b0 = LoadPixels(below);
    const Pixels b1 = LoadPixels(below + 32);
    const Pixels b2 = LoadPixels(below + 64);
    const Pixels b3 = LoadPixels(below + 96);
    Store(luma_lower + x, PackBytes(LumaCodes(b0), LumaCodes(b1), LumaCodes(b2), LumaCodes(b3)));
    const __m256i first = ChromaCodes(SumsOfFour(a0, b0, a1, b1));
    const __m256i second = ChromaCodes(SumsOfFour(a2, b2, a3, b3));
    Store(chroma + x, _mm256_permutevar8x32_epi32(_mm256_packus_epi16(first, second), order));
  }
  DirectFrom(x, upper, lower, width, luma_upper, luma_lower, chroma);
}

// Eight plus eight 32-bit values to 16 words in order.
ORVENTA_AVX2 inline __m256i PackWords(__m256i a, __m256i b) {
  return _mm256_permute4x64_epi64(_mm256_packs_epi32(a, b), _MM_SHUFFLE(3, 1, 2, 0));
}

ORVENTA_AVX2 inline __m256i PlaneWords(const Pixels& a, const Pixels& b, const Weights& w,
                                       int32_t bias, int shift) {
  return PackWords(_mm256_srai_epi32(Dot(a, w, bias), shift),
                   _mm256_srai_epi32(Dot(b, w, bias), shift));
}

ORVENTA_AVX2 void Split(const uint8_t* bgra, size_t width, int16_t* y, int16_t* cb, int16_t* cr) {
  size_t x = 0;
  for (; x + 16 <= width; x += 16) {
    const Pixels a = LoadPixels(bgra + 4 * x);
    const Pixels b = LoadPixels(bgra + 4 * x + 32);
    Store(y + x, PlaneWords(a, b, kLuma, kLumaPlaneBias, kLumaPlaneShift));
    Store(cb + x, PlaneWords(a, b, kCb, kChromaPlaneBias, kChromaPlaneShift));
    Store(cr + x, PlaneWords(a, b, kCr, kChromaPlaneBias, kChromaPlaneShift));
  }
  SplitFrom(x, bgra, width, y, cb, cr);
}

// Rows by pairs: the words of two rows side by side, times a pair of weights.
ORVENTA_AVX2 void BlendRows(const int16_t* const* rows, const int16_t* weights, size_t row_count,
                            size_t width, int16_t* out) {
  for (size_t x = 0; x < width; x += 16) {
    __m256i low = _mm256_set1_epi32(Half(kWeightBits));
    __m256i high = low;
    for (size_t i = 0; i < row_count; i += 2) {
      const __m256i a = Load(rows[i] + x);
      const __m256i b = Load(rows[i + 1] + x);
      const __m256i pair = _mm256_set1_epi32(static_cast<int>(Pair(weights[i], weights[i + 1])));
      low = _mm256_add_epi32(low, _mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), pair));
      high = _mm256_add_epi32(high, _mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), pair));
    }
    Store(out + x, _mm256_packs_epi32(_mm256_srai_epi32(low, kWeightBits),
                                      _mm256_srai_epi32(high, kWeightBits)));
  }
}

// Both texels of a tap by one 32-bit load. Not by a gather instruction, which many
// processors slow down to a third of this, to guard it against side channels.
ORVENTA_AVX2 inline int TexelPair(const int16_t* row, int32_t first) {
  int pair = 0;
  std::memcpy(&pair, row + first, sizeof(pair));
  return pair;
}

ORVENTA_AVX2 inline __m256i TexelPairs(const int16_t* row, const int32_t* first) {
  return _mm256_setr_epi32(TexelPair(row, first[0]), TexelPair(row, first[1]),
                           TexelPair(row, first[2]), TexelPair(row, first[3]),
                           TexelPair(row, first[4]), TexelPair(row, first[5]),
                           TexelPair(row, first[6]), TexelPair(row, first[7]));
}

ORVENTA_AVX2 inline __m256i ColumnCodes(const int16_t* row, const ColumnBlend& columns, size_t x) {
  __m256i sum = _mm256_set1_epi32(Half(kColumnShift));
  for (size_t at = x; at < columns.taps * columns.stride; at += columns.stride) {
    const __m256i texels = TexelPairs(row, columns.first + at);
    sum = _mm256_add_epi32(sum, _mm256_madd_epi16(texels, Load(columns.weights + at)));
  }
  return _mm256_srai_epi32(sum, kColumnShift);
}

ORVENTA_AVX2 void LumaColumns(const int16_t* y, const ColumnBlend& columns, uint8_t* luma) {
  size_t x = 0;
  for (; x + 32 <= columns.count; x += 32) {
    Store(luma + x, PackBytes(ColumnCodes(y, columns, x), ColumnCodes(y, columns, x + 8),
                              ColumnCodes(y, columns, x + 16), ColumnCodes(y, columns, x + 24)));
  }
  LumaColumnsFrom(x, y, columns, luma);
}

ORVENTA_AVX2 inline __m256i ChromaColumnCodes(const int16_t* cb, const int16_t* cr,
                                              const ColumnBlend& columns, size_t x) {
  return _mm256_or_si256(ColumnCodes(cb, columns, x),
                         _mm256_slli_epi32(ColumnCodes(cr, columns, x), 16));
}

ORVENTA_AVX2 void ChromaColumns(const int16_t* cb, const int16_t* cr, const ColumnBlend& columns,
                                uint8_t* chroma) {
  size_t x = 0;
  for (; x + 16 <= columns.count; x += 16) {
    const __m256i bytes = _mm256_packus_epi16(ChromaColumnCodes(cb, cr, columns, x),
                                              ChromaColumnCodes(cb, cr, columns, x + 8));
    Store(chroma + 2 * x, _mm256_permute4x64_epi64(bytes, _MM_SHUFFLE(3, 1, 2, 0)));
  }
  ChromaColumnsFrom(x, cb, cr, columns, chroma);
}

}  // namespace

const CodeRowKernels& Avx2() {
  static constexpr CodeRowKernels kKernels = {Direct, Split, BlendRows, LumaColumns, ChromaColumns};
  return kKernels;
}

}  // namespace orventa::code_rows

#else

namespace orventa::code_rows {

const CodeRowKernels& Avx2() {
  return Portable();
}

}  // namespace orventa::code_rows

#endif
