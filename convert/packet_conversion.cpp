#include "convert/packet_conversion.h"

#include <array>
#include <utility>

#include "common/error_text.h"
#include "media/recording_input.h"

namespace veyrin {
namespace {

constexpr InputMessages messages{.open = "could not open input",
                                 .read_streams = "could not read input streams"};

[[nodiscard]] InputContextPtr make_synthetic_streams(const SyntheticInput& properties, std::string& error) {
  InputContextPtr context(avformat_alloc_context());
  for (int eye = 0; eye < 2; ++eye) {
    AVStream* stream = context ? avformat_new_stream(context.get(), nullptr) : nullptr;
    if (stream == nullptr) {
      error = "could not allocate synthetic input streams";
      return nullptr;
    }
    stream->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
    stream->codecpar->codec_id = AV_CODEC_ID_HEVC;
    stream->codecpar->width = properties.eye.width;
    stream->codecpar->height = properties.eye.height;
    stream->codecpar->format =
        properties.depth == BitDepth::ten ? AV_PIX_FMT_YUV420P10LE : AV_PIX_FMT_YUV420P;
  }
  return context;
}

}  // namespace

bool TrackEnd::reached(AVStream& stream) const {
  const int entries = avformat_index_get_entries_count(&stream);
  if (entries == 0) return true;
  const AVIndexEntry* last = avformat_index_get_entry(&stream, entries - 1);
  return last != nullptr && last_dts_ && *last_dts_ >= last->timestamp;
}

bool PacketConversion::run(std::string& error) {
  const bool converted = convert_packets(error) && (video_done() || convert_last_pairs(error));
  std::string later_error;
  if (!pairs_.finish(converted ? error : later_error) || !converted) return false;
  if (pairs_.frames_written() == 0)
    return fail(error, "the selected time range contains no synchronized video frames");
  pairs_.report_pairs_out_of_step();
  return true;
}

// Reads the recording until its end, or until neither picture nor sound is wanted any more.
bool PacketConversion::convert_packets(std::string& error) {
  PacketPtr packet(av_packet_alloc());
  if (!packet) return fail_with_library_error(error, "could not read an input packet", AVERROR(ENOMEM));
  while (!(video_done() && audio_done_)) {
    const int result = read_packet(*input_.context, *packet);
    if (result == AVERROR_EOF) break;
    if (result < 0) return fail_with_library_error(error, "could not read an input packet", result);
    const bool handled = handle_packet(*packet, error);
    av_packet_unref(packet.get());
    if (!handled) return false;
  }
  return true;
}

bool PacketConversion::handle_packet(AVPacket& packet, std::string& error) {
  if (packet.stream_index == input_.audio_stream) return copy_audio(packet, error);
  if (video_done()) return true;
  if (packet.stream_index == input_.left_stream) left_end_.saw_packet(packet);
  if (packet.stream_index == input_.right_stream) right_end_.saw_packet(packet);
  if (!decoder_.queue_packet(packet, error) || !convert_ready_pairs(error)) return false;
  // Packets of the eye that goes on must not pile up when the other one's track has ended.
  if (eye_is_missing()) return convert_last_pairs(error);
  return true;
}

bool PacketConversion::copy_audio(AVPacket& packet, std::string& error) {
  if (audio_done_ || packet.pts == AV_NOPTS_VALUE) return true;
  const AVRational time_base = input_.audio()->time_base;
  const double packet_start = static_cast<double>(packet.pts) * av_q2d(time_base);
  const double packet_end = packet_start + static_cast<double>(packet.duration) * av_q2d(time_base);
  switch (decide_audio_packet(packet_start, packet_end, range_)) {
    case AudioDecision::skip:
      return true;
    case AudioDecision::done:
      audio_done_ = true;
      return true;
    case AudioDecision::copy:
      break;
  }
  const std::int64_t offset = av_rescale_q(audio_offset_microseconds(range_), AV_TIME_BASE_Q, time_base);
  packet.pts -= offset;
  if (packet.dts != AV_NOPTS_VALUE) packet.dts -= offset;
  return movie_.write_audio(packet, error);
}

bool PacketConversion::eye_is_missing() const {
  if (video_done()) return false;
  if (decoder_.left().queued_packets() > patience_packets)
    return right_end_.reached(decoder_.right().stream());
  if (decoder_.right().queued_packets() > patience_packets)
    return left_end_.reached(decoder_.left().stream());
  return false;
}

bool PacketConversion::convert_last_pairs(std::string& error) {
  if (!decoder_.finish(error) || !convert_ready_pairs(error)) return false;
  video_ended_ = true;
  return true;
}

// Consumes every complete pair and decodes into the room that makes, until there is no further pair.
bool PacketConversion::convert_ready_pairs(std::string& error) {
  while (!video_done() && decoder_.has_pair()) {
    DecodedFrame left = decoder_.left().take_frame();
    DecodedFrame right = decoder_.right().take_frame();
    if (!pairs_.convert(std::move(left), std::move(right), error)) return false;
    // What is damaged behind the end of the trim does not matter.
    if (!video_done() && !decoder_.pump(error)) return false;
  }
  return true;
}

std::optional<ConversionInput> open_conversion_input(const ConversionJob& job,
                                                     const RecordingMetadata& metadata, std::string& error) {
  ConversionInput input;
  input.context = job.synthetic_input ? make_synthetic_streams(*job.synthetic_input, error)
                                      : open_recording(job.input, {}, messages, error);
  if (!input.context) return std::nullopt;
  input.left_stream = stream_index_of_video_track(*input.context, metadata.left_track);
  input.right_stream = stream_index_of_video_track(*input.context, metadata.right_track);
  if (input.left_stream < 0 || input.right_stream < 0) {
    error = "metadata references invalid left/right video tracks";
    return std::nullopt;
  }
  input.audio_stream = first_audio_stream(*input.context);
  read_only_streams(*input.context, std::array{input.left_stream, input.right_stream, input.audio_stream});
  return input;
}

InputFacts input_facts(const ConversionInput& input, BitDepth depth) {
  AVStream* left = input.context->streams[input.left_stream];
  const std::int64_t start = input.context->start_time;
  return {.depth = depth,
          .rate = av_guess_frame_rate(input.context.get(), left, nullptr),
          .colors = color_tags(*left->codecpar),
          .has_audio = input.audio_stream >= 0,
          .container_start_seconds = start == AV_NOPTS_VALUE ? 0.0 : static_cast<double>(start) / 1e6};
}

}  // namespace veyrin
