// A trimmed conversion begins to read near its start instead of at the recording's beginning, where it is
// certain that this makes no difference to the movie.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "convert/conversion_input.h"
#include "convert/seek_point.h"

namespace veyrin {

/// Where the reading begins: what the demuxer is told, and where each eye begins in what it then delivers.
struct TrimSeek {
  int stream = 0;
  std::int64_t timestamp = 0;  ///< for av_seek_frame, backward
  SeekPoint point;
};

/// What must not be missed.
struct TrimNeeds {
  std::function<bool(double pair_time)> is_dropped;  ///< as in `SeekQuestions`
  /// Sound that ends later than this, in seconds of the recording's time; nothing when none is copied.
  std::optional<double> sound_from;
};

/// Looks for such a place in the recording, which is opened a second time for it, so that `input` stays where
/// it is. Nothing, and not a word, where anything about the recording leaves in doubt that reading from there
/// gives the same frames, times and sound: fragments, edit lists that cut samples away or repeat some,
/// interlaced pictures, damaged indexes, codecs other than H.264 and HEVC, sound whose packets are not the
/// samples of the file.
std::optional<TrimSeek> find_trim_seek(const ConversionInput& input, const TrimNeeds& needs);

/// Both eyes' pictures, with the times that their frames get.
struct IndexedEyes {
  EyePictures left;
  EyePictures right;
};

/// The pictures as the recording's index lists them. Nothing where `find_trim_seek` would find no place
/// because the index does not tell for certain which frames there are and when.
std::optional<IndexedEyes> read_indexed_eyes(const ConversionInput& input);

/// True when each of the file's samples becomes one packet of sound of this codec, whatever was read before.
bool has_one_packet_per_sample(const AVCodecParameters& sound);

}  // namespace veyrin
