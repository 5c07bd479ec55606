// A CUDA library with one kind of device and contexts that are numbers.
#include "tests/decode/simulated_driver/driver_state.h"
#include "tests/decode/simulated_driver/load_count.h"

using veyrin::simulated_driver::state;

namespace {

constexpr int the_device = 7;
int the_context = 0;

}  // namespace

extern "C" {

int cuInit(unsigned flags) {
  if (flags != 0) state().mistakes.emplace_back("cuInit flags");
  return state().init_result;
}

int cuDeviceGetCount(int* count) {
  *count = state().device_count;
  return state().device_count_result;
}

int cuDeviceGet(int* device, int ordinal) {
  if (ordinal < 0 || ordinal >= state().device_count) state().mistakes.emplace_back("device ordinal");
  *device = the_device;
  return state().get_device_result;
}

int cuCtxCreate_v2(void** context, unsigned, int device) {
  if (device != the_device) state().mistakes.emplace_back("context of another device");
  if (state().create_context_result != 0) return state().create_context_result;
  constexpr std::uint32_t cuda = 1;
  ++state().contexts_created;
  state().device_type = cuda;
  state().device = &the_context;
  *context = &the_context;
  return 0;
}

int cuCtxDestroy_v2(void* context) {
  if (context != &the_context) state().mistakes.emplace_back("destroyed an unknown context");
  if (state().sessions_opened != state().sessions_destroyed) {
    state().mistakes.emplace_back("destroyed a context that has a session");
  }
  ++state().contexts_destroyed;
  return 0;
}
}
