// The JSON documents of the timed-metadata track and the truth file beside the movie.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/recordings/recording_plan.h"
#include "tests/recordings/rig.h"

namespace veyrin::recordings {

/// The calibration document of the sample at `seconds`.
nlohmann::json calibration_document(const RecordingPlan& plan, const Rig& rig, double seconds);

/// The ground truth: cameras, flashes, squares of the board, and the positions of all targets in space and
/// images.
nlohmann::json truth_document(const RecordingPlan& plan, const Rig& rig);

/// "FILE.points.json" for the movie FILE.
std::filesystem::path truth_path(const std::filesystem::path& movie);

}  // namespace veyrin::recordings
