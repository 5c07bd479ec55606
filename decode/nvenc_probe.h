// Whether the NVIDIA GPU and its driver can encode two views in one HEVC stream.
#pragma once

#include <memory>
#include <string>

#include "decode/nvenc_interface.h"
#include "media/video_types.h"

namespace veyrin {

/// Where the NVIDIA driver's libraries are: file names for the system's search, or paths.
struct NvencLibraries {
  std::string device;
  std::string encoder;
  std::string adapters = {};  ///< lists the GPUs, on systems with a separate library for that
};

/// The names under which the driver installs its libraries.
NvencLibraries installed_nvenc_libraries();

/// A device of an NVIDIA GPU that encode sessions are opened on, released with the object. Each driver
/// interface has an implementation of its own.
class NvencDevice {
 public:
  virtual ~NvencDevice() = default;
  [[nodiscard]] virtual nvenc::DeviceType type() const = 0;
  /// What the encode session takes as its device; owned by this object.
  [[nodiscard]] virtual void* handle() const = 0;
};

/// Opens the first NVIDIA GPU; null when there is no driver or no GPU.
[[nodiscard]] std::unique_ptr<NvencDevice> open_nvenc_device(const NvencLibraries& libraries);

/// Asks the installed driver about views of this size and depth; false when it is missing, too old or says
/// no.
bool probe_stereo_mv_hevc_support(Size view, BitDepth depth);

/// Asks the driver in these libraries.
bool probe_stereo_mv_hevc_support(Size view, BitDepth depth, const NvencLibraries& libraries);

}  // namespace veyrin
