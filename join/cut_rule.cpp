#include "join/cut_rule.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "convert/frame_timing.h"

namespace veyrin {
namespace {

// Pairs before and behind a cut that must follow each other evenly.
constexpr std::size_t even_pairs = 8;

/// The whole movie, its times counted from one origin.
class Whole {
 public:
  Whole(std::span<const PairTime> pairs, const CutRequest& request, double origin)
      : pairs_(pairs),
        request_(request),
        origin_(origin),
        schedule_(pairs, counted(request.range), request.output_rate, request.input_rate) {}

  [[nodiscard]] std::int64_t frames() const { return schedule_.frames(); }

  /// True when a piece may end before this frame and the next one may begin with it.
  [[nodiscard]] bool allows_cut(std::int64_t frame, double start) const {
    const auto pair = schedule_.pair_shown_from(frame);
    if (!pair || *pair < even_pairs || pairs_.size() - *pair <= even_pairs || !is_even_around(*pair))
      return false;
    const double last = pairs_[*pair - 1].seconds;
    const double frame_length = frame_seconds(request_.output_rate);
    const FramePacer before({origin_ + start - 2 * frame_length, 2 * frame_length}, request_.output_rate,
                            request_.input_rate);
    const FramePacer behind({origin_ + start, std::nullopt}, request_.output_rate, request_.input_rate);
    return before.decide(last) != PairDecision::finish && behind.decide(last) == PairDecision::drop &&
           behind.decide(pairs_[*pair].seconds) == PairDecision::encode;
  }

  /// The number of frames that converting the range makes, when they are those of the whole from `first` on.
  [[nodiscard]] std::optional<std::int64_t> frames_of(const TimeRange& range, std::int64_t first) const {
    const FrameSchedule piece(pairs_, counted(range), request_.output_rate, request_.input_rate);
    if (!piece.is_part_of(schedule_, first)) return std::nullopt;
    return piece.frames();
  }

 private:
  [[nodiscard]] TimeRange counted(TimeRange range) const {
    range.start += origin_;
    return range;
  }

  /// True where no picture is missing and the eyes keep their distance.
  [[nodiscard]] bool is_even_around(std::size_t pair) const {
    const auto near = pairs_.subspan(pair - even_pairs, 2 * even_pairs + 1);
    const double usual = (near.back().seconds - near.front().seconds) / static_cast<double>(near.size() - 1);
    for (std::size_t i = 1; i < near.size(); ++i) {
      const double distance = near[i].seconds - near[i - 1].seconds;
      if (!(distance > usual / 2 && distance < usual * 3 / 2)) return false;
      if (std::abs(near[i].step_seconds - near.front().step_seconds) > usual / 2) return false;
    }
    return true;
  }

  std::span<const PairTime> pairs_;
  const CutRequest& request_;
  double origin_;
  FrameSchedule schedule_;
};

class Cutter {
 public:
  Cutter(std::span<const PairTime> pairs, const CutRequest& request)
      : request_(request),
        main_(pairs, request, 0.0),
        other_(pairs, request, request.other_origin_seconds.value_or(0.0)) {}

  [[nodiscard]] std::vector<CutPiece> cut() const {
    std::vector<std::int64_t> cuts = choose_cuts();
    std::vector<CutPiece> pieces;
    while (pieces.size() + 1 < cuts.size()) {
      if (const auto piece = piece_at(pieces.size(), cuts)) {
        pieces.push_back(*piece);
      } else if (pieces.empty()) {
        return {whole()};
      } else {
        // Its frames are not those of the whole: where a pair is as near to one frame as to another, rounding
        // may choose another one. A piece that begins earlier rounds otherwise.
        cuts.erase(cuts.begin() + static_cast<std::ptrdiff_t>(pieces.size()));
        pieces.pop_back();
      }
    }
    return pieces;
  }

 private:
  [[nodiscard]] CutPiece whole() const { return {request_.range, main_.frames(), other_.frames()}; }

  [[nodiscard]] double length_of(std::int64_t frames) const {
    return static_cast<double>(frames) * request_.output_rate.den / request_.output_rate.num;
  }

  /// The frames before which it is cut, with the first and the one behind the last.
  [[nodiscard]] std::vector<std::int64_t> choose_cuts() const {
    const std::int64_t frames = main_.frames();
    const double wanted = std::round(length_of(frames) / request_.piece_seconds);
    // Pieces shorter than the pairs that are looked at around their ends would overlap.
    const auto most = std::max<std::int64_t>(frames / static_cast<std::int64_t>(2 * even_pairs), 1);
    const std::int64_t count = wanted < static_cast<double>(most)
                                   ? std::max<std::int64_t>(static_cast<std::int64_t>(wanted), 1)
                                   : most;
    std::vector<std::int64_t> cuts{0};
    for (std::int64_t piece = 1; piece < count; ++piece) {
      // Not the product by the quotient, which would be rounded.
      const std::int64_t target = frames / count * piece + frames % count * piece / count;
      if (const auto found = cut_near(target, frames / count / 3)) cuts.push_back(*found);
    }
    cuts.push_back(frames);
    return cuts;
  }

  [[nodiscard]] std::optional<std::int64_t> cut_near(std::int64_t target, std::int64_t farthest) const {
    for (std::int64_t distance = 0; distance <= farthest; ++distance) {
      for (const std::int64_t frame : {target + distance, target - distance}) {
        const double start = request_.range.start + length_of(frame);
        if (main_.allows_cut(frame, start) && other_.allows_cut(frame, start)) return frame;
      }
    }
    return std::nullopt;
  }

  /// The piece from this cut to the next one; nothing when its frames are not those of the whole.
  [[nodiscard]] std::optional<CutPiece> piece_at(std::size_t number,
                                                 const std::vector<std::int64_t>& cuts) const {
    const std::int64_t first = cuts[number];
    CutPiece piece{request_.range};
    piece.range.start += length_of(first);
    if (number + 2 < cuts.size())
      piece.range.duration = length_of(cuts[number + 1] - first);
    else if (piece.range.duration)
      *piece.range.duration -= length_of(first);
    const auto frames = main_.frames_of(piece.range, first);
    const auto other_frames = other_.frames_of(piece.range, first);
    if (!frames || !other_frames) return std::nullopt;
    piece.frames = *frames;
    piece.other_frames = *other_frames;
    return piece;
  }

  const CutRequest& request_;
  Whole main_;
  Whole other_;
};

}  // namespace

std::vector<CutPiece> choose_pieces(std::span<const PairTime> pairs, const CutRequest& request) {
  return Cutter(pairs, request).cut();
}

}  // namespace veyrin
