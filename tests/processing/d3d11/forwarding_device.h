// A D3D11 device that hands every call on to another one, for tests that change single answers.
#pragma once

#include <d3d11.h>

#include <utility>

#include "common/platform/win32/windows_api.h"

namespace veyrin::test {

// Interfaces of COM objects have no destructor: Release ends them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// Lives on the stack of a test and outlives what was made of it: references are counted on the device behind
/// it.
class ForwardingDevice : public ID3D11Device {
 public:
  explicit ForwardingDevice(platform::ComPtr<ID3D11Device> device) : device_(std::move(device)) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID a, void** b) override {
    return device_->QueryInterface(a, b);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return device_->AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return device_->Release(); }
  HRESULT STDMETHODCALLTYPE CreateBuffer(const D3D11_BUFFER_DESC* a, const D3D11_SUBRESOURCE_DATA* b,
                                         ID3D11Buffer** c) override {
    return device_->CreateBuffer(a, b, c);
  }
  HRESULT STDMETHODCALLTYPE CreateTexture1D(const D3D11_TEXTURE1D_DESC* a, const D3D11_SUBRESOURCE_DATA* b,
                                            ID3D11Texture1D** c) override {
    return device_->CreateTexture1D(a, b, c);
  }
  HRESULT STDMETHODCALLTYPE CreateTexture2D(const D3D11_TEXTURE2D_DESC* a, const D3D11_SUBRESOURCE_DATA* b,
                                            ID3D11Texture2D** c) override {
    return device_->CreateTexture2D(a, b, c);
  }
  HRESULT STDMETHODCALLTYPE CreateTexture3D(const D3D11_TEXTURE3D_DESC* a, const D3D11_SUBRESOURCE_DATA* b,
                                            ID3D11Texture3D** c) override {
    return device_->CreateTexture3D(a, b, c);
  }
  HRESULT STDMETHODCALLTYPE CreateShaderResourceView(ID3D11Resource* a,
                                                     const D3D11_SHADER_RESOURCE_VIEW_DESC* b,
                                                     ID3D11ShaderResourceView** c) override {
    return device_->CreateShaderResourceView(a, b, c);
  }
  HRESULT STDMETHODCALLTYPE CreateUnorderedAccessView(ID3D11Resource* a,
                                                      const D3D11_UNORDERED_ACCESS_VIEW_DESC* b,
                                                      ID3D11UnorderedAccessView** c) override {
    return device_->CreateUnorderedAccessView(a, b, c);
  }
  HRESULT STDMETHODCALLTYPE CreateRenderTargetView(ID3D11Resource* a, const D3D11_RENDER_TARGET_VIEW_DESC* b,
                                                   ID3D11RenderTargetView** c) override {
    return device_->CreateRenderTargetView(a, b, c);
  }
  HRESULT STDMETHODCALLTYPE CreateDepthStencilView(ID3D11Resource* a, const D3D11_DEPTH_STENCIL_VIEW_DESC* b,
                                                   ID3D11DepthStencilView** c) override {
    return device_->CreateDepthStencilView(a, b, c);
  }
  HRESULT STDMETHODCALLTYPE CreateInputLayout(const D3D11_INPUT_ELEMENT_DESC* a, UINT b, const void* c,
                                              SIZE_T d, ID3D11InputLayout** e) override {
    return device_->CreateInputLayout(a, b, c, d, e);
  }
  HRESULT STDMETHODCALLTYPE CreateVertexShader(const void* a, SIZE_T b, ID3D11ClassLinkage* c,
                                               ID3D11VertexShader** d) override {
    return device_->CreateVertexShader(a, b, c, d);
  }
  HRESULT STDMETHODCALLTYPE CreateGeometryShader(const void* a, SIZE_T b, ID3D11ClassLinkage* c,
                                                 ID3D11GeometryShader** d) override {
    return device_->CreateGeometryShader(a, b, c, d);
  }
  HRESULT STDMETHODCALLTYPE CreateGeometryShaderWithStreamOutput(const void* a, SIZE_T b,
                                                                 const D3D11_SO_DECLARATION_ENTRY* c, UINT d,
                                                                 const UINT* e, UINT f, UINT g,
                                                                 ID3D11ClassLinkage* h,
                                                                 ID3D11GeometryShader** i) override {
    return device_->CreateGeometryShaderWithStreamOutput(a, b, c, d, e, f, g, h, i);
  }
  HRESULT STDMETHODCALLTYPE CreatePixelShader(const void* a, SIZE_T b, ID3D11ClassLinkage* c,
                                              ID3D11PixelShader** d) override {
    return device_->CreatePixelShader(a, b, c, d);
  }
  HRESULT STDMETHODCALLTYPE CreateHullShader(const void* a, SIZE_T b, ID3D11ClassLinkage* c,
                                             ID3D11HullShader** d) override {
    return device_->CreateHullShader(a, b, c, d);
  }
  HRESULT STDMETHODCALLTYPE CreateDomainShader(const void* a, SIZE_T b, ID3D11ClassLinkage* c,
                                               ID3D11DomainShader** d) override {
    return device_->CreateDomainShader(a, b, c, d);
  }
  HRESULT STDMETHODCALLTYPE CreateComputeShader(const void* a, SIZE_T b, ID3D11ClassLinkage* c,
                                                ID3D11ComputeShader** d) override {
    return device_->CreateComputeShader(a, b, c, d);
  }
  HRESULT STDMETHODCALLTYPE CreateClassLinkage(ID3D11ClassLinkage** a) override {
    return device_->CreateClassLinkage(a);
  }
  HRESULT STDMETHODCALLTYPE CreateBlendState(const D3D11_BLEND_DESC* a, ID3D11BlendState** b) override {
    return device_->CreateBlendState(a, b);
  }
  HRESULT STDMETHODCALLTYPE CreateDepthStencilState(const D3D11_DEPTH_STENCIL_DESC* a,
                                                    ID3D11DepthStencilState** b) override {
    return device_->CreateDepthStencilState(a, b);
  }
  HRESULT STDMETHODCALLTYPE CreateRasterizerState(const D3D11_RASTERIZER_DESC* a,
                                                  ID3D11RasterizerState** b) override {
    return device_->CreateRasterizerState(a, b);
  }
  HRESULT STDMETHODCALLTYPE CreateSamplerState(const D3D11_SAMPLER_DESC* a, ID3D11SamplerState** b) override {
    return device_->CreateSamplerState(a, b);
  }
  HRESULT STDMETHODCALLTYPE CreateQuery(const D3D11_QUERY_DESC* a, ID3D11Query** b) override {
    return device_->CreateQuery(a, b);
  }
  HRESULT STDMETHODCALLTYPE CreatePredicate(const D3D11_QUERY_DESC* a, ID3D11Predicate** b) override {
    return device_->CreatePredicate(a, b);
  }
  HRESULT STDMETHODCALLTYPE CreateCounter(const D3D11_COUNTER_DESC* a, ID3D11Counter** b) override {
    return device_->CreateCounter(a, b);
  }
  HRESULT STDMETHODCALLTYPE CreateDeferredContext(UINT a, ID3D11DeviceContext** b) override {
    return device_->CreateDeferredContext(a, b);
  }
  HRESULT STDMETHODCALLTYPE OpenSharedResource(HANDLE a, REFIID b, void** c) override {
    return device_->OpenSharedResource(a, b, c);
  }
  HRESULT STDMETHODCALLTYPE CheckFormatSupport(DXGI_FORMAT a, UINT* b) override {
    return device_->CheckFormatSupport(a, b);
  }
  HRESULT STDMETHODCALLTYPE CheckMultisampleQualityLevels(DXGI_FORMAT a, UINT b, UINT* c) override {
    return device_->CheckMultisampleQualityLevels(a, b, c);
  }
  void STDMETHODCALLTYPE CheckCounterInfo(D3D11_COUNTER_INFO* a) override { device_->CheckCounterInfo(a); }
  HRESULT STDMETHODCALLTYPE CheckCounter(const D3D11_COUNTER_DESC* a, D3D11_COUNTER_TYPE* b, UINT* c, LPSTR d,
                                         UINT* e, LPSTR f, UINT* g, LPSTR h, UINT* i) override {
    return device_->CheckCounter(a, b, c, d, e, f, g, h, i);
  }
  HRESULT STDMETHODCALLTYPE CheckFeatureSupport(D3D11_FEATURE a, void* b, UINT c) override {
    return device_->CheckFeatureSupport(a, b, c);
  }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID a, UINT* b, void* c) override {
    return device_->GetPrivateData(a, b, c);
  }
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID a, UINT b, const void* c) override {
    return device_->SetPrivateData(a, b, c);
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID a, const IUnknown* b) override {
    return device_->SetPrivateDataInterface(a, b);
  }
  D3D_FEATURE_LEVEL STDMETHODCALLTYPE GetFeatureLevel() override { return device_->GetFeatureLevel(); }
  UINT STDMETHODCALLTYPE GetCreationFlags() override { return device_->GetCreationFlags(); }
  HRESULT STDMETHODCALLTYPE GetDeviceRemovedReason() override { return device_->GetDeviceRemovedReason(); }
  void STDMETHODCALLTYPE GetImmediateContext(ID3D11DeviceContext** a) override {
    device_->GetImmediateContext(a);
  }
  HRESULT STDMETHODCALLTYPE SetExceptionMode(UINT a) override { return device_->SetExceptionMode(a); }
  UINT STDMETHODCALLTYPE GetExceptionMode() override { return device_->GetExceptionMode(); }

 private:
  platform::ComPtr<ID3D11Device> device_;
};

#pragma GCC diagnostic pop

}  // namespace veyrin::test
