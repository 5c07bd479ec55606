// A system without Direct3D.
#include "tests/simulated_nvenc/texture_device.h"

namespace veyrin::simulated_nvenc {

std::unique_ptr<TextureDevice> open_texture_device(void* /*handle*/) {
  return nullptr;
}

}  // namespace veyrin::simulated_nvenc
