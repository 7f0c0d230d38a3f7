#include "convert/convert_win/frame_converter.h"

#include <cfloat>
#include <string>
#include <utility>

#include "base/text.h"
#include "convert/converter_checks.h"

using Microsoft::WRL::ComPtr;

namespace orventa {
namespace {

Status Failed(const char* call, HRESULT result) {
  return {StatusCode::DriverError,
          Format("%s failed (0x%08lX)", call, static_cast<unsigned long>(result))};
}

// Black in studio swing, as a view of each plane writes it.
struct BlackPlanes {
  FLOAT luma[4];
  FLOAT chroma[4];
};
constexpr float kWord = 65535.0F;
constexpr BlackPlanes kBlack8 = {{kBlackLuma8 / 255.0F, 0, 0, 0},
                                 {kNoChroma8 / 255.0F, kNoChroma8 / 255.0F, 0, 0}};
constexpr BlackPlanes kBlack10 = {
    {(kBlackLuma10 << kP010Shift) / kWord, 0, 0, 0},
    {(kNoChroma10 << kP010Shift) / kWord, (kNoChroma10 << kP010Shift) / kWord, 0, 0}};

constexpr DXGI_FORMAT TextureFormat(PixelFormat format) {
  return format == PixelFormat::RgbaHalf ? DXGI_FORMAT_R16G16B16A16_FLOAT
                                         : DXGI_FORMAT_B8G8R8A8_UNORM;
}

}  // namespace

Status FrameConverter::Create(const D3d11Device& device, const ConverterSettings& settings,
                              std::unique_ptr<IFrameConverter>& out, const ConverterParts& parts) {
  Geometry geometry;
  if (Status status = CheckConverterSettings(settings, geometry); !status.ok()) return status;
  std::unique_ptr<FrameConverter> made(new FrameConverter(device, settings, geometry));
  if (Status status = made->MakeShaders(parts); !status.ok()) return status;
  if (Status status = made->MakeState(); !status.ok()) return status;
  if (Status status = made->MakePool(parts); !status.ok()) return status;
  made->WriteTones();
  out = std::move(made);
  return Status::Ok();
}

FrameConverter::FrameConverter(const D3d11Device& device, const ConverterSettings& settings,
                               const Geometry& geometry)
    : device_(device.device()),
      context_(device.context()),
      settings_(settings),
      geometry_(geometry),
      tones_(settings, geometry) {}

Status FrameConverter::MakeShaders(const ConverterParts& parts) {
  ShaderCode code;
  if (Status status = parts.compile(ConvertVertexSource(), code); !status.ok()) return status;
  const HRESULT result = device_->CreateVertexShader(code->data(), code->size(), nullptr, &vertex_);
  if (FAILED(result)) return Failed("CreateVertexShader", result);

  if (settings_.hdr_input) {
    const auto transfer = settings_.hdr10 ? ShaderTransfer::Hdr10 : ShaderTransfer::Sdr;
    if (Status status = MakePair(parts, transfer, light_); !status.ok()) return status;
  }
  return settings_.hdr10 ? Status::Ok() : MakePair(parts, ShaderTransfer::None, codes_);
}

Status FrameConverter::MakePair(const ConverterParts& parts, ShaderTransfer transfer,
                                Shaders& out) {
  ConvertShader shader{Plane::Luma, transfer, settings_.ten_bit, geometry_.luma_taps};
  if (Status status = MakePixelShader(parts, shader, out.luma); !status.ok()) return status;
  shader.plane = Plane::Chroma;
  shader.taps = geometry_.chroma_taps;
  return MakePixelShader(parts, shader, out.chroma);
}

Status FrameConverter::MakePixelShader(const ConverterParts& parts, const ConvertShader& shader,
                                       ComPtr<ID3D11PixelShader>& out) {
  ShaderCode code;
  if (Status status = parts.compile(SourceOf(shader), code); !status.ok()) return status;
  const HRESULT result = device_->CreatePixelShader(code->data(), code->size(), nullptr, &out);
  return FAILED(result) ? Failed("CreatePixelShader", result) : Status::Ok();
}

Status FrameConverter::MakeState() {
  D3D11_SAMPLER_DESC sampler{};
  sampler.Filter = D3D11_FILTER_MIN_MAG_LINEAR_MIP_POINT;
  sampler.AddressU = D3D11_TEXTURE_ADDRESS_CLAMP;
  sampler.AddressV = D3D11_TEXTURE_ADDRESS_CLAMP;
  sampler.AddressW = D3D11_TEXTURE_ADDRESS_CLAMP;
  sampler.ComparisonFunc = D3D11_COMPARISON_NEVER;
  sampler.MaxLOD = FLT_MAX;
  HRESULT result = device_->CreateSamplerState(&sampler, &sampler_);
  if (FAILED(result)) return Failed("CreateSamplerState", result);

  D3D11_RASTERIZER_DESC rasterizer{};
  rasterizer.FillMode = D3D11_FILL_SOLID;
  rasterizer.CullMode = D3D11_CULL_NONE;
  rasterizer.DepthClipEnable = TRUE;
  result = device_->CreateRasterizerState(&rasterizer, &rasterizer_);
  if (FAILED(result)) return Failed("CreateRasterizerState", result);

  D3D11_BUFFER_DESC buffer{};
  buffer.ByteWidth = sizeof(Tone);
  buffer.Usage = D3D11_USAGE_DEFAULT;
  buffer.BindFlags = D3D11_BIND_CONSTANT_BUFFER;
  for (ComPtr<ID3D11Buffer>& tone : tone_buffers_) {
    result = device_->CreateBuffer(&buffer, nullptr, &tone);
    if (FAILED(result)) return Failed("CreateBuffer(tone)", result);
  }
  return Status::Ok();
}

Status FrameConverter::MakePool(const ConverterParts& parts) {
  const PixelFormat format = settings_.ten_bit ? PixelFormat::P010 : PixelFormat::Nv12;
  const BlackPlanes& black = settings_.ten_bit ? kBlack10 : kBlack8;
  pool_.resize(settings_.pool_size);
  for (PlanarTarget& target : pool_) {
    Status status =
        parts.make_target(*device_.Get(), format, settings_.width, settings_.height, target);
    if (!status.ok()) return status;
    // The bars stay like this: draws keep to the target rectangle.
    context_->ClearRenderTargetView(target.luma.Get(), black.luma);
    context_->ClearRenderTargetView(target.chroma.Get(), black.chroma);
  }
  return Status::Ok();
}

void FrameConverter::WriteTones() {
  for (const DrawnClass drawn : kDrawnClasses) {
    context_->UpdateSubresource(tone_buffers_[static_cast<size_t>(drawn)].Get(), 0, nullptr,
                                &tones_.Of(drawn), 0, 0);
  }
}

Status FrameConverter::SetTone(float sdr_white, float peak) {
  Status status = tones_.Set(sdr_white, peak);
  if (status.ok()) WriteTones();
  return status;
}

Status FrameConverter::RaisePeak(float ratio) {
  Status status = tones_.RaisePeak(ratio);
  if (status.ok()) WriteTones();
  return status;
}

Status FrameConverter::Convert(const PictureRef& input, PictureRef& output) {
  if (input == nullptr) return {StatusCode::InvalidArgument, "no picture to convert"};
  if (Status status = CheckPicture(settings_, *input); !status.ok()) return status;
  const D3d11Picture* const picture = D3d11Picture::From(*input);
  if (picture == nullptr || picture->texture() == nullptr) {
    return {StatusCode::InvalidArgument, "the picture to convert is not a texture"};
  }
  ID3D11ShaderResourceView* view = nullptr;
  if (Status status = ViewOf(*picture, view); !status.ok()) return status;

  const PlanarTarget& target = pool_[next_];
  next_ = (next_ + 1) % pool_.size();
  const Shaders& shaders = input->format() == PixelFormat::RgbaHalf ? light_ : codes_;
  BindState(view);
  Draw(target.luma.Get(), shaders.luma.Get(), 1);
  Draw(target.chroma.Get(), shaders.chroma.Get(), 2);
  Unbind();
  output = target.picture;
  return Status::Ok();
}

Status FrameConverter::ViewOf(const D3d11Picture& picture, ID3D11ShaderResourceView*& view) {
  // A capture that goes over to another format has let go of its textures.
  if (picture.format() != viewed_format_) views_ = {};
  viewed_format_ = picture.format();
  for (const InputView& known : views_) {
    if (known.texture.Get() == picture.texture()) {
      view = known.view.Get();
      return Status::Ok();
    }
  }

  D3D11_TEXTURE2D_DESC texture{};
  picture.texture()->GetDesc(&texture);
  ComPtr<ID3D11Device> owner;
  picture.texture()->GetDevice(&owner);
  // Not by the pointers' own operators: mingw's compare only whether there is any.
  if (owner.Get() != device_.Get()) {
    return {StatusCode::InvalidArgument, "the picture lies on another device"};
  }
  if (texture.Width != picture.width() || texture.Height != picture.height() ||
      texture.Format != TextureFormat(picture.format()) || texture.ArraySize != 1 ||
      texture.SampleDesc.Count != 1 || picture.sub_resource() != 0 ||
      (texture.BindFlags & D3D11_BIND_SHADER_RESOURCE) == 0) {
    return {StatusCode::InvalidArgument, "the picture's texture cannot be drawn from"};
  }
  D3D11_SHADER_RESOURCE_VIEW_DESC wanted{};
  wanted.Format = texture.Format;
  wanted.ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2D;
  wanted.Texture2D.MipLevels = 1;
  InputView made;
  made.texture = picture.texture();
  const HRESULT result = device_->CreateShaderResourceView(picture.texture(), &wanted, &made.view);
  if (FAILED(result)) return Failed("CreateShaderResourceView", result);
  view = made.view.Get();
  views_[next_view_] = std::move(made);
  next_view_ = (next_view_ + 1) % views_.size();
  return Status::Ok();
}

void FrameConverter::BindState(ID3D11ShaderResourceView* view) {
  context_->IASetInputLayout(nullptr);
  context_->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLELIST);
  context_->VSSetShader(vertex_.Get(), nullptr, 0);
  context_->HSSetShader(nullptr, nullptr, 0);
  context_->DSSetShader(nullptr, nullptr, 0);
  context_->GSSetShader(nullptr, nullptr, 0);
  context_->RSSetState(rasterizer_.Get());
  context_->OMSetBlendState(nullptr, nullptr, 0xFFFFFFFF);
  context_->OMSetDepthStencilState(nullptr, 0);
  context_->PSSetConstantBuffers(0, 1,
                                 tone_buffers_[static_cast<size_t>(drawn_class_)].GetAddressOf());
  context_->PSSetSamplers(0, 1, sampler_.GetAddressOf());
  context_->PSSetShaderResources(0, 1, &view);
}

void FrameConverter::Draw(ID3D11RenderTargetView* target, ID3D11PixelShader* shader,
                          uint32_t divisor) {
  const auto part = [divisor](uint32_t length) { return static_cast<FLOAT>(length / divisor); };
  const PlacedRect& to = geometry_.target;
  const D3D11_VIEWPORT viewport = {part(to.left),   part(to.top), part(to.width),
                                   part(to.height), 0.0F,         1.0F};
  context_->OMSetRenderTargets(1, &target, nullptr);
  context_->RSSetViewports(1, &viewport);
  context_->PSSetShader(shader, nullptr, 0);
  context_->Draw(3, 0);
}

// What stays bound as input cannot be captured into, nor the target be encoded.
void FrameConverter::Unbind() {
  ID3D11ShaderResourceView* const no_view = nullptr;
  context_->PSSetShaderResources(0, 1, &no_view);
  context_->OMSetRenderTargets(0, nullptr, nullptr);
}

}  // namespace orventa
