// The command line of veyrin-join.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "media/video_types.h"

namespace veyrin {

/// What a run is asked for.
struct JoinOptions {
  std::optional<double> cut_minutes;  ///< tell the pieces of a recording; nothing: join some
  std::optional<std::filesystem::path> recording;
  std::optional<std::filesystem::path> output;
  TimeRange range;                   ///< of the whole movie
  std::optional<double> output_fps;  ///< of the whole movie
  bool overwrite = false;
  bool help = false;
  std::vector<std::string> files;  ///< the recording to cut, or the pieces in order
};

/// Reads the arguments from index 1 on into `options`, which holds the defaults, and tests the rules between
/// options. False with one message in `error` at the first failure.
[[nodiscard]] bool parse_join_arguments(int argc, const char* const* argv, JoinOptions& options,
                                        std::string& error);

/// What `--help` prints, line feeds included.
std::string join_usage_text();

}  // namespace veyrin
