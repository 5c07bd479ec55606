// What one run of the packaged software encoder is asked for.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

extern "C" {
#include <libavutil/pixfmt.h>
#include <libavutil/rational.h>
}

namespace veyrin {

/// One encode of the packaged program.
struct SoftwareEncodeRequest {
  /// Rewrites the finished file; false with one message in `error`.
  using FinishPass = std::function<bool(const std::filesystem::path& output, std::string& error)>;

  std::filesystem::path input;   ///< the source recording; the child copies its audio
  std::filesystem::path output;  ///< written by the child
  std::int32_t width = 0;        ///< of the piped frames
  std::int32_t height = 0;
  AVRational frame_rate{30, 1};
  std::int64_t bit_rate = 0;      ///< bits per second
  double start_seconds = 0.0;     ///< trim start; seeks the audio
  double duration_seconds = 0.0;  ///< trim length, used with `has_duration`
  AVColorPrimaries primaries = AVCOL_PRI_BT709;
  AVColorTransferCharacteristic transfer = AVCOL_TRC_BT709;
  AVColorSpace matrix = AVCOL_SPC_BT709;
  AVColorRange range = AVCOL_RANGE_MPEG;
  bool has_duration = false;
  bool has_audio = false;
  bool overwrite = false;
  bool ten_bit = false;    ///< P010 frames and Main 10, else planar 8-bit 4:2:0 and Main
  FinishPass finish_pass;  ///< runs on the output after a successful encode; may be empty
};

}  // namespace veyrin
