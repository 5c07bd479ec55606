#include "tests/metadata/small_movie.h"

#include "tests/recordings/box_builder.h"

namespace veyrin::test {
namespace {

using recordings::BoxBuilder;
using recordings::MediaTrack;

/// H.264 High intra picture of 64x64 black pixels and its parameter sets, made with
/// `ffmpeg -f lavfi -i color=black:s=64x64 -frames:v 1 -c:v libx264 -x264-params keyint=1 -preset veryslow`;
/// the second sequence parameter set has `:transfer=arib-std-b67` besides.
constexpr std::string_view black_picture = "65888404bffef7addf814dc32b356bba5738b495ade403932db044d4569e2ef7";
constexpr std::string_view picture_parameters = "68ee0f2c8b";
constexpr std::string_view sequence_parameters = "6764100aacb884d80880000003008000001e02";
constexpr std::string_view hlg_sequence_parameters = "6764100aacb884d80b50212024000003000400000300f010";

/// AV1 key frame of 64x64 black pixels with its sequence header, and the track's configuration, made with
/// `ffmpeg -f lavfi -i color=black:s=64x64:r=10 -frames:v 1 -c:v libaom-av1 -cpu-used 4`.
constexpr std::string_view av1_picture = "0a0a00000002afff9b5f3008320e1000c00000028000000a05776480";
constexpr std::string_view av1_configuration = "81000c000a0a00000002afff9b5f3008";

Bytes from_hex(std::string_view digits) {
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

Bytes decoder_configuration(std::string_view sps_digits) {
  const Bytes sps = from_hex(sps_digits);
  const Bytes pps = from_hex(picture_parameters);
  BoxBuilder content;
  content.append(from_hex("0164100affe1"));
  content.u16(static_cast<std::uint32_t>(sps.size()));
  content.append(sps);
  content.u8(1);
  content.u16(static_cast<std::uint32_t>(pps.size()));
  content.append(pps);
  content.append(from_hex("fdf8f800"));
  return content.bytes();
}

void set_samples(MediaTrack& track, const std::vector<Bytes>& samples) {
  constexpr std::int64_t tenth = 100;
  std::int64_t time = 0;
  for (const Bytes& sample : samples) {
    track.samples.push_back({sample, time, time, tenth, true});
    time += tenth;
  }
}

MediaTrack h264_track(int samples, const Bytes& picture, const Bytes& configuration) {
  MediaTrack track;
  track.kind = recordings::TrackKind::video;
  track.codec_tag = "avc1";
  track.handler_name = "VideoHandler";
  track.width = track.height = 64;
  track.decoder_config = configuration;
  set_samples(track, std::vector<Bytes>(static_cast<std::size_t>(samples), picture));
  return track;
}

/// One sample: the picture, and zeros as a filler unit when the sample shall be larger.
Bytes picture_sample(std::uint32_t size = 0) {
  const Bytes picture = from_hex(black_picture);
  BoxBuilder sample;
  sample.u32(static_cast<std::uint32_t>(picture.size()));
  sample.append(picture);
  if (size == 0) return sample.bytes();
  constexpr std::uint32_t filler_unit = 12;
  const auto filler_size = size - static_cast<std::uint32_t>(sample.bytes().size()) - 4;
  sample.u32(filler_size);
  sample.u8(filler_unit);
  sample.zeros(static_cast<int>(filler_size) - 1);
  return sample.bytes();
}

}  // namespace

MediaTrack video_track(int samples, std::optional<recordings::ColourTags> colour) {
  MediaTrack track = h264_track(samples, picture_sample(), decoder_configuration(sequence_parameters));
  track.colour = colour;
  return track;
}

MediaTrack megabyte_video_track(int samples) {
  return h264_track(samples, picture_sample(1'000'000), decoder_configuration(sequence_parameters));
}

MediaTrack coded_hlg_video_track() {
  return h264_track(3, picture_sample(), decoder_configuration(hlg_sequence_parameters));
}

MediaTrack av1_video_track(int samples) {
  MediaTrack track = h264_track(samples, from_hex(av1_picture), from_hex(av1_configuration));
  track.codec_tag = "av01";
  return track;
}

MediaTrack unreadable_video_track() {
  return h264_track(1, Bytes(40), {});
}

MediaTrack data_track(std::vector<Bytes> samples, std::string_view handler_name, std::string_view codec_tag) {
  MediaTrack track;
  track.codec_tag = codec_tag;
  track.handler_name = handler_name;
  set_samples(track, samples);
  return track;
}

Bytes bytes_of(std::string_view text) {
  return {text.begin(), text.end()};
}

}  // namespace veyrin::test
