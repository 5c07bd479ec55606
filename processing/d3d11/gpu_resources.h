// What the shaders read and write: buffers and textures together with their views.
#pragma once

#include <d3d11.h>

#include <cstdint>
#include <span>
#include <string>

#include "common/platform/win32/owners.h"

namespace veyrin {

/// An immutable buffer of equal elements.
struct ShaderBuffer {
  platform::ComPtr<ID3D11Buffer> buffer;
  platform::ComPtr<ID3D11ShaderResourceView> view;
};

/// Uploads `bytes`, elements of `stride` bytes each; false with one message in `error`.
[[nodiscard]] bool upload_bytes(ID3D11Device& device, std::span<const std::byte> bytes, UINT stride,
                                ShaderBuffer& buffer, std::string& error);

/// Uploads an array of elements that are laid out as the shader's.
template <typename Element>
[[nodiscard]] bool upload(ID3D11Device& device, std::span<const Element> elements, ShaderBuffer& buffer,
                          std::string& error) {
  return upload_bytes(device, std::as_bytes(elements), sizeof(Element), buffer, error);
}

/// NV12, or P010 for ten bits: the layout of decoder and encoder surfaces.
DXGI_FORMAT surface_format(bool ten_bit);

struct SurfaceSize {
  UINT width = 0;
  UINT height = 0;
};

/// A copy of a decoded picture that shaders may read.
struct ReadableSurface {
  platform::ComPtr<ID3D11Texture2D> texture;
  platform::ComPtr<ID3D11ShaderResourceView> luma;
  platform::ComPtr<ID3D11ShaderResourceView> chroma;
};

[[nodiscard]] bool create_readable_surface(ID3D11Device& device, SurfaceSize size, bool ten_bit,
                                           ReadableSurface& surface, std::string& error);

/// A canvas that shaders may write.
struct WritableSurface {
  platform::ComPtr<ID3D11Texture2D> texture;
  platform::ComPtr<ID3D11UnorderedAccessView> luma;
  platform::ComPtr<ID3D11UnorderedAccessView> chroma;
};

[[nodiscard]] bool create_writable_surface(ID3D11Device& device, SurfaceSize size, bool ten_bit,
                                           WritableSurface& surface, std::string& error);

}  // namespace veyrin
