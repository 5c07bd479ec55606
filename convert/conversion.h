// One recording becomes one movie, or, as a probe, the answer whether it could.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "common/conversion_options.h"
#include "metadata/recording_metadata.h"

namespace veyrin {

/// Stands in for a recording when support is asked for a kind of input instead of a file.
struct SyntheticInput {
  std::int32_t width = 0;   ///< per eye
  std::int32_t height = 0;  ///< per eye
  bool ten_bit = false;
};

struct ConversionJob {
  std::filesystem::path input;  ///< empty with a synthetic input
  std::optional<SyntheticInput> synthetic_input;
  std::filesystem::path output;
  ConversionKind kind = ConversionKind::sbs;
  bool probe = false;  ///< stop with success once the encoder is open; nothing is decoded or written
};

/// Runs one conversion; false with one message in `error` on the first failure. `software_path` starts true
/// and is cleared when the chosen encoder is a hardware one.
[[nodiscard]] bool convert_recording(const ConversionJob& job, const RecordingMetadata& metadata,
                                     const ConversionOptions& options, bool& software_path,
                                     std::string& error);

}  // namespace veyrin
