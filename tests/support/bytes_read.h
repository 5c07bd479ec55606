// How much this process has read.
#pragma once

#include <cstdint>
#include <fstream>
#include <optional>
#include <string>

namespace veyrin::test {

/// Bytes that this process has requested to read; nothing if the system does not count them.
inline std::optional<std::uint64_t> bytes_read() {
  std::ifstream counters("/proc/self/io");
  std::string name;
  std::uint64_t value = 0;
  while (counters >> name >> value) {
    if (name == "rchar:") return value;
  }
  return std::nullopt;
}

}  // namespace veyrin::test
