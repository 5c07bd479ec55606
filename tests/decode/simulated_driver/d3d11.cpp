// A Direct3D library whose devices can be made and released, and nothing else.
#include <d3d11.h>

#include "tests/decode/simulated_driver/com_object.h"
#include "tests/decode/simulated_driver/driver_state.h"
#include "tests/decode/simulated_driver/load_count.h"

using veyrin::simulated_driver::ComObject;
using veyrin::simulated_driver::state;

namespace {

class Device final : public ComObject<IUnknown> {
 public:
  Device() {
    constexpr std::uint32_t directx = 0;
    ++state().contexts_created;
    state().device_type = directx;
    state().device = this;
  }
  ~Device() override {
    if (state().sessions_opened != state().sessions_destroyed)
      state().mistakes.emplace_back("released a device that has a session");
    ++state().contexts_destroyed;
  }
};

class Context final : public ComObject<IUnknown> {};

}  // namespace

extern "C" HRESULT WINAPI D3D11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type, HMODULE software,
                                            UINT flags, const D3D_FEATURE_LEVEL* levels, UINT level_count,
                                            UINT version, ID3D11Device** device, D3D_FEATURE_LEVEL*,
                                            ID3D11DeviceContext** context) {
  // A wanted adapter leaves no other type, and the default levels are an empty list.
  if (adapter == nullptr || type != D3D_DRIVER_TYPE_UNKNOWN || software != nullptr || flags != 0 ||
      levels != nullptr || level_count != 0 || version != D3D11_SDK_VERSION)
    state().mistakes.emplace_back("parameters of the device");
  for (const auto& [index, handle] : state().adapter_handles)
    if (handle == adapter) state().adapters_used.push_back(index);
  if (FAILED(state().create_device_result)) return state().create_device_result;
  // Nobody calls more than the functions that all interfaces have.
  *device = reinterpret_cast<ID3D11Device*>(new Device);
  *context = reinterpret_cast<ID3D11DeviceContext*>(new Context);
  return S_OK;
}
