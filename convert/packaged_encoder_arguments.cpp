#include "convert/packaged_encoder_arguments.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <initializer_list>

#include "common/platform/files.h"
#include "convert/frame_timing.h"
#include "media/raw_picture.h"
#include "media/video_types.h"

namespace veyrin {
namespace {

using Arguments = std::vector<std::string>;

void append(Arguments& arguments, std::initializer_list<std::string> more) {
  arguments.insert(arguments.end(), more);
}

const char* encoder_pixel_format(BitDepth depth) {
  return depth == BitDepth::ten ? "yuv420p10le" : "yuv420p";
}

// Six digits after the point, whatever the locale.
std::string seconds_text(double seconds) {
  constexpr int fraction_digits = 6;
  std::array<char, 352> text{};  // the largest double has 309 digits before the point
  const auto result = std::to_chars(text.data(), text.data() + text.size(), seconds, std::chars_format::fixed,
                                    fraction_digits);
  return {text.data(), result.ptr};
}

// A length of 0 would leave the movie without a video track, though there is always one frame; one that is
// not a 64-bit number of microseconds would be refused.
std::string duration_text(double seconds) {
  // Rounded and limited as the count of frames is, so that both end a movie at the same frame.
  const std::int64_t microseconds = std::max<std::int64_t>(whole_microseconds(seconds), 1);
  return seconds_text(static_cast<double>(microseconds) / 1e6);
}

Arguments raw_video_input(const SoftwareEncodeRequest& request) {
  return {"-f",
          "rawvideo",
          "-pixel_format",
          pixel_format_name(raw_picture_format(request.depth)),
          "-video_size",
          std::to_string(request.size.width) + "x" + std::to_string(request.size.height),
          "-framerate",
          std::to_string(request.frame_rate.num) + "/" + std::to_string(request.frame_rate.den),
          "-i",
          "pipe:0"};
}

Arguments audio_input(const SoftwareEncodeRequest& request) {
  Arguments arguments;
  if (request.range.start > 0.0) append(arguments, {"-ss", seconds_text(request.range.start)});
  append(arguments, {"-i", platform::path_to_utf8(request.input)});
  return arguments;
}

// libx265 writes the colour description into the stream, FFmpeg's options put it into the container.
Arguments color_description(const SoftwareEncodeRequest& request) {
  const std::string primaries = request.colors.primaries == AVCOL_PRI_BT709 ? "bt709" : "bt2020";
  const std::string transfer = request.colors.transfer == AVCOL_TRC_BT709 ? "bt709" : "arib-std-b67";
  const std::string matrix = request.colors.matrix == AVCOL_SPC_BT709 ? "bt709" : "bt2020nc";
  const bool full_range = request.colors.range == AVCOL_RANGE_JPEG;
  return {"-color_primaries",
          primaries,
          "-color_trc",
          transfer,
          "-colorspace",
          matrix,
          "-color_range",
          full_range ? "pc" : "tv",
          "-x265-params",
          "high-tier=0:colorprim=" + primaries + ":transfer=" + transfer + ":colormatrix=" + matrix +
              ":range=" + (full_range ? "full" : "limited")};
}

}  // namespace

std::vector<std::string> packaged_probe_arguments(BitDepth depth) {
  return {"-hide_banner",
          "-loglevel",
          "error",
          "-f",
          "lavfi",
          "-i",
          "color=size=64x64:rate=1",
          "-frames:v",
          "1",
          "-c:v",
          "libx265",
          "-pix_fmt",
          encoder_pixel_format(depth),
          "-f",
          "null",
          "-"};
}

std::vector<std::string> packaged_encode_arguments(const SoftwareEncodeRequest& request) {
  const auto append_all = [](Arguments& arguments, const Arguments& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
  };
  Arguments arguments{"-hide_banner", "-loglevel", "warning"};
  append_all(arguments, raw_video_input(request));
  if (request.has_audio) append_all(arguments, audio_input(request));
  append(arguments, {"-map", "0:v:0"});
  if (request.has_audio) append(arguments, {"-map", "1:a:0?"});
  append(arguments, {"-c:v", "libx265", "-profile:v", request.depth == BitDepth::ten ? "main10" : "main",
                     "-preset", "faster", "-pix_fmt", encoder_pixel_format(request.depth)});
  append(arguments, {"-b:v", std::to_string(request.bit_rate), "-tag:v", "hvc1"});
  append_all(arguments, color_description(request));
  if (request.has_audio) append(arguments, {"-c:a", "copy"});
  if (request.range.duration) append(arguments, {"-t", duration_text(*request.range.duration)});
  append(arguments, {"-movflags", "+faststart", request.overwrite ? "-y" : "-n",
                     platform::path_to_utf8(request.output)});
  return arguments;
}

}  // namespace veyrin
