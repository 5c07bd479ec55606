#include "tests/recordings/coded_media.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <system_error>

#include "common/platform/files.h"
#include "media/ffmpeg.h"
#include "tests/recordings/eye_renderer.h"
#include "tests/recordings/raw_pipe.h"

namespace veyrin::recordings {
namespace {

constexpr int sample_rate = 48000;

/// Ticks a second in which every frame of the rate starts at a whole number.
int time_scale(const FrameRate& rate) {
  int scale = rate.numerator;
  while (scale < 10000) scale *= 2;
  return scale;
}

std::vector<std::string> colour_words(const RecordingPlan& plan) {
  if (plan.untagged) return {};
  const bool hdr = plan.codec == VideoCodec::hevc10;
  return {"-color_primaries", hdr ? "bt2020" : "bt709",  "-color_trc", hdr ? "arib-std-b67" : "bt709",
          "-colorspace",      hdr ? "bt2020nc" : "bt709"};
}

int group_length(const RecordingPlan& plan, Eye eye) {
  if (eye == Eye::right && plan.right_group_length > 0) return plan.right_group_length;
  if (plan.group_length > 0) return plan.group_length;
  return std::max(1, static_cast<int>(plan.rate.per_second() / 2));
}

std::vector<std::string> video_words(const RecordingPlan& plan, Eye eye,
                                     const std::filesystem::path& result) {
  const std::string raw_format = plan.coding().bits == 10 ? "yuv420p10le" : "yuv420p";
  const std::string range = plan.full_range ? "pc" : "tv";
  std::vector<std::string> words{
      plan.encoder_program,
      "-hide_banner",
      "-loglevel",
      "error",
      "-y",
      "-f",
      "rawvideo",
      "-pixel_format",
      raw_format,
      "-video_size",
      std::to_string(plan.width) + "x" + std::to_string(plan.height),
      "-framerate",
      std::to_string(plan.rate.numerator) + "/" + std::to_string(plan.rate.denominator)};
  const auto add = [&words](const std::vector<std::string>& more) {
    words.insert(words.end(), more.begin(), more.end());
  };
  if (!plan.untagged) add({"-color_range", range});
  add({"-i", "pipe:0", "-an", "-pix_fmt", plan.pixel_format.empty() ? raw_format : plan.pixel_format, "-g",
       std::to_string(group_length(plan, eye)), "-bf", std::to_string(plan.b_frames), "-crf", "12",
       "-threads", "1"});
  if (plan.codec == VideoCodec::h264)
    add({"-c:v", "libx264", "-preset", "veryfast", "-x264-params",
         plan.open_groups ? "open-gop=1" : "open-gop=0"});
  else
    add({"-c:v", "libx265", "-preset", "ultrafast", "-tag:v", "hvc1", "-x265-params",
         std::string("log-level=error:pools=1") + (plan.open_groups ? ":open-gop=1" : "")});
  add(colour_words(plan));
  if (!plan.untagged) add({"-color_range", range});
  add({"-video_track_timescale", std::to_string(time_scale(plan.rate)), "-f", "mp4",
       platform::path_to_utf8(result)});
  return words;
}

/// Stereo, 16 bit little-endian.
std::vector<std::uint8_t> sound_bytes(const RecordingPlan& plan) {
  const auto count =
      static_cast<std::int64_t>(std::llround(plan.frame_count() / plan.rate.per_second() * sample_rate));
  std::vector<double> samples(static_cast<std::size_t>(count));
  for (std::size_t index = 0; index < samples.size(); ++index) {
    samples[index] =
        0.03 * std::sin(2.0 * std::numbers::pi * 440.0 * static_cast<double>(index) / sample_rate);
  }
  for (int frame = 0; frame < plan.frame_count(); ++frame) {
    if (!plan.is_flash(frame)) continue;
    const auto start = static_cast<std::size_t>(std::llround(plan.frame_time(frame) * sample_rate));
    constexpr std::size_t click_samples = sample_rate / 250;
    for (std::size_t index = start; index < std::min(start + click_samples, samples.size()); ++index) {
      samples[index] +=
          0.9 * std::sin(2.0 * std::numbers::pi * 3000.0 * static_cast<double>(index - start) / sample_rate);
    }
  }
  std::vector<std::uint8_t> bytes;
  for (const double sample : samples) {
    const auto code = static_cast<std::uint16_t>(static_cast<std::int16_t>(std::lround(sample * 32767.0)));
    for (int channel = 0; channel < 2; ++channel) {
      bytes.push_back(static_cast<std::uint8_t>(code & 0xFFU));
      bytes.push_back(static_cast<std::uint8_t>(code >> 8U));
    }
  }
  return bytes;
}

/// Takes over configuration and samples of the only stream of an intermediate file, then removes the file.
bool read_coded(const std::filesystem::path& file, MediaTrack& track, std::string& error) {
  AVFormatContext* opened = nullptr;
  if (avformat_open_input(&opened, platform::path_to_utf8(file).c_str(), nullptr, nullptr) < 0) {
    error = "could not open the encoded file: " + platform::path_to_utf8(file);
    return false;
  }
  const InputContextPtr input(opened);
  const AVStream& stream = *input->streams[0];
  const AVCodecParameters& codec = *stream.codecpar;
  if (stream.time_base.num != 1) {
    error = "unexpected time base of the encoded file";
    return false;
  }
  track.time_scale = static_cast<std::uint32_t>(stream.time_base.den);
  track.decoder_config.assign(codec.extradata, codec.extradata + codec.extradata_size);
  const PacketPtr packet(av_packet_alloc());
  while (av_read_frame(input.get(), packet.get()) >= 0) {
    track.samples.push_back({{packet->data, packet->data + packet->size},
                             packet->dts,
                             packet->pts,
                             packet->duration,
                             (packet->flags & AV_PKT_FLAG_KEY) != 0});
    av_packet_unref(packet.get());
  }
  std::error_code ignored;
  std::filesystem::remove(file, ignored);
  if (track.samples.empty()) error = "the encoder wrote no samples";
  return !track.samples.empty();
}

}  // namespace

bool code_eye(const RecordingPlan& plan, const Rig& rig, Eye eye, const std::filesystem::path& scratch,
              MediaTrack& track, std::string& error) {
  const bool left = eye == Eye::left;
  const ColourCoding coding = plan.coding();
  const EyeRenderer renderer(left ? rig.left : rig.right, left ? rig.left_in_stage : rig.right_in_stage,
                             coding);
  RawPipe encoder;
  if (!encoder.start(video_words(plan, eye, scratch), error)) return false;
  std::vector<std::uint8_t> bytes;
  for (int frame = 0; frame < plan.frame_count(); ++frame) {
    bytes.clear();
    renderer.frame(static_cast<std::uint32_t>(frame), plan.frame_time(frame), plan.is_flash(frame))
        .append_raw(coding.bits, bytes);
    if (!encoder.write(bytes, error)) return false;
  }
  if (!encoder.finish(error)) return false;

  track.kind = TrackKind::video;
  track.codec_tag = plan.codec == VideoCodec::h264 ? "avc1" : "hvc1";
  track.handler_name = left ? "Left eye" : "Right eye";
  track.width = plan.width;
  track.height = plan.height;
  track.quarter_turns = plan.quarter_turns;
  track.delay_seconds = plan.start_offset + (left ? 0.0 : plan.right_offset);
  if (!plan.untagged) {
    const bool hdr = plan.codec == VideoCodec::hevc10;
    track.colour = hdr ? ColourTags{9, 18, 9, plan.full_range} : ColourTags{1, 1, 1, plan.full_range};
  }
  return read_coded(scratch, track, error);
}

bool code_sound(const RecordingPlan& plan, const std::filesystem::path& scratch, MediaTrack& track,
                std::string& error) {
  RawPipe encoder;
  if (!encoder.start({plan.encoder_program,
                      "-hide_banner",
                      "-loglevel",
                      "error",
                      "-y",
                      "-f",
                      "s16le",
                      "-ar",
                      std::to_string(sample_rate),
                      "-ac",
                      "2",
                      "-i",
                      "pipe:0",
                      "-c:a",
                      "aac",
                      "-b:a",
                      "128k",
                      "-f",
                      "mp4",
                      platform::path_to_utf8(scratch)},
                     error) ||
      !encoder.write(sound_bytes(plan), error) || !encoder.finish(error)) {
    return false;
  }
  track.kind = TrackKind::audio;
  track.codec_tag = "mp4a";
  track.handler_name = "Microphone";
  track.channels = 2;
  track.sample_rate = sample_rate;
  return read_coded(scratch, track, error);
}

}  // namespace veyrin::recordings
