// Renders, encodes with the ffmpeg program, and reads back the coded samples of each track.
#pragma once

#include <filesystem>
#include <string>

#include "tests/recordings/media_track.h"
#include "tests/recordings/recording_plan.h"
#include "tests/recordings/rig.h"

namespace veyrin::recordings {

enum class Eye { left, right };

/// The video of one eye; `scratch` is a temporary file for the encoder's output.
[[nodiscard]] bool code_eye(const RecordingPlan& plan, const Rig& rig, Eye eye,
                            const std::filesystem::path& scratch, MediaTrack& track, std::string& error);

/// A quiet tone with a click at each flash, AAC.
[[nodiscard]] bool code_sound(const RecordingPlan& plan, const std::filesystem::path& scratch,
                              MediaTrack& track, std::string& error);

}  // namespace veyrin::recordings
