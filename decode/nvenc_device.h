// The graphics device that encode sessions are opened on; one implementation for each driver interface.
#pragma once

#include <memory>
#include <string>

#include "decode/nvenc_interface.h"

namespace veyrin {

/// Where the NVIDIA driver's libraries are: file names for the system's search, or paths.
struct NvencLibraries {
  std::string device;
  std::string encoder;
  std::string adapters = {};  ///< lists the GPUs, where the system has a library of its own for that
};

/// The names under which the driver installs its libraries.
NvencLibraries installed_nvenc_libraries();

/// A device of an NVIDIA GPU, released with the object.
class NvencDevice {
 public:
  virtual ~NvencDevice() = default;
  [[nodiscard]] virtual nvenc::DeviceType type() const = 0;
  /// What the encode session takes as its device; owned by this object.
  [[nodiscard]] virtual void* handle() const = 0;
};

/// Opens the first NVIDIA GPU; null when there is no driver or no GPU.
std::unique_ptr<NvencDevice> open_nvenc_device(const NvencLibraries& libraries);

}  // namespace veyrin
