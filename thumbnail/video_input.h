// Opening a video and choosing the streams that its preview shows.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "media/ffmpeg.h"
#include "thumbnail/recording_layout.h"

namespace veyrin {

/// Opens the file without looking into its streams; false with one message in `error`.
[[nodiscard]] bool open_demuxer(const std::filesystem::path& input, InputContextPtr& context,
                                std::string& error);

/// Opens the file and finds out what its streams hold; false with one message in `error`.
[[nodiscard]] bool open_video(const std::filesystem::path& input, InputContextPtr& context,
                              std::string& error);

/// The streams of one preview, by stream index.
struct StreamChoice {
  std::vector<int> streams;   ///< to be decoded, in the order of the file
  int left = -1, right = -1;  ///< the eyes' streams; -1 for the preview of a single stream

  [[nodiscard]] bool is_dual() const { return left >= 0 && right >= 0; }
};

/// The eyes' streams when the layout has a valid calibration for two playable ones, else the best video
/// stream, with a notice when the file has fewer than two. Playable means that a decoder exists and that the
/// stream is not a cover picture. False with one message in `error`; `path` is for the messages.
[[nodiscard]] bool choose_streams(AVFormatContext& input, const RecordingLayout& layout,
                                  const std::string& path, StreamChoice& choice, std::string& error);

}  // namespace veyrin
