// Encode sessions on a CUDA context, where the driver offers no other device.
#include <utility>

#include "common/platform/program.h"
#include "decode/nvenc_probe.h"

namespace veyrin {
namespace {

using CudaInit = int(unsigned flags);
using CudaDeviceGetCount = int(int* count);
using CudaDeviceGet = int(int* device, int ordinal);
using CudaContextCreate = int(void** context, unsigned flags, int device);
using CudaContextDestroy = int(void* context);

class CudaDevice : public NvencDevice {
 public:
  CudaDevice(std::unique_ptr<platform::SharedLibrary> library, void* context, CudaContextDestroy* destroy)
      : library_(std::move(library)), context_(context), destroy_(destroy) {}
  ~CudaDevice() override { destroy_(context_); }
  CudaDevice(const CudaDevice&) = delete;
  CudaDevice& operator=(const CudaDevice&) = delete;

  [[nodiscard]] nvenc::DeviceType type() const override { return nvenc::DeviceType::cuda; }
  [[nodiscard]] void* handle() const override { return context_; }

 private:
  std::unique_ptr<platform::SharedLibrary> library_;
  void* context_;
  CudaContextDestroy* destroy_;
};

}  // namespace

NvencLibraries installed_nvenc_libraries() {
  return {.device = "libcuda.so.1", .encoder = "libnvidia-encode.so.1"};
}

std::unique_ptr<NvencDevice> open_nvenc_device(const NvencLibraries& libraries) {
  auto library = platform::SharedLibrary::load(libraries.device);
  if (library == nullptr) return nullptr;
  auto* init = library->function<CudaInit>("cuInit");
  auto* device_count = library->function<CudaDeviceGetCount>("cuDeviceGetCount");
  auto* get_device = library->function<CudaDeviceGet>("cuDeviceGet");
  auto* create_context = library->function<CudaContextCreate>("cuCtxCreate_v2");
  auto* destroy_context = library->function<CudaContextDestroy>("cuCtxDestroy_v2");
  if (init == nullptr || device_count == nullptr || get_device == nullptr || create_context == nullptr ||
      destroy_context == nullptr) {
    return nullptr;
  }
  int count = 0;
  int device = 0;
  void* context = nullptr;
  if (init(0) != 0 || device_count(&count) != 0 || count < 1 || get_device(&device, 0) != 0 ||
      create_context(&context, 0, device) != 0) {
    return nullptr;
  }
  return std::make_unique<CudaDevice>(std::move(library), context, destroy_context);
}

}  // namespace veyrin
