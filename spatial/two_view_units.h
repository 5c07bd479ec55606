// The NAL units of a two-view stream (H.265 annexes B, F and G): whether a decoder of both views can live on
// them. Layer 0 is the left view, layer 1 the right one.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace veyrin {

/// Notes the parameter sets that it is shown.
class TwoViewParameterSets {
 public:
  /// Takes a NAL unit without its start code; all but parameter sets are passed over.
  void note(std::span<const std::uint8_t> unit);

  /// The same for each unit of a stream with start codes.
  void note_stream(std::span<const std::uint8_t> stream);

  /// The first set without which one of the views cannot be decoded, in words; empty when there is none.
  [[nodiscard]] std::string_view missing() const;

 private:
  bool video_set_ = false;
  bool video_set_of_two_layers_ = false;
  bool sequence_set_[2] = {};
  bool picture_set_[2] = {};
};

/// Whether a sample, with start codes, holds a picture of the left view and then one of the right view; else
/// false with one message in `error` that names the `producer`. `random_access` tells whether decoding can
/// begin with it.
[[nodiscard]] bool check_two_view_sample(std::span<const std::uint8_t> sample, const std::string& producer,
                                         bool& random_access, std::string& error);

}  // namespace veyrin
