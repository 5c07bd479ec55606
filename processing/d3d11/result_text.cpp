#include "processing/d3d11/result_text.h"

#include <array>
#include <cstdio>

namespace veyrin {

bool fail_with_result(std::string& error, const char* step, HRESULT result) {
  std::array<char, 160> text{};
  std::snprintf(text.data(), text.size(), "%s failed (HRESULT 0x%08lx)", step,
                static_cast<unsigned long>(result));
  error = text.data();
  return false;
}

}  // namespace veyrin
