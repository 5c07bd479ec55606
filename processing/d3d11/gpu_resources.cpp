#include "processing/d3d11/gpu_resources.h"

#include <array>
#include <cstdio>

#include "common/error_text.h"

namespace veyrin {

namespace {

using platform::ComPtr;

// The format of a view selects the plane that it shows.
DXGI_FORMAT luma_view_format(BitDepth depth) {
  return depth == BitDepth::ten ? DXGI_FORMAT_R16_UNORM : DXGI_FORMAT_R8_UNORM;
}

DXGI_FORMAT chroma_view_format(BitDepth depth) {
  return depth == BitDepth::ten ? DXGI_FORMAT_R16G16_UNORM : DXGI_FORMAT_R8G8_UNORM;
}

/// Calls create(&object) and hands the object to its owner.
template <typename Object, typename Create>
HRESULT create_owned(ComPtr<Object>& owner, const Create& create) {
  Object* created = nullptr;
  const HRESULT result = create(&created);
  owner.reset(created);
  return result;
}

HRESULT create_texture(ID3D11Device& device, Size size, BitDepth depth, UINT bind_flags,
                       ComPtr<ID3D11Texture2D>& texture) {
  D3D11_TEXTURE2D_DESC description{};
  description.Width = static_cast<UINT>(size.width);
  description.Height = static_cast<UINT>(size.height);
  description.MipLevels = 1;
  description.ArraySize = 1;
  description.Format = surface_format(depth);
  description.SampleDesc.Count = 1;
  description.Usage = D3D11_USAGE_DEFAULT;
  description.BindFlags = bind_flags;
  return create_owned(texture, [&](ID3D11Texture2D** created) {
    return device.CreateTexture2D(&description, nullptr, created);
  });
}

HRESULT create_read_view(ID3D11Device& device, ID3D11Texture2D& texture, DXGI_FORMAT format,
                         ComPtr<ID3D11ShaderResourceView>& view) {
  D3D11_SHADER_RESOURCE_VIEW_DESC description{};
  description.Format = format;
  description.ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2D;
  description.Texture2D.MipLevels = 1;
  return create_owned(view, [&](ID3D11ShaderResourceView** created) {
    return device.CreateShaderResourceView(&texture, &description, created);
  });
}

HRESULT create_write_view(ID3D11Device& device, ID3D11Texture2D& texture, DXGI_FORMAT format,
                          ComPtr<ID3D11UnorderedAccessView>& view) {
  D3D11_UNORDERED_ACCESS_VIEW_DESC description{};
  description.Format = format;
  description.ViewDimension = D3D11_UAV_DIMENSION_TEXTURE2D;
  return create_owned(view, [&](ID3D11UnorderedAccessView** created) {
    return device.CreateUnorderedAccessView(&texture, &description, created);
  });
}

}  // namespace

bool fail_with_result(std::string& error, const char* step, HRESULT result) {
  std::array<char, 160> text{};
  std::snprintf(text.data(), text.size(), "%s failed (HRESULT 0x%08lx)", step,
                static_cast<unsigned long>(result));
  return fail(error, text.data());
}

DXGI_FORMAT surface_format(BitDepth depth) {
  return depth == BitDepth::ten ? DXGI_FORMAT_P010 : DXGI_FORMAT_NV12;
}

bool upload_bytes(ID3D11Device& device, std::span<const std::byte> bytes, UINT stride, ShaderBuffer& buffer,
                  std::string& error) {
  D3D11_BUFFER_DESC description{};
  description.ByteWidth = static_cast<UINT>(bytes.size());
  description.Usage = D3D11_USAGE_IMMUTABLE;
  description.BindFlags = D3D11_BIND_SHADER_RESOURCE;
  description.MiscFlags = D3D11_RESOURCE_MISC_BUFFER_STRUCTURED;
  description.StructureByteStride = stride;
  D3D11_SUBRESOURCE_DATA data{};
  data.pSysMem = bytes.data();
  ID3D11Buffer* created = nullptr;
  HRESULT result = device.CreateBuffer(&description, &data, &created);
  if (FAILED(result)) return fail_with_result(error, "D3D11 YUV data upload", result);
  buffer.buffer.reset(created);

  D3D11_SHADER_RESOURCE_VIEW_DESC view{};
  view.Format = DXGI_FORMAT_UNKNOWN;
  view.ViewDimension = D3D11_SRV_DIMENSION_BUFFER;
  view.Buffer.NumElements = description.ByteWidth / stride;
  ID3D11ShaderResourceView* created_view = nullptr;
  result = device.CreateShaderResourceView(created, &view, &created_view);
  if (FAILED(result)) return fail_with_result(error, "D3D11 YUV data view", result);
  buffer.view.reset(created_view);
  return true;
}

ComPtr<ID3D11Buffer> create_constants(ID3D11Device& device, std::span<const std::byte> bytes,
                                      std::string& error) {
  D3D11_BUFFER_DESC description{};
  description.ByteWidth = static_cast<UINT>(bytes.size());
  description.Usage = D3D11_USAGE_IMMUTABLE;
  description.BindFlags = D3D11_BIND_CONSTANT_BUFFER;
  D3D11_SUBRESOURCE_DATA data{};
  data.pSysMem = bytes.data();
  ID3D11Buffer* created = nullptr;
  const HRESULT result = device.CreateBuffer(&description, &data, &created);
  if (SUCCEEDED(result)) return ComPtr<ID3D11Buffer>(created);
  static_cast<void>(fail_with_result(error, "D3D11 YUV parameters", result));
  return nullptr;
}

bool create_readable_surface(ID3D11Device& device, Size size, BitDepth depth, ReadableSurface& surface,
                             std::string& error) {
  if (FAILED(create_texture(device, size, depth, D3D11_BIND_SHADER_RESOURCE, surface.texture)))
    return fail(error, "could not create shader-readable D3D11 YUV textures");
  if (FAILED(create_read_view(device, *surface.texture, luma_view_format(depth), surface.luma)) ||
      FAILED(create_read_view(device, *surface.texture, chroma_view_format(depth), surface.chroma)))
    return fail(error, "could not create D3D11 YUV plane views");
  return true;
}

bool create_writable_surface(ID3D11Device& device, Size size, BitDepth depth, WritableSurface& surface,
                             std::string& error) {
  if (FAILED(create_texture(device, size, depth, D3D11_BIND_UNORDERED_ACCESS, surface.texture)))
    return fail(error, "could not create the D3D11 YUV shader output texture");
  HRESULT result = create_write_view(device, *surface.texture, luma_view_format(depth), surface.luma);
  if (SUCCEEDED(result))
    result = create_write_view(device, *surface.texture, chroma_view_format(depth), surface.chroma);
  if (FAILED(result)) return fail_with_result(error, "D3D11 YUV shader output plane views", result);
  return true;
}

}  // namespace veyrin
