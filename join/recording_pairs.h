// What the joining of pieces asks a recording: its streams, its rate, and when its pairs of pictures are
// shown.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "convert/conversion_input.h"
#include "convert/conversion_plan.h"
#include "join/frame_schedule.h"

namespace veyrin {

/// A recording, opened as for a conversion.
struct OpenedRecording {
  ConversionInput input;
  InputFacts facts;
};

/// Reads the calibration and the header, of which the former names the eyes' tracks. Nothing with one message
/// in `error` when it is no recording.
[[nodiscard]] std::optional<OpenedRecording> open_joined_recording(const std::filesystem::path& recording,
                                                                   std::string& error);

/// The pairs as a conversion makes them of the frames of both eyes, in order of time. Only the index is read;
/// nothing where it leaves in doubt what there is.
std::optional<std::vector<PairTime>> read_pair_times(const ConversionInput& input);

/// From where the packaged encoder counts the times of a recording with sound, in seconds, when that is not
/// time 0, from which all others count.
std::optional<double> other_origin(const InputFacts& facts);

}  // namespace veyrin
