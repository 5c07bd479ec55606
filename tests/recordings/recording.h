// Makes one recording and its truth file.
#pragma once

#include <string>

#include "tests/recordings/recording_plan.h"

namespace veyrin::recordings {

/// False with one message in `error` when the recording cannot be made.
[[nodiscard]] bool make_recording(const RecordingPlan& plan, std::string& error);

}  // namespace veyrin::recordings
