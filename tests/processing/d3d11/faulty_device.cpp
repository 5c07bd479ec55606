#include "tests/processing/d3d11/faulty_device.h"

#include <algorithm>
#include <utility>

namespace veyrin::test {

void FaultyDevice::fail_at(const std::string& method, int call, HRESULT result) {
  failing_method_ = method;
  calls_left_ = call;
  result_ = result;
  action_ = nullptr;
}

void FaultyDevice::act_at(const std::string& method, int call, std::function<void()> action) {
  fail_at(method, call, S_OK);
  action_ = std::move(action);
}

void FaultyDevice::change_format_at(int texture, DXGI_FORMAT format) {
  textures_left_ = texture;
  changed_format_ = format;
}

HRESULT FaultyDevice::answer(const std::string& method) {
  if (method != failing_method_ || --calls_left_ != 0) return S_OK;
  if (action_) action_();
  return result_;
}

HRESULT FaultyDevice::CreateBuffer(const D3D11_BUFFER_DESC* description, const D3D11_SUBRESOURCE_DATA* data,
                                   ID3D11Buffer** buffer) {
  const HRESULT result = answer("CreateBuffer");
  return FAILED(result) ? result : ForwardingDevice::CreateBuffer(description, data, buffer);
}

HRESULT FaultyDevice::CreateTexture2D(const D3D11_TEXTURE2D_DESC* description,
                                      const D3D11_SUBRESOURCE_DATA* data, ID3D11Texture2D** texture) {
  const HRESULT result = answer("CreateTexture2D");
  if (FAILED(result)) return result;
  D3D11_TEXTURE2D_DESC made = *description;
  if (--textures_left_ == 0) made.Format = changed_format_;
  made.Width = std::min(made.Width, largest_texture_);
  made.Height = std::min(made.Height, largest_texture_);
  return ForwardingDevice::CreateTexture2D(&made, data, texture);
}

HRESULT FaultyDevice::CreateShaderResourceView(ID3D11Resource* resource,
                                               const D3D11_SHADER_RESOURCE_VIEW_DESC* description,
                                               ID3D11ShaderResourceView** view) {
  const HRESULT result = answer("CreateShaderResourceView");
  return FAILED(result) ? result : ForwardingDevice::CreateShaderResourceView(resource, description, view);
}

HRESULT FaultyDevice::CreateUnorderedAccessView(ID3D11Resource* resource,
                                                const D3D11_UNORDERED_ACCESS_VIEW_DESC* description,
                                                ID3D11UnorderedAccessView** view) {
  const HRESULT result = answer("CreateUnorderedAccessView");
  return FAILED(result) ? result : ForwardingDevice::CreateUnorderedAccessView(resource, description, view);
}

HRESULT FaultyDevice::CreateComputeShader(const void* bytecode, SIZE_T size, ID3D11ClassLinkage* linkage,
                                          ID3D11ComputeShader** shader) {
  const HRESULT result = answer("CreateComputeShader");
  return FAILED(result) ? result : ForwardingDevice::CreateComputeShader(bytecode, size, linkage, shader);
}

}  // namespace veyrin::test
