// A fixture whose child is a shell script.
#pragma once

#include <memory>
#include <string>

#include "tests/common/child_process_fixture.h"
#include "tests/support/script.h"

namespace veyrin::test {

class ScriptChildTest : public ChildProcessTest {
 protected:
  /// Runs `body` in the test's folder.
  std::unique_ptr<platform::ChildProcess> start_script(
      const std::string& body, platform::ChildInput input = platform::ChildInput::null_device) {
    platform::ChildProcessRequest request = request_for({}, input);
    request.executable = write_script(home_ / "script", body);
    return start_request(request);
  }
};

}  // namespace veyrin::test
