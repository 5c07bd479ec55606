// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
// Standard input and output as bytes, without buffers of this program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace veyrin::two_view {

/// To be called once, before the others.
void prepare_standard_streams();

/// Waits until all of `into` is filled or the input ends, and gives the number of bytes read. An input that
/// cannot be read has ended.
[[nodiscard]] std::size_t read_standard_input(std::span<std::uint8_t> into);

/// Waits until all bytes are written; false when nobody reads them any more, never a signal.
[[nodiscard]] bool write_standard_output(std::span<const std::uint8_t> bytes);

}  // namespace veyrin::two_view
