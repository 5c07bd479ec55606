// Parameter sets that x265 made for 8-bit pictures of 64x64 pixels.
#pragma once

#include <string>
#include <vector>

namespace veyrin::test {

/// Of a stream with two views, without start codes: the video set, then sequence and picture set of the left
/// view, then those of the right one.
std::vector<std::string> two_view_sets();

/// The video set of a stream with one layer.
std::string one_layer_video_set();

/// The units with start codes.
std::string stream_of(const std::vector<std::string>& units);

/// All sets of a stream with two views, with start codes.
std::string sequence_header();

}  // namespace veyrin::test
