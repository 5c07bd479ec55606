// A D3D11 device whose creating calls fail when a test wants it.
#pragma once

#include <functional>
#include <limits>
#include <string>

#include "tests/processing/d3d11/forwarding_device.h"

namespace veyrin::test {

// Interfaces of COM objects have no destructor: Release ends them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class FaultyDevice final : public ForwardingDevice {
 public:
  using ForwardingDevice::ForwardingDevice;

  /// The call of this name that is to fail, counted from 1 since the last of these calls.
  void fail_at(const std::string& method, int call, HRESULT result);
  /// The texture that is made in another format than wanted, counted from 1 since the last of these calls.
  void change_format_at(int texture, DXGI_FORMAT format);
  /// What is done in the call of this name, counted from 1 since the last of these calls.
  void act_at(const std::string& method, int call, std::function<void()> action);
  /// Every texture is made at most this wide and high.
  void shrink_textures(UINT largest) { largest_texture_ = largest; }
  /// From now on the device says that it was removed, for this reason.
  void remove(HRESULT reason) { removed_reason_ = reason; }

  HRESULT STDMETHODCALLTYPE CreateBuffer(const D3D11_BUFFER_DESC* description,
                                         const D3D11_SUBRESOURCE_DATA* data, ID3D11Buffer** buffer) override;
  HRESULT STDMETHODCALLTYPE CreateTexture2D(const D3D11_TEXTURE2D_DESC* description,
                                            const D3D11_SUBRESOURCE_DATA* data,
                                            ID3D11Texture2D** texture) override;
  HRESULT STDMETHODCALLTYPE CreateShaderResourceView(ID3D11Resource* resource,
                                                     const D3D11_SHADER_RESOURCE_VIEW_DESC* description,
                                                     ID3D11ShaderResourceView** view) override;
  HRESULT STDMETHODCALLTYPE CreateUnorderedAccessView(ID3D11Resource* resource,
                                                      const D3D11_UNORDERED_ACCESS_VIEW_DESC* description,
                                                      ID3D11UnorderedAccessView** view) override;
  HRESULT STDMETHODCALLTYPE GetDeviceRemovedReason() override { return removed_reason_; }
  HRESULT STDMETHODCALLTYPE CreateComputeShader(const void* bytecode, SIZE_T size,
                                                ID3D11ClassLinkage* linkage,
                                                ID3D11ComputeShader** shader) override;

 private:
  HRESULT answer(const std::string& method);

  std::string failing_method_;
  int calls_left_ = 0;
  HRESULT result_ = S_OK;
  HRESULT removed_reason_ = S_OK;
  std::function<void()> action_;
  int textures_left_ = 0;
  UINT largest_texture_ = std::numeric_limits<UINT>::max();
  DXGI_FORMAT changed_format_ = DXGI_FORMAT_UNKNOWN;
};

#pragma GCC diagnostic pop

}  // namespace veyrin::test
