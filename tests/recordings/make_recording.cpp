// make_recording: writes a recording like those of real cameras, and a file with the ground truth.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "common/platform/files.h"
#include "tests/recordings/calibration_document.h"
#include "tests/recordings/recording.h"

int main(int argc, char** argv) {
  using namespace veyrin::recordings;
  try {
    RecordingPlan plan;
    bool help = false;
    std::string error;
    if (!parse_recording_plan(std::vector<std::string>(argv + 1, argv + argc), plan, help, error)) {
      std::fprintf(stderr, "Error: %s\n", error.c_str());
      return 1;
    }
    if (help) {
      std::fputs(recording_usage().c_str(), stdout);
      return 0;
    }
    if (!make_recording(plan, error)) {
      std::fprintf(stderr, "Error: %s\n", error.c_str());
      return 1;
    }
    std::printf("Recording: %s\nTruth: %s\n", veyrin::platform::path_to_utf8(plan.output).c_str(),
                veyrin::platform::path_to_utf8(truth_path(plan.output)).c_str());
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "Error: %s\n", failure.what());
    return 1;
  }
}
