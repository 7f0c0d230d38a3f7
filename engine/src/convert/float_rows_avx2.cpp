#include "convert/float_rows.h"

#if defined(__x86_64__)
#include <algorithm>
#include <cmath>

#include "convert/half.h"
#include "convert/math_avx2.h"

namespace orventa::float_rows {
namespace {

using avx2::Exp2;
using avx2::kNearestEven;
using avx2::Power;
using avx2::Splat;

struct Rgb8 {
  __m256 r;
  __m256 g;
  __m256 b;
};

ORVENTA_AVX2 inline __m256i LoadBits(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

ORVENTA_AVX2 inline __m256 Lerp(__m256 a, __m256 b, __m256 fraction) {
  return _mm256_fmadd_ps(_mm256_sub_ps(b, a), fraction, a);
}

ORVENTA_AVX2 inline __m256 Dot(const Rgb8& c, float r, float g, float b) {
  return _mm256_fmadd_ps(c.r, Splat(r),
                         _mm256_fmadd_ps(c.g, Splat(g), _mm256_mul_ps(c.b, Splat(b))));
}

ORVENTA_AVX2 inline __m256 Channel(__m256i bgra, int shift) {
  const __m256i byte = _mm256_and_si256(_mm256_srli_epi32(bgra, shift), _mm256_set1_epi32(0xFF));
  return _mm256_mul_ps(_mm256_cvtepi32_ps(byte), Splat(1.0F / 255.0F));
}

ORVENTA_AVX2 void LoadCodes(const uint8_t* bgra, size_t width, RowPlanes out) {
  size_t x = 0;
  for (; x + 8 <= width; x += 8) {
    const __m256i v = LoadBits(bgra + 4 * x);
    _mm256_storeu_ps(out.b + x, Channel(v, 0));
    _mm256_storeu_ps(out.g + x, Channel(v, 8));
    _mm256_storeu_ps(out.r + x, Channel(v, 16));
  }
  LoadCodesFrom(x, bgra, width, out);
}

// Eight halves of one channel, as SanitisedHalf has them.
ORVENTA_AVX2 inline __m256 Halves(__m128i halves) {
  const __m256 v = _mm256_cvtph_ps(halves);
  const __m256 number = _mm256_and_ps(v, _mm256_cmp_ps(v, v, _CMP_ORD_Q));
  return _mm256_max_ps(_mm256_min_ps(number, Splat(kLargestHalf)), Splat(-kLargestHalf));
}

ORVENTA_AVX2 void LoadHalves(const uint8_t* rgba, size_t width, RowPlanes out) {
  size_t x = 0;
  for (; x + 8 <= width; x += 8) {
    const auto* from = reinterpret_cast<const __m128i*>(rgba + 8 * x);
    const __m128i p01 = _mm_loadu_si128(from);
    const __m128i p23 = _mm_loadu_si128(from + 1);
    const __m128i p45 = _mm_loadu_si128(from + 2);
    const __m128i p67 = _mm_loadu_si128(from + 3);
    const __m128i p02 = _mm_unpacklo_epi16(p01, p23);  // r0 r2 g0 g2 b0 b2 a0 a2
    const __m128i p13 = _mm_unpackhi_epi16(p01, p23);
    const __m128i p46 = _mm_unpacklo_epi16(p45, p67);
    const __m128i p57 = _mm_unpackhi_epi16(p45, p67);
    const __m128i rg03 = _mm_unpacklo_epi16(p02, p13);  // r0 r1 r2 r3 g0 g1 g2 g3
    const __m128i ba03 = _mm_unpackhi_epi16(p02, p13);
    const __m128i rg47 = _mm_unpacklo_epi16(p46, p57);
    const __m128i ba47 = _mm_unpackhi_epi16(p46, p57);
    _mm256_storeu_ps(out.r + x, Halves(_mm_unpacklo_epi64(rg03, rg47)));
    _mm256_storeu_ps(out.g + x, Halves(_mm_unpackhi_epi64(rg03, rg47)));
    _mm256_storeu_ps(out.b + x, Halves(_mm_unpacklo_epi64(ba03, ba47)));
  }
  LoadHalvesFrom(x, rgba, width, out);
}

ORVENTA_AVX2 void Blend(const float* a, const float* b, float fraction, size_t width, float* out) {
  const __m256 weight = Splat(fraction);
  for (size_t x = 0; x < width; x += 8) {
    _mm256_storeu_ps(out + x, Lerp(_mm256_loadu_ps(a + x), _mm256_loadu_ps(b + x), weight));
  }
}

ORVENTA_AVX2 inline Rgb8 RollOff(const Rgb8& c, const Tone& tone) {
  const __m256 most = _mm256_max_ps(c.r, _mm256_max_ps(c.g, c.b));
  const __m256 knee = Splat(tone.knee);
  const __m256 above = _mm256_cmp_ps(most, knee, _CMP_GT_OQ);
  if (_mm256_movemask_ps(above) == 0) return c;
  const __m256 over = _mm256_min_ps(
      _mm256_div_ps(_mm256_sub_ps(most, knee), Splat(std::max(tone.peak - tone.knee, 0.01F))),
      Splat(1.0F));
  constexpr float kMinus3InOctaves = -4.32808512F;  // -3 / ln 2
  const float range = (1.0F - tone.knee) / (1.0F - std::exp(-3.0F));
  const __m256 inside = _mm256_max_ps(over, _mm256_setzero_ps());
  const __m256 rest =
      _mm256_sub_ps(Splat(1.0F), Exp2(_mm256_mul_ps(inside, Splat(kMinus3InOctaves))));
  const __m256 rolled = _mm256_fmadd_ps(rest, Splat(range), knee);
  const __m256 factor = _mm256_blendv_ps(Splat(1.0F), _mm256_div_ps(rolled, most), above);
  return {_mm256_mul_ps(c.r, factor), _mm256_mul_ps(c.g, factor), _mm256_mul_ps(c.b, factor)};
}

// A run of fetched taps on its way through a shade. The curves go over it in loops
// of their own: a curve is a long chain of dependent steps, and only where a turn of
// the loop is short does the processor work on several turns at once.
constexpr size_t kRun = 64;
struct Run {
  float r[kRun];
  float g[kRun];
  float b[kRun];
};

template <class Curve>
ORVENTA_AVX2 inline void Apply(const Curve& curve, Run& run) {
  for (float* channel : {run.r, run.g, run.b}) {
    for (size_t x = 0; x < kRun; x += 8) {
      _mm256_storeu_ps(channel + x, curve(_mm256_loadu_ps(channel + x)));
    }
  }
}

struct SrgbCurve {
  ORVENTA_AVX2 __m256 operator()(__m256 light) const {
    const __m256 end = Splat(kSrgbLinearEnd);
    const __m256 curve = _mm256_fmsub_ps(Power(_mm256_max_ps(light, end), 1.0F / 2.4F),
                                         Splat(1.055F), Splat(0.055F));
    const __m256 straight = _mm256_mul_ps(light, Splat(kSrgbLinearSlope));
    return _mm256_blendv_ps(curve, straight, _mm256_cmp_ps(light, end, _CMP_LE_OQ));
  }
};

struct SnapCurve {
  float snap;
  ORVENTA_AVX2 __m256 operator()(__m256 code) const {
    const __m256 rounded = _mm256_round_ps(_mm256_mul_ps(code, Splat(snap)), kNearestEven);
    return _mm256_mul_ps(rounded, Splat(1.0F / snap));
  }
};

// PQ in two steps, of light as a part of full scale.
struct PqFirst {
  ORVENTA_AVX2 __m256 operator()(__m256 light) const {
    constexpr float kDarkest = 1e-30F;  // a millionth of a code, and still a normal float
    return Power(_mm256_min_ps(_mm256_max_ps(light, Splat(kDarkest)), Splat(1.0F)), kPqM1);
  }
};
struct PqSecond {
  ORVENTA_AVX2 __m256 operator()(__m256 y) const {
    return Power(_mm256_div_ps(_mm256_fmadd_ps(y, Splat(kPqC2), Splat(kPqC1)),
                               _mm256_fmadd_ps(y, Splat(kPqC3), Splat(1.0F))),
                 kPqM2);
  }
};

// A shade in two parts: what mixes the channels of a tap, then its curves.
struct ShadeCodes {
  ORVENTA_AVX2 Rgb8 Mix(const Rgb8& c) const { return c; }
  ORVENTA_AVX2 void Bend(Run&) const {}
};

struct ShadeHdr10 {
  // The columns of the matrix are what it makes of the pure colours, here with the
  // step to full scale in it.
  static constexpr float kScale = kScrgbUnitNits / kPqFullScaleNits;
  Rgb r = Bt709ToBt2020({kScale, 0, 0});
  Rgb g = Bt709ToBt2020({0, kScale, 0});
  Rgb b = Bt709ToBt2020({0, 0, kScale});

  ORVENTA_AVX2 Rgb8 Mix(const Rgb8& c) const {
    return {Dot(c, r.r, g.r, b.r), Dot(c, r.g, g.g, b.g), Dot(c, r.b, g.b, b.b)};
  }
  ORVENTA_AVX2 void Bend(Run& run) const {
    Apply(PqFirst{}, run);
    Apply(PqSecond{}, run);
  }
};

struct ShadeSdr {
  const Tone& tone;

  ORVENTA_AVX2 __m256 Relative(__m256 light) const {
    return _mm256_max_ps(_mm256_mul_ps(light, Splat(1.0F / tone.sdr_white)), _mm256_setzero_ps());
  }
  ORVENTA_AVX2 Rgb8 Mix(const Rgb8& c) const {
    return RollOff({Relative(c.r), Relative(c.g), Relative(c.b)}, tone);
  }
  ORVENTA_AVX2 void Bend(Run& run) const {
    Apply(SrgbCurve{}, run);
    if (tone.snap > 0) Apply(SnapCurve{tone.snap}, run);
  }
};

ORVENTA_AVX2 inline __m128 TexelPairs(const float* row, int32_t first, int32_t second) {
  const auto* a = reinterpret_cast<const __m64*>(row + first);
  const auto* b = reinterpret_cast<const __m64*>(row + second);
  return _mm_loadh_pi(_mm_loadl_pi(_mm_setzero_ps(), a), b);
}

// Both texels of a tap by one 64-bit load.
ORVENTA_AVX2 inline __m256 Sample(const float* row, const int32_t* first, __m256 fraction) {
  const __m256 a =
      _mm256_set_m128(TexelPairs(row, first[4], first[5]), TexelPairs(row, first[0], first[1]));
  const __m256 b =
      _mm256_set_m128(TexelPairs(row, first[6], first[7]), TexelPairs(row, first[2], first[3]));
  return Lerp(_mm256_shuffle_ps(a, b, 0x88), _mm256_shuffle_ps(a, b, 0xDD), fraction);
}

ORVENTA_AVX2 inline Rgb8 Fetch(const RowPlanes& row, const TapColumns& columns, size_t x) {
  if (columns.direct) {
    const size_t at = static_cast<size_t>(columns.first[0]) + x;
    return {_mm256_loadu_ps(row.r + at), _mm256_loadu_ps(row.g + at), _mm256_loadu_ps(row.b + at)};
  }
  const int32_t* first = columns.first + x;
  const __m256 fraction = _mm256_loadu_ps(columns.fraction + x);
  return {Sample(row.r, first, fraction), Sample(row.g, first, fraction),
          Sample(row.b, first, fraction)};
}

ORVENTA_AVX2 inline void Add(float* sums, const float* values) {
  _mm256_storeu_ps(sums, _mm256_add_ps(_mm256_loadu_ps(sums), _mm256_loadu_ps(values)));
}

template <class Shader>
ORVENTA_AVX2 void AddTapWith(const RowPlanes& row, const TapColumns& columns, const Shader& shader,
                             const RowPlanes& sums) {
  Run run{};
  for (size_t start = 0; start < columns.count; start += kRun) {
    const size_t length = std::min(kRun, columns.count - start);
    for (size_t x = 0; x < length; x += 8) {
      const Rgb8 c = shader.Mix(Fetch(row, columns, start + x));
      _mm256_storeu_ps(run.r + x, c.r);
      _mm256_storeu_ps(run.g + x, c.g);
      _mm256_storeu_ps(run.b + x, c.b);
    }
    shader.Bend(run);
    for (size_t x = 0; x < length; x += 8) {
      Add(sums.r + start + x, run.r + x);
      Add(sums.g + start + x, run.g + x);
      Add(sums.b + start + x, run.b + x);
    }
  }
}

void AddTap(RowPlanes row, const TapColumns& columns, Shade shade, const Tone& tone,
            RowPlanes sums) {
  switch (shade) {
    case Shade::Codes: return AddTapWith(row, columns, ShadeCodes{}, sums);
    case Shade::Hdr10: return AddTapWith(row, columns, ShadeHdr10{}, sums);
    case Shade::Sdr: return AddTapWith(row, columns, ShadeSdr{tone}, sums);
  }
}

// A line from a sum of colours to a code: dot product, then offset.
struct Coder {
  float r;
  float g;
  float b;
  float offset;
};

Coder MakeCoder(float r, float g, float b, float scale, float codes, float offset) {
  return {r * scale * codes, g * scale * codes, b * scale * codes, offset};
}

Coder LumaCoder(Primaries primaries, float scale, bool ten_bit) {
  return MakeCoder(Luma({1, 0, 0}, primaries), Luma({0, 1, 0}, primaries),
                   Luma({0, 0, 1}, primaries), scale, ten_bit ? kCodesLuma10 : kCodesLuma8,
                   ten_bit ? kBlackLuma10 : kBlackLuma8);
}

struct ChromaCoders {
  Coder cb;
  Coder cr;
};

ChromaCoders MakeChromaCoders(Primaries primaries, float scale, bool ten_bit) {
  const Chroma r = ToChroma({1, 0, 0}, primaries);
  const Chroma g = ToChroma({0, 1, 0}, primaries);
  const Chroma b = ToChroma({0, 0, 1}, primaries);
  const float codes = ten_bit ? kCodesChroma10 : kCodesChroma8;
  const float middle = ten_bit ? kNoChroma10 : kNoChroma8;
  return {MakeCoder(r.cb, g.cb, b.cb, scale, codes, middle),
          MakeCoder(r.cr, g.cr, b.cr, scale, codes, middle)};
}

ORVENTA_AVX2 inline __m256 Codes(const RowPlanes& sums, size_t x, const Coder& coder) {
  const Rgb8 c = {_mm256_loadu_ps(sums.r + x), _mm256_loadu_ps(sums.g + x),
                  _mm256_loadu_ps(sums.b + x)};
  return _mm256_fmadd_ps(
      c.r, Splat(coder.r),
      _mm256_fmadd_ps(c.g, Splat(coder.g),
                      _mm256_fmadd_ps(c.b, Splat(coder.b), Splat(coder.offset))));
}

// Rounding as RoundCode8 and RoundCode10 do.
ORVENTA_AVX2 inline __m256i Rounded(__m256 codes, bool ten_bit) {
  const __m256 inside = _mm256_max_ps(codes, _mm256_setzero_ps());
  if (ten_bit) {
    return _mm256_slli_epi32(_mm256_cvtps_epi32(_mm256_min_ps(inside, Splat(1023.0F))), kP010Shift);
  }
  return _mm256_cvttps_epi32(_mm256_add_ps(_mm256_min_ps(inside, Splat(255.0F)), Splat(0.5F)));
}

// Sixteen words in order, as words or as bytes.
ORVENTA_AVX2 inline void StoreWords(__m256i words, bool ten_bit, uint8_t* out) {
  if (ten_bit) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), words);
    return;
  }
  const __m128i bytes =
      _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes);
}

