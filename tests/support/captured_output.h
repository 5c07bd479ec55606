// Captures the standard streams of the test process.
#pragma once

#include <string>

namespace veyrin::test {

/// Redirects standard output (standard error) to a file. Captures of the same stream do not nest.
void capture_output();
void capture_errors();

/// Ends the capture and returns what was written since its start.
std::string captured_output();
std::string captured_errors();

}  // namespace veyrin::test
