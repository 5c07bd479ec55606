// The representative frame of each stream: its first decoded one.
#pragma once

#include <string>
#include <vector>

#include "media/ffmpeg.h"

namespace veyrin {

struct FirstFrame {
  int stream = -1;    ///< stream index
  std::string label;  ///< for messages: "thumbnail track" and the position among the chosen streams
  FramePtr frame;     ///< null when nothing of the stream could be decoded
};

/// Decodes until every stream has its frame, reading no packets of other streams and none behind a stream's
/// frame. Damaged packets are passed over. False with one message in `error` when a decoder cannot be
/// opened.
[[nodiscard]] bool decode_first_frames(AVFormatContext& input, const std::vector<int>& streams,
                                       std::vector<FirstFrame>& frames, std::string& error);

}  // namespace veyrin
