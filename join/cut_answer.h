// The pieces that a recording is cut into, as one line of JSON.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "join/cut_rule.h"
#include "media/video_types.h"

namespace veyrin {

/// What is asked.
struct CutQuestion {
  std::filesystem::path recording;
  double piece_minutes = 1.0;          ///< above 0
  TimeRange range;                     ///< of the whole movie
  std::optional<double> output_fps{};  ///< as the conversion is told it
};

/// What is answered.
struct CutAnswer {
  FrameRate rate{30, 1};               ///< of the movie
  std::optional<std::size_t> pairs{};  ///< of the recording; nothing when its index does not tell
  std::vector<CutPiece> pieces;        ///< at least one; its frames are known when the pairs are
  std::string reason{};                ///< why there is one piece only; empty when there are more
};

/// Reads the recording's index and cuts it; nothing with one message in `error` when it could not be
/// converted either.
[[nodiscard]] std::optional<CutAnswer> cut_recording(const CutQuestion& question, std::string& error);

/// `{"rate":"30/1","pairs":N,"pieces":[{"start":S,"duration":D,"frames":F},...],"reason":"..."}` without a
/// line feed. "duration" is missing where the piece is open, "pairs" and "frames" where they are not known,
/// "reason" where there are several pieces. A piece that has another number of frames when the packaged
/// encoder makes it has this number as "packaged_frames".
std::string cut_answer_text(const CutAnswer& answer);

}  // namespace veyrin
