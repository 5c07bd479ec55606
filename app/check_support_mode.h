// The answer whether this machine can run the requested conversion.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "common/conversion_options.h"
#include "media/video_types.h"

namespace veyrin {

/// The text as the inside of a JSON string. Bytes of 0x80 and above pass unchanged.
std::string escape_json(std::string_view text);

/// The answer "yes", one line of JSON with its line feed.
std::string supported_answer(Acceleration acceleration);

/// The answer "no" with its reason in plain text, one line of JSON with its line feed.
std::string unsupported_answer(std::string_view reason);

/// The name of the file that a probe may write, unique by the clock's reading.
std::string probe_file_name(const ConversionOptions& options, std::chrono::nanoseconds clock_reading);

/// Probes the conversion of the one input, or of the synthetic properties, and writes the answer, one line of
/// JSON and nothing else. Throws a file system error when there is no temporary folder.
void answer_support_check(const ConversionOptions& options);

}  // namespace veyrin
