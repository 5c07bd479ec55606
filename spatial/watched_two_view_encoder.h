// Tells an encoder's own failures from those of what takes its samples.
#pragma once

#include <functional>
#include <memory>

#include "spatial/two_view_encoder.h"

namespace veyrin {

/// The same encoder, which calls `failed` when it fails while it encodes or drains, and not when its samples
/// could not be taken.
std::unique_ptr<TwoViewEncoder> watch_two_view_encoder(std::unique_ptr<TwoViewEncoder> encoder,
                                                       std::function<void()> failed);

}  // namespace veyrin
