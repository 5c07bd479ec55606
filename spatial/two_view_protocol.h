// What the converter and its two-view encoder, a program of its own, say to each other: a request and raw
// pictures through the encoder's standard input, records through its standard output. Numbers are
// little-endian. Either side checks the version and every length, and a stream that ends without its last
// message was cut off.
//
//   request   "VTVE", u32 version, u32 bytes, body
//   pair      "PAIR", samples of the left picture, samples of the right one
//   end       "DONE", u64 pairs sent
//
//   record    u32 kind, u32 bytes, body
//     opened    u32 version, parameter sets of both views with start codes
//     unit      i64 pts, i64 dts, u32 flags, u32 bytes of the left view, slices of both, with start codes
//     done      u64 units sent
//     failed    one message in UTF-8, the last record
//
// The samples of a picture are planes without gaps between rows: planar 4:2:0 in bytes for 8 bits, P010 for
// 10. Pairs are counted from 0; a unit's times are such numbers, so that the output's rate is exact.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace veyrin::two_view {

using Bytes = std::vector<std::uint8_t>;
using ByteSpan = std::span<const std::uint8_t>;

inline constexpr std::uint32_t protocol_version = 1;

/// What is to be encoded. Colours are ITU-T H.273 numbers.
struct Request {
  std::uint32_t width = 0;   ///< of each eye; even, 16 to 8192
  std::uint32_t height = 0;  ///< as the width
  std::uint32_t bit_depth = 8;
  std::uint32_t rate_numerator = 30;
  std::uint32_t rate_denominator = 1;
  std::uint32_t primaries = 2;
  std::uint32_t transfer = 2;
  std::uint32_t matrix = 2;
  std::uint32_t full_range = 0;    ///< 0 or 1
  std::uint32_t key_distance = 1;  ///< from key picture to key picture
  static constexpr std::uint32_t own_b_frames = ~0U;
  std::uint32_t b_frames = own_b_frames;  ///< in a row, 0 to 8; or the encoder's own choice
  std::uint64_t bits_per_second = 0;      ///< of both views together
  std::string preset{};                   ///< the encoder's name for its speed; empty: its own choice

  bool operator==(const Request&) const = default;
};

/// What of a request is outside of its limits, in words; empty when nothing is.
[[nodiscard]] std::string_view find_mistake(const Request& request);

/// Bytes of one eye's picture.
[[nodiscard]] std::size_t picture_bytes(const Request& request);

/// In front of a request's body, which `bytes` belong to.
struct RequestHead {
  static constexpr std::size_t size = 12;
  static constexpr std::uint32_t most_bytes = 4096;
  bool is_request = false;
  std::uint32_t version = 0;
  std::uint32_t bytes = 0;
};

/// The whole message.
[[nodiscard]] Bytes write_request(const Request& request);
[[nodiscard]] RequestHead parse_request_head(std::span<const std::uint8_t, RequestHead::size> head);
/// Nothing unless the body is that of a request of this version without a mistake.
[[nodiscard]] std::optional<Request> parse_request(ByteSpan body);

inline constexpr std::size_t mark_size = 4;
/// In front of the samples of a pair.
inline constexpr std::array<std::uint8_t, mark_size> pair_mark{'P', 'A', 'I', 'R'};
inline constexpr std::array<std::uint8_t, mark_size> end_mark{'D', 'O', 'N', 'E'};

/// The end of the input: mark and number of pairs.
[[nodiscard]] Bytes write_end(std::uint64_t pairs);
inline constexpr std::size_t pair_count_size = 8;
/// The number behind the end's mark.
[[nodiscard]] std::uint64_t parse_pair_count(std::span<const std::uint8_t, pair_count_size> count);

/// What a record is; other numbers are nonsense.
enum class RecordKind : std::uint32_t { opened = 1, unit = 2, done = 3, failed = 4 };

/// In front of a record's body.
struct RecordHead {
  static constexpr std::size_t size = 8;
  static constexpr std::uint32_t most_bytes = 1U << 28U;  ///< of a body: more is nonsense
  std::uint32_t kind = 0;
  std::uint32_t bytes = 0;
};
[[nodiscard]] RecordHead parse_record_head(std::span<const std::uint8_t, RecordHead::size> head);

/// The encoder is open.
struct Opened {
  std::uint32_t version = protocol_version;
  Bytes parameter_sets;
};

/// Both views of one moment; `bytes` is those of the left view and then those of the right one.
struct Unit {
  std::int64_t pts = 0;
  std::int64_t dts = 0;
  bool key = false;
  std::uint32_t left_bytes = 0;
  Bytes bytes;
};

/// The whole record.
[[nodiscard]] Bytes write_opened(ByteSpan parameter_sets);
/// Head and fields alone: the bytes of the views follow.
[[nodiscard]] Bytes write_unit_head(const Unit& unit, std::size_t right_bytes);
/// The whole record.
[[nodiscard]] Bytes write_done(std::uint64_t units);
/// The whole record. Messages are cut after 1000 bytes.
[[nodiscard]] Bytes write_failed(const std::string& message);

/// Nothing unless the body is one of its kind. An `Opened` of another version has no parameter sets.
[[nodiscard]] std::optional<Opened> parse_opened(ByteSpan body);
[[nodiscard]] std::optional<Unit> parse_unit(ByteSpan body);
[[nodiscard]] std::optional<std::uint64_t> parse_done(ByteSpan body);
[[nodiscard]] std::string parse_failed(ByteSpan body);

}  // namespace veyrin::two_view
