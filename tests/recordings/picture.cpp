#include "tests/recordings/picture.h"

#include <algorithm>
#include <cmath>

namespace veyrin::recordings {
namespace {

std::uint16_t rounded_code(double code, int bits) {
  return static_cast<std::uint16_t>(std::lround(std::clamp(code, 0.0, static_cast<double>((1 << bits) - 1))));
}

/// Light of the scene for a signal of ITU-R BT.709's camera curve.
double bt709_light(double signal) {
  return signal < 0.081 ? signal / 4.5 : std::pow((signal + 0.099) / 1.099, 1.0 / 0.45);
}

/// The camera curve of ITU-R BT.2100 HLG.
double hlg_signal(double light) {
  constexpr double a = 0.17883277;
  const double b = 1.0 - 4.0 * a, c = 0.5 - a * std::log(4.0 * a);
  return light <= 1.0 / 12.0 ? std::sqrt(3.0 * light) : a * std::log(12.0 * light - b) + c;
}

Colour hlg_of_bt709(Colour colour) {
  constexpr double white_light = 0.26496;  // of a signal of 0.75
  const double red = white_light * bt709_light(colour.red);
  const double green = white_light * bt709_light(colour.green);
  const double blue = white_light * bt709_light(colour.blue);
  // Primaries as in ITU-R BT.2087.
  return {hlg_signal(0.6274 * red + 0.3293 * green + 0.0433 * blue),
          hlg_signal(0.0691 * red + 0.9195 * green + 0.0114 * blue),
          hlg_signal(0.0164 * red + 0.0880 * green + 0.8956 * blue)};
}

}  // namespace

Yuv encode_colour(Colour colour, const ColourCoding& coding) {
  return encode_signal(coding.hlg ? hlg_of_bt709(colour) : colour, coding);
}

Yuv encode_signal(Colour signal, const ColourCoding& coding) {
  const double kr = coding.hlg ? 0.2627 : 0.2126;
  const double kb = coding.hlg ? 0.0593 : 0.0722;
  const double luma = kr * signal.red + (1.0 - kr - kb) * signal.green + kb * signal.blue;
  const double cb = (signal.blue - luma) / (2.0 * (1.0 - kb));
  const double cr = (signal.red - luma) / (2.0 * (1.0 - kr));
  const double unit = 1 << (coding.bits - 8);
  const double top = (1 << coding.bits) - 1;
  const double middle = 1 << (coding.bits - 1);
  if (coding.full_range) return {luma * top, middle + cb * top, middle + cr * top};
  return {(16.0 + 219.0 * luma) * unit, middle + 224.0 * unit * cb, middle + 224.0 * unit * cr};
}

Picture::Picture(int picture_width, int picture_height) : width(picture_width), height(picture_height) {
  const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  y.resize(count);
  u.resize(count / 4);
  v.resize(count / 4);
}

void Picture::set_luma(int column, int row, double code, int bits) {
  y[luma_index(column, row)] = rounded_code(code, bits);
}

void Picture::set_chroma(int column, int row, double u_code, double v_code, int bits) {
  const std::size_t index = chroma_index(column, row);
  u[index] = rounded_code(u_code, bits);
  v[index] = rounded_code(v_code, bits);
}

void Picture::wash(const Yuv& towards, double share, int bits) {
  const auto move = [share, bits](std::vector<std::uint16_t>& plane, double target) {
    for (std::uint16_t& sample : plane) sample = rounded_code(sample + share * (target - sample), bits);
  };
  move(y, towards.y);
  move(u, towards.u);
  move(v, towards.v);
}

void Picture::append_raw(int bits, std::vector<std::uint8_t>& bytes) const {
  for (const std::vector<std::uint16_t>* plane : {&y, &u, &v}) {
    for (const std::uint16_t sample : *plane) {
      bytes.push_back(static_cast<std::uint8_t>(sample & 0xFFU));
      if (bits > 8) bytes.push_back(static_cast<std::uint8_t>(sample >> 8U));
    }
  }
}

}  // namespace veyrin::recordings
