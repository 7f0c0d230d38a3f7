// The shaders of the conversion as the program carries them, and the sets of defines
// that they are compiled with. shaders/ has the text. Any thread.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orventa {

// Two HLSL files, one after the other.
extern const std::string_view kConvertShaderText;
constexpr std::string_view kConvertVertexEntry = "VertexMain";

enum class Plane { Luma, Chroma };
// Which transfer happens on the way: none, the tone mapping to SDR, or that to PQ.
enum class ShaderTransfer { None, Sdr, Hdr10 };

// One pixel shader of the conversion.
struct ConvertShader {
  Plane plane = Plane::Luma;
  ShaderTransfer transfer = ShaderTransfer::None;
  bool ten_bit = false;
  uint32_t taps = 1;  // an axis, 1 to kMostTaps

  auto operator<=>(const ConvertShader&) const = default;
};

struct ShaderDefine {
  std::string name;
  std::string value;
};

// `text` lives as long as the program does.
struct ShaderSource {
  std::string_view text;
  std::vector<ShaderDefine> defines;
  std::string entry;
  std::string profile;  // "ps_5_0"
};

ShaderSource SourceOf(const ConvertShader& shader);
ShaderSource ConvertVertexSource();

}  // namespace orventa
