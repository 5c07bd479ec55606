// What one run of the packaged FFmpeg program is asked for, and the argument vectors that say so.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "media/video_types.h"

namespace veyrin {

/// One encode of the packaged program.
struct SoftwareEncodeRequest {
  /// Whether the file is a movie of so many pictures.
  using FinishCheck = std::function<bool(const std::filesystem::path& output, std::int64_t pictures)>;
  /// Rewrites the finished file; false with one message in `error`.
  using FinishPass = std::function<bool(const std::filesystem::path& output, std::string& error)>;

  std::filesystem::path input;   ///< the source recording; the child copies its audio
  std::filesystem::path output;  ///< written by the child
  Size size;                     ///< of the piped frames
  FrameRate frame_rate{30, 1};
  std::int64_t bit_rate = 0;  ///< bits per second
  TimeRange range;            ///< the trim: where the audio is sought, and how long the movie is
  ColorTags colors{AVCOL_PRI_BT709, AVCOL_TRC_BT709, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG};
  bool has_audio = false;
  bool overwrite = false;
  BitDepth depth = BitDepth::eight;
  FinishCheck finish_check;  ///< judges the output after a successful encode; may be empty
  FinishPass finish_pass;    ///< runs on the output after that; may be empty
};

/// Encodes one tiny picture to nowhere: shows that libx265 works in the given depth.
std::vector<std::string> packaged_probe_arguments(BitDepth depth);

/// Encodes raw frames of standard input, copies the recording's audio and writes the movie. The request's
/// paths must be absolute: the program runs in its own folder.
std::vector<std::string> packaged_encode_arguments(const SoftwareEncodeRequest& request);

}  // namespace veyrin
