// Captured pictures to the planes of NV12 and P010, a plane a draw. Comes after
// colour.hlsl. Defines: ORVENTA_HDR (scRGB to SDR) or ORVENTA_HDR10 (scRGB to PQ), or
// neither for 8-bit codes; ORVENTA_TEN_BIT (P010); ORVENTA_TAPS (1 to 4 an axis).

Texture2D picture : register(t0);
SamplerState edge : register(s0);  // bilinear, clamped

void VertexMain(uint id : SV_VertexID, out float4 position : SV_Position,
                out float2 uv : TEXCOORD0) {
  uv = float2((id << 1) & 2, id & 2);
  position = float4(uv * float2(2.0, -2.0) + float2(-1.0, 1.0), 0.0, 1.0);
}

float2 Source(float2 uv) {
  return uv_origin + uv * uv_scale;
}

float3 Transform(float3 c) {
#if defined(ORVENTA_HDR10)
  return ScrgbToHdr10(c);
#elif defined(ORVENTA_HDR)
  return ScrgbToSdr(c);
#else
  return c;
#endif
}

// The tone mapping happens per tap, so that the average is of the picture as written.
float3 Tap(float2 start, float2 extent, float2 number) {
  float2 at = start + extent * (number + 0.5) / ORVENTA_TAPS;
  return Transform(picture.Sample(edge, at).rgb);
}

#if ORVENTA_TAPS == 1
float3 Row(float2 start, float2 extent, float j) {
  return Tap(start, extent, float2(0, j));
}
float3 Rows(float2 start, float2 extent) {
  return Row(start, extent, 0);
}
#elif ORVENTA_TAPS == 2
float3 Row(float2 start, float2 extent, float j) {
  return Tap(start, extent, float2(0, j)) + Tap(start, extent, float2(1, j));
}
float3 Rows(float2 start, float2 extent) {
  return Row(start, extent, 0) + Row(start, extent, 1);
}
#elif ORVENTA_TAPS == 3
float3 Row(float2 start, float2 extent, float j) {
  return Tap(start, extent, float2(0, j)) + Tap(start, extent, float2(1, j)) +
         Tap(start, extent, float2(2, j));
}
float3 Rows(float2 start, float2 extent) {
  return Row(start, extent, 0) + Row(start, extent, 1) + Row(start, extent, 2);
}
#else
float3 Row(float2 start, float2 extent, float j) {
  return Tap(start, extent, float2(0, j)) + Tap(start, extent, float2(1, j)) +
         Tap(start, extent, float2(2, j)) + Tap(start, extent, float2(3, j));
}
float3 Rows(float2 start, float2 extent) {
  return Row(start, extent, 0) + Row(start, extent, 1) + Row(start, extent, 2) +
         Row(start, extent, 3);
}
#endif

float3 Box(float2 middle, float2 extent) {
  return Rows(middle - extent * 0.5, extent) / (ORVENTA_TAPS * ORVENTA_TAPS);
}

float Luma(float3 c) {
#if defined(ORVENTA_HDR10)
  return dot(c, float3(0.2627, 0.6780, 0.0593));
#else
  return dot(c, float3(0.2126, 0.7152, 0.0722));
#endif
}

float2 Chroma(float3 c) {
#if defined(ORVENTA_HDR10)
  float y = Luma(c);
  return float2((c.b - y) / 1.8814, (c.r - y) / 1.4746);
#else
  return float2(dot(c, float3(-0.1146, -0.3854, 0.5)), dot(c, float3(0.5, -0.4542, -0.0458)));
#endif
}

// Studio swing. P010 keeps its code in the top of the word: rounded to the code first,
// since the word's own rounding would leave six bits that the plane then drops.
float LumaMain(float4 position : SV_Position, float2 uv : TEXCOORD0) : SV_Target {
  float y = Luma(Box(Source(uv), footprint));
#if defined(ORVENTA_TEN_BIT)
  return round(64.0 + 876.0 * y) * (64.0 / 65535.0);
#else
  return (16.0 + 219.0 * y) / 255.0;
#endif
}

float2 ChromaMain(float4 position : SV_Position, float2 uv : TEXCOORD0) : SV_Target {
  float2 c = Chroma(Box(Source(uv), footprint * 2.0));
#if defined(ORVENTA_TEN_BIT)
  return round(512.0 + 896.0 * c) * (64.0 / 65535.0);
#else
  return (128.0 + 224.0 * c) / 255.0;
#endif
}
