// What surrounds the work of every program that people start in a console.
#pragma once

#include <string>

namespace veyrin {

inline constexpr int success_status = 0;
inline constexpr int failure_status = 1;

/// Prints the message as the one "Error: " line and returns the failure's status.
int report_error(const std::string& message);

/// The program's work on its arguments in UTF-8; its result is the exit status.
using ConsoleWork = int (*)(int argc, const char* const* argv);

/// Makes the console and the standard streams ready, does the work, and returns the program's exit status:
/// that of the work, or a failure's when it threw, which is reported, or when something it had to say was
/// lost.
int run_console_program(ConsoleWork work, int argc, const char* const* argv);

}  // namespace veyrin
