// A small reader of MP4 and QuickTime files (ISO/IEC 14496-12), so that tests can check files without the
// library that wrote them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veyrin::test {

/// Big-endian number of `bytes` (at most 8) bytes at `position`; throws if the data ends earlier.
std::uint64_t big_endian(std::string_view data, std::size_t position, std::size_t bytes);

struct Mp4Box {
  std::string type;           ///< four characters
  std::string_view payload;   ///< after size and type; refers to the file's data
  std::string_view fields;    ///< the payload up to the boxes inside
  std::vector<Mp4Box> boxes;  ///< the boxes inside, for types that are known to have them

  /// The boxes at a path of types such as "mdia/hdlr", in file order. A "*" in the path matches any type.
  [[nodiscard]] std::vector<const Mp4Box*> all(std::string_view path) const;

  /// The only box at `path`; throws if there is none or more than one.
  [[nodiscard]] const Mp4Box& only(std::string_view path) const;
};

/// A whole file as one box without type. `file` must outlive the result. Throws if box sizes do not add up.
Mp4Box read_boxes(std::string_view file);

/// The "moov/trak" box of the n-th track with the handler type "vide", "soun", ...; throws if there is none.
const Mp4Box& track_of_kind(const Mp4Box& file, std::string_view handler, std::size_t number = 0);

/// The bytes of each sample of a track, found by its sample tables.
std::vector<std::string_view> track_samples(std::string_view file, const Mp4Box& track);

/// The tree of types and sizes, one line per box, to show when files differ.
std::string box_tree(const Mp4Box& box);

}  // namespace veyrin::test
