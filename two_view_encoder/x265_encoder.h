// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
// Encodes pairs of pictures as two-view HEVC.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "spatial/two_view_protocol.h"
#include "two_view_encoder/picture_pair.h"
#include "two_view_encoder/x265_library.h"

namespace veyrin::two_view {

/// One open encoder, driven by one thread.
class X265Encoder {
 public:
  /// Null with the reason in `error`.
  [[nodiscard]] static std::unique_ptr<X265Encoder> open(const Request& request, std::string& error);

  /// An encoder with pictures inside is not closed, since x265 would finish them first: the process has to
  /// end without cleaning up.
  ~X265Encoder();
  X265Encoder(const X265Encoder&) = delete;
  X265Encoder& operator=(const X265Encoder&) = delete;

  /// VPS, SPS and PPS of both views with start codes.
  [[nodiscard]] const Bytes& parameter_sets() const { return parameter_sets_; }

  /// Takes the next pair, or asks for what is left when `pair` is null. The samples are the caller's again
  /// afterwards. `unit` is empty when none is ready; without a pair that means that there is none left.
  [[nodiscard]] bool encode(PicturePair* pair, std::optional<Unit>& unit, std::string& error);

  /// Pairs given to `encode` so far.
  [[nodiscard]] std::uint64_t pairs_taken() const { return pairs_taken_; }
  /// Units that have come out of it.
  [[nodiscard]] std::uint64_t units_given() const { return units_given_; }

 private:
  explicit X265Encoder(const Request& request) : request_(request) {}
  [[nodiscard]] bool start(std::string& error);
  [[nodiscard]] bool take_parameter_sets(std::string& error);
  [[nodiscard]] bool make_unit(std::span<const x265_nal> nal_units, std::int64_t pts, Unit& unit,
                               std::string& error);

  Request request_;
  const x265_api* api_ = nullptr;
  X265Parameters parameters_;
  X265Handle encoder_;
  Bytes parameter_sets_;
  std::int64_t reorder_delay_ = 0;
  std::uint64_t pairs_taken_ = 0;
  std::uint64_t units_given_ = 0;
};

}  // namespace veyrin::two_view
