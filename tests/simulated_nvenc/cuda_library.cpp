// A CUDA library with one device, whose contexts are all that an encode session needs.
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <vector>

#include "simulated_nvenc_export.h"

namespace {

enum Result : int {
  success = 0,
  invalid_value = 1,
  invalid_device = 101,
  invalid_context = 201,
  not_supported = 801
};

struct Context {
  int device = 0;
};

constexpr int the_device = 0;
constexpr int driver_version = 12080;
constexpr int compute_major = 12;
std::atomic<bool> is_initialized = false;

/// The contexts that are current in this thread, the last one on top.
std::vector<Context*>& current() {
  thread_local std::vector<Context*> stack;
  return stack;
}

}  // namespace

// NOLINTBEGIN(readability-identifier-naming): the names are the driver's.
#define EXPORTED extern "C" SIMULATED_NVENC_EXPORT

EXPORTED Result cuInit(unsigned flags) {
  if (flags != 0) return invalid_value;
  is_initialized = true;
  return success;
}

EXPORTED Result cuDriverGetVersion(int* version) {
  *version = driver_version;
  return success;
}

EXPORTED Result cuDeviceGetCount(int* count) {
  if (!is_initialized) return not_supported;
  *count = 1;
  return success;
}

EXPORTED Result cuDeviceGet(int* device, int ordinal) {
  if (ordinal != 0) return invalid_device;
  *device = the_device;
  return success;
}

EXPORTED Result cuDeviceGetName(char* name, int room, int device) {
  if (device != the_device) return invalid_device;
  constexpr const char text[] = "simulated GPU";
  if (room < static_cast<int>(sizeof text)) return invalid_value;
  std::memcpy(name, text, sizeof text);
  return success;
}

EXPORTED Result cuDeviceComputeCapability(int* major, int* minor, int device) {
  if (device != the_device) return invalid_device;
  *major = compute_major;
  *minor = 0;
  return success;
}

EXPORTED Result cuCtxCreate_v2(Context** context, unsigned /*flags*/, int device) {
  if (device != the_device) return invalid_device;
  *context = new Context{device};
  current().push_back(*context);
  return success;
}

EXPORTED Result cuCtxGetCurrent(Context** context) {
  *context = current().empty() ? nullptr : current().back();
  return success;
}

EXPORTED Result cuCtxPushCurrent_v2(Context* context) {
  if (context == nullptr) return invalid_context;
  current().push_back(context);
  return success;
}

EXPORTED Result cuCtxPopCurrent_v2(Context** context) {
  if (current().empty()) return invalid_context;
  if (context != nullptr) *context = current().back();
  current().pop_back();
  return success;
}

EXPORTED Result cuCtxDestroy_v2(Context* context) {
  if (context == nullptr) return invalid_context;
  std::erase(current(), context);
  delete context;
  return success;
}

EXPORTED Result cuGetErrorName(Result result, const char** name) {
  *name = result == success ? "CUDA_SUCCESS" : "CUDA_ERROR";
  return success;
}

EXPORTED Result cuGetErrorString(Result result, const char** text) {
  *text = result == success ? "no error" : "refused by the simulated GPU";
  return success;
}

// Callers look all of these up before they use any.
#define NOT_SUPPORTED(name) \
  EXPORTED Result name() {  \
    return not_supported;   \
  }

NOT_SUPPORTED(cuDeviceGetAttribute)
NOT_SUPPORTED(cuCtxSetLimit)
NOT_SUPPORTED(cuMemAlloc_v2)
NOT_SUPPORTED(cuMemAllocPitch_v2)
NOT_SUPPORTED(cuMemAllocManaged)
NOT_SUPPORTED(cuMemsetD8Async)
NOT_SUPPORTED(cuMemFree_v2)
NOT_SUPPORTED(cuMemcpy)
NOT_SUPPORTED(cuMemcpyAsync)
NOT_SUPPORTED(cuMemcpy2D_v2)
NOT_SUPPORTED(cuMemcpy2DAsync_v2)
NOT_SUPPORTED(cuMemcpyHtoD_v2)
NOT_SUPPORTED(cuMemcpyHtoDAsync_v2)
NOT_SUPPORTED(cuMemcpyDtoH_v2)
NOT_SUPPORTED(cuMemcpyDtoHAsync_v2)
NOT_SUPPORTED(cuMemcpyDtoD_v2)
NOT_SUPPORTED(cuMemcpyDtoDAsync_v2)
NOT_SUPPORTED(cuCtxGetDevice)
NOT_SUPPORTED(cuDevicePrimaryCtxRetain)
NOT_SUPPORTED(cuDevicePrimaryCtxRelease)
NOT_SUPPORTED(cuDevicePrimaryCtxSetFlags)
NOT_SUPPORTED(cuDevicePrimaryCtxGetState)
NOT_SUPPORTED(cuDevicePrimaryCtxReset)
NOT_SUPPORTED(cuStreamCreate)
NOT_SUPPORTED(cuStreamQuery)
NOT_SUPPORTED(cuStreamSynchronize)
NOT_SUPPORTED(cuStreamDestroy_v2)
NOT_SUPPORTED(cuStreamAddCallback)
NOT_SUPPORTED(cuStreamWaitEvent)
NOT_SUPPORTED(cuEventCreate)
NOT_SUPPORTED(cuEventDestroy_v2)
NOT_SUPPORTED(cuEventSynchronize)
NOT_SUPPORTED(cuEventQuery)
NOT_SUPPORTED(cuEventRecord)
NOT_SUPPORTED(cuLaunchKernel)
NOT_SUPPORTED(cuLinkCreate)
NOT_SUPPORTED(cuLinkAddData)
NOT_SUPPORTED(cuLinkComplete)
NOT_SUPPORTED(cuLinkDestroy)
NOT_SUPPORTED(cuModuleLoadData)
NOT_SUPPORTED(cuModuleUnload)
NOT_SUPPORTED(cuModuleGetFunction)
NOT_SUPPORTED(cuModuleGetGlobal)
NOT_SUPPORTED(cuTexObjectCreate)
NOT_SUPPORTED(cuTexObjectDestroy)
NOT_SUPPORTED(cuGLGetDevices_v2)
NOT_SUPPORTED(cuGraphicsGLRegisterImage)
NOT_SUPPORTED(cuGraphicsUnregisterResource)
NOT_SUPPORTED(cuGraphicsMapResources)
NOT_SUPPORTED(cuGraphicsUnmapResources)
NOT_SUPPORTED(cuGraphicsSubResourceGetMappedArray)
NOT_SUPPORTED(cuGraphicsResourceGetMappedPointer_v2)
NOT_SUPPORTED(cuArrayCreate_v2)
NOT_SUPPORTED(cuArray3DCreate_v2)
NOT_SUPPORTED(cuArrayDestroy)
// Asked for on Windows.
NOT_SUPPORTED(cuD3D11GetDevice)
NOT_SUPPORTED(cuD3D11GetDevices)
NOT_SUPPORTED(cuGraphicsD3D11RegisterResource)
// NOLINTEND(readability-identifier-naming)
