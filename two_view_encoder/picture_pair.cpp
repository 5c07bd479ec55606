// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
#include "two_view_encoder/picture_pair.h"

#include <bit>

namespace veyrin::two_view {
namespace {

static_assert(std::endian::native == std::endian::little);

// P010 has its 10 bits at the top of each word.
constexpr unsigned p010_shift = 6;

// The pointers do not overlap, which lets the compiler use vectors.
void shift(const std::uint16_t* __restrict from, std::uint16_t* __restrict to, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) to[i] = static_cast<std::uint16_t>(from[i] >> p010_shift);
}

void split(const std::uint16_t* __restrict from, std::uint16_t* __restrict first,
           std::uint16_t* __restrict second, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    first[i] = static_cast<std::uint16_t>(from[2 * i] >> p010_shift);
    second[i] = static_cast<std::uint16_t>(from[2 * i + 1] >> p010_shift);
  }
}

}  // namespace

PicturePair::PicturePair(const Request& request)
    : width_(request.width),
      height_(request.height),
      ten_bits_(request.bit_depth == 10),
      picture_bytes_(picture_bytes(request)),
      input_((2 * picture_bytes_ + 1) / sizeof(std::uint16_t)),
      planar_(ten_bits_ ? input_.size() : 0) {}

std::span<std::uint8_t> PicturePair::input() {
  return {reinterpret_cast<std::uint8_t*>(input_.data()), 2 * picture_bytes_};
}

void PicturePair::unpack() {
  if (!ten_bits_) return;
  const std::size_t samples = picture_bytes_ / sizeof(std::uint16_t);
  unpack_picture(input_.data(), planar_.data());
  unpack_picture(&input_[samples], &planar_[samples]);
}

void PicturePair::unpack_picture(const std::uint16_t* from, std::uint16_t* to) const {
  const std::size_t luma = width_ * height_;
  shift(from, to, luma);
  split(from + luma, to + luma, to + luma + luma / 4, luma / 4);
}

std::array<PicturePlanes, 2> PicturePair::planes() {
  const std::size_t sample_bytes = ten_bits_ ? 2 : 1;
  const std::size_t luma = width_ * height_ * sample_bytes;
  const int stride = static_cast<int>(width_ * sample_bytes);
  std::array<PicturePlanes, 2> pictures;
  auto* at = reinterpret_cast<std::uint8_t*>(ten_bits_ ? planar_.data() : input_.data());
  for (PicturePlanes& picture : pictures) {
    picture = {.samples = {at, at + luma, at + luma + luma / 4}, .stride = {stride, stride / 2, stride / 2}};
    at += picture_bytes_;
  }
  return pictures;
}

}  // namespace veyrin::two_view
