// What the shaders of the D3D11 processor read and write: buffers and textures with their views.
#pragma once

#include <d3d11.h>

#include <cstddef>
#include <span>
#include <string>

#include "common/platform/win32/windows_api.h"
#include "media/video_types.h"

namespace veyrin {

/// Stores the message of the Direct3D step that failed with `result` in `error` and returns false.
[[nodiscard]] bool fail_with_result(std::string& error, const char* step, HRESULT result);

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

/// Makes a buffer of constants that never change; null with one message in `error`.
[[nodiscard]] platform::ComPtr<ID3D11Buffer> create_constants(ID3D11Device& device,
                                                              std::span<const std::byte> bytes,
                                                              std::string& error);

/// NV12, or P010 for ten bits: the layout of decoder and encoder surfaces.
DXGI_FORMAT surface_format(BitDepth depth);

/// A texture with a view of each plane kind.
template <typename View>
struct Surface {
  platform::ComPtr<ID3D11Texture2D> texture;
  platform::ComPtr<View> luma;
  platform::ComPtr<View> chroma;
};

/// A copy of a decoded picture that shaders may read.
using ReadableSurface = Surface<ID3D11ShaderResourceView>;
[[nodiscard]] bool create_readable_surface(ID3D11Device& device, Size size, BitDepth depth,
                                           ReadableSurface& surface, std::string& error);

/// A canvas that shaders may write.
using WritableSurface = Surface<ID3D11UnorderedAccessView>;
[[nodiscard]] bool create_writable_surface(ID3D11Device& device, Size size, BitDepth depth,
                                           WritableSurface& surface, std::string& error);

}  // namespace veyrin
