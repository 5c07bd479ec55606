// What the two-view encoder's program is asked for.
#pragma once

#include <optional>
#include <string>

#include "spatial/two_view_encoder.h"
#include "spatial/two_view_protocol.h"

namespace veyrin {

/// The request for a movie, with what the user chooses by `VEYRIN_TWO_VIEW_PRESET` and
/// `VEYRIN_TWO_VIEW_B_FRAMES`; nothing, with one message in `error`, when that is no choice or the program
/// does not take such movies.
[[nodiscard]] std::optional<two_view::Request> two_view_request(const SpatialWriterConfig& config,
                                                                std::string& error);

}  // namespace veyrin
