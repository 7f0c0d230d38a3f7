// Light and codes: primaries, transfer curves and the roll-off, step by step as
// engine/src/convert/colour.h does them. Functions are straight lines without branches
// and loops: the tests run them through Wine's compiler, too, which knows neither.

// A constant buffer; the order is that of `Tone` in colour.h.
cbuffer Tone : register(b0) {
  float sdr_white;  // scRGB value of SDR white
  float peak;       // display peak, as a multiple of SDR white
  float knee;       // below this nothing is touched
  float snap;       // content drawn in SDR: its code count less one; else 0
  float2 footprint;  // one output luma pixel in source UV
  float2 tone_padding;
  float2 uv_origin;
  float2 uv_scale;
  float4 yuv_range;
  float4 yuv_matrix;
};

static const float kScrgbUnitNits = 80.0;
static const float kPqFullScaleNits = 10000.0;
static const float kLargestHalf = 65504.0;

float3 Select(bool3 which, float3 yes, float3 no) {
  return which ? yes : no;
}

float3 Bt709ToBt2020(float3 c) {
  return float3(dot(c, float3(0.62740390, 0.32928304, 0.04331306)),
                dot(c, float3(0.06909729, 0.91954040, 0.01136232)),
                dot(c, float3(0.01639144, 0.08801331, 0.89559525)));
}

// SMPTE ST 2084: 0 to 10000 nits to 0 to 1; light outside is clamped.
float3 LinearToPq(float3 nits) {
  float3 y = pow(saturate(nits / kPqFullScaleNits), 2610.0 / 16384.0);
  float3 ratio = (0.8359375 + 18.8515625 * y) / (1.0 + 18.6875 * y);
  return pow(ratio, 78.84375);
}

// For light of 0 and above.
float3 LinearToSrgb(float3 light) {
  return Select(light <= 0.0031308, 12.92 * light, 1.055 * pow(light, 1.0 / 2.4) - 0.055);
}

// The brightest channel's way from the knee to 1, which it meets at the peak.
float RollOne(float v) {
  float over = min((v - knee) / max(peak - knee, 0.01), 1.0);
  return knee + (1.0 - knee) * (1.0 - exp(-3.0 * over)) / (1.0 - exp(-3.0));
}

// Keeps the hue: all channels shrink as the brightest does.
float3 RollOff(float3 c) {
  float most = max(c.r, max(c.g, c.b));
  float bright = max(most, knee);
  return Select(most > knee, c * (RollOne(bright) / bright), c);
}

// Undoes what half floats lost of content drawn in SDR.
float3 Snap(float3 code) {
  return Select(snap > 0.0, round(code * snap) / max(snap, 1.0), code);
}

// scRGB to sRGB codes, 0 to 1.
float3 ScrgbToSdr(float3 c) {
  float3 light = clamp(c / sdr_white, 0.0, kLargestHalf);
  return Snap(LinearToSrgb(RollOff(light)));
}

// scRGB to PQ codes of BT.2020. Negatives are clamped after the rotation: BT.2020 holds
// most of what scRGB writes as negative BT.709.
float3 ScrgbToHdr10(float3 c) {
  float3 light = Bt709ToBt2020(clamp(c, -kLargestHalf, kLargestHalf));
  return LinearToPq(max(light, 0.0) * kScrgbUnitNits);
}
