// A small reader of MP4 and QuickTime files (ISO/IEC 14496-12), written for the tests so that files can be
// judged without the library that wrote them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veyrin::test {

/// Big-endian number of `bytes` (at most 8) bytes at `position`; throws when the text ends before.
std::uint64_t big_endian(std::string_view data, std::size_t position, std::size_t bytes);

struct Mp4Box {
  std::string type;           ///< four characters
  std::string_view payload;   ///< behind size and type; part of the file that was read
  std::string_view fields;    ///< the payload up to the boxes inside
  std::vector<Mp4Box> boxes;  ///< those inside, where the type is known to hold boxes

  /// The boxes reached by going down the types of `path`, such as "mdia/hdlr", in file order. A "*" in a
  /// path stands for any type.
  [[nodiscard]] std::vector<const Mp4Box*> all(std::string_view path) const;

  /// The only box at `path`; throws when there is none or more than one.
  [[nodiscard]] const Mp4Box& only(std::string_view path) const;
};

/// The boxes of a whole file as one box without type. `file` must stay. Throws on boxes that do not fit.
Mp4Box read_boxes(std::string_view file);

/// "moov/trak" box of the n-th track with the handler type "vide", "soun", ...; throws when there is none.
const Mp4Box& track_of_kind(const Mp4Box& file, std::string_view handler, std::size_t number = 0);

/// The bytes of each sample of a track, by its sample tables.
std::vector<std::string_view> track_samples(std::string_view file, const Mp4Box& track);

/// The tree of types and sizes, one line per box: what to show when files differ.
std::string box_tree(const Mp4Box& box);

}  // namespace veyrin::test
