// The answer whether this machine can run the requested conversion.
#pragma once

#include <chrono>
#include <string>

#include "common/conversion_options.h"

namespace veyrin {

/// The name of the file that a probe may write, unique by the clock's reading.
std::string probe_file_name(const ConversionOptions& options, std::chrono::nanoseconds clock_reading);

/// Probes the conversion of the one input, or of the synthetic properties, and writes the answer, one line of
/// JSON and nothing else. Throws a file system error when there is no temporary folder.
void answer_support_check(const ConversionOptions& options);

}  // namespace veyrin
