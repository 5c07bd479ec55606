// Where a trimmed conversion may begin to read so that it gets the very pairs of frames that reading from the
// beginning gives: plain arithmetic on both eyes' indexes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

extern "C" {
#include <libavutil/rational.h>
}

namespace veyrin {

/// One picture of an eye's track; times are ticks of the track's time base.
struct IndexedPicture {
  std::int64_t dts = 0;  ///< when it is decoded
  std::int64_t pts = 0;  ///< when it is shown
  bool key = false;      ///< marked as one that decoding may begin with
};

/// All pictures of an eye, in decoding order. Each one becomes a frame, and none has another one's time.
struct EyePictures {
  std::vector<IndexedPicture> pictures;
  AVRational time_base{1, 1};
};

/// The times at which an eye's frames are shown, in order; nothing when they do not tell the frames apart or
/// in which order the decoder gives them, and when the first group of pictures already lacks what it refers
/// to.
std::optional<std::vector<std::int64_t>> shown_times(const EyePictures& eye);

/// Where one eye begins.
struct EyeStart {
  std::size_t key = 0;         ///< position of the picture that decoding begins with
  std::int64_t key_dts = 0;    ///< of that picture; earlier ones are not decoded
  std::int64_t first_pts = 0;  ///< of the first frame that is used; frames shown before it are not
};

struct SeekPoint {
  EyeStart left;
  EyeStart right;
};

/// What the choice asks for.
struct SeekQuestions {
  /// True for the times, in seconds, of pairs before the trim, which leave no trace: all times up to one.
  std::function<bool(double pair_time)> is_dropped;
  /// Whether the bitstream lets a fresh decoder begin with the picture at this position, which the index
  /// marks as a key picture. Asked as rarely as possible.
  std::function<bool(std::size_t position)> left_is_clean;
  std::function<bool(std::size_t position)> right_is_clean;
};

/// Frames are paired by their number, as they leave the decoders. So both eyes begin with the frame of the
/// same number, which is that of the last pair dropped plus one: for each eye the last clean key picture is
/// sought that is shown no later than it. Pictures that follow a key picture in decoding order and are shown
/// before it (an open group's) may lack what they refer to; they have smaller numbers and are not used.
/// Nothing when both eyes would begin with their first picture, and where the order of the pictures leaves
/// their frames' numbers open.
std::optional<SeekPoint> choose_seek_point(const EyePictures& left, const EyePictures& right,
                                           const SeekQuestions& questions);

}  // namespace veyrin
