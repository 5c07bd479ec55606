// An encoder behind the simulated driver. Does not include the driver's header, whose names clash with
// x265's.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace veyrin::simulated_nvenc {

enum class Codec { h264, hevc };

enum class RateMode { constant_qp, constant_quality, bit_rate };

struct RateSettings {
  RateMode mode = RateMode::bit_rate;
  int qp = 0;  ///< of P-frames; that of other frames is close to it
  double quality = 0;
  std::uint32_t bits_per_second = 0;  ///< for all views together
};

/// Numbers as the codecs write them.
struct ColorSettings {
  bool signal_described = false;
  bool full_range = false;
  bool colors_described = false;
  int primaries = 2;
  int transfer = 2;
  int matrix = 2;
  int chroma_location = -1;  ///< none is written when negative
};

struct StreamSettings {
  Codec codec = Codec::hevc;
  int width = 0;
  int height = 0;
  int views = 1;
  int bit_depth = 8;
  std::uint32_t rate_numerator = 0;
  std::uint32_t rate_denominator = 1;
  int b_frames = 0;
  std::uint32_t idr_period = 0;
  bool high_profile = false;  ///< of H.264
  RateSettings rate;
  ColorSettings colors;
};

/// A 4:2:0 picture in three planes: bytes for 8 bits, words in the low 10 bits for 10.
struct Planes {
  std::array<std::vector<std::uint8_t>, 3> samples;
  std::array<std::size_t, 3> stride{};  ///< bytes
  int bit_depth = 8;
};

enum class PictureKind { idr, forward, bidirectional };

/// All views of one frame.
struct InputPicture {
  std::vector<Planes> views;
  std::int64_t number = 0;  ///< in display order
  PictureKind kind = PictureKind::forward;
};

struct CodedPicture {
  std::vector<std::vector<std::uint8_t>> views;  ///< Annex B, slices only
  std::int64_t number = 0;
  PictureKind kind = PictureKind::forward;
  int average_qp = 0;
};

/// Encodes groups of pictures; no picture of a group stays in the encoder. Throws std::runtime_error when the
/// library fails.
class StreamCoder {
 public:
  virtual ~StreamCoder() = default;
  /// The parameter sets in Annex B format.
  virtual std::vector<std::uint8_t> parameter_sets() = 0;
  /// Encodes a group, given in display order; the result is in coding order.
  virtual std::vector<CodedPicture> code(std::span<const InputPicture> group) = 0;
};

std::unique_ptr<StreamCoder> open_x265(const StreamSettings& settings);
std::unique_ptr<StreamCoder> open_x264(const StreamSettings& settings);

}  // namespace veyrin::simulated_nvenc
