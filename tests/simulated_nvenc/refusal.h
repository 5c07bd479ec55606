// A call that the driver does not accept.
#pragma once

#include <ffnvcodec/nvEncodeAPI.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace veyrin::simulated_nvenc {

/// Becomes the status of the call; the last-error call returns the text.
class Refusal : public std::runtime_error {
 public:
  Refusal(NVENCSTATUS status, const std::string& reason) : std::runtime_error(reason), status_(status) {}
  [[nodiscard]] NVENCSTATUS status() const { return status_; }

 private:
  NVENCSTATUS status_;
};

/// Refuses with the status unless the condition holds.
inline void require(bool condition, NVENCSTATUS status, const char* reason) {
  if (!condition) throw Refusal(status, reason);
}

/// Refuses a structure of another interface version.
inline void require_version(std::uint32_t version, std::uint32_t expected, const char* structure) {
  if (version != expected)
    throw Refusal(NV_ENC_ERR_INVALID_VERSION, std::string(structure) + ": wrong version word");
}

/// Whether two of the interface's names are the same.
inline bool same_guid(const GUID& first, const GUID& second) {
  const auto key = [](const GUID& guid) {
    std::string text(reinterpret_cast<const char*>(guid.Data4), sizeof guid.Data4);
    return text + ' ' + std::to_string(guid.Data1) + ' ' + std::to_string(guid.Data2) + ' ' +
           std::to_string(guid.Data3);
  };
  return key(first) == key(second);
}

}  // namespace veyrin::simulated_nvenc
