// Pictures in textures of the device that a session was opened on.
#pragma once

#include <cstdint>
#include <memory>

#include "tests/simulated_nvenc/picture_source.h"

namespace veyrin::simulated_nvenc {

/// A texture that the caller has registered.
class RegisteredTexture : public PictureSource {
 public:
  using PictureSource::PictureSource;

  bool mapped = false;
  /// The handle of the mapped texture for later calls; distinct from that of the registration, as with a
  /// driver.
  [[nodiscard]] void* mapped_handle() { return &mapped; }
};

class TextureDevice {
 public:
  virtual ~TextureDevice() = default;
  /// Keeps a reference to the texture. Throws a Refusal for a resource that cannot hold such a picture.
  virtual std::unique_ptr<RegisteredTexture> take(void* texture, std::uint32_t subresource,
                                                  const PictureLayout& layout) = 0;
};

/// The Direct3D 11 device behind the handle; null where the system has none or the handle is no such device.
std::unique_ptr<TextureDevice> open_texture_device(void* handle);

}  // namespace veyrin::simulated_nvenc
