// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
// One movie: the request and its pairs from standard input, records to standard output.
#pragma once

namespace veyrin::two_view {

/// The exit status of the program. What fails is the last record.
[[nodiscard]] int serve();

}  // namespace veyrin::two_view
