// The planes that kernels are measured on: every kind of samples, and maps whose neighbourhoods lie inside
// the source or on its border.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "media/video_types.h"
#include "processing/plane_pass.h"
#include "rectification/rectification_maps.h"

namespace veyrin::bench {

struct PlaneKind {
  const char* name;
  SampleStorage storage;
  ChannelLayout channels;
};

inline constexpr PlaneKind plane_kinds[] = {
    {"luma 8-bit", SampleStorage::bits_8, ChannelLayout::single},
    {"luma 10-bit", SampleStorage::bits_16, ChannelLayout::single},
    {"luma P010", SampleStorage::bits_16_high, ChannelLayout::single},
    {"chroma 8-bit", SampleStorage::bits_8, ChannelLayout::planar_pair},
    {"chroma 10-bit", SampleStorage::bits_16, ChannelLayout::planar_pair},
    {"chroma NV12", SampleStorage::bits_8, ChannelLayout::interleaved_pair},
    {"chroma P010", SampleStorage::bits_16_high, ChannelLayout::interleaved_pair},
};

constexpr bool is_luma(const PlaneKind& kind) {
  return kind.channels == ChannelLayout::single;
}

/// Codes of the kind's depth.
constexpr std::uint32_t code_count(const PlaneKind& kind) {
  return kind.storage == SampleStorage::bits_8 ? 256 : 1024;
}

/// Bits below the code in a sample.
constexpr int shift(const PlaneKind& kind) {
  return kind.storage == SampleStorage::bits_16_high ? high_alignment_shift : 0;
}

/// Planes that one pass reads and writes.
constexpr std::size_t plane_count(const PlaneKind& kind) {
  return kind.channels == ChannelLayout::planar_pair ? 2 : 1;
}

/// Channels that lie sample by sample in one of these planes.
constexpr int channels_per_plane(const PlaneKind& kind) {
  return kind.channels == ChannelLayout::interleaved_pair ? 2 : 1;
}

/// A map with one entry per luma sample; chroma takes every second one of every second row, halved.
struct Place {
  const char* name;
  const EyeMap& (*map)(const PlaneKind& kind);  ///< built once
};

/// A fisheye lens of a rig; all neighbourhoods lie inside.
const EyeMap& inside_map(const PlaneKind& kind);
/// Positions along the upper and the left edge, each with some of its taps outside.
const EyeMap& border_map(const PlaneKind& kind);

inline constexpr Place places[] = {{"inside", inside_map}, {"border", border_map}};

/// The source planes of one kind, filled, and output planes for a map.
struct Planes {
  Planes(const PlaneKind& kind, const EyeMap& map);

  std::int32_t step;  ///< map entries per output sample, in both directions
  Size source_size;
  Size output_size;
  std::vector<cv::Mat> sources;
  std::vector<cv::Mat> outputs;
};

}  // namespace veyrin::bench
