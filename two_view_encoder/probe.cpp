// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
#include "two_view_encoder/probe.h"

#include <memory>
#include <optional>

#include "common/error_text.h"
#include "two_view_encoder/picture_pair.h"
#include "two_view_encoder/x265_encoder.h"

namespace veyrin::two_view {
namespace {

constexpr std::uint64_t probe_pairs = 3;

Request tiny_request(std::uint32_t bit_depth) {
  return {.width = 64,
          .height = 64,
          .bit_depth = bit_depth,
          .key_distance = 30,
          .bits_per_second = 1'000'000,
          .preset = "ultrafast"};
}

// Something else in each picture, so that there is something to encode.
void paint(std::uint64_t number, PicturePair& pair) {
  std::uint32_t state = static_cast<std::uint32_t>(number) + 1;
  for (std::uint8_t& byte : pair.input()) {
    state = state * 1664525U + 1013904223U;
    byte = static_cast<std::uint8_t>(state >> 24U);
  }
  pair.unpack();
}

}  // namespace

bool probe(std::uint32_t bit_depth, std::string& error) {
  const Request request = tiny_request(bit_depth);
  const std::unique_ptr<X265Encoder> encoder = X265Encoder::open(request, error);
  if (!encoder) return false;
  PicturePair pair(request);
  std::optional<Unit> unit;
  for (std::uint64_t number = 0; number < probe_pairs; ++number) {
    paint(number, pair);
    if (!encoder->encode(&pair, unit, error)) return false;
  }
  do {
    if (!encoder->encode(nullptr, unit, error)) return false;
  } while (unit);
  return encoder->units_given() == probe_pairs || fail(error, "x265 kept a picture");
}

}  // namespace veyrin::two_view
