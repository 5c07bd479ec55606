// Where a long recording is cut into pieces that are converted each by itself, so that their frames together
// are those of one conversion: plain arithmetic on the times of the pairs.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "join/frame_schedule.h"
#include "media/video_types.h"

namespace veyrin {

/// What is to be cut.
struct CutRequest {
  TimeRange range;               ///< of the whole movie
  FrameRate output_rate{30, 1};  ///< valid
  FrameRate input_rate{};        ///< not always valid
  double piece_seconds = 60.0;   ///< how long pieces are to be, roughly; above 0
  /// The packaged encoder counts times from here where others count from 0; the cuts are right for both.
  std::optional<double> other_origin_seconds;
};

/// What one conversion makes.
struct CutPiece {
  TimeRange range;                ///< as a conversion is told it; the last one is open as the whole is
  std::int64_t frames = 0;        ///< of the piece
  std::int64_t other_frames = 0;  ///< the same where times are counted from the other origin
};

/// The pieces, in order; one that is the whole when it is not worth cutting or no place for a cut was found.
/// A cut lies where a frame of the whole movie begins to show another pair than before, so that the pieces'
/// frames have the times that they have in the whole, and among pairs that follow each other evenly. Pieces
/// are roughly as long as asked for, and longer where there are no such places. The pairs are in
/// order of time.
std::vector<CutPiece> choose_pieces(std::span<const PairTime> pairs, const CutRequest& request);

}  // namespace veyrin
