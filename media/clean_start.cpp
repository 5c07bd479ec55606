#include "media/clean_start.h"

#include <algorithm>
#include <array>
#include <span>

namespace veyrin {
namespace {

// ITU-T H.264 and H.265, table 7-1 in both.
constexpr int h264_idr = 5;
constexpr int h264_sequence_parameters = 7;
constexpr int h264_picture_parameters = 8;
constexpr int hevc_idr_with_leading = 19;
constexpr int hevc_cra = 21;
constexpr int hevc_last_slice = 31;
constexpr int hevc_sequence_parameters = 33;
constexpr int hevc_picture_parameters = 34;

// ISO/IEC 14496-15: where the configuration records keep the bytes of a length less one, and, in HEVC's, the
// number of arrays of parameter sets.
constexpr std::size_t h264_length_at = 4;
constexpr std::size_t hevc_length_at = 21;
constexpr std::size_t hevc_arrays_at = 22;

/// The first bytes of a unit, as far as they are looked at.
using UnitStart = std::span<const std::uint8_t>;
constexpr std::size_t unit_start_bytes = 8;

class Bits {
 public:
  explicit Bits(UnitStart bytes) : bytes_(bytes) {}

  /// The next bit; nothing behind the end.
  std::optional<unsigned> next() {
    if (at_ / 8 >= bytes_.size()) return std::nullopt;
    const unsigned bit = bytes_[at_ / 8] >> (7 - at_ % 8) & 1U;
    ++at_;
    return bit;
  }

  /// Passes over a number in Exponential Golomb code.
  void skip_number() {
    std::size_t zeros = 0;
    while (next() == 0U) ++zeros;
    at_ += zeros;
  }

 private:
  UnitStart bytes_;
  std::size_t at_ = 0;
};

int hevc_type(UnitStart unit) {
  return unit[0] >> 1U & 0x3F;
}

/// True when slices that refer to these picture parameters may say that their picture is not shown.
bool lets_pictures_be_hidden(UnitStart unit) {
  if (unit.size() < 2) return true;
  Bits bits(unit.subspan(2));
  bits.skip_number();  // its own number
  bits.skip_number();  // that of its sequence's parameters
  bits.next();         // dependent slice segments
  return bits.next() != 0U;
}

/// True when no picture parameters of the configuration let pictures be hidden.
bool shows_every_picture(std::span<const std::uint8_t> record) {
  std::size_t at = hevc_arrays_at + 1;
  bool complete = true;
  const auto take = [&](std::size_t bytes) {
    std::size_t value = 0;
    complete = complete && record.size() - at >= bytes;
    for (std::size_t i = 0; i < bytes && complete; ++i) value = value << 8U | record[at++];
    return value;
  };
  for (std::size_t array = 0; array < record[hevc_arrays_at]; ++array) {
    take(1);  // the type, which each unit repeats
    const std::size_t units = take(2);
    for (std::size_t unit = 0; unit < units; ++unit) {
      const std::size_t size = take(2);
      if (!complete || size == 0 || size > record.size() - at) return false;
      const UnitStart start = record.subspan(at, std::min(size, unit_start_bytes));
      if (hevc_type(start) == hevc_picture_parameters && lets_pictures_be_hidden(start)) return false;
      at += size;
    }
  }
  return complete;
}

/// What a sample holds, as far as it is read.
struct SampleUnits {
  bool sequence_parameters = false;
  bool picture_parameters = false;
  bool hiding_parameters = false;
  bool clean_picture = false;
};

/// Notes a unit; true when it belongs to the sample's picture, with which the reading ends.
bool note_h264(UnitStart unit, SampleUnits& units) {
  const int type = unit[0] & 0x1F;
  units.sequence_parameters |= type == h264_sequence_parameters;
  units.picture_parameters |= type == h264_picture_parameters;
  units.clean_picture = type == h264_idr;
  return type >= 1 && type <= h264_idr;
}

bool note_hevc(UnitStart unit, SampleUnits& units) {
  const int type = hevc_type(unit);
  units.sequence_parameters |= type == hevc_sequence_parameters;
  units.picture_parameters |= type == hevc_picture_parameters;
  units.hiding_parameters |= type == hevc_picture_parameters && lets_pictures_be_hidden(unit);
  // The slice begins with the marks "first of its picture" and "earlier pictures are not shown any more".
  constexpr unsigned first_and_not = 0xC0;
  const bool keeps_earlier = unit.size() > 2 && (unit[2] & first_and_not) == 0x80;
  units.clean_picture = type >= hevc_idr_with_leading && type <= hevc_cra && keeps_earlier;
  return type <= hevc_last_slice;
}

}  // namespace

std::optional<CleanStarts> CleanStarts::create(const AVCodecParameters& parameters) {
  const auto tagged = [&](const char(&tag)[5]) {
    return parameters.codec_tag == MKTAG(tag[0], tag[1], tag[2], tag[3]);
  };
  const std::span<const std::uint8_t> record(parameters.extradata,
                                             static_cast<std::size_t>(parameters.extradata_size));
  if (record.empty() || record[0] != 1) return std::nullopt;
  if (parameters.codec_id == AV_CODEC_ID_H264 && (tagged("avc1") || tagged("avc3")) &&
      record.size() > h264_length_at) {
    return CleanStarts(AV_CODEC_ID_H264, (record[h264_length_at] & 3U) + 1U, tagged("avc3"));
  }
  if (parameters.codec_id == AV_CODEC_ID_HEVC && (tagged("hvc1") || tagged("hev1")) &&
      record.size() > hevc_arrays_at && shows_every_picture(record)) {
    return CleanStarts(AV_CODEC_ID_HEVC, (record[hevc_length_at] & 3U) + 1U, tagged("hev1"));
  }
  return std::nullopt;
}

bool CleanStarts::at(std::istream& file, std::int64_t position, int size) const {
  SampleUnits units;
  bool reached_picture = false;
  std::int64_t left = size;
  while (!reached_picture) {
    std::array<std::uint8_t, 4 + unit_start_bytes> bytes{};
    const auto wanted = static_cast<std::streamsize>(
        std::min(left, static_cast<std::int64_t>(length_bytes_ + unit_start_bytes)));
    file.seekg(static_cast<std::streamoff>(position));
    file.read(reinterpret_cast<char*>(bytes.data()), wanted);
    if (!file || wanted <= static_cast<std::streamsize>(length_bytes_)) return false;
    std::int64_t unit_size = 0;
    for (std::size_t i = 0; i < length_bytes_; ++i) unit_size = unit_size << 8 | bytes.at(i);
    const auto unit_left = left - static_cast<std::int64_t>(length_bytes_);
    if (unit_size < 1 || unit_size > unit_left) return false;
    const UnitStart unit(bytes.data() + length_bytes_,
                         static_cast<std::size_t>(std::min<std::int64_t>(unit_size, unit_start_bytes)));
    reached_picture = codec_ == AV_CODEC_ID_H264 ? note_h264(unit, units) : note_hevc(unit, units);
    position += static_cast<std::int64_t>(length_bytes_) + unit_size;
    left = unit_left - unit_size;
  }
  const bool has_parameters = units.sequence_parameters && units.picture_parameters;
  return units.clean_picture && !units.hiding_parameters && (has_parameters || !needs_parameters_);
}

}  // namespace veyrin
