#include "spatial/two_view_units.h"

#include <cstddef>

#include "common/error_text.h"

namespace veyrin {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr unsigned first_random_access = 16;
constexpr unsigned last_random_access = 23;
constexpr unsigned last_picture = 31;
constexpr unsigned video_parameter_set = 32;
constexpr unsigned sequence_parameter_set = 33;
constexpr unsigned picture_parameter_set = 34;
constexpr std::size_t unit_header_bytes = 2;

struct UnitHeader {
  unsigned type;
  unsigned layer;
};

UnitHeader header_of(Bytes unit) {
  return {unit[0] >> 1U & 63U, (unit[0] & 1U) << 5U | unit[1] >> 3U};
}

// Where the next start code of three bytes is; the end when there is none.
std::size_t find_start_code(Bytes stream, std::size_t from) {
  for (std::size_t i = from + 2; i < stream.size();) {
    if (stream[i] > 1) {
      i += 3;  // no start code can contain this byte
    } else if (stream[i] == 1 && stream[i - 1] == 0 && stream[i - 2] == 0) {
      return i - 2;
    } else {
      ++i;
    }
  }
  return stream.size();
}

// Each unit that has a header. The zeros behind it are no part of it.
template <typename Visit>
void for_each_unit(Bytes stream, Visit visit) {
  constexpr std::size_t start_code_bytes = 3;
  for (std::size_t at = find_start_code(stream, 0); at < stream.size();) {
    const std::size_t begin = at + start_code_bytes;
    at = find_start_code(stream, begin);
    std::size_t end = at;
    while (end > begin && stream[end - 1] == 0) --end;
    if (end - begin >= unit_header_bytes) visit(stream.subspan(begin, end - begin));
  }
}

// The bits of a NAL unit's payload; the bytes that keep start codes out of it are left out. Zeros follow the
// end, where `good` is false.
class PayloadBits {
 public:
  explicit PayloadBits(Bytes payload) : bytes_(payload) {}

  [[nodiscard]] bool good() const { return good_; }

  std::uint32_t bit() {
    if (left_ == 0 && !next_byte()) return 0;
    return byte_ >> --left_ & 1U;
  }

  std::uint32_t bits(int count) {
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i) value = value << 1U | bit();
    return value;
  }

  void skip(std::uint64_t count) {
    for (std::uint64_t i = 0; i < count && good_; ++i) bit();
  }

  /// Exponential Golomb.
  std::uint32_t number() {
    int zeros = 0;
    while (good_ && bit() == 0) ++zeros;
    if (zeros > 31) good_ = false;
    return good_ ? (1U << static_cast<unsigned>(zeros)) - 1 + bits(zeros) : 0;
  }

 private:
  bool next_byte() {
    if (at_ < bytes_.size() && zeros_ >= 2 && bytes_[at_] == 3) {
      ++at_;
      zeros_ = 0;
    }
    good_ = good_ && at_ < bytes_.size();
    if (!good_) return false;
    byte_ = bytes_[at_++];
    zeros_ = byte_ == 0 ? zeros_ + 1 : 0;
    left_ = 8;
    return true;
  }

  Bytes bytes_;
  std::size_t at_ = 0;
  unsigned byte_ = 0;
  int left_ = 0;
  int zeros_ = 0;
  bool good_ = true;
};

// profile_tier_level() of H.265, 7.3.3.
void skip_profile_and_level(PayloadBits& payload, std::uint32_t sub_layers) {
  constexpr int profile = 88;
  constexpr int level = 8;
  payload.skip(profile + level);
  std::uint32_t profiles = 0;
  std::uint32_t levels = 0;
  for (std::uint32_t i = 0; i < sub_layers; ++i) {
    profiles += payload.bit();
    levels += payload.bit();
  }
  if (sub_layers > 0) payload.skip(2 * std::uint64_t{8 - sub_layers});
  payload.skip(std::uint64_t{profiles} * profile + std::uint64_t{levels} * level);
}

// True when the set (7.3.2.1) is for more than one layer and has the extension that says how they depend on
// each other.
bool describes_layers(Bytes video_set) {
  PayloadBits payload(video_set.subspan(unit_header_bytes));
  payload.skip(4 + 2);  // its number, flags of the base layer
  const std::uint32_t layers = payload.bits(6) + 1;
  const std::uint32_t sub_layers = payload.bits(3);
  payload.skip(1 + 16);  // nesting, reserved
  if (layers < 2) return false;
  skip_profile_and_level(payload, sub_layers);
  const std::uint32_t orderings = payload.bit() != 0 ? sub_layers + 1 : 1;
  for (std::uint32_t i = 0; i < 3 * orderings; ++i) payload.number();
  const std::uint32_t largest_layer = payload.bits(6);
  payload.skip(std::uint64_t{payload.number()} * (largest_layer + 1));  // which layers are in which set
  if (payload.bit() != 0) {
    payload.skip(32 + 32);  // time scale
    if (payload.bit() != 0) payload.number();
    // Buffer models would have to be read to come to what follows them. Whoever writes one for a stream of
    // several layers writes the extension, too.
    if (payload.number() > 0) return payload.good();
  }
  return payload.bit() != 0 && payload.good();
}

}  // namespace

void TwoViewParameterSets::note(Bytes unit) {
  if (unit.size() < unit_header_bytes) return;
  const UnitHeader header = header_of(unit);
  if (header.layer > 1) return;
  switch (header.type) {
    case video_parameter_set:
      video_set_ = video_set_ || header.layer == 0;
      video_set_of_two_layers_ = video_set_of_two_layers_ || (header.layer == 0 && describes_layers(unit));
      break;
    case sequence_parameter_set:
      sequence_set_[header.layer] = true;
      break;
    case picture_parameter_set:
      picture_set_[header.layer] = true;
      break;
    default:
      break;
  }
}

void TwoViewParameterSets::note_stream(Bytes stream) {
  for_each_unit(stream, [this](Bytes unit) { note(unit); });
}

std::string_view TwoViewParameterSets::missing() const {
  if (!video_set_) return "the video parameter set";
  if (!video_set_of_two_layers_) return "the extension of the video parameter set";
  if (!sequence_set_[0]) return "the sequence parameter set of the left view";
  if (!picture_set_[0]) return "the picture parameter set of the left view";
  if (!sequence_set_[1]) return "the sequence parameter set of the right view";
  if (!picture_set_[1]) return "the picture parameter set of the right view";
  return {};
}

bool check_two_view_sample(std::span<const std::uint8_t> sample, const std::string& producer,
                           bool& random_access, std::string& error) {
  bool has_view[2] = {};
  bool in_order = true;
  random_access = false;
  for_each_unit(sample, [&](Bytes unit) {
    const UnitHeader header = header_of(unit);
    if (header.type > last_picture || header.layer > 1) return;
    in_order = in_order && (header.layer == 1 || !has_view[1]);
    has_view[header.layer] = true;
    if (header.layer == 0)
      random_access = header.type >= first_random_access && header.type <= last_random_access;
  });
  const std::string produced = producer + " produced an MV-HEVC access unit ";
  if (!has_view[0]) return fail(error, produced + "without the left view");
  if (!has_view[1]) return fail(error, produced + "without the right view");
  return in_order || fail(error, produced + "with the right view before the left one");
}

}  // namespace veyrin
