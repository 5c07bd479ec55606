// Test fixture: a machine with the simulated driver.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/platform/files.h"
#include "tests/support/environment.h"
#include "tests/support/temporary_folder.h"

extern "C" {
#include <libavutil/log.h>
}

namespace veyrin::test {

class SimulatedDriver : public testing::Test {
 protected:
  SimulatedDriver() {
    // FFmpeg's messages about refusals that a test provokes would only be noise.
    av_log_set_level(AV_LOG_QUIET);
    set("LOG", platform::path_to_utf8(folder_ / "log"));
  }
  ~SimulatedDriver() override {
    for (const std::string& name : changed_) remove_variable(name.c_str());
  }

  /// Sets one of the driver's variables until the end of the test.
  void set(const std::string& name, const std::string& value) {
    changed_.push_back("VEYRIN_SIMULATED_NVENC_" + name);
    set_variable(changed_.back().c_str(), value);
  }

  [[nodiscard]] std::string log() const { return file_text(folder_ / "log"); }

  TemporaryFolder folder_;

 private:
  std::vector<std::string> changed_;
};

}  // namespace veyrin::test
