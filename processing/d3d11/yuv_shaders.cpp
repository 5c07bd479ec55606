#include "processing/d3d11/yuv_shaders.h"

#include <d3dcompiler.h>

#include <string_view>
#include <type_traits>

#include "processing/d3d11/gpu_resources.h"

namespace veyrin {
namespace {

using platform::ComPtr;

constexpr const char* compile_failure = "could not compile D3D11 YUV shader";

// Compilers end their messages with line feeds and a zero byte.
std::string message_text(ID3D10Blob& message) {
  std::string_view text(static_cast<const char*>(message.GetBufferPointer()), message.GetBufferSize());
  text = text.substr(0, text.find('\0'));
  return std::string(text.substr(0, text.find_last_not_of(" \r\n") + 1));
}

[[nodiscard]] bool create_shader(ID3D11Device& device, const ShaderCompiler& compiler,
                                 const std::string& source, const char* entry_point,
                                 ComPtr<ID3D11ComputeShader>& shader, std::string& error) {
  const auto bytecode = compiler.compile(source, entry_point, error);
  if (!bytecode) return false;
  ID3D11ComputeShader* created = nullptr;
  const HRESULT result =
      device.CreateComputeShader(bytecode->GetBufferPointer(), bytecode->GetBufferSize(), nullptr, &created);
  if (FAILED(result)) return fail_with_result(error, "D3D11 YUV shader creation", result);
  shader.reset(created);
  return true;
}

}  // namespace

ShaderCompiler::ShaderCompiler(const std::string& library)
    : name_(library), library_(platform::SharedLibrary::load(library)) {}

ComPtr<ID3D10Blob> ShaderCompiler::compile(const std::string& source, const char* entry_point,
                                           std::string& error) const {
  error = compile_failure;
  auto* compile =
      library_ != nullptr ? library_->function<std::remove_pointer_t<pD3DCompile>>("D3DCompile") : nullptr;
  if (compile == nullptr) {
    error += ": " + name_ + " could not be loaded";
    return nullptr;
  }
  ID3D10Blob* code = nullptr;
  ID3D10Blob* message = nullptr;
  const HRESULT result = compile(source.data(), source.size(), "yuv_shader.hlsl", nullptr, nullptr,
                                 entry_point, "cs_5_0", D3DCOMPILE_OPTIMIZATION_LEVEL3, 0, &code, &message);
  ComPtr<ID3D10Blob> bytecode(code);
  // Warnings come along with success.
  const ComPtr<ID3D10Blob> text(message);
  if (SUCCEEDED(result) && bytecode) {
    error.clear();
    return bytecode;
  }
  if (text) error += ": " + message_text(*text);
  return nullptr;
}

bool create_yuv_shaders(ID3D11Device& device, const ShaderSource& source, YuvShaders& shaders,
                        std::string& error) {
  const ShaderCompiler compiler(source.compiler_library);
  return create_shader(device, compiler, source.text, "luma", shaders.luma, error) &&
         create_shader(device, compiler, source.text, "chroma", shaders.chroma, error);
}

}  // namespace veyrin
