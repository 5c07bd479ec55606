#include "convert/packet_conversion.h"

#include <algorithm>
#include <cmath>

#include "common/error_text.h"
#include "convert/audio_trim.h"
#include "media/ffmpeg.h"

namespace veyrin {
namespace {

// Frames that are missing are made up by repeating the next one. Cameras lose some; only broken time stamps
// leave out more than this, and filling what they claim could take the disk.
constexpr double longest_filled_gap_seconds = 60.0;

}  // namespace

PacketConversion::PacketConversion(const ConversionPlan& plan, const ConversionInput& input,
                                   StereoDecoder& decoder,
                                   const std::vector<std::unique_ptr<YuvProcessor>>& processors,
                                   MovieSink& movie, ProgressLines& progress, std::string& error)
    : plan_(plan),
      input_(input),
      decoder_(decoder),
      processors_(processors),
      movie_(movie),
      progress_(progress),
      error_(error),
      pacer_(plan.range, plan.output_rate, plan.input_rate),
      audio_done_(!movie.accepts_audio()) {}

bool PacketConversion::run() {
  if (!convert_packets()) return false;
  if (!video_done_ && !convert_last_pairs()) return false;
  if (pacer_.frames_written() > 0) return true;
  return fail(error_, "the selected time range contains no synchronized video frames");
}

// Reads the recording until its end, or until neither picture nor sound is wanted any more.
bool PacketConversion::convert_packets() {
  PacketPtr packet(av_packet_alloc());
  if (!packet) return fail_with_library_error(error_, "could not read an input packet", AVERROR(ENOMEM));
  while (!(video_done_ && audio_done_)) {
    const int result = av_read_frame(input_.context.get(), packet.get());
    if (result == AVERROR_EOF) break;
    if (result < 0) return fail_with_library_error(error_, "could not read an input packet", result);
    const bool handled = handle_packet(*packet);
    av_packet_unref(packet.get());
    if (!handled) return false;
  }
  return true;
}

bool PacketConversion::handle_packet(AVPacket& packet) {
  if (packet.stream_index == input_.audio_stream) return copy_audio(packet);
  if (video_done_) return true;
  if (packet.stream_index == input_.left_stream) left_end_.saw_packet(packet);
  if (packet.stream_index == input_.right_stream) right_end_.saw_packet(packet);
  if (!decoder_.queue_packet(packet, error_) || !convert_ready_pairs()) return false;
  // Packets of the eye that goes on must not pile up when the other one's track has ended.
  if (eye_is_missing()) return convert_last_pairs();
  return true;
}

bool PacketConversion::copy_audio(AVPacket& packet) {
  if (audio_done_ || packet.pts == AV_NOPTS_VALUE) return true;
  const AVRational time_base = plan_.source_audio->time_base;
  const double packet_start = static_cast<double>(packet.pts) * av_q2d(time_base);
  const double packet_end = packet_start + static_cast<double>(packet.duration) * av_q2d(time_base);
  switch (decide_audio_packet(packet_start, packet_end, plan_.range)) {
    case AudioDecision::skip:
      return true;
    case AudioDecision::done:
      audio_done_ = true;
      return true;
    case AudioDecision::copy:
      break;
  }
  const std::int64_t offset = av_rescale_q(audio_offset_microseconds(plan_.range), AV_TIME_BASE_Q, time_base);
  packet.pts -= offset;
  if (packet.dts != AV_NOPTS_VALUE) packet.dts -= offset;
  return movie_.write_audio(packet, error_);
}

bool PacketConversion::eye_is_missing() const {
  if (video_done_) return false;
  if (decoder_.left().queued_packets() > patience_packets)
    return right_end_.reached(decoder_.right().stream());
  if (decoder_.right().queued_packets() > patience_packets)
    return left_end_.reached(decoder_.left().stream());
  return false;
}

bool PacketConversion::convert_last_pairs() {
  if (!decoder_.finish(error_) || !convert_ready_pairs()) return false;
  video_done_ = true;
  return true;
}

// Consumes every complete pair and decodes into the room that makes, until there is no further pair.
bool PacketConversion::convert_ready_pairs() {
  while (!video_done_ && decoder_.has_pair()) {
    const DecodedFrame left = decoder_.left().take_frame();
    const DecodedFrame right = decoder_.right().take_frame();
    if (!convert_pair(left, right)) return false;
    // What is damaged behind the end of the trim does not matter.
    if (!video_done_ && !decoder_.pump(error_)) return false;
  }
  return true;
}

bool PacketConversion::convert_pair(const DecodedFrame& left, const DecodedFrame& right) {
  const double pair_time = std::max(left.time_seconds, right.time_seconds);
  switch (pacer_.decide(pair_time)) {
    case PairDecision::drop:
      return true;
    case PairDecision::finish:
      video_done_ = true;
      return true;
    case PairDecision::encode:
      break;
  }
  const double gap = pacer_.gap_before(pair_time);
  if (gap > longest_filled_gap_seconds) {
    return fail(error_, "the recording has no picture for " + std::to_string(std::llround(gap)) + " seconds");
  }
  return write_pair(left, right, pair_time);
}

bool PacketConversion::write_pair(const DecodedFrame& left, const DecodedFrame& right, double pair_time) {
  if (!left.frame || !right.frame)
    return fail(error_, "decoded frames were not available to the YUV pipeline");
  const auto canvases = movie_.next_canvases(error_);
  if (canvases.empty()) return false;
  for (std::size_t index = 0; index < canvases.size(); ++index) {
    if (!processors_[index]->process(left.frame.get(), right.frame.get(), canvases[index], error_))
      return false;
  }
  do {
    if (!movie_.write_canvases(pacer_.frames_written(), error_)) return false;
    pacer_.advance();
  } while (pacer_.repeats(pair_time));
  progress_.after_pair(pacer_.frames_written(), pacer_.next_output_time() - plan_.range.start);
  return true;
}

}  // namespace veyrin
