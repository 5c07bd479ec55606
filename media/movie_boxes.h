// The boxes of a file of the MP4 family (ISO/IEC 14496-12), read without a demuxer, which would pass over
// what it does not know.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <istream>
#include <optional>
#include <string_view>
#include <vector>

namespace veyrin {

/// A box, or a part of one that holds boxes; positions are bytes of the file.
struct MovieBox {
  std::array<char, 4> type{};
  std::uint64_t begin = 0;  ///< behind the header
  std::uint64_t end = 0;

  [[nodiscard]] bool is(std::string_view name) const {
    return std::string_view(type.data(), type.size()) == name;
  }
  /// What follows the first `bytes` of the content; empty when there are fewer.
  [[nodiscard]] MovieBox behind(std::uint64_t bytes) const {
    return {type, bytes < end - begin ? begin + bytes : end, end};
  }
};

/// The box at `position`; nothing when its header or its extent does not fit in front of `end`.
std::optional<MovieBox> read_box(std::istream& file, std::uint64_t position, std::uint64_t end);

/// The first box of each type inside the one before it; nothing when one of them is not there.
std::optional<MovieBox> find_box(std::istream& file, MovieBox within,
                                 std::initializer_list<std::string_view> path);

/// The first video track ("trak") of a movie of `file_size` bytes.
std::optional<MovieBox> find_video_track(std::istream& file, std::uint64_t file_size);

/// The content of a box of at most `largest` bytes; nothing when it has more or cannot be read.
std::optional<std::vector<std::uint8_t>> read_content(std::istream& file, const MovieBox& box,
                                                      std::uint64_t largest);

}  // namespace veyrin
