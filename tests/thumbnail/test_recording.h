// Recordings for previews.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/recordings/recording.h"

namespace veyrin::test {

/// A square recording of a single frame per eye, to be changed as needed.
inline recordings::RecordingPlan frame_plan(int side) {
  recordings::RecordingPlan plan;
  plan.width = plan.height = side;
  plan.seconds = 1.0 / 30.0;
  plan.audio = false;
  return plan;
}

inline std::filesystem::path record(recordings::RecordingPlan plan, const std::filesystem::path& path) {
  plan.output = path;
  std::string error;
  EXPECT_TRUE(recordings::make_recording(plan, error)) << error;
  return path;
}

}  // namespace veyrin::test
