#include "convert/convert_shaders.h"

namespace orventa {
namespace {

constexpr char kTaps[] = "ORVENTA_TAPS";

}  // namespace

ShaderSource SourceOf(const ConvertShader& shader) {
  ShaderSource source;
  source.text = kConvertShaderText;
  source.entry = shader.plane == Plane::Luma ? "LumaMain" : "ChromaMain";
  source.profile = "ps_5_0";
  if (shader.transfer == ShaderTransfer::Sdr) source.defines.push_back({"ORVENTA_HDR", "1"});
  if (shader.transfer == ShaderTransfer::Hdr10) source.defines.push_back({"ORVENTA_HDR10", "1"});
  if (shader.ten_bit) source.defines.push_back({"ORVENTA_TEN_BIT", "1"});
  source.defines.push_back({kTaps, std::to_string(shader.taps)});
  return source;
}

ShaderSource ConvertVertexSource() {
  return {kConvertShaderText, {{kTaps, "1"}}, std::string(kConvertVertexEntry), "vs_5_0"};
}

}  // namespace orventa
