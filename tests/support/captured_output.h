// What the program under test writes to its standard streams.
#pragma once

#include <string>

namespace veyrin::test {

/// Sends standard output (standard error) into a file from now on. Captures of one stream do not nest.
void capture_output();
void capture_errors();

/// Ends the capture and gives what was written since it began.
std::string captured_output();
std::string captured_errors();

}  // namespace veyrin::test
