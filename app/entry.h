// The program behind main: picks the run mode and owns the exit status.
#pragma once

namespace veyrin {

/// Parses the arguments (UTF-8), runs the mode they ask for and reports the first failure as one "Error: "
/// line. Returns the exit status of the process, 0 or 1; nothing is thrown.
int run_converter(int argc, const char* const* argv) noexcept;

}  // namespace veyrin
