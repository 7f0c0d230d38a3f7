#include "encoders/lavc/planes.h"

#include <emmintrin.h>

#include <cstring>

namespace orventa {
namespace {

constexpr int kUnusedBits = 6;

__m128i Load(const uint8_t* from) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

void Store(uint8_t* to, __m128i value) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), value);
}

uint16_t LoadWord(const uint8_t* from) {
  uint16_t word = 0;
  std::memcpy(&word, from, sizeof(word));
  return word;
}

void StoreLowered(uint8_t* to, const uint8_t* from) {
  const auto word = static_cast<uint16_t>(LoadWord(from) >> kUnusedBits);
  std::memcpy(to, &word, sizeof(word));
}

void SplitRow8(const uint8_t* in, uint32_t pairs, uint8_t* first, uint8_t* second) {
  const __m128i low = _mm_set1_epi16(0xFF);
  uint32_t x = 0;
  for (; x + 16 <= pairs; x += 16) {
    const __m128i a = Load(in + size_t{x} * 2);
    const __m128i b = Load(in + size_t{x} * 2 + 16);
    Store(first + x, _mm_packus_epi16(_mm_and_si128(a, low), _mm_and_si128(b, low)));
    Store(second + x, _mm_packus_epi16(_mm_srli_epi16(a, 8), _mm_srli_epi16(b, 8)));
  }
  for (; x < pairs; ++x) {
    first[x] = in[size_t{x} * 2];
    second[x] = in[size_t{x} * 2 + 1];
  }
}

void SplitRow10(const uint8_t* in, uint32_t pairs, uint8_t* first, uint8_t* second) {
  const __m128i low = _mm_set1_epi32(0xFFFF);
  uint32_t x = 0;
  for (; x + 8 <= pairs; x += 8) {
    const __m128i a = _mm_srli_epi16(Load(in + size_t{x} * 4), kUnusedBits);
    const __m128i b = _mm_srli_epi16(Load(in + size_t{x} * 4 + 16), kUnusedBits);
    // Codes of 10 bits pass the signed pack unchanged.
    Store(first + size_t{x} * 2, _mm_packs_epi32(_mm_and_si128(a, low), _mm_and_si128(b, low)));
    Store(second + size_t{x} * 2, _mm_packs_epi32(_mm_srli_epi32(a, 16), _mm_srli_epi32(b, 16)));
  }
  for (; x < pairs; ++x) {
    StoreLowered(first + size_t{x} * 2, in + size_t{x} * 4);
    StoreLowered(second + size_t{x} * 2, in + size_t{x} * 4 + 2);
  }
}

void LowerRow(const uint8_t* in, uint32_t width, uint8_t* out) {
  uint32_t x = 0;
  for (; x + 8 <= width; x += 8) {
    Store(out + size_t{x} * 2, _mm_srli_epi16(Load(in + size_t{x} * 2), kUnusedBits));
  }
  for (; x < width; ++x) StoreLowered(out + size_t{x} * 2, in + size_t{x} * 2);
}

}  // namespace

void SplitChroma8(const PlaneView& chroma, uint32_t pairs, uint32_t rows, PlaneView first,
                  PlaneView second) {
  for (size_t y = 0; y < rows; ++y) {
    SplitRow8(chroma.data + y * chroma.stride, pairs, first.data + y * first.stride,
              second.data + y * second.stride);
  }
}

void SplitChroma10(const PlaneView& chroma, uint32_t pairs, uint32_t rows, PlaneView first,
                   PlaneView second) {
  for (size_t y = 0; y < rows; ++y) {
    SplitRow10(chroma.data + y * chroma.stride, pairs, first.data + y * first.stride,
               second.data + y * second.stride);
  }
}

void LowerTenBits(const PlaneView& plane, uint32_t width, uint32_t rows, PlaneView out) {
  for (size_t y = 0; y < rows; ++y) {
    LowerRow(plane.data + y * plane.stride, width, out.data + y * out.stride);
  }
}

}  // namespace orventa
