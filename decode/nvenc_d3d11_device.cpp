// Encode sessions on a Direct3D 11 device, on Windows.
#include <d3d11.h>
#include <dxgi.h>

#include <type_traits>
#include <utility>

#include "common/platform/program.h"
#include "common/platform/win32/windows_api.h"
#include "decode/nvenc_probe.h"

namespace veyrin {
namespace {

using platform::ComPtr;

constexpr UINT nvidia_vendor = 0x10de;

using CreateFactory = HRESULT WINAPI(REFIID interface_id, void** factory);
using CreateDevice = std::remove_pointer_t<PFN_D3D11_CREATE_DEVICE>;

bool is_nvidia_gpu(IDXGIAdapter1& adapter) {
  DXGI_ADAPTER_DESC1 description{};
  return SUCCEEDED(adapter.GetDesc1(&description)) && description.VendorId == nvidia_vendor &&
         (description.Flags & DXGI_ADAPTER_FLAG_SOFTWARE) == 0;
}

ComPtr<IDXGIAdapter1> find_nvidia_gpu(const platform::SharedLibrary& adapters) {
  auto* create_factory = adapters.function<CreateFactory>("CreateDXGIFactory1");
  void* created = nullptr;
  if (create_factory == nullptr || FAILED(create_factory(__uuidof(IDXGIFactory1), &created))) return nullptr;
  const ComPtr<IDXGIFactory1> factory(static_cast<IDXGIFactory1*>(created));
  IDXGIAdapter1* candidate = nullptr;
  // The list ends with an error code.
  for (UINT index = 0; SUCCEEDED(factory->EnumAdapters1(index, &candidate)); ++index) {
    ComPtr<IDXGIAdapter1> adapter(candidate);
    if (is_nvidia_gpu(*adapter)) return adapter;
  }
  return nullptr;
}

class D3D11Device : public NvencDevice {
 public:
  D3D11Device(std::unique_ptr<platform::SharedLibrary> library, ComPtr<ID3D11Device> device,
              ComPtr<ID3D11DeviceContext> context)
      : library_(std::move(library)), device_(std::move(device)), context_(std::move(context)) {}

  [[nodiscard]] nvenc::DeviceType type() const override { return nvenc::DeviceType::directx; }
  [[nodiscard]] void* handle() const override { return device_.get(); }

 private:
  std::unique_ptr<platform::SharedLibrary> library_;
  ComPtr<ID3D11Device> device_;
  ComPtr<ID3D11DeviceContext> context_;
};

}  // namespace

NvencLibraries installed_nvenc_libraries() {
  return {.device = "d3d11.dll", .encoder = "nvEncodeAPI64.dll", .adapters = "dxgi.dll"};
}

std::unique_ptr<NvencDevice> open_nvenc_device(const NvencLibraries& libraries) {
  const auto adapters = platform::SharedLibrary::load(libraries.adapters);
  const auto adapter = adapters != nullptr ? find_nvidia_gpu(*adapters) : nullptr;
  if (adapter == nullptr) return nullptr;
  auto library = platform::SharedLibrary::load(libraries.device);
  if (library == nullptr) return nullptr;
  auto* create_device = library->function<CreateDevice>("D3D11CreateDevice");
  if (create_device == nullptr) return nullptr;
  ID3D11Device* device = nullptr;
  ID3D11DeviceContext* context = nullptr;
  if (FAILED(create_device(adapter.get(), D3D_DRIVER_TYPE_UNKNOWN, nullptr, 0, nullptr, 0, D3D11_SDK_VERSION,
                           &device, nullptr, &context))) {
    return nullptr;
  }
  return std::make_unique<D3D11Device>(std::move(library), ComPtr<ID3D11Device>(device),
                                       ComPtr<ID3D11DeviceContext>(context));
}

}  // namespace veyrin
