// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
#include "two_view_encoder/standard_streams.h"

#include <windows.h>

#include <algorithm>

namespace veyrin::two_view {
namespace {

// Longer transfers are split, so that their sizes fit the system's 32-bit numbers.
constexpr std::size_t longest_transfer = std::size_t{1} << 24U;

DWORD transfer_size(std::size_t bytes) {
  return static_cast<DWORD>(std::min(bytes, longest_transfer));
}

}  // namespace

// The calls below know neither text mode nor signals.
void prepare_standard_streams() {}

std::size_t read_standard_input(std::span<std::uint8_t> into) {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  std::size_t done = 0;
  while (done < into.size()) {
    DWORD read = 0;
    if (ReadFile(input, &into[done], transfer_size(into.size() - done), &read, nullptr) == 0 || read == 0)
      break;
    done += read;
  }
  return done;
}

bool write_standard_output(std::span<const std::uint8_t> bytes) {
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  while (!bytes.empty()) {
    DWORD written = 0;
    if (WriteFile(output, bytes.data(), transfer_size(bytes.size()), &written, nullptr) == 0 || written == 0)
      return false;
    bytes = bytes.subspan(written);
  }
  return true;
}

}  // namespace veyrin::two_view
