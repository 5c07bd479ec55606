// The two compute shaders of the D3D11 processor, compiled on the machine they run on.
#pragma once

#include <d3d11.h>

#include <memory>
#include <string>

#include "common/platform/shared_library.h"
#include "common/platform/win32/windows_api.h"

namespace veyrin {

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
  platform::ComPtr<ID3D10Blob> compile(const std::string& source, const char* entry_point,
                                       std::string& error) const;

 private:
  std::string name_;
  std::unique_ptr<platform::SharedLibrary> library_;  // null when it could not be loaded
};

}  // namespace veyrin
