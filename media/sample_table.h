// What the index of a file of the MP4 family says of a track's samples and a demuxer does not hand on: when
// they are shown. FFmpeg's own index knows only when they are decoded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <istream>
#include <optional>
#include <vector>

namespace veyrin {

/// A track's samples, in decoding order.
struct SampleTable {
  std::vector<std::uint32_t> sizes;  ///< bytes of each sample
  /// Ticks of the track's time from the decoding of each sample to its presentation; empty when the file
  /// holds none, so that pictures are shown in decoding order.
  std::vector<std::int32_t> composition_offsets;
  std::size_t descriptions = 0;  ///< how many there are of the samples' format
  /// True when the track's edit list shows its samples as one piece, after some time without a picture or
  /// none; also when there is no edit list.
  bool in_one_piece = false;
};

/// Reads the table of the track with this number. Nothing when the file of `file_size` bytes has no such
/// track, more than one, or not all of its samples in the index (fragments), and when boxes are missing,
/// occur twice or hold less than they say.
std::optional<SampleTable> read_sample_table(std::istream& file, std::uint64_t file_size, int track_number);

/// True when the file's index lists all samples: it is one of the MP4 family and has no fragments.
bool has_complete_index(std::istream& file, std::uint64_t file_size);

/// The same for a file that is opened for it; false when it cannot be.
bool has_complete_index(const std::filesystem::path& path);

}  // namespace veyrin