ORVENTA_AVX2 void WriteLuma(RowPlanes sums, float scale, size_t count, Primaries primaries,
                            bool ten_bit, uint8_t* out) {
  const Coder coder = LumaCoder(primaries, scale, ten_bit);
  size_t x = 0;
  for (; x + 16 <= count; x += 16) {
    const __m256i words = _mm256_packus_epi32(Rounded(Codes(sums, x, coder), ten_bit),
                                              Rounded(Codes(sums, x + 8, coder), ten_bit));
    StoreWords(_mm256_permute4x64_epi64(words, _MM_SHUFFLE(3, 1, 2, 0)), ten_bit,
               out + x * (ten_bit ? 2 : 1));
  }
  WriteLumaFrom(x, sums, scale, count, primaries, ten_bit, out);
}

ORVENTA_AVX2 void WriteChroma(RowPlanes sums, float scale, size_t count, Primaries primaries,
                              bool ten_bit, uint8_t* out) {
  const ChromaCoders coders = MakeChromaCoders(primaries, scale, ten_bit);
  size_t x = 0;
  for (; x + 8 <= count; x += 8) {
    const __m256i cb = Rounded(Codes(sums, x, coders.cb), ten_bit);
    const __m256i cr = Rounded(Codes(sums, x, coders.cr), ten_bit);
    StoreWords(_mm256_or_si256(cb, _mm256_slli_epi32(cr, 16)), ten_bit,
               out + 2 * x * (ten_bit ? 2 : 1));
  }
  WriteChromaFrom(x, sums, scale, count, primaries, ten_bit, out);
}

}  // namespace

const FloatRowKernels& Avx2() {
  static constexpr FloatRowKernels kKernels = {LoadCodes, LoadHalves, Blend,
                                               AddTap,    WriteLuma,  WriteChroma};
  return kKernels;
}

}  // namespace orventa::float_rows

#else

namespace orventa::float_rows {

const FloatRowKernels& Avx2() {
  return Portable();
}

}  // namespace orventa::float_rows

#endif
