// What the D3D11 processor works with: the two compute shaders, the buffers and textures that they read and
// write, and the textures of frames.
#pragma once

#include <d3d11.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string>

#include "common/platform/program.h"
#include "common/platform/win32/windows_api.h"
#include "media/video_types.h"

struct AVFrame;

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

/// The texture of a D3D11 frame, borrowed; null when it has none.
ID3D11Texture2D* frame_texture(const AVFrame& frame);

D3D11_TEXTURE2D_DESC describe(ID3D11Texture2D& texture);

/// The frame's slice of its texture, as the copying calls count.
UINT frame_subresource(const AVFrame& frame, const D3D11_TEXTURE2D_DESC& description);

/// Threads of one shader group, each way.
inline constexpr UINT shader_group_size = 16;

struct YuvShaders {
  platform::ComPtr<ID3D11ComputeShader> luma;
  platform::ComPtr<ID3D11ComputeShader> chroma;
};

/// Windows' shader compiler. It is loaded when shaders are wanted, so that a machine without it can still
/// start the program.
inline constexpr const char* shader_compiler_library = "d3dcompiler_47.dll";

/// Compiles both shaders with this compiler and creates them on the device; false with one message in
/// `error`.
[[nodiscard]] bool create_yuv_shaders(ID3D11Device& device, const std::string& compiler_library,
                                      YuvShaders& shaders, std::string& error);

/// A loaded shader compiler. Its bytecode must be gone before it is.
class ShaderCompiler {
 public:
  explicit ShaderCompiler(const std::string& library);

  /// Compiles one entry point of a shader source; null with one message in `error`.
  [[nodiscard]] platform::ComPtr<ID3D10Blob> compile(const std::string& source, const char* entry_point,
                                                     std::string& error) const;

 private:
  std::string name_;
  std::unique_ptr<platform::SharedLibrary> library_;  // null when it could not be loaded
};

}  // namespace veyrin
