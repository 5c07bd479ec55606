// The JSON documents of the timed-metadata track and the truth file beside the movie.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/recordings/recording_plan.h"
#include "tests/recordings/rig.h"

namespace veyrin::recordings {

/// The document of the sample at `seconds`.
nlohmann::json calibration_document(const RecordingPlan& plan, const Rig& rig, double seconds);

/// Cameras, flashes, the board's squares and every target's position and images, as tests want them.
nlohmann::json truth_document(const RecordingPlan& plan, const Rig& rig);

/// "FILE.points.json" for the movie FILE.
std::filesystem::path truth_path(const std::filesystem::path& movie);

}  // namespace veyrin::recordings
