// A library that lists the adapters of the test's choice.
#include <dxgi.h>

#include <cstddef>

#include "tests/decode/simulated_driver/com_object.h"
#include "tests/decode/simulated_driver/driver_state.h"
#include "tests/decode/simulated_driver/load_count.h"

using veyrin::simulated_driver::ComObject;
using veyrin::simulated_driver::state;

namespace {

HRESULT unexpected(const char* call) {
  state().mistakes.emplace_back(call);
  return E_NOTIMPL;
}

class Adapter final : public ComObject<IDXGIAdapter1> {
 public:
  explicit Adapter(std::size_t index) : index_(index) { state().adapter_handles[index] = this; }
  ~Adapter() override { state().adapter_handles.erase(index_); }

  HRESULT WINAPI GetDesc1(DXGI_ADAPTER_DESC1* description) override {
    const auto& adapter = state().adapters[index_];
    *description = {};
    description->VendorId = adapter.vendor;
    description->Flags = adapter.software ? DXGI_ADAPTER_FLAG_SOFTWARE : DXGI_ADAPTER_FLAG_NONE;
    return adapter.description_result;
  }

  HRESULT WINAPI SetPrivateData(REFGUID, UINT, const void*) override { return unexpected("SetPrivateData"); }
  HRESULT WINAPI SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    return unexpected("SetPrivateDataInterface");
  }
  HRESULT WINAPI GetPrivateData(REFGUID, UINT*, void*) override { return unexpected("GetPrivateData"); }
  HRESULT WINAPI GetParent(REFIID, void**) override { return unexpected("GetParent"); }
  HRESULT WINAPI EnumOutputs(UINT, IDXGIOutput**) override { return unexpected("EnumOutputs"); }
  HRESULT WINAPI GetDesc(DXGI_ADAPTER_DESC*) override { return unexpected("GetDesc"); }
  HRESULT WINAPI CheckInterfaceSupport(REFGUID, LARGE_INTEGER*) override {
    return unexpected("CheckInterfaceSupport");
  }

 private:
  std::size_t index_;
};

class Factory final : public ComObject<IDXGIFactory1> {
 public:
  HRESULT WINAPI EnumAdapters1(UINT index, IDXGIAdapter1** adapter) override {
    if (index >= state().adapters.size()) return DXGI_ERROR_NOT_FOUND;
    *adapter = new Adapter(index);
    return S_OK;
  }

  HRESULT WINAPI SetPrivateData(REFGUID, UINT, const void*) override { return unexpected("SetPrivateData"); }
  HRESULT WINAPI SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    return unexpected("SetPrivateDataInterface");
  }
  HRESULT WINAPI GetPrivateData(REFGUID, UINT*, void*) override { return unexpected("GetPrivateData"); }
  HRESULT WINAPI GetParent(REFIID, void**) override { return unexpected("GetParent"); }
  HRESULT WINAPI EnumAdapters(UINT, IDXGIAdapter**) override { return unexpected("EnumAdapters"); }
  HRESULT WINAPI MakeWindowAssociation(HWND, UINT) override { return unexpected("MakeWindowAssociation"); }
  HRESULT WINAPI GetWindowAssociation(HWND*) override { return unexpected("GetWindowAssociation"); }
  HRESULT WINAPI CreateSwapChain(IUnknown*, DXGI_SWAP_CHAIN_DESC*, IDXGISwapChain**) override {
    return unexpected("CreateSwapChain");
  }
  HRESULT WINAPI CreateSoftwareAdapter(HMODULE, IDXGIAdapter**) override {
    return unexpected("CreateSoftwareAdapter");
  }
  WINBOOL WINAPI IsCurrent() override { return TRUE; }
};

}  // namespace

extern "C" HRESULT WINAPI CreateDXGIFactory1(REFIID interface_id, void** factory) {
  if (!IsEqualGUID(interface_id, __uuidof(IDXGIFactory1)))
    state().mistakes.emplace_back("factory of another kind");
  if (FAILED(state().factory_result)) return state().factory_result;
  *factory = static_cast<IDXGIFactory1*>(new Factory);
  return S_OK;
}
